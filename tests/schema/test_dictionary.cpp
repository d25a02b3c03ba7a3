// The dictionary classes and the builder's linking step, on a small schema made
// here with the same steps the generated phases use.
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcSchemaBuilder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace QD_SDAI;

namespace {

struct Thing : QdIfcEntityBase {};
QdIfcEntityBase* makeThing() { return new Thing; }

QdIfcEntityType* g_root = nullptr;
QdIfcEntityType* g_rel = nullptr;
QdIfcEntityType* g_edge = nullptr;
QdIfcEntityType* g_oriented = nullptr;

// A miniature schema touching every kind of fact and every pending table.
class MiniBuilder : public QdIfcSchemaBuilder {
 public:
  using QdIfcSchemaBuilder::QdIfcSchemaBuilder;
  QdIfcExplicitAttributeDefinition* unresolvable = nullptr;
  QdIfcInverseAttributeDefinition* singleReference = nullptr;

 protected:
  void defineSchema() override {
    initSchemaVersion(4, 0);
    defineBuiltInStringType("string(22)fixed", true, 22);
    defineBuiltInStringType("binary(32)", false, 32);

    defineSimpleType("IfcPositiveLengthMeasure", "ifclengthmeasure");  // names one made later
    defineSimpleType("IfcLengthMeasure", "real");
    defineSimpleType("IfcLabel", "string");
    defineSimpleType("IfcLogical", "logical");

    EnumerationPhase enums(*this);
    enums.define("ifcactiontypeenum", {"PERMANENT_G", "VARIABLE_Q", "EXTRAORDINARY_A", "USERDEFINED", "NOTDEFINED"});
    enums.define("ifcnullstyle", {"NULL);"});

    entity(g_root, "IFCROOT", "IfcRoot", nullptr);
    attribute(g_root, new QdIfcExplicitAttributeDefinition("Name", nullptr, false), "IFCLABEL");
    attribute(g_root, new QdIfcExplicitAttributeDefinition("Points", nullptr, false),
              "list [1:?] of list [2:2] of IFCLENGTHMEASURE");
    unresolvable = new QdIfcExplicitAttributeDefinition("MasterRepresentation", nullptr, false);
    attribute(g_root, unresolvable, "IFCPREFERREDSURFACECURVEREPRESENTATION");
    inverse(g_root, "HasLinks", 0, Consts::QdIntUnset, "ifcrel", "RelatingRoot");
    singleReference = inverse(g_root, "ToSet", Consts::QdIntUnset, Consts::QdIntUnset, "", "RelatedRoots");

    entity(g_rel, "IFCREL", "IfcRel", g_root);
    attribute(g_rel, new QdIfcExplicitAttributeDefinition("RelatingRoot", nullptr, false), "IFCROOT");
    attribute(g_rel, new QdIfcExplicitAttributeDefinition("Kind", nullptr, false), "IFCACTIONTYPEENUM");
    attribute(g_rel, new QdIfcExplicitAttributeDefinition("Implied", nullptr, false), "logical");

    entity(g_edge, "IFCEDGE", "IfcEdge", nullptr);
    attribute(g_edge, new QdIfcExplicitAttributeDefinition("EdgeStart", nullptr, false), "IFCROOT");
    entity(g_oriented, "IFCORIENTEDEDGE", "IfcOrientedEdge", g_edge);
    auto* derived = new QdIfcDerivedAttributeDefinition("ifcedge_edgestart", nullptr, nullptr);
    QdDerivedAttributeInfo& info = mPendingDerivedAttributes[derived];
    info.type = "IFCROOT";
    info.redeclares = "IfcEdge";
    info.flag = true;
    g_oriented->appendAttribute(derived);
    for (QdIfcEntityType* t : {g_root, g_rel, g_edge, g_oriented}) mEntityTypes->putAt(t->typeName(), t);

    auto* select = new QdIfcSelectType(typeCode(kQdTypeSelect, "IfcThingSelect"));
    mNameTypes->putAt("IfcThingSelect", new QdIfcDefinedType("IfcThingSelect", select, true));
    QdIfcArray<QdAnsiString>& members = mPendingSelectTypes[select];
    for (const char* m : {"IFCROOT", "IFCLABEL", "IFCACTIONTYPEENUM"}) members.append(m);

    defineAggregateType("IfcArcIndex", QdIfcAggregationType::kList, 3, 3, "IfcPositiveLengthMeasure", true);
    defineAggregateType("list [1:?] of list [2:2] of IfcLengthMeasure", QdIfcAggregationType::kList, 1, kUnsetBound,
                        "list [2:2] of IfcLengthMeasure", false);
    defineAggregateType("list [2:2] of IfcLengthMeasure", QdIfcAggregationType::kList, 2, 2, "IfcLengthMeasure", false);
    defineAggregateType("set [0:?] of IfcRel", QdIfcAggregationType::kSet, 0, kUnsetBound, "IfcRel", false);
    defineAggregateType("array [0:UUpper] of IfcLengthMeasure", QdIfcAggregationType::kArray, 0, kUnsetBound,
                        "IfcLengthMeasure", false);
  }

