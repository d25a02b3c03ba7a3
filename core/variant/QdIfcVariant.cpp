// The variant box and the base behaviour of every descriptor.
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcVariantTypes.h>

#include <atomic>
#include <new>
#include <utility>

namespace QD_SDAI {

namespace {
std::atomic<uint64_t> g_releaseCount{0};
}  // namespace

void detail::noteDescriptorRelease() noexcept { g_releaseCount.fetch_add(1, std::memory_order_relaxed); }
uint64_t qdIfcDescriptorReleaseCount() noexcept { return g_releaseCount.load(std::memory_order_relaxed); }

// ---- QdIfcVariantType ------------------------------------------------------------

QdIfcVariantType::QdIfcVariantType(const wchar_t* name, unsigned size, void*, void*) noexcept
    : m_name(name), m_size(size) {}

QdIfcVariantType::~QdIfcVariantType() = default;

bool QdIfcVariantType::isSelect() const { return false; }
bool QdIfcVariantType::isAggregate() const { return false; }
const IQdIfcVariantTypeObjectAllocator* QdIfcVariantType::objectMemAllocator() const { return nullptr; }
const IQdIfcVariantTypeEnumeration* QdIfcVariantType::enumeration() const { return nullptr; }
const IQdIfcVariantTypeReferenceType* QdIfcVariantType::reference() const { return nullptr; }
const IQdIfcVariantTypeObjectValue* QdIfcVariantType::rxObjectValue() const { return nullptr; }

bool QdIfcVariantType::subEqualTo(const void* a, const void* b) const { return std::memcmp(a, b, m_size) == 0; }

bool QdIfcVariantType::subToValueType(const QdIfcVariantType&, const QdIfcVariant&, QdIfcVariant&) const {
  return false;
}

bool QdIfcVariantType::subFromValueType(const QdIfcVariant&, QdIfcVariant&) const { return false; }

bool QdIfcVariantType::subToString(HsString&, const void*, StringFormat) const { return false; }

bool QdIfcVariantType::toValueType(const QdIfcVariantType& target, const QdIfcVariant& source,
                                   QdIfcVariant& result) const {
  if (source.type() != this) return false;
  if (&target == this) {
    result = source;
    return true;
  }
  return subToValueType(target, source, result);
}

bool QdIfcVariantType::fromValueType(const QdIfcVariant& source, QdIfcVariant& result) const {
  if (source.isEmpty()) return false;
  if (source.type() == this) {
    result = source;
    return true;
  }
  return subFromValueType(source, result);
}

bool QdIfcVariantType::toString(HsString& out, const void* payload, StringFormat format) const {
  return subToString(out, payload, format);
}

const char* QdIfcVariantType::typePath(const QdIfcVariant& value) const { return subTypePath(value); }

const char* QdIfcVariantType::subTypePath(const QdIfcVariant&) const { return ""; }

bool QdIfcVariantType::createVariant(QdIfcVariant& out) const {
  if (objectMemAllocator()) return false;  // an object type must say how to make its default
  alignas(8) unsigned char zero[QdIfcVariant::kInPlaceSize] = {};
  if (storesInPlace()) {
    out.assignRaw(*this, zero);
    return true;
  }
  void* block = ::operator new(m_size);
  std::memset(block, 0, m_size);
  out.assignRaw(*this, block);
  ::operator delete(block);
  return true;
}

// ---- QdIfcVariant ----------------------------------------------------------------

QdIfcVariant::QdIfcVariant(const char* text) noexcept {
  std::memset(m_storage, 0, sizeof m_storage);
  std::memcpy(m_storage, &text, sizeof text);
  m_pType = &QdIfcVariantType::Desc<const char*>::value();
}

QdIfcVariant::QdIfcVariant(const QdIfcVariant& other) {
  std::memset(m_storage, 0, sizeof m_storage);
  init(other, false);
}

QdIfcVariant::QdIfcVariant(QdIfcVariant&& other) noexcept : m_pType(other.m_pType) {
  // In-place values are relocatable by bytes and heap values move by their pointer.
  std::memcpy(m_storage, other.m_storage, sizeof m_storage);
  other.m_pType = nullptr;
  std::memset(other.m_storage, 0, sizeof other.m_storage);
}

void QdIfcVariant::init(const QdIfcVariant& other, bool) {
  if (other.m_pType) construct(*other.m_pType, other.payload());
}

const QdIfcVariant& QdIfcVariant::operator=(const QdIfcVariant& other) {
  if (this == &other) return *this;
  if (other.m_pType && other.m_pType == m_pType) {
    // Same type: assign in place, which keeps the heap block and any buffer.
    if (const IQdIfcVariantTypeObjectAllocator* a = m_pType->objectMemAllocator()) {
      a->assign(payload(), other.payload());
    } else {
      std::memcpy(payload(), other.payload(), m_pType->size());
    }
    return *this;
  }
  QdIfcVariant copy(other);
  *this = std::move(copy);
  return *this;
}

QdIfcVariant& QdIfcVariant::operator=(QdIfcVariant&& other) noexcept {
  if (this == &other) return *this;
  clear();
  m_pType = other.m_pType;
  std::memcpy(m_storage, other.m_storage, sizeof m_storage);
  other.m_pType = nullptr;
  std::memset(other.m_storage, 0, sizeof other.m_storage);
  return *this;
}

void QdIfcVariant::clear() noexcept {
  if (!m_pType) return;
  void* p = payload();
  if (const IQdIfcVariantTypeObjectAllocator* a = m_pType->objectMemAllocator()) a->destruct(p);
  if (!m_pType->storesInPlace()) ::operator delete(p);
  m_pType = nullptr;
  std::memset(m_storage, 0, sizeof m_storage);
}

void QdIfcVariant::construct(const QdIfcVariantType& type, const void* value) {
  m_pType = &type;
  if (type.storesInPlace()) {
    if (const IQdIfcVariantTypeObjectAllocator* a = type.objectMemAllocator()) {
      try {
        a->copyConstruct(m_storage, value);
      } catch (...) {
        m_pType = nullptr;
        throw;
      }
    } else {
      std::memcpy(m_storage, value, type.size());
    }
    return;
  }
  setHeapStorageValue(value, false, false, false);
}

void QdIfcVariant::setHeapStorageValue(const void* value, bool, bool, bool) {
  const QdIfcVariantType& type = *m_pType;
  void* block = ::operator new(type.size());
  try {
    if (const IQdIfcVariantTypeObjectAllocator* a = type.objectMemAllocator()) a->copyConstruct(block, value);
    else std::memcpy(block, value, type.size());
  } catch (...) {
    ::operator delete(block);
    m_pType = nullptr;
    throw;
  }
  std::memcpy(m_storage, &block, sizeof block);
}

void QdIfcVariant::assignRaw(const QdIfcVariantType& type, const void* raw) {
  const IQdIfcVariantTypeObjectAllocator* a = type.objectMemAllocator();
  if (m_pType == &type) {
    // Same type: assign in place, as operator= does.
    if (a) a->assign(payload(), raw);
    else std::memmove(payload(), raw, type.size());
    return;
  }
  if (!a && type.storesInPlace()) {
    // Plain bytes in place (numbers, enumerations, pointers): no second variant.
    unsigned char bytes[kInPlaceSize];
    std::memcpy(bytes, raw, type.size());
    clear();
    std::memcpy(m_storage, bytes, type.size());
    m_pType = &type;
    return;
  }
  QdIfcVariant fresh;
  fresh.construct(type, raw);
  *this = std::move(fresh);
}

bool QdIfcVariant::toString(HsString& out, StringFormat format) const {
  return m_pType ? m_pType->toString(out, payload(), format) : false;
}

const char* QdIfcVariant::typePath() const { return m_pType ? m_pType->typePath(*this) : ""; }

bool operator==(const QdIfcVariant& a, const QdIfcVariant& b) {
  if (a.m_pType != b.m_pType) return false;
  if (!a.m_pType) return true;
  return a.m_pType->subEqualTo(a.payload(), b.payload());
}

}  // namespace QD_SDAI
