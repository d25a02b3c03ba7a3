// Property objects held against the dictionary and against the name-based access.
//
// The collections and the classes are generated from the data, the dictionary is
// built from it separately, and getAttr is a third path: a property of the wrong
// kind, a name out of order or a write that lands in the wrong member shows up as a
// disagreement between them.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfc4/Properties.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcAggr.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcProperty.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcSettings.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "DictionaryKinds.h"

using namespace QD_SDAI;

namespace {

using namespace dictionary_kinds;

template <class T>
const QdIfcVariantType* desc() {
  return &QdIfcVariantType::Desc<T>::value();
}

class Properties : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    schema = qdifcGetSchemaPointer();
    model = std::make_unique<QdIfcModel>(schema);
  }
  void TearDown() override {
    model.reset();
    settings().set_useUTF8(false);
    qdGetModuleLifeCycleApp()->stop();
  }
  const QdIfcEntityType* type(const char* name) { return schema->findEntityType(name); }
  const QdIfcProperty* property(const char* entity, const char* name) {
    const QdIfcEntityType* t = type(entity);
    return t ? t->properties().find(name) : nullptr;
  }

  QdIfcSchema* schema = nullptr;
  std::unique_ptr<QdIfcModel> model;
};

// ---- collections ----

TEST_F(Properties, EveryCollectionHoldsTheOwnAttributesInOrderRedeclaredFirst) {
  int total = 0, owners = 0, empty = 0, ones = 0, twos = 0, redeclared = 0, largest = 0;
  std::string largestName;
  for (const QdIfcEntityType* t : schema->entityTypeList()) {
    std::vector<std::string> expected;
    std::vector<const QdIfcAttributeDefinition*> own;
    for (const QdIfcAttributeDefinition* a : t->attributes()) {
      if (const QdIfcDerivedAttributeDefinition* d = a->asDerivedAttributeDefinition()) {
        if (d->redeclared()) expected.push_back(d->redeclared()->name());
      } else {
        own.push_back(a);
      }
    }
    if (std::string(t->schemaName()) == "IfcGeometricRepresentationSubContext") {
      // The collection's own order, which is not the dictionary's.
      ASSERT_EQ(expected.size(), 4u);
      expected = {"CoordinateSpaceDimension", "Precision", "WorldCoordinateSystem", "TrueNorth"};
    }
    redeclared += static_cast<int>(expected.size());
    for (const QdIfcAttributeDefinition* a : own) expected.push_back(a->name());

    const QdIfcPropertyCollection& c = t->properties();
    ASSERT_EQ(c.count(), static_cast<int>(expected.size())) << t->schemaName();
    for (int i = 0; i < c.count(); ++i) {
      EXPECT_EQ(c.at(i)->name().view(), expected[static_cast<size_t>(i)]) << t->schemaName() << " #" << i;
      EXPECT_EQ(c.at(i)->entityType(), t);
      EXPECT_NE(c.at(i)->variantType(), nullptr);
      // The class is the entity's and the attribute's, as the schema spells both.
      const QdIfcProperty& property = *c.at(i);
      std::string cls = typeid(property).name();
      EXPECT_NE(cls.find(std::string(t->schemaName()) + expected[static_cast<size_t>(i)] + "Property"),
                std::string::npos)
          << cls;
    }
    total += c.count();
    (c.count() ? owners : empty)++;
    ones += c.count() == 1;
    twos += c.count() == 2;
    if (c.count() > largest) {
      largest = c.count();
      largestName = t->schemaName();
    }
  }
  EXPECT_EQ(total, 1652);
  EXPECT_EQ(redeclared, 8);
  EXPECT_EQ(owners, 667);
  EXPECT_EQ(empty, 109);
  EXPECT_EQ(ones, 324);
  EXPECT_EQ(twos, 133);
  EXPECT_EQ(largest, 21);
  EXPECT_EQ(largestName, "IfcDocumentInformation");
  EXPECT_EQ(type("IfcRelationship")->properties().count(), 0);
  EXPECT_EQ(type("IfcRoot")->properties().find("globalid")->name().view(), "GlobalId");
}

// ---- the per-kind rule, for every property ----