 private:
  static QdTypeCode* typeCode(QdTypeCodeKind kind, const char* name) {
    auto* code = new QdTypeCode(kind);
    QdAny any;
    any << name;
    code->appendParameter(any);
    return code;
  }
  void entity(QdIfcEntityType*& slot, const char* caps, const char* mixed, const QdIfcEntityType* super) {
    QdIfcEntityType::createEntityType(mSchema, caps, true, makeThing, nullptr, slot, super);
    slot->type(typeCode(kQdTypeEntity, mixed));
  }
  void attribute(QdIfcEntityType* owner, QdIfcExplicitAttributeDefinition* a, const char* type) {
    mPendingExplicitAttributes[a] = type;
    owner->appendAttribute(a);
  }
  QdIfcInverseAttributeDefinition* inverse(QdIfcEntityType* owner, const char* name, int lower, int upper,
                                           const char* target, const char* inverted) {
    auto* a = new QdIfcInverseAttributeDefinition(name, owner, nullptr, nullptr, lower, upper, false);
    QdInverseAttributeInfo& info = mPendingInverseAttributes[a];
    info.target = target;
    info.attribute = inverted;
    owner->appendAttribute(a);
    return a;
  }
};

class DictionaryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    schema = std::make_unique<QdIfcSchema>();
    builder = std::make_unique<MiniBuilder>(schema.get(), QdAnsiString("MINI"));
    builder->build();
  }
  const QdIfcDefinedType* defined(const char* name) const {
    const QdIfcNameType* n = schema->findNameType(name);
    return n ? n->asDefinedType() : nullptr;
  }
  std::unique_ptr<QdIfcSchema> schema;
  std::unique_ptr<MiniBuilder> builder;
};

}  // namespace

TEST_F(DictionaryTest, BuiltInStringTypes) {
  for (auto [key, fixed, width] : {std::tuple{"string(22)fixed", true, 22}, std::tuple{"binary(32)", false, 32}}) {
    const DictionaryInstance* d = schema->builtInTypes().find(key);
    ASSERT_NE(d, nullptr) << key;
    const QdIfcDefinedType* w = d->asNameType()->asDefinedType();
    ASSERT_NE(w, nullptr);
    auto* s = dynamic_cast<const QdIfcStringType*>(w->underlyingType());
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->fixed(), fixed);
    EXPECT_EQ(s->width(), width);
    EXPECT_EQ(w->type(), nullptr) << "built-in types carry no type code";
  }
  EXPECT_NE(schema->builtInTypes().find("STRING(22)FIXED"), nullptr);
}

TEST_F(DictionaryTest, LookUpIgnoresCaseEverywhere) {
  for (const char* name : {"IfcLabel", "IFCLABEL", "ifclabel", "iFcLaBeL"})
    EXPECT_EQ(schema->findNameType(name), schema->findNameType("IfcLabel")) << name;
  EXPECT_NE(schema->findNameType("IfcLabel"), nullptr);
  EXPECT_EQ(schema->findNameType("IfcActionTypeEnum"), schema->findNameType("ifcactiontypeenum"));
  EXPECT_EQ(schema->findEntityType("ifcroot"), g_root);
  EXPECT_EQ(schema->findType("LIST [2:2] OF IFCLENGTHMEASURE"),
            schema->builtInTypes().find("list [2:2] of IfcLengthMeasure"));
  EXPECT_EQ(schema->findType("IfcNothing"), nullptr);
  EXPECT_EQ(schema->findEntityType("IfcLabel"), nullptr) << "a name type is no entity type";
  // Primitives resolve by name but stand in no dictionary.
  ASSERT_NE(schema->findType("REAL"), nullptr);
  EXPECT_EQ(schema->findType("REAL")->asSimpleType()->primitiveKind(), kQdTypeReal);
  EXPECT_EQ(schema->nameTypes().find("real"), nullptr);
}

