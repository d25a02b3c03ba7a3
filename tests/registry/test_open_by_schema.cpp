// The schema of a file read from its header alone, the load that compares it with the
// model's own schema, and opening a file with the module its header names.
#include "Folders.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>
#include <QdIfcCore/QdIfcRead.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

const fs::path kCorpus = QDIFC_TEST_CORPUS_DIR;
const fs::path kLibDir = QDIFC_TEST_LIB_DIR;

using Names = std::vector<std::string>;

// A whole file with the given FILE_SCHEMA parameters and records.
std::string file(const std::string& schemaParameters, const std::string& records = "#1=IFCCARTESIANPOINT((0.,0.));") {
  return "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('ViewDefinition [CoordinationView]'),'2;1');\n"
         "FILE_NAME('x.ifc','2024-01-01T00:00:00',(''),(''),'','','');\nFILE_SCHEMA" +
         schemaParameters + ";\nENDSEC;\nDATA;\n" + records + "\nENDSEC;\nEND-ISO-10303-21;\n";
}

fs::path writeTemp(const std::string& name, const std::string& text) {
  fs::path p = fs::temp_directory_path() / ("qdifc_open_" + std::to_string(::getpid()) + "_" + name);
  std::ofstream(p, std::ios::binary) << text;
  return p;
}

}  // namespace

TEST(FileSchema, NamesAreReadFromTheHeaderWhateverItsSpacingCaseAndComments) {
  EXPECT_EQ(qdIfcReadFileSchema(file("(('IFC4'))")).names, Names{"IFC4"});
  // Spacing and case of keywords as writers have them.
  const std::string odd =
      "\xEF\xBB\xBFiso-10303-21 ;\r\n header;\n\tFile_Description ( ( '' ) , '2;1' ) ;\n"
      "file_schema\n(\n\t( 'IFC2X3' )\r\n) ;\nendsec;";
  QdSpfFileSchema r = qdIfcReadFileSchema(odd);
  EXPECT_TRUE(r.found) << r.problem;
  EXPECT_EQ(r.names, Names{"IFC2X3"});
  // Several names, in order; a quote inside one.
  EXPECT_EQ(qdIfcReadFileSchema(file("(('IFC4','EXTRA_SCHEMA','IT''S'))")).names,
            (Names{"IFC4", "EXTRA_SCHEMA", "IT'S"}));
  // What is inside comments and strings is not the header's.
  const std::string hidden =
      "ISO-10303-21;HEADER;/* FILE_SCHEMA(('COMMENTED')); */\n"
      "FILE_DESCRIPTION(('FILE_SCHEMA((''QUOTED''));', '/* not a comment'),'2;1');\n"
      "FILE_NAME('ENDSEC;','',(''),(''),'','','');\n"
      "FILE_SCHEMA(/* (('INNER')) */('IFC4X3'/*,'LATER'*/));ENDSEC;";
  r = qdIfcReadFileSchema(hidden);
  EXPECT_TRUE(r.found) << r.problem;
  EXPECT_EQ(r.names, Names{"IFC4X3"});
  // Keywords are whole words: FILE_SCHEMAS is another record.
  EXPECT_EQ(qdIfcReadFileSchema("ISO-10303-21;HEADER;FILE_SCHEMAS(('NO'));FILE_SCHEMA(('YES'));ENDSEC;").names,
            Names{"YES"});
}

TEST(FileSchema, AHeaderWithoutFileSchemaOrCutShortSaysSo) {
  QdSpfFileSchema none = qdIfcReadFileSchema("ISO-10303-21;HEADER;FILE_NAME('a');ENDSEC;DATA;#1=X(1);");
  EXPECT_FALSE(none.found);
  EXPECT_TRUE(none.names.empty());
  EXPECT_EQ(none.problem, "no FILE_SCHEMA in the header");
  EXPECT_FALSE(qdIfcReadFileSchema("#1=IFCWALL('FILE_SCHEMA');").found);
  EXPECT_TRUE(qdIfcReadFileSchema("").names.empty());
  EXPECT_FALSE(qdIfcReadFileSchema("not a file at all").found);

  // Cut at every byte: nothing until the list closes, then the whole name.
  const std::string whole = file("(('IFC4','SECOND'))");
  const size_t close = whole.find("));") + 2;
  for (size_t n = 0; n < whole.size(); ++n) {
    QdSpfFileSchema cut = qdIfcReadFileSchema(std::string_view(whole).substr(0, n));
    if (n < close) {
      EXPECT_FALSE(cut.found) << n;
      EXPECT_FALSE(cut.problem.empty()) << n;
      // A name is a name only once its closing quote is there.
      const size_t firstEnd = whole.find("IFC4'") + 5;
      if (n < firstEnd) {
        EXPECT_TRUE(cut.names.empty()) << n;
      } else {
        ASSERT_FALSE(cut.names.empty()) << n;
        EXPECT_EQ(cut.names.front(), "IFC4") << n;
      }
    } else {
      EXPECT_TRUE(cut.found) << n;
      EXPECT_EQ(cut.names, (Names{"IFC4", "SECOND"})) << n;
    }
  }
  // A comment that never closes hides the rest.
  EXPECT_FALSE(qdIfcReadFileSchema("ISO-10303-21;HEADER;/* FILE_SCHEMA(('IFC4'));ENDSEC;").found);
}

