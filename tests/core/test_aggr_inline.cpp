// Aggregates of plain values keep a few elements inside their implementation object
// and spill larger contents to one heap block (InlineVector): the vector itself
// against std::vector, and the aggregates and their iterators across the move
// between the object and the heap, both ways.
#include "IteratorWalk.h"

#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcModel.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <vector>

using namespace QD_SDAI;
using detail::InlineVector;

namespace {

// Whether p lies within the bytes of the object o.
template <class O>
bool inside(const void* p, const O& o) {
  auto at = reinterpret_cast<uintptr_t>(p), from = reinterpret_cast<uintptr_t>(&o);
  return at >= from && at < from + sizeof(O);
}

template <class T, uint32_t N>
std::vector<T> asVector(const InlineVector<T, N>& v) {
  return std::vector<T>(v.begin(), v.end());
}

template <class T>
std::vector<T> contents(const QdIfcAggr& a) {
  QdIfcArray<T> out;
  qdIfcExportAggr(a, out);
  return std::vector<T>(out.begin(), out.end());
}

using qdtest::standingOn;
using qdtest::steps;

// Random insertions, erasures, assignments, copies and clears, each checked against
// std::vector, with the storage where it must be: inside the object up to N elements
// (while it has not spilled), in a block beyond.
TEST(InlineVector, FollowsAVectorThroughEveryKindOfChange) {
  std::mt19937 random(20240611);
  auto below = [&](size_t n) { return static_cast<size_t>(random() % n); };
  InlineVector<int, 3> v;
  std::vector<int> model;
  int next = 0;
  for (int round = 0; round < 4000; ++round) {
    SCOPED_TRACE(round);
    const size_t before = v.size();
    switch (below(9)) {
      case 0:
      case 1:
      case 2: {  // insertion anywhere, sometimes of an element of the vector itself
        size_t at = below(v.size() + 1);
        int e = !v.empty() && below(3) == 0 ? v[below(v.size())] : next++;
        v.insert(v.begin() + at, e);
        model.insert(model.begin() + static_cast<std::ptrdiff_t>(at), e);
        ASSERT_EQ(v.size(), before + 1);
        break;
      }
      case 3:
      case 4:
        if (!v.empty()) {  // erasure: the elements in front of it do not move
          size_t at = below(v.size());
          const int* front = v.data();
          v.erase(v.begin() + at);
          model.erase(model.begin() + static_cast<std::ptrdiff_t>(at));
          EXPECT_EQ(v.data(), front);
        }
        break;
      case 5: {  // assignment from outside, of a length either side of N
        std::vector<int> fresh(below(8));
        for (int& e : fresh) e = next++;
        v.assign(fresh.begin(), fresh.end());
        model = fresh;
        EXPECT_EQ(v.isInline(), fresh.size() <= 3);
        break;
      }
      case 6:
        if (!v.empty()) {  // assignment from its own tail, and erasure of a run
          size_t from = below(v.size());
          v.assign(v.begin() + from, v.end());
          model.assign(model.begin() + static_cast<std::ptrdiff_t>(from), model.end());
          size_t a = below(v.size() + 1), b = a + below(v.size() - a + 1);
          v.erase(v.begin() + a, v.begin() + b);
          model.erase(model.begin() + static_cast<std::ptrdiff_t>(a), model.begin() + static_cast<std::ptrdiff_t>(b));
        }
        break;
      case 7: {  // copies, both ways, leave the original alone
        InlineVector<int, 3> copy(v);
        EXPECT_EQ(asVector(copy), model);
        EXPECT_EQ(copy.isInline(), v.size() <= 3);
        EXPECT_TRUE(copy.isInline() || copy.capacity() == copy.size());
        if (!copy.empty()) copy[0] = -1;
        EXPECT_EQ(asVector(v), model);
        InlineVector<int, 3> other;
        other.push_back(-2);
        other = v;
        EXPECT_EQ(asVector(other), model);
        const InlineVector<int, 3>& same = other;
        other = same;
        EXPECT_EQ(asVector(other), model);
        break;
      }
      default:
        if (below(4) == 0) {
          v.clear();
          model.clear();
          EXPECT_TRUE(v.isInline());  // the block went back
        } else if (below(2) == 0) {
          v.reserve(v.size() + below(6));
        } else {
          v.shrinkToFit();
          EXPECT_EQ(v.isInline(), v.size() <= 3);
          EXPECT_TRUE(v.isInline() || v.capacity() == v.size());
        }
    }
    ASSERT_EQ(asVector(v), model);
    ASSERT_GE(v.capacity(), v.size());
    ASSERT_EQ(v.isInline(), v.capacity() == 3);
    ASSERT_EQ(inside(v.data(), v), v.isInline());
    ASSERT_TRUE(v.size() <= 3 || !v.isInline());
  }
}

TEST(InlineVector, SpillsOnTheElementPastItsRoomAndCopiesItsOwnBytes) {
  InlineVector<double, 3> v;
  for (double e : {1.0, 2.0, 3.0}) v.push_back(e);
  EXPECT_TRUE(v.isInline());
  EXPECT_TRUE(inside(&v.back(), v));

  InlineVector<double, 3> copy(v);  // inline too, with the values and not the bytes of a pointer
  EXPECT_TRUE(inside(copy.data(), copy));
  copy[1] = 20.0;
  EXPECT_EQ(asVector(v), (std::vector<double>{1.0, 2.0, 3.0}));
  EXPECT_EQ(asVector(copy), (std::vector<double>{1.0, 20.0, 3.0}));

  v.insert(v.begin(), v[2]);  // the fourth: the block, with the element copied from the old place
  EXPECT_FALSE(v.isInline());
  EXPECT_FALSE(inside(v.data(), v));
  EXPECT_EQ(asVector(v), (std::vector<double>{3.0, 1.0, 2.0, 3.0}));

  InlineVector<double, 3> spilled(v);
  EXPECT_NE(spilled.data(), v.data());
  spilled[0] = 30.0;
  EXPECT_EQ(v[0], 3.0);

  // Erasing down to the inline room keeps the block (nothing in front moves);
  // shrinking or assigning few elements brings them back into the object.
  const double* block = v.data();
  v.erase(v.begin() + 3);
  EXPECT_EQ(v.data(), block);
  v.shrinkToFit();
  EXPECT_TRUE(v.isInline());
  EXPECT_EQ(asVector(v), (std::vector<double>{3.0, 1.0, 2.0}));
  spilled.assign(v.begin(), v.begin() + 2);
  EXPECT_TRUE(spilled.isInline());
  EXPECT_EQ(asVector(spilled), (std::vector<double>{3.0, 1.0}));
}

// The objects stay small: the inline room costs little more than the vector it
// replaced, whose block was a second allocation.
TEST(AggrInline, ShortAggregatesLiveInTheirImplementationObject) {
  EXPECT_LE(sizeof(QdIfcListAggr<double>::QdIfcListAggrImp), 64u);
  EXPECT_LE(sizeof(QdIfcListAggr<QdDbObjectId>::QdIfcListAggrImp), 72u);
  EXPECT_LE(sizeof(QdIfcListAggr<int>::QdIfcListAggrImp), 64u);

  QdIfcListAggr<double> point;
  for (double e : {1.0, 2.0, 3.0}) point.append(e);
  using PointImp = QdIfcListAggr<double>::QdIfcListAggrImp;
  const auto& pointImp = *static_cast<const PointImp*>(point.imp());
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(inside(&point.at(i), pointImp)) << i;
  point.append(4.0);
  EXPECT_FALSE(inside(&point.at(0), pointImp));
  EXPECT_EQ(contents<double>(point), (std::vector<double>{1.0, 2.0, 3.0, 4.0}));

  QdIfcModel model;
  QdIfcListAggrBounded<QdDbObjectId, 3, 65536> loop;
  for (uint64_t n = 1; n <= 4; ++n) loop.append(model.handleFor(n));
  using LoopImp = QdIfcListAggrBounded<QdDbObjectId, 3, 65536>::QdIfcListAggrBoundedImp;
  const auto& loopImp = *static_cast<const LoopImp*>(loop.imp());
  EXPECT_TRUE(inside(&loop.at(3), loopImp));
  loop.append(model.handleFor(5));
  EXPECT_FALSE(inside(&loop.at(0), loopImp));

  QdIfcArrayAggr<int> triangle;
  for (int e : {7, 8, 9}) triangle.append(e);
  EXPECT_TRUE(inside(&triangle.at(2), *static_cast<const QdIfcArrayAggr<int>::QdIfcArrayAggrImp*>(triangle.imp())));
  triangle.at(1) = 80;  // at() reaches the element itself
  EXPECT_EQ(contents<int>(triangle), (std::vector<int>{7, 80, 9}));
}

// Iterators keep indices, and every change moves them: where the elements are makes
// no difference, nor does their move into a block and back.
TEST(AggrInline, IteratorsKeepTheirElementAcrossTheSpillAndBack) {
  QdIfcListAggr<double> list;
  for (double e : {1.0, 2.0, 3.0}) list.append(e);
  std::unique_ptr<QdIfcAggrIterator> onTwo(list.createIterator()), fresh(list.createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> onThree(list.createConstIterator());
  steps(*onTwo, 2);
  steps(*onThree, 3);
  ASSERT_EQ(onTwo->insertBeforeCurrent(QdIfcVariant(1.5)), 0);  // 1 1.5 2 3: spilled
  ASSERT_EQ(list.orderedManipulator()->putAt(-1, QdIfcVariant(5.0)), 0);
  list.replaceAt(0, 0.5);  // 0.5 1.5 2 3 5
  EXPECT_EQ(standingOn<double>(*onTwo), 2.0);
  EXPECT_EQ(standingOn<double>(*onThree), 3.0);
  EXPECT_EQ(onThree->currentElement(), &list.at(3));
  ASSERT_TRUE(fresh->next());
  EXPECT_EQ(standingOn<double>(*fresh), 0.5);

  // Down again by erasure, then into the object by assignment.
  ASSERT_TRUE(fresh->removeCurrent());                   // 1.5 2 3 5
  ASSERT_EQ(list.orderedManipulator()->removeAt(3), 0);  // 1.5 2 3
  EXPECT_EQ(standingOn<double>(*onTwo), 2.0);
  EXPECT_EQ(standingOn<double>(*onThree), 3.0);
  EXPECT_EQ(*static_cast<const double*>(onThree->currentElement()), 3.0);
  QdIfcArray<double> two;
  two.append(8.0);
  two.append(9.0);
  list.assign(two);
  const auto& imp = *static_cast<const QdIfcListAggr<double>::QdIfcListAggrImp*>(list.imp());
  EXPECT_TRUE(inside(&list.at(0), imp));
  EXPECT_EQ(standingOn<double>(*onTwo), 9.0);
  EXPECT_TRUE(onThree->isEnd());  // past the new contents: at the end
  EXPECT_EQ(onThree->currentElement(), nullptr);
  ASSERT_EQ(onTwo->insertBeforeCurrent(QdIfcVariant(8.5)), 0);
  EXPECT_EQ(standingOn<double>(*onTwo), 9.0);
  EXPECT_EQ(contents<double>(list), (std::vector<double>{8.0, 8.5, 9.0}));

  // A set of handles through its own room: each stays on its handle.
  QdIfcModel model;
  QdIfcSetAggr<QdDbObjectId> set;
  for (uint64_t n : {10, 30, 50, 70}) set.add(model.handleFor(n));
  std::unique_ptr<QdIfcAggrIterator> on50(set.createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> on70(set.createConstIterator());
  steps(*on50, 3);
  steps(*on70, 4);
  for (uint64_t n : {60, 20, 40, 80}) ASSERT_EQ(set.add(model.handleFor(n)), 0);
  EXPECT_EQ(standingOn<QdDbObjectId>(*on50), model.handleFor(50));
  EXPECT_EQ(*static_cast<const QdDbObjectId*>(on70->currentElement()), model.handleFor(70));
  for (uint64_t n : {10, 20, 40, 60, 80}) ASSERT_EQ(set.remove(model.handleFor(n)), 0);
  EXPECT_EQ(standingOn<QdDbObjectId>(*on50), model.handleFor(50));
  EXPECT_EQ(*static_cast<const QdDbObjectId*>(on70->currentElement()), model.handleFor(70));
  EXPECT_EQ(contents<QdDbObjectId>(set),
            (std::vector<QdDbObjectId>{model.handleFor(30), model.handleFor(50), model.handleFor(70)}));
}

TEST(AggrInline, ClonesOfInlineAggregatesAreIndependent) {
  QdIfcListAggr<double> point;
  for (double e : {1.0, 2.0, 3.0}) point.append(e);
  std::unique_ptr<QdIfcAggr> clone(point.clone());
  auto& copy = static_cast<QdIfcListAggr<double>&>(*clone);
  EXPECT_TRUE(inside(&copy.at(0), *static_cast<const QdIfcListAggr<double>::QdIfcListAggrImp*>(copy.imp())));
  copy.at(0) = 10.0;
  copy.append(4.0);
  EXPECT_EQ(contents<double>(point), (std::vector<double>{1.0, 2.0, 3.0}));
  EXPECT_EQ(contents<double>(copy), (std::vector<double>{10.0, 2.0, 3.0, 4.0}));
  point.at(2) = 30.0;
  EXPECT_EQ(copy.at(2), 3.0);

  QdIfcSetAggr<int> set;
  for (int e : {3, 1, 2}) set.add(e);
  QdIfcSetAggr<int> setCopy(set);
  setCopy.remove(1);
  setCopy.add(9);
  EXPECT_EQ(contents<int>(set), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(contents<int>(setCopy), (std::vector<int>{2, 3, 9}));

  point.clear();  // the copy outlives its original
  EXPECT_EQ(contents<double>(copy), (std::vector<double>{10.0, 2.0, 3.0, 4.0}));
}

// The reader's way in: appending to the implementation, a set put in order at the end.
TEST(AggrInline, FillingInPlaceMatchesAssigning) {
  QdIfcSetAggr<int> set;
  QdIfcAggrFiller<int> fill(set);
  ASSERT_TRUE(fill);
  EXPECT_FALSE(set.isNil());
  for (int e : {9, 3, 9, 1, 7, 3, 5}) {
    if (fill.full()) fill.reserve(fill.size() + 4);
    fill.append(e);
  }
  fill.end();
  EXPECT_EQ(contents<int>(set), (std::vector<int>{1, 3, 5, 7, 9}));
  EXPECT_EQ(set.add(4), 0);  // still a sorted set
  EXPECT_EQ(contents<int>(set), (std::vector<int>{1, 3, 4, 5, 7, 9}));

  QdIfcListAggr<double> list;
  QdIfcAggrFiller<double> listFill(list);
  for (double e : {3.0, 1.0, 3.0, 2.0, 0.0}) listFill.append(e);
  listFill.end();
  EXPECT_EQ(contents<double>(list), (std::vector<double>{3.0, 1.0, 3.0, 2.0, 0.0}));

  QdIfcListAggr<int> none;
  QdIfcAggrFiller<int> noneFill(none);
  noneFill.end();
  EXPECT_FALSE(none.isNil());  // filled with nothing: empty, not nil
  EXPECT_EQ(none.count(), 0);
}

}  // namespace
