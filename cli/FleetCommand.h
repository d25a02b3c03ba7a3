// qdifc fleet: the Python package's fleet command (tables from many files on Dask),
// run with the project's Python interpreter and the package that belongs to this program.
#pragma once

#include <string>
#include <vector>

namespace qdhost {

// Where the interpreter and the package are: QDIFC_PYTHON, else the interpreter the
// build was made for, else /usr/bin/python3; the package in the build tree
// (bin/../python) or where it is installed under the program's prefix.
struct FleetPython {
  std::string interpreter;  // empty: none found
  std::string packageDir;   // the folder holding qdifc/; empty: none found
  std::string error;        // what is missing, for a person
};
FleetPython findFleetPython();

// Replaces the process with `python3 -m qdifc fleet ARGS...`; returns only on failure
// (exit status 1, with a message on standard error).
int runFleet(const std::vector<std::string>& args);

}  // namespace qdhost