TEST(FileSchema, OfAFileOnlyTheHeaderIsRead) {
  // A header longer than the first read still gives its names.
  const std::string longDescription = "(('" + std::string(200000, 'x') + "'),'2;1')";
  std::string text = file("(('IFC2X3'))");
  text.replace(text.find("(('ViewDefinition"), std::string("(('ViewDefinition [CoordinationView]'),'2;1')").size(),
               longDescription);
  const fs::path longHeader = writeTemp("long.ifc", text);
  QdSpfFileSchema r = qdIfcReadFileSchemaOfFile(longHeader.string());
  EXPECT_TRUE(r.found) << r.problem;
  EXPECT_EQ(r.names, Names{"IFC2X3"});
  // A header that never ends is given up after a few MiB, not read to the end of the file.
  const fs::path endless =
      writeTemp("endless.ifc", "ISO-10303-21;HEADER;FILE_DESCRIPTION(('" + std::string(6 << 20, 'x'));
  r = qdIfcReadFileSchemaOfFile(endless.string());
  EXPECT_FALSE(r.found);
  EXPECT_NE(r.problem.find("the header goes on past"), std::string::npos) << r.problem;
  // A file cut in FILE_SCHEMA.
  const std::string whole = file("(('IFC4'))");
  const fs::path cut = writeTemp("cut.ifc", whole.substr(0, whole.find("IFC4")));
  r = qdIfcReadFileSchemaOfFile(cut.string());
  EXPECT_FALSE(r.found);
  EXPECT_TRUE(r.opened);
  EXPECT_NE(r.problem.find("ends"), std::string::npos) << r.problem;
  r = qdIfcReadFileSchemaOfFile("/nonexistent/x.ifc");
  EXPECT_FALSE(r.opened);
  for (const fs::path& p : {longHeader, endless, cut}) fs::remove(p);
  // Every sample file names the schema of its folder.
  if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no sample files at " << kCorpus;
  for (const auto& [folder, schema] : {std::pair{"ifc2x3", "IFC2X3"}, {"ifc4", "IFC4"}, {"ifc4x3", "IFC4X3_ADD2"}})
    for (const fs::directory_entry& e : fs::directory_iterator(kCorpus / folder)) {
      QdSpfFileSchema s = qdIfcReadFileSchemaOfFile(e.path().string());
      EXPECT_EQ(s.names, Names{schema}) << e.path();
    }
}

// A dictionary with nothing in it but its name: enough for the load's schema check.
TEST(LoadBySchema, FileSchemaIsComparedWithTheModelsOwnSchema) {
  QdIfcSchema x3;
  x3.setName("IFC4X3_ADD2");
  for (const char* named : {"(('IFC4X3_ADD2'))", "(('ifc4x3'))", "(('IFC4X3'))", "(('OTHER','Ifc4x3_Add2'))"}) {
    QdIfcModel model(&x3);
    QdIfcLoadReport r = qdIfcLoad(model, file(named));
    EXPECT_FALSE(r.schemaRefused) << named;
    // The record's type is not in the empty dictionary: said with the model's schema.
    ASSERT_EQ(r.problems.size(), 1u) << named;
    EXPECT_EQ(r.problems[0].expected, "an IFC4X3_ADD2 entity type");
  }
  for (const char* other : {"(('IFC4'))", "(('IFC4X3_ADD1'))", "(('IFC4X'))", "((''))"}) {
    QdIfcModel model(&x3);
    QdIfcLoadReport r = qdIfcLoad(model, file(other));
    EXPECT_TRUE(r.schemaRefused) << other;
    ASSERT_FALSE(r.problems.empty());
    EXPECT_EQ(r.problems[0].expected, "FILE_SCHEMA(('IFC4X3_ADD2'))") << other;
  }
  // A new model's header names its own schema, and reads back as it.
  QdIfcSchema two;
  two.setName("IFC2X3");
  QdIfcModel written(&two);
  const std::string text = qdIfcSaveText(written);
  EXPECT_NE(text.find("FILE_SCHEMA(('IFC2X3'));"), std::string::npos) << text;
  QdIfcModel read(&two);
  EXPECT_FALSE(qdIfcLoad(read, text).schemaRefused);
  EXPECT_EQ(read.header().schema, "(('IFC2X3'))");
}

