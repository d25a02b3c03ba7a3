// Large models touch hundreds of megabytes of fresh heap, and on many machines the
// page faults of 4 KiB pages cost more than reading the file. glibc can back its heap
// with transparent huge pages, but only if told so in the environment before the
// program starts; a program that wants it re-executes itself once with the setting.
#pragma once

#include <cstdlib>
#include <string>

#include <unistd.h>

namespace qdhost {

// Re-executes the program with glibc's huge-page heap unless GLIBC_TUNABLES is set
// already (by the user, or by the first run). Returns only if it did not re-execute.
inline void preferHugePages(char** argv) {
  if (std::getenv("GLIBC_TUNABLES") || std::getenv("QDIFC_NO_HUGE_PAGES")) return;
  setenv("GLIBC_TUNABLES", "glibc.malloc.hugetlb=1", 1);
  execv("/proc/self/exe", argv);
  unsetenv("GLIBC_TUNABLES");  // the exec failed: go on as we are
}

}  // namespace qdhost
