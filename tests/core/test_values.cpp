// Core value classes: strings, unset constants, GUIDs and the growable array.
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdIfcArray.h>
#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdTypeCode.h>
#include <QdIfcCore/QdTypes.h>

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>
#include <vector>

using namespace QD_SDAI;

TEST(QdAnsiString, NullAndEmptyAreTheSame) {
  QdAnsiString fromNull(static_cast<const char*>(nullptr));
  QdAnsiString def;
  QdAnsiString fromEmpty("");
  for (const QdAnsiString* s : {&fromNull, &def, &fromEmpty}) {
    EXPECT_TRUE(s->isEmpty());
    EXPECT_EQ(s->length(), 0);
    ASSERT_NE(s->constStr(), nullptr);
    EXPECT_STREQ(s->constStr(), "");
  }
  EXPECT_EQ(fromNull.compare(def), 0);
  QdAnsiString assigned("x");
  assigned = static_cast<const char*>(nullptr);
  EXPECT_TRUE(assigned.isEmpty());
}

TEST(QdAnsiString, UnsetConstantComparesOnlyWithItself) {
  QdAnsiString def;
  EXPECT_NE(def.compare(Consts::QdStringUnset), 0);
  EXPECT_FALSE(def.isUnset());

  QdAnsiString unset;
  unset = Consts::QdStringUnset;
  EXPECT_EQ(unset.compare(Consts::QdStringUnset), 0);
  EXPECT_EQ(static_cast<uint64_t>(unset.length()), Consts::QdStringUnsetLength);
  EXPECT_TRUE(unset.isUnset());
  EXPECT_FALSE(unset.isEmpty());

  // The same text made any other way is the unset text too.
  QdAnsiString viaBytes(std::string_view("\xFF", 1));
  EXPECT_TRUE(viaBytes.isUnset());
  EXPECT_EQ(viaBytes.compare(unset), 0);
  // A longer text that starts with 0xFF is not.
  QdAnsiString longer("\xFF\xFF");
  EXPECT_FALSE(longer.isUnset());
  EXPECT_NE(longer.compare(Consts::QdStringUnset), 0);
}

TEST(QdAnsiString, CodePageLengthMayCountTheTerminator) {
  const char text[] = "W\xC3\xA4nde";  // UTF-8, 6 bytes
  QdAnsiString without(text, 6, CP_UTF_8);
  QdAnsiString with(text, 7, CP_UTF_8);
  EXPECT_EQ(without.length(), 6);
  EXPECT_EQ(with.length(), 6);
  EXPECT_EQ(without.compare(with), 0);
  EXPECT_STREQ(with.constStr(), text);
  QdAnsiString negative(text, -1, CP_UTF_8);
  EXPECT_EQ(negative.compare(text), 0);
  QdAnsiString none(nullptr, 5, CP_UTF_8);
  EXPECT_TRUE(none.isEmpty());
}

TEST(QdAnsiString, BinaryBytesSurviveWithTheirLength) {
  const char bytes[] = {'a', '\0', 'b', '\x80'};
  QdAnsiString s(std::string_view(bytes, 4));
  EXPECT_EQ(s.length(), 4);
  QdAnsiString copy = s;
  EXPECT_EQ(copy.view(), std::string_view(bytes, 4));
  // Ordering looks past the embedded zero.
  QdAnsiString shorter(std::string_view(bytes, 2));
  EXPECT_LT(shorter.compare(s), 0);
  EXPECT_GT(s.compare(shorter), 0);
}

TEST(QdAnsiString, ComparisonOrdersBytesUnsigned) {
  EXPECT_LT(QdAnsiString("abc").compare("abd"), 0);
  EXPECT_LT(QdAnsiString("ab").compare("abc"), 0);
  EXPECT_GT(QdAnsiString("abc").compare("ab"), 0);
  EXPECT_EQ(QdAnsiString("abc").compare("abc"), 0);
  // 0xE9 sorts after ASCII, as an unsigned byte.
  EXPECT_GT(QdAnsiString("\xE9").compare("z"), 0);
  EXPECT_EQ(QdAnsiString("x").compare(static_cast<const char*>(nullptr)), 1);
}

TEST(QdAnsiString, CompareNoCaseFoldsAsciiOnly) {
  EXPECT_EQ(QdAnsiString("IfcLengthMeasure").compareNoCase("IFCLENGTHMEASURE"), 0);
  EXPECT_EQ(QdAnsiString("ifclengthmeasure").compareNoCase("IfcLengthMeasure"), 0);
  EXPECT_NE(QdAnsiString("IfcLength").compareNoCase("IfcLengthMeasure"), 0);
  EXPECT_LT(QdAnsiString("a").compareNoCase("B"), 0);
  EXPECT_GT(QdAnsiString("b").compareNoCase("A"), 0);
  // Bytes above ASCII are not folded.
  EXPECT_NE(QdAnsiString("\xC9").compareNoCase("\xE9"), 0);
  EXPECT_EQ(QdAnsiString("").compareNoCase(nullptr), 0);
}

