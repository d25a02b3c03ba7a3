// The host's file commands and the demo building: what they print, their exit
// status, and a demo model that reads back attribute by attribute.
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

const fs::path kCorpus = QDIFC_TEST_CORPUS_DIR;

}  // namespace

TEST(DemoBuilding, ReadsBackAttributeByAttribute) {
  QdIfcModule module;
  ASSERT_TRUE(module.load(QDIFC_TEST_MODULE_PATH)) << module.error();
  QdIfcModel built(module.schema());
  EXPECT_TRUE(qdhost::buildDemo(built).empty());
  const std::string text = qdIfcSaveText(built);
  QdIfcModel read(module.schema());
  QdIfcLoadReport report = qdIfcLoad(read, text);
  EXPECT_TRUE(report.problems.empty());
  ASSERT_EQ(read.size(), built.size());
  size_t compared = 0;
  built.forEach([&](const QdDbObjectId& id, QdIfcEntityBase* object) {
    QdIfcEntityBase* other = read.object(id.id());
    ASSERT_NE(other, nullptr) << id.id();
    EXPECT_EQ(qdhost::renderInstance(*other, id.id()), qdhost::renderInstance(*object, id.id()));
    ++compared;
  });
  EXPECT_EQ(compared, built.size());
  // The links of the building are there after reading: walls in the ground floor, the
  // opening in the first wall, the door filling it, the property set on the walls.
  std::string storey, wall;
  read.forEach([&](const QdDbObjectId& id, QdIfcEntityBase* object) {
    std::string r = qdhost::renderInstance(*object, id.id());
    if (r.find("'Ground floor'") != std::string::npos) storey = r;
    if (r.find("'Wall 1'") != std::string::npos) wall = r;
  });
  EXPECT_NE(storey.find("ContainsElements (inverse) = (#"), std::string::npos) << storey;
  EXPECT_NE(storey.find("Decomposes (inverse) = (#"), std::string::npos) << storey;
  EXPECT_NE(wall.find("HasOpenings (inverse) = (#"), std::string::npos) << wall;
  EXPECT_NE(wall.find("IsDefinedBy (inverse) = (#"), std::string::npos) << wall;
  EXPECT_NE(wall.find("ContainedInStructure (inverse) = (#"), std::string::npos) << wall;
}

TEST(FileCommands, ExitWithZeroOneOrTwo) {
  const std::string out = (fs::temp_directory_path() / "qdifc_demo_test.ifc").string();
  CommandResult demo = qdifc("demo " + out);
  EXPECT_EQ(demo.status, 0) << demo.out;
  EXPECT_NE(demo.out.find("0 problems"), std::string::npos) << demo.out;
  EXPECT_EQ(qdifc("check " + out).status, 0);
  CommandResult show = qdifc("show " + out + " '#14'");
  EXPECT_EQ(show.status, 0) << show.out;
  EXPECT_EQ(show.out.rfind("#14 IfcSite\n", 0), 0u) << show.out;
  EXPECT_EQ(qdifc("show " + out + " '#99999'").status, 1);
  EXPECT_EQ(qdifc("convert " + out + " " + out + ".2").status, 0);
  for (const char* command : {"load", "check", "convert", "show", "demo"}) {
    CommandResult help = qdifc(std::string(command) + " --help");
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_EQ(help.out.rfind(std::string("usage: qdifc ") + command, 0), 0u) << help.out;
    EXPECT_EQ(qdifc(std::string(command) + " --bogus").status, 2) << command;
  }
  EXPECT_EQ(qdifc("show " + out + " twelve").status, 2);
  // The records read by three threads: the same show, and a load of the same instances.
  EXPECT_EQ(qdifc("show " + out + " '#14' --threads 3").out, show.out);
  const CommandResult three = qdifc("load " + out + " --threads 3"), one = qdifc("load " + out + " --threads 1");
  EXPECT_EQ(three.out.substr(0, three.out.find("time ")), one.out.substr(0, one.out.find("time ")));
  for (const char* bad : {" --threads 0", " --threads x", " --threads"})
    EXPECT_EQ(qdifc("load " + out + bad).status, 2);
  EXPECT_EQ(qdifc("load /nonexistent/file.ifc").status, 1);
  if (fs::is_directory(kCorpus)) {
    CommandResult broken = qdifc("check " + (kCorpus / "ifc4" / "SmallModelIfc4.ifc").string());
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.out.find("SmallModelIfc4.ifc:32: #38: expected ')' after the last parameter"), std::string::npos)
        << broken.out;
    CommandResult other = qdifc("load " + (kCorpus / "other-schemas" / "ifc2x3_final_wall.ifc").string());
    EXPECT_EQ(other.status, 1);
    EXPECT_NE(other.out.find("no module for schema IFC2X3_FINAL; there are: "), std::string::npos) << other.out;
  }
  fs::remove(out);
  fs::remove(out + ".2");
}

// ramp.ifc gives its project and its site '' as GlobalId: a value, shown, written back
// and checked as the file has it.
TEST(FileCommands, AnEmptyGlobalIdIsShownWrittenAndCheckedAsTheFileHasIt) {
  const fs::path ramp = kCorpus / "ifc4" / "ramp.ifc";
  if (!fs::exists(ramp)) GTEST_SKIP() << "no sample file at " << ramp;
  CommandResult show = qdifc("show " + ramp.string() + " '#2'");
  EXPECT_NE(show.out.find("  GlobalId = ''\n"), std::string::npos) << show.out;
  const std::string out = (fs::temp_directory_path() / "qdifc_ramp_test.ifc").string();
  qdifc("convert " + ramp.string() + " " + out);
  CommandResult written = qdifc("show " + out + " '#17'");
  EXPECT_NE(written.out.find("  GlobalId = ''\n"), std::string::npos) << written.out;
  CommandResult check = qdifc("check " + out);
  EXPECT_NE(check.out.find("#2 IfcProject.GlobalId: GlobalId form: expected 22 characters"), std::string::npos)
      << check.out;
  EXPECT_EQ(check.out.find("GlobalId: required attribute"), std::string::npos) << check.out;
  fs::remove(out);
}
