// Folders made for a test, holding schema module libraries under the names the registry
// looks for: the IFC4 module of the build, or the stand-ins of the other editions.
#pragma once

#include <QdIfcCore/QdIfcModuleRegistry.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

class Folders : public ::testing::Test {
 protected:
  using path = std::filesystem::path;

  // A fresh empty folder under the temporary one, removed at the end of the test.
  path make(const std::string& name) {
    path dir = std::filesystem::temp_directory_path() /
               ("qdifc_registry_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name() + "_" + name);
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    m_made.push_back(dir);
    return dir;
  }
  // Puts the library at file into dir under the file name of library ("QdIfc2x3").
  static void place(const path& dir, const path& file, const std::string& library) {
    std::filesystem::create_symlink(file, dir / QD_SDAI::QdIfcModuleRegistry::libraryFileName(library));
  }
  // A folder holding the IFC4 module of the build under the file name of library.
  path holding(const std::string& name, const std::string& library) {
    path dir = make(name);
    place(dir, QDIFC_TEST_MODULE_PATH, library);
    return dir;
  }
  // A folder with the IFC4 module and the stand-ins of IFC2X3 and IFC4X3_ADD2.
  path threeEditions() {
    path dir = holding("three", "QdIfc4");
    place(dir, QDIFC_TEST_FAKE_2X3, "QdIfc2x3");
    place(dir, QDIFC_TEST_FAKE_4X3, "QdIfc4x3");
    unsetenv("QDIFC_FAKE_MODULE_EVENTS");
    return dir;
  }
  // The starts and stops of the stand-ins so far: "start:IFC2X3 stop:IFC2X3".
  static std::string events() {
    const char* e = std::getenv("QDIFC_FAKE_MODULE_EVENTS");
    return e ? e : "";
  }
  void TearDown() override {
    for (const path& d : m_made) std::filesystem::remove_all(d);
  }

 private:
  std::vector<path> m_made;
};
