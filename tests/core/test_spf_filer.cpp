// The filer's field operations on parameter text: every lexical form IFC files use,
// what a bad parameter leaves behind, and the text the writer gives.
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

using namespace QD_SDAI;

namespace {
struct Reader {
  explicit Reader(std::string text)
      : bytes(std::move(text)), filer(bytes.data(), bytes.data() + bytes.size(), &model) {}
  std::string bytes;
  QdIfcModel model;
  QdSpfFilerBase filer;
};
}  // namespace

TEST(SpfFiler, ReadsRealsAndIntegersInEveryLegalForm) {
  Reader r("1.,1.E-006, -0.5 ,4.4e-13,+2.5,0,3.0E+2,12,-7,2147483648,1.E400,/*c*/ 8");
  double d[7];
  for (int i = 0; i < 7; ++i) EXPECT_EQ(r.filer.rdDouble(d[i], false, i > 0), QD::eOk) << i;
  EXPECT_EQ(d[0], 1.0);
  EXPECT_EQ(d[1], 1e-6);
  EXPECT_EQ(d[2], -0.5);
  EXPECT_EQ(d[3], 4.4e-13);
  EXPECT_EQ(d[4], 2.5);
  EXPECT_EQ(d[5], 0.0);  // an integer where a real belongs is taken
  EXPECT_EQ(d[6], 300.0);
  int a = 0, b = 0, c = 5;
  EXPECT_EQ(r.filer.rdInt(a, false, true), QD::eOk);
  EXPECT_EQ(r.filer.rdInt(b, false, true), QD::eOk);
  EXPECT_EQ(a, 12);
  EXPECT_EQ(b, -7);
  // Outside 32 bits: reported, unset. Not finite: reported, unset.
  EXPECT_NE(r.filer.rdInt(c, false, true), QD::eOk);
  EXPECT_EQ(c, Consts::QdIntUnset);
  double big = 1;
  EXPECT_NE(r.filer.rdDouble(big, false, true), QD::eOk);
  EXPECT_TRUE(std::isnan(big));
  EXPECT_EQ(r.filer.rdInt(a, false, true), QD::eOk);  // after a comment
  EXPECT_EQ(a, 8);
  ASSERT_EQ(r.filer.problems().size(), 2u);
  EXPECT_EQ(r.filer.problems()[0].found, "'2147483648,1.E400,/*c*/ '");
}

TEST(SpfFiler, ReadsStringsLiteralsReferencesAndUnsetValues) {
  Reader r("'it''s',\r\n'\\X2\\00E9\\X0\\',.T.,.f.,.U.,.NOTDEFINED.,#12,$,*,#0");
  QdAnsiString s, t;
  r.filer.rdQdAnsiString(s, false, false);
  r.filer.rdQdAnsiString(t, false, true);
  EXPECT_STREQ(s.constStr(), "it''s");  // the transported form, as the file has it
  EXPECT_STREQ(t.constStr(), "\\X2\\00E9\\X0\\");
  QdIfcBoolean yes, no;
  QdIfcLogical unknown;
  r.filer.rdPrimitive(yes, false, true);
  r.filer.rdPrimitive(no, false, true);
  r.filer.rdPrimitive(unknown, false, true);
  EXPECT_EQ(yes, QdIfcBoolean::True);
  EXPECT_EQ(no, QdIfcBoolean::False);
  EXPECT_EQ(unknown, QdIfcLogical::Unknown);
  EXPECT_EQ(r.filer.rdEnumerationView(false, true), "NOTDEFINED");
  QdDbObjectId h, dollar, star, zero;
  r.filer.rdReference(h, true);
  EXPECT_EQ(h.id(), 12u);
  EXPECT_EQ(r.model.find(12), h);  // the model's slot, made before its record exists
  r.filer.rdReference(dollar, true);
  r.filer.rdReference(star, true);
  EXPECT_TRUE(dollar.isNull() && star.isNull());
  r.filer.rdReference(zero, true);
  EXPECT_TRUE(zero.isNull());
  ASSERT_EQ(r.filer.problems().size(), 1u);
  EXPECT_NE(r.filer.problems()[0].expected.find("instance name"), std::string::npos);
}

TEST(SpfFiler, AWrongParameterIsReportedSkippedAndTheNextOneRead) {
  Reader r("'text',(1,'a)'),7)");
  r.filer.beginRecord(44);
  int a = 1, b = 2, c = 3, d = 4;
  r.filer.rdInt(a, false, false);
  r.filer.rdInt(b, false, true);
  r.filer.rdInt(c, false, true);
  EXPECT_EQ((a + b) * 10 + c, 37);  // unchanged, unchanged, read
  ASSERT_EQ(r.filer.problems().size(), 2u);
  EXPECT_EQ(r.filer.problems()[0].instance, 44u);
  EXPECT_EQ(r.filer.problems()[0].expected, "an integer");
  EXPECT_EQ(r.filer.problems()[1].offset, 7u);
  // Too few parameters: one problem for the record, whatever follows.
  r.filer.rdInt(d, false, true);
  r.filer.rdInt(d, false, true);
  EXPECT_EQ(d, 4);
  EXPECT_EQ(r.filer.problems().size(), 3u);
  EXPECT_TRUE(r.filer.recordEnded());
  EXPECT_EQ(r.filer.peek(), ')');
}

