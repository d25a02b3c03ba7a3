// qdifc fleet: the host finds the interpreter and the package and hands the command to
// Python, or says what is missing.
#include "FleetCommand.h"
#include "RunQdifc.h"

#include <gtest/gtest.h>

#include <string>

TEST(FleetCommand, HandsTheCommandToThePythonPackage) {
  qdhost::FleetPython python = qdhost::findFleetPython();
  CommandResult help = qdifc("fleet --help");
  if (python.error.empty()) {
    // The package of the build tree, found beside the program (bin/../python).
    EXPECT_NE(python.packageDir.find("python"), std::string::npos) << python.packageDir;
    EXPECT_EQ(help.status, 0) << help.out;
    EXPECT_EQ(help.out.rfind("usage: qdifc fleet", 0), 0u) << help.out;
    CommandResult bad = qdifc("fleet extract");
    EXPECT_EQ(bad.status, 2) << bad.out;
    EXPECT_NE(bad.out.find("SOURCE"), std::string::npos) << bad.out;
  } else {
    // A build without the Python package (sanitizer builds): one line that says so.
    EXPECT_EQ(help.status, 1) << help.out;
    EXPECT_EQ(help.out, "qdifc fleet: " + python.error + "\n");
  }
}

TEST(FleetCommand, SaysWhenThereIsNoInterpreter) {
  CommandResult r = qdifc("fleet --help", "QDIFC_PYTHON=/nonexistent/python3 ");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "qdifc fleet: QDIFC_PYTHON is /nonexistent/python3, which is not a program that can be run\n");
}
