// Symbol visibility of the core library. Both libraries are built with hidden
// visibility by default; what a host or the schema module may call is marked here.
#pragma once

#if defined(_WIN32)
#define QD_DECL_EXPORT __declspec(dllexport)
#define QD_DECL_IMPORT __declspec(dllimport)
#else
#define QD_DECL_EXPORT __attribute__((visibility("default")))
#define QD_DECL_IMPORT __attribute__((visibility("default")))
#endif

#if defined(QDIFCCORE_BUILDING)
#define QDIFCCORE_API QD_DECL_EXPORT
#else
#define QDIFCCORE_API QD_DECL_IMPORT
#endif