TEST(SpfFiler, ReadHelperLooksAheadAndPutsBack) {
  Reader r(" ( #5 ) ,");
  QdSpfReadHelper* h = r.filer.readHelper();
  EXPECT_FALSE(h->skipUntilRet('$', [](char) { return false; }));
  EXPECT_TRUE(h->skipUntilRet('('));
  QdDbObjectId id;
  EXPECT_EQ(r.filer.rdPrimitive(id, false), QD::eOk);
  EXPECT_TRUE(h->skipUntilRet(')'));
  h->stream().seek(1, 2);
  EXPECT_EQ(r.filer.peek(), ')');
  EXPECT_FALSE(h->ignoreParamter(false));  // a ')' closes the list: nothing to give up
  EXPECT_TRUE(h->skipUntilRet(')'));
  EXPECT_TRUE(h->ignoreParamter(false));  // on to the next parameter, past its comma
  EXPECT_EQ(r.filer.peek(), '\0');
}

TEST(SpfFiler, WritesRealsInTheShortestFormThatReadsBack) {
  auto text = [](double v) {
    std::string s;
    QdSpfFilerBase::appendReal(s, v);
    return s;
  };
  EXPECT_EQ(text(1.0), "1.");
  EXPECT_EQ(text(0.5), "0.5");
  EXPECT_EQ(text(-0.0), "-0.");
  EXPECT_EQ(text(1e-6), "1.E-06");
  EXPECT_EQ(text(1e300), "1.E300");
  EXPECT_EQ(text(123456789012.0), "123456789012.");
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> exponent(-300, 300);
  for (int i = 0; i < 2000; ++i) {
    double v = std::pow(10.0, exponent(random)) * (i % 2 ? -1 : 1);
    Reader r(text(v));
    double back = 0;
    ASSERT_EQ(r.filer.rdDouble(back, false, false), QD::eOk) << text(v);
    ASSERT_EQ(back, v) << text(v);
  }
}

TEST(SpfFiler, WritesFieldsWithTheirCommasAndUnsetValues) {
  QdSpfFilerBase w;
  QdIfcBoolean t(QdIfcBoolean::True);
  QdIfcLogical u;
  w.wrInt(Consts::QdIntUnset, true, false);
  w.wrDouble(2.5, false, true);
  w.wrQdAnsiString(QdAnsiString(Consts::QdStringUnset), true, true);
  w.wrQdAnsiString(QdAnsiString("a''b"), false, true);
  w.wrPrimitive(t, false, true);
  w.wrPrimitive(u, true, true);
  w.wrReference(QdDbObjectId(), true);
  w.wrEnumerationStr(static_cast<const char*>(nullptr), false, true);
  w.wrEnumerationStr("ELEMENT", false, true);
  w.wrDerive(true);
  w.wrLimitedString("2O2Fr$t4X7Zf8NOew3FLOH", 22, false, true);
  EXPECT_EQ(w.text(), "$,2.5,$,'a''b',.T.,$,$,$,.ELEMENT.,*,'2O2Fr$t4X7Zf8NOew3FLOH'");
}

TEST(SpfFiler, FixedLengthTextNeverComesBackCutOrUnquoted) {
  // A GlobalId literal longer than its 22 characters is reported and left unset:
  // cutting it would split the '' escape and make a literal that never closes. ''
  // is a text with no characters, $ the unset text.
  Reader r("'0" + std::string(40, '\'') + "X','2O2Fr$t4X7Zf8NOew3FLOH','',$");
  char cut[24] = "x", kept[24] = "", empty[24] = "x", unset[24] = "x";
  EXPECT_NE(r.filer.rdLimitedString(cut, 22, false, false), QD::eOk);
  EXPECT_STREQ(cut, Consts::QdStringUnset);
  ASSERT_EQ(r.filer.problems().size(), 1u);
  EXPECT_EQ(r.filer.problems()[0].offset, 0u);
  EXPECT_EQ(r.filer.problems()[0].found, "42 characters");
  EXPECT_EQ(r.filer.rdLimitedString(kept, 22, false, true), QD::eOk);
  EXPECT_STREQ(kept, "2O2Fr$t4X7Zf8NOew3FLOH");
  EXPECT_EQ(r.filer.rdLimitedString(empty, 22, false, true), QD::eOk);
  EXPECT_STREQ(empty, "");
  EXPECT_EQ(r.filer.rdLimitedString(unset, 22, false, true), QD::eOk);
  EXPECT_STREQ(unset, Consts::QdStringUnset);
  QdSpfFilerBase limited;
  limited.wrLimitedString("", 22, false, false);
  limited.wrLimitedString(Consts::QdStringUnset, 22, false, true);
  EXPECT_EQ(limited.text(), "'',$");

  // Text a program put in (not in transported form) still makes closed literals:
  // a lone apostrophe is doubled, one already doubled is not, the apostrophe after
  // \S\ is that escape's character, and a \S\ at the end gets a backslash to take.
  QdSpfFilerBase w;
  w.wrLimitedString("ab'", 22, false, false);
  w.wrQdAnsiString(QdAnsiString("it's ''x'' '"), false, true);
  w.wrQdAnsiString(QdAnsiString(R"(\S\'\s\)"), false, true);
  EXPECT_EQ(w.text(), R"('ab''','it''s ''x'' ''','\S\'\s\\')");
  Reader back(w.text());
  QdAnsiString values[3];
  for (int i = 0; i < 3; ++i) EXPECT_EQ(back.filer.rdQdAnsiString(values[i], false, i > 0), QD::eOk) << i;
  EXPECT_STREQ(values[2].constStr(), R"(\S\'\s\\)");
  EXPECT_TRUE(back.filer.problems().empty());
}
