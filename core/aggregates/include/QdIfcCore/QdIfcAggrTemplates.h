// The generic aggregates: SET, LIST and ARRAY of an element type T, their bounded
// and compound forms, the shared Dummy of each class, and their iterators.
//
// Storage is contiguous: lists and arrays keep their elements in order, sets sorted
// and without duplicates. Elements that are plain values (reals, integers, handles,
// the pointers of a compound) live in an InlineVector: up to a few of them inside the
// implementation object itself, more in one heap block, so that a 3D point or a
// polyloop costs one allocation in all. Sets of handles read in file order append at
// the end, and walks are linear in memory. Other elements (strings) live in a vector.
// Selects are the exception: iterators hand them out by address, so each stands in
// an allocation of its own that growth never moves (StableVector).
//
// Iterators keep an index. Each implementation links its live iterators in a list
// and moves their indices on every insertion and erasure, whichever path makes it,
// so that several iterators walking one aggregate each stay on their element, also
// when the elements move between the object and the heap.
#pragma once

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdIfcAggr.h>
#include <QdIfcCore/QdIfcArray.h>

#include <algorithm>
#include <compare>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace QD_SDAI {

class QdIfcSelect;

template <class T>
class QdIfcListAggr;
template <class T>
class QdIfcArrayAggr;
template <class T>
class QdIfcSetAggr;

namespace detail {

// What an aggregate needs to know of its element type: the unset constant that
// getAt reports as "no value", and whether iterators hand elements out by pointer.
template <class T>
struct AggrElement {
  static constexpr bool kByPointer = std::is_class_v<T> && std::is_base_of_v<QdIfcSelect, T>;
  static const T& unset() {
    static const T value{};
    return value;
  }
  static bool equal(const T& a, const T& b) { return a == b; }
};
template <>
struct AggrElement<int> {
  static constexpr bool kByPointer = false;
  static const int& unset() {
    static const int value = Consts::QdIntUnset;
    return value;
  }
  static bool equal(int a, int b) { return a == b; }
};
template <>
struct AggrElement<QdAnsiString> {
  static constexpr bool kByPointer = false;
  static const QdAnsiString& unset() {
    static const QdAnsiString value(Consts::QdStringUnset);
    return value;
  }
  static bool equal(const QdAnsiString& a, const QdAnsiString& b) { return a.compare(b) == 0; }
};

// A variant to an element, seeded with the unset constant.
template <class T>
bool elementFromVariant(const QdIfcVariant& v, T& out) {
  out = AggrElement<T>::unset();
  return v.getValue(out);
}

// The element as an iterator hands it out: selects by pointer into the container,
// everything else by value.
template <class T>
void elementToVariant(const T& e, QdIfcVariant& out) {
  if constexpr (AggrElement<T>::kByPointer) out = QdIfcVariant(const_cast<T*>(&e));
  else out = QdIfcVariant(e);
}

// A vector whose elements never move: each is allocated once and the vector holds
// the pointers. Selects live in it, because iterators hand them out by address and
// those addresses must survive any growth of the aggregate. It offers the part of
// std::vector the aggregates use; its iterators reach the elements themselves, so
// the sorted-set searches run on it unchanged.
template <class T>
class StableVector {
  using Slots = std::vector<T*>;

  template <class E>
  class Iter {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = std::remove_const_t<E>;
    using difference_type = std::ptrdiff_t;
    using pointer = E*;
    using reference = E&;

    Iter() = default;
    explicit Iter(typename Slots::const_iterator slot) noexcept : m_slot(slot) {}
    template <class F>
    requires(std::is_const_v<E>&& std::is_same_v<F, value_type>) Iter(const Iter<F>& other)
    noexcept : m_slot(other.slot()) {}

    typename Slots::const_iterator slot() const noexcept { return m_slot; }
    E& operator*() const noexcept { return **m_slot; }
    E* operator->() const noexcept { return *m_slot; }
    E& operator[](difference_type n) const noexcept { return *m_slot[n]; }
    Iter& operator++() noexcept { return *this += 1; }
    Iter& operator--() noexcept { return *this -= 1; }
    Iter operator++(int) noexcept { return Iter(m_slot++); }
    Iter operator--(int) noexcept { return Iter(m_slot--); }
    Iter& operator+=(difference_type n) noexcept {
      m_slot += n;
      return *this;
    }
    Iter& operator-=(difference_type n) noexcept { return *this += -n; }
    friend Iter operator+(Iter it, difference_type n) noexcept { return it += n; }
    friend Iter operator+(difference_type n, Iter it) noexcept { return it += n; }
    friend Iter operator-(Iter it, difference_type n) noexcept { return it -= n; }
    friend difference_type operator-(const Iter& a, const Iter& b) noexcept { return a.m_slot - b.m_slot; }
    friend bool operator==(const Iter& a, const Iter& b) noexcept { return a.m_slot == b.m_slot; }
    friend auto operator<=>(const Iter& a, const Iter& b) noexcept { return a.m_slot <=> b.m_slot; }

   private:
    typename Slots::const_iterator m_slot{};
  };

 public:
  using value_type = T;
  using iterator = Iter<T>;
  using const_iterator = Iter<const T>;

  StableVector() noexcept = default;
  // Copies are deep: new allocations, so the copy's elements have addresses of their own.
  StableVector(const StableVector& other) { assign(other.begin(), other.end()); }
  StableVector& operator=(const StableVector& other) {
    if (this != &other) assign(other.begin(), other.end());
    return *this;
  }
  ~StableVector() { clear(); }

  size_t size() const noexcept { return m_slots.size(); }
  size_t capacity() const noexcept { return m_slots.capacity(); }
  bool empty() const noexcept { return m_slots.empty(); }
  void reserve(size_t n) { m_slots.reserve(n); }
  T& operator[](size_t i) noexcept { return *m_slots[i]; }
  const T& operator[](size_t i) const noexcept { return *m_slots[i]; }
  const T& back() const noexcept { return *m_slots.back(); }
  iterator begin() noexcept { return iterator(m_slots.cbegin()); }
  iterator end() noexcept { return iterator(m_slots.cend()); }
  const_iterator begin() const noexcept { return const_iterator(m_slots.cbegin()); }
  const_iterator end() const noexcept { return const_iterator(m_slots.cend()); }

  iterator insert(const_iterator at, const T& e) {
    auto owned = std::make_unique<T>(e);
    auto slot = m_slots.insert(at.slot(), owned.get());
    owned.release();
    return iterator(slot);
  }
  void push_back(const T& e) { insert(end(), e); }
  iterator erase(const_iterator at) {
    delete *at.slot();
    return iterator(m_slots.erase(at.slot()));
  }
  void clear() noexcept {
    for (T* p : m_slots) delete p;
    m_slots.clear();
  }
  template <class It>
  void assign(It first, It last) {
    StableVector fresh;
    for (; first != last; ++first) fresh.push_back(*first);
    m_slots.swap(fresh.m_slots);
  }
  // Sorts by value and drops repeats (the first of equals stays); only pointers move.
  void sortUnique() {
    std::sort(m_slots.begin(), m_slots.end(), [](const T* a, const T* b) { return *a < *b; });
    size_t kept = 0;
    for (T* p : m_slots) {
      if (kept != 0 && !(*m_slots[kept - 1] < *p)) delete p;
      else m_slots[kept++] = p;
    }
    m_slots.resize(kept);
  }

