// Aggregate containers, their iterators and their variant conversions.
#include <QdIfcCore/HsString.h>
#include "IteratorWalk.h"

#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcModel.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

using namespace QD_SDAI;

// A stand-in for a select element: handed out by address, so it must be stored
// where growth of the aggregate never moves it. Outside the anonymous namespace so
// that its descriptors have the linkage of every other descriptor.
namespace aggr_test {
struct Probe {
  int key = 0;
  int note = 0;
  friend bool operator==(const Probe&, const Probe&) = default;
  friend bool operator<(const Probe& a, const Probe& b) { return a.key < b.key; }
};
}  // namespace aggr_test
using aggr_test::Probe;
using ProbePtr = Probe*;

namespace QD_SDAI::detail {
template <>
struct AggrElement<Probe> {
  static constexpr bool kByPointer = true;
  static const Probe& unset() {
    static const Probe value{-1, 0};
    return value;
  }
  static bool equal(const Probe& a, const Probe& b) { return a == b; }
};
}  // namespace QD_SDAI::detail

QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, Probe, new QdIfcVariantTypeForObject<Probe>(L"Probe"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, ProbePtr, new QdIfcVariantTypePOD<ProbePtr>(L"Probe*"))

// Every operation of the aggregates of Probe compiles, virtual ones included.
template class QD_SDAI::QdIfcListAggr<Probe>;
template class QD_SDAI::QdIfcArrayAggr<Probe>;
template class QD_SDAI::QdIfcSetAggr<Probe>;