// The row of the value-kind table an attribute falls in, from the dictionary alone.
struct Row {
  std::string label;
  const QdIfcVariantType* descriptor = nullptr;  // null: checked by shape below
  int get = 0;                                   // result on a fresh instance
  bool writes = false;                           // putAttribute takes its own kind
};

Row rowOf(const QdIfcAttributeDefinition* a, const QdIfcEntityType* owner) {
  if (const QdIfcInverseAttributeDefinition* inv = a->asInverseAttributeDefinition()) {
    std::string n = a->name();
    if ((n == "IsDecomposedBy" && std::string(owner->schemaName()) == "IfcObjectDefinition") ||
        (n == "ContainsElements" && std::string(owner->schemaName()) == "IfcSpatialElement"))
      return {"hierarchy", desc<QdIfcArray<QdDbObjectId>>(), 2, false};
    if (inv->lowerBound() == Consts::QdIntUnset) return {"entity inverse", desc<QdDbObjectId>(), 0, false};
    return {"entities inverse", desc<QdIfcArray<QdDbObjectId>>(), 0, false};
  }
  if (const QdIfcDerivedAttributeDefinition* d = a->asDerivedAttributeDefinition()) a = d->redeclared();
  Resolved r = resolve(a->type());
  switch (r.kind) {
    case Kind::kReal: return {"real", desc<double>(), 0, true};
    case Kind::kInt: return {"integer", desc<int>(), 0, true};
    case Kind::kBool: return {"boolean", desc<QdIfcBoolean>(), 0, true};
    case Kind::kLogical: return {"logical", desc<QdIfcLogical>(), 0, true};
    case Kind::kGuid: return {"guid", desc<QdIfcGUID>(), 0, true};
    case Kind::kString: return {"string", desc<QdAnsiString>(), 0, false};
    case Kind::kBinary: return {"binary", desc<QdAnsiString>(), 0, true};
    case Kind::kEntity: return {"entity", desc<QdDbObjectId>(), 0, true};
    case Kind::kEnum: return {"enumeration", nullptr, 0, false};
    case Kind::kSelect: return {"select", nullptr, 2, false};
    case Kind::kAggr:
    case Kind::kNested: {
      Resolved e = resolve(r.element);
      bool nested = r.kind == Kind::kNested;
      switch (e.kind) {
        case Kind::kEntity:
          return {nested ? "nested" : "entities",
                  nested ? desc<QdIfcArray<QdIfcArray<QdDbObjectId>>>() : desc<QdIfcArray<QdDbObjectId>>(), 0, true};
        case Kind::kReal:
          return {nested ? "nested" : "values",
                  nested ? desc<QdIfcArray<QdIfcArray<double>>>() : desc<QdIfcArray<double>>(), 0, true};
        case Kind::kInt:
          return {nested ? "nested" : "values", nested ? desc<QdIfcArray<QdIfcArray<int>>>() : desc<QdIfcArray<int>>(),
                  0, true};
        case Kind::kString:
        case Kind::kBinary: return {"values", desc<QdIfcArray<QdAnsiString>>(), 0, true};
        case Kind::kSelect: return {"selects", nullptr, 0, true};
        default: return {"unresolved"};
      }
    }
    default: return {"unresolved"};
  }
}

