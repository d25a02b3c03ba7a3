// Copy and assignment of the generated entity classes: a copy is a new object of
// the same type that no model holds; assignment never moves an object's identity.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcModel.h>

#include <gtest/gtest.h>

using namespace QD_SDAI;

namespace {
class EntityClasses : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qdGetModuleLifeCycleApp()->start()); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }
};
}  // namespace

TEST_F(EntityClasses, CopiesAreFreeAndAssignmentKeepsTheTargetsIdentity) {
  ASSERT_NE(IFC4::IfcWall::g_pEntityType, nullptr);
  QdIfcModel model(qdifcGetSchemaPointer());
  auto* wall = new IFC4::IfcWall;
  auto* slab = new IFC4::IfcSlab;
  const QdDbObjectId wallId = model.addInstance(wall), slabId = model.addInstance(slab);
  ASSERT_FALSE(wallId.isNull());
  ASSERT_FALSE(slabId.isNull());

  // A copy of a held instance belongs to no model and keeps the class of what it copies.
  IFC4::IfcWall copy(*wall);
  IFC4::IfcWallStandardCase standard;
  IFC4::IfcWallStandardCase standardCopy(standard);
  EXPECT_TRUE(copy.objectId().isNull());
  EXPECT_EQ(copy.owningModel(), nullptr);
  EXPECT_EQ(copy.getInstanceType(), IFC4::IfcWall::g_pEntityType);
  EXPECT_EQ(standardCopy.getInstanceType(), IFC4::IfcWallStandardCase::g_pEntityType);
  EXPECT_EQ(wall->objectId(), wallId);
  // Being free, a copy can join a model under a handle of its own.
  auto* joined = new IFC4::IfcWall(*wall);
  const QdDbObjectId joinedId = model.addInstance(joined);
  ASSERT_FALSE(joinedId.isNull());
  EXPECT_NE(joinedId, wallId);
  EXPECT_EQ(model.size(), 3u);

  // Assigning into held instances, from a free object and from another held one.
  *wall = copy;
  *joined = *wall;
  EXPECT_EQ(wall->objectId(), wallId);
  EXPECT_EQ(joined->objectId(), joinedId);
  EXPECT_EQ(model.object(wallId.id()), wall);
  EXPECT_TRUE(copy.objectId().isNull());

  // Through base classes; the target keeps its handle and also its own type.
  IFC4::IfcBuildingElement& asElement = *wall;
  asElement = *slab;
  QdIfcEntityBase& asBase = *slab;
  asBase = standard;
  EXPECT_EQ(wall->objectId(), wallId);
  EXPECT_EQ(slab->objectId(), slabId);
  EXPECT_EQ(wall->getInstanceType(), IFC4::IfcWall::g_pEntityType);
  EXPECT_EQ(slab->getInstanceType(), IFC4::IfcSlab::g_pEntityType);
  EXPECT_EQ(model.object(slabId.id()), slab);
  EXPECT_EQ(wall->owningModel(), &model);
}
