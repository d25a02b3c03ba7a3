// The limits of QdSpfLimits, each against an input made here that breaks it: one
// problem at the place of the breach, the record not read, the records around it read,
// and a run bounded in time.
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

using namespace QD_SDAI;

namespace {

const std::string kPoint = "#1=IFCCARTESIANPOINT((0.,0.));\n";

class LoadLimits : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qdGetModuleLifeCycleApp()->start()); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }

  static std::string file(const std::string& records, const std::string& name = "('','',(''),(''),'','','')") {
    return "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME" + name +
           ";\nFILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n" + records + "ENDSEC;\nEND-ISO-10303-21;\n";
  }
  // Loads text into model, in well under 20 seconds even under the sanitizers.
  QdIfcLoadReport load(const std::string& text, const QdSpfLimits& limits = {}) {
    model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
    QdIfcLoadOptions options;
    options.limits = limits;
    auto start = std::chrono::steady_clock::now();
    QdIfcLoadReport r = qdIfcLoad(*model, text, options);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 20.0);
    return r;
  }
  // The one problem of r that names text in what was expected, which must be there.
  static const QdSpfProblem& only(const QdIfcLoadReport& r, const std::string& text) {
    static const QdSpfProblem none;
    const QdSpfProblem* found = &none;
    int n = 0;
    for (const QdSpfProblem& p : r.problems)
      if (p.expected.find(text) != std::string::npos) found = &p, ++n;
    EXPECT_EQ(n, 1) << "problems naming " << text;
    return *found;
  }
  std::unique_ptr<QdIfcModel> model;
};

}  // namespace

TEST_F(LoadLimits, ListsNestedTooDeepAreOneProblemInTheDataAndTheHeader) {
  const std::string deep = std::string(100000, '(') + std::string(100000, ')');
  std::string text = file(kPoint + "#2=IFCCARTESIANPOINT(" + deep + ");\n#3=IFCCARTESIANPOINT((1.,1.));\n");
  QdIfcLoadReport r = load(text);
  const QdSpfProblem& p = only(r, "lists nested at most 64 deep");
  EXPECT_EQ(p.instance, 2u);
  EXPECT_EQ(p.offset, text.find('(', text.find("#2=")) + 64);  // the 65th '(', the record's own counted
  EXPECT_EQ(r.problems.size(), 1u);
  EXPECT_TRUE(model->object(1) && model->object(3) && !model->object(2));
  // At the limit itself nothing is said of depth, only of what the field wants.
  r = load(file("#2=IFCCARTESIANPOINT(" + std::string(63, '(') + std::string(63, ')') + ");\n"));
  for (const QdSpfProblem& q : r.problems) EXPECT_EQ(q.expected.find("nested"), std::string::npos);
  r = load(file(kPoint, "(" + deep + ")"));
  EXPECT_EQ(only(r, "nested").instance, 0u);
  EXPECT_TRUE(model->object(1));
}

TEST_F(LoadLimits, AStringThatNeverClosesIsOneProblemAndTheRecordsBeforeAreKept) {
  // Everything after the quote is the string's, the ends of records and of the file too.
  const std::string text = file(kPoint + "#2=IFCPROPERTYSINGLEVALUE('" + std::string(1 << 20, 'x') + ");)\n");
  const size_t quote = text.find('\'', text.find("#2="));
  QdIfcLoadReport r = load(text);
  EXPECT_EQ(only(r, "a closing quote").offset, quote);
  EXPECT_TRUE(model->object(1));
  // Over the length of a string: the record is not read.
  QdSpfLimits limits;
  limits.maxStringBytes = 1000;
  r = load(text, limits);
  const QdSpfProblem& p = only(r, "a string of at most 1000 bytes");
  EXPECT_EQ(p.found, "one of more than " + std::to_string(text.size() - quote - 1) + " bytes");
  EXPECT_EQ(p.offset, quote);
  EXPECT_TRUE(model->object(1) && !model->object(2));
  r = load(file("#2=IFCPROPERTYSINGLEVALUE('" + std::string(1001, 'x') + "',$,$,$);\n" + "#3=IFCPROPERTYSINGLEVALUE('" +
                std::string(1000, 'x') + "',$,$,$);\n"),
           limits);
  EXPECT_EQ(only(r, "a string of at most").found, "one of 1001 bytes");
  EXPECT_EQ(r.problems.size(), 1u);
  EXPECT_TRUE(model->object(3) && !model->object(2));
}

