// The attribute tables of the generated classes against the dictionary, which is built
// from the same data by a separate path: for every class, its rows agree with the
// dictionary's attributes (names, order, kinds, bounds, optional marks, inverse targets),
// its chain with the dictionary's supertypes, and the names each operation finds with a
// plain walk up the chain. Then the interpreter's departures from a plain table: calls
// qualified to a base class, and names that only look alike.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <gtest/gtest.h>

#include "DictionaryKinds.h"

#include <strings.h>
#include <algorithm>
#include <cctype>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace QD_SDAI;
using namespace dictionary_kinds;
using MemberKind = QdIfcMemberKind;
using Role = QdIfcAttrRole;

namespace {

class AttributeTables : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    schema = qdifcGetSchemaPointer();
  }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }

  std::vector<const QdIfcEntityType*> types() const {
    std::vector<const QdIfcEntityType*> out;
    for (int i = 0; i < schema->entityTypes().size(); ++i)
      out.push_back(schema->entityTypes().valueAt(i)->asNameType()->asEntityType());
    return out;
  }

  const QdIfcSchema* schema = nullptr;
};

MemberKind memberKindOf(Kind k) {
  switch (k) {
    case Kind::kInt: return MemberKind::kInteger;
    case Kind::kReal: return MemberKind::kReal;
    case Kind::kBool: return MemberKind::kBoolean;
    case Kind::kLogical: return MemberKind::kLogical;
    case Kind::kString: return MemberKind::kString;
    case Kind::kBinary: return MemberKind::kBinary;
    case Kind::kGuid: return MemberKind::kGuid;
    case Kind::kEntity: return MemberKind::kEntity;
    case Kind::kSelect: return MemberKind::kSelect;
    case Kind::kAggr: return MemberKind::kAggregate;
    case Kind::kNested: return MemberKind::kNested;
    // One enumeration has no dictionary entry, and so no type.
    default: return MemberKind::kEnumeration;
  }
}

// The outer aggregate of an attribute's type, through defined types; null for others.
const QdIfcAggregationType* outerAggregate(const DictionaryInstance* t) {
  while (t) {
    if (const QdIfcAggregationType* a = t->asAggregationType()) return a;
    const QdIfcNameType* n = t->asNameType();
    const QdIfcDefinedType* d = n ? n->asDefinedType() : nullptr;
    if (!d) return nullptr;
    t = d->underlyingType();
  }
  return nullptr;
}

int32_t boundOf(const QdIfcIntegerBound* b) { return b && b->isSet() ? b->value() : QdIfcAttrRow::kUnsetBound; }
int32_t boundOf(int plain) { return plain == Consts::QdIntUnset ? QdIfcAttrRow::kUnsetBound : plain; }

// The rows of a class's own list for an operation, as the rules of named access have them.
bool knownTo(const QdIfcAttrRow& r, QdIfcAttrOp op) {
  switch (op) {
    case QdIfcAttrOp::kGet: return true;
    case QdIfcAttrOp::kPut: return r.role == Role::kExplicit || (r.role == Role::kInverse && (r.marks & kAttrWritable));
    default: return r.role == Role::kExplicit && r.kind != MemberKind::kBinary;
  }
}

// The row an operation finds by walking up the chain, one class's list at a time.
const QdIfcAttrRow* walk(const QdIfcClassTable* table, QdIfcAttrOp op, const char* name) {
  for (; table; table = table->supertype())
    for (const QdIfcAttrRow& r : *table)
      if (knownTo(r, op) && strcasecmp(r.name, name) == 0) return &r;
  return nullptr;
}

std::string mixedCase(std::string s, size_t seed) {
  for (size_t i = 0; i < s.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    s[i] = static_cast<char>(((i + seed) % 3 == 0) ? std::toupper(c) : std::tolower(c));
  }
  return s;
}

unsigned thrownBy(const std::function<void()>& f, std::string* where) {
  try {
    f();
  } catch (const QdIfcException& e) {
    *where = e.location();
    return e.code();
  }
  return 0;
}

}  // namespace

