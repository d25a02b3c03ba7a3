// Named access beyond the dictionary walk (the departures from the common rules,
// access modes, conversions that must leave a member alone), the typed accessors,
// and the inverse links: every row of the link table, and a model linked in bulk.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcInverseBatch.h>
#include <QdIfcCore/QdIfcModel.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace QD_SDAI;
using IFC4::IfcWall;

namespace {

class Attributes : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
  }
  void TearDown() override {
    model.reset();
    qdGetModuleLifeCycleApp()->stop();
  }
  template <class T>
  T* make(QdDbObjectId* id = nullptr) {
    auto* object = new T;
    QdDbObjectId h = model->addInstance(object);
    if (id) *id = h;
    return object;
  }
  QdIfcEntityBase* object(const QdDbObjectId& id) { return id.openObject(); }

  std::unique_ptr<QdIfcModel> model;
};

QdIfcArray<QdDbObjectId> handles(std::initializer_list<QdDbObjectId> list) {
  QdIfcArray<QdDbObjectId> out;
  for (const QdDbObjectId& h : list) out.append(h);
  return out;
}

// The handles an inverse attribute holds, read by name.
std::vector<uint64_t> inverseIds(const QdIfcEntityBase* o, const char* name) {
  QdIfcVariant v;
  std::vector<uint64_t> out;
  if (!o->getAttr(QdAnsiString(name), v)) return {99999};
  QdIfcArray<QdDbObjectId> a;
  QdDbObjectId single;
  if (v.getValue(a)) {
    for (const QdDbObjectId& h : a) out.push_back(h.id());
  } else if (v.getValue(single) && !single.isNull()) {
    out.push_back(single.id());
  }
  return out;
}

unsigned thrownBy(const std::function<void()>& f, std::string* where = nullptr) {
  try {
    f();
  } catch (const QdIfcException& e) {
    if (where) *where = e.location();
    return e.code();
  }
  return 0;
}

}  // namespace

TEST_F(Attributes, EnumerationsTakeTextAndNumbersOnly) {
  IfcWall wall;
  const QdAnsiString type("PredefinedType");
  EXPECT_TRUE(wall.putAttr(type, QdIfcVariant("partitioning")));
  EXPECT_EQ(wall.getPredefinedType(), IFC4::kIfcWallTypeEnum_PARTITIONING);
  // A text that is no literal overwrites with the unset value and says so.
  EXPECT_FALSE(wall.putAttr(type, QdIfcVariant(QdAnsiString("PARTITION"))));
  EXPECT_FALSE(wall.testAttr(type));
  EXPECT_TRUE(wall.putAttr(type, QdIfcVariant(99)));
  EXPECT_EQ(wall.getPredefinedType().value(), IFC4::IfcWallTypeEnum::kLiteralCount);
  EXPECT_TRUE(wall.putAttr(type, QdIfcVariant(-1)));
  EXPECT_EQ(wall.getPredefinedType().value(), -1);
  EXPECT_TRUE(wall.testAttr(type));
  // The dictionary's attribute answers as its name does.
  const QdIfcAttributeDefinition* definition = IfcWall::g_pEntityType->findOwnAttribute("PredefinedType");
  ASSERT_NE(definition, nullptr);
  EXPECT_TRUE(wall.testAttr(definition));
  wall.unsetAttr(type);
  EXPECT_FALSE(wall.testAttr(definition));
  EXPECT_TRUE(wall.putAttr(type, QdIfcVariant(static_cast<unsigned long>(2))));
  EXPECT_EQ(wall.getPredefinedType().value(), 2);
  // What getAttr gives, the enumeration's own class, is not taken back; nor is a real.
  QdIfcVariant own;
  ASSERT_TRUE(wall.getAttr(type, own));
  EXPECT_TRUE(own.is<IFC4::IfcWallTypeEnum>());
  EXPECT_FALSE(wall.putAttr(type, own));
  EXPECT_FALSE(wall.putAttr(type, QdIfcVariant(1.0)));
  EXPECT_EQ(wall.getPredefinedType().value(), 2);
}

