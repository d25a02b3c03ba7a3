// The modules of IFC2X3 and IFC4X3_ADD2 as a host loads them: a few facts of each
// dictionary, read off the published EXPRESS schemas by hand (attribute lists and their
// order, a select's members, an enumeration's literals, an inverse's bounds, abstract
// types), and two modules loaded side by side in one process, each reading the same
// text by its own schema.
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QD_SDAI;

namespace {

std::vector<std::string> attributeNames(const QdIfcSchema& schema, const char* entity) {
  std::vector<std::string> out;
  const QdIfcEntityType* type = schema.findEntityType(entity);
  if (!type) return out;
  for (const QdIfcAttributeDefinition* a : type->allAttributes())
    if (a->asExplicitAttributeDefinition()) out.emplace_back(a->name());
  return out;
}

std::vector<std::string> memberNames(const QdIfcSchema& schema, const char* select) {
  std::vector<std::string> out;
  const QdIfcNameType* type = schema.findNameType(select);
  const QdIfcSelectType* s = type ? type->asSelectType() : nullptr;
  if (!s)
    if (const QdIfcDefinedType* d = type ? type->asDefinedType() : nullptr) s = d->wrappedSelect();
  if (!s) return out;
  for (const QdIfcParameterType* m : s->members())
    if (const QdIfcNameType* n = m->asNameType()) out.emplace_back(n->typeName());  // entities in capitals
  return out;
}

std::vector<std::string> literals(const QdIfcSchema& schema, const char* enumeration) {
  std::vector<std::string> out;
  const QdIfcNameType* type = schema.findNameType(enumeration);
  const QdIfcEnumerationType* e = type ? type->asEnumType() : nullptr;
  if (!e)
    if (const QdIfcDefinedType* d = type ? type->asDefinedType() : nullptr) e = d->wrappedEnumeration();
  if (!e) return out;
  for (const QdAnsiString& l : e->literals()) out.emplace_back(l.constStr());
  return out;
}

const QdIfcInverseAttributeDefinition* inverse(const QdIfcSchema& schema, const char* entity, const char* name) {
  const QdIfcEntityType* type = schema.findEntityType(entity);
  const QdIfcAttributeDefinition* a = type ? type->findOwnAttribute(name) : nullptr;
  return a ? a->asInverseAttributeDefinition() : nullptr;
}

class Editions : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(ifc2x3.load(QDIFC_TEST_IFC2X3_PATH)) << ifc2x3.error();
    ASSERT_TRUE(ifc4x3.load(QDIFC_TEST_IFC4X3_PATH)) << ifc4x3.error();
  }
  QdIfcModule ifc2x3, ifc4x3;
};

}  // namespace

TEST_F(Editions, Ifc2x3DictionaryAsItsSchemaDeclaresIt) {
  const QdIfcSchema& s = *ifc2x3.schema();
  EXPECT_STREQ(s.name(), "IFC2X3");
  // IfcWall has no PredefinedType in IFC2X3.
  EXPECT_EQ(attributeNames(s, "IfcWallStandardCase"),
            (std::vector<std::string>{"GlobalId", "OwnerHistory", "Name", "Description", "ObjectType",
                                      "ObjectPlacement", "Representation", "Tag"}));
  EXPECT_EQ(literals(s, "IfcWallTypeEnum"), (std::vector<std::string>{"STANDARD", "POLYGONAL", "SHEAR", "ELEMENTEDWALL",
                                                                      "PLUMBINGWALL", "USERDEFINED", "NOTDEFINED"}));
  EXPECT_EQ(memberNames(s, "IfcAxis2Placement"),
            (std::vector<std::string>{"IFCAXIS2PLACEMENT2D", "IFCAXIS2PLACEMENT3D"}));
  // ContainsElements : SET [0:?] OF IfcRelContainedInSpatialStructure FOR RelatingStructure
  const QdIfcInverseAttributeDefinition* contains = inverse(s, "IfcSpatialStructureElement", "ContainsElements");
  ASSERT_NE(contains, nullptr);
  EXPECT_EQ(contains->lowerBound(), 0);
  EXPECT_EQ(contains->upperBound(), Consts::QdIntUnset);
  EXPECT_EQ(s.findEntityType("IfcSpatialElement"), nullptr);  // an IFC4 supertype
  EXPECT_TRUE(s.findEntityType("IfcFlowSegmentType")->isAbstract());
  EXPECT_FALSE(s.findEntityType("IfcDuctSegmentType")->isAbstract());
}