 private:
  Slots m_slots;
};

// A vector that keeps up to N elements inside itself and moves them to one heap
// block when more arrive: the storage of aggregates of plain values, which are
// mostly short (see AggrInlineCapacity). The elements are trivially copyable, so
// they move by memcpy.
//
// As with std::vector, an insertion may move every element (here also between the
// object and the heap block), an erasure moves those after the erased one and never
// those before it. clear, and assign of at most N elements, give the block back.
template <class T, uint32_t N>
class InlineVector {
  static_assert(std::is_trivially_copyable_v<T> && N > 0);

 public:
  using value_type = T;
  using iterator = T*;
  using const_iterator = const T*;

  // Provided, so that a const empty one needs no initializer.
  InlineVector() noexcept {}
  // Copies are deep: a copy of inline contents is inline too, a copy of spilled ones
  // gets a block of its own, of their exact size.
  InlineVector(const InlineVector& other) { assign(other.begin(), other.end()); }
  InlineVector& operator=(const InlineVector& other) {
    if (this != &other) assign(other.begin(), other.end());
    return *this;
  }
  ~InlineVector() { release(); }

  size_t size() const noexcept { return m_size; }
  size_t capacity() const noexcept { return m_capacity; }
  bool empty() const noexcept { return m_size == 0; }
  // True while the elements live inside the object.
  bool isInline() const noexcept { return m_capacity == N; }
  T* data() noexcept { return isInline() ? local() : m_heap; }
  const T* data() const noexcept { return isInline() ? local() : m_heap; }
  T& operator[](size_t i) noexcept { return data()[i]; }
  const T& operator[](size_t i) const noexcept { return data()[i]; }
  const T& back() const noexcept { return data()[m_size - 1]; }
  iterator begin() noexcept { return data(); }
  iterator end() noexcept { return data() + m_size; }
  const_iterator begin() const noexcept { return data(); }
  const_iterator end() const noexcept { return data() + m_size; }

  // Room for n elements in all; nothing happens when there is room already.
  void reserve(size_t n) {
    if (n > m_capacity) moveTo(n);
  }
  iterator insert(const_iterator at, const T& e) {
    const size_t i = static_cast<size_t>(at - data());
    const T copy = e;  // e may be an element of this vector, which growth moves
    if (m_size == m_capacity) moveTo(grown());
    T* p = data();
    std::memmove(static_cast<void*>(p + i + 1), p + i, (m_size - i) * sizeof(T));
    ::new (static_cast<void*>(p + i)) T(copy);
    ++m_size;
    return p + i;
  }
  void push_back(const T& e) { insert(end(), e); }
  iterator erase(const_iterator at) noexcept { return erase(at, at + 1); }
  iterator erase(const_iterator first, const_iterator last) noexcept {
    T* p = data();
    const size_t i = static_cast<size_t>(first - p), j = static_cast<size_t>(last - p);
    std::memmove(static_cast<void*>(p + i), p + j, (m_size - j) * sizeof(T));
    m_size -= static_cast<uint32_t>(j - i);
    return p + i;
  }
  void clear() noexcept {
    release();
    m_size = 0;
  }
  template <class It>
  void assign(It first, It last) {
    const size_t n = static_cast<size_t>(std::distance(first, last));
    if (n <= m_capacity && (n > N || isInline())) {
      // The storage in use holds them. Element by element, front to back: a source
      // inside this vector (its own tail) is then read before it is written.
      for (T* to = data(); first != last; ++first, ++to) *to = *first;
      m_size = static_cast<uint32_t>(n);
      return;
    }
    // New storage: inline for N or fewer, else a block of exactly n. The old block
    // goes last, as the source may lie in it.
    T* old = isInline() ? nullptr : m_heap;
    const uint32_t oldCapacity = m_capacity;
    T* to = n <= N ? local() : allocate(n);
    std::uninitialized_copy(first, last, to);
    if (n > N) m_heap = to;
    m_capacity = n <= N ? N : static_cast<uint32_t>(n);
    m_size = static_cast<uint32_t>(n);
    if (old) std::allocator<T>().deallocate(old, oldCapacity);
  }
  // Gives back the room a spilled vector has beyond its elements; back inside the
  // object when they fit there.
  void shrinkToFit() {
    if (!isInline() && m_size < m_capacity) moveTo(m_size);
  }

 private:
  T* local() noexcept { return reinterpret_cast<T*>(m_local); }
  const T* local() const noexcept { return reinterpret_cast<const T*>(m_local); }
  static T* allocate(size_t n) {
    if (n > UINT32_MAX) throw std::length_error("aggregate too long");
    return std::allocator<T>().allocate(n);
  }
  size_t grown() const noexcept { return std::max<size_t>(size_t{m_capacity} * 2, N + 1); }
  // The elements into storage for `capacity` (at least their number): inside the
  // object when that is N or less, else a new block. The old block goes.
  void moveTo(size_t capacity) {
    if (capacity <= N && isInline()) return;
    T* from = data();
    T* old = isInline() ? nullptr : m_heap;
    const uint32_t oldCapacity = m_capacity;
    if (capacity <= N) {
      std::memcpy(static_cast<void*>(m_local), from, m_size * sizeof(T));  // overwrites m_heap, kept in old
      m_capacity = N;
    } else {
      T* to = allocate(capacity);
      std::memcpy(static_cast<void*>(to), from, m_size * sizeof(T));
      m_heap = to;
      m_capacity = static_cast<uint32_t>(capacity);
    }
    if (old) std::allocator<T>().deallocate(old, oldCapacity);
  }
  void release() noexcept {
    if (!isInline()) std::allocator<T>().deallocate(m_heap, m_capacity);
    m_capacity = N;
  }

  uint32_t m_size = 0;
  uint32_t m_capacity = N;  // N exactly while inline; a block always holds more
  union {
    T* m_heap;
    alignas(T) unsigned char m_local[N * sizeof(T)];
  };
};

// How many elements of T an aggregate keeps inside its implementation object before
// it spills to the heap, chosen by what models hold. Lists of reals are points and
// directions, 2 or 3 long. Lists and sets of handles are 1 long (half of them), 3
// (a triangle's loop, 13 to 30%) or 4 (a quad's, 11 to 28%), and 4 keeps 95% of them
// inline; lists of integers are index triangles and quads (3: 67%, 4: 29%).
template <class T>
struct AggrInlineCapacity : std::integral_constant<uint32_t, 4> {};
template <>
struct AggrInlineCapacity<double> : std::integral_constant<uint32_t, 3> {};

// Whether elements of T need addresses that stay put: those handed out by pointer.
// A specialisation can ask for it for another type.
template <class T>
struct AggrStableStorage : std::bool_constant<AggrElement<T>::kByPointer> {};

template <class T>
using AggrStorage = std::conditional_t<
    AggrStableStorage<T>::value, StableVector<T>,
    std::conditional_t<std::is_trivially_copyable_v<T>, InlineVector<T, AggrInlineCapacity<T>::value>, std::vector<T>>>;

template <class V>
void sortUnique(V& v) {
  using T = typename V::value_type;
  std::sort(v.begin(), v.end());
  v.erase(std::unique(v.begin(), v.end(), [](const T& x, const T& y) { return !(x < y); }), v.end());
}
template <class T>
void sortUnique(StableVector<T>& v) {
  v.sortUnique();
}

class AggrCursors;

// The position of a live iterator. It is linked into the list of its aggregate's
// iterators, which moves it when the contents change elsewhere. Before the first
// element the position is 0 with m_beforeFirst set.
class AggrCursor {
 public:
  AggrCursor(const AggrCursor&) = delete;
  AggrCursor& operator=(const AggrCursor&) = delete;

