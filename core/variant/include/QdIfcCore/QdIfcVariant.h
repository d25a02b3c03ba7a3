// QdIfcVariant and QdIfcVariantType: the tagged box through which every value of
// the late-bound interface travels, and the descriptor that tells the box how to
// copy, compare, convert and print what it holds.
//
// A variant is a tag pointer followed by 24 bytes. There is exactly one descriptor
// object per value type, got from QdIfcVariantType::Desc<T>::value(), so a type test
// is one pointer comparison. A value of up to 24 bytes lies in the variant; a larger
// one lies on the heap and the first word of the storage points to it. Values kept in
// place must be relocatable by a plain byte copy (every value type of the toolkit is:
// strings, handles and arrays are pointers and counts), which lets a variant move
// without asking its descriptor.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdIfcArray.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdTypes.h>

#include <cstring>
#include <type_traits>

class HsString;

namespace QD_SDAI {

class QdIfcVariant;
class QdIfcVariantType;
class QdIfcSelect;
class QdIfcAggr;
class IQdIfcVariantTypeReferenceType;
class IQdIfcVariantTypeObjectValue;

// How toString renders a value. Plain is text for people: an unset value gives the
// empty text. Step is the value as a parameter of an ISO 10303-21 record: strings
// quoted, reals with their decimal point, booleans as .T./.F., unset as $.
enum StringFormat : int {
  kStringFormatPlain = 0,
  kStringFormatStep = 1,
};

// Marker type: the target an enumeration converts to when its literal is wanted as
// a description. It has no value of its own to offer; the answer is a char const*.
struct QdIfcEnumDescription {
  const char* text = nullptr;
  friend bool operator==(const QdIfcEnumDescription& a, const QdIfcEnumDescription& b) noexcept {
    return a.text == b.text;
  }
};

// Manages a payload that is not a plain byte copy, in storage the variant owns.
class IQdIfcVariantTypeObjectAllocator {
 public:
  virtual void copyConstruct(void* dst, const void* src) const = 0;
  virtual void assign(void* dst, const void* src) const = 0;
  virtual void destruct(void* p) const noexcept = 0;

 protected:
  ~IQdIfcVariantTypeObjectAllocator() = default;
};

// The literals of an enumeration descriptor, UNSET included.
class IQdIfcVariantTypeEnumeration {
 public:
  virtual int count() const = 0;
  virtual const QdAnsiString* item(int index) const = 0;

 protected:
  ~IQdIfcVariantTypeEnumeration() = default;
};

class QDIFCCORE_API QdIfcVariantType {
 public:
  // name: static display text that outlives the descriptor; size: the byte size of
  // the value, which decides between in-place and heap storage. The two further
  // pointers are reserved and always null.
  QdIfcVariantType(const wchar_t* name, unsigned size, void* reserved1, void* reserved2) noexcept;
  QdIfcVariantType(const QdIfcVariantType&) = delete;
  QdIfcVariantType& operator=(const QdIfcVariantType&) = delete;

  const wchar_t* name() const noexcept { return m_name; }
  unsigned size() const noexcept { return m_size; }
  bool storesInPlace() const noexcept;

  // Virtual operations, in slot order.
  virtual bool isSelect() const;
  virtual bool isAggregate() const;
  virtual ~QdIfcVariantType();
  virtual const IQdIfcVariantTypeObjectAllocator* objectMemAllocator() const;
  virtual const IQdIfcVariantTypeEnumeration* enumeration() const;
  virtual const IQdIfcVariantTypeReferenceType* reference() const;
  virtual const IQdIfcVariantTypeObjectValue* rxObjectValue() const;
  // Equality of two raw payloads of this type. The base compares the bytes.
  virtual bool subEqualTo(const void* a, const void* b) const;
  // Converts source (which carries this tag) into target. The base refuses.
  virtual bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const;
  // Converts source into this type. The base refuses.
  virtual bool subFromValueType(const QdIfcVariant& source, QdIfcVariant& result) const;
  // The text of a raw payload. The base has none.
  virtual bool subToString(HsString& out, const void* payload, StringFormat format) const;
  // Entries: the same value to its own type is a copy; otherwise the hooks above.
  virtual bool toValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const;
  virtual bool fromValueType(const QdIfcVariant& source, QdIfcVariant& result) const;
  virtual bool toString(HsString& out, const void* payload, StringFormat format) const;
  // The schema type a typed value stands for; the empty text for plain values.
  virtual const char* typePath(const QdIfcVariant& value) const;
  virtual const char* subTypePath(const QdIfcVariant& value) const;
  // Makes out a variant of this type holding the type's default value. The base
  // offers zero bytes, which only serves types without an object allocator.
  virtual bool createVariant(QdIfcVariant& out) const;

  // The one descriptor of each value type. value() creates it on first use;
  // release() deletes it. Each T has its own definition in the library that owns
  // the type: the core for primitives, the schema module for schema types.
  template <class T>
  struct Desc {
    static const QdIfcVariantType& value();
    static void release();
    static QdIfcVariantType* s_pType;
  };

 private:
  const wchar_t* m_name;
  unsigned m_size;
};

class QDIFCCORE_API QdIfcVariant {
 public:
  static constexpr unsigned kInPlaceSize = 24;

