// The enumeration value classes, their companions and their descriptors.
#include <QdIfc4/EnumerationTables.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/HsString.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace QD_SDAI;
using IFC4::IfcNullStyle;
using IFC4::IfcRoleEnum;

// The descriptor slots that the stop test reads, defined in the module.
template <>
QdIfcVariantType* QdIfcVariantType::Desc<IfcRoleEnum>::s_pType;
template <>
QdIfcVariantType* QdIfcVariantType::Desc<IFC4::IfcWallTypeEnum>::s_pType;

namespace {

template <class E>
const QdIfcVariantType& desc() {
  return QdIfcVariantType::Desc<E>::value();
}

TEST(Enumerations, TextCompanions) {
  EXPECT_EQ(IFC4::enumFromString<IfcRoleEnum>("supplier"), 0);
  EXPECT_EQ(IFC4::enumFromString<IfcRoleEnum>("UserDefined"), 22);
  EXPECT_EQ(IFC4::enumFromString<IfcRoleEnum>(".SUPPLIER."), 23);  // dots are the filer's business
  EXPECT_EQ(IFC4::enumFromString<IfcRoleEnum>("UNSET"), 23);
  EXPECT_EQ(IFC4::enumFromString<IfcRoleEnum>("SUPPLIERS"), 23);  // whole text only
  EXPECT_EQ(IFC4::enumFromString<IfcRoleEnum>(nullptr), 23);
  EXPECT_STREQ(IFC4::enumToString<IfcRoleEnum>(22), "USERDEFINED");
  EXPECT_EQ(IFC4::enumToString<IfcRoleEnum>(23), nullptr);
  EXPECT_EQ(IFC4::enumToString<IfcRoleEnum>(1000), nullptr);
  EXPECT_STREQ(IFC4::enumToString(IfcNullStyle(IFC4::kIfcNullStyle_NULL)), "NULL");
}

TEST(Enumerations, FromVariantAcceptsNumbersAndRefusesUnknownText) {
  IfcRoleEnum v = IFC4::kIfcRoleEnum_OWNER;
  EXPECT_TRUE(IFC4::enumFromVariant(QdIfcVariant(3), v));
  EXPECT_EQ(v, 3);
  EXPECT_TRUE(IFC4::enumFromVariant(QdIfcVariant(23 + 5), v));  // clamped to UNSET, still accepted
  EXPECT_EQ(v, 23);
  EXPECT_TRUE(IFC4::enumFromVariant(QdIfcVariant(-4), v));  // negatives pass the clamp unchanged
  EXPECT_EQ(v, -4);
  EXPECT_TRUE(IFC4::enumFromVariant(QdIfcVariant(7UL), v));
  EXPECT_EQ(v, 7);
  EXPECT_TRUE(IFC4::enumFromVariant(QdIfcVariant("client"), v));
  EXPECT_EQ(v, IFC4::kIfcRoleEnum_CLIENT);
  EXPECT_TRUE(IFC4::enumFromVariant(QdIfcVariant(QdAnsiString("OWNER")), v));
  EXPECT_EQ(v, IFC4::kIfcRoleEnum_OWNER);
  EXPECT_FALSE(IFC4::enumFromVariant(QdIfcVariant("nobody"), v));  // stores UNSET, answers false
  EXPECT_EQ(v, 23);
  v = IFC4::kIfcRoleEnum_OWNER;
  EXPECT_FALSE(IFC4::enumFromVariant(QdIfcVariant(IfcRoleEnum(IFC4::kIfcRoleEnum_CLIENT)), v));
  EXPECT_FALSE(IFC4::enumFromVariant(QdIfcVariant(2.0), v));
  EXPECT_EQ(v, IFC4::kIfcRoleEnum_OWNER);  // refusals of other types store nothing
}

TEST(Enumerations, DescriptorConversionsAndText) {
  const QdIfcVariantType& d = desc<IfcRoleEnum>();
  EXPECT_EQ(&d, &desc<IfcRoleEnum>());
  EXPECT_EQ(d.size(), 4u);
  EXPECT_STREQ(d.name(), L"IFC4::IfcRoleEnum");

  QdIfcVariant v{IfcRoleEnum(IFC4::kIfcRoleEnum_CLIENT)};
  int i = -1;
  ASSERT_TRUE(v.getValue(i));  // through the enumeration's own hook
  EXPECT_EQ(i, IFC4::kIfcRoleEnum_CLIENT);
  unsigned long u = 0;
  ASSERT_TRUE(v.getValue(u));
  EXPECT_EQ(u, 7UL);
  const char* text = nullptr;
  ASSERT_TRUE(v.getValue(text));
  EXPECT_STREQ(text, "CLIENT");

  // Asked for a QdAnsiString, the hook answers with a char const* tag.
  QdIfcVariant r;
  ASSERT_TRUE(d.toValueType(desc<QdAnsiString>(), v, r));
  EXPECT_EQ(r.type(), &desc<const char*>());
  QdIfcVariant unset(IfcRoleEnum{});
  ASSERT_TRUE(d.toValueType(desc<const char*>(), unset, r));
  EXPECT_EQ(*r.ptr<const char*>(), nullptr);
  EXPECT_FALSE(d.toValueType(desc<QdIfcEnumDescription>(), unset, r));
  EXPECT_TRUE(d.toValueType(desc<QdIfcEnumDescription>(), v, r));
  EXPECT_FALSE(d.toValueType(desc<double>(), v, r));

  HsString s;
  ASSERT_TRUE(v.toString(s, kStringFormatStep));  // always the bare literal
  EXPECT_EQ(s.utf8(), "CLIENT");
  ASSERT_TRUE(unset.toString(s));
  EXPECT_EQ(s.utf8(), "");
  EXPECT_FALSE(d.subToString(s, nullptr, kStringFormatPlain));

  QdIfcVariant made;
  ASSERT_TRUE(d.createVariant(made));
  ASSERT_NE(made.ptr<IfcRoleEnum>(), nullptr);
  EXPECT_EQ(*made.ptr<IfcRoleEnum>(), IFC4::kIfcRoleEnum_UNSET);
}

TEST(Enumerations, DescriptorListMatchesTheLiteralTable) {
  const IQdIfcVariantTypeEnumeration* e = desc<IfcRoleEnum>().enumeration();
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->count(), 24);
  EXPECT_STREQ(e->item(0)->constStr(), "IFC4::kIfcRoleEnum_SUPPLIER");
  EXPECT_STREQ(e->item(23)->constStr(), "IFC4::kIfcRoleEnum_UNSET");
  const IQdIfcVariantTypeEnumeration* n = desc<IfcNullStyle>().enumeration();
  ASSERT_EQ(n->count(), 2);
  EXPECT_STREQ(n->item(0)->constStr(), "IFC4::kIfcNullStyle_NULL");
  EXPECT_EQ(desc<QdAnsiString>().enumeration(), nullptr);
}