namespace {

// The modules of the build, beside the core library.
class OpenBySchema : public ::testing::Test {
 protected:
  QdIfcModuleRegistry modules;
};

}  // namespace

TEST_F(OpenBySchema, TheHeaderPicksTheModule) {
  QdIfcReadResult r = qdIfcRead(file("(('ifc4'))"), modules);
  ASSERT_NE(r.model, nullptr) << r.error;
  EXPECT_TRUE(r.ok()) << (r.report.problems.empty() ? "" : r.report.describe(r.report.problems[0]));
  EXPECT_STREQ(r.model->schema()->name(), "IFC4");
  EXPECT_EQ(r.module, modules.module("IFC4"));
  EXPECT_EQ(r.report.counts, (std::vector<std::pair<std::string, uint64_t>>{{"IfcCartesianPoint", 1}}));
  // The first name with a module wins; the others are no problem.
  r = qdIfcRead(file("(('IFC2X4','IFC4'))"), modules);
  ASSERT_NE(r.model, nullptr) << r.error;
  EXPECT_TRUE(r.ok());
  EXPECT_STREQ(r.model->schema()->name(), "IFC4");
}

TEST_F(OpenBySchema, ASchemaWithoutAModuleIsOneClearMessage) {
  QdIfcReadResult r = qdIfcRead(file("(('IFC2X4'))"), modules);
  EXPECT_EQ(r.model, nullptr);
  EXPECT_EQ(r.error, modules.missingMessage({"IFC2X4"}));
  EXPECT_EQ(r.error.rfind("no module for schema IFC2X4; there are: ", 0), 0u) << r.error;
  EXPECT_NE(r.error.find("IFC4"), std::string::npos) << r.error;
  EXPECT_TRUE(r.report.schemaRefused);
  EXPECT_EQ(r.report.schemas, Names{"IFC2X4"});
  ASSERT_EQ(r.report.problems.size(), 1u);
  EXPECT_EQ(r.report.problems[0].found, "IFC2X4");
  // Asked to go on, it is read as the fallback schema, the mismatch one problem.
  QdIfcReadOptions goOn;
  goOn.load.acceptOtherSchemas = true;
  r = qdIfcRead(file("(('IFC2X4'))"), modules, goOn);
  ASSERT_NE(r.model, nullptr) << r.error;
  EXPECT_STREQ(r.model->schema()->name(), "IFC4");
  EXPECT_EQ(r.report.records, 1u);
  ASSERT_EQ(r.report.problems.size(), 1u);
  EXPECT_EQ(r.report.problems[0].found, "IFC2X4");
  // A header that names no schema is read as the fallback, whose load says what is wrong.
  r = qdIfcRead("ISO-10303-21;HEADER;ENDSEC;DATA;#1=IFCCARTESIANPOINT((0.,0.));ENDSEC;END-ISO-10303-21;", modules);
  ASSERT_NE(r.model, nullptr) << r.error;
  EXPECT_TRUE(r.report.schemaRefused);
  EXPECT_EQ(r.report.problems[0].found, "no schema name");
}

TEST_F(OpenBySchema, AForcedSchemaIsReadWithWhateverTheHeaderSays) {
  QdIfcReadOptions forced;
  forced.schema = "Ifc4";
  QdIfcReadResult r = qdIfcRead(file("(('IFC2X4'))"), modules, forced);
  ASSERT_NE(r.model, nullptr) << r.error;
  EXPECT_TRUE(r.report.schemaRefused);  // the load still compares
  EXPECT_EQ(r.report.problems[0].expected, "FILE_SCHEMA(('IFC4'))");
  forced.load.acceptOtherSchemas = true;
  r = qdIfcRead(file("(('IFC2X4'))"), modules, forced);
  ASSERT_NE(r.model, nullptr);
  EXPECT_EQ(r.report.records, 1u);
  forced.schema = "IFC2X4";
  r = qdIfcRead(file("(('IFC4'))"), modules, forced);
  EXPECT_EQ(r.model, nullptr);
  EXPECT_EQ(r.error.rfind("no module for schema IFC2X4; there are: ", 0), 0u) << r.error;
}

