// What the dictionary says an attribute holds, worked out from the dictionary alone:
// the module's tests hold the generated classes against it.
#pragma once

#include <QdIfcCore/Dictionary.h>

#include <strings.h>

namespace dictionary_kinds {

using namespace QD_SDAI;

// What the dictionary says an attribute holds.
enum class Kind {
  kInt,
  kReal,
  kBool,
  kLogical,
  kString,
  kBinary,
  kGuid,
  kEntity,
  kEnum,
  kSelect,
  kAggr,
  kNested,
  kNone
};

struct Resolved {
  Kind kind = Kind::kNone;
  const QdIfcNameType* named = nullptr;         // entity, enumeration or select
  const QdIfcParameterType* element = nullptr;  // aggregates: the element (inner element when nested)
};

inline Kind primitive(QdTypeCodeKind k) {
  switch (k) {
    case kQdTypeInteger: return Kind::kInt;
    case kQdTypeReal:
    case kQdTypeNumber: return Kind::kReal;
    case kQdTypeBoolean: return Kind::kBool;
    case kQdTypeLogical: return Kind::kLogical;
    case kQdTypeString: return Kind::kString;
    case kQdTypeBinary: return Kind::kBinary;
    default: return Kind::kNone;
  }
}

inline Resolved resolve(const DictionaryInstance* t) {
  for (int depth = 0; t && depth < 20; ++depth) {
    if (const QdIfcSimpleType* s = t->asSimpleType()) return {primitive(s->primitiveKind())};
    if (const QdIfcAggregationType* a = t->asAggregationType()) {
      const QdIfcAggregationType* inner = a->elementType() ? a->elementType()->asAggregationType() : nullptr;
      if (!inner) {
        const QdIfcNameType* n = a->elementType() ? a->elementType()->asNameType() : nullptr;
        const QdIfcDefinedType* d = n ? n->asDefinedType() : nullptr;
        inner = d ? d->wrappedAggregate() : nullptr;
      }
      return inner ? Resolved{Kind::kNested, nullptr, inner->elementType()}
                   : Resolved{Kind::kAggr, nullptr, a->elementType()};
    }
    const QdIfcNameType* n = t->asNameType();
    if (!n) break;
    if (n->asEntityType()) return {Kind::kEntity, n};
    if (n->asSelectType()) return {Kind::kSelect, n};
    if (n->asEnumType()) return {Kind::kEnum, n};
    const QdIfcDefinedType* d = n->asDefinedType();
    if (!d) break;
    if (strcasecmp(d->typeName(), "IfcGloballyUniqueId") == 0) return {Kind::kGuid};
    if (d->wrappedEnumeration()) return {Kind::kEnum, d, nullptr};
    if (d->wrappedSelect()) return {Kind::kSelect, d};
    if (const QdIfcAggregationType* a = d->wrappedAggregate()) {
      t = a;
      continue;
    }
    t = d->underlyingType();
  }
  return {};
}

inline const QdIfcSelectType* selectTypeOf(const QdIfcNameType* n) {
  if (!n) return nullptr;
  if (const QdIfcSelectType* s = n->asSelectType()) return s;
  const QdIfcDefinedType* d = n->asDefinedType();
  return d ? d->wrappedSelect() : nullptr;
}

}  // namespace dictionary_kinds
