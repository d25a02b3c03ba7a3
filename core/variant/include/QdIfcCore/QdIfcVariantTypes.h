// Descriptor families shared by the core and the schema modules, and the rules by
// which a Desc<T> creates, publishes and releases its one descriptor.
#pragma once

#include <QdIfcCore/QdIfcVariant.h>
#include <QdIfcCore/QdLocker.h>

#include <atomic>
#include <concepts>
#include <new>

namespace QD_SDAI {

// A value held by a byte copy: numbers, handles, enumerations, pointers.
template <class T>
class QdIfcVariantTypePOD : public QdIfcVariantType {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  explicit QdIfcVariantTypePOD(const wchar_t* name) noexcept : QdIfcVariantType(name, sizeof(T), nullptr, nullptr) {}

  bool subEqualTo(const void* a, const void* b) const override {
    if constexpr (std::equality_comparable<T>) return *static_cast<const T*>(a) == *static_cast<const T*>(b);
    else return std::memcmp(a, b, sizeof(T)) == 0;
  }
  bool createVariant(QdIfcVariant& out) const override {
    T value{};
    out.assignRaw(*this, &value);
    return true;
  }
};

// A value with a copy constructor, assignment and destructor of its own: strings,
// arrays, select objects. Held in place up to 24 bytes, on the heap above that.
template <class V>
class QdIfcVariantTypeForObject : public QdIfcVariantType {
 public:
  class MemObjectAllocator final : public IQdIfcVariantTypeObjectAllocator {
   public:
    void copyConstruct(void* dst, const void* src) const override { new (dst) V(*static_cast<const V*>(src)); }
    void assign(void* dst, const void* src) const override {
      if (dst != src) *static_cast<V*>(dst) = *static_cast<const V*>(src);
    }
    void destruct(void* p) const noexcept override { static_cast<V*>(p)->~V(); }
  };

  explicit QdIfcVariantTypeForObject(const wchar_t* name, unsigned size = sizeof(V)) noexcept
      : QdIfcVariantType(name, size, nullptr, nullptr) {}

  const IQdIfcVariantTypeObjectAllocator* objectMemAllocator() const override { return &m_allocator; }
  bool subEqualTo(const void* a, const void* b) const override {
    if constexpr (std::equality_comparable<V>) return *static_cast<const V*>(a) == *static_cast<const V*>(b);
    else return false;
  }
  // A default-constructed object: the empty string, the empty array, the select
  // that holds nothing.
  bool createVariant(QdIfcVariant& out) const override {
    V value{};
    out.assignRaw(*this, &value);
    return true;
  }

 private:
  MemObjectAllocator m_allocator;
};

// How many times a Desc<T>::release() has run in this process, whether or not it
// found a descriptor to delete.
QDIFCCORE_API uint64_t qdIfcDescriptorReleaseCount() noexcept;

namespace detail {

// The steady state of every Desc<T>::value() is one acquire load: on the targets we
// build for that is a plain load. A descriptor is filled completely before its
// pointer is published, so no reader ever sees a half-built one.
inline QdIfcVariantType* loadDescriptor(QdIfcVariantType*& slot) noexcept {
  return std::atomic_ref<QdIfcVariantType*>(slot).load(std::memory_order_acquire);
}

// Creation under the variant-type lock: first use from several threads creates one
// descriptor. make() returns a new, fully built descriptor.
template <class Make>
const QdIfcVariantType& lockedDescriptor(QdIfcVariantType*& slot, Make&& make) {
  if (QdIfcVariantType* p = loadDescriptor(slot)) return *p;
  QdIfcAutoLocker lock(qdifcGetVaraintTypeLocker());
  std::atomic_ref<QdIfcVariantType*> ref(slot);
  QdIfcVariantType* p = ref.load(std::memory_order_relaxed);
  if (!p) {
    p = make();
    ref.store(p, std::memory_order_release);
  }
  return *p;
}

// Creation without the lock. Two threads that race each build a descriptor; the
// first to publish wins and the other deletes its own, so every caller gets the one
// that stays.
template <class Make>
const QdIfcVariantType& unlockedDescriptor(QdIfcVariantType*& slot, Make&& make) {
  if (QdIfcVariantType* p = loadDescriptor(slot)) return *p;
  QdIfcVariantType* mine = make();
  QdIfcVariantType* expected = nullptr;
  std::atomic_ref<QdIfcVariantType*> ref(slot);
  if (ref.compare_exchange_strong(expected, mine, std::memory_order_acq_rel, std::memory_order_acquire)) return *mine;
  delete mine;
  return *expected;
}

// Counts release() calls, so that a module's stop can be checked to release what it owns.
QDIFCCORE_API void noteDescriptorRelease() noexcept;

// Deletes the descriptor, if any, and clears the slot. Not synchronised: only the
// module's stop calls it, with no other thread using descriptors.
inline void releaseDescriptor(QdIfcVariantType*& slot) noexcept {
  noteDescriptorRelease();
  QdIfcVariantType* p = slot;
  slot = nullptr;
  delete p;
}

}  // namespace detail
}  // namespace QD_SDAI

// Defines Desc<T>::value() and release() for a descriptor made by `new D(args)`,
// created under the lock (LOCKED) or without it (UNLOCKED). For the .cpp of the
// library that owns T, at global scope.
#define QDIFC_DEFINE_VARIANT_TYPE_WITH(MODE, T, MAKE)                                              \
  namespace QD_SDAI {                                                                              \
  template <>                                                                                      \
  QdIfcVariantType* QdIfcVariantType::Desc<T>::s_pType = nullptr;                                  \
  template <>                                                                                      \
  const QdIfcVariantType& QdIfcVariantType::Desc<T>::value() {                                     \
    return detail::MODE##Descriptor(s_pType, [] { return static_cast<QdIfcVariantType*>(MAKE); }); \
  }                                                                                                \
  template <>                                                                                      \
  void QdIfcVariantType::Desc<T>::release() {                                                      \
    detail::releaseDescriptor(s_pType);                                                            \
  }                                                                                                \
  }