 protected:
  explicit AggrCursor(AggrCursors& list) noexcept;
  ~AggrCursor();

  size_t m_pos = 0;
  bool m_beforeFirst = true;

 private:
  friend class AggrCursors;
  AggrCursors* m_list;  // null once the aggregate is gone
  AggrCursor* m_prevCursor = nullptr;
  AggrCursor* m_nextCursor = nullptr;
};

// The live iterators of one aggregate, an intrusive list headed in the
// implementation: an aggregate that nobody walks pays one null test per change.
class AggrCursors {
 public:
  AggrCursors() noexcept = default;
  // A copy of an aggregate starts without iterators; those it has walk the original.
  AggrCursors(const AggrCursors&) noexcept {}
  AggrCursors& operator=(const AggrCursors&) = delete;
  // Iterators that outlive their aggregate are let go, so deleting them later
  // touches nothing of it.
  ~AggrCursors() {
    for (AggrCursor* c = m_head; c;) {
      AggrCursor* next = c->m_nextCursor;
      c->m_list = nullptr;
      c->m_prevCursor = c->m_nextCursor = nullptr;
      c = next;
    }
  }

  void link(AggrCursor& c) noexcept {
    c.m_nextCursor = m_head;
    if (m_head) m_head->m_prevCursor = &c;
    m_head = &c;
  }
  void unlink(AggrCursor& c) noexcept {
    (c.m_prevCursor ? c.m_prevCursor->m_nextCursor : m_head) = c.m_nextCursor;
    if (c.m_nextCursor) c.m_nextCursor->m_prevCursor = c.m_prevCursor;
    c.m_prevCursor = c.m_nextCursor = nullptr;
  }

  // An element went in at i: positions from i on move up with their elements. One
  // before the first element stays there, to see the new element on its next step;
  // only the inserting iterator (self) moves from there as from index 0.
  void inserted(size_t i, const AggrCursor* self) noexcept {
    for (AggrCursor* c = m_head; c; c = c->m_nextCursor)
      if (c->m_pos >= i && (!c->m_beforeFirst || c == self)) ++c->m_pos;
  }
  // The element at i went: later positions move down, one at i is on the successor.
  void erased(size_t i) noexcept {
    for (AggrCursor* c = m_head; c; c = c->m_nextCursor)
      if (c->m_pos > i) --c->m_pos;
  }
  // The contents were replaced: positions past the new size go to the end.
  void clamp(size_t size) noexcept {
    for (AggrCursor* c = m_head; c; c = c->m_nextCursor) c->m_pos = std::min(c->m_pos, size);
  }

 private:
  AggrCursor* m_head = nullptr;
};

inline AggrCursor::AggrCursor(AggrCursors& list) noexcept : m_list(&list) { list.link(*this); }
inline AggrCursor::~AggrCursor() {
  if (m_list) m_list->unlink(*this);
}

// The elements of an aggregate with its live iterators. Every insertion and erasure
// goes through here and moves the iterators along; writing an element in place
// through operator[] moves nobody.
template <class T>
class AggrBody {
 public:
  const AggrStorage<T>& items() const noexcept { return m_items; }
  size_t size() const noexcept { return m_items.size(); }
  T& operator[](size_t i) noexcept { return m_items[i]; }
  const T& operator[](size_t i) const noexcept { return m_items[i]; }
  AggrCursors& cursors() const noexcept { return m_cursors; }

  // self: the iterator making the insertion, if one does.
  void insert(size_t i, const T& e, const AggrCursor* self = nullptr) {
    m_items.insert(m_items.begin() + static_cast<std::ptrdiff_t>(i), e);
    m_cursors.inserted(i, self);
  }
  void erase(size_t i) {
    m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(i));
    m_cursors.erased(i);
  }
  void clear() noexcept {
    m_items.clear();
    m_cursors.clamp(0);
  }
  // Replaces the contents; as a set (sorted, without repeats) when sorted is true.
  template <class It>
  void assign(It first, It last, bool sorted) {
    m_items.assign(first, last);
    if (sorted) sortUnique(m_items);
    m_cursors.clamp(m_items.size());
  }

  // Filling in place, as a reader does: room for n elements, appending, and the end
  // of the filling, which puts a set in order and gives back unused room.
  size_t capacity() const noexcept { return m_items.capacity(); }
  void reserve(size_t n) { m_items.reserve(n); }
  void append(const T& e) { insert(size(), e); }
  void endFill(bool sorted) {
    if (sorted) sortUnique(m_items);
    if constexpr (requires { m_items.shrinkToFit(); }) m_items.shrinkToFit();
    else if constexpr (requires { m_items.shrink_to_fit(); }) m_items.shrink_to_fit();
    m_cursors.clamp(m_items.size());
  }

  // For sets. The index of e, and whether it is there.
  std::pair<size_t, bool> find(const T& e) const {
    auto it = std::lower_bound(m_items.begin(), m_items.end(), e);
    return {static_cast<size_t>(it - m_items.begin()), it != m_items.end() && !(e < *it)};
  }
  // Inserts e in order unless present; the index where it stands and whether it was
  // inserted. Elements arriving in ascending order append in constant time.
  std::pair<size_t, bool> insertSorted(const T& e, const AggrCursor* self = nullptr) {
    auto [i, present] = m_items.empty() || m_items.back() < e ? std::pair{size(), false} : find(e);
    if (!present) insert(i, e, self);
    return {i, !present};
  }

 private:
  AggrStorage<T> m_items;
  mutable AggrCursors m_cursors;
};

}  // namespace detail

// ---- iterators ---------------------------------------------------------------------

// Read-write walk of a list or an array.
template <class T>
class QdIfcAggrIteratorImp : public QdIfcAggrIterator, protected detail::AggrCursor {
 public:
  QdIfcAggrIteratorImp(QdIfcAggrImp* imp, detail::AggrBody<T>* body) noexcept
      : detail::AggrCursor(body->cursors()), m_imp(imp), m_body(body) {}

  void rewind() override {
    m_pos = 0;
    m_beforeFirst = false;
  }
  bool isEnd() const override { return m_pos >= size(); }
  bool next() override {
    if (m_beforeFirst) {
      m_beforeFirst = false;
      return !isEnd();
    }
    if (isEnd()) return false;
    ++m_pos;
    return !isEnd();
  }
  int previous() override {
    if (m_pos != 0) {
      --m_pos;
      return 0;
    }
    if (m_beforeFirst) return 490;
    m_beforeFirst = true;
    return 0;
  }
  bool getValue(QdIfcVariant& out) const override {
    if (m_beforeFirst || isEnd()) return false;
    detail::elementToVariant((*m_body)[m_pos], out);
    return true;
  }
  int setValue(const QdIfcVariant& value) override {
    if (size() == 0 || isEnd()) return 400;
    T e;
    if (!detail::elementFromVariant(value, e)) return 440;
    replaceCurrent(e);
    return 0;
  }
  int insertBeforePrevious(const QdIfcVariant& value) override {
    T e;
    if (!detail::elementFromVariant(value, e)) return 390;
    // One back; from the first element that is the end, as in a ring. The insertion
    // in front of that position moves this iterator onto the element it stepped to.
    m_pos = m_pos == 0 ? size() : m_pos - 1;
    insertAt(m_pos, e);
    return 0;
  }
  int insertBeforeCurrent(const QdIfcVariant& value) override {
    T e;
    if (!detail::elementFromVariant(value, e)) return 390;
    insertAt(m_pos, e);  // moves this iterator along with its element
    return 0;
  }
  bool removeCurrent() override {
    if (isEnd() || m_beforeFirst) return false;
    eraseAt(m_pos);
    return true;
  }
  void toEnd() override {
    m_pos = size();
    m_beforeFirst = false;
  }
  void toFirst() override {
    m_pos = 0;
    m_beforeFirst = true;
  }
  int newAggrReplacing(QdIfcAggr*&) override { return 500; }
  int newAggrBefore(QdIfcAggr*&) override { return 500; }
  int newAggrAfter(QdIfcAggr*&) override { return 500; }
  int count() const override { return static_cast<int>(size()); }

