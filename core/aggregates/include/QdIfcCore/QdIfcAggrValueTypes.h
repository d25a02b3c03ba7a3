// How aggregates travel in a variant. getAttr hands out a pointer to the entity's
// aggregate member (no copy, no allocation), tagged with an aggregate-pointer
// descriptor; that descriptor converts the pointer into a typed array of the
// elements, an array of variants, or the generic QdIfcAggr*.
#pragma once

#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcVariantTypes.h>

namespace QD_SDAI {
namespace detail {

template <class T>
const QdIfcArray<T>& emptyArray() {
  static const QdIfcArray<T> none;
  return none;
}

// LIST OF LIST of numbers or handles, from a compound list: one row per inner
// aggregate of element E, elements that do not convert skipped. A nil compound gives
// an empty result; a filled one with no usable row answers false.
template <class E>
bool compoundToRows(const QdIfcAggr* a, QdIfcVariant& result) {
  using Rows = QdIfcArray<QdIfcArray<E>>;
  if (!a || a->isNil()) {
    result = QdIfcVariant(Rows());
    return true;
  }
  QdIfcAggrConstIterator* outer = a->createConstIterator();
  if (!outer) return false;
  Rows rows;
  bool any = false;
  QdIfcVariant v;
  while (outer->next() && outer->getValue(v)) {
    QdIfcAggr* inner = nullptr;
    if (!v.getValue(inner) || !inner || &inner->elementType() != &QdIfcVariantType::Desc<E>::value()) break;
    QdIfcArray<E> row;
    if (QdIfcAggrConstIterator* it = inner->createConstIterator()) {
      QdIfcVariant x;
      while (it->next() && it->getValue(x)) {
        E e{};
        if (x.getValue(e)) row.append(e);
      }
      delete it;
    }
    rows.append(row);
    any = true;
  }
  delete outer;
  if (!any) return false;
  result = QdIfcVariant(rows);
  return true;
}

template <class T>
bool aggrToValueType(const QdIfcAggr* a, bool isList, const QdIfcVariantType& target, QdIfcVariant& result) {
  if constexpr (!std::is_same_v<T, QdIfcAggr*>) {
    if (&target == &QdIfcVariantType::Desc<QdIfcArray<T>>::value()) {
      if (!a || a->isNil()) {
        result = QdIfcVariant(emptyArray<T>());
        return true;
      }
      QdIfcArray<T> values;
      qdIfcExportAggr(*a, values);
      result = QdIfcVariant(values);
      return true;
    }
    if (&target == &QdIfcVariantType::Desc<QdIfcArray<QdIfcVariant>>::value()) {
      if (!a || a->isNil()) return true;  // left as it was
      QdIfcArray<T> values;
      qdIfcExportAggr(*a, values);
      QdIfcArray<QdIfcVariant> variants;
      if (values.length()) {
        variants.setPhysicalLength(values.length());
        for (const T& e : values) variants.append(QdIfcVariant(e));
      }
      result = QdIfcVariant(variants);
      return true;
    }
  }
  if (&target == &QdIfcVariantType::Desc<QdIfcAggr*>::value()) {
    result = QdIfcVariant(const_cast<QdIfcAggr*>(a));
    return true;
  }
  if (!isList) return false;
  if constexpr (std::is_same_v<T, QdIfcAggr*>) {
    if (&target == &QdIfcVariantType::Desc<QdIfcArray<QdIfcArray<int>>>::value()) return compoundToRows<int>(a, result);
    if (&target == &QdIfcVariantType::Desc<QdIfcArray<QdIfcArray<double>>>::value())
      return compoundToRows<double>(a, result);
    if (&target == &QdIfcVariantType::Desc<QdIfcArray<QdIfcArray<QdDbObjectId>>>::value())
      return compoundToRows<QdDbObjectId>(a, result);
  }
  return false;
}

}  // namespace detail

// The descriptor of a pointer to an aggregate member, P = QdIfcSetAggr<T>* or
// QdIfcListAggr<T>*. Such values have no equality and no text.
template <class P, class T, bool IsList>
class QdIfcAggrPtrVariantTypePOD : public QdIfcVariantTypePOD<P> {
 public:
  using QdIfcVariantTypePOD<P>::QdIfcVariantTypePOD;
  bool isAggregate() const override { return true; }
  bool subEqualTo(const void*, const void*) const override { return false; }
  bool subToString(HsString&, const void*, StringFormat) const override { return false; }
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const P* p = static_cast<const P*>(source.payload());
    return detail::aggrToValueType<T>(p ? *p : nullptr, IsList, target, result);
  }
};

template <class P, class T>
class QdIfcSetAggrPtrVariantTypePOD : public QdIfcAggrPtrVariantTypePOD<P, T, false> {
 public:
  using QdIfcAggrPtrVariantTypePOD<P, T, false>::QdIfcAggrPtrVariantTypePOD;
};

template <class P, class T>
class QdIfcListAggrPtrVariantTypePOD : public QdIfcAggrPtrVariantTypePOD<P, T, true> {
 public:
  using QdIfcAggrPtrVariantTypePOD<P, T, true>::QdIfcAggrPtrVariantTypePOD;
};

}  // namespace QD_SDAI

QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcAggr*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcSelect*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<int>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<double>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<QD_SDAI::QdDbObjectId>)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<int>*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<double>*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<QD_SDAI::QdAnsiString>*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<QD_SDAI::QdDbObjectId>*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcListAggr<QD_SDAI::QdIfcAggr*>*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcSetAggr<int>*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcSetAggr<QD_SDAI::QdDbObjectId>*)
QDIFC_DECLARE_VARIANT_TYPE(QDIFCCORE_API, QD_SDAI::QdIfcArrayAggr<double>*)
