// QdDbObjectId: the handle of an entity instance in a model.
//
// One machine word: a pointer to the instance's slot in its model. The slot stays
// where it is for the life of the model, so a handle can be made before its object
// exists (a reference #n met in a file before the record #n) and leads to the
// object once it is there, with no second pass over the data.
#pragma once

#include <QdIfcCore/Export.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace QD_SDAI {

class QdIfcEntityBase;
class QdIfcModel;

// How an object is opened through its handle.
enum OpenMode : int {
  kForRead = 0,
  kForWrite = 1,
};

namespace detail {
// One instance's place in a model. Owned by the model; never moves.
struct ObjectSlot {
  QdIfcEntityBase* object;  // null while only referenced, or after removal
  uint64_t id;              // the instance's number in the model ("#id" in a file)
};
// Slots live in pages of kSlotPageBytes at addresses that are multiples of that size,
// each headed by its model: the model of a slot is found by masking its address, and
// a slot costs two words.
constexpr size_t kSlotPageBytes = size_t{1} << 16;
struct SlotPageHead {
  QdIfcModel* model;
  uint64_t reserved;
};
inline QdIfcModel* modelOfSlot(const ObjectSlot* s) noexcept {
  // The page's start: the slot's address less its offset in the page.
  const char* at = reinterpret_cast<const char*>(s);
  return reinterpret_cast<const SlotPageHead*>(at - (reinterpret_cast<uintptr_t>(at) & (uintptr_t{kSlotPageBytes} - 1)))
      ->model;
}
}  // namespace detail

class QdDbObjectId {
 public:
  constexpr QdDbObjectId() noexcept = default;
  constexpr explicit QdDbObjectId(detail::ObjectSlot* slot) noexcept : m_slot(slot) {}

  bool isNull() const noexcept { return m_slot == nullptr; }
  void setNull() noexcept { m_slot = nullptr; }

  // The object behind the handle, or null if there is none (a null handle, a
  // reference that was never defined, a removed instance).
  QdIfcEntityBase* openObject(OpenMode /*mode*/ = kForRead, bool /*openErased*/ = false) const noexcept {
    return m_slot ? m_slot->object : nullptr;
  }
  // True when the handle leads to an object.
  bool isValid() const noexcept { return m_slot && m_slot->object; }
  // The instance number in its model; 0 for a null handle.
  uint64_t id() const noexcept { return m_slot ? m_slot->id : 0; }
  QdIfcModel* model() const noexcept { return m_slot ? detail::modelOfSlot(m_slot) : nullptr; }
  detail::ObjectSlot* slot() const noexcept { return m_slot; }

  friend bool operator==(const QdDbObjectId& a, const QdDbObjectId& b) noexcept { return a.m_slot == b.m_slot; }
  // Ordered by instance number, so that sets of handles list in file order; handles
  // of different models with the same number are told apart by their slots.
  friend bool operator<(const QdDbObjectId& a, const QdDbObjectId& b) noexcept {
    uint64_t x = a.id(), y = b.id();
    if (x != y) return x < y;
    return std::less<const detail::ObjectSlot*>()(a.m_slot, b.m_slot);
  }

 private:
  detail::ObjectSlot* m_slot = nullptr;
};

static_assert(sizeof(QdDbObjectId) == sizeof(void*), "QdDbObjectId must be one machine word");

}  // namespace QD_SDAI

template <>
struct std::hash<QD_SDAI::QdDbObjectId> {
  size_t operator()(const QD_SDAI::QdDbObjectId& h) const noexcept { return std::hash<const void*>()(h.slot()); }
};