 protected:
  size_t size() const { return m_body->size(); }
  virtual void replaceCurrent(const T& e) { (*m_body)[m_pos] = e; }
  void insertAt(size_t i, const T& e) { m_body->insert(std::min(i, size()), e, this); }
  virtual void eraseAt(size_t i) { m_body->erase(i); }

  QdIfcAggrImp* m_imp;
  detail::AggrBody<T>* m_body;
};

// Read-only walk of any aggregate.
template <class T>
class QdIfcAggrConstIteratorImp : public QdIfcAggrConstIterator, protected detail::AggrCursor {
 public:
  QdIfcAggrConstIteratorImp(const QdIfcAggrImp* imp, const detail::AggrBody<T>* body) noexcept
      : detail::AggrCursor(body->cursors()), m_imp(imp), m_body(body) {}

  void rewind() override { m_beforeFirst = false; }
  bool isEnd() const override { return m_pos >= m_body->size(); }
  bool next() override {
    if (m_beforeFirst) {
      m_beforeFirst = false;
      return true;
    }
    if (isEnd()) return false;
    ++m_pos;
    return true;
  }
  bool getValue(QdIfcVariant& out) const override {
    if (m_beforeFirst || isEnd()) return false;
    detail::elementToVariant((*m_body)[m_pos], out);
    return true;
  }
  void toEnd() override {
    m_pos = m_body->size();
    m_beforeFirst = false;
  }
  void toFirst() override {
    m_pos = 0;
    m_beforeFirst = true;
  }
  int count() const override { return static_cast<int>(m_body->size()); }
  // The end has no element to point at.
  const void* currentElement() const override { return isEnd() ? nullptr : &(*m_body)[m_pos]; }

 protected:
  const QdIfcAggrImp* m_imp;
  const detail::AggrBody<T>* m_body;
};

// Read-write walk of a set. Writes insert by value: the position is only a hint, and
// it stays on its element.
template <class T>
class QdIfcAggrSetInteratorImp : public QdIfcAggrIteratorImp<T> {
  using Base = QdIfcAggrIteratorImp<T>;

 public:
  using Base::Base;
  int setValue(const QdIfcVariant& value) override {
    T e;
    if (!detail::elementFromVariant(value, e)) return 390;
    insert(e);
    return 0;
  }
  int insertBeforePrevious(const QdIfcVariant& value) override {
    T e;
    if (!detail::elementFromVariant(value, e)) return 390;
    this->m_pos = this->m_pos == 0 ? this->size() : this->m_pos - 1;
    insert(e);
    return 0;
  }
  int insertBeforeCurrent(const QdIfcVariant& value) override {
    T e;
    if (!detail::elementFromVariant(value, e)) return 390;
    insert(e);
    return 380;
  }

 private:
  void insert(const T& e) { this->m_body->insertSorted(e, this); }
};

template <class T>
class QdIfcAggrSetConstIteratorImp : public QdIfcAggrConstIteratorImp<T> {
 public:
  using QdIfcAggrConstIteratorImp<T>::QdIfcAggrConstIteratorImp;
};

// ---- typed implementation interfaces ------------------------------------------------

template <class T>
class QdIfcOrderedAggr::QdIfcOrderedAggrImp : public QdIfcAggrImp, public IOrderedManipulator {
 public:
  virtual T& at(int i) = 0;
  virtual int replaceAt(int i, const T& e) = 0;
  virtual const T& at(int i) const = 0;
  virtual void assign(const QdIfcArray<T>& a) = 0;
  virtual void exportTo(QdIfcArray<T>& a) const = 0;
  virtual bool containsValue(const T& e) const = 0;
  virtual int createAggrAt(int i, QdIfcAggr*& out) = 0;
  virtual const detail::AggrStorage<T>& items() const = 0;
  // The elements with their iterators, for filling in place (QdIfcAggrFiller).
  virtual detail::AggrBody<T>& body() noexcept = 0;

  int checkIndex(int i, int& out) const override {
    out = i;
    return 0;
  }
  IOrderedManipulator* orderedManipulator() override { return this; }
  IUnorderdManiplator* unorderedManipulator() override { return nullptr; }
  const IOrderedManipulator* orderedManipulator() const override { return this; }
  const IUnorderdManiplator* unorderedManipulator() const override { return nullptr; }
  const QdIfcVariantType& elementType() const override { return QdIfcVariantType::Desc<T>::value(); }

 protected:
  QdIfcOrderedAggrImp(int lower, int upper) noexcept : m_lower(lower), m_upper(upper) {}
  int32_t m_lower;
  int32_t m_upper;
};

template <class T>
class QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp : public QdIfcAggrImp, public IUnorderdManiplator {
 public:
  virtual int add(const T& e) = 0;
  virtual int remove(const T& e) = 0;
  virtual void assign(const QdIfcArray<T>& a) = 0;
  virtual void exportTo(QdIfcArray<T>& a) const = 0;
  virtual bool containsValue(const T& e) const = 0;
  virtual const detail::AggrStorage<T>& items() const = 0;
  // The elements with their iterators, for filling in place (QdIfcAggrFiller).
  virtual detail::AggrBody<T>& body() noexcept = 0;

  IOrderedManipulator* orderedManipulator() override { return nullptr; }
  IUnorderdManiplator* unorderedManipulator() override { return this; }
  const IOrderedManipulator* orderedManipulator() const override { return nullptr; }
  const IUnorderdManiplator* unorderedManipulator() const override { return this; }
  const QdIfcVariantType& elementType() const override { return QdIfcVariantType::Desc<T>::value(); }

 protected:
  QdIfcUnorderedAggrImp(int lower, int upper) noexcept : m_lower(lower), m_upper(upper) {}
  int32_t m_lower;
  int32_t m_upper;
};

// ---- the Dummy ----------------------------------------------------------------------

// The implementation of every nil aggregate of one class: no data, so one object
// serves them all. K: 1 array, 2 list, 3 set. O: 0 ordered, 1 unordered.
template <class T, class Imp, int K, int O>
class QdIfcAggrImpDummy final : public QdIfcAggrImp, public IOrderedManipulator, public IUnorderdManiplator {
 public:
  static QdIfcAggrImpDummy& instance() {
    static QdIfcAggrImpDummy dummy;
    return dummy;
  }

