// The host picks the module a file needs: by its FILE_SCHEMA, or the one --schema or
// --module forces; qdifc schema --schema shows another schema's dictionary.
#include "RunQdifc.h"

#include <QdIfcCore/QdIfcModuleRegistry.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

const fs::path kCorpus = QDIFC_TEST_CORPUS_DIR;
const fs::path kLibDir = QDIFC_TEST_LIB_DIR;

// A small file whose FILE_SCHEMA has the given parameters, written for the test.
class SchemaChoice : public ::testing::Test {
 protected:
  std::string write(const std::string& name, const std::string& schemaParameters) {
    fs::path p = fs::temp_directory_path() / ("qdifc_choice_" + std::to_string(::getpid()) + "_" + name);
    std::ofstream(p, std::ios::binary)
        << "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','');\n"
           "FILE_SCHEMA"
        << schemaParameters
        << ";\nENDSEC;\nDATA;\n#1=IFCCARTESIANPOINT((0.,0.));\n#2=IFCDIRECTION((1.,0.));\nENDSEC;\n"
           "END-ISO-10303-21;\n";
    m_files.push_back(p);
    return p.string();
  }
  void TearDown() override {
    for (const fs::path& p : m_files) fs::remove(p);
  }

 private:
  std::vector<fs::path> m_files;
};

bool contains(const CommandResult& r, const std::string& text) { return r.out.find(text) != std::string::npos; }

bool inBuild(const char* library) { return fs::exists(kLibDir / QdIfcModuleRegistry::libraryFileName(library)); }

}  // namespace

TEST_F(SchemaChoice, EveryFileCommandPicksTheModuleFileSchemaNames) {
  const std::string four = write("four.ifc", "(('ifc4'))");
  CommandResult load = qdifc("load " + four);
  EXPECT_EQ(load.status, 0) << load.out;
  EXPECT_TRUE(contains(load, ": 2 instances of 2 types, 0 problems")) << load.out;

  const std::string unknown = write("unknown.ifc", "(('IFC2X4'))");
  for (const std::string& command : {"load " + unknown, "check " + unknown, "convert " + unknown + " /dev/null",
                                     "show " + unknown + " '#1'", "tree " + unknown, "props " + unknown + " '#1'"}) {
    CommandResult r = qdifc(command);
    EXPECT_EQ(r.status, 1) << command << "\n" << r.out;
    EXPECT_TRUE(contains(r, "qdifc: " + unknown + ": no module for schema IFC2X4; there are: ")) << command << "\n"
                                                                                                 << r.out;
    EXPECT_TRUE(contains(r, "IFC4")) << r.out;
  }
  // --any-schema reads it as IFC4, the mismatch one problem.
  CommandResult anyway = qdifc("load " + unknown + " --any-schema");
  EXPECT_EQ(anyway.status, 1) << anyway.out;
  EXPECT_TRUE(contains(anyway, ": 2 instances of 2 types, 1 problems")) << anyway.out;
  EXPECT_TRUE(contains(anyway, "expected FILE_SCHEMA(('IFC4')), found IFC2X4")) << anyway.out;
  // The first name with a module picks it.
  CommandResult several = qdifc("show " + write("several.ifc", "(('IFC2X4','IFC4'))") + " '#2'");
  EXPECT_EQ(several.status, 0) << several.out;
  EXPECT_EQ(several.out.rfind("#2 IfcDirection\n", 0), 0u) << several.out;
}

TEST_F(SchemaChoice, SchemaOptionForcesTheModuleInAnyCase) {
  const std::string unknown = write("unknown.ifc", "(('IFC2X4'))");
  for (const char* forced : {"--schema ifc4", "--schema=IFC4", "--schema Ifc4"}) {
    CommandResult r = qdifc("load " + unknown + " " + forced);
    EXPECT_EQ(r.status, 1) << forced;
    EXPECT_TRUE(contains(r, unknown + " is written in schema IFC2X4, not IFC4; --any-schema reads it anyway"))
        << forced << "\n"
        << r.out;
  }
  CommandResult both = qdifc("check " + unknown + " --schema ifc4 --any-schema");
  EXPECT_TRUE(contains(both, "expected FILE_SCHEMA(('IFC4')), found IFC2X4")) << both.out;
  EXPECT_FALSE(contains(both, "no module")) << both.out;
  // A schema without a module, forced on an IFC4 file.
  CommandResult missing = qdifc("load " + write("four.ifc", "(('IFC4'))") + " --schema IFC2X4");
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(contains(missing, "qdifc: no module for schema IFC2X4; there are: ")) << missing.out;
  CommandResult bare = qdifc("load " + unknown + " --schema");
  EXPECT_EQ(bare.status, 2) << bare.out;
  EXPECT_TRUE(contains(bare, "--schema needs a schema name")) << bare.out;
  EXPECT_EQ(qdifc("demo /dev/null --schema IFC4").status, 2);
}