TEST_F(Properties, EveryPropertyFollowsTheRuleOfItsValueKind) {
  std::map<std::string, int> counts;
  for (const QdIfcEntityType* t : schema->entityTypeList()) {
    std::unique_ptr<QdIfcEntityBase> object(t->createInstance());
    ASSERT_TRUE(object) << t->schemaName();
    std::vector<const QdIfcAttributeDefinition*> attributes;
    for (const QdIfcAttributeDefinition* a : t->attributes()) {
      const QdIfcDerivedAttributeDefinition* d = a->asDerivedAttributeDefinition();
      if (!d || d->redeclared()) attributes.push_back(a);
    }
    for (const QdIfcProperty* p : t->properties()) {
      const QdIfcAttributeDefinition* a = nullptr;
      for (const QdIfcAttributeDefinition* x : attributes) {
        const QdIfcDerivedAttributeDefinition* d = x->asDerivedAttributeDefinition();
        if ((d ? d->redeclared()->name() : x->name()) == p->name().view()) a = x;
      }
      ASSERT_NE(a, nullptr) << t->schemaName() << "." << p->name().constStr();
      Row row = rowOf(a, t);
      // The one enumeration the dictionary has no entry for.
      if (row.label == "unresolved" && std::string(t->schemaName()) == "IfcSurfaceCurve")
        row = {"enumeration", nullptr, 0};
      ++counts[row.label];
      SCOPED_TRACE(std::string(t->schemaName()) + "." + p->name().constStr() + " (" + row.label + ")");

      if (row.descriptor) {
        EXPECT_EQ(p->variantType(), row.descriptor);
      } else if (row.label == "select") {
        EXPECT_TRUE(p->variantType()->isSelect());
      } else if (row.label == "enumeration") {
        EXPECT_NE(p->variantType()->enumeration(), nullptr);
      } else {
        EXPECT_NE(p->variantType()->objectMemAllocator(), nullptr);  // an array of selects
      }

      bool hierarchy = row.label == "hierarchy";
      EXPECT_EQ(p->propertyKind(), hierarchy ? 3 : 1);
      EXPECT_FALSE(p->isSimpleProperty());
      EXPECT_EQ(p->propertyFeatures().size(), hierarchy ? 2u : 0u);
      if (hierarchy) {
        EXPECT_NE(dynamic_cast<const QdIfcDispAsPropFeature*>(p->propertyFeatures()[0]), nullptr);
        EXPECT_NE(dynamic_cast<const QdIfcHierarchicalPropFeature*>(p->propertyFeatures()[1]), nullptr);
      }

      QdIfcVariant v;
      EXPECT_EQ(p->getAttribute(nullptr, v), 2);
      EXPECT_EQ(p->putAttribute(nullptr, QdIfcVariant(1.5)), 2);
      EXPECT_EQ(p->putAttribute(object.get(), QdIfcVariant()), 2);
      // Only a value of the row's own type is taken: an int for a real, a real for the rest.
      EXPECT_EQ(p->putAttribute(object.get(), row.label == "real" ? QdIfcVariant(1) : QdIfcVariant(1.5)), 2);

      QdIfcHandleArray members;
      members.append(QdDbObjectId());
      int count = -1;
      EXPECT_EQ(p->getCollection(object.get(), members), hierarchy ? 0 : 2);
      EXPECT_EQ(p->getCollectionCount(object.get(), count), hierarchy ? 0 : 2);
      EXPECT_EQ(members.length(), 1);
      EXPECT_EQ(count, hierarchy ? 0 : -1);
      if (hierarchy) {
        EXPECT_EQ(p->getCollection(nullptr, members), 3);
        EXPECT_EQ(p->getCollectionCount(nullptr, count), 3);
      }

      ASSERT_EQ(p->getAttribute(object.get(), v), row.get);
      if (row.get != 0) continue;
      EXPECT_EQ(v.type(), p->variantType());
      if (row.label == "enumeration") {
        QdIfcVariant byName;
        ASSERT_TRUE(object->getAttr(QdAnsiString(a->name()), byName));
        EXPECT_EQ(v, byName);
      }
      // What was read goes back where the row writes; elsewhere nothing is written.
      QD::ErrorStatus put = p->putAttribute(object.get(), v);
      EXPECT_EQ(put, row.writes ? 0 : 2);
      QdIfcVariant again;
      ASSERT_EQ(p->getAttribute(object.get(), again), 0);
      EXPECT_EQ(again.type(), v.type());
    }
  }
  std::map<std::string, int> expected = {{"real", 295},
                                         {"integer", 28},
                                         {"boolean", 31},
                                         {"logical", 14},
                                         {"guid", 1},
                                         {"string", 285},
                                         {"binary", 1},
                                         {"entity", 236},
                                         {"entity inverse", 5},
                                         {"entities", 93},
                                         {"entities inverse", 146},
                                         {"hierarchy", 2},
                                         {"values", 43},
                                         {"nested", 11},
                                         {"selects", 28},
                                         {"enumeration", 336},
                                         {"select", 97}};
  EXPECT_EQ(counts, expected);
}

// ---- values through properties and through getAttr agree ----

