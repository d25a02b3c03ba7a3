// How select objects travel in a variant. Each select class T has two descriptors:
//
// - by value, Desc<T>: the variant owns a heap copy of the select (32 bytes, too
//   large to stay in place);
// - by pointer, Desc<T*>: the variant holds a plain pointer to a select that lives
//   in an entity or an aggregate, valid while that owner stands unchanged. getAttr
//   and aggregate iterators hand selects out this way, without copying.
//
// Both do their work through the core's _subToString, _subToValueType and
// _subFromValueType; the class only supplies the object. A third family carries an
// array of selects by value (the exported form of an aggregate of selects).
#pragma once

#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariantTypes.h>

namespace QD_SDAI {

// By value: the common base of the family declares the two select operations.
template <class T>
class QdIfcSelectValueTypePODBaseNonBlittable : public QdIfcVariantTypeForObject<T> {
 public:
  using QdIfcVariantTypeForObject<T>::QdIfcVariantTypeForObject;
  bool isSelect() const override { return true; }
  // The select in v, or null if v carries another tag.
  virtual const QdIfcSelect* selectFromVariant(const QdIfcVariant& v) const {
    return v.type() == this ? static_cast<const T*>(v.payload()) : nullptr;
  }
  // The select at a raw payload: the payload is the object.
  virtual const QdIfcSelect* selectFromStorage(const void* payload) const { return static_cast<const T*>(payload); }
};

template <class T>
class QdIfcSelectValueTypePOD final : public QdIfcSelectValueTypePODBaseNonBlittable<T> {
  using Base = QdIfcSelectValueTypePODBaseNonBlittable<T>;

 public:
  using Base::Base;

  bool subEqualTo(const void* a, const void* b) const override {
    return *static_cast<const QdIfcSelect*>(static_cast<const T*>(a)) == *static_cast<const T*>(b);
  }
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    return _subToValueType(target, this->selectFromVariant(source), result);
  }
  // A select made from a bare handle (the member its object fits) or from another
  // typed value (the member its type path names). A bare number has no type path
  // and is refused.
  bool subFromValueType(const QdIfcVariant& source, QdIfcVariant& result) const override {
    if (source.type() == &QdIfcVariantType::Desc<QdDbObjectId>::value()) {
      result = QdIfcVariant(T());
      QdIfcSelect* s = const_cast<QdIfcSelect*>(this->selectFromVariant(result));
      s->setHandle(*static_cast<const QdDbObjectId*>(source.payload()));
      return !s->isEmpty();
    }
    const char* path = source.typePath();
    if (!path || !*path) return false;
    result = QdIfcVariant(T());
    return _subFromValueType(source, const_cast<QdIfcSelect*>(this->selectFromVariant(result)));
  }
  bool subToString(HsString& out, const void* payload, StringFormat format) const override {
    if (!payload) return false;
    return _subToString(out, this->selectFromStorage(payload), format);
  }
  const char* subTypePath(const QdIfcVariant& v) const override {
    const QdIfcSelect* s = this->selectFromVariant(v);
    return s ? s->underlyingTypeName().constStr() : "";
  }
};

// By pointer: P is T*.
template <class P>
class QdIfcSelectValueTypePODBase;

template <class T>
class QdIfcSelectValueTypePODBase<T*> : public QdIfcVariantTypePOD<T*> {
 public:
  using QdIfcVariantTypePOD<T*>::QdIfcVariantTypePOD;
  bool isSelect() const override { return true; }
  virtual const QdIfcSelect* selectFromVariant(const QdIfcVariant& v) const {
    return v.type() == this ? *static_cast<T* const*>(v.payload()) : nullptr;
  }
  // The select that the pointer at a raw payload aims at.
  virtual const QdIfcSelect* selectFromStorage(const void* payload) const { return *static_cast<T* const*>(payload); }
};

template <class P>
class QdIfcSelectPtrValueTypePOD;

template <class T>
class QdIfcSelectPtrValueTypePOD<T*> final : public QdIfcSelectValueTypePODBase<T*> {
  using Base = QdIfcSelectValueTypePODBase<T*>;

 public:
  using Base::Base;

  bool subEqualTo(const void* a, const void* b) const override {
    return *static_cast<const QdIfcSelect*>(*static_cast<T* const*>(a)) == **static_cast<T* const*>(b);
  }
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    return _subToValueType(target, this->selectFromVariant(source), result);
  }
  // A pointer variant made here aims at no object (createVariant stores null), so
  // there is nothing to write into: only a handle or a typed value that finds no
  // object answers, and the answer is false.
  bool subFromValueType(const QdIfcVariant& source, QdIfcVariant& result) const override {
    if (source.type() != &QdIfcVariantType::Desc<QdDbObjectId>::value()) {
      const char* path = source.typePath();
      if (!path || !*path) return false;
    }
    this->createVariant(result);
    QdIfcSelect* s = const_cast<QdIfcSelect*>(this->selectFromVariant(result));
    return s && _subFromValueType(source, s);
  }
  // The answer is true whenever there is a payload, whatever the text came to.
  bool subToString(HsString& out, const void* payload, StringFormat format) const override {
    if (!payload) return false;
    _subToString(out, this->selectFromStorage(payload), format);
    return true;
  }
  const char* subTypePath(const QdIfcVariant& v) const override {
    const QdIfcSelect* s = this->selectFromVariant(v);
    return s ? s->underlyingTypeName().constStr() : nullptr;
  }
};

// An array of selects by value: equal when of one length and equal in order. Such
// arrays have no text; they convert to an array of variants, one select by value each.
template <class T>
class QdIfcSelectArrayValueType final : public QdIfcVariantTypeForObject<QdIfcArray<T>> {
 public:
  using QdIfcVariantTypeForObject<QdIfcArray<T>>::QdIfcVariantTypeForObject;
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    if (&target != &QdIfcVariantType::Desc<QdIfcArray<QdIfcVariant>>::value()) return false;
    const auto* selects = static_cast<const QdIfcArray<T>*>(source.payload());
    QdIfcArray<QdIfcVariant> variants;
    if (selects) {
      variants.setPhysicalLength(selects->length());
      for (const T& s : *selects) variants.append(QdIfcVariant(s));
    }
    result = QdIfcVariant(variants);
    return true;
  }
  bool subEqualTo(const void* a, const void* b) const override {
    const auto& x = *static_cast<const QdIfcArray<T>*>(a);
    const auto& y = *static_cast<const QdIfcArray<T>*>(b);
    if (x.length() != y.length()) return false;
    for (int i = 0; i < x.length(); ++i)
      if (static_cast<const QdIfcSelect&>(x[i]) != y[i]) return false;
    return true;
  }
  bool subToString(HsString&, const void*, StringFormat) const override { return false; }
};

}  // namespace QD_SDAI