  QdIfcAggrIterator* createIterator(QdIfcAggr*) override { return nullptr; }
  QdIfcAggrConstIterator* createConstIterator(const QdIfcAggr*) const override { return nullptr; }
  int aggrKind() const override { return K; }
  int aggrOrder() const override { return O; }
  void clearAll() override {}
  int count() const override { return 0; }
  int lowerIndex() const override { return 0; }
  int upperIndex() const override { return 0; }
  bool containsVariant(const QdIfcVariant&) const override { return false; }
  IOrderedManipulator* orderedManipulator() override { return this; }
  IUnorderdManiplator* unorderedManipulator() override { return this; }
  const IOrderedManipulator* orderedManipulator() const override { return this; }
  const IUnorderdManiplator* unorderedManipulator() const override { return this; }
  const QdIfcVariantType& elementType() const override { return QdIfcVariantType::Desc<T>::value(); }
  QdIfcAggrImp* createEmptyImp() const override { return new Imp(); }
  QdIfcAggrImp* cloneImp() const override { return const_cast<QdIfcAggrImpDummy*>(this); }
  QdIfcAggrImp* dummyImp() const override { return const_cast<QdIfcAggrImpDummy*>(this); }
  QdIfcAggr* createHandle(QdIfcAggrImp* imp) const override { return Imp::newHandle(imp); }

  int getAt(int, QdIfcVariant&) const override { return 2; }
  int putAt(int, const QdIfcVariant&) override { return 2; }
  int removeAt(int) override { return 2; }
  int insertAggrAt(int, QdIfcAggr*&) override { return 2; }
  int checkIndex(int, int& out) const override {
    out = 0;
    return 0;
  }
  int addVariant(const QdIfcVariant&) override { return 2; }
  int removeVariant(const QdIfcVariant&) override { return 2; }

 private:
  QdIfcAggrImpDummy() = default;
};

namespace detail {

// What differs between classes of one family: how to make an empty one, a copy, the
// Dummy and a handle. Self is the most derived implementation, Handle its handle.
template <class Base, class Self, class Handle>
class AggrImpFrame : public Base {
 public:
  using Base::Base;
  static QdIfcAggr* newHandle(QdIfcAggrImp* imp) { return new Handle(imp, typename Handle::AdoptTag{}); }
  QdIfcAggrImp* createEmptyImp() const override { return new Self(); }
  QdIfcAggrImp* cloneImp() const override { return new Self(static_cast<const Self&>(*this)); }
  QdIfcAggrImp* dummyImp() const override { return &Handle::Dummy::instance(); }
  QdIfcAggr* createHandle(QdIfcAggrImp* imp) const override { return newHandle(imp); }
};

// LIST and ARRAY: a vector of T. The two differ in their index range, in replaceAt
// (a list replaces, an array inserts in front) and in removeAt.
template <class T, bool IsArray>
class SequenceImp : public QdIfcOrderedAggr::QdIfcOrderedAggrImp<T> {
  using Base = QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>;

 public:
  using Base::Base;

  QdIfcAggrIterator* createIterator(QdIfcAggr* owner) override {
    if (!owns(owner)) return nullptr;
    return new QdIfcAggrIteratorImp<T>(this, &m_body);
  }
  QdIfcAggrConstIterator* createConstIterator(const QdIfcAggr* owner) const override {
    if (!owns(owner)) return nullptr;
    return new QdIfcAggrConstIteratorImp<T>(this, &m_body);
  }
  int aggrKind() const override { return IsArray ? kAggrKindArray : kAggrKindList; }
  int aggrOrder() const override { return 0; }
  void clearAll() override { m_body.clear(); }
  int count() const override { return static_cast<int>(m_body.size()); }
  int lowerIndex() const override { return IsArray ? this->m_lower : 0; }
  int upperIndex() const override { return IsArray ? this->m_upper : count(); }
  bool containsVariant(const QdIfcVariant& value) const override {
    T e;
    return elementFromVariant(value, e) && containsValue(e);
  }

  T& at(int i) override {
    const T& e = static_cast<const SequenceImp*>(this)->at(i);
    if (&e != &AggrElement<T>::unset()) return const_cast<T&>(e);
    // The end position has no element: hand out a scratch value, never the shared constant.
    static thread_local T scratch;
    scratch = AggrElement<T>::unset();
    return scratch;
  }
  const T& at(int i) const override {
    if (i < lowerIndex() || i > upperIndex()) qdIfcThrowIndexInvalid();
    // Inside the range but past the contents (a list's end position): no value.
    if (i < 0 || static_cast<size_t>(i) >= m_body.size()) return AggrElement<T>::unset();
    return m_body[static_cast<size_t>(i)];
  }
  int replaceAt(int i, const T& e) override {
    if (i < 0 || i >= count()) {
      m_body.insert(m_body.size(), e);
    } else if constexpr (IsArray) {
      m_body.insert(static_cast<size_t>(i), e);
    } else {
      m_body[static_cast<size_t>(i)] = e;  // in place: no iterator moves
    }
    return 0;
  }
  void assign(const QdIfcArray<T>& a) override { m_body.assign(a.begin(), a.end(), false); }
  void exportTo(QdIfcArray<T>& a) const override {
    int base = a.length();
    if (a.physicalLength() < base + count()) a.setPhysicalLength(base + count());
    for (const T& e : m_body.items()) a.append(e);
  }
  bool containsValue(const T& e) const override {
    for (const T& x : m_body.items())
      if (AggrElement<T>::equal(x, e)) return true;
    return false;
  }
  int createAggrAt(int, QdIfcAggr*&) override { return 2; }

  int getAt(int i, QdIfcVariant& out) const override {
    const T& e = at(i);
    if (AggrElement<T>::equal(e, AggrElement<T>::unset())) return 2;
    out = QdIfcVariant(e);
    return 0;
  }
  int putAt(int i, const QdIfcVariant& value) override {
    T e;
    if (!elementFromVariant(value, e)) return 2;
    return replaceAt(i, e);
  }
  int removeAt(int i) override {
    if (i < lowerIndex() || i > upperIndex()) qdIfcThrowIndexInvalid();
    if (i < 0 || i >= count()) return 3;
    eraseAt(static_cast<size_t>(i));
    return 0;
  }
  int insertAggrAt(int, QdIfcAggr*&) override { return 270; }
  int checkIndex(int i, int& out) const override {
    if (!IsArray && i > this->m_upper) return 470;
    out = i;
    return 0;
  }

  const AggrStorage<T>& items() const override { return m_body.items(); }
  AggrBody<T>& body() noexcept override { return m_body; }

 protected:
  virtual void eraseAt(size_t i) { m_body.erase(i); }
  bool owns(const QdIfcAggr* owner) const { return owner && owner->imp() == this; }

  AggrBody<T> m_body;
};

// SET: a sorted vector of unique T. upper -1 is no limit; a bounded set stops at
// 65536 elements whatever its declared bounds, which stay with the dictionary.
template <class T>
class SetImp : public QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T> {
  using Base = QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T>;

 public:
  explicit SetImp(int upper) noexcept : Base(0, upper) {}

  QdIfcAggrIterator* createIterator(QdIfcAggr* owner) override {
    if (!owner || owner->imp() != this) return nullptr;
    return new QdIfcAggrSetInteratorImp<T>(this, &m_body);
  }
  QdIfcAggrConstIterator* createConstIterator(const QdIfcAggr* owner) const override {
    if (!owner || owner->imp() != this) return nullptr;
    return new QdIfcAggrSetConstIteratorImp<T>(this, &m_body);
  }
  int aggrKind() const override { return kAggrKindSet; }
  int aggrOrder() const override { return 1; }
  void clearAll() override { m_body.clear(); }
  int count() const override { return static_cast<int>(m_body.size()); }
  int lowerIndex() const override { return this->m_lower; }
  int upperIndex() const override { return this->m_upper; }
  bool containsVariant(const QdIfcVariant& value) const override {
    T e;
    return elementFromVariant(value, e) && containsValue(e);
  }

