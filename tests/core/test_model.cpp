// The model and its handles: numbers, forward references, removal, iteration and
// the entity base's ties to its model.
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>

#include <gtest/gtest.h>

#include <set>
#include <vector>

using namespace QD_SDAI;

namespace {

// A minimal entity class that counts its live objects.
struct Probe : QdIfcEntityBase {
  static inline int live = 0;
  int payload = 0;
  Probe() { ++live; }
  Probe(const Probe& o) : QdIfcEntityBase(o), payload(o.payload) { ++live; }
  Probe& operator=(const Probe&) = default;
  ~Probe() override { --live; }
};

class ModelTest : public ::testing::Test {
 protected:
  void SetUp() override { Probe::live = 0; }
  void TearDown() override { EXPECT_EQ(Probe::live, 0) << "instances leaked or deleted twice"; }
};

}  // namespace

TEST_F(ModelTest, HandlesLeadToTheirObjects) {
  QdIfcModel model;
  auto* a = new Probe;
  QdDbObjectId ha = model.addInstance(a);
  ASSERT_FALSE(ha.isNull());
  EXPECT_EQ(ha.openObject(kForRead, false), a);
  EXPECT_EQ(ha.openObject(kForWrite, false), a);
  EXPECT_EQ(a->close(), QD::eOk);
  EXPECT_EQ(a->objectId(), ha);
  EXPECT_EQ(a->owningModel(), &model);
  EXPECT_EQ(ha.id(), 1u);
  EXPECT_EQ(model.find(1), ha);
  EXPECT_EQ(model.object(1), a);

  QdDbObjectId copy = ha;
  EXPECT_EQ(copy, ha);
  copy.setNull();
  EXPECT_TRUE(copy.isNull());
  EXPECT_EQ(copy.openObject(), nullptr);
  EXPECT_FALSE(ha.isNull());

  // Numbers continue above the highest one in use.
  QdDbObjectId h10 = model.addInstance(new Probe, 10);
  QdDbObjectId next = model.addInstance(new Probe);
  EXPECT_EQ(h10.id(), 10u);
  EXPECT_EQ(next.id(), 11u);
  EXPECT_EQ(model.size(), 3u);
}

TEST_F(ModelTest, RefusesWhatItCannotTake) {
  QdIfcModel model, other;
  auto* a = new Probe;
  ASSERT_FALSE(model.addInstance(a, 5).isNull());
  // Taken number: the object stays the caller's.
  Probe b;
  EXPECT_TRUE(model.addInstance(&b, 5).isNull());
  EXPECT_TRUE(b.objectId().isNull());
  EXPECT_EQ(b.owningModel(), nullptr);
  // Already in a model, null object, number 0.
  EXPECT_TRUE(other.addInstance(a).isNull());
  EXPECT_TRUE(model.addInstance(nullptr).isNull());
  EXPECT_TRUE(model.addInstance(&b, 0).isNull());
  EXPECT_TRUE(model.handleFor(0).isNull());
  EXPECT_EQ(model.size(), 1u);
  // A handle of another model is not this model's to remove.
  EXPECT_FALSE(other.removeInstance(a->objectId()));
}

TEST_F(ModelTest, ForwardReferenceIsFilledWithoutASecondPass) {
  QdIfcModel model;
  // "#7" is met before the record #7: its handle exists at once.
  QdDbObjectId ref = model.handleFor(7);
  ASSERT_FALSE(ref.isNull());
  EXPECT_EQ(ref.openObject(), nullptr);
  EXPECT_EQ(model.handleFor(7), ref);  // met again: the same handle
  EXPECT_EQ(model.size(), 0u);
  EXPECT_EQ(model.unresolvedIds(), std::vector<uint64_t>{7});

  auto* p = new Probe;
  QdDbObjectId defined = model.addInstance(p, 7);
  EXPECT_EQ(defined, ref);
  EXPECT_EQ(ref.openObject(), p);
  EXPECT_TRUE(model.unresolvedIds().empty());
  // Defining it twice is refused.
  Probe again;
  EXPECT_TRUE(model.addInstance(&again, 7).isNull());
}