TEST_F(AttributeTables, EveryClassTableAgreesWithTheDictionary) {
  std::ostringstream failures;
  int failureCount = 0;
  auto fail = [&](const QdIfcEntityType* type, const std::string& what) {
    if (++failureCount <= 25) failures << type->schemaName() << ": " << what << '\n';
  };
  int rows = 0, links = 0;
  for (const QdIfcEntityType* type : types()) {
    const QdIfcClassTable* table = type->classTable();
    if (!table) {
      fail(type, "no table");
      continue;
    }
    if (table->entityType() != type) fail(type, "the table's slot holds another type");
    if (std::string(table->name()) != type->schemaName()) fail(type, std::string("the table is ") + table->name());
    const QdIfcEntityType* super = table->supertype() ? table->supertype()->entityType() : nullptr;
    if (super != type->supertype()) fail(type, "the table's supertype is not the dictionary's");

    // The dictionary's own attributes, sorted into the table's three parts.
    std::vector<const QdIfcAttributeDefinition*> explicits, redeclared, inverses;
    for (const QdIfcAttributeDefinition* a : type->attributes()) {
      if (a->asExplicitAttributeDefinition()) explicits.push_back(a);
      else if (a->asInverseAttributeDefinition()) inverses.push_back(a);
      else if (const QdIfcAttributeDefinition* r = a->asDerivedAttributeDefinition()->redeclared())
        redeclared.push_back(r);
    }
    // A class lists its redeclarations in the order of the supertype's attributes.
    auto position = [](const QdIfcAttributeDefinition* a) {
      const auto& own = a->owner()->attributes();
      return std::find(own.begin(), own.end(), a) - own.begin();
    };
    std::stable_sort(redeclared.begin(), redeclared.end(), [&](auto* a, auto* b) { return position(a) < position(b); });
    if (table->count() != static_cast<int>(explicits.size() + redeclared.size() + inverses.size())) {
      fail(type, "rows: " + std::to_string(table->count()));
      continue;
    }
    rows += table->count();
    int k = 0;
    for (const QdIfcAttributeDefinition* a : explicits) {
      const QdIfcAttrRow& r = table->row(k++);
      const std::string where = std::string(a->name()) + ": ";
      if (r.role != Role::kExplicit || std::string(r.name) != a->name()) fail(type, where + "row " + r.name);
      Resolved d = resolve(a->type());
      if (r.kind != memberKindOf(d.kind)) fail(type, where + "kind");
      if (r.optional() != a->asExplicitAttributeDefinition()->optional()) fail(type, where + "optional mark");
      if (d.kind == Kind::kEntity && (!r.target || *r.target != d.named)) fail(type, where + "referenced type");
      const QdIfcAggregationType* g = outerAggregate(a->type());
      if (g && (r.lower != boundOf(g->lowerBound()) || r.upper != boundOf(g->upperBound())))
        fail(type, where + "bounds " + std::to_string(r.lower) + ":" + std::to_string(r.upper));
      if (!g && (d.kind == Kind::kAggr || d.kind == Kind::kNested)) fail(type, where + "no aggregate type");
    }
    for (const QdIfcAttributeDefinition* a : redeclared) {
      const QdIfcAttrRow& r = table->row(k++);
      if (r.role != Role::kRedeclared || std::string(r.name) != a->name() ||
          r.kind != memberKindOf(resolve(a->type()).kind))
        fail(type, std::string("redeclared ") + a->name() + ": row " + r.name);
    }
    for (const QdIfcAttributeDefinition* a : inverses) {
      const QdIfcAttrRow& r = table->row(k++);
      const QdIfcInverseAttributeDefinition* i = a->asInverseAttributeDefinition();
      const std::string where = std::string(a->name()) + ": ";
      if (r.role != Role::kInverse || std::string(r.name) != a->name()) fail(type, where + "row " + r.name);
      if (r.lower != boundOf(i->lowerBound()) || r.upper != boundOf(i->upperBound())) fail(type, where + "bounds");
      // The dictionary types an inverse by its target; one without a target is a single handle.
      const bool single = (r.marks & kAttrSingle) != 0;
      if (single != (r.kind == MemberKind::kEntity)) fail(type, where + "kind");
      if (i->inverted()) {
        if (single) fail(type, where + "a single handle with a target");
        if (std::string(r.inverts) != i->inverted()->name()) fail(type, where + "inverts " + r.inverts);
        if (!r.target || *r.target != i->inverted()->owner()) fail(type, where + "target");
      }
    }
    // Each link of a forward attribute leads to an inverse of it, in a class its values may be of.
    for (const QdIfcAttrRow& r : *table) {
      for (int l = 0; l < r.linkCount; ++l, ++links) {
        const QdIfcAttrRow& inverse = r.links[l].target->row(r.links[l].row);
        if (inverse.role != Role::kInverse || std::string(inverse.inverts) != r.name)
          fail(type, std::string(r.name) + ": link to " + inverse.name);
        if (!type->isSubtypeOf(*inverse.target)) fail(type, std::string(r.name) + ": link from another class");
      }
    }
  }
  EXPECT_EQ(failureCount, 0) << failures.str();
  EXPECT_EQ(rows, 1491 + 8 + 153);
  EXPECT_EQ(links, 153);
}

