// Filling and walking aggregates of handles: a list (as a polyloop's vertices) and
// a set (as a relationship's related objects), by the typed path a reader uses and
// by the generic iterator a host uses. Reports elements per second.
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcModel.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

using namespace QD_SDAI;

namespace {

std::vector<QdDbObjectId> handles(QdIfcModel& model, int64_t n) {
  std::vector<QdDbObjectId> out;
  for (int64_t i = 1; i <= n; ++i) out.push_back(model.handleFor(static_cast<uint64_t>(i)));
  return out;
}

QdIfcArray<QdDbObjectId> asArray(const std::vector<QdDbObjectId>& hs) {
  QdIfcArray<QdDbObjectId> values;
  for (const auto& h : hs) values.append(h);
  return values;
}

// An aggregate filled with n handles of the model.
template <class Aggr>
Aggr filledWith(QdIfcModel& model, int64_t n) {
  Aggr a;
  a.assign(asArray(handles(model, n)));
  return a;
}

void rate(benchmark::State& state, int64_t perIteration) {
  state.SetItemsProcessed(state.iterations() * perIteration);
  state.counters["elements/s"] =
      benchmark::Counter(static_cast<double>(state.iterations() * perIteration), benchmark::Counter::kIsRate);
}

// The reader's path: elements into a typed array, then one assignment.
template <class Aggr>
void BM_FillByArray(benchmark::State& state) {
  QdIfcModel model;
  QdIfcArray<QdDbObjectId> values = asArray(handles(model, state.range(0)));
  for (auto _ : state) {
    Aggr a;
    a.assign(values);
    benchmark::DoNotOptimize(a.count());
  }
  rate(state, state.range(0));
}

// One element at a time, as inverse upkeep adds to a set.
void BM_SetAddOneByOne(benchmark::State& state) {
  QdIfcModel model;
  auto hs = handles(model, state.range(0));
  for (auto _ : state) {
    QdIfcSetAggr<QdDbObjectId> s;
    for (const auto& h : hs) s.add(h);
    benchmark::DoNotOptimize(s.count());
  }
  rate(state, state.range(0));
}

void BM_ListAppendOneByOne(benchmark::State& state) {
  QdIfcModel model;
  auto hs = handles(model, state.range(0));
  for (auto _ : state) {
    QdIfcListAggr<QdDbObjectId> l;
    for (const auto& h : hs) l.append(h);
    benchmark::DoNotOptimize(l.count());
  }
  rate(state, state.range(0));
}

// The host's path: a const iterator handing out variants.
template <class Aggr>
void BM_WalkByIterator(benchmark::State& state) {
  QdIfcModel model;
  Aggr a = filledWith<Aggr>(model, state.range(0));
  QdIfcVariant v;
  for (auto _ : state) {
    std::unique_ptr<QdIfcAggrConstIterator> it(a.createConstIterator());
    uint64_t sum = 0;
    while (it->next() && it->getValue(v)) sum += v.ptr<QdDbObjectId>()->id();
    benchmark::DoNotOptimize(sum);
  }
  rate(state, state.range(0));
}

// The typed path: the elements themselves.
template <class Aggr>
void BM_WalkTyped(benchmark::State& state) {
  QdIfcModel model;
  Aggr a = filledWith<Aggr>(model, state.range(0));
  for (auto _ : state) {
    uint64_t sum = 0;
    for (const QdDbObjectId& h : a.items()) sum += h.id();
    benchmark::DoNotOptimize(sum);
  }
  rate(state, state.range(0));
}

}  // namespace

BENCHMARK_TEMPLATE(BM_FillByArray, QdIfcListAggr<QdDbObjectId>)->Arg(4)->Arg(10000);
BENCHMARK_TEMPLATE(BM_FillByArray, QdIfcSetAggr<QdDbObjectId>)->Arg(4)->Arg(10000);
BENCHMARK(BM_ListAppendOneByOne)->Arg(10000);
BENCHMARK(BM_SetAddOneByOne)->Arg(10000);
BENCHMARK_TEMPLATE(BM_WalkByIterator, QdIfcListAggr<QdDbObjectId>)->Arg(10000);
BENCHMARK_TEMPLATE(BM_WalkByIterator, QdIfcSetAggr<QdDbObjectId>)->Arg(10000);
BENCHMARK_TEMPLATE(BM_WalkTyped, QdIfcListAggr<QdDbObjectId>)->Arg(10000);
BENCHMARK_TEMPLATE(BM_WalkTyped, QdIfcSetAggr<QdDbObjectId>)->Arg(10000);
BENCHMARK_MAIN();
