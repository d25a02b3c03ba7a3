// IFC4 files read into a model and written back: the corpus files with the problems
// they really have, round trips that give the same bytes twice, refused schemas, and
// the fields whose reading or writing is not a plain value.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/QdSpfRecordIndex.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

const fs::path kCorpus = QDIFC_TEST_CORPUS_DIR;

class StepFiles : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qdGetModuleLifeCycleApp()->start()); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }

  std::unique_ptr<QdIfcModel> fresh() { return std::make_unique<QdIfcModel>(qdifcGetSchemaPointer()); }
  // A whole file around the given data records.
  static std::string file(const std::string& records) {
    return "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','');\n"
           "FILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n" +
           records + "\nENDSEC;\nEND-ISO-10303-21;\n";
  }
  // The record of instance id as the writer gives it.
  static std::string recordOf(QdIfcModel& model, uint64_t id) {
    std::string text = qdIfcSaveText(model);
    std::string head = "#" + std::to_string(id) + "=";
    size_t at = text.find(head);
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
  }
};

std::string problemsOf(const QdIfcLoadReport& r) {
  std::string s;
  for (const QdSpfProblem& p : r.problems) s += r.describe(p) + "\n";
  return s;
}

}  // namespace

TEST_F(StepFiles, CorpusFilesLoadWithTheirRealProblemsAndRoundTrip) {
  if (!fs::is_directory(kCorpus / "ifc4")) GTEST_SKIP() << "no corpus at " << kCorpus;
  // Instances the damaged files have problems in, one each; every other file has none.
  const std::map<std::string, std::set<uint64_t>> damaged = {
      {"FormallyIllegalFile.ifc", {2}},
      {"IfcTriangulatedFaceSet.ifc", {48, 49, 56}},
      {"SmallModelIfc4.ifc", {38}},
  };
  int files = 0;
  for (const auto& entry : fs::directory_iterator(kCorpus / "ifc4")) {
    const std::string name = entry.path().filename().string();
    SCOPED_TRACE(name);
    auto model = fresh();
    QdIfcLoadReport report = qdIfcLoadFile(*model, entry.path().string());
    ASSERT_TRUE(report.opened);
    std::set<uint64_t> where;
    for (const QdSpfProblem& p : report.problems) where.insert(p.instance);
    if (name == "ramp.ifc") {
      // Alignment entities of a later edition: each reported by name, the rest kept.
      EXPECT_FALSE(report.problems.empty());
      for (const QdSpfProblem& p : report.problems)
        EXPECT_TRUE(p.found.rfind("IFCALIGNMENT", 0) == 0 || p.expected.rfind("a record #", 0) == 0 ||
                    p.expected == "an IFC4 entity type")
            << report.describe(p);
      EXPECT_GT(report.records, 0u);
    } else {
      auto d = damaged.find(name);
      EXPECT_EQ(where, d == damaged.end() ? std::set<uint64_t>{} : d->second) << problemsOf(report);
      EXPECT_EQ(report.problems.size(), where.size()) << problemsOf(report);
    }
    for (const QdSpfProblem& p : report.problems) EXPECT_GT(p.line, 0u) << report.describe(p);
    // Read what was written: the same types and counts, and the same text again.
    std::string first = qdIfcSaveText(*model);
    auto again = fresh();
    QdIfcLoadReport second = qdIfcLoad(*again, first);
    EXPECT_TRUE(second.problems.empty()) << problemsOf(second);
    EXPECT_EQ(second.counts, report.counts);
    EXPECT_EQ(qdIfcSaveText(*again), first);
    ++files;
  }
  EXPECT_GE(files, 20);
}

