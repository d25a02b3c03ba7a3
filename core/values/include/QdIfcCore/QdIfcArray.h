// QdIfcArray<T, R>: the growable array that carries aggregate values and the
// builder's name lists. R says how elements move when the buffer is reallocated.
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace QD_SDAI {

// For trivially copyable elements: the new buffer is left raw and the old bytes are copied.
template <class T>
struct QdIfcArrayMemCopyReallocator {
  static T* allocate(int n) { return static_cast<T*>(std::malloc(sizeof(T) * static_cast<size_t>(n))); }
  static void move(T* to, T* from, int n) {
    if (n > 0) std::memcpy(static_cast<void*>(to), from, sizeof(T) * static_cast<size_t>(n));
  }
  static void destroy(T*, int) {}
  static void release(T* p) { std::free(p); }
  static void constructRange(T* p, int from, int to) {
    for (int i = from; i < to; ++i) new (p + i) T();
  }
};

// For objects: every new slot is default-constructed, old elements are assigned
// across, then the old slots are destroyed.
template <class T>
struct QdIfcArrayObjectCopyReallocator {
  static T* allocate(int n) {
    T* p = static_cast<T*>(::operator new(sizeof(T) * static_cast<size_t>(n), std::nothrow));
    if (!p) return nullptr;
    int i = 0;
    try {
      for (; i < n; ++i) new (p + i) T();
    } catch (...) {
      destroy(p, i);
      ::operator delete(p);
      throw;
    }
    return p;
  }
  static void move(T* to, T* from, int n) {
    if constexpr (std::is_trivially_copyable_v<T>) {
      // Handles: assignment is a copy of the bytes.
      if (n > 0) std::memcpy(static_cast<void*>(to), from, sizeof(T) * static_cast<size_t>(n));
    } else {
      for (int i = 0; i < n; ++i) to[i] = std::move(from[i]);
    }
  }
  static void destroy(T* p, int n) {
    if constexpr (!std::is_trivially_destructible_v<T>)
      for (int i = 0; i < n; ++i) p[i].~T();
  }
  static void release(T* p) { ::operator delete(p); }
  static void constructRange(T*, int, int) {}
};

// Numbers, pointers and enumerations move as raw bytes; everything else, handles
// included, by the object-copy rule, so that QdIfcArray<QdDbObjectId> is the one type
// QdIfcArray<QdDbObjectId, QdIfcArrayObjectCopyReallocator<QdDbObjectId>>.
template <class T>
using QdIfcArrayDefaultReallocator =
    std::conditional_t<std::is_arithmetic_v<T> || std::is_pointer_v<T> || std::is_enum_v<T>,
                       QdIfcArrayMemCopyReallocator<T>, QdIfcArrayObjectCopyReallocator<T>>;

template <class T, class R = QdIfcArrayDefaultReallocator<T>>
class QdIfcArray {
 public:
  QdIfcArray() noexcept = default;
  QdIfcArray(const QdIfcArray& other) { *this = other; }
  QdIfcArray(QdIfcArray&& other) noexcept { steal(other); }
  ~QdIfcArray() { setPhysicalLength(0); }

  QdIfcArray& operator=(const QdIfcArray& other) {
    if (this == &other) return *this;
    setLogicalLength(other.m_logical);
    for (int i = 0; i < other.m_logical; ++i) m_data[i] = other.m_data[i];
    return *this;
  }
  QdIfcArray& operator=(QdIfcArray&& other) noexcept {
    if (this != &other) {
      setPhysicalLength(0);
      steal(other);
    }
    return *this;
  }

  int length() const noexcept { return m_logical; }
  int logicalLength() const noexcept { return m_logical; }
  int physicalLength() const noexcept { return m_physical; }
  int growLength() const noexcept { return m_grow; }
  void setGrowLength(int n) noexcept { m_grow = n > 0 ? n : 1; }
  bool isEmpty() const noexcept { return m_logical == 0; }
  T* asArrayPtr() noexcept { return m_data; }
  const T* asArrayPtr() const noexcept { return m_data; }
  T& operator[](int i) noexcept { return m_data[i]; }
  const T& operator[](int i) const noexcept { return m_data[i]; }
  T& at(int i) noexcept { return m_data[i]; }
  const T& at(int i) const noexcept { return m_data[i]; }
  const T* begin() const noexcept { return m_data; }
  const T* end() const noexcept { return m_data + m_logical; }
  T* begin() noexcept { return m_data; }
  T* end() noexcept { return m_data + m_logical; }

  void setPhysicalLength(int n) {
    if (n < 0 || n == m_physical) return;
    T* old = m_data;
    int oldPhysical = m_physical;
    m_physical = n;
    if (m_logical > n) m_logical = n;
    m_data = nullptr;
    if (n != 0) {
      m_data = R::allocate(n);
      if (!m_data) {
        m_physical = m_logical = 0;
      } else {
        R::move(m_data, old, m_logical);
      }
    }
    if (old) {
      R::destroy(old, oldPhysical);
      R::release(old);
    }
  }

  void setLogicalLength(int n) {
    if (n < 0) n = 0;
    if (n > m_physical) grow(n);
    if (n > m_logical) R::constructRange(m_data, m_logical, n);
    m_logical = n > m_physical ? m_physical : n;
  }

  void append(const T& e) { insertAt(m_logical, e); }

  void insertAt(int i, const T& e) {
    if (i < 0 || i > m_logical) return;
    if (i == m_logical && m_logical < m_physical) {
      R::constructRange(m_data, m_logical, m_logical + 1);
      m_data[i] = e;
      ++m_logical;
      return;
    }
    T copy(e);  // e may lie in this array
    setLogicalLength(m_logical + 1);
    for (int k = m_logical - 1; k > i; --k) m_data[k] = std::move(m_data[k - 1]);
    m_data[i] = std::move(copy);
  }

  // Equal when both hold equal elements in the same order.
  friend bool operator==(const QdIfcArray& a, const QdIfcArray& b) {
    if (a.m_logical != b.m_logical) return false;
    for (int i = 0; i < a.m_logical; ++i)
      if (!(a.m_data[i] == b.m_data[i])) return false;
    return true;
  }

  void removeAt(int i) {
    if (i < 0 || i >= m_logical) return;
    for (int k = i; k + 1 < m_logical; ++k) m_data[k] = std::move(m_data[k + 1]);
    --m_logical;
    if constexpr (!std::is_trivially_copyable_v<T>) m_data[m_logical] = T();
  }

 private:
  void grow(int wanted) {
    int p = m_physical;
    int g = (static_cast<long long>(p) * static_cast<long long>(sizeof(T)) < 65536)
                ? p
                : static_cast<int>(65536 / sizeof(T));
    if (g < m_grow) g = m_grow;
    int n = p + g;
    if (wanted > n) n = wanted;
    setPhysicalLength(n);
  }
  void steal(QdIfcArray& other) noexcept {
    m_data = other.m_data;
    m_physical = other.m_physical;
    m_logical = other.m_logical;
    m_grow = other.m_grow;
    other.m_data = nullptr;
    other.m_physical = other.m_logical = 0;
    other.m_grow = 8;
  }

  T* m_data = nullptr;
  int m_physical = 0;
  int m_logical = 0;
  int m_grow = 8;
};

}  // namespace QD_SDAI