// Every enumeration of the data file: class name, literals in order and count,
// checked against the tables the module was built with.
TEST(Enumerations, AllTablesAgreeWithTheSchemaData) {
  std::ifstream in(std::string(QDIFC_TEST_SCHEMA_DIR) + "/enumerations.txt");
  ASSERT_TRUE(in) << "schema data not found";
  std::vector<std::vector<std::string>> records;
  std::string line;
  int literals = 0;
  while (std::getline(in, line)) {
    if (line.rfind("enum ", 0) != 0) continue;
    std::istringstream words(line.substr(5));
    std::vector<std::string> rec;
    for (std::string w; words >> w;) rec.push_back(w);
    literals += static_cast<int>(rec.size()) - 1;
    records.push_back(rec);
  }
  EXPECT_EQ(records.size(), 207u);
  EXPECT_EQ(literals, 1632);
  // Spot checks through the typed tables; the descriptors of a few, built anew.
  auto check = [&](const IFC4::detail::EnumTable& t) {
    for (const auto& rec : records) {
      if (rec[0] != t.name) continue;
      ASSERT_EQ(t.count, static_cast<int>(rec.size()) - 1) << t.name;
      for (int i = 0; i < t.count; ++i) EXPECT_EQ(rec[i + 1], t.literals[i]) << t.name;
      return;
    }
    ADD_FAILURE() << t.name << " not in the data";
  };
  check(IFC4::detail::EnumTraits<IfcRoleEnum>::table);
  check(IFC4::detail::EnumTraits<IfcNullStyle>::table);
  check(IFC4::detail::EnumTraits<IFC4::IfcDerivedUnitEnum>::table);
  check(IFC4::detail::EnumTraits<IFC4::IfcBSplineCurveForm>::table);
  check(IFC4::detail::EnumTraits<IFC4::IfcWallTypeEnum>::table);
  EXPECT_EQ(IFC4::detail::EnumTraits<IFC4::IfcDerivedUnitEnum>::table.count, 53);
}

TEST(Enumerations, StopReleasesAndStartLeavesThemUsable) {
  QdModuleLifeCycleApp* app = qdGetModuleLifeCycleApp();
  ASSERT_TRUE(app->start());
  const QdIfcVariantType* before = &desc<IfcRoleEnum>();
  EXPECT_EQ(QdIfcVariantType::Desc<IfcRoleEnum>::s_pType, before);
  app->stop();
  EXPECT_EQ(QdIfcVariantType::Desc<IfcRoleEnum>::s_pType, nullptr);
  EXPECT_EQ(QdIfcVariantType::Desc<IFC4::IfcWallTypeEnum>::s_pType, nullptr);
  ASSERT_TRUE(app->start());
  {
    // A variant must not outlive its descriptor: this one dies before the stop.
    QdIfcVariant v{IfcRoleEnum(IFC4::kIfcRoleEnum_OWNER)};
    HsString s;
    ASSERT_TRUE(v.toString(s));
    EXPECT_EQ(s.utf8(), "OWNER");
    EXPECT_EQ(desc<IfcRoleEnum>().enumeration()->count(), 24);
  }
  app->stop();
}

}  // namespace