namespace {

template <class T>
std::vector<T> contents(const QdIfcAggr& a) {
  QdIfcArray<T> out;
  qdIfcExportAggr(a, out);
  return std::vector<T>(out.begin(), out.end());
}

template <class Aggr, class T>
Aggr filled(std::initializer_list<T> values) {
  Aggr a;
  QdIfcArray<T> in;
  for (const T& v : values) in.append(v);
  a.assign(in);
  return a;
}

int thrownCode(const std::function<void()>& f) {
  try {
    f();
  } catch (const QdIfcException& e) {
    EXPECT_STREQ(e.message(), "Index invalid ");
    return static_cast<int>(e.code());
  }
  return 0;
}

using qdtest::standingOn;
using qdtest::steps;

TEST(Aggregates, NilEmptyFilledAndCopies) {
  QdIfcListAggr<double> list;
  EXPECT_TRUE(list.isNil());
  EXPECT_EQ(list.count(), 0);
  EXPECT_EQ(list.createIterator(), nullptr);
  EXPECT_EQ(sizeof(list), 2 * sizeof(void*));  // a nil aggregate is its handle alone

  QdIfcListAggr<double> other;
  EXPECT_EQ(list.imp(), other.imp());  // all nil members of a class share one Dummy

  ASSERT_TRUE(list.createEmpty());
  EXPECT_FALSE(list.isNil());
  EXPECT_EQ(list.count(), 0);
  list.append(1.5);
  list.append(2.5);

  QdIfcListAggr<double> copy(list);
  copy.replaceAt(0, 9.0);
  EXPECT_EQ(contents<double>(list), (std::vector<double>{1.5, 2.5}));
  EXPECT_EQ(contents<double>(copy), (std::vector<double>{9.0, 2.5}));
  copy = other;  // assigning a nil aggregate makes a nil one
  EXPECT_TRUE(copy.isNil());

  QdIfcListAggrBounded<int, 3, 4> bounded;
  bounded.append(1);
  std::unique_ptr<QdIfcAggr> clone(bounded.clone());
  using Bounded = QdIfcListAggrBounded<int, 3, 4>;
  ASSERT_NE(dynamic_cast<Bounded*>(clone.get()), nullptr);  // same class
  EXPECT_EQ(contents<int>(*clone), std::vector<int>{1});
  std::unique_ptr<QdIfcAggr> nilClone(other.clone());
  EXPECT_TRUE(nilClone->isNil());

  list.clear();
  EXPECT_TRUE(list.isNil());
}

TEST(Aggregates, SetsAreOrderedUniqueAndStopAt65536) {
  QdIfcModel model;
  QdDbObjectId h5 = model.handleFor(5), h2 = model.handleFor(2), h9 = model.handleFor(9);
  QdIfcSetAggr<QdDbObjectId> set;
  EXPECT_EQ(set.remove(h5), 2);  // empty
  EXPECT_EQ(set.add(h5), 0);
  EXPECT_EQ(set.add(h2), 0);
  EXPECT_EQ(set.add(h9), 0);
  EXPECT_EQ(set.add(h2), 0);  // present: success, no change
  EXPECT_EQ(set.count(), 3);
  EXPECT_EQ(contents<QdDbObjectId>(set), (std::vector<QdDbObjectId>{h2, h5, h9}));
  EXPECT_TRUE(set.containsValue(h9));
  EXPECT_EQ(set.remove(h9), 0);
  EXPECT_EQ(set.remove(h9), 2);
  EXPECT_EQ(set.unorderedManipulator()->addVariant(QdIfcVariant("not a handle")), 3);
  EXPECT_EQ(set.unorderedManipulator()->addVariant(QdIfcVariant(h9)), 0);

  // assign sorts and drops repeats.
  auto ints = filled<QdIfcSetAggr<int>, int>({4, 1, 4, 3});
  EXPECT_EQ(contents<int>(ints), (std::vector<int>{1, 3, 4}));

  // The declared bounds of a bounded set do not reach it; only 65536 does.
  QdIfcSetAggrBounded<int, 1, 5> small;
  for (int i = 0; i < 65536; ++i) ASSERT_EQ(small.add(i), 0);
  EXPECT_EQ(small.add(70000), 2);
  EXPECT_EQ(small.count(), 65536);
  EXPECT_EQ(small.remove(0), 0);
  QdIfcSetAggr<int> unbounded;
  for (int i = 0; i < 70000; ++i) unbounded.add(70000 - i);
  EXPECT_EQ(unbounded.count(), 70000);

  QdIfcSetAggr<int> one;
  one.add(7);
  EXPECT_EQ(one.remove(7), 0);  // lower 0: the last element can go
}

TEST(Aggregates, ListAndArrayIndexRules) {
  auto list = filled<QdIfcListAggr<int>, int>({10, 20, 30});
  auto array = filled<QdIfcArrayAggr<double>, double>({1.0, 2.0, 3.0});
  EXPECT_EQ(thrownCode([&] { list.at(-1); }), 470);
  EXPECT_EQ(thrownCode([&] { list.at(4); }), 470);
  EXPECT_EQ(thrownCode([&] { list.at(3); }), 0);  // the end position passes the test
  EXPECT_EQ(list.at(1), 20);

  list.replaceAt(3 + 3, 40);  // off the contents: appended
  EXPECT_EQ(contents<int>(list), (std::vector<int>{10, 20, 30, 40}));
  ASSERT_EQ(list.orderedManipulator()->putAt(0, QdIfcVariant(11)), 0);
  EXPECT_EQ(contents<int>(list), (std::vector<int>{11, 20, 30, 40}));  // replaced
  ASSERT_EQ(array.orderedManipulator()->putAt(0, QdIfcVariant(0.5)), 0);
  EXPECT_EQ(contents<double>(array), (std::vector<double>{0.5, 1.0, 2.0, 3.0}));  // inserted in front
  EXPECT_EQ(list.orderedManipulator()->putAt(0, QdIfcVariant("x")), 2);

  EXPECT_EQ(list.orderedManipulator()->removeAt(1), 0);
  EXPECT_EQ(contents<int>(list), (std::vector<int>{11, 30, 40}));
  EXPECT_EQ(thrownCode([&] { list.orderedManipulator()->removeAt(-1); }), 470);
  EXPECT_EQ(array.orderedManipulator()->removeAt(4), 3);  // inside the bounds, past the contents
  QdIfcAggr* inner = nullptr;
  EXPECT_EQ(array.orderedManipulator()->insertAggrAt(0, inner), 270);

  // getAt: the unset constant of the element type is "no value".
  QdIfcVariant v;
  EXPECT_EQ(array.orderedManipulator()->getAt(0, v), 0);
  EXPECT_EQ(*v.ptr<double>(), 0.5);
  auto zeros = filled<QdIfcListAggr<double>, double>({0.0, 1.5});
  v = QdIfcVariant();
  EXPECT_EQ(zeros.orderedManipulator()->getAt(0, v), 2);
  EXPECT_TRUE(v.isEmpty());
  auto handles = filled<QdIfcListAggr<QdDbObjectId>, QdDbObjectId>({QdDbObjectId()});
  EXPECT_EQ(handles.orderedManipulator()->getAt(0, v), 2);

  int out = -1;
  QdIfcListAggrBounded<int, 3, 4> bounded;
  bounded.append(1);
  EXPECT_EQ(bounded.orderedManipulator()->checkIndex(5, out), 470);
  EXPECT_EQ(bounded.orderedManipulator()->checkIndex(4, out), 0);
  EXPECT_EQ(out, 4);
  QdIfcListAggr<int> nil;
  EXPECT_EQ(nil.orderedManipulator()->getAt(0, v), 2);  // the Dummy's face
  EXPECT_EQ(nil.orderedManipulator()->checkIndex(7, out), 0);
  EXPECT_EQ(out, 0);
}

TEST(Aggregates, CompoundsOwnAndDeepCopyTheirRows) {
  QdIfcListAggrCompound<QdIfcListAggr<double>> rows;
  for (double base : {1.0, 4.0}) {
    QdIfcListAggr<double>* row = rows.appendInner();
    for (int k = 0; k < 3; ++k) row->append(base + k);
  }
  QdIfcListAggrCompound<QdIfcListAggr<double>> copy(rows);
  ASSERT_EQ(copy.count(), 2);
  EXPECT_NE(copy.inner(0), rows.inner(0));
  copy.inner(0)->replaceAt(0, 100.0);
  EXPECT_EQ(rows.inner(0)->at(0), 1.0);
  EXPECT_EQ(&rows.elementType(), &QdIfcVariantType::Desc<QdIfcListAggr<double>>::value());

  // insertAggrAt(i) puts the new row in front of element i - 1.
  QdIfcAggr* made = nullptr;
  ASSERT_EQ(rows.orderedManipulator()->insertAggrAt(2, made), 0);
  EXPECT_EQ(rows.inner(1), made);
  EXPECT_FALSE(made->isNil());
  EXPECT_EQ(rows.orderedManipulator()->removeAt(1), 0);  // deletes the row (checked by the sanitizer build)
  EXPECT_EQ(thrownCode([&] { rows.orderedManipulator()->insertAggrAt(9, made); }), 470);

  QdIfcArray<QdIfcArray<double>> table;
  ASSERT_TRUE(QdIfcVariant(static_cast<QdIfcListAggr<QdIfcAggr*>*>(&rows)).getValue(table));
  ASSERT_EQ(table.length(), 2);
  EXPECT_EQ(table[1][2], 6.0);
  QdIfcArray<QdIfcArray<int>> asInts;  // rows of double are not rows of int
  EXPECT_FALSE(QdIfcVariant(static_cast<QdIfcListAggr<QdIfcAggr*>*>(&rows)).getValue(asInts));
  QdIfcListAggrCompound<QdIfcListAggr<int>> nilRows;
  ASSERT_TRUE(QdIfcVariant(static_cast<QdIfcListAggr<QdIfcAggr*>*>(&nilRows)).getValue(asInts));
  EXPECT_EQ(asInts.length(), 0);
}

TEST(AggrIterators, NextRulesOfBothForms) {
  QdIfcListAggr<int> empty;
  empty.createEmpty();
  std::unique_ptr<QdIfcAggrIterator> rw(empty.createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> ro(empty.createConstIterator());
  QdIfcVariant v;
  EXPECT_FALSE(rw->next());
  EXPECT_TRUE(ro->next());  // the const form passes once more than there are elements
  EXPECT_FALSE(ro->getValue(v));
  EXPECT_FALSE(ro->next());

  auto list = filled<QdIfcListAggr<int>, int>({1, 2, 3});
  rw.reset(list.createIterator());
  EXPECT_FALSE(rw->isEnd());
  EXPECT_FALSE(rw->getValue(v));  // before the first element
  EXPECT_EQ(rw->previous(), 490);
  ASSERT_TRUE(rw->next());
  EXPECT_EQ(rw->previous(), 0);  // back before the first
  ASSERT_TRUE(rw->next());
  ASSERT_TRUE(rw->getValue(v));
  EXPECT_EQ(*v.ptr<int>(), 1);

  std::vector<int> seen;
  ro.reset(list.createConstIterator());
  while (ro->next())
    if (ro->getValue(v)) seen.push_back(*v.ptr<int>());
  EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));

