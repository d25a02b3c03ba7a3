#include "FleetCommand.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace qdhost {
namespace fs = std::filesystem;

namespace {

bool runnable(const std::string& path) { return !path.empty() && access(path.c_str(), X_OK) == 0; }

fs::path programDir() {
  std::error_code ec;
  fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  return ec ? fs::path() : exe.parent_path();
}

}  // namespace

FleetPython findFleetPython() {
  FleetPython found;
  const char* chosen = std::getenv("QDIFC_PYTHON");
  if (chosen && *chosen) {
    if (runnable(chosen)) found.interpreter = chosen;
    else found.error = std::string("QDIFC_PYTHON is ") + chosen + ", which is not a program that can be run";
  } else {
    for (const char* candidate : {QDIFC_PYTHON_EXECUTABLE, "/usr/bin/python3"})
      if (runnable(candidate)) {
        found.interpreter = candidate;
        break;
      }
    if (found.interpreter.empty())
      found.error = std::string("no Python 3 interpreter at ") + QDIFC_PYTHON_EXECUTABLE +
                    " or /usr/bin/python3 (Debian: apt-get install python3 python3-dask python3-distributed "
                    "python3-pandas; or set QDIFC_PYTHON)";
  }
  fs::path dir = programDir();
  std::error_code ec;
  for (const fs::path& candidate : {dir / ".." / "python", dir / QDIFC_PYTHON_PACKAGE_FROM_BINDIR})
    if (!dir.empty() && fs::exists(candidate / "qdifc" / "__init__.py", ec)) {
      found.packageDir = fs::weakly_canonical(candidate, ec).string();
      break;
    }
  if (found.packageDir.empty() && found.error.empty())
    found.error = "the Python package qdifc is neither in the build tree (" + (dir / ".." / "python").string() +
                  ") nor installed beside the program (" + (dir / QDIFC_PYTHON_PACKAGE_FROM_BINDIR).string() + ")";
  return found;
}

int runFleet(const std::vector<std::string>& args) {
  FleetPython python = findFleetPython();
  if (!python.error.empty()) {
    std::cerr << "qdifc fleet: " << python.error << '\n';
    return 1;
  }
  std::string path = python.packageDir;
  if (const char* old = std::getenv("PYTHONPATH"); old && *old) path += std::string(":") + old;
  setenv("PYTHONPATH", path.c_str(), 1);
  setenv("QDIFC_PROG", "qdifc", 1);  // usage messages name this program
  std::vector<std::string> words = {python.interpreter, "-m", "qdifc", "fleet"};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  std::cout.flush();
  execv(python.interpreter.c_str(), argv.data());
  std::cerr << "qdifc fleet: cannot run " << python.interpreter << ": " << std::strerror(errno) << '\n';
  return 1;
}

}  // namespace qdhost
