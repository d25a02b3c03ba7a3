// The variant box, the descriptor rules and the core's conversions.
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcVariantTypes.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

using namespace QD_SDAI;

namespace {

// A value type of the test's own, with a descriptor that only converts inwards:
// getValue<Celsius> on a double must reach it through the target's hook.
struct Celsius {
  double degrees = 0;
  friend bool operator==(const Celsius&, const Celsius&) = default;
};
std::atomic<int> g_celsiusBuilt{0};

class CelsiusType final : public QdIfcVariantTypePOD<Celsius> {
 public:
  CelsiusType() : QdIfcVariantTypePOD<Celsius>(L"Celsius") { ++g_celsiusBuilt; }
  bool subFromValueType(const QdIfcVariant& source, QdIfcVariant& result) const override {
    double d = 0;
    if (!source.getValue(d) || d < -273.15) return false;
    result = QdIfcVariant(Celsius{d});
    return true;
  }
};

// One created without the lock, to race.
struct Kelvin {
  double k = 0;
  friend bool operator==(const Kelvin&, const Kelvin&) = default;
};
std::atomic<int> g_kelvinBuilt{0};
class KelvinType final : public QdIfcVariantTypePOD<Kelvin> {
 public:
  KelvinType() : QdIfcVariantTypePOD<Kelvin>(L"Kelvin") { ++g_kelvinBuilt; }
};

}  // namespace

QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, Celsius, new CelsiusType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(unlocked, Kelvin, new KelvinType)

