// The record index on its own: which records it finds and where, the lexical forms that
// must not end a record early, the limits, and what it says of text that is no record.
#include <QdIfcCore/QdSpfRecordIndex.h>

#include <gtest/gtest.h>

#include <string>

using namespace QD_SDAI;

namespace {

std::string file(const std::string& records) {
  return "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('a;DATA;b'),'2;1');\nFILE_NAME('DATA;','',(''),(''),'','','');\n"
         "FILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n" +
         records + "ENDSEC;\nEND-ISO-10303-21;\n";
}

// The text of a record's range.
std::string_view text(const std::string& bytes, const QdSpfRecordIndex::Record& r) {
  return std::string_view(bytes).substr(r.begin, r.length);
}

}  // namespace

TEST(RecordIndex, FindsEachRecordWithItsNumberNameAndBytes) {
  const std::string a = "#1=IFCCARTESIANPOINT((0.,0.));";
  const std::string b = "#20 = /* c; #3=X(); */ IfcPolyline\r\n  ((#1,\n#1));";  // split over lines
  const std::string c = "#7=IFCPROPERTYSINGLEVALUE('a;#8=X();''',$,IFCLABEL('/*'),\"0A;\");";
  const std::string d = "#8=IFCCARTESIANPOINT((1.,0.));";
  const std::string bytes = file(a + "\n" + b + "\n" + c + "\n\n" + d + "\n");
  QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes);
  EXPECT_TRUE(index.problems().empty());
  ASSERT_EQ(index.size(), 4u);
  const auto& r = index.records();
  EXPECT_EQ(r[0].id, 1u);
  EXPECT_EQ(r[1].id, 20u);
  EXPECT_EQ(r[2].id, 7u);
  EXPECT_EQ(r[3].id, 8u);
  // Each range runs from the '#' through the ';', whatever the strings and comments hold.
  EXPECT_EQ(text(bytes, r[0]), a);
  EXPECT_EQ(text(bytes, r[1]), b);
  EXPECT_EQ(text(bytes, r[2]), c);
  EXPECT_EQ(text(bytes, r[3]), d);
  EXPECT_EQ(r[1].begin, bytes.find("#20"));
  EXPECT_EQ(r[3].end(), bytes.find(d) + d.size());
  // Names as spelled, each spelling once.
  EXPECT_EQ(index.typeName(r[1]), "IfcPolyline");
  EXPECT_EQ(index.typeName(r[2]), "IFCPROPERTYSINGLEVALUE");
  EXPECT_EQ(r[0].type, r[3].type);
  EXPECT_NE(r[0].type, r[1].type);
  EXPECT_EQ(index.typeNames().size(), 4u);  // the empty name and three others
}

TEST(RecordIndex, RecordsWithoutASimpleNameAreIndexedWithTheEmptyOne) {
  // What follows "#n" is the reader's to judge: a complex record, a missing '='.
  const std::string bytes = file("#5=(IFCA()IFCB());\n#6 IFCWALL();\n#7=;\n");
  QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes);
  EXPECT_TRUE(index.problems().empty());
  ASSERT_EQ(index.size(), 3u);
  for (const auto& r : index.records()) EXPECT_EQ(index.typeName(r), "") << r.id;
}

TEST(RecordIndex, ALimitBrokenInOneRecordLeavesItOutAndTheNextOnesIn) {
  QdSpfLimits limits;
  limits.maxListDepth = 3;
  const std::string bytes =
      file("#1=IFCX(((1)));\n#2=IFCX((((1))));\n#3=IFCX('((((');\n#4=IFCX(1,2,3);\n#5=X('abcd');\n");
  QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes, limits);
  ASSERT_EQ(index.problems().size(), 1u);
  const QdSpfProblem& p = index.problems()[0];
  EXPECT_EQ(p.offset, bytes.find("#2=IFCX(") + 10);  // the fourth '(', the record's own counted
  EXPECT_EQ(p.instance, 2u);
  EXPECT_EQ(p.expected, "lists nested at most 3 deep");
  ASSERT_EQ(index.size(), 4u);
  EXPECT_EQ(index.records()[1].id, 3u);  // parentheses in a string are text

  // Each other limit, at the place a load reports it.
  limits = {};
  limits.maxRecordParameters = 2;
  limits.maxStringBytes = 3;
  limits.maxRecordBytes = 15;
  index = QdSpfRecordIndex::build(bytes, limits);
  ASSERT_EQ(index.problems().size(), 4u);
  EXPECT_EQ(index.problems()[0].offset, bytes.find("#2="));
  EXPECT_EQ(index.problems()[0].found, "one of 17 bytes");
  EXPECT_EQ(index.problems()[1].offset, bytes.find("#3="));  // its string is too long, and it too: the length wins
  EXPECT_EQ(index.problems()[2].offset, bytes.find(",3)"));
  EXPECT_EQ(index.problems()[2].expected, "at most 2 parameters in a record");
  EXPECT_EQ(index.problems()[3].offset, bytes.find("'abcd'"));
  EXPECT_EQ(index.problems()[3].found, "one of 4 bytes");
  ASSERT_EQ(index.size(), 1u);
  EXPECT_EQ(index.records()[0].id, 1u);
}