TEST_F(DictionaryTest, DefinedTypeChainsAreNotCollapsed) {
  const QdIfcDefinedType* positive = defined("IfcPositiveLengthMeasure");
  ASSERT_NE(positive, nullptr);
  const DictionaryInstance* step1 = positive->underlyingType();
  ASSERT_EQ(step1, schema->findNameType("IfcLengthMeasure"));
  const DictionaryInstance* step2 = step1->asNameType()->asDefinedType()->underlyingType();
  ASSERT_NE(step2, nullptr);
  EXPECT_EQ(step2, schema->primitive("real"));
  EXPECT_EQ(qdDictionaryName(defined("IfcLogical")->underlyingType()), "logical");
}

TEST_F(DictionaryTest, EnumerationsKeepTheirLiteralsAndTypeCode) {
  const QdIfcDefinedType* w = defined("IFCACTIONTYPEENUM");
  ASSERT_NE(w, nullptr);
  EXPECT_STREQ(w->typeName(), "ifcactiontypeenum");
  const QdIfcEnumerationType* e = w->wrappedEnumeration();
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->literalCount(), 5);
  EXPECT_STREQ(e->literals().front().constStr(), "PERMANENT_G");
  const QdTypeCode* code = e->type();
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(code->kind(), kQdTypeEnumeration);
  ASSERT_EQ(code->parameterCount(), 6);
  EXPECT_STREQ(code->parameter(0).text().constStr(), "ifcactiontypeenum");
  EXPECT_STREQ(code->parameter(5).text().constStr(), "NOTDEFINED");
  EXPECT_EQ(e->literalIndex("variable_q"), 1);
  EXPECT_EQ(e->literalIndex("UNSET"), -1);
  // The phase reused its list: the next enumeration does not carry the previous literals.
  const QdIfcEnumerationType* nullStyle = defined("ifcnullstyle")->wrappedEnumeration();
  ASSERT_EQ(nullStyle->literalCount(), 1);
  EXPECT_STREQ(nullStyle->literals().front().constStr(), "NULL);");
}

TEST_F(DictionaryTest, AttributesResolveToTypesByAnyCase) {
  const QdIfcAttributeDefinition* name = g_root->findOwnAttribute("name");
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(name->type(), schema->findNameType("IfcLabel"));
  EXPECT_EQ(name->owner(), g_root);
  // An aggregate written in capitals finds the key in mixed case.
  const QdIfcAttributeDefinition* points = g_root->findOwnAttribute("Points");
  ASSERT_NE(points->type(), nullptr);
  EXPECT_EQ(qdDictionaryName(points->type()), "list [1:?] of list [2:2] of IfcLengthMeasure");
  // A two-level key: the element is the aggregate of the inner key.
  const QdIfcAggregationType* outer = points->type()->asNameType()->asDefinedType()->wrappedAggregate();
  ASSERT_NE(outer, nullptr);
  EXPECT_EQ(outer->elementType(), schema->builtInTypes().find("list [2:2] of IfcLengthMeasure"));
  EXPECT_EQ(outer->lowerBound()->value(), 1);
  EXPECT_FALSE(outer->upperBound()->isSet());
  // Entity, enumeration and primitive types.
  EXPECT_EQ(g_rel->findOwnAttribute("RelatingRoot")->type(), g_root);
  EXPECT_EQ(g_rel->findOwnAttribute("Kind")->type(), schema->findNameType("ifcactiontypeenum"));
  EXPECT_EQ(g_rel->findOwnAttribute("Implied")->type(), schema->primitive(kQdTypeLogical));
  // Inherited attributes are reached through the supertype.
  EXPECT_EQ(g_rel->findOwnAttribute("Name"), nullptr);
  EXPECT_EQ(g_rel->findAttribute("NAME"), name);
  std::vector<const QdIfcAttributeDefinition*> all = g_rel->allAttributes();
  ASSERT_EQ(all.size(), 8u);
  EXPECT_EQ(all.front(), name);
  EXPECT_STREQ(all.back()->name(), "Implied");
}

TEST_F(DictionaryTest, UnresolvedNamesStayNullAndTheBuildGoesOn) {
  EXPECT_EQ(builder->unresolvable->type(), nullptr);
  ASSERT_EQ(builder->unresolvedNames().size(), 1u);
  EXPECT_NE(builder->unresolvedNames()[0].find("IFCPREFERREDSURFACECURVEREPRESENTATION"), std::string::npos);
  // A single reference with no target keeps a null type and inverse, and its bounds.
  EXPECT_EQ(builder->singleReference->type(), nullptr);
  EXPECT_EQ(builder->singleReference->inverted(), nullptr);
  EXPECT_EQ(builder->singleReference->lowerBound(), Consts::QdIntUnset);
  EXPECT_EQ(builder->singleReference->upperBound(), Consts::QdIntUnset);
}

