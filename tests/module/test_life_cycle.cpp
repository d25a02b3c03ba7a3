// Start and stop of the IFC4 module through its plain entry points.
#include <QdIfc4/Module.h>
#include <QdIfc4/Selects.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcVariantTypes.h>

#include <gtest/gtest.h>

using namespace QD_SDAI;

namespace {

// Every test leaves the module stopped, whatever it did.
class LifeCycle : public ::testing::Test {
 protected:
  void SetUp() override { qdGetModuleLifeCycleApp()->stop(); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }
};

}  // namespace

TEST_F(LifeCycle, EntryPointsBeforeAndAfterStart) {
  QdModuleLifeCycleApp* app = qdGetModuleLifeCycleApp();
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(qdifcGetSchemaPointer(), nullptr);
  EXPECT_EQ(app->query(), 0);

  EXPECT_TRUE(app->start());
  EXPECT_EQ(qdGetModuleLifeCycleApp(), app);
  EXPECT_NE(qdifcGetSchemaPointer(), nullptr);
  EXPECT_EQ(app->query(), 0);

  app->stop();
  EXPECT_EQ(qdifcGetSchemaPointer(), nullptr);
  EXPECT_EQ(qdGetModuleLifeCycleApp(), app);
  EXPECT_EQ(app->query(), 0);
}

TEST_F(LifeCycle, SecondStartBuildsNothing) {
  QdModuleLifeCycleApp* app = qdGetModuleLifeCycleApp();
  ASSERT_TRUE(app->start());
  QdIfcSchema* first = qdifcGetSchemaPointer();
  const int builtins = first->builtInTypes().size();
  EXPECT_TRUE(app->start());
  EXPECT_EQ(qdifcGetSchemaPointer(), first);
  // A rebuild into the same schema would have been refused key by key, but the
  // entity list would have grown; neither happened.
  EXPECT_EQ(first->builtInTypes().size(), builtins);
  EXPECT_EQ(first->entityTypeList().size(), static_cast<size_t>(first->entityTypes().size()));
}

TEST_F(LifeCycle, StopWithoutStartAndTwiceIsHarmless) {
  QdModuleLifeCycleApp* app = qdGetModuleLifeCycleApp();
  app->stop();
  app->stop();
  EXPECT_EQ(qdifcGetSchemaPointer(), nullptr);
  ASSERT_TRUE(app->start());
  app->stop();
  app->stop();
  EXPECT_EQ(qdifcGetSchemaPointer(), nullptr);
}

TEST_F(LifeCycle, RestartGivesAFreshWholeSchema) {
  QdModuleLifeCycleApp* app = qdGetModuleLifeCycleApp();
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(app->start());
    QdIfcSchema* schema = qdifcGetSchemaPointer();
    ASSERT_NE(schema, nullptr);
    EXPECT_STREQ(schema->name(), "IFC4");
    EXPECT_EQ(schema->majorVersion(), 4);
    EXPECT_EQ(schema->minorVersion(), 0);
    EXPECT_NE(schema->builtInTypes().find("string(22)fixed"), nullptr);
    app->stop();
    EXPECT_EQ(qdifcGetSchemaPointer(), nullptr);
  }
}

TEST_F(LifeCycle, StopReleasesTheModulesDescriptorsEveryTime) {
  QdModuleLifeCycleApp* app = qdGetModuleLifeCycleApp();
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(app->start());
    // Some descriptors exist and hold values; the others are released as absent.
    IFC4::IfcValue value;
    value.setIfcLabel(QdAnsiString("x"));
    QdIfcVariant held(value);
    EXPECT_TRUE(held.is<IFC4::IfcValue>());
    held.clear();
    const uint64_t before = qdIfcDescriptorReleaseCount();
    app->stop();
    // 60 selects by value and by pointer, 16 arrays, 16 aggregate pointers, 207 enumerations.
    EXPECT_EQ(qdIfcDescriptorReleaseCount() - before, 359u);
  }
  // A descriptor asked for after stop is made anew and works.
  IFC4::IfcUnit unit;
  QdIfcVariant again(unit);
  EXPECT_TRUE(again.is<IFC4::IfcUnit>());
}