  int add(const T& e) override {
    auto [i, present] = m_body.find(e);
    if (present) return 0;
    if (static_cast<uint64_t>(m_body.size()) >= static_cast<uint64_t>(static_cast<int64_t>(this->m_upper))) return 2;
    m_body.insert(i, e);
    return 0;
  }
  int remove(const T& e) override {
    if (static_cast<uint64_t>(m_body.size()) <= static_cast<uint64_t>(static_cast<int64_t>(this->m_lower))) return 2;
    auto [i, present] = m_body.find(e);
    if (!present) return 2;
    m_body.erase(i);
    return 0;
  }
  void assign(const QdIfcArray<T>& a) override { m_body.assign(a.begin(), a.end(), true); }
  void exportTo(QdIfcArray<T>& a) const override {
    int base = a.length();
    if (a.physicalLength() < base + count()) a.setPhysicalLength(base + count());
    for (const T& e : m_body.items()) a.append(e);
  }
  bool containsValue(const T& e) const override { return m_body.find(e).second; }

  int addVariant(const QdIfcVariant& value) override {
    T e;
    if (!elementFromVariant(value, e)) return 3;
    return add(e);
  }
  int removeVariant(const QdIfcVariant& value) override {
    T e;
    if (!elementFromVariant(value, e)) return 3;
    return remove(e);
  }

  const AggrStorage<T>& items() const override { return m_body.items(); }
  AggrBody<T>& body() noexcept override { return m_body; }

 protected:
  AggrBody<T> m_body;
};

// Bounds of a bounded list: lists of selects and strings keep no upper bound.
template <class T>
constexpr bool kListKeepsUpper = std::is_arithmetic_v<T> || std::is_same_v<T, QdDbObjectId>;

}  // namespace detail

// ---- handles ------------------------------------------------------------------------

// The typed operations every handle shares. A write to a nil aggregate makes it
// empty first.
template <class T, class Base, class TypedImp>
class QdIfcTypedAggr : public Base {
 public:
  using value_type = T;
  // Replaces the contents with the elements of a (a set sorts them and drops repeats).
  void assign(const QdIfcArray<T>& a) {
    if (this->isNil() && !this->createEmpty()) return;
    typed()->assign(a);
  }
  // Appends the elements to a, in order; a nil or empty aggregate appends nothing.
  bool exportTo(QdIfcArray<T>& a) const {
    if (this->count() >= 1) typed()->exportTo(a);
    return true;
  }
  bool containsValue(const T& e) const { return !this->isNil() && typed()->containsValue(e); }

  // Ordered aggregates: a list replaces element i, an array inserts in front of it;
  // both append when i is not an index of the contents.
  int replaceAt(int i, const T& e) requires std::is_same_v<Base, QdIfcOrderedAggr> {
    if (this->isNil() && !this->createEmpty()) return 2;
    return typed()->replaceAt(i, e);
  }
  void append(const T& e) requires std::is_same_v<Base, QdIfcOrderedAggr> { replaceAt(-1, e); }
  // The elements themselves, in order; empty when nil.
  const detail::AggrStorage<T>& items() const {
    static const detail::AggrStorage<T> none;
    return this->isNil() ? none : typed()->items();
  }

 protected:
  using Base::Base;
  TypedImp* typed() const { return static_cast<TypedImp*>(this->m_imp); }
};

template <class T>
class QdIfcListAggr : public QdIfcTypedAggr<T, QdIfcOrderedAggr, QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>> {
  using Base = QdIfcTypedAggr<T, QdIfcOrderedAggr, QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>>;

 public:
  class QdIfcListAggrImp;
  using Dummy = QdIfcAggrImpDummy<T, QdIfcListAggrImp, kAggrKindList, kAggrOrdered>;
  struct AdoptTag {};

  QdIfcListAggr() noexcept : Base(&Dummy::instance()) {}
  QdIfcListAggr(QdIfcAggrImp* imp, AdoptTag) noexcept : Base(imp) {}
  QdIfcListAggr(const QdIfcListAggr&) = default;
  QdIfcListAggr& operator=(const QdIfcListAggr&) = default;

  // Element i; throws 470 outside 0..count().
  const T& at(int i) const { return this->isNil() ? atNil(i) : this->typed()->at(i); }
  T& at(int i) {
    if (this->isNil()) {
      atNil(i);
      this->createEmpty();
    }
    return this->typed()->at(i);
  }

 protected:
  explicit QdIfcListAggr(QdIfcAggrImp* imp) noexcept : Base(imp) {}

 private:
  static const T& atNil(int i) {
    if (i != 0) qdIfcThrowIndexInvalid();
    return detail::AggrElement<T>::unset();
  }
};

template <class T>
class QdIfcListAggr<T>::QdIfcListAggrImp
    : public detail::AggrImpFrame<detail::SequenceImp<T, false>, typename QdIfcListAggr<T>::QdIfcListAggrImp,
                                  QdIfcListAggr<T>> {
 public:
  using Storage = detail::SequenceImp<T, false>;
  QdIfcListAggrImp() noexcept : QdIfcListAggrImp(0, 65536) {}

 protected:
  QdIfcListAggrImp(int lower, int upper) noexcept
      : detail::AggrImpFrame<Storage, QdIfcListAggrImp, QdIfcListAggr<T>>(lower, upper) {}
};

template <class T>
class QdIfcArrayAggr : public QdIfcTypedAggr<T, QdIfcOrderedAggr, QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>> {
  using Base = QdIfcTypedAggr<T, QdIfcOrderedAggr, QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>>;

 public:
  class QdIfcArrayAggrImp;
  using Dummy = QdIfcAggrImpDummy<T, QdIfcArrayAggrImp, kAggrKindArray, kAggrOrdered>;
  struct AdoptTag {};

  QdIfcArrayAggr() noexcept : Base(&Dummy::instance()) {}
  QdIfcArrayAggr(QdIfcAggrImp* imp, AdoptTag) noexcept : Base(imp) {}
  QdIfcArrayAggr(const QdIfcArrayAggr&) = default;
  QdIfcArrayAggr& operator=(const QdIfcArrayAggr&) = default;

  const T& at(int i) const {
    if (this->isNil()) qdIfcThrowIndexInvalid();
    return this->typed()->at(i);
  }
  T& at(int i) {
    if (this->isNil()) qdIfcThrowIndexInvalid();
    return this->typed()->at(i);
  }

 protected:
  explicit QdIfcArrayAggr(QdIfcAggrImp* imp) noexcept : Base(imp) {}
};

template <class T>
class QdIfcArrayAggr<T>::QdIfcArrayAggrImp
    : public detail::AggrImpFrame<detail::SequenceImp<T, true>, typename QdIfcArrayAggr<T>::QdIfcArrayAggrImp,
                                  QdIfcArrayAggr<T>> {
 public:
  using Storage = detail::SequenceImp<T, true>;
  QdIfcArrayAggrImp() noexcept : QdIfcArrayAggrImp(0, 65536) {}

 protected:
  QdIfcArrayAggrImp(int lower, int upper) noexcept
      : detail::AggrImpFrame<Storage, QdIfcArrayAggrImp, QdIfcArrayAggr<T>>(lower, upper) {}
};

template <class T>
class QdIfcSetAggr : public QdIfcTypedAggr<T, QdIfcUnOrderedAggr, QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T>> {
  using Base = QdIfcTypedAggr<T, QdIfcUnOrderedAggr, QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T>>;