TEST_F(DictionaryTest, InverseFindsItsTargetAttributeAndSetType) {
  const QdIfcInverseAttributeDefinition* inv = g_root->findOwnAttribute("HasLinks")->asInverseAttributeDefinition();
  ASSERT_NE(inv, nullptr);
  EXPECT_EQ(inv->inverted(), g_rel->findOwnAttribute("RelatingRoot"));
  EXPECT_EQ(inv->entity(), g_root);
  EXPECT_EQ(inv->type(), schema->builtInTypes().find("set [0:?] of IfcRel"));
  EXPECT_EQ(inv->lowerBound(), 0);
}

TEST_F(DictionaryTest, RedeclaredDerivedAttributeFindsTheSupertypes) {
  const QdIfcDerivedAttributeDefinition* d =
      g_oriented->findOwnAttribute("ifcedge_edgestart")->asDerivedAttributeDefinition();
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->redeclared(), g_edge->findOwnAttribute("EdgeStart"));
  EXPECT_EQ(d->type(), g_root);
}

TEST_F(DictionaryTest, SelectsAndAggregates) {
  const QdIfcDefinedType* w = defined("ifcthingselect");
  ASSERT_NE(w, nullptr);
  const QdIfcSelectType* s = w->wrappedSelect();
  ASSERT_NE(s, nullptr);
  ASSERT_EQ(s->members().size(), 3u);
  EXPECT_EQ(s->members()[0], g_root);
  EXPECT_EQ(s->members()[2], schema->findNameType("ifcactiontypeenum"));
  EXPECT_EQ(s->type()->kind(), kQdTypeSelect);

  const QdIfcAggregationType* arc = defined("IfcArcIndex")->wrappedAggregate();
  ASSERT_NE(arc, nullptr);
  EXPECT_EQ(arc->aggregationType(), QdIfcAggregationType::kList);
  EXPECT_EQ(arc->upperBound()->value(), 3);
  EXPECT_EQ(arc->type()->kind(), kQdTypeAggregate);
  EXPECT_EQ(arc->type()->parameterCount(), 0);
  // A symbolic bound is unset; the key keeps its text.
  const DictionaryInstance* uu = schema->builtInTypes().find("array [0:UUpper] of IfcLengthMeasure");
  ASSERT_NE(uu, nullptr);
  const QdIfcAggregationType* arr = uu->asNameType()->asDefinedType()->wrappedAggregate();
  EXPECT_EQ(arr->aggregationType(), QdIfcAggregationType::kArray);
  EXPECT_EQ(arr->lowerBound()->value(), 0);
  EXPECT_FALSE(arr->upperBound()->isSet());
}

TEST(DictionaryIndex, KeepsOrderAndRefusesDuplicates) {
  Dictionary d;
  QdIfcIntegerBound a(1), b(2);
  EXPECT_TRUE(d.putAt("Second", &a));
  EXPECT_TRUE(d.putAt("First", &b));
  EXPECT_FALSE(d.putAt("SECOND", &b));
  EXPECT_FALSE(d.putAt(nullptr, &b));
  ASSERT_EQ(d.size(), 2);
  EXPECT_STREQ(d.keyAt(0), "Second");
  EXPECT_EQ(d.valueAt(1), &b);
  EXPECT_EQ(d.find("second"), &a);
  EXPECT_EQ(d.find("secon"), nullptr);
  EXPECT_EQ(d.find(""), nullptr);
}

TEST(EntityTypeCreation, StoresIntoTheSlotBeforeReturning) {
  QdIfcSchema schema;
  QdIfcEntityType* slot = nullptr;
  QdIfcEntityType* made =
      QdIfcEntityType::createEntityType(&schema, "IFCTHING", true, makeThing, nullptr, slot, nullptr);
  EXPECT_EQ(slot, made);
  EXPECT_EQ(made->supertype(), nullptr);
  EXPECT_EQ(made->attributeCount(), 0);
  std::unique_ptr<QdIfcEntityBase> instance(made->createInstance());
  EXPECT_NE(instance, nullptr);
  // The schema owns it even though it was never put into a dictionary.
  EXPECT_EQ(schema.entityTypeList().size(), 1u);
}
