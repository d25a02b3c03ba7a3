// Attribute access by name and inverse linking on the generated IFC4 classes:
// getAttr on a deep class (a root attribute, and an attribute near the bottom),
// getAttr of the root's GlobalId from classes of every depth (one probe of the
// class's name index, whatever the depth), putAttr of a real and of a root attribute
// of a deep class, setInverseCounterParts over a model of a million instances in
// shuffled id order, and the object sizes of the classes building files hold most.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>
#include <vector>

using namespace QD_SDAI;

static void BM_GetAttrRootAttributeOfDeepClass(benchmark::State& state) {
  IFC4::IfcWallStandardCase wall;
  const QdAnsiString name("GlobalId");
  QdIfcVariant v;
  for (auto _ : state) benchmark::DoNotOptimize(wall.getAttr(name, v));
}
BENCHMARK(BM_GetAttrRootAttributeOfDeepClass);

static void BM_GetAttrNearestOwnAttributeOfDeepClass(benchmark::State& state) {
  IFC4::IfcWallStandardCase wall;  // it has no attribute of its own; IfcWall's is the nearest
  const QdAnsiString name("PredefinedType");
  QdIfcVariant v;
  for (auto _ : state) benchmark::DoNotOptimize(wall.getAttr(name, v));
}
BENCHMARK(BM_GetAttrNearestOwnAttributeOfDeepClass);

// GlobalId from a class `depth` steps below IfcRoot.
template <class T>
static void BM_GetAttrGlobalIdAtDepth(benchmark::State& state) {
  T object;
  const QdAnsiString name("GlobalId");
  QdIfcVariant v;
  for (auto _ : state) benchmark::DoNotOptimize(object.getAttr(name, v));
}
BENCHMARK_TEMPLATE(BM_GetAttrGlobalIdAtDepth, IFC4::IfcRoot)->Name("BM_GetAttrGlobalIdAtDepth/0");
BENCHMARK_TEMPLATE(BM_GetAttrGlobalIdAtDepth, IFC4::IfcObject)->Name("BM_GetAttrGlobalIdAtDepth/2");
BENCHMARK_TEMPLATE(BM_GetAttrGlobalIdAtDepth, IFC4::IfcElement)->Name("BM_GetAttrGlobalIdAtDepth/4");
BENCHMARK_TEMPLATE(BM_GetAttrGlobalIdAtDepth, IFC4::IfcWall)->Name("BM_GetAttrGlobalIdAtDepth/6");
BENCHMARK_TEMPLATE(BM_GetAttrGlobalIdAtDepth, IFC4::IfcWallStandardCase)->Name("BM_GetAttrGlobalIdAtDepth/7");

static void BM_PutAttrRootAttributeOfDeepClass(benchmark::State& state) {
  IFC4::IfcWallStandardCase wall;
  const QdAnsiString name("Name");
  const QdIfcVariant value(QdAnsiString("Wall-001"));
  for (auto _ : state) benchmark::DoNotOptimize(wall.putAttr(name, value));
}
BENCHMARK(BM_PutAttrRootAttributeOfDeepClass);

static void BM_PutAttrDouble(benchmark::State& state) {
  IFC4::IfcExtrudedAreaSolid solid;
  const QdAnsiString name("Depth");
  const QdIfcVariant value(2.75);
  for (auto _ : state) benchmark::DoNotOptimize(solid.putAttr(name, value));
}
BENCHMARK(BM_PutAttrDouble);

// A model shaped like a building file's bulk: representations naming one context,
// placements relative to earlier ones, and walls contained in storeys by
// relationships of 500 elements each; ids shuffled.
static void BM_SetInverseCounterPartsOfModel(benchmark::State& state) {
  const int64_t n = state.range(0);
  for (auto _ : state) {
    state.PauseTiming();
    QdIfcModel model;
    std::vector<uint64_t> ids(static_cast<size_t>(n));
    std::iota(ids.begin(), ids.end(), 1);
    std::shuffle(ids.begin(), ids.end(), std::mt19937_64(42));
    size_t next = 0;
    auto add = [&](QdIfcEntityBase* o) { return model.addInstance(o, ids[next++]); };
    const QdDbObjectId context = add(new IFC4::IfcGeometricRepresentationContext);
    const QdDbObjectId storey = add(new IFC4::IfcBuildingStorey);
    std::vector<QdDbObjectId> placements{add(new IFC4::IfcLocalPlacement)};
    IFC4::IfcRelContainedInSpatialStructure* rel = nullptr;
    QdIfcArray<QdDbObjectId> members;
    std::mt19937 pick(1);
    while (next + 4 <= ids.size()) {
      auto* shape = new IFC4::IfcShapeRepresentation;
      shape->setContextOfItems(context);
      add(shape);
      auto* placement = new IFC4::IfcLocalPlacement;
      placement->setPlacementRelTo(placements[pick() % placements.size()]);
      placements.push_back(add(placement));
      auto* wall = new IFC4::IfcWall;
      wall->setObjectPlacement(placements.back());
      members.append(add(wall));
      if (members.length() == 500 || next + 4 > ids.size()) {
        rel = new IFC4::IfcRelContainedInSpatialStructure;
        rel->setRelatingStructure(storey);
        rel->setRelatedElements(members);
        add(rel);
        members.setLogicalLength(0);
      }
    }
    state.ResumeTiming();
    model.setInverseCounterParts();
    state.PauseTiming();
    state.counters["instances"] = static_cast<double>(model.size());
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_SetInverseCounterPartsOfModel)->Arg(1 << 20)->Unit(benchmark::kMillisecond)->Iterations(2);

int main(int argc, char** argv) {
  if (!qdGetModuleLifeCycleApp()->start()) return 1;
  std::printf(
      "object sizes (bytes): IfcCartesianPoint %zu, IfcDirection %zu, IfcPolyLoop %zu, IfcFace %zu, "
      "IfcFaceOuterBound %zu, IfcAxis2Placement3D %zu, IfcLocalPlacement %zu, IfcShapeRepresentation %zu, "
      "IfcWall %zu\n",
      sizeof(IFC4::IfcCartesianPoint), sizeof(IFC4::IfcDirection), sizeof(IFC4::IfcPolyLoop), sizeof(IFC4::IfcFace),
      sizeof(IFC4::IfcFaceOuterBound), sizeof(IFC4::IfcAxis2Placement3D), sizeof(IFC4::IfcLocalPlacement),
      sizeof(IFC4::IfcShapeRepresentation), sizeof(IFC4::IfcWall));
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  qdGetModuleLifeCycleApp()->stop();
  return 0;
}