TEST_F(Attributes, AVariantReadIntoAgainHoldsTheLastValue) {
  // Hosts read attribute after attribute into one variant: each read replaces the last,
  // also when the type stays the same.
  IfcWall a, b;
  a.setPredefinedType(IFC4::kIfcWallTypeEnum_PARTITIONING);
  b.setPredefinedType(IFC4::kIfcWallTypeEnum_SHEAR);
  QdIfcVariant v;
  const QdAnsiString type("PredefinedType");
  ASSERT_TRUE(a.getAttr(type, v));
  ASSERT_TRUE(b.getAttr(type, v));
  ASSERT_TRUE(v.is<IFC4::IfcWallTypeEnum>());
  EXPECT_EQ(v.ptr<IFC4::IfcWallTypeEnum>()->value(), IFC4::kIfcWallTypeEnum_SHEAR);
  IFC4::IfcPropertySingleValue p, q;
  const QdAnsiString nominal("NominalValue");
  ASSERT_TRUE(p.getAttr(nominal, v));
  ASSERT_TRUE(q.getAttr(nominal, v));
  ASSERT_TRUE(v.is<IFC4::IfcValue*>());
  EXPECT_EQ(*v.ptr<IFC4::IfcValue*>(), &q.getNominalValue());
}

TEST_F(Attributes, AccessModesAreTestedFirstAndNamedByTheMostDerivedClass) {
  QdDbObjectId id;
  IfcWall* wall = make<IfcWall>(&id);
  const QdAnsiString name("Name"), unknown("NoSuchAttribute");
  std::string where;
  model->setMode(sdaiNoAccess);
  EXPECT_EQ(thrownBy(
                [&] {
                  QdIfcVariant v;
                  wall->getAttr(name, v);
                },
                &where),
            190u);
  EXPECT_EQ(where, "IFC4::IfcWall::getAttr");
  EXPECT_EQ(thrownBy([&] { wall->testAttr(unknown); }, &where), 190u);
  EXPECT_EQ(where, "IFC4::IfcWall::testAttr");
  EXPECT_EQ(thrownBy([&] { wall->putAttr(name, QdIfcVariant("x")); }, &where), 180u);
  EXPECT_EQ(where, "IFC4::IfcWall::putAttr");
  model->setMode(sdaiRO);
  EXPECT_EQ(thrownBy([&] {
              QdIfcVariant v;
              wall->getAttr(name, v);
            }),
            0u);
  EXPECT_EQ(thrownBy([&] { wall->unsetAttr(name); }, &where), 180u);
  EXPECT_EQ(where, "IFC4::IfcWall::unsetAttr");
  // Accessors make no test: a read-only model still takes a write through them.
  wall->setName("by accessor");
  EXPECT_STREQ(wall->getName().constStr(), "by accessor");
  // A free object answers whatever any model's mode; unknown names are false, not errors.
  IfcWall free;
  EXPECT_TRUE(free.putAttr(name, QdIfcVariant("free")));
  EXPECT_FALSE(free.putAttr(unknown, QdIfcVariant("x")));
  QdIfcVariant untouched(5);
  EXPECT_FALSE(free.getAttr(unknown, untouched));
  EXPECT_TRUE(untouched.is<int>());
}

TEST_F(Attributes, RedeclaredDerivedNamesAreReadAsNothingButWriteTheSupertypesMember) {
  IFC4::IfcSIUnit unit;
  QdIfcVariant v(1);
  EXPECT_FALSE(unit.getAttr("dimensions", v));
  EXPECT_TRUE(v.isEmpty());
  QdDbObjectId dims;
  make<IFC4::IfcDimensionalExponents>(&dims);
  EXPECT_TRUE(unit.putAttr("Dimensions", QdIfcVariant(dims)));
  EXPECT_TRUE(unit.testAttr("dimensions"));
  EXPECT_EQ(unit.getDimensions(), dims);  // the supertype's accessor
  IFC4::IfcGeometricRepresentationSubContext sub;
  sub.setPrecision(0.001);
  EXPECT_FALSE(sub.getAttr("PRECISION", v));
  EXPECT_TRUE(v.isEmpty());
  EXPECT_TRUE(sub.testAttr("precision"));
  // The binary: left empty by the constructor, handed out as a string object, never tested.
  IFC4::IfcBlobTexture blob;
  EXPECT_TRUE(blob.getRasterCode().isEmpty());
  EXPECT_FALSE(blob.getRasterCode().isUnset());
  EXPECT_TRUE(blob.putAttr("RasterCode", QdIfcVariant("01FF")));
  ASSERT_TRUE(blob.getAttr("rastercode", v));
  EXPECT_TRUE(v.is<QdAnsiString>());
  EXPECT_FALSE(blob.testAttr("RasterCode"));
}

