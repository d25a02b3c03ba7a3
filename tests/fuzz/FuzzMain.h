// The entry points libFuzzer calls, around one check of FuzzChecks.h: the module is
// started once, each input is checked, and a fault is printed and aborts the run so
// that libFuzzer keeps the input.
#pragma once

#include <QdIfc4/Module.h>
#include <QdIfcCore/ModuleLifeCycle.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#define QDIFC_FUZZ_TARGET(check)                                                            \
  extern "C" int LLVMFuzzerInitialize(int*, char***) {                                      \
    if (!qdGetModuleLifeCycleApp()->start()) {                                              \
      std::fprintf(stderr, "the IFC4 module does not start\n");                             \
      std::abort();                                                                         \
    }                                                                                       \
    return 0;                                                                               \
  }                                                                                         \
  extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {                 \
    std::string fault = check(std::string_view(reinterpret_cast<const char*>(data), size)); \
    if (!fault.empty()) {                                                                   \
      std::fprintf(stderr, "fault: %s\n", fault.c_str());                                   \
      std::abort();                                                                         \
    }                                                                                       \
    return 0;                                                                               \
  }