// The index built alone finds the records a load reads, and tells the problems of
// framing and limits as the load does: the same places, records and texts.
TEST_F(StepFiles, TheIndexAloneFindsTheRecordsALoadReads) {
  if (!fs::is_directory(kCorpus / "ifc4")) GTEST_SKIP() << "no corpus at " << kCorpus;
  QdSpfLimits tight;
  tight.maxRecordBytes = 200;
  tight.maxListDepth = 3;
  int files = 0;
  for (const auto& entry : fs::directory_iterator(kCorpus / "ifc4")) {
    SCOPED_TRACE(entry.path().filename().string());
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    for (const QdSpfLimits& limits : {QdSpfLimits{}, tight}) {
      QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes, limits);
      auto model = fresh();
      QdIfcLoadOptions options;
      options.limits = limits;
      QdIfcLoadReport report = qdIfcLoad(*model, bytes, options);
      std::set<std::tuple<uint64_t, uint64_t, std::string, std::string>> told;
      for (const QdSpfProblem& p : report.problems) told.emplace(p.offset, p.instance, p.expected, p.found);
      for (const QdSpfProblem& p : index.problems())
        EXPECT_TRUE(told.count({p.offset, p.instance, p.expected, p.found})) << p.expected << " at " << p.offset;
      // Every instance made has its record in the index, in its range.
      EXPECT_GE(index.size(), report.records);
      size_t read = 0;
      for (const QdSpfRecordIndex::Record& r : index.records()) {
        ASSERT_EQ(bytes[r.begin], '#');
        if (model->object(r.id) && model->object(r.id)->isInstanceOf(std::string(index.typeName(r)).c_str())) ++read;
      }
      EXPECT_GE(read, report.records);
      if (report.problems.empty()) {
        EXPECT_EQ(index.size(), report.records);
      }
    }
    ++files;
  }
  EXPECT_GE(files, 20);
}

TEST_F(StepFiles, OtherSchemasAreRefusedUnlessAskedToGoOn) {
  const fs::path folder = kCorpus / "other-schemas";
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no corpus at " << kCorpus;
  for (const char* name : {"ifc2x3_final_wall.ifc", "ifc4x3-horizontal-alignment.ifc"}) {
    auto model = fresh();
    QdIfcLoadReport refused = qdIfcLoadFile(*model, (folder / name).string());
    EXPECT_TRUE(refused.schemaRefused) << name;
    EXPECT_EQ(model->size(), 0u) << name;
    ASSERT_EQ(refused.problems.size(), 1u);
    EXPECT_NE(refused.problems[0].found.find("IFC"), std::string::npos);
    QdIfcLoadOptions goOn;
    goOn.acceptOtherSchemas = true;
    QdIfcLoadReport read = qdIfcLoadFile(*model, (folder / name).string(), goOn);
    EXPECT_FALSE(read.schemaRefused);
    EXPECT_GT(model->size(), 0u) << name;
  }
  // The schema name is compared whole, in any case.
  auto model = fresh();
  std::string ifc4x3 = file("#1=IFCCARTESIANPOINT((0.,0.));");
  ifc4x3.replace(ifc4x3.find("'IFC4'"), 6, "'ifc4x3'");
  EXPECT_TRUE(qdIfcLoad(*model, ifc4x3).schemaRefused);
  std::string lower = file("#1=IFCCARTESIANPOINT((0.,0.));");
  lower.replace(lower.find("'IFC4'"), 6, "'ifc4'");
  EXPECT_FALSE(qdIfcLoad(*fresh(), lower).schemaRefused);
}