TEST_F(Properties, WritesLandWhereGetAttrReadsThem) {
  QdDbObjectId wall = model->createInstance("IfcWall");
  QdIfcEntityBase* object = wall.openObject();
  QdDbObjectId placement = model->createInstance("IfcLocalPlacement");

  const QdIfcProperty* placementProperty = property("IfcProduct", "ObjectPlacement");
  ASSERT_EQ(placementProperty->putAttribute(object, QdIfcVariant(placement)), 0);
  QdIfcVariant v;
  ASSERT_TRUE(object->getAttr("objectplacement", v));
  EXPECT_EQ(*v.ptr<QdDbObjectId>(), placement);

  // A real: exact type only; the int variant leaves the value as it was.
  QdDbObjectId door = model->createInstance("IfcDoor");
  const QdIfcProperty* height = property("IfcDoor", "OverallHeight");
  ASSERT_EQ(height->putAttribute(door.openObject(), QdIfcVariant(2.125)), 0);
  EXPECT_EQ(height->putAttribute(door.openObject(), QdIfcVariant(3)), 2);
  ASSERT_TRUE(door.openObject()->getAttr("overallheight", v));
  EXPECT_EQ(*v.ptr<double>(), 2.125);

  // A redeclared attribute reads and writes the supertype's member.
  QdIfcEntityBase* sub = model->createInstance("IfcGeometricRepresentationSubContext").openObject();
  const QdIfcProperty* precision = property("IfcGeometricRepresentationSubContext", "Precision");
  ASSERT_EQ(precision->putAttribute(sub, QdIfcVariant(1e-5)), 0);
  EXPECT_EQ(static_cast<IFC4::IfcGeometricRepresentationContext*>(sub)->getPrecision(), 1e-5);
  ASSERT_EQ(precision->getAttribute(sub, v), 0);
  EXPECT_EQ(*v.ptr<double>(), 1e-5);

  // An aggregate of handles, and a list of lists, written from arrays and read back by name.
  QdIfcEntityBase* rel = model->createInstance("IfcRelAggregates").openObject();
  QdIfcArray<QdDbObjectId> related;
  related.append(wall);
  related.append(door);
  ASSERT_EQ(property("IfcRelAggregates", "RelatedObjects")->putAttribute(rel, QdIfcVariant(related)), 0);
  QdIfcArray<QdDbObjectId> byName;
  ASSERT_TRUE(rel->getAttr("relatedobjects", v) && v.getValue(byName));
  EXPECT_EQ(byName.length(), 2);

  QdIfcEntityBase* points = model->createInstance("IfcCartesianPointList3D").openObject();
  QdIfcArray<QdIfcArray<double>> rows;
  QdIfcArray<double> row;
  for (double x : {1.0, 2.0, 3.0}) row.append(x);
  rows.append(row);
  rows.append(row);
  const QdIfcProperty* coords = property("IfcCartesianPointList3D", "CoordList");
  ASSERT_EQ(coords->putAttribute(points, QdIfcVariant(rows)), 0);
  ASSERT_EQ(coords->getAttribute(points, v), 0);
  const auto* back = v.ptr<QdIfcArray<QdIfcArray<double>>>();
  ASSERT_NE(back, nullptr);
  ASSERT_EQ(back->length(), 2);
  EXPECT_EQ((*back)[1][2], 3.0);

  // Enumerations come as getAttr gives them and do not write; selects do neither.
  const QdIfcProperty* predefined = property("IfcWall", "PredefinedType");
  ASSERT_TRUE(object->putAttr("predefinedtype", QdIfcVariant("SHEAR")));
  ASSERT_EQ(predefined->getAttribute(object, v), 0);
  QdIfcVariant expected;
  ASSERT_TRUE(object->getAttr("predefinedtype", expected));
  EXPECT_EQ(v, expected);
  EXPECT_EQ(predefined->putAttribute(object, v), 2);
  // getAttr refuses on an instance without the attribute: 3, and the value stays.
  const QdIfcProperty* boundary = property("IfcRelSpaceBoundary", "PhysicalOrVirtualBoundary");
  QdIfcVariant kept(4.5);
  EXPECT_EQ(boundary->getAttribute(object, kept), 3);
  EXPECT_EQ(*kept.ptr<double>(), 4.5);
  QdIfcEntityBase* space = model->createInstance("IfcRelSpaceBoundary").openObject();
  EXPECT_EQ(property("IfcRelSpaceBoundary", "RelatingSpace")->getAttribute(space, v), 2);
}