TEST(QdAnsiString, CopiesAreIndependentValues) {
  QdAnsiString a("first");
  QdAnsiString b = a;
  a = "second";
  EXPECT_STREQ(b.constStr(), "first");
  EXPECT_STREQ(a.constStr(), "second");
  const QdAnsiString& self = b;
  b = self;  // self-assignment keeps the value
  EXPECT_STREQ(b.constStr(), "first");
  QdAnsiString moved = std::move(b);
  EXPECT_STREQ(moved.constStr(), "first");
  // Many copies of one string, destroyed in any order, free it exactly once
  // (checked by the sanitizer build).
  std::vector<QdAnsiString> copies(100, moved);
  copies.erase(copies.begin() + 10, copies.begin() + 60);
  moved = "";
  EXPECT_STREQ(copies.back().constStr(), "first");
}

TEST(QdIfcGUID, UnsetTextAndTruncation) {
  QdIfcGUID g;
  EXPECT_FALSE(g.isSet());
  g = "2O2Fr$t4X7Zf8NOew3FLOH";
  EXPECT_TRUE(g.isSet());
  EXPECT_STREQ(g.constStr(), "2O2Fr$t4X7Zf8NOew3FLOH");
  g = Consts::QdStringUnset;
  EXPECT_FALSE(g.isSet());
  g = "0123456789012345678901EXTRA";
  EXPECT_EQ(std::string(g.constStr()).size(), 22u);
  g = nullptr;
  EXPECT_FALSE(g.isSet());
  QdIfcGUID copy(g);
  EXPECT_EQ(copy, g);
  g = "";
  EXPECT_TRUE(g.isSet()) << "'' is an id with no characters";
  EXPECT_STREQ(g.constStr(), "");
  EXPECT_FALSE(g == copy);
  EXPECT_FALSE(g.isWellFormed());
  EXPECT_TRUE(QdIfcGUID("3zzzzzzzzzzzzzzzzzzz$_").isWellFormed());
}

TEST(QdIfcGUID, GeneratedIdsAreWellFormedAndDistinct) {
  const std::string alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    std::string s = QdIfcGUID::generate().constStr();
    ASSERT_EQ(s.size(), 22u);
    for (char c : s) ASSERT_NE(alphabet.find(c), std::string::npos) << s;
    // 128 bits: the first character carries two bits only.
    ASSERT_LE(alphabet.find(s[0]), 3u) << s;
    seen.insert(s);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

TEST(QdIfcArray, GrowthFollowsTheDoublingRule) {
  QdIfcArray<int> a;
  EXPECT_EQ(a.physicalLength(), 0);
  EXPECT_EQ(a.growLength(), 8);
  a.append(1);
  EXPECT_EQ(a.physicalLength(), 8);  // p=0: the grow length
  for (int i = 2; i <= 9; ++i) a.append(i);
  EXPECT_EQ(a.physicalLength(), 16);  // doubled
  EXPECT_EQ(a.length(), 9);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(a[i], i + 1);
  // Past 64 KiB it grows by 64 KiB at a time: 16384 ints.
  QdIfcArray<int> big;
  big.setPhysicalLength(20000);
  big.setLogicalLength(20000);
  big.append(7);
  EXPECT_EQ(big.physicalLength(), 20000 + 16384);
  EXPECT_EQ(big[20000], 7);
}

TEST(QdIfcArray, InsertShiftsAndAcceptsItsOwnElements) {
  QdIfcArray<QdAnsiString> a;
  a.append("b");
  a.append("c");
  a.insertAt(0, "a");
  a.insertAt(3, "d");
  a.insertAt(7, "ignored");  // beyond the end: nothing
  a.insertAt(-1, "ignored");
  ASSERT_EQ(a.length(), 4);
  EXPECT_STREQ(a[0].constStr(), "a");
  EXPECT_STREQ(a[3].constStr(), "d");
  // An element of the array itself, while the insertion reallocates.
  a.setPhysicalLength(a.length());
  a.insertAt(1, a[3]);
  ASSERT_EQ(a.length(), 5);
  EXPECT_STREQ(a[1].constStr(), "d");
  EXPECT_STREQ(a[2].constStr(), "b");
  // Shrinking the physical length cuts the logical one.
  a.setPhysicalLength(2);
  EXPECT_EQ(a.length(), 2);
  // Copy and reuse with the length set back to zero, as the builder does.
  QdIfcArray<QdAnsiString> b = a;
  a.setLogicalLength(0);
  EXPECT_EQ(b.length(), 2);
  EXPECT_STREQ(b[1].constStr(), "d");
  a.append("again");
  EXPECT_STREQ(a[0].constStr(), "again");
}

TEST(QdIfcArray, NestedArraysMoveTheirBuffers) {
  QdIfcArray<QdIfcArray<double>> outer;
  for (int i = 0; i < 20; ++i) {
    QdIfcArray<double> inner;
    for (int k = 0; k <= i; ++k) inner.append(k * 0.5);
    outer.append(inner);
  }
  ASSERT_EQ(outer.length(), 20);
  EXPECT_EQ(outer[19].length(), 20);
  EXPECT_DOUBLE_EQ(outer[19][19], 9.5);
  QdIfcArray<QdIfcArray<double>> stolen = std::move(outer);
  EXPECT_EQ(outer.length(), 0);
  EXPECT_EQ(outer.asArrayPtr(), nullptr);
  EXPECT_EQ(stolen.length(), 20);
}