TEST_F(StepFiles, LexicalFormsAreReadAsTheFileHasThem) {
  const fs::path folder = kCorpus / "lexical";
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no corpus at " << kCorpus;
  QdIfcLoadOptions goOn;
  goOn.acceptOtherSchemas = true;  // they declare IFC2X3; their records are IFC4's too
  auto model = fresh();
  QdIfcLoadReport r = qdIfcLoadFile(*model, (folder / "SpecialSolidusEscape.ifc").string(), goOn);
  EXPECT_EQ(r.problems.size(), 1u) << problemsOf(r);  // the schema only
  auto name = [&](uint64_t id) {
    QdIfcVariant v;
    model->object(id)->getAttr("Name", v);
    return std::string(*v.ptr<const char*>());
  };
  // Strings hold the file's bytes between the quotes, escapes and all.
  EXPECT_EQ(name(1001), "Don''t");
  EXPECT_EQ(name(1002), "''");
  EXPECT_EQ(name(1003), "");
  EXPECT_EQ(name(1004), "\\S\\Drger");
  EXPECT_EQ(name(1006).substr(name(1006).size() - 4), "\\S\\'");
  // Written again, each string is the same literal, the one that ends in \S\' too.
  const std::string written = qdIfcSaveText(*model);
  QdIfcLoadReport again = qdIfcLoad(*fresh(), written, goOn);
  EXPECT_EQ(again.problems.size(), 1u) << problemsOf(again);  // the schema only
  EXPECT_NE(written.find("'Don''t'"), std::string::npos);
  EXPECT_NE(written.find("solidus escape \\S\\''"), std::string::npos);
  auto reals = fresh();
  qdIfcLoadFile(*reals, (folder / "RealWithExponent.ifc").string(), goOn);
  QdIfcArray<double> xyz;
  static_cast<IFC4::IfcCartesianPoint*>(reals->object(72))->getCoordinates(xyz);
  ASSERT_EQ(xyz.length(), 3);
  EXPECT_EQ(xyz[1], 4.440892099e-013);
  for (const char* f : {"BadlyFormedFile.ifc", "EmptyMultibyteString.ifc"}) {
    auto m = fresh();
    QdIfcLoadReport bad = qdIfcLoadFile(*m, (folder / f).string(), goOn);
    EXPECT_GT(m->size(), 0u) << f;
    EXPECT_EQ(bad.problems.size(), 1u) << f << problemsOf(bad);
  }
}

TEST_F(StepFiles, FieldsThatAreNotPlainValues) {
  auto model = fresh();
  QdIfcLoadReport r = qdIfcLoad(
      *model,
      file(
          "#1=IFCORIENTEDEDGE(*,*,#5,.T.);\n"
          "#2=IFCSIUNIT(*,.LENGTHUNIT.,$,.METRE.);\n"
          "#3=IFCWALL('2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,$,$,$,$,.NOSUCHLITERAL.);\n"
          "#4=IFCDIMENSIONALEXPONENTS(0,$,1,0,0,0,0);\n"
          "#5=IFCEDGE(#6,#6);\n"
          "#6=IFCVERTEX();\n"
          "#7=IFCBLOBTEXTURE(.T.,.T.,$,$,$,'PNG',\"0A1F\");\n"
          "#8=IFCPOLYLINE(#9);\n"
          "#9=IFCCARTESIANPOINT((1.,2.));\n"
          "#10=IFCPROPERTYSINGLEVALUE('a',$,IFCCOMPLEXNUMBER((1.,2.)),$);\n"
          "#11=IFCPROPERTYSINGLEVALUE('b',$,IFCLABEL('x'),$);\n"
          "#12=IFCRELDEFINESBYPROPERTIES('2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,(#3),IFCPROPERTYSETDEFINITIONSET((#13,#14)));\n"
          "#13=IFCPROPERTYSET('2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,(#10));\n"
          "#14=IFCPROPERTYSET('2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,(#11));\n"
          "#15=IFCPRESENTATIONSTYLEASSIGNMENT((IFCNULLSTYLE(.NULL.)));\n"
          "#16=IFCCARTESIANPOINTLIST3D(((0.,0.,0.),(1.,0.,0.)));\n"
          "#17=IFCGEOMETRICSET(());\n"
          "#18=IFCTRIANGULATEDFACESET(#16,$,$,((1,2,1)),());"));
  EXPECT_TRUE(r.problems.empty()) << problemsOf(r);
  EXPECT_EQ(recordOf(*model, 1), "#1=IFCORIENTEDEDGE(*,*,#5,.T.);");
  EXPECT_EQ(recordOf(*model, 2), "#2=IFCSIUNIT(*,.LENGTHUNIT.,$,.METRE.);");
  // An unknown literal is read as unset, silently, and written as $.
  EXPECT_FALSE(model->object(3)->testAttr("PredefinedType"));
  EXPECT_EQ(recordOf(*model, 3), "#3=IFCWALL('2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,$,$,$,$,$);");
  // $ is taken for an exponent on reading; written, an unset exponent is still $.
  EXPECT_EQ(recordOf(*model, 4), "#4=IFCDIMENSIONALEXPONENTS(0,$,1,0,0,0,0);");
  // A bare reference where a list belongs is the list's one element.
  EXPECT_EQ(recordOf(*model, 8), "#8=IFCPOLYLINE((#9));");
  // The binary is not carried over.
  EXPECT_EQ(recordOf(*model, 7), "#7=IFCBLOBTEXTURE(.T.,.T.,$,$,$,'PNG',\"\");");
  EXPECT_EQ(recordOf(*model, 10), "#10=IFCPROPERTYSINGLEVALUE('a',$,IFCCOMPLEXNUMBER((1.,2.)),$);");
  EXPECT_EQ(recordOf(*model, 12).substr(recordOf(*model, 12).find("(#3)")),
            "(#3),IFCPROPERTYSETDEFINITIONSET((#13,#14)));");
  EXPECT_EQ(recordOf(*model, 15), "#15=IFCPRESENTATIONSTYLEASSIGNMENT((IFCNULLSTYLE(.NULL.)));");
  EXPECT_EQ(recordOf(*model, 16), "#16=IFCCARTESIANPOINTLIST3D(((0.,0.,0.),(1.,0.,0.)));");
  // A required aggregate without elements is (); an optional one $.
  EXPECT_EQ(recordOf(*model, 17), "#17=IFCGEOMETRICSET(());");
  EXPECT_EQ(recordOf(*model, 18), "#18=IFCTRIANGULATEDFACESET(#16,$,$,((1,2,1)),$);");
  // The inverses are filled once the file is read.
  QdIfcVariant v;
  model->object(3)->getAttr("IsDefinedBy", v);
  QdIfcArray<QdDbObjectId> defined;
  ASSERT_TRUE(v.getValue(defined));
  ASSERT_EQ(defined.length(), 1);
  EXPECT_EQ(defined[0].id(), 12u);
}