  QdIfcListAggr<int> another = list;
  EXPECT_EQ(another.imp()->createIterator(&list), nullptr);  // not this owner's implementation
}

TEST(AggrIterators, WritesThroughListAndSetIterators) {
  auto list = filled<QdIfcListAggr<int>, int>({1, 2, 3, 4, 5, 6});
  std::unique_ptr<QdIfcAggrIterator> it(list.createIterator());
  while (it->next()) it->removeCurrent();  // removes every second element
  EXPECT_EQ(contents<int>(list), (std::vector<int>{2, 4, 6}));

  it->toFirst();
  ASSERT_TRUE(it->next());
  EXPECT_EQ(it->insertBeforeCurrent(QdIfcVariant(0)), 0);
  QdIfcVariant v;
  ASSERT_TRUE(it->getValue(v));
  EXPECT_EQ(*v.ptr<int>(), 2);  // stays on its element
  EXPECT_EQ(it->setValue(QdIfcVariant(20)), 0);
  EXPECT_EQ(it->setValue(QdIfcVariant("x")), 440);
  EXPECT_EQ(it->insertBeforeCurrent(QdIfcVariant(2.5)), 390);
  EXPECT_EQ(contents<int>(list), (std::vector<int>{0, 20, 4, 6}));
  QdIfcAggr* out = reinterpret_cast<QdIfcAggr*>(0x1);
  EXPECT_EQ(it->newAggrBefore(out), 500);
  EXPECT_EQ(out, reinterpret_cast<QdIfcAggr*>(0x1));  // plain iterators leave it alone

  QdIfcListAggr<int> emptyList;
  emptyList.createEmpty();
  it.reset(emptyList.createIterator());
  EXPECT_EQ(it->setValue(QdIfcVariant(1)), 400);

  // From before the first element, the inserting iterator keeps to the element that
  // was first; another one still before the first element meets the new one.
  auto pair = filled<QdIfcListAggr<int>, int>({2, 3});
  it.reset(pair.createIterator());
  std::unique_ptr<QdIfcAggrIterator> other(pair.createIterator());
  ASSERT_EQ(it->insertBeforeCurrent(QdIfcVariant(1)), 0);
  ASSERT_TRUE(it->next());
  EXPECT_EQ(standingOn<int>(*it), 2);
  ASSERT_TRUE(other->next());
  EXPECT_EQ(standingOn<int>(*other), 1);

  auto set = filled<QdIfcSetAggr<int>, int>({10, 30});
  it.reset(set.createIterator());
  ASSERT_TRUE(it->next());
  EXPECT_EQ(it->insertBeforeCurrent(QdIfcVariant(20)), 380);
  EXPECT_EQ(it->setValue(QdIfcVariant(5)), 0);
  ASSERT_TRUE(it->getValue(v));
  EXPECT_EQ(*v.ptr<int>(), 10);  // the position followed its element
  EXPECT_EQ(contents<int>(set), (std::vector<int>{5, 10, 20, 30}));
  EXPECT_EQ(it->setValue(QdIfcVariant("x")), 390);
}