 public:
  class QdIfcSetAggrImp;
  using Dummy = QdIfcAggrImpDummy<T, QdIfcSetAggrImp, kAggrKindSet, kAggrUnordered>;
  struct AdoptTag {};

  QdIfcSetAggr() noexcept : Base(&Dummy::instance()) {}
  QdIfcSetAggr(QdIfcAggrImp* imp, AdoptTag) noexcept : Base(imp) {}
  QdIfcSetAggr(const QdIfcSetAggr&) = default;
  QdIfcSetAggr& operator=(const QdIfcSetAggr&) = default;

  // 0 when e is in the set afterwards; 2 when the set is full.
  int add(const T& e) {
    if (this->isNil() && !this->createEmpty()) return 2;
    return this->typed()->add(e);
  }
  // 0 when e was removed; 2 when it was not there.
  int remove(const T& e) { return this->isNil() ? 2 : this->typed()->remove(e); }

 protected:
  explicit QdIfcSetAggr(QdIfcAggrImp* imp) noexcept : Base(imp) {}
};

template <class T>
class QdIfcSetAggr<T>::QdIfcSetAggrImp
    : public detail::AggrImpFrame<detail::SetImp<T>, typename QdIfcSetAggr<T>::QdIfcSetAggrImp, QdIfcSetAggr<T>> {
 public:
  using Storage = detail::SetImp<T>;
  QdIfcSetAggrImp() noexcept : QdIfcSetAggrImp(-1) {}

 protected:
  explicit QdIfcSetAggrImp(int upper) noexcept
      : detail::AggrImpFrame<Storage, QdIfcSetAggrImp, QdIfcSetAggr<T>>(upper) {}
};

// ---- bounded forms: a handle that adds nothing but its implementation class ----------

template <class T, int L, int U>
class QdIfcListAggrBounded : public QdIfcListAggr<T> {
 public:
  class QdIfcListAggrBoundedImp : public detail::AggrImpFrame<typename QdIfcListAggr<T>::QdIfcListAggrImp,
                                                              QdIfcListAggrBoundedImp, QdIfcListAggrBounded> {
   public:
    // U may be 65536 itself.
    QdIfcListAggrBoundedImp() noexcept
        : detail::AggrImpFrame<typename QdIfcListAggr<T>::QdIfcListAggrImp, QdIfcListAggrBoundedImp,
                               // NOLINTNEXTLINE(bugprone-branch-clone)
                               QdIfcListAggrBounded>(L, detail::kListKeepsUpper<T> ? U : 65536) {}
  };
  using Dummy = QdIfcAggrImpDummy<T, QdIfcListAggrBoundedImp, kAggrKindList, kAggrOrdered>;
  using AdoptTag = typename QdIfcListAggr<T>::AdoptTag;

  QdIfcListAggrBounded() noexcept : QdIfcListAggr<T>(&Dummy::instance()) {}
  QdIfcListAggrBounded(QdIfcAggrImp* imp, AdoptTag) noexcept : QdIfcListAggr<T>(imp) {}
  QdIfcListAggrBounded(const QdIfcListAggrBounded&) = default;
  QdIfcListAggrBounded& operator=(const QdIfcListAggrBounded&) = default;
};

template <class T, int L, int U>
class QdIfcArrayAggrBounded : public QdIfcArrayAggr<T> {
 public:
  class QdIfcArrayBoundedImp : public detail::AggrImpFrame<typename QdIfcArrayAggr<T>::QdIfcArrayAggrImp,
                                                           QdIfcArrayBoundedImp, QdIfcArrayAggrBounded> {
   public:
    QdIfcArrayBoundedImp() noexcept
        : detail::AggrImpFrame<typename QdIfcArrayAggr<T>::QdIfcArrayAggrImp, QdIfcArrayBoundedImp,
                               QdIfcArrayAggrBounded>(L, U) {}
  };
  using Dummy = QdIfcAggrImpDummy<T, QdIfcArrayBoundedImp, kAggrKindArray, kAggrOrdered>;
  using AdoptTag = typename QdIfcArrayAggr<T>::AdoptTag;

  QdIfcArrayAggrBounded() noexcept : QdIfcArrayAggr<T>(&Dummy::instance()) {}
  QdIfcArrayAggrBounded(QdIfcAggrImp* imp, AdoptTag) noexcept : QdIfcArrayAggr<T>(imp) {}
  QdIfcArrayAggrBounded(const QdIfcArrayAggrBounded&) = default;
  QdIfcArrayAggrBounded& operator=(const QdIfcArrayAggrBounded&) = default;
};

template <class T, int L, int U>
class QdIfcSetAggrBounded : public QdIfcSetAggr<T> {
 public:
  class QdIfcSetAggrBoundedImp : public detail::AggrImpFrame<typename QdIfcSetAggr<T>::QdIfcSetAggrImp,
                                                             QdIfcSetAggrBoundedImp, QdIfcSetAggrBounded> {
   public:
    QdIfcSetAggrBoundedImp() noexcept
        : detail::AggrImpFrame<typename QdIfcSetAggr<T>::QdIfcSetAggrImp, QdIfcSetAggrBoundedImp, QdIfcSetAggrBounded>(
              65536) {}
  };
  using Dummy = QdIfcAggrImpDummy<T, QdIfcSetAggrBoundedImp, kAggrKindSet, kAggrUnordered>;
  using AdoptTag = typename QdIfcSetAggr<T>::AdoptTag;

  QdIfcSetAggrBounded() noexcept : QdIfcSetAggr<T>(&Dummy::instance()) {}
  QdIfcSetAggrBounded(QdIfcAggrImp* imp, AdoptTag) noexcept : QdIfcSetAggr<T>(imp) {}
  QdIfcSetAggrBounded(const QdIfcSetAggrBounded&) = default;
  QdIfcSetAggrBounded& operator=(const QdIfcSetAggrBounded&) = default;
};

// ---- compound: a list of inner aggregates A, which it owns ----------------------------

template <class A>
class QdIfcAggrCompoundIteratorImp;
template <class A>
class QdIfcAggrCompoundConstIteratorImp;

template <class A>
class QdIfcListAggrCompound : public QdIfcListAggr<QdIfcAggr*> {
 public:
  class QdIfcListAggrCompoundImp;
  using Dummy = QdIfcAggrImpDummy<QdIfcAggr*, QdIfcListAggrCompoundImp, kAggrKindList, kAggrOrdered>;
  using AdoptTag = QdIfcListAggr<QdIfcAggr*>::AdoptTag;

  QdIfcListAggrCompound() noexcept : QdIfcListAggr<QdIfcAggr*>(&Dummy::instance()) {}
  QdIfcListAggrCompound(QdIfcAggrImp* imp, AdoptTag) noexcept : QdIfcListAggr<QdIfcAggr*>(imp) {}
  QdIfcListAggrCompound(const QdIfcListAggrCompound&) = default;
  QdIfcListAggrCompound& operator=(const QdIfcListAggrCompound&) = default;

  // Trades contents with another list of A: no inner aggregate is copied.
  void swap(QdIfcListAggrCompound& other) noexcept { std::swap(this->m_imp, other.m_imp); }
  // The inner aggregates, as their class.
  A* inner(int i) const { return static_cast<A*>(items()[static_cast<size_t>(i)]); }
  // Appends a new, empty inner aggregate and returns it.
  A* appendInner() {
    QdIfcAggr* out = nullptr;
    if (this->isNil() && !this->createEmpty()) return nullptr;
    this->typed()->createAggrAt(this->count(), out);
    out->createEmpty();
    return static_cast<A*>(out);
  }
};