TEST_F(Editions, Ifc4x3DictionaryAsItsSchemaDeclaresIt) {
  const QdIfcSchema& s = *ifc4x3.schema();
  EXPECT_STREQ(s.name(), "IFC4X3_ADD2");
  const std::vector<std::string> segment = attributeNames(s, "IfcAlignmentHorizontalSegment");
  ASSERT_GE(segment.size(), 7u);
  EXPECT_EQ(std::vector<std::string>(segment.end() - 7, segment.end()),
            (std::vector<std::string>{"StartPoint", "StartDirection", "StartRadiusOfCurvature", "EndRadiusOfCurvature",
                                      "SegmentLength", "GravityCenterLineHeight", "PredefinedType"}));
  EXPECT_EQ(literals(s, "IfcAlignmentHorizontalSegmentTypeEnum"),
            (std::vector<std::string>{"BLOSSCURVE", "CIRCULARARC", "CLOTHOID", "COSINECURVE", "CUBIC", "HELMERTCURVE",
                                      "LINE", "SINECURVE", "VIENNESEBEND"}));
  EXPECT_EQ(memberNames(s, "IfcCurveMeasureSelect"),
            (std::vector<std::string>{"IfcLengthMeasure", "IfcParameterValue"}));
  // ContainedInStructure : SET [0:1] OF IfcRelContainedInSpatialStructure FOR RelatedElements
  const QdIfcInverseAttributeDefinition* contained = inverse(s, "IfcPositioningElement", "ContainedInStructure");
  ASSERT_NE(contained, nullptr);
  EXPECT_EQ(contained->lowerBound(), 0);
  EXPECT_EQ(contained->upperBound(), 1);
  EXPECT_TRUE(s.findEntityType("IfcPositioningElement")->isAbstract());
}

TEST_F(Editions, TwoModulesInOneProcessReadByTheirOwnSchemas) {
  // An IFC2X3 wall has eight parameters, an IFC4X3_ADD2 one nine (PredefinedType).
  const std::string text =
      "ISO-10303-21;HEADER;FILE_DESCRIPTION((''),'2;1');FILE_NAME('','',(''),(''),'','','');"
      "FILE_SCHEMA(('IFC2X3'));ENDSEC;DATA;"
      "#1=IFCWALL('0Vv6e7Dir4xO7SBHhkwWbc',$,'w',$,$,$,$,$);"
      "#2=IFCCARTESIANPOINT((1.,2.));ENDSEC;END-ISO-10303-21;";
  QdIfcLoadOptions options;
  options.acceptOtherSchemas = true;
  QdIfcModel old(ifc2x3.schema()), later(ifc4x3.schema());
  const QdIfcLoadReport a = qdIfcLoad(old, text, options);
  const QdIfcLoadReport b = qdIfcLoad(later, text, options);
  auto problemsBut = [](const QdIfcLoadReport& r) {
    int n = 0;
    for (const QdSpfProblem& p : r.problems) n += p.instance == 1 ? 1 : 0;
    return n;
  };
  EXPECT_EQ(problemsBut(a), 0);
  EXPECT_EQ(problemsBut(b), 1);  // a parameter short for IFC4X3_ADD2
  ASSERT_NE(old.object(1), nullptr);
  // Each instance is of its own module's type, though both are named alike.
  EXPECT_EQ(old.object(1)->getInstanceType(), ifc2x3.schema()->findEntityType("IfcWall"));
  EXPECT_NE(ifc2x3.schema()->findEntityType("IfcCartesianPoint"), ifc4x3.schema()->findEntityType("IfcCartesianPoint"));
  EXPECT_EQ(later.object(2)->getInstanceType(), ifc4x3.schema()->findEntityType("IfcCartesianPoint"));
}