TEST_F(Properties, TextReadsAsUtf8AndWritesFromHsStringOnly) {
  QdIfcEntityBase* font = model->createInstance("IfcTextStyleFontModel").openObject();
  auto* typed = static_cast<IFC4::IfcTextStyleFontModel*>(font);
  const QdIfcProperty* weight = property("IfcTextStyleFontModel", "FontWeight");

  // Members hold the transported form: read decoded, written encoded.
  typed->setFontWeight(QdAnsiString("caf\\X2\\00E9\\X0\\ ''bold''"));
  QdIfcVariant v;
  ASSERT_EQ(weight->getAttribute(font, v), 0);
  ASSERT_NE(v.ptr<QdAnsiString>(), nullptr);
  EXPECT_EQ(v.ptr<QdAnsiString>()->view(), "caf\xC3\xA9 'bold'");
  EXPECT_EQ(weight->putAttribute(font, v), 2);  // a QdAnsiString variant is no HsString
  EXPECT_EQ(typed->getFontWeight().view(), "caf\\X2\\00E9\\X0\\ ''bold''");
  ASSERT_EQ(weight->putAttribute(font, QdIfcVariant(HsString("gr\xC3\xBCn 'x'", HsString::kUtf8))), 0);
  QdIfcVariant byName;
  ASSERT_TRUE(font->getAttr("fontweight", byName));
  std::string stored = *byName.ptr<const char*>();
  EXPECT_EQ(stored.find("\xC3"), std::string::npos) << stored;  // no raw UTF-8 in the transported form
  ASSERT_EQ(weight->getAttribute(font, v), 0);
  EXPECT_EQ(v.ptr<QdAnsiString>()->view(), "gr\xC3\xBCn 'x'");

  // Members hold UTF-8: both ways leave the bytes alone.
  settings().set_useUTF8(true);
  ASSERT_EQ(weight->putAttribute(font, QdIfcVariant(HsString("gr\xC3\xBCn 'x'", HsString::kUtf8))), 0);
  EXPECT_EQ(typed->getFontWeight().view(), "gr\xC3\xBCn 'x'");
  ASSERT_EQ(weight->getAttribute(font, v), 0);
  EXPECT_EQ(v.ptr<QdAnsiString>()->view(), "gr\xC3\xBCn 'x'");
}

// ---- the two hierarchy properties ----

TEST_F(Properties, HierarchiesWalkEveryRelationship) {
  QdDbObjectId building = model->createInstance("IfcBuilding");
  auto relate = [&](const char* relType, const char* relating, const char* related, int n) {
    QdIfcEntityBase* rel = model->createInstance(relType).openObject();
    ASSERT_TRUE(rel->putAttr(relating, QdIfcVariant(building)));
    QdIfcArray<QdDbObjectId> objects;
    for (int i = 0; i < n; ++i) objects.append(model->createInstance("IfcBuildingStorey"));
    ASSERT_TRUE(rel->putAttr(related, QdIfcVariant(objects)));
  };
  relate("IfcRelAggregates", "relatingobject", "relatedobjects", 3);
  relate("IfcRelAggregates", "relatingobject", "relatedobjects", 4);
  relate("IfcRelContainedInSpatialStructure", "relatingstructure", "relatedelements", 2);
  model->setInverseCounterParts();

  const QdIfcProperty* decomposed = property("IfcObjectDefinition", "IsDecomposedBy");
  const QdIfcProperty* contains = property("IfcSpatialElement", "ContainsElements");
  QdIfcHandleArray members;
  members.append(building);
  int count = -1;
  EXPECT_EQ(decomposed->getCollectionCount(building.openObject(), count), 0);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(decomposed->getCollection(building.openObject(), members), 0);
  EXPECT_EQ(members.length(), 8);  // added to what was there
  EXPECT_EQ(contains->getCollectionCount(building.openObject(), count), 0);
  EXPECT_EQ(count, 2);
  for (int i = 1; i < members.length(); ++i) EXPECT_TRUE(members[i].openObject()->isKindOf("IfcBuildingStorey"));

  // A storey has no decomposition: nothing added, a count of 0.
  EXPECT_EQ(decomposed->getCollection(members[1].openObject(), members), 0);
  EXPECT_EQ(members.length(), 8);
  count = 5;
  EXPECT_EQ(decomposed->getCollectionCount(members[1].openObject(), count), 0);
  EXPECT_EQ(count, 0);
  // An instance without the inverse: 3.
  EXPECT_EQ(contains->getCollection(model->createInstance("IfcWall").openObject(), members), 3);
  QdIfcVariant v;
  EXPECT_EQ(decomposed->getAttribute(building.openObject(), v), 2);
}