TEST_F(StepFiles, BadRecordsAreReportedOnceAndTheRestIsKept) {
  auto model = fresh();
  QdIfcLoadReport r = qdIfcLoad(*model, file("#1=IFCCARTESIANPOINT((0.,0.));\n"
                                             "#2=IFCNOSUCHTHING(1,2);\n"
                                             "#3=IFCDIRECTION((1.,0.),7);\n"
                                             "#4=IFCDIRECTION();\n"
                                             "#1=IFCCARTESIANPOINT((5.,5.));\n"
                                             "#5=IFCLOCALPLACEMENT(#99,#1);\n"
                                             "#6=(IFCREPRESENTATIONITEM()IFCCARTESIANPOINT((1.,1.)));\n"
                                             "garbage here;\n"
                                             "#7=IFCCARTESIANPOINT(('x',2.));\n"
                                             "#8=IFCPOLYLOOP((#1,#9)) ;\r\n"
                                             "#9=IFCCARTESIANPOINT((9.,9.));\n"
                                             "#10=IFCPOLYLOOP((#9,#8,#1));\n"
                                             "#11=IFCFACEOUTERBOUND(#9,.T.);"));
  std::map<uint64_t, std::string> found;
  for (const QdSpfProblem& p : r.problems) found[p.instance] += p.expected + " / " + p.found + "; ";
  EXPECT_EQ(found.size(), 10u) << problemsOf(r);
  // References to instances of types the attribute does not admit, found once all is read:
  // through a select (a placement is an IfcAxis2Placement2D or 3D), and directly.
  EXPECT_EQ(found[5], "a reference to IfcAxis2Placement in RelativePlacement / #1 of IfcCartesianPoint; ");
  EXPECT_EQ(found[10], "a reference to IfcCartesianPoint in Polygon / #8 of IfcPolyLoop; ");
  EXPECT_EQ(found[11], "a reference to IfcLoop in Bound / #9 of IfcCartesianPoint; ");
  EXPECT_NE(found[2].find("IFCNOSUCHTHING"), std::string::npos);
  EXPECT_NE(found[3].find("more parameters"), std::string::npos);
  EXPECT_NE(found[4].find("more parameters"), std::string::npos);  // too few
  EXPECT_NE(found[1].find("again"), std::string::npos);            // a duplicate id
  EXPECT_NE(found[6].find("complex"), std::string::npos);
  EXPECT_NE(found[7].find("a real"), std::string::npos);
  EXPECT_NE(found[0].find("garbage"), std::string::npos);
  EXPECT_NE(found[0].find("#99"), std::string::npos);  // dangling, reported after the data
  // What could be read is kept: the first #1, #3's direction, #8 with its later #9.
  ASSERT_NE(model->object(1), nullptr);
  QdIfcArray<double> xy;
  static_cast<IFC4::IfcCartesianPoint*>(model->object(1))->getCoordinates(xy);
  EXPECT_EQ(xy[0], 0.0);
  EXPECT_EQ(static_cast<IFC4::IfcPolyLoop*>(model->object(8))->getPolygon().count(), 2);
  EXPECT_EQ(model->object(2), nullptr);
  // A dangling reference is written back as it was.
  EXPECT_EQ(recordOf(*model, 5), "#5=IFCLOCALPLACEMENT(#99,#1);");

  // A file cut anywhere: no crash, the records before the cut kept.
  const std::string whole = file("#1=IFCCARTESIANPOINT((0.,0.));\n#2=IFCCARTESIANPOINT((1.,'a));");
  for (size_t cut = 0; cut < whole.size(); cut += 7) {
    auto m = fresh();
    QdIfcLoadReport t = qdIfcLoad(*m, std::string_view(whole).substr(0, cut));
    EXPECT_FALSE(t.problems.empty());
    if (cut > whole.find("#2=")) {
      EXPECT_NE(m->object(1), nullptr) << cut;
    }
  }
}