  QdIfcVariant() noexcept { std::memset(m_storage, 0, sizeof m_storage); }
  QdIfcVariant(const QdIfcVariant& other);
  QdIfcVariant(QdIfcVariant&& other) noexcept;
  // A string literal or C string: the variant keeps the pointer, not a copy.
  QdIfcVariant(const char* text) noexcept;
  template <class T, class = std::enable_if_t<!std::is_same_v<T, QdIfcVariant>>>
  QdIfcVariant(const T& value);
  ~QdIfcVariant() {
    if (m_pType) clear();
  }

  const QdIfcVariant& operator=(const QdIfcVariant& other);
  QdIfcVariant& operator=(QdIfcVariant&& other) noexcept;

  const QdIfcVariantType* type() const noexcept { return m_pType; }
  bool isEmpty() const noexcept { return m_pType == nullptr; }
  void clear() noexcept;

  // The value's bytes: in place, or the heap block. Null in an empty variant.
  const void* payload() const noexcept;
  void* payload() noexcept { return const_cast<void*>(static_cast<const QdIfcVariant*>(this)->payload()); }

  // Replaces the contents with a copy of the value at raw, of the given type.
  void assignRaw(const QdIfcVariantType& type, const void* raw);

  template <class T>
  bool is() const {
    return m_pType == &QdIfcVariantType::Desc<T>::value();
  }
  // The value itself when the tag is T's, else null.
  template <class T>
  const T* ptr() const {
    return is<T>() ? static_cast<const T*>(payload()) : nullptr;
  }

  // Reads the value as T: the same type is copied; otherwise the variant's own
  // descriptor is asked to convert, then T's descriptor. False if neither can.
  template <class T>
  bool getValue(T& out) const;

  bool toString(HsString& out, StringFormat format = kStringFormatPlain) const;
  // The schema type a typed value stands for, or the empty text.
  const char* typePath() const;

  friend QDIFCCORE_API bool operator==(const QdIfcVariant& a, const QdIfcVariant& b);
  friend bool operator!=(const QdIfcVariant& a, const QdIfcVariant& b) { return !(a == b); }

 protected:
  // With the tag already in place: allocates the tag's size on the heap and
  // copy-constructs value there. The flags are reserved.
  void setHeapStorageValue(const void* value, bool, bool, bool);
  void init(const QdIfcVariant& other, bool);

 private:
  void construct(const QdIfcVariantType& type, const void* value);

  const QdIfcVariantType* m_pType = nullptr;
  alignas(8) unsigned char m_storage[kInPlaceSize];
};

inline bool QdIfcVariantType::storesInPlace() const noexcept { return m_size <= QdIfcVariant::kInPlaceSize; }

inline const void* QdIfcVariant::payload() const noexcept {
  if (!m_pType) return nullptr;
  if (m_pType->storesInPlace()) return m_storage;
  void* heap;
  std::memcpy(&heap, m_storage, sizeof heap);
  return heap;
}

template <class T, class>
QdIfcVariant::QdIfcVariant(const T& value) {
  const QdIfcVariantType& type = QdIfcVariantType::Desc<T>::value();
  if constexpr (std::is_trivially_copyable_v<T> && sizeof(T) <= kInPlaceSize) {
    // The fast path for numbers, handles, enumerations and pointers.
    std::memset(m_storage, 0, sizeof m_storage);
    std::memcpy(m_storage, &value, sizeof(T));
    m_pType = &type;
  } else {
    construct(type, &value);
  }
}

template <class T>
bool QdIfcVariant::getValue(T& out) const {
  if (!m_pType) return false;
  const QdIfcVariantType& target = QdIfcVariantType::Desc<T>::value();
  if (m_pType == &target) {
    const void* p = payload();
    if (!p) return false;
    out = *static_cast<const T*>(p);
    return true;
  }
  QdIfcVariant converted;
  if (!m_pType->toValueType(target, *this, converted) && !target.fromValueType(*this, converted)) return false;
  if (converted.m_pType != &target) return false;
  const void* p = converted.payload();
  if (!p) return false;
  out = *static_cast<const T*>(p);
  return true;
}

// A free spelling of the same rule.
template <class T>
inline bool getValue(const QdIfcVariant& v, T& out) {
  return v.getValue(out);
}

}  // namespace QD_SDAI

// Declares the exported descriptor of T, owned by the library whose export macro
// is API. Used at global scope.
#define QDIFC_DECLARE_VARIANT_TYPE(API, ...)                                \
  namespace QD_SDAI {                                                       \
  template <>                                                               \
  API const QdIfcVariantType& QdIfcVariantType::Desc<__VA_ARGS__>::value(); \
  template <>                                                               \
  API void QdIfcVariantType::Desc<__VA_ARGS__>::release();                  \
  }

// The core's own value types.
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, int)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, double)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, unsigned long)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, const char*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdAnsiString)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, HsString)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdDbObjectId)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcGUID)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcLogical)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcBoolean)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcEnumDescription)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdTypeCodeKind)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<int>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<double>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<QD_SDAI::QdAnsiString>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<QD_SDAI::QdDbObjectId>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<QD_SDAI::QdIfcVariant>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<QD_SDAI::QdIfcArray<int>>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<QD_SDAI::QdIfcArray<double>>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArray<QD_SDAI::QdIfcArray<QD_SDAI::QdDbObjectId>>)