TEST_F(Attributes, ThreeInversesAreWritableByName) {
  QdDbObjectId wallId, relId, projectId;
  IfcWall* wall = make<IfcWall>(&wallId);
  make<IFC4::IfcRelAssociatesMaterial>(&relId);
  EXPECT_TRUE(wall->putAttr("HasAssociations", QdIfcVariant(handles({relId}))));
  EXPECT_FALSE(wall->testAttr("hasassociations"));
  EXPECT_EQ(inverseIds(wall, "HasAssociations"), std::vector<uint64_t>{relId.id()});
  EXPECT_TRUE(wall->putAttr("IsDefinedBy", QdIfcVariant(handles({relId}))));
  wall->unsetAttr("HasAssociations");  // not known to unsetAttr: nothing happens
  EXPECT_EQ(inverseIds(wall, "HasAssociations").size(), 1u);
  EXPECT_FALSE(wall->putAttr("ContainedInStructure", QdIfcVariant(handles({relId}))));
  // IfcProject has an IsDefinedBy of its own (from IfcContext), readable only.
  IFC4::IfcProject* project = make<IFC4::IfcProject>(&projectId);
  EXPECT_FALSE(project->putAttr("IsDefinedBy", QdIfcVariant(handles({relId}))));
  EXPECT_TRUE(inverseIds(project, "IsDefinedBy").empty());
}

TEST_F(Attributes, AggregatesChangeWholeOrNotAtAll) {
  IFC4::IfcCartesianPoint point;
  const QdAnsiString coordinates("Coordinates");
  QdIfcArray<double> xyz;
  for (double d : {1.0, 2.0, 3.0}) xyz.append(d);
  EXPECT_TRUE(point.putAttr(coordinates, QdIfcVariant(xyz)));
  QdIfcArray<QdIfcVariant> mixed;
  mixed.append(QdIfcVariant(4.0));
  mixed.append(QdIfcVariant(QdAnsiString("not a number")));
  EXPECT_FALSE(point.putAttr(coordinates, QdIfcVariant(mixed)));
  QdIfcArray<double> out;
  point.getCoordinates(out);
  ASSERT_EQ(out.length(), 3);
  EXPECT_EQ(out[2], 3.0);
  EXPECT_FALSE(point.putAttr(coordinates, QdIfcVariant(4.0)));
  // An empty array gives an empty, non-nil aggregate, which testAttr does not count as set.
  EXPECT_TRUE(point.putAttr(coordinates, QdIfcVariant(QdIfcArray<double>())));
  EXPECT_FALSE(point.getCoordinates().isNil());
  EXPECT_FALSE(point.testAttr(coordinates));
  point.unsetAttr(coordinates);
  EXPECT_TRUE(point.getCoordinates().isNil());

  // Lists of lists take exactly an array of arrays of their element.
  IFC4::IfcCartesianPointList3D list;
  QdIfcArray<QdIfcArray<double>> rows;
  rows.append(xyz);
  rows.append(xyz);
  EXPECT_TRUE(list.putAttr("CoordList", QdIfcVariant(rows)));
  EXPECT_FALSE(list.putAttr("CoordList", QdIfcVariant(xyz)));
  QdIfcArray<QdIfcArray<double>> back;
  list.getCoordList(back);
  ASSERT_EQ(back.length(), 2);
  EXPECT_EQ(back[1][2], 3.0);
  QdIfcArray<QdIfcArray<int>> intRows;
  EXPECT_FALSE(list.putAttr("CoordList", QdIfcVariant(intRows)));
}

TEST_F(Attributes, TypedAccessorsKeepNilApartFromEmpty) {
  IFC4::IfcRelAggregates rel;
  EXPECT_TRUE(rel.getName().isUnset());
  QdIfcArray<QdDbObjectId> out = handles({QdDbObjectId()});
  rel.getRelatedObjects(out);
  EXPECT_EQ(out.length(), 1);  // nil: left as it was
  IfcWall fresh;
  fresh.getInvHasAssignments(out);
  EXPECT_EQ(out.length(), 1);
  rel.setRelatedObjects(QdIfcArray<QdDbObjectId>());
  EXPECT_FALSE(rel.getRelatedObjects().isNil());
  EXPECT_EQ(rel.getRelatedObjects().count(), 0);
  EXPECT_EQ(rel.RelatingObject(), nullptr);

  QdDbObjectId a, b;
  IfcWall* wall = make<IfcWall>(&a);
  make<IfcWall>(&b);
  rel.setRelatingObject(a);
  EXPECT_EQ(rel.RelatingObject(), wall);
  rel.setRelatedObjects(handles({b, a, b}));
  rel.getRelatedObjects(out);  // appends, sorted and without repeats
  ASSERT_EQ(out.length(), 3);
  EXPECT_EQ(out[1], a);
  EXPECT_EQ(out[2], b);
  IFC4::IfcRelAggregates copy(rel);
  EXPECT_EQ(copy.getRelatedObjects().count(), 2);
  const IFC4::IfcRelAggregates& self = copy;
  copy = self;
  EXPECT_EQ(copy.getRelatedObjects().count(), 2);
  EXPECT_EQ(copy.getRelatingObject(), a);
}