// ---- simple properties from property and quantity instances ----

TEST_F(Properties, BuildForSimpleByExactType) {
  struct Case {
    const char* type;
    bool result;
    const char* name;  // complex: "hasQuantities"; quantities: the value's name
    unsigned kind;     // 99: left as the caller set it
  } cases[] = {
      {"IfcPropertyBoundedValue", true, nullptr, 99},
      {"IfcComplexProperty", true, "hasQuantities", 12},
      {"IfcPhysicalComplexQuantity", true, "hasQuantities", 12},
      {"IfcQuantityArea", true, "areavalue", 6},
      {"IfcQuantityCount", true, "countvalue", 6},
      {"IfcQuantityLength", true, "lengthvalue", 6},
      {"IfcQuantityTime", true, "timevalue", 6},
      {"IfcQuantityVolume", true, "volumevalue", 6},
      {"IfcQuantityWeight", true, "weightvalue", 6},
      {"IfcPropertyEnumeratedValue", false, nullptr, 99},
      {"IfcPropertyListValue", false, nullptr, 99},
      {"IfcPropertyReferenceValue", false, nullptr, 99},
      {"IfcPropertyTableValue", false, nullptr, 99},
      {"IfcWall", false, nullptr, 99},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    QdIfcEntityBase* e = model->createInstance(c.type).openObject();
    QdIfcProperty* p = reinterpret_cast<QdIfcProperty*>(0x8);
    unsigned kind = 99;
    EXPECT_EQ(qdIfcBuildPropertyForSimple(e, &p, &kind), c.result);
    EXPECT_EQ(kind, c.kind);
    std::unique_ptr<QdIfcProperty> owned(p);
    if (!c.result) {
      EXPECT_EQ(p, nullptr);
      continue;
    }
    ASSERT_NE(p, nullptr);
    if (auto* q = dynamic_cast<QdIfcQuantityClusterProperty*>(p)) {
      EXPECT_EQ(q->valueName().view(), c.name);
    } else if (auto* x = dynamic_cast<QdIfcComplexProperty*>(p)) {
      EXPECT_EQ(x->membersName().view(), c.name);
    } else {
      EXPECT_NE(dynamic_cast<QdIfcPropertyBoundedValue*>(p), nullptr);
    }
  }

  // The single value: false, with the object made, and the kind of its nominal value.
  QdIfcEntityBase* single = model->createInstance("IfcPropertySingleValue").openObject();
  auto* typed = static_cast<IFC4::IfcPropertySingleValue*>(single);
  IFC4::IfcValue value;
  ASSERT_TRUE(value.underlyingTypeName(QdAnsiString("IfcLengthMeasure")));
  ASSERT_TRUE(value.setDouble(2.5));
  typed->setNominalValue(value);
  QdIfcProperty* p = nullptr;
  unsigned kind = 99;
  EXPECT_FALSE(qdIfcBuildPropertyForSimple(single, &p, &kind));
  std::unique_ptr<QdIfcProperty> owned(p);
  ASSERT_NE(dynamic_cast<QdIfcPropertySingleValue*>(p), nullptr);
  EXPECT_EQ(kind, 6u);
  ASSERT_TRUE(value.underlyingTypeName(QdAnsiString("IfcLabel")));
  ASSERT_TRUE(value.setString("steel"));
  typed->setNominalValue(value);
  QdIfcProperty* p2 = nullptr;
  EXPECT_FALSE(qdIfcBuildPropertyForSimple(single, &p2, &kind));
  delete p2;
  EXPECT_EQ(kind, 12u);
}

