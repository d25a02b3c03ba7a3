// What may run on several threads at once, run that way: the first use of value
// descriptors, copies of one shared string, and loading (with the reader's own threads
// or without), checking and writing of separate models that share the schema. The suite is also built with the thread
// sanitizer, which reports any data race these runs reach.
#include "Demo.h"

#include <QdIfc4/Enumerations.h>
#include <QdIfc4/Module.h>
#include <QdIfc4/Selects.h>
#include <QdIfcCore/ModuleLifeCycle.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcValidate.h>
#include <QdIfcCore/QdIfcVariantTypes.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using namespace QD_SDAI;

namespace {

// Runs body(i) on n threads that start together.
template <class F>
void together(int n, F body) {
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < n; ++i)
    threads.emplace_back([&, i] {
      ++ready;
      while (ready.load() < n) std::this_thread::yield();
      body(i);
    });
  for (std::thread& t : threads) t.join();
}

class Threads : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qdGetModuleLifeCycleApp()->start()); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }
};

}  // namespace

TEST_F(Threads, ModuleDescriptorsAreMadeOnceOnFirstUse) {
  qdGetModuleLifeCycleApp()->stop();  // releases them all, so the threads below make them
  ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
  constexpr int kThreads = 8;
  std::vector<const QdIfcVariantType*> selects(kThreads), byValue(kThreads), enums(kThreads);
  together(kThreads, [&](int i) {
    selects[i] = &QdIfcVariantType::Desc<IFC4::IfcResourceObjectSelect*>::value();
    byValue[i] = &QdIfcVariantType::Desc<IFC4::IfcValue>::value();
    enums[i] = &QdIfcVariantType::Desc<IFC4::IfcRoleEnum>::value();
  });
  for (int i = 1; i < kThreads; ++i) {
    EXPECT_EQ(selects[i], selects[0]);
    EXPECT_EQ(byValue[i], byValue[0]);
    EXPECT_EQ(enums[i], enums[0]);
  }
  EXPECT_EQ(selects[0], &QdIfcVariantType::Desc<IFC4::IfcResourceObjectSelect*>::value());
  EXPECT_EQ(selects[0]->size(), 8u);
}

TEST_F(Threads, SharedStringCopiesCountTheirReferencesExactly) {
  QdAnsiString shared("shared between threads");
  together(4, [&](int) {
    for (int i = 0; i < 20000; ++i) {
      QdAnsiString copy = shared;
      ASSERT_EQ(copy.length(), 22);
    }
  });
  EXPECT_STREQ(shared.constStr(), "shared between threads");
}

TEST_F(Threads, SeparateModelsLoadCheckAndWriteAtOnce) {
  std::vector<std::string> inputs;
  {
    QdIfcModel demo(qdifcGetSchemaPointer());
    ASSERT_TRUE(qdhost::buildDemo(demo).empty());
    inputs.push_back(qdIfcSaveText(demo));
  }
  // A sample file too, where there is one.
  const std::filesystem::path sample = std::filesystem::path(QDIFC_TEST_CORPUS_DIR) / "ifc4" / "SmallModelIfc4.ifc";
  if (std::ifstream in{sample, std::ios::binary})
    inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  // Enough records for the reader's threads to share: points, and loops of them, the
  // loops' inverses linked after.
  {
    std::string records;
    for (int i = 1; i <= 3000; i += 3)
      records += "#" + std::to_string(i) + "=IFCCARTESIANPOINT((" + std::to_string(i) + ".,0.,0.));\n#" +
                 std::to_string(i + 1) + "=IFCPOLYLOOP((#" + std::to_string(i) + ",#" + std::to_string(i + 3) + ",#" +
                 std::to_string(i + 6) + "));\n#" + std::to_string(i + 2) + "=IFCPROPERTYSINGLEVALUE('p" +
                 std::to_string(i) + "',$,IFCLABEL('v'),$);\n";
    inputs.push_back(
        "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','');\n"
        "FILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n" +
        records + "ENDSEC;\nEND-ISO-10303-21;\n");
  }

  for (const std::string& input : inputs) {
    // What one thread alone gives.
    QdIfcModel alone(qdifcGetSchemaPointer());
    const QdIfcLoadReport expected = qdIfcLoad(alone, input);
    const std::string written = qdIfcSaveText(alone);
    const size_t findings = qdIfcValidate(alone).size();

    constexpr int kThreads = 4;
    std::vector<std::string> texts(kThreads);
    std::vector<QdIfcLoadReport> reports(kThreads);
    std::vector<size_t> found(kThreads);
    together(kThreads, [&](int i) {
      QdIfcModel model(qdifcGetSchemaPointer());
      // Some loads with threads of their own.
      QdIfcLoadOptions options;
      options.threads = 1 + static_cast<unsigned>(i) % 3;
      reports[i] = qdIfcLoad(model, input, options);
      found[i] = qdIfcValidate(model).size();
      texts[i] = qdIfcSaveText(model);
    });
    for (int i = 0; i < kThreads; ++i) {
      EXPECT_EQ(reports[i].counts, expected.counts);
      EXPECT_EQ(reports[i].problems.size(), expected.problems.size());
      EXPECT_EQ(found[i], findings);
      EXPECT_EQ(texts[i], written);
    }
  }
}
