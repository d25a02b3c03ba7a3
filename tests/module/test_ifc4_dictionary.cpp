// The built IFC4 dictionary against the entity classes: the kind tests, by the numbered
// type tree, against the dictionary's supertype links walked one by one.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfc4/Selects.h>
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>

#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <string>

using namespace QD_SDAI;

namespace {
class Ifc4Dictionary : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    schema = qdifcGetSchemaPointer();
  }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }
  const QdIfcSchema* schema = nullptr;
};
}  // namespace

TEST_F(Ifc4Dictionary, EveryClassAgreesWithItsDictionaryChain) {
  const Dictionary& entities = schema->entityTypes();
  for (int i = 0; i < entities.size(); ++i) {
    const QdIfcEntityType* type = entities.valueAt(i)->asNameType()->asEntityType();
    ASSERT_NE(type, nullptr);
    std::unique_ptr<QdIfcEntityBase> object(type->createInstance());  // abstract ones too
    ASSERT_NE(object, nullptr) << type->typeName();
    EXPECT_EQ(object->getInstanceType(), type);
    EXPECT_TRUE(object->isInstanceOf(type));
    std::string lower = type->schemaName();
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_TRUE(object->isInstanceOf(lower.c_str()));
    for (int k = 0; k < entities.size(); ++k) {
      const QdIfcEntityType* other = entities.valueAt(k)->asNameType()->asEntityType();
      // The dictionary's supertype links, walked one by one.
      bool above = false;
      for (const QdIfcEntityType* t = type; t && !above; t = t->supertype()) above = t == other;
      ASSERT_EQ(object->isKindOf(other), above) << type->typeName() << " / " << other->typeName();
      ASSERT_EQ(type->isSubtypeOf(other), above) << type->typeName() << " / " << other->typeName();
      std::string name = other->schemaName();
      name[k % name.size()] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[k % name.size()])));
      ASSERT_EQ(object->isKindOf(name.c_str()), above) << type->typeName() << " / " << name;
    }
    for (const QdIfcEntityType* t = type; t; t = t->supertype()) EXPECT_TRUE(object->isKindOf(t->schemaName()));
    EXPECT_FALSE(object->isKindOf("QdIfcEntityBase"));
    EXPECT_FALSE(object->isKindOf(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(object->isKindOf(static_cast<const QdIfcEntityType*>(nullptr)));
  }
}

TEST_F(Ifc4Dictionary, ClassSlotsPointIntoTheNewSchemaAfterARestart) {
  const QdIfcEntityType* before = IFC4::IfcWall::g_pEntityType;
  EXPECT_EQ(before, schema->findEntityType("IfcWall"));
  qdGetModuleLifeCycleApp()->stop();
  ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
  EXPECT_EQ(IFC4::IfcWall::g_pEntityType, qdifcGetSchemaPointer()->findEntityType("ifcwall"));
  EXPECT_EQ(IFC4::IfcShell::sType, qdifcGetSchemaPointer()->findNameType("IFCSHELL"));
  ASSERT_NE(IFC4::IfcShell::sType->asDefinedType()->wrappedSelect(), nullptr);
}

TEST_F(Ifc4Dictionary, KnownGapsStayUnresolved) {
  const QdIfcAttributeDefinition* master =
      schema->findEntityType("IfcSurfaceCurve")->findOwnAttribute("MasterRepresentation");
  ASSERT_NE(master, nullptr);
  EXPECT_EQ(master->type(), nullptr);
  const QdIfcInverseAttributeDefinition* projects = schema->findEntityType("IfcFeatureElementAddition")
                                                        ->findOwnAttribute("ProjectsElements")
                                                        ->asInverseAttributeDefinition();
  ASSERT_NE(projects, nullptr);
  EXPECT_EQ(projects->type(), nullptr);
  EXPECT_EQ(projects->lowerBound(), Consts::QdIntUnset);
  // Everything else resolved: the two-step chain and a redeclared attribute.
  const QdIfcDefinedType* positive = schema->findNameType("IfcPositiveLengthMeasure")->asDefinedType();
  EXPECT_EQ(positive->underlyingType(), schema->findNameType("IfcLengthMeasure"));
  const QdIfcDerivedAttributeDefinition* precision =
      schema->findEntityType("IfcGeometricRepresentationSubContext")
          ->findOwnAttribute("ifcgeometricrepresentationcontext_precision")
          ->asDerivedAttributeDefinition();
  ASSERT_NE(precision, nullptr);
  EXPECT_EQ(precision->redeclared(),
            schema->findEntityType("IfcGeometricRepresentationContext")->findOwnAttribute("Precision"));
}