// Every row of the link table: a forward attribute set to a new object of each
// candidate class fills exactly that class's inverse member.
TEST_F(Attributes, EveryForwardAttributeFillsTheInverseOfEachCandidate) {
  std::ifstream table(std::string(QDIFC_TEST_SOURCE_DIR) + "/module/inverse_table.txt");
  ASSERT_TRUE(table) << "inverse_table.txt";
  std::string line;
  int rows = 0, links = 0;
  while (std::getline(table, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string cls, attr, shape, target;
    fields >> cls >> attr >> shape;
    ++rows;
    while (fields >> target) {
      const bool single = target.back() == '!';
      if (single) target.pop_back();
      const std::string targetClass = target.substr(0, target.find('.'));
      const std::string inverse = target.substr(target.find('.') + 1);
      const QdDbObjectId forward = model->createInstance(cls.c_str());
      const QdDbObjectId to = model->createInstance(targetClass.c_str());
      ASSERT_FALSE(forward.isNull() || to.isNull()) << line;
      QdIfcEntityBase* f = object(forward);
      const QdIfcVariant value = shape == "aggregate" ? QdIfcVariant(handles({to})) : QdIfcVariant(to);
      ASSERT_TRUE(f->putAttr(QdAnsiString(attr.c_str()), value)) << cls << '.' << attr << " <- " << targetClass;
      EXPECT_TRUE(inverseIds(object(to), inverse.c_str()).empty()) << target;
      f->setInverseCounterParts();
      EXPECT_EQ(inverseIds(object(to), inverse.c_str()), std::vector<uint64_t>{forward.id()})
          << cls << '.' << attr << " -> " << target;
      // A second run adds nothing to a set, and assigns the same handle again.
      f->setInverseCounterParts();
      EXPECT_EQ(inverseIds(object(to), inverse.c_str()).size(), 1u) << target;
      ++links;
    }
  }
  EXPECT_EQ(rows, 126);
  EXPECT_EQ(links, 153);
}

TEST_F(Attributes, AModelLinksInBulkOnceHoweverItIsRun) {
  QdDbObjectId storey, wallA, wallB, opening, pset, project, contains, voids, defines, nests, proxy;
  make<IFC4::IfcBuildingStorey>(&storey);
  make<IfcWall>(&wallA);
  make<IfcWall>(&wallB);
  make<IFC4::IfcOpeningElement>(&opening);
  make<IFC4::IfcPropertySet>(&pset);
  make<IFC4::IfcProject>(&project);
  auto* containment = make<IFC4::IfcRelContainedInSpatialStructure>(&contains);
  containment->setRelatingStructure(storey);
  // The project is of no class the relationship links: it gets nothing.
  containment->setRelatedElements(handles({wallA, wallB, project}));
  auto* voiding = make<IFC4::IfcRelVoidsElement>(&voids);
  voiding->setRelatingBuildingElement(wallA);
  voiding->setRelatedOpeningElement(opening);
  auto* definition = make<IFC4::IfcRelDefinesByProperties>(&defines);
  definition->setRelatedObjects(handles({wallA}));
  definition->putAttr("RelatingPropertyDefinition", QdIfcVariant(pset));
  // A list that names one object twice hands the handle over twice; the set keeps one.
  auto* nesting = make<IFC4::IfcRelNests>(&nests);
  nesting->setRelatingObject(wallB);
  nesting->setRelatedObjects(handles({opening, opening}));
  make<IFC4::IfcBuildingElementProxy>(&proxy);
  // What an inverse held before stays beside what the bulk run adds.
  QdDbObjectId associates;
  ASSERT_TRUE(
      make<IFC4::IfcRelAssociatesMaterial>(&associates)->putAttr("RelatedObjects", QdIfcVariant(handles({wallA}))));
  ASSERT_TRUE(object(wallA)->putAttr("HasAssociations", QdIfcVariant(handles({pset}))));

  for (int run = 0; run < 2; ++run) {
    model->setInverseCounterParts();
    EXPECT_EQ(inverseIds(object(storey), "ContainsElements"), std::vector<uint64_t>{contains.id()});
    EXPECT_EQ(inverseIds(object(wallA), "HasAssociations"), (std::vector<uint64_t>{pset.id(), associates.id()}));
    EXPECT_EQ(inverseIds(object(wallB), "ContainedInStructure"), std::vector<uint64_t>{contains.id()});
    EXPECT_EQ(inverseIds(object(wallA), "ContainedInStructure"), std::vector<uint64_t>{contains.id()});
    EXPECT_TRUE(inverseIds(object(project), "IsDecomposedBy").empty());
    EXPECT_EQ(inverseIds(object(wallA), "HasOpenings"), std::vector<uint64_t>{voids.id()});
    EXPECT_EQ(inverseIds(object(opening), "VoidsElements"), std::vector<uint64_t>{voids.id()});
    EXPECT_EQ(inverseIds(object(wallA), "IsDefinedBy"), std::vector<uint64_t>{defines.id()});
    EXPECT_EQ(inverseIds(object(pset), "DefinesOccurrence"), std::vector<uint64_t>{defines.id()});
    EXPECT_EQ(inverseIds(object(opening), "Nests"), std::vector<uint64_t>{nests.id()});
    EXPECT_EQ(inverseIds(object(wallB), "IsNestedBy"), std::vector<uint64_t>{nests.id()});
    EXPECT_TRUE(inverseIds(object(proxy), "ContainedInStructure").empty());
  }
  // Inverses are not tested by name, whatever they hold; resetting leaves them.
  EXPECT_FALSE(object(wallA)->testAttr("ContainedInStructure"));
  object(contains)->resetInverseCounterParts();
  EXPECT_EQ(inverseIds(object(storey), "ContainsElements").size(), 1u);
  // A copy carries its source's inverse members.
  IfcWall copy(*static_cast<IfcWall*>(object(wallA)));
  EXPECT_EQ(inverseIds(&copy, "HasOpenings"), std::vector<uint64_t>{voids.id()});
}

// A model links into the batch it is given, and only its own instances do: an object
// of another model linked meanwhile fills its inverse at once.
TEST_F(Attributes, AModelLinksIntoItsOwnBatchAlone) {
  QdDbObjectId storey, wall, contains;
  make<IFC4::IfcBuildingStorey>(&storey);
  make<IfcWall>(&wall);
  auto* containment = make<IFC4::IfcRelContainedInSpatialStructure>(&contains);
  containment->setRelatingStructure(storey);
  containment->setRelatedElements(handles({wall}));

  QdIfcModel other(qdifcGetSchemaPointer());
  const QdDbObjectId otherStorey = other.addInstance(new IFC4::IfcBuildingStorey);
  auto* otherContainment = new IFC4::IfcRelContainedInSpatialStructure;
  const QdDbObjectId otherContains = other.addInstance(otherContainment);
  otherContainment->setRelatingStructure(otherStorey);

  QdIfcInverseBatch batch;
  model->setInverseCounterParts(batch);
  EXPECT_EQ(batch.pending(), 2u);
  EXPECT_EQ(model->inverseBatch(), nullptr);
  EXPECT_TRUE(inverseIds(object(storey), "ContainsElements").empty());
  otherContainment->setInverseCounterParts();
  EXPECT_EQ(inverseIds(other.object(otherStorey.id()), "ContainsElements"), std::vector<uint64_t>{otherContains.id()});
  EXPECT_EQ(batch.pending(), 2u);
  batch.flush();
  EXPECT_EQ(inverseIds(object(storey), "ContainsElements"), std::vector<uint64_t>{contains.id()});
  EXPECT_EQ(inverseIds(object(wall), "ContainedInStructure"), std::vector<uint64_t>{contains.id()});
}

TEST_F(Attributes, ManyRepresentationsInShuffledOrderAllReachTheirContext) {
  QdDbObjectId context = model->addInstance(new IFC4::IfcGeometricRepresentationContext, 1);
  std::vector<uint64_t> ids(3000);
  for (size_t i = 0; i < ids.size(); ++i) ids[i] = i + 2;
  std::shuffle(ids.begin(), ids.end(), std::mt19937(7));
  for (uint64_t id : ids) {
    auto* shape = new IFC4::IfcShapeRepresentation;
    shape->setContextOfItems(context);
    model->addInstance(shape, id);
  }
  model->setInverseCounterParts();
  std::vector<uint64_t> got = inverseIds(object(context), "RepresentationsInContext");
  ASSERT_EQ(got.size(), ids.size());
  EXPECT_TRUE(std::is_sorted(got.begin(), got.end()));
  EXPECT_EQ(got.front(), 2u);
}