// A reference of the wrong type, found once all is read, is told at the record that made
// the instance, not at an earlier record of the same number that was not read.
TEST_F(StepFiles, ProblemsFoundAfterReadingAreToldAtTheRecordRead) {
  auto model = fresh();
  const std::string text = file(
      "#1=IFCCARTESIANPOINT((0.,0.));\n#5=IFCNOSUCHTHING(#1);\n#5=(IFCFACE()IFCX());\n"
      "#5=IFCFACEOUTERBOUND(#1,.T.);\n#5=IFCFACEOUTERBOUND(#1,.F.);\n");
  QdIfcLoadReport r = qdIfcLoad(*model, text);
  const QdSpfProblem* found = nullptr;
  for (const QdSpfProblem& p : r.problems)
    if (p.expected.rfind("a reference to", 0) == 0) found = &p;
  ASSERT_NE(found, nullptr) << problemsOf(r);
  EXPECT_EQ(found->offset, text.find("#5=IFCFACEOUTERBOUND(#1,.T.)"));
  EXPECT_EQ(r.problems.size(), 4u) << problemsOf(r);
}

TEST_F(StepFiles, ProgressIsToldInBytesOfTheWhole) {
  std::string records;
  for (int i = 1; i <= 70000; ++i) records += "#" + std::to_string(i) + "=IFCCARTESIANPOINT((0.,0.));\n";
  const std::string text = file(records);
  std::vector<std::pair<uint64_t, uint64_t>> calls;
  QdIfcLoadOptions options;
  options.progress = [&](uint64_t done, uint64_t total) { calls.emplace_back(done, total); };
  auto model = fresh();
  EXPECT_TRUE(qdIfcLoad(*model, text, options).problems.empty());
  ASSERT_EQ(calls.size(), 3u);  // at the first record, 65,536 records later, and at the end
  EXPECT_LT(calls[0].first, calls[1].first);
  EXPECT_LT(calls[1].first, text.size());
  EXPECT_EQ(calls[1].second, text.size());
  EXPECT_EQ(calls[2], std::make_pair(uint64_t{text.size()}, uint64_t{text.size()}));
}

TEST_F(StepFiles, WhatTheWriterWritesReadsBackAsTheSameModel) {
  // Every class, default-built: written, read and written again gives the same text.
  auto model = fresh();
  const Dictionary& types = qdifcGetSchemaPointer()->entityTypes();
  for (int i = 0; i < types.size(); ++i)
    model->addInstance(types.valueAt(i)->asNameType()->asEntityType()->createInstance());
  std::string text = qdIfcSaveText(*model);
  auto back = fresh();
  QdIfcLoadReport r = qdIfcLoad(*back, text);
  EXPECT_TRUE(r.problems.empty()) << problemsOf(r);
  EXPECT_EQ(back->size(), 776u);
  EXPECT_EQ(qdIfcSaveText(*back), text);
}
