// The host's property commands: show through the property objects against show
// through getAttr on every instance of the sample files, and tree and props on the
// demo building.
#include "Demo.h"
#include "FileCommands.h"
#include "RunQdifc.h"

#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

const fs::path kCorpus = fs::path(QDIFC_TEST_CORPUS_DIR) / "ifc4";

// Every instance of the model, read through the names and through the properties.
size_t compareBothWays(const QdIfcModel& model, const std::string& what) {
  size_t compared = 0, mismatches = 0;
  model.forEach([&](const QdDbObjectId& id, QdIfcEntityBase* object) {
    std::string byName = qdhost::renderInstance(*object, id.id());
    std::string byProperty = qdhost::renderViaProperties(*object, id.id());
    if (byName != byProperty && ++mismatches <= 3) ADD_FAILURE() << what << "\n" << byName << "---\n" << byProperty;
    ++compared;
  });
  EXPECT_EQ(mismatches, 0u) << what;
  return compared;
}

}  // namespace

TEST(PropertyCommands, PropertiesShowWhatGetAttrShowsOnEverySampleInstance) {
  if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no sample files at " << kCorpus;
  QdIfcModule module;
  ASSERT_TRUE(module.load(QDIFC_TEST_MODULE_PATH)) << module.error();
  size_t files = 0, instances = 0;
  for (const fs::directory_entry& e : fs::directory_iterator(kCorpus)) {
    if (e.path().extension() != ".ifc") continue;
    QdIfcModel model(module.schema());
    QdIfcLoadReport report = qdIfcLoadFile(model, e.path().string());
    if (!report.opened || model.empty()) continue;
    instances += compareBothWays(model, e.path().filename().string());
    ++files;
  }
  EXPECT_GT(files, 10u);
  EXPECT_GT(instances, 10000u);
  // The demo building too: every kind of value the host writes itself.
  QdIfcModel demo(module.schema());
  ASSERT_TRUE(qdhost::buildDemo(demo).empty());
  compareBothWays(demo, "demo");
}

TEST(PropertyCommands, TreeAndPropsOnTheDemoBuilding) {
  const std::string file = (fs::temp_directory_path() / "qdifc_props_test.ifc").string();
  ASSERT_EQ(qdifc("demo " + file).status, 0);

  CommandResult tree = qdifc("tree " + file);
  EXPECT_EQ(tree.status, 0);
  // Each step one level in; storeys with what they contain, by type.
  EXPECT_NE(tree.out.find("IfcProject 'Demo project'\n  #"), std::string::npos) << tree.out;
  EXPECT_NE(tree.out.find("IfcSite 'Site'\n    #"), std::string::npos) << tree.out;
  EXPECT_NE(tree.out.find("IfcBuildingStorey 'Ground floor'\n        contains 5 elements: 1 IfcDoor 4 IfcWall"),
            std::string::npos)
      << tree.out;
  EXPECT_NE(tree.out.find("contains 1 element: 1 IfcSlab"), std::string::npos) << tree.out;

  // The first wall: its property set and its quantities, with their values.
  CommandResult show = qdifc("show " + file + " '#40'");
  ASSERT_NE(show.out.find("'Wall 1'"), std::string::npos) << show.out;
  CommandResult props = qdifc("props " + file + " '#40'");
  EXPECT_EQ(props.status, 0);
  EXPECT_NE(props.out.find("IfcPropertySet 'Pset_WallCommon'\n  IsExternal = .T.\n"), std::string::npos) << props.out;
  EXPECT_NE(props.out.find("IfcElementQuantity 'Qto_WallBaseQuantities'\n  Length = 5.\n  Height = 3.\n"
                           "  NetSideArea = 13.2\n"),
            std::string::npos)
      << props.out;
  // The project has none.
  EXPECT_NE(qdifc("props " + file + " '#1'").out.find("no property sets"), std::string::npos);
  EXPECT_EQ(qdifc("props " + file + " '#0'").status, 2);
  EXPECT_EQ(qdifc("props " + file + " '#99999'").status, 1);
  EXPECT_EQ(qdifc("tree").status, 2);
  EXPECT_EQ(qdifc("show " + file + " '#40' --via-properties").out, show.out);
  fs::remove(file);
}