TEST_F(ModelTest, RemovedInstanceLeavesAnEmptySlot) {
  QdIfcModel model;
  QdDbObjectId h = model.addInstance(new Probe, 3);
  QdDbObjectId keep = h;
  EXPECT_TRUE(model.removeInstance(h));
  EXPECT_EQ(Probe::live, 0);
  EXPECT_FALSE(keep.isNull());            // the handle still names #3
  EXPECT_EQ(keep.openObject(), nullptr);  // but leads to nothing
  EXPECT_FALSE(model.removeInstance(keep));
  EXPECT_EQ(model.size(), 0u);
  // The number can be used again, and old handles then see the new object.
  auto* p = new Probe;
  EXPECT_EQ(model.addInstance(p, 3), keep);
  EXPECT_EQ(keep.openObject(), p);
}

TEST_F(ModelTest, DetachAndDirectDeleteKeepTheModelConsistent) {
  QdIfcModel model;
  auto* p = new Probe;
  QdDbObjectId h = model.addInstance(p);
  EXPECT_EQ(model.detachInstance(h), p);
  EXPECT_TRUE(p->objectId().isNull());
  EXPECT_EQ(h.openObject(), nullptr);
  EXPECT_EQ(model.size(), 0u);
  // It can join another model.
  QdIfcModel other;
  ASSERT_FALSE(other.addInstance(p).isNull());

  // Deleting an instance directly empties its slot instead of leaving a dangling pointer.
  auto* q = new Probe;
  QdDbObjectId hq = model.addInstance(q);
  delete q;
  EXPECT_EQ(hq.openObject(), nullptr);
}

TEST_F(ModelTest, CopyIsAFreeObjectAndAssignmentKeepsIdentity) {
  QdIfcModel model;
  auto* p = new Probe;
  p->payload = 42;
  QdDbObjectId h = model.addInstance(p);
  Probe copy(*p);
  EXPECT_TRUE(copy.objectId().isNull());
  EXPECT_EQ(copy.owningModel(), nullptr);
  EXPECT_EQ(copy.payload, 42);
  Probe other;
  other.payload = 7;
  *p = other;
  EXPECT_EQ(p->objectId(), h);
  EXPECT_EQ(h.openObject(), p);
}

TEST_F(ModelTest, IterationIsInNumberOrderWithFarOutliers) {
  QdIfcModel model;
  std::vector<uint64_t> ids = {5, 1, 1000000000000ull, 3, 70000, 2};
  for (uint64_t id : ids) ASSERT_FALSE(model.addInstance(new Probe, id).isNull());
  model.handleFor(4);  // referenced, never defined: not listed
  std::vector<uint64_t> seen;
  model.forEach([&](const QdDbObjectId& h, QdIfcEntityBase* o) {
    EXPECT_EQ(h.openObject(), o);
    seen.push_back(h.id());
  });
  EXPECT_EQ(seen, (std::vector<uint64_t>{1, 2, 3, 5, 70000, 1000000000000ull}));
  EXPECT_EQ(model.instances().size(), 6u);
  EXPECT_EQ(model.maxId(), 1000000000000ull);
  EXPECT_EQ(model.find(1000000000000ull).id(), 1000000000000ull);
  EXPECT_TRUE(model.find(999).isNull());
  // Filling in numbers below an outlier moves it into the dense table; lookups still work.
  for (uint64_t id = 100000; id < 400000; ++id) model.handleFor(id);
  EXPECT_EQ(model.find(1000000000000ull).id(), 1000000000000ull);
  EXPECT_EQ(model.find(70000).openObject() != nullptr, true);
}

TEST_F(ModelTest, TheNumberTableStaysInProportionToTheSlots) {
  // Each number just below the dense table's bound once let the table grow by a
  // factor; twenty such references would have asked for terabytes.
  QdIfcModel model;
  uint64_t id = 65000;
  for (int i = 0; i < 20; ++i, id = 2 * id + 60000) ASSERT_EQ(model.handleFor(id).id(), id);
  EXPECT_LT(model.bookkeepingBytes(), 8u << 20);
  EXPECT_EQ(model.unresolvedIds().size(), 20u);
  EXPECT_EQ(model.find(190000).id(), 190000u);
}