TEST(RecordIndex, TextThatIsNoRecordIsToldAndSteppedOver) {
  const std::string bytes = file(
      "#1=IFCX();\nJUNK('a;b');\n#0=IFCX();\n#=IFCX();\n#18446744073709551616=IFCX();\n"
      "#18446744073709551615=IFCX();\n");
  QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes);
  ASSERT_EQ(index.size(), 2u);
  EXPECT_EQ(index.records()[1].id, 18446744073709551615u);
  ASSERT_EQ(index.problems().size(), 4u);
  const auto& p = index.problems();
  EXPECT_EQ(p[0].offset, bytes.find("JUNK"));
  EXPECT_EQ(p[0].expected, "a record #n=...;");
  EXPECT_EQ(p[0].found, "'JUNK('a;b');'");
  EXPECT_EQ(p[0].instance, 0u);
  for (size_t i = 1; i < 4; ++i) EXPECT_EQ(p[i].expected, "an instance name #1 to #18446744073709551615") << i;
  EXPECT_EQ(p[1].offset, bytes.find("#0="));
  EXPECT_EQ(p[3].found, "'#18446744073709551616=IF'");
  EXPECT_EQ(p[3].instance, 0u);  // a number past 64 bits names no instance
}

TEST(RecordIndex, ARecordCutShortByTheEndIsIndexedToTheEnd) {
  std::string bytes = file("#1=IFCX();\n#2=IFCX('abc',");
  bytes.resize(bytes.find("ENDSEC;\nEND"));
  QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes);
  ASSERT_EQ(index.size(), 2u);
  EXPECT_EQ(index.records()[1].end(), bytes.size());
  // The section ends with the bytes: told at the end, for the record last read.
  ASSERT_EQ(index.problems().size(), 1u);
  EXPECT_EQ(index.problems()[0].offset, bytes.size());
  EXPECT_EQ(index.problems()[0].expected, "ENDSEC;");
  EXPECT_EQ(index.problems()[0].instance, 2u);
  // A string that never closes takes the rest of the bytes with it.
  bytes = file("#1=IFCX('abc);\n#2=IFCX();\n");
  index = QdSpfRecordIndex::build(bytes);
  ASSERT_EQ(index.size(), 1u);
  EXPECT_EQ(index.records()[0].end(), bytes.size());
}

TEST(RecordIndex, BuildsSectionBySectionStepByStep) {
  const std::string bytes = "DATA;#1=A();ENDSEC DATA;#2=B();ENDSEC;";
  QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes);
  ASSERT_EQ(index.size(), 2u);  // both sections
  ASSERT_EQ(index.problems().size(), 1u);
  EXPECT_EQ(index.problems()[0].offset, bytes.find(" DATA") + 1);  // the ';' ENDSEC lacks
  EXPECT_EQ(index.problems()[0].expected, "';'");

  // One step at a time, as a reader takes them, the problems in the reader's list.
  QdSpfRecordIndex steps;
  std::vector<QdSpfProblem> problems;
  QdSpfRecordIndex::Builder builder(steps, bytes, {}, &problems);
  builder.setPosition(5);
  EXPECT_EQ(builder.next(), QdSpfRecordIndex::Step::kRecord);
  EXPECT_EQ(builder.position(), bytes.find("ENDSEC"));
  EXPECT_EQ(builder.instance(), 1u);
  EXPECT_EQ(builder.next(), QdSpfRecordIndex::Step::kSectionEnd);
  EXPECT_EQ(builder.position(), bytes.find(" DATA") + 1);
  builder.setPosition(bytes.rfind("ENDSEC;"));
  EXPECT_EQ(builder.next(), QdSpfRecordIndex::Step::kSectionEnd);
  EXPECT_EQ(builder.position(), bytes.size());
  EXPECT_EQ(builder.next(), QdSpfRecordIndex::Step::kFileEnd);
  EXPECT_EQ(steps.size(), 1u);
  EXPECT_TRUE(steps.problems().empty());
  ASSERT_EQ(problems.size(), 2u);
  EXPECT_EQ(problems[0].expected, "';'");
  EXPECT_EQ(problems[1].expected, "ENDSEC;");
}