TEST_F(AttributeTables, EachOperationFindsWhatAWalkUpTheChainFinds) {
  const QdIfcAttrOp ops[] = {QdIfcAttrOp::kGet, QdIfcAttrOp::kPut, QdIfcAttrOp::kTest, QdIfcAttrOp::kUnset};
  int probes = 0;
  std::ostringstream failures;
  for (const QdIfcEntityType* type : types()) {
    const QdIfcClassTable* table = type->classTable();
    ASSERT_NE(table, nullptr);
    size_t seed = 0;
    for (const QdIfcClassTable* t = table; t; t = t->supertype()) {
      for (const QdIfcAttrRow& r : *t) {
        const std::string name = mixedCase(r.name, seed++);
        // The name itself, and names one letter off: shorter, longer, the last letter changed.
        const std::string near[] = {name, name.substr(0, name.size() - 1), name + "s",
                                    name.substr(0, name.size() - 1) + (name.back() == 'x' ? 'y' : 'x')};
        for (const std::string& n : near) {
          for (QdIfcAttrOp op : ops) {
            ++probes;
            if (table->find(op, n) != walk(table, op, n.c_str()))
              failures << type->schemaName() << " " << n << " op " << static_cast<int>(op) << '\n';
          }
        }
      }
    }
  }
  EXPECT_EQ(failures.str(), "");
  EXPECT_GT(probes, 100000);
}

TEST_F(AttributeTables, ACallQualifiedToABaseClassStartsAtItsTable) {
  QdIfcModel model(schema);
  auto* wall = new IFC4::IfcWall;
  model.addInstance(wall);
  QdIfcVariant v(7);
  EXPECT_TRUE(wall->getAttr("predefinedtype", v));
  EXPECT_FALSE(wall->IFC4::IfcRoot::getAttr("predefinedtype", v));
  EXPECT_TRUE(wall->IFC4::IfcRoot::putAttr("Name", QdIfcVariant("by the root")));
  EXPECT_TRUE(wall->IFC4::IfcRoot::testAttr("name"));
  // The root's table knows no inverse of IfcObjectDefinition; a wall's does.
  EXPECT_FALSE(wall->IFC4::IfcRoot::getAttr("IsDecomposedBy", v));
  EXPECT_TRUE(wall->IFC4::IfcObjectDefinition::getAttr("IsDecomposedBy", v));
  // The access test names the class the call starts at.
  model.setMode(sdaiNoAccess);
  std::string where;
  EXPECT_EQ(thrownBy([&] { wall->IFC4::IfcProduct::testAttr("Name"); }, &where), 190u);
  EXPECT_EQ(where, "IFC4::IfcProduct::testAttr");
  model.setMode(sdaiRO);
  EXPECT_EQ(thrownBy([&] { wall->IFC4::IfcElement::unsetAttr("Tag"); }, &where), 180u);
  EXPECT_EQ(where, "IFC4::IfcElement::unsetAttr");
  // The record's fields too start at the class named: the root's four parameters only.
  model.setMode(sdaiRW);
  wall->setGlobalId(QdIfcGUID("2O2Fr$t4X7Zf8NOew3FLOH"));
  QdSpfFilerBase filer;
  wall->IFC4::IfcRoot::outFields(&filer);
  EXPECT_EQ(filer.text(), "'2O2Fr$t4X7Zf8NOew3FLOH',$,'by the root',$");
}

TEST_F(AttributeTables, NamesMatchLetterForLetterWithOnlyTheirCaseIgnored) {
  IFC4::IfcWallStandardCase wall;
  QdIfcVariant v;
  for (const char* name : {"GlobalId", "GLOBALID", "globalid", "gLoBaLiD"}) EXPECT_TRUE(wall.getAttr(name, v)) << name;
  for (const char* name : {"GlobalI", "GlobalIds", "Global_Id", " GlobalId", "GlobalId ", "", "G"})
    EXPECT_FALSE(wall.getAttr(name, v)) << '"' << name << '"';
  // Only the ASCII letters fold: a byte beyond them is no letter of any name.
  EXPECT_FALSE(wall.getAttr("Globalİd", v));
  // A name ends at its first zero byte, as a C string does.
  EXPECT_TRUE(wall.getAttr(QdAnsiString(std::string_view("Tag\0Name", 8)), v));
}