TEST_F(ModelTest, HandleOrderIsNumberOrder) {
  QdIfcModel model;
  std::vector<QdDbObjectId> handles;
  for (uint64_t id : {9, 2, 7, 4}) handles.push_back(model.handleFor(id));
  std::set<QdDbObjectId> ordered(handles.begin(), handles.end());
  std::vector<uint64_t> ids;
  for (const QdDbObjectId& h : ordered) ids.push_back(h.id());
  EXPECT_EQ(ids, (std::vector<uint64_t>{2, 4, 7, 9}));
  EXPECT_TRUE(QdDbObjectId() < handles[0]);
  // Same number in two models: different handles, still strictly ordered.
  QdIfcModel other;
  QdDbObjectId h2 = other.handleFor(2);
  EXPECT_NE(h2, model.find(2));
  EXPECT_TRUE((h2 < model.find(2)) != (model.find(2) < h2));
}

TEST_F(ModelTest, ManyInstancesKeepStableHandles) {
  QdIfcModel model;
  std::vector<QdDbObjectId> handles;
  std::vector<Probe*> objects;
  for (int i = 0; i < 50000; ++i) {
    auto* p = new Probe;
    p->payload = i;
    objects.push_back(p);
    handles.push_back(model.addInstance(p));
  }
  for (int i = 0; i < 50000; i += 997) {
    EXPECT_EQ(handles[i].openObject(), objects[i]);
    EXPECT_EQ(static_cast<Probe*>(model.object(static_cast<uint64_t>(i) + 1))->payload, i);
  }
  model.clear();
  EXPECT_EQ(model.size(), 0u);
  EXPECT_TRUE(model.find(1).isNull());
}

namespace {
struct Wall : Probe {
  static inline QdIfcEntityType* g_pEntityType = nullptr;
  QdIfcEntityType* getInstanceType() const override { return g_pEntityType; }
};
struct Root : Probe {
  static inline QdIfcEntityType* g_pEntityType = nullptr;
  QdIfcEntityType* getInstanceType() const override { return g_pEntityType; }
};
QdIfcEntityBase* makeWall() { return new Wall; }
QdIfcEntityBase* makeRoot() { return new Root; }
}  // namespace

TEST_F(ModelTest, CreatesInstancesThroughTheSchemaAndTellsTheirKind) {
  QdIfcSchema schema;
  QdIfcEntityType::createEntityType(&schema, "IFCROOT", true, makeRoot, nullptr, Root::g_pEntityType, nullptr);
  QdIfcEntityType::createEntityType(&schema, "IFCWALL", true, makeWall, nullptr, Wall::g_pEntityType,
                                    Root::g_pEntityType);
  schema.entityTypes().putAt("IFCROOT", Root::g_pEntityType);
  schema.entityTypes().putAt("IFCWALL", Wall::g_pEntityType);

  QdIfcModel model(&schema);
  QdDbObjectId h = model.createInstance("IfcWall", 12);
  ASSERT_FALSE(h.isNull());
  QdIfcEntityBase* wall = h.openObject();
  EXPECT_EQ(wall->getInstanceType(), Wall::g_pEntityType);
  // The base's generic forms walk the dictionary.
  EXPECT_TRUE(wall->isKindOf("ifcroot"));
  EXPECT_TRUE(wall->isKindOf(Root::g_pEntityType));
  EXPECT_TRUE(wall->isInstanceOf("IFCWALL"));
  EXPECT_FALSE(wall->isInstanceOf(Root::g_pEntityType));
  EXPECT_FALSE(wall->isKindOf(static_cast<const char*>(nullptr)));
  EXPECT_FALSE(wall->isKindOf("QdIfcEntityBase"));
  EXPECT_TRUE(model.createInstance("IfcNothing").isNull());
  EXPECT_TRUE(model.createInstance("IfcRoot", 12).isNull());  // number taken
  QdIfcModel noSchema;
  EXPECT_TRUE(noSchema.createInstance("IfcWall").isNull());
}
