// A test of the IFC4 module: started and stopped around each test, and the text of a
// file with given DATA records.
#pragma once

#include <QdIfc4/Module.h>

#include <gtest/gtest.h>

#include <string>

class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qdGetModuleLifeCycleApp()->start()); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }

  static std::string file(const std::string& records) {
    return "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','');\n"
           "FILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n" +
           records + "ENDSEC;\nEND-ISO-10303-21;\n";
  }
};