TEST_F(Properties, SimplePropertiesReadTheirInstances) {
  QdIfcEntityBase* single = model->createInstance("IfcPropertySingleValue").openObject();
  IFC4::IfcValue value;
  ASSERT_TRUE(value.underlyingTypeName(QdAnsiString("IfcLengthMeasure")));
  ASSERT_TRUE(value.setDouble(2.5));
  static_cast<IFC4::IfcPropertySingleValue*>(single)->setNominalValue(value);

  QdIfcPropertySingleValue sv;
  EXPECT_EQ(sv.propertyKind(), 2);
  EXPECT_TRUE(sv.isSimpleProperty());
  EXPECT_EQ(sv.valueKind(), 1);
  QdIfcVariant v;
  EXPECT_EQ(sv.getAttribute(nullptr, v), 2);
  sv.setObjectId(single->objectId());
  ASSERT_EQ(sv.getAttribute(nullptr, v), 0);
  EXPECT_EQ(*v.ptr<double>(), 2.5);
  // A write keeps the member: a length measure stays one.
  EXPECT_EQ(sv.putAttribute(nullptr, QdIfcVariant(7)), 2);
  ASSERT_EQ(sv.putAttribute(nullptr, QdIfcVariant(4.0)), 0);
  const IFC4::IfcValue& stored = static_cast<IFC4::IfcPropertySingleValue*>(single)->getNominalValue();
  EXPECT_EQ(stored.underlyingTypeName().view(), "IfcLengthMeasure");

  // The bounded value reads its three values and writes as the single value does:
  // it has no nominal value to write.
  QdIfcEntityBase* bounded = model->createInstance("IfcPropertyBoundedValue").openObject();
  ASSERT_TRUE(value.setDouble(1.0));
  static_cast<IFC4::IfcPropertyBoundedValue*>(bounded)->setLowerBoundValue(value);
  QdIfcPropertyBoundedValue bv;
  EXPECT_EQ(bv.valueKind(), 3);
  ASSERT_EQ(bv.getAttribute(bounded, v), 0);
  const auto* three = v.ptr<QdIfcArray<QdIfcVariant>>();
  ASSERT_NE(three, nullptr);
  ASSERT_EQ(three->length(), 3);
  EXPECT_EQ(*(*three)[0].ptr<double>(), 1.0);
  EXPECT_TRUE((*three)[1].isEmpty());
  EXPECT_EQ(bv.putAttribute(bounded, QdIfcVariant(2.0)), 3);

  // A quantity by its value's name; a complex quantity's members by name, a complex
  // property's through its aggregate of properties.
  QdIfcEntityBase* area = model->createInstance("IfcQuantityArea").openObject();
  ASSERT_TRUE(area->putAttr("areavalue", QdIfcVariant(12.5)));
  QdIfcQuantityClusterProperty q("areavalue");
  ASSERT_EQ(q.getAttribute(area, v), 0);
  EXPECT_EQ(*v.ptr<double>(), 12.5);
  EXPECT_EQ(q.getAttribute(single, v), 3);

  QdIfcArray<QdDbObjectId> parts;
  parts.append(single->objectId());
  parts.append(bounded->objectId());
  QdIfcEntityBase* complex = model->createInstance("IfcComplexProperty").openObject();
  ASSERT_TRUE(complex->putAttr("hasproperties", QdIfcVariant(parts)));
  QdIfcComplexProperty cp("hasQuantities");
  EXPECT_EQ(cp.propertyKind(), 3);
  QdIfcHandleArray members;
  ASSERT_EQ(cp.getCollection(complex, members), 0);
  EXPECT_EQ(members.length(), 2);
  QdIfcEntityBase* cq = model->createInstance("IfcPhysicalComplexQuantity").openObject();
  QdIfcArray<QdDbObjectId> quantities;
  quantities.append(area->objectId());
  ASSERT_TRUE(cq->putAttr("hasquantities", QdIfcVariant(quantities)));
  int count = 0;
  ASSERT_EQ(cp.getCollectionCount(cq, count), 0);
  EXPECT_EQ(count, 1);
}

}  // namespace