TEST_F(OpenBySchema, FilesAreOpenedByTheirHeaderOnly) {
  const fs::path p = writeTemp("four.ifc", file("(('IFC4'))", "#7=IFCDIRECTION((1.,0.,0.));"));
  QdIfcModuleChoice c = qdIfcChooseModuleForFile(p.string(), modules);
  ASSERT_NE(c.module, nullptr) << c.error;
  EXPECT_EQ(c.schemas, Names{"IFC4"});
  QdIfcReadResult r = qdIfcReadFile(p.string(), modules);
  ASSERT_NE(r.model, nullptr) << r.error;
  EXPECT_EQ(r.report.file, p.string());
  EXPECT_NE(r.model->object(7), nullptr);
  fs::remove(p);
  r = qdIfcReadFile("/nonexistent/x.ifc", modules);
  EXPECT_EQ(r.model, nullptr);
  EXPECT_FALSE(r.report.opened);
  EXPECT_EQ(r.report.file, "/nonexistent/x.ifc");
}

// With the stand-ins of the other editions: each file opened with its own module, the
// models alive side by side.
TEST_F(Folders, EachFileIsReadWithTheModuleOfItsEdition) {
  QdIfcModuleRegistry modules(false);
  modules.addSearchPath(threeEditions().string());
  QdIfcReadResult two = qdIfcRead(file("(('IFC2X3'))"), modules);
  QdIfcReadResult four = qdIfcRead(file("(('IFC4'))"), modules);
  QdIfcReadResult x3 = qdIfcRead(file("(('IFC4X3'))"), modules);
  ASSERT_TRUE(two.model && four.model && x3.model) << two.error << four.error << x3.error;
  EXPECT_STREQ(two.model->schema()->name(), "IFC2X3");
  EXPECT_STREQ(four.model->schema()->name(), "IFC4");
  EXPECT_STREQ(x3.model->schema()->name(), "IFC4X3_ADD2");
  EXPECT_TRUE(four.ok());
  // The stand-ins know no entity type: the record is a problem, the header none.
  for (QdIfcReadResult* r : {&two, &x3}) {
    EXPECT_FALSE(r->report.schemaRefused);
    ASSERT_EQ(r->report.problems.size(), 1u);
    EXPECT_EQ(r->report.problems[0].expected, std::string("an ") + r->model->schema()->name() + " entity type");
  }
  EXPECT_EQ(four.model->size(), 1u);
  EXPECT_EQ(modules.loaded().size(), 3u);
  // A name none of them has.
  QdIfcReadResult none = qdIfcRead(file("(('IFC2X4'))"), modules);
  EXPECT_EQ(none.error, "no module for schema IFC2X4; there are: IFC2X3, IFC4, IFC4X3_ADD2");
}

// The sample files of each edition, each with its own module where the build has it.
TEST_F(OpenBySchema, SampleFilesOfEachEditionOpenWithTheirModule) {
  if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no sample files at " << kCorpus;
  size_t opened = 0;
  std::string skipped;
  for (const auto& [folder, schema] : {std::pair{"ifc2x3", "IFC2X3"}, {"ifc4", "IFC4"}, {"ifc4x3", "IFC4X3_ADD2"}}) {
    if (!modules.available(schema)) {
      skipped += std::string(skipped.empty() ? "" : ", ") + schema;
      continue;
    }
    for (const fs::directory_entry& e : fs::directory_iterator(kCorpus / folder)) {
      QdIfcReadResult r = qdIfcReadFile(e.path().string(), modules);
      ASSERT_NE(r.model, nullptr) << e.path() << ": " << r.error;
      EXPECT_STREQ(r.model->schema()->name(), schema) << e.path();
      EXPECT_FALSE(r.report.schemaRefused) << e.path();
      EXPECT_GT(r.report.records, 0u) << e.path();
      EXPECT_EQ(r.model->size(), r.report.records) << e.path();
      ++opened;
    }
  }
  EXPECT_GT(opened, 0u);
  // Both together in one process: a file of each, models alive at once.
  if (modules.available("IFC2X3")) {
    QdIfcReadResult two = qdIfcReadFile((kCorpus / "ifc2x3" / "House.ifc").string(), modules);
    QdIfcReadResult four = qdIfcReadFile((kCorpus / "ifc4" / "ISSUE_005_haus.ifc").string(), modules);
    ASSERT_TRUE(two.model && four.model);
    EXPECT_NE(two.model->schema(), four.model->schema());
    EXPECT_GT(two.report.records, 1000u);
    EXPECT_GT(four.report.records, 1000u);
  }
  if (!skipped.empty()) GTEST_SKIP() << "no module for " << skipped << " in " << kLibDir << "; those files not opened";
}