namespace {

std::string text(const QdIfcVariant& v, StringFormat f = kStringFormatPlain) {
  HsString out;
  if (!v.toString(out, f)) return "<none>";
  return out.utf8();
}

template <class T>
bool converts(const QdIfcVariant& v, T& out) {
  return v.getValue(out);
}

TEST(Variant, LayoutEmptyCopyAndMove) {
  static_assert(sizeof(QdIfcVariant) == 32);
  QdIfcVariant empty;
  EXPECT_EQ(empty.type(), nullptr);
  int i = 0;
  EXPECT_FALSE(empty.getValue(i));

  QdIfcVariant filled(7);
  filled = empty;  // assigning an empty variant empties the target
  EXPECT_TRUE(filled.isEmpty());

  QdIfcVariant s(QdAnsiString("wall"));
  QdIfcVariant moved(std::move(s));
  EXPECT_TRUE(s.isEmpty());
  QdAnsiString back;
  ASSERT_TRUE(moved.getValue(back));
  EXPECT_STREQ(back.constStr(), "wall");

  // Equality is by tag, then by value; two unset reals are the same value.
  EXPECT_EQ(QdIfcVariant(3), QdIfcVariant(3));
  EXPECT_NE(QdIfcVariant(3), QdIfcVariant(3.0));
  EXPECT_EQ(QdIfcVariant(Consts::QdRealUnset), QdIfcVariant(Consts::QdRealUnset));
  EXPECT_EQ(QdIfcVariant("a"), QdIfcVariant(std::string("a").c_str()));  // by text, not address
}

TEST(Variant, HeapAndObjectValuesAreCopiedDeeply) {
  HsString h;
  h.assign("Ölkessel");
  QdIfcVariant a(h);  // 32 bytes: on the heap
  EXPECT_FALSE(a.type()->storesInPlace());
  QdIfcVariant b(a);
  QdIfcVariant c;
  c = a;
  static_cast<HsString*>(a.payload())->assign("changed");
  HsString out;
  ASSERT_TRUE(b.getValue(out));
  EXPECT_EQ(out.utf8(), "Ölkessel");
  ASSERT_TRUE(c.getValue(out));
  EXPECT_EQ(out.utf8(), "Ölkessel");

  QdIfcArray<QdAnsiString> names;
  names.append("a");
  names.append("b");
  QdIfcVariant arr(names);
  EXPECT_TRUE(arr.type()->storesInPlace());
  QdIfcVariant arr2 = arr;
  static_cast<QdIfcArray<QdAnsiString>*>(arr.payload())->append("c");
  QdIfcArray<QdAnsiString> got;
  ASSERT_TRUE(arr2.getValue(got));
  EXPECT_EQ(got.length(), 2);
  // Same-type assignment reuses the target's storage and still copies.
  arr2 = arr;
  ASSERT_TRUE(arr2.getValue(got));
  EXPECT_EQ(got.length(), 3);
  EXPECT_EQ(arr, arr2);
}

TEST(VariantType, IdentityReleaseAndCreateVariant) {
  const QdIfcVariantType* first = &QdIfcVariantType::Desc<Celsius>::value();
  EXPECT_EQ(first, &QdIfcVariantType::Desc<Celsius>::value());
  QdIfcVariantType::Desc<Celsius>::release();
  QdIfcVariantType::Desc<Celsius>::release();  // nothing left: harmless
  const QdIfcVariantType& again = QdIfcVariantType::Desc<Celsius>::value();
  QdIfcVariant v;
  ASSERT_TRUE(again.createVariant(v));
  EXPECT_EQ(v.type(), &again);
  Celsius c{5};
  ASSERT_TRUE(v.getValue(c));
  EXPECT_EQ(c.degrees, 0);

  QdIfcVariant s;
  ASSERT_TRUE(QdIfcVariantType::Desc<QdAnsiString>::value().createVariant(s));
  EXPECT_TRUE(s.ptr<QdAnsiString>()->isEmpty());
  EXPECT_STREQ(QdIfcVariant(4).typePath(), "");  // plain values have no type path
}

TEST(VariantType, GetValueAsksTheSourceThenTheTarget) {
  // double has no conversion to Celsius; Celsius converts from double.
  Celsius c;
  ASSERT_TRUE(QdIfcVariant(21.5).getValue(c));
  EXPECT_EQ(c.degrees, 21.5);
  // ... and from an int through the int-to-double conversion inside its hook.
  ASSERT_TRUE(QdIfcVariant(4).getValue(c));
  EXPECT_EQ(c.degrees, 4.0);
  EXPECT_FALSE(QdIfcVariant(-300.0).getValue(c));
  EXPECT_FALSE(QdIfcVariant("warm").getValue(c));
  double d;
  EXPECT_FALSE(QdIfcVariant(Celsius{1}).getValue(d));  // no way back
}

TEST(VariantType, NumbersConvertOnlyWithoutLoss) {
  double d;
  int i;
  unsigned long u;
  ASSERT_TRUE(converts(QdIfcVariant(-3), d));
  EXPECT_EQ(d, -3.0);
  EXPECT_FALSE(converts(QdIfcVariant(-3), u));
  ASSERT_TRUE(converts(QdIfcVariant(3.0), i));
  EXPECT_EQ(i, 3);
  EXPECT_FALSE(converts(QdIfcVariant(2.5), i));
  EXPECT_FALSE(converts(QdIfcVariant(3.0e10), i));
  EXPECT_FALSE(converts(QdIfcVariant(2147483647.0), i));  // would read as the unset integer
  ASSERT_TRUE(converts(QdIfcVariant(4.0e9), u));
  EXPECT_EQ(u, 4000000000UL);
  EXPECT_FALSE(converts(QdIfcVariant(5000000000UL), i));
  EXPECT_FALSE(converts(QdIfcVariant((1UL << 53) + 1), d));
  ASSERT_TRUE(converts(QdIfcVariant(1UL << 53), d));
  // The unset integer and the unset real stand for each other.
  ASSERT_TRUE(converts(QdIfcVariant(Consts::QdIntUnset), d));
  EXPECT_TRUE(std::isnan(d));
  ASSERT_TRUE(converts(QdIfcVariant(Consts::QdRealUnset), i));
  EXPECT_EQ(i, Consts::QdIntUnset);
  EXPECT_FALSE(converts(QdIfcVariant(Consts::QdRealUnset), u));
}

TEST(VariantType, TextTruthValuesAndGuids) {
  QdAnsiString a;
  HsString h;
  const char* c = nullptr;
  ASSERT_TRUE(converts(QdIfcVariant("Wand"), a));
  EXPECT_STREQ(a.constStr(), "Wand");
  ASSERT_TRUE(converts(QdIfcVariant(a), h));
  EXPECT_EQ(h.utf8(), "Wand");
  QdIfcVariant hv(h);
  ASSERT_TRUE(converts(hv, c));
  EXPECT_STREQ(c, "Wand");
  int i;
  EXPECT_FALSE(converts(QdIfcVariant("12"), i));  // text is not parsed into numbers

  QdIfcGUID g;
  ASSERT_TRUE(converts(QdIfcVariant("2XQ$n5SLP5MBLyL442paFx"), g));
  EXPECT_STREQ(g.constStr(), "2XQ$n5SLP5MBLyL442paFx");
  EXPECT_FALSE(converts(QdIfcVariant("too short"), g));
  EXPECT_FALSE(converts(QdIfcVariant("2XQ$n5SLP5MBLyL442pa.x"), g));
  ASSERT_TRUE(converts(QdIfcVariant(g), a));
  EXPECT_STREQ(a.constStr(), "2XQ$n5SLP5MBLyL442paFx");

  QdIfcLogical l;
  QdIfcBoolean b;
  ASSERT_TRUE(converts(QdIfcVariant(QdIfcBoolean(QdIfcBoolean::True)), l));
  EXPECT_EQ(l, QdIfcLogical::True);
  EXPECT_FALSE(converts(QdIfcVariant(QdIfcLogical(QdIfcLogical::Unknown)), b));
  ASSERT_TRUE(converts(QdIfcVariant(QdIfcLogical(QdIfcLogical::False)), b));
  EXPECT_EQ(b, QdIfcBoolean::False);
}

TEST(VariantType, TextForms) {
  EXPECT_EQ(text(QdIfcVariant(42)), "42");
  EXPECT_EQ(text(QdIfcVariant(Consts::QdIntUnset)), "");
  EXPECT_EQ(text(QdIfcVariant(Consts::QdIntUnset), kStringFormatStep), "$");
  EXPECT_EQ(text(QdIfcVariant(1.0), kStringFormatStep), "1.");
  EXPECT_EQ(text(QdIfcVariant(1.5e-7), kStringFormatStep), "1.5E-07");
  EXPECT_EQ(text(QdIfcVariant(0.1)), "0.1");
  EXPECT_EQ(text(QdIfcVariant(QdAnsiString("it''s")), kStringFormatStep), "'it''s'");
  EXPECT_EQ(text(QdIfcVariant(QdAnsiString(Consts::QdStringUnset)), kStringFormatStep), "$");
  EXPECT_EQ(text(QdIfcVariant(QdIfcLogical(QdIfcLogical::Unknown)), kStringFormatStep), ".U.");
  EXPECT_EQ(text(QdIfcVariant(QdIfcBoolean(QdIfcBoolean::True))), "true");
  EXPECT_EQ(text(QdIfcVariant(QdDbObjectId())), "");
  QdIfcArray<QdIfcArray<double>> rows;
  QdIfcArray<double> row;
  row.append(1);
  row.append(2.5);
  rows.append(row);
  rows.append(QdIfcArray<double>());
  EXPECT_EQ(text(QdIfcVariant(rows), kStringFormatStep), "((1.,2.5),())");
}

TEST(VariantType, ArraysConvertAllOrNothing) {
  QdIfcArray<int> ints;
  for (int k : {1, 2, 3}) ints.append(k);
  QdIfcArray<double> reals;
  ASSERT_TRUE(QdIfcVariant(ints).getValue(reals));
  ASSERT_EQ(reals.length(), 3);
  EXPECT_EQ(reals[2], 3.0);

  QdIfcArray<QdIfcVariant> mixed;
  ASSERT_TRUE(QdIfcVariant(ints).getValue(mixed));
  ASSERT_EQ(mixed.length(), 3);
  EXPECT_EQ(mixed[1], QdIfcVariant(2));
  mixed.append(QdIfcVariant(4.0));
  QdIfcArray<int> back;
  ASSERT_TRUE(QdIfcVariant(mixed).getValue(back));  // 4.0 is a whole number
  EXPECT_EQ(back.length(), 4);
  mixed.insertAt(1, QdIfcVariant("x"));
  back = QdIfcArray<int>();
  EXPECT_FALSE(QdIfcVariant(mixed).getValue(back));
  EXPECT_EQ(back.length(), 0);  // untouched on failure

  reals.append(0.5);
  EXPECT_FALSE(QdIfcVariant(reals).getValue(ints));
}

TEST(VariantType, ConcurrentFirstUseMakesOneDescriptor) {
  for (int round = 0; round < 20; ++round) {
    QdIfcVariantType::Desc<Celsius>::release();
    QdIfcVariantType::Desc<Kelvin>::release();
    int celsiusBefore = g_celsiusBuilt, kelvinBefore = g_kelvinBuilt;
    constexpr int kThreads = 8;
    std::atomic<int> ready{0};
    std::vector<const QdIfcVariantType*> locked(kThreads), unlocked(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        ++ready;
        while (ready < kThreads) {
        }
        locked[t] = &QdIfcVariantType::Desc<Celsius>::value();
        unlocked[t] = &QdIfcVariantType::Desc<Kelvin>::value();
      });
    }
    for (auto& th : threads) th.join();
    for (int t = 1; t < kThreads; ++t) {
      EXPECT_EQ(locked[t], locked[0]);
      EXPECT_EQ(unlocked[t], unlocked[0]);
    }
    EXPECT_EQ(g_celsiusBuilt - celsiusBefore, 1);  // the lock lets one thread build
    EXPECT_GE(g_kelvinBuilt - kelvinBefore, 1);    // racers may build, only one survives
    EXPECT_EQ(unlocked[0], &QdIfcVariantType::Desc<Kelvin>::value());
  }
}

}  // namespace
