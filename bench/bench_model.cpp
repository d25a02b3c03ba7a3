// The model's bookkeeping: adding instances, resolving "#n" references (half of
// them forward references), looking up by number and iterating. Reports
// instances per second and the model's own bytes per instance.
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

using namespace QD_SDAI;

namespace {
struct Small : QdIfcEntityBase {
  QdDbObjectId ref;
};
}  // namespace

static void BM_LoadLikeAReader(benchmark::State& state) {
  const int64_t n = state.range(0);
  size_t bytes = 0;
  for (auto _ : state) {
    QdIfcModel model;
    // Record i refers to #(i+1): a forward reference met before its record.
    for (int64_t i = 1; i <= n; ++i) {
      auto* o = new Small;
      o->ref = model.handleFor(static_cast<uint64_t>(i % n + 1));
      model.addInstance(o, static_cast<uint64_t>(i));
    }
    bytes = model.bookkeepingBytes();
    benchmark::DoNotOptimize(model.size());
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.counters["instances/s"] =
      benchmark::Counter(static_cast<double>(state.iterations() * n), benchmark::Counter::kIsRate);
  state.counters["model bytes/instance"] = static_cast<double>(bytes) / static_cast<double>(n);
  state.counters["object bytes/instance"] = sizeof(Small);
}
BENCHMARK(BM_LoadLikeAReader)->Arg(100000)->Arg(2000000)->Unit(benchmark::kMillisecond);

static void BM_FindByNumber(benchmark::State& state) {
  const int64_t n = state.range(0);
  QdIfcModel model;
  for (int64_t i = 1; i <= n; ++i) model.addInstance(new Small, static_cast<uint64_t>(i));
  std::mt19937_64 rng(1);
  std::vector<uint64_t> ids(4096);
  for (auto& id : ids) id = rng() % static_cast<uint64_t>(n) + 1;
  size_t k = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(model.object(ids[k++ & 4095]));
  }
  state.counters["lookups/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_FindByNumber)->Arg(1000000);

static void BM_Iterate(benchmark::State& state) {
  const int64_t n = state.range(0);
  QdIfcModel model;
  for (int64_t i = 1; i <= n; ++i) model.addInstance(new Small, static_cast<uint64_t>(i));
  for (auto _ : state) {
    size_t count = 0;
    model.forEach([&](const QdDbObjectId&, QdIfcEntityBase*) { ++count; });
    benchmark::DoNotOptimize(count);
  }
  state.counters["instances/s"] =
      benchmark::Counter(static_cast<double>(state.iterations() * n), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Iterate)->Arg(1000000)->Unit(benchmark::kMillisecond);

static void BM_StringCopy(benchmark::State& state) {
  QdAnsiString s("2O2Fr$t4X7Zf8NOew3FLOH");
  for (auto _ : state) {
    QdAnsiString copy = s;
    benchmark::DoNotOptimize(copy.constStr());
  }
}
BENCHMARK(BM_StringCopy);

BENCHMARK_MAIN();
