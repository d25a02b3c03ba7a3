// Every input a fuzz target has failed on, kept in regressions/<target>/, run through
// the check of that target in the ordinary suite: none may fail again.
#include "FuzzChecks.h"

#include <QdIfc4/Module.h>
#include <QdIfcCore/ModuleLifeCycle.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace fs = std::filesystem;

TEST(FuzzRegressions, SavedInputsPassTheChecksOfTheirTargets) {
  ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
  const std::map<std::string, std::string (*)(std::string_view)> checks = {
      {"load", qdifc_fuzz::checkLoad}, {"codec", qdifc_fuzz::checkCodec}, {"roundtrip", qdifc_fuzz::checkRoundTrip}};
  const fs::path root = fs::path(QDIFC_TEST_SOURCE_DIR) / "fuzz" / "regressions";
  size_t inputs = 0;
  for (const auto& folder : fs::directory_iterator(root)) {
    auto check = checks.find(folder.path().filename().string());
    ASSERT_NE(check, checks.end()) << folder.path() << " is no fuzz target's";
    for (const auto& entry : fs::directory_iterator(folder.path())) {
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      EXPECT_EQ(check->second(bytes), "") << entry.path();
      ++inputs;
    }
  }
  qdGetModuleLifeCycleApp()->stop();
  EXPECT_GT(inputs, 0u);
}
