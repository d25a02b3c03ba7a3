// Symbol visibility of the IFC4 schema module.
#pragma once

#include <QdIfcCore/Export.h>

#if defined(QDIFC4_BUILDING)
#define QDIFC4_API QD_DECL_EXPORT
#else
#define QDIFC4_API QD_DECL_IMPORT
#endif