template <class A>
class QdIfcListAggrCompound<A>::QdIfcListAggrCompoundImp
    : public detail::AggrImpFrame<QdIfcListAggr<QdIfcAggr*>::QdIfcListAggrImp,
                                  typename QdIfcListAggrCompound<A>::QdIfcListAggrCompoundImp,
                                  QdIfcListAggrCompound<A>> {
  using Frame = detail::AggrImpFrame<QdIfcListAggr<QdIfcAggr*>::QdIfcListAggrImp, QdIfcListAggrCompoundImp,
                                     QdIfcListAggrCompound<A>>;

 public:
  QdIfcListAggrCompoundImp() noexcept = default;
  QdIfcListAggrCompoundImp(const QdIfcListAggrCompoundImp& other) : Frame(other) {
    // A deep copy: each inner aggregate cloned, in order.
    for (size_t k = 0; k < this->m_body.size(); ++k) {
      QdIfcAggr*& inner = this->m_body[k];
      inner = inner ? inner->clone() : nullptr;
    }
  }
  ~QdIfcListAggrCompoundImp() override { deleteInner(); }

  QdIfcAggrIterator* createIterator(QdIfcAggr* owner) override {
    if (!this->owns(owner)) return nullptr;
    return new QdIfcAggrCompoundIteratorImp<A>(this, &this->m_body);
  }
  QdIfcAggrConstIterator* createConstIterator(const QdIfcAggr* owner) const override {
    if (!this->owns(owner)) return nullptr;
    return new QdIfcAggrCompoundConstIteratorImp<A>(this, &this->m_body);
  }
  const QdIfcVariantType& elementType() const override { return QdIfcVariantType::Desc<A>::value(); }
  void clearAll() override {
    deleteInner();
    this->m_body.clear();
  }
  int createAggrAt(int i, QdIfcAggr*& out) override {
    if (i < this->lowerIndex() || i > this->upperIndex()) qdIfcThrowIndexInvalid();
    out = new A();
    this->m_body.insert(i >= 0 && i < this->count() ? static_cast<size_t>(i) : this->m_body.size(), out);
    return 0;
  }
  // The new inner aggregate goes in front of element i - 1 (the first, for i = 0).
  int insertAggrAt(int i, QdIfcAggr*& out) override {
    if (i < this->lowerIndex() || i > this->upperIndex()) qdIfcThrowIndexInvalid();
    A* inner = new A();
    if (!inner->createEmpty()) {
      delete inner;
      return 390;
    }
    this->m_body.insert(i == 0 ? 0 : static_cast<size_t>(i - 1), inner);
    out = inner;
    return 0;
  }

 protected:
  void eraseAt(size_t i) override {
    delete this->m_body[i];
    Frame::eraseAt(i);
  }

 private:
  void deleteInner() noexcept {
    for (QdIfcAggr* inner : this->m_body.items()) delete inner;
  }
};

template <class A>
class QdIfcAggrCompoundIteratorImp : public QdIfcAggrIteratorImp<QdIfcAggr*> {
  using Base = QdIfcAggrIteratorImp<QdIfcAggr*>;

 public:
  using Base::Base;

  int newAggrReplacing(QdIfcAggr*& out) override {
    return place(out, [&](IOrderedManipulator& m, int index) {
      m.removeAt(index);
      return m.insertAggrAt(index, out);
    });
  }
  int newAggrBefore(QdIfcAggr*& out) override {
    out = nullptr;
    if (m_pos == 0) return 500;
    return place(out, [&](IOrderedManipulator& m, int index) { return m.insertAggrAt(index, out); });
  }
  int newAggrAfter(QdIfcAggr*& out) override {
    return place(out, [&](IOrderedManipulator& m, int index) { return m.insertAggrAt(index + 1, out); });
  }

 protected:
  // The compound owns its inner aggregates: one that is replaced or removed dies.
  void replaceCurrent(QdIfcAggr* const& e) override {
    QdIfcAggr*& slot = (*m_body)[m_pos];
    if (slot != e) delete slot;
    slot = e;
  }
  void eraseAt(size_t i) override {
    delete (*m_body)[i];
    Base::eraseAt(i);
  }

 private:
  template <class Step>
  int place(QdIfcAggr*& out, Step step) {
    out = nullptr;
    if (m_imp->aggrOrder() != 0) return 500;
    IOrderedManipulator* m = m_imp->orderedManipulator();
    if (!m) return 500;
    int index = static_cast<int>(m_pos);
    int status = step(*m, index);
    m_pos = static_cast<size_t>(std::min<int>(index, static_cast<int>(m_body->size())));
    return status;
  }
};

template <class A>
class QdIfcAggrCompoundConstIteratorImp : public QdIfcAggrConstIteratorImp<QdIfcAggr*> {
 public:
  using QdIfcAggrConstIteratorImp<QdIfcAggr*>::QdIfcAggrConstIteratorImp;
  // The inner aggregate itself, not the address of its slot.
  const void* currentElement() const override { return isEnd() ? nullptr : (*m_body)[m_pos]; }
};

// ---- the typed array paths of the core -------------------------------------------------

// Assigns a typed array to any aggregate of T: nil becomes empty first; a set sorts.
template <class T>
bool qdIfcAssignAggr(QdIfcAggr& aggr, const QdIfcArray<T>& a) {
  if (aggr.isNil() && !aggr.createEmpty()) return false;
  if (aggr.aggrOrderType() != kAggrOrdered)
    static_cast<QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T>*>(aggr.imp())->assign(a);
  else static_cast<QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>*>(aggr.imp())->assign(a);
  return true;
}

// Fills an aggregate of T in place, element by element, as a reader does: the
// elements go straight into its implementation, with no array to gather them first.
// The aggregate is made empty first (it stays as it is when it has contents); end()
// puts a set in order and drops repeats, as assign does. Giving up half way is
// clearing the aggregate, which the filler must not be used after.
template <class T>
class QdIfcAggrFiller {
 public:
  explicit QdIfcAggrFiller(QdIfcAggr& aggr) {
    if (aggr.isNil() && !aggr.createEmpty()) return;
    m_sorted = aggr.aggrOrderType() != kAggrOrdered;
    if (m_sorted) m_body = &static_cast<QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T>*>(aggr.imp())->body();
    else m_body = &static_cast<QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>*>(aggr.imp())->body();
  }
  // False when the aggregate could not be made.
  explicit operator bool() const noexcept { return m_body != nullptr; }
  size_t size() const noexcept { return m_body->size(); }
  // True when the next element needs more room than there is.
  bool full() const noexcept { return m_body->size() == m_body->capacity(); }
  void reserve(size_t n) { m_body->reserve(n); }
  void append(const T& e) { m_body->append(e); }
  void end() { m_body->endFill(m_sorted); }

 private:
  detail::AggrBody<T>* m_body = nullptr;
  bool m_sorted = false;
};

// Appends the elements of any aggregate of T to a typed array. True in every case.
template <class T>
bool qdIfcExportAggr(const QdIfcAggr& aggr, QdIfcArray<T>& a) {
  if (aggr.count() < 1) return true;
  if (aggr.aggrOrderType() != kAggrOrdered)
    static_cast<const QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T>*>(aggr.imp())->exportTo(a);
  else static_cast<const QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>*>(aggr.imp())->exportTo(a);
  return true;
}

}  // namespace QD_SDAI