// Several iterators walk one aggregate; a change made through any of them, or
// without one, leaves each of the others on its element.
TEST(AggrIterators, OthersKeepTheirElementInListsAndArrays) {
  auto list = filled<QdIfcListAggr<int>, int>({1, 2, 3});
  std::unique_ptr<QdIfcAggrIterator> a(list.createIterator()), b(list.createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> c(list.createConstIterator());
  steps(*b, 3);
  steps(*c, 2);
  ASSERT_TRUE(a->next());
  ASSERT_EQ(a->insertBeforeCurrent(QdIfcVariant(9)), 0);  // 9 1 2 3
  EXPECT_EQ(standingOn<int>(*a), 1);
  EXPECT_EQ(standingOn<int>(*b), 3);
  EXPECT_EQ(standingOn<int>(*c), 2);
  ASSERT_TRUE(a->removeCurrent());  // 9 2 3: a lands on the successor
  EXPECT_EQ(standingOn<int>(*a), 2);
  EXPECT_EQ(standingOn<int>(*b), 3);
  EXPECT_EQ(standingOn<int>(*c), 2);

  // insertBeforePrevious steps back and inserts in front of the element it stepped
  // to; from the first element it steps round to the end and appends.
  ASSERT_EQ(a->insertBeforePrevious(QdIfcVariant(8)), 0);  // 8 9 2 3
  EXPECT_EQ(standingOn<int>(*a), 9);
  ASSERT_EQ(a->previous(), 0);
  ASSERT_EQ(a->insertBeforePrevious(QdIfcVariant(7)), 0);  // 8 9 2 3 7
  EXPECT_TRUE(a->isEnd());
  EXPECT_EQ(contents<int>(list), (std::vector<int>{8, 9, 2, 3, 7}));
  EXPECT_EQ(standingOn<int>(*b), 3);
  EXPECT_EQ(standingOn<int>(*c), 2);

  // Without an iterator: removal, replacement in place (nobody moves), appending.
  ASSERT_EQ(list.orderedManipulator()->removeAt(0), 0);  // 9 2 3 7
  EXPECT_EQ(standingOn<int>(*b), 3);
  list.replaceAt(1, 20);  // 9 20 3 7
  EXPECT_EQ(standingOn<int>(*c), 20);
  EXPECT_EQ(standingOn<int>(*b), 3);
  list.append(40);
  EXPECT_TRUE(a->isEnd());  // the end stays the end
  ASSERT_TRUE(b->next());
  EXPECT_EQ(standingOn<int>(*b), 7);

  // An array's replaceAt and putAt insert in front.
  auto array = filled<QdIfcArrayAggr<double>, double>({1.0, 2.0, 3.0});
  std::unique_ptr<QdIfcAggrIterator> on3(array.createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> fresh(array.createConstIterator());
  steps(*on3, 3);
  array.replaceAt(0, 0.5);
  ASSERT_EQ(array.orderedManipulator()->putAt(1, QdIfcVariant(0.75)), 0);  // 0.5 0.75 1 2 3
  EXPECT_EQ(standingOn<double>(*on3), 3.0);
  ASSERT_EQ(array.orderedManipulator()->removeAt(0), 0);
  EXPECT_EQ(standingOn<double>(*on3), 3.0);
  array.append(4.0);
  ASSERT_TRUE(on3->next());
  EXPECT_EQ(standingOn<double>(*on3), 4.0);
  // One still before the first element sees what went in front of it.
  std::vector<double> walked;
  while (fresh->next())
    if (auto x = standingOn<double>(*fresh)) walked.push_back(*x);
  EXPECT_EQ(walked, contents<double>(array));
}

TEST(AggrIterators, OthersKeepTheirElementInSets) {
  auto set = filled<QdIfcSetAggr<int>, int>({10, 20, 30});
  std::unique_ptr<QdIfcAggrIterator> a(set.createIterator()), b(set.createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> c(set.createConstIterator());
  steps(*b, 2);
  steps(*c, 2);
  ASSERT_TRUE(a->next());
  EXPECT_EQ(a->insertBeforeCurrent(QdIfcVariant(5)), 380);
  EXPECT_EQ(a->setValue(QdIfcVariant(2)), 0);
  ASSERT_EQ(set.add(1), 0);
  ASSERT_EQ(set.unorderedManipulator()->addVariant(QdIfcVariant(25)), 0);  // 1 2 5 10 20 25 30
  EXPECT_EQ(standingOn<int>(*a), 10);
  EXPECT_EQ(standingOn<int>(*b), 20);
  EXPECT_EQ(standingOn<int>(*c), 20);
  ASSERT_EQ(set.remove(10), 0);                                              // a's element: a lands on the successor
  ASSERT_EQ(set.unorderedManipulator()->removeVariant(QdIfcVariant(2)), 0);  // 1 5 20 25 30
  EXPECT_EQ(standingOn<int>(*a), 20);
  EXPECT_EQ(standingOn<int>(*b), 20);
  EXPECT_EQ(standingOn<int>(*c), 20);
  ASSERT_TRUE(b->next());
  EXPECT_EQ(standingOn<int>(*b), 25);

  // New contents: a position past them goes to the end, one step back from there is the last element.
  QdIfcArray<int> one;
  one.append(7);
  set.assign(one);
  EXPECT_TRUE(b->isEnd());
  ASSERT_EQ(b->previous(), 0);
  EXPECT_EQ(standingOn<int>(*b), 7);
}

// Iterators unlink themselves when deleted, in any order, and may be deleted after
// their aggregate (the sanitizer build checks that nothing freed is touched).
TEST(AggrIterators, IteratorsMayOutliveTheirAggregate) {
  auto list = std::make_unique<QdIfcListAggr<int>>(filled<QdIfcListAggr<int>, int>({1, 2, 3}));
  std::unique_ptr<QdIfcAggrIterator> first(list->createIterator()), middle(list->createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> last(list->createConstIterator());
  steps(*first, 1);
  steps(*last, 3);
  middle.reset();
  list->replaceAt(0, 0);                                  // in place
  ASSERT_EQ(list->orderedManipulator()->removeAt(1), 0);  // 0 3
  EXPECT_EQ(standingOn<int>(*first), 0);
  EXPECT_EQ(standingOn<int>(*last), 3);
  last.reset();
  ASSERT_EQ(first->insertBeforeCurrent(QdIfcVariant(-1)), 0);
  EXPECT_EQ(standingOn<int>(*first), 0);
  middle.reset(list->createIterator());

  std::unique_ptr<QdIfcAggr> copy(list->clone());  // the copy has no iterators of its own
  ASSERT_EQ(copy->orderedManipulator()->removeAt(0), 0);
  EXPECT_EQ(standingOn<int>(*first), 0);
  list.reset();
  copy->orderedManipulator()->removeAt(0);
  first.reset();
  middle.reset();
}

// Select elements stand where iterators found them, whatever else goes in.
TEST(AggrStableStorage, HandedOutElementsStayPutAndCopiesAreDeep) {
  auto array = std::make_unique<QdIfcArrayAggr<Probe>>();
  array->append(Probe{500, 0});
  std::unique_ptr<QdIfcAggrIterator> it(array->createIterator());
  ASSERT_TRUE(it->next());
  QdIfcVariant v;
  ASSERT_TRUE(it->getValue(v));
  ASSERT_NE(v.ptr<Probe*>(), nullptr);  // by address
  Probe* p = *v.ptr<Probe*>();
  for (int k = 0; k < 1000; ++k) {
    array->replaceAt(0, Probe{k, 0});  // in front
    array->append(Probe{1000 + k, 0});
  }
  ASSERT_TRUE(it->getValue(v));
  ASSERT_EQ(*v.ptr<Probe*>(), p);  // the very object, not a moved copy
  EXPECT_EQ(p->key, 500);
  std::unique_ptr<QdIfcAggrConstIterator> ro(array->createConstIterator());
  steps(*ro, 1001);
  EXPECT_EQ(ro->currentElement(), p);

  std::unique_ptr<QdIfcAggr> copy(array->clone());
  auto& typed = static_cast<QdIfcArrayAggr<Probe>&>(*copy);
  p->note = 1;
  EXPECT_NE(&typed.at(1000), p);
  EXPECT_EQ(typed.at(1000), (Probe{500, 0}));
  EXPECT_EQ(array->at(1000), (Probe{500, 1}));
  array.reset();  // the copy outlives the original, and so do the iterators
  EXPECT_EQ(typed.count(), 2001);
  EXPECT_EQ(typed.at(1000).key, 500);
  it.reset();
  ro.reset();

  // A set: assign sorts and drops repeats by moving pointers; add and remove keep the rest in place.
  QdIfcArray<Probe> in;
  for (int key : {30, 10, 30, 20}) in.append(Probe{key, 0});
  QdIfcSetAggr<Probe> set;
  set.assign(in);
  std::vector<int> keys;
  for (const Probe& e : set.items()) keys.push_back(e.key);
  EXPECT_EQ(keys, (std::vector<int>{10, 20, 30}));
  it.reset(set.createIterator());
  steps(*it, 2);
  ASSERT_TRUE(it->getValue(v));
  Probe* q = *v.ptr<Probe*>();
  for (int k = 0; k < 1000; ++k) {
    ASSERT_EQ(set.add(Probe{k - 1000, 0}), 0);
    ASSERT_EQ(set.add(Probe{k + 1000, 0}), 0);
  }
  ASSERT_EQ(set.remove(Probe{10, 0}), 0);
  ASSERT_TRUE(it->getValue(v));
  ASSERT_EQ(*v.ptr<Probe*>(), q);
  EXPECT_EQ(q->key, 20);
  EXPECT_TRUE(set.containsValue(Probe{30, 0}));
  EXPECT_EQ(set.count(), 2002);
}

TEST(AggrIterators, CompoundPlacesNewRows) {
  QdIfcListAggrCompound<QdIfcListAggr<int>> rows;
  for (int k = 0; k < 3; ++k) rows.appendInner()->append(k);
  std::unique_ptr<QdIfcAggrIterator> it(rows.createIterator());
  std::unique_ptr<QdIfcAggrConstIterator> onLast(rows.createConstIterator());
  steps(*onLast, 3);
  QdIfcListAggr<int>* last = rows.inner(2);
  QdIfcAggr* out = nullptr;
  ASSERT_TRUE(it->next());
  EXPECT_EQ(it->newAggrBefore(out), 500);  // at the first element
  EXPECT_EQ(out, nullptr);
  ASSERT_TRUE(it->next());  // on row 1
  ASSERT_EQ(it->newAggrAfter(out), 0);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(rows.inner(1), out);  // insertAggrAt(2) lands in front of old row 1
  QdIfcVariant v;
  ASSERT_TRUE(it->getValue(v));
  QdIfcAggr* current = nullptr;
  ASSERT_TRUE(v.getValue(current));
  EXPECT_EQ(current, out);  // the walk back lands on index 1 again
  EXPECT_EQ(rows.count(), 4);

  // The other iterator stays on its row through every way rows come and go.
  EXPECT_EQ(onLast->currentElement(), last);
  ASSERT_EQ(it->newAggrReplacing(out), 0);
  ASSERT_EQ(rows.orderedManipulator()->insertAggrAt(0, out), 0);
  ASSERT_NE(rows.appendInner(), nullptr);
  EXPECT_EQ(onLast->currentElement(), last);
  ASSERT_EQ(rows.orderedManipulator()->removeAt(0), 0);
  ASSERT_TRUE(it->removeCurrent());
  EXPECT_EQ(onLast->currentElement(), last);
  EXPECT_EQ(rows.count(), 4);
}

TEST(AggrValueTypes, PointerConversions) {
  QdIfcSetAggr<QdDbObjectId> nilSet;
  QdIfcVariant p(&nilSet);
  EXPECT_TRUE(p.type()->isAggregate());
  EXPECT_FALSE(p.type()->subEqualTo(p.payload(), p.payload()));  // no equality, not even with itself
  HsString text;
  EXPECT_FALSE(p.toString(text));

  QdIfcArray<QdDbObjectId> handles;
  handles.append(QdDbObjectId());
  ASSERT_TRUE(p.getValue(handles));
  EXPECT_EQ(handles.length(), 0);  // nil: the shared empty array
  QdIfcVariant untouched;
  ASSERT_TRUE(p.type()->toValueType(QdIfcVariantType::Desc<QdIfcArray<QdIfcVariant>>::value(), p, untouched));
  EXPECT_TRUE(untouched.isEmpty());  // nil to variants: true, result left as it was
  QdIfcAggr* generic = nullptr;
  ASSERT_TRUE(p.getValue(generic));
  EXPECT_EQ(generic, &nilSet);
  double d;
  EXPECT_FALSE(p.getValue(d));
  QdIfcArray<QdIfcArray<int>> rows;
  EXPECT_FALSE(p.getValue(rows));  // sets have no compound conversion

  auto ints = filled<QdIfcListAggr<int>, int>({3, 1});
  QdIfcArray<QdIfcVariant> variants;
  ASSERT_TRUE(QdIfcVariant(&ints).getValue(variants));
  ASSERT_EQ(variants.length(), 2);
  EXPECT_EQ(variants[0], QdIfcVariant(3));
  QdIfcArray<double> reals;  // a list of int offers arrays of int, not of double
  EXPECT_FALSE(QdIfcVariant(&ints).getValue(reals));
}

}  // namespace