TEST_F(LoadLimits, ARecordOverItsLengthOrParameterCountIsNotRead) {
  // One endless record of 32 MB: measured, not read, and nothing is kept of it.
  std::string endless = "#2=IFCCARTESIANPOINTLIST3D((";
  endless.reserve(32 << 20);
  while (endless.size() < (32u << 20)) endless += "(0.,1.,2.),";
  QdSpfLimits limits;
  limits.maxRecordBytes = 1 << 20;
  limits.memoryPerFileByte = 0;  // and the heap stays within 16 MB while it is read
  limits.memoryAllowance = 16 << 20;
  std::string text = file(kPoint);
  text.replace(text.find("ENDSEC;\nEND"), std::string::npos, endless);  // to the end of the file
  QdIfcLoadReport r = load(text, limits);
  const QdSpfProblem& p = only(r, "a record of at most 1048576 bytes");
  EXPECT_EQ(p.offset, text.find("#2="));
  EXPECT_EQ(p.instance, 2u);
  EXPECT_EQ(p.found, "one of more than " + std::to_string(endless.size()) + " bytes");
  EXPECT_EQ(model->size(), 1u);
  // A long record that ends: the next one is read.
  r = load(file(kPoint + endless.substr(0, 2 << 20) + "(0.,0.,0.)));\n#3=IFCDIRECTION((1.,0.));\n"), limits);
  only(r, "a record of at most");
  EXPECT_EQ(r.problems.size(), 1u);
  EXPECT_TRUE(model->object(3) && !model->object(2));
  // The ';' counts: a record of 30 bytes is within 30, one of 33 is not (nor are the
  // header's records).
  limits.maxRecordBytes = kPoint.size() - 1;
  r = load(file(kPoint + "#2=IFCCARTESIANPOINT((0.,0.,0.));\n"), limits);
  EXPECT_EQ(r.problems.at(r.problems.size() - 1).found, "one of 33 bytes");
  EXPECT_TRUE(model->object(1) && !model->object(2));
  // Values in a record, list elements included: 1000 points of three are 3000 values.
  limits = {};
  limits.maxRecordParameters = 3000;
  std::string points = "#2=IFCCARTESIANPOINTLIST3D((";
  for (int i = 0; i < 1000; ++i) points += i ? ",(0.,1.,2.)" : "(0.,1.,2.)";
  r = load(file(points + "));\n"), limits);
  EXPECT_TRUE(r.problems.empty());
  text = file(points + ",(3.,4.,5.)));\n");
  r = load(text, limits);
  EXPECT_EQ(only(r, "at most 3000 parameters").offset, text.find(",(3."));
  EXPECT_FALSE(model->object(2));
}

TEST_F(LoadLimits, InstanceNamesBeyond64BitsAndNamesUsedAgain) {
  QdIfcLoadReport r =
      load(file("#18446744073709551616=IFCCARTESIANPOINT((0.,0.));\n"
                "#18446744073709551615=IFCPOLYLINE((#99999999999999999999999,#1));\n" +
                kPoint));
  ASSERT_EQ(r.problems.size(), 2u);
  EXPECT_EQ(r.problems[0].instance, 0u);
  EXPECT_EQ(r.problems[1].instance, 18446744073709551615u);
  for (const QdSpfProblem& p : r.problems) EXPECT_NE(p.expected.find("instance name"), std::string::npos);
  EXPECT_EQ(model->size(), 2u);
  // One name a million times: a problem each time, the first record kept.
  std::string again;
  for (int i = 0; i < 1000000; ++i) again += i ? "#1=IFCVERTEX();\n" : kPoint;
  r = load(file(again));
  EXPECT_EQ(r.problems.size(), 999999u);
  EXPECT_EQ(r.problems.back().found, "#1 again");
  EXPECT_EQ(model->size(), 1u);
}

TEST_F(LoadLimits, MemoryBeyondTheBudgetEndsTheLoadWithOneProblem) {
  std::string records;
  for (int i = 1; i <= 20000; ++i) records += "#" + std::to_string(i) + "=IFCPOLYLINE((#20001));\n";
  const std::string text = file(records + "#20001=IFCCARTESIANPOINT((0.,0.));\n");
  EXPECT_TRUE(load(text).problems.empty());
  QdSpfLimits limits;
  limits.memoryPerFileByte = 1;
  limits.memoryAllowance = 0;
  QdIfcLoadReport r = load(text, limits);
  // The references to the record not read are not listed: the one problem says it all.
  ASSERT_EQ(r.problems.size(), 1u);
  EXPECT_NE(r.problems[0].found.find("the rest of the file is not read"), std::string::npos);
  EXPECT_LT(model->size(), 20000u);
  EXPECT_GT(r.problems[0].offset, text.find("#1="));
}

TEST_F(LoadLimits, ReferencesOfTheWrongTypeAreFoundAtTheirRecordsInLinearTime) {
  // Each problem once looked for its record from the start of the file.
  std::string records = kPoint;
  for (int i = 2; i <= 100000; ++i) records += "#" + std::to_string(i) + "=IFCFACEOUTERBOUND(#1,.T.);\n";
  const std::string text = file(records);
  QdIfcLoadReport r = load(text);
  ASSERT_EQ(r.problems.size(), 99999u);
  for (const QdSpfProblem& p : r.problems)
    ASSERT_EQ(text.compare(p.offset, std::to_string(p.instance).size() + 2, "#" + std::to_string(p.instance) + "="), 0);
}