TEST_F(SchemaChoice, ModuleOptionReadsEveryFileWithTheModuleGiven) {
  const std::string module = QDIFC_TEST_MODULE_PATH;
  CommandResult four = qdifc("--module " + module + " load " + write("four.ifc", "(('IFC4'))"));
  EXPECT_EQ(four.status, 0) << four.out;
  const std::string unknown = write("unknown.ifc", "(('IFC2X4'))");
  CommandResult other = qdifc("--module " + module + " load " + unknown);
  EXPECT_EQ(other.status, 1);
  EXPECT_TRUE(contains(other, "is written in schema IFC2X4, not IFC4")) << other.out;
  CommandResult clash = qdifc("--module " + module + " load " + unknown + " --schema IFC2X3");
  EXPECT_EQ(clash.status, 1);
  EXPECT_TRUE(contains(clash, "the module " + module + " is of schema IFC4, not IFC2X3")) << clash.out;
}

TEST(SchemaCommand, ShowsTheDictionaryOfTheSchemaAsked) {
  const CommandResult ifc4 = qdifc("schema --dump");
  ASSERT_EQ(ifc4.status, 0);
  for (const char* same : {"schema --schema ifc4 --dump", "schema --dump --schema=IFC4"}) {
    CommandResult r = qdifc(same);
    EXPECT_EQ(r.status, 0) << same;
    EXPECT_EQ(r.out, ifc4.out) << same;
  }
  CommandResult missing = qdifc("schema --schema IFC2X4 IfcWall");
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(contains(missing, "no module for schema IFC2X4; there are: ")) << missing.out;
  EXPECT_EQ(qdifc("schema --schema").status, 2);
  CommandResult clash = qdifc(std::string("--module ") + QDIFC_TEST_MODULE_PATH + " schema --schema ifc4x3 IfcWall");
  EXPECT_EQ(clash.status, 1);
  EXPECT_TRUE(contains(clash, "is of schema IFC4, not IFC4X3_ADD2")) << clash.out;
  // The help names the option.
  EXPECT_TRUE(contains(qdifc("schema --help"), "--schema SCHEMA"));
  EXPECT_TRUE(contains(qdifc("load --help"), "--schema NAME"));

  // Another edition's dictionary, where the build has its module.
  std::string skipped;
  if (inBuild("QdIfc2x3")) {
    CommandResult two = qdifc("schema --schema ifc2x3 --dump");
    EXPECT_EQ(two.status, 0) << two.out.substr(0, 200);
    EXPECT_NE(two.out, ifc4.out);
    // A type IFC4 brought is not in IFC2X3's dictionary.
    EXPECT_EQ(qdifc("schema --schema IFC2X3 IfcIndexedPolygonalFace").status, 1);
    EXPECT_EQ(qdifc("schema IfcIndexedPolygonalFace").status, 0);
  } else {
    skipped += "libQdIfc2x3.so ";
  }
  if (inBuild("QdIfc4x3")) {
    CommandResult alignment = qdifc("schema --schema ifc4x3 IfcAlignment");
    EXPECT_EQ(alignment.status, 0) << alignment.out;
    EXPECT_EQ(alignment.out.rfind("entity IfcAlignment (IFCALIGNMENT)", 0), 0u) << alignment.out;
    EXPECT_EQ(qdifc("schema --schema IFC4 IfcAlignment").status, 1);
  } else {
    skipped += "libQdIfc4x3.so ";
  }
  if (!skipped.empty()) GTEST_SKIP() << "not in " << kLibDir << ": " << skipped << "(the other editions not checked)";
}

// Sample files of the other editions, read with their own modules.
TEST(SchemaCommand, SampleFilesOfOtherEditionsLoadWithTheirModules) {
  if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no sample files at " << kCorpus;
  std::string skipped;
  for (const auto& [library, file, type] :
       {std::tuple{"QdIfc2x3", "ifc2x3/Ifc2x3_Duplex_Architecture.ifc", "IfcWallStandardCase"},
        {"QdIfc4x3", "ifc4x3/grid-placement.ifc", "IfcGrid"}}) {
    if (!inBuild(library)) {
      skipped += std::string(library) + " ";
      continue;
    }
    const std::string path = (kCorpus / file).string();
    CommandResult r = qdifc("load " + path);
    EXPECT_TRUE(contains(r, path + ": ")) << r.out;
    EXPECT_TRUE(contains(r, std::string("\t") + type + "\n")) << r.out;
    EXPECT_FALSE(contains(r, "no module")) << r.out;
    EXPECT_FALSE(contains(r, "FILE_SCHEMA")) << r.out;
    // Read against IFC4 instead, the header is refused.
    CommandResult asIfc4 = qdifc("load " + path + " --schema IFC4");
    EXPECT_EQ(asIfc4.status, 1);
    EXPECT_TRUE(contains(asIfc4, ", not IFC4; --any-schema reads it anyway")) << asIfc4.out;
  }
  if (!skipped.empty()) GTEST_SKIP() << "no module " << skipped << "in " << kLibDir;
}
