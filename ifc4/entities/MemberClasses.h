// The rows of the generated attribute tables, and the member classes they name: the
// rules of the member types the core's interpreter does not know (QdIfcMemberClass).
//
// An enumeration's member class is data only (its descriptor, its literal table, one
// set of functions for all of them); a select's is its two descriptors; an aggregate's
// is one set of functions per element type, whatever the bounds. So the 776 classes
// share a few dozen member classes and no code of their own.
#pragma once

#include "AttrAccess.h"
#include "FieldIO.h"

#include <QdIfcCore/QdIfcClassTable.h>

#include <cstddef>

namespace IFC4::detail {

using QD_SDAI::QdIfcAttrRow;
using QD_SDAI::QdIfcInverseLink;
using QD_SDAI::QdIfcMemberClass;
using MemberKind = QD_SDAI::QdIfcMemberKind;
using Role = QD_SDAI::QdIfcAttrRole;
using QD_SDAI::QdSpfFilerBase;

// ---- enumerations: one set of functions over the literal table ----

QDIFC4_API bool putEnumValue(const QdIfcMemberClass& self, void* member, const QdIfcVariant& value);
QDIFC4_API void readEnumValue(const QdIfcMemberClass& self, void* member, QdSpfFilerBase* filer, bool optional,
                              bool comma);
QDIFC4_API void writeEnumValue(const QdIfcMemberClass& self, const void* member, QdSpfFilerBase* filer, bool optional,
                               bool comma);

template <class E>
inline constexpr QdIfcMemberClass enumOf = {&QdIfcVariantType::Desc<E>::value,
                                            nullptr,
                                            E::kLiteralCount,
                                            &putEnumValue,
                                            &readEnumValue,
                                            &writeEnumValue,
                                            nullptr,
                                            &EnumTraits<E>::table};

// ---- selects: the core's rules, by their descriptors ----

template <class S>
inline constexpr QdIfcMemberClass selectOf = {&QdIfcVariantType::Desc<S*>::value,
                                              &QdIfcVariantType::Desc<S>::value,
                                              0,
                                              nullptr,
                                              nullptr,
                                              nullptr,
                                              nullptr,
                                              nullptr};

// ---- flat aggregates, by element type ----

template <class T>
bool putAggrMember(const QdIfcMemberClass&, void* member, const QdIfcVariant& value) {
  return putElements<T>(*static_cast<QdIfcAggr*>(member), value);
}
template <class T>
void readAggrMember(const QdIfcMemberClass&, void* member, QdSpfFilerBase* filer, bool, bool comma) {
  readFlat<T>(*static_cast<QdIfcAggr*>(member), filer, comma);
}
template <class T>
void writeAggrMember(const QdIfcMemberClass&, const void* member, QdSpfFilerBase* filer, bool optional, bool comma) {
  const QdIfcAggr& a = *static_cast<const QdIfcAggr*>(member);
  if (beginAggregate(a, filer, optional, comma)) writeList<T>(a, filer);
}
// A list of binaries: each element as "hex", as it was read.
QDIFC4_API void writeBinariesMember(const QdIfcMemberClass&, const void* member, QdSpfFilerBase* filer, bool optional,
                                    bool comma);

inline QdDbObjectId handleOf(const QdDbObjectId& h) noexcept { return h; }
inline QdDbObjectId handleOf(const QD_SDAI::QdIfcSelect& s) noexcept { return s.getHandle(); }

template <class T>
void eachHandleMember(const void* member, void* context, void (*visit)(void*, const QdDbObjectId&)) {
  const QdIfcAggr& a = *static_cast<const QdIfcAggr*>(member);
  if (a.isNil()) return;
  for (const T& e : elementsOf<T>(a)) visit(context, handleOf(e));
}

template <class T>
constexpr auto eachHandleOf() {
  if constexpr (std::is_same_v<T, QdDbObjectId> || std::is_base_of_v<QD_SDAI::QdIfcSelect, T>)
    return &eachHandleMember<T>;
  else return static_cast<void (*)(const void*, void*, void (*)(void*, const QdDbObjectId&))>(nullptr);
}

// H is the unbounded handle class the member is handed out as.
template <class H>
inline constexpr QdIfcMemberClass kAggr = {&QdIfcVariantType::Desc<H*>::value,
                                           nullptr,
                                           0,
                                           &putAggrMember<typename H::value_type>,
                                           &readAggrMember<typename H::value_type>,
                                           &writeAggrMember<typename H::value_type>,
                                           eachHandleOf<typename H::value_type>(),
                                           nullptr};
template <class T>
inline constexpr const QdIfcMemberClass& listOf = kAggr<QD_SDAI::QdIfcListAggr<T>>;
template <class T>
inline constexpr const QdIfcMemberClass& setOf = kAggr<QD_SDAI::QdIfcSetAggr<T>>;
template <class T>
inline constexpr const QdIfcMemberClass& arrayOf = kAggr<QD_SDAI::QdIfcArrayAggr<T>>;

inline constexpr QdIfcMemberClass kBinaryList = {&QdIfcVariantType::Desc<QD_SDAI::QdIfcListAggr<QdAnsiString>*>::value,
                                                 nullptr,
                                                 0,
                                                 &putAggrMember<QdAnsiString>,
                                                 &readAggrMember<QdAnsiString>,
                                                 &writeBinariesMember,
                                                 nullptr,
                                                 nullptr};

// ---- lists of lists ----

template <class T>
using Nested = QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<T>>;

template <class T>
bool putNestedMember(const QdIfcMemberClass&, void* member, const QdIfcVariant& value) {
  return putNested(*static_cast<Nested<T>*>(member), value);
}
template <class T>
void readNestedMember(const QdIfcMemberClass&, void* member, QdSpfFilerBase* filer, bool, bool comma) {
  readNested(*static_cast<Nested<T>*>(member), filer, comma);
}
template <class T>
void writeNestedMember(const QdIfcMemberClass&, const void* member, QdSpfFilerBase* filer, bool optional, bool comma) {
  writeNested(*static_cast<const Nested<T>*>(member), filer, optional, comma);
}

template <class T>
inline constexpr QdIfcMemberClass nestedOf = {
    &QdIfcVariantType::Desc<QD_SDAI::QdIfcListAggr<QD_SDAI::QdIfcAggr*>*>::value,
    nullptr,
    0,
    &putNestedMember<T>,
    &readNestedMember<T>,
    &writeNestedMember<T>,
    nullptr,
    nullptr};

// ---- the rows ----

constexpr int32_t kUnset = QdIfcAttrRow::kUnsetBound;
constexpr uint8_t kOpt = QD_SDAI::kAttrOptional;
constexpr uint8_t kReadsUnset = QD_SDAI::kAttrReadsUnset;
constexpr uint8_t kWritable = QD_SDAI::kAttrWritable;
constexpr uint8_t kSingle = QD_SDAI::kAttrSingle;

constexpr QdIfcAttrRow makeRow(const char* name, size_t offset, MemberKind kind, Role role, uint8_t marks,
                               const QdIfcMemberClass* memberClass, int32_t lower, int32_t upper,
                               QD_SDAI::QdIfcEntityType* const* target, const char* inverts,
                               const QdIfcInverseLink* links, int linkCount) {
  return {name,        static_cast<uint32_t>(offset),
          kind,        role,
          marks,       static_cast<uint8_t>(linkCount),
          memberClass, lower,
          upper,       target,
          inverts,     links};
}

// Numbers, truth values, strings, the binary and the GUID.
constexpr QdIfcAttrRow attr(const char* name, size_t offset, MemberKind kind, uint8_t marks = 0) {
  return makeRow(name, offset, kind, Role::kExplicit, marks, nullptr, kUnset, kUnset, nullptr, nullptr, nullptr, 0);
}
// A reference to an entity of the type in slot target; links: the inverse members it fills.
constexpr QdIfcAttrRow ref(const char* name, size_t offset, uint8_t marks, QD_SDAI::QdIfcEntityType* const* target,
                           const QdIfcInverseLink* links = nullptr, int linkCount = 0) {
  return makeRow(name, offset, MemberKind::kEntity, Role::kExplicit, marks, nullptr, kUnset, kUnset, target, nullptr,
                 links, linkCount);
}
constexpr QdIfcAttrRow enumRow(const char* name, size_t offset, uint8_t marks, const QdIfcMemberClass& memberClass) {
  return makeRow(name, offset, MemberKind::kEnumeration, Role::kExplicit, marks, &memberClass, kUnset, kUnset, nullptr,
                 nullptr, nullptr, 0);
}
constexpr QdIfcAttrRow selectRow(const char* name, size_t offset, uint8_t marks, const QdIfcMemberClass& memberClass,
                                 const QdIfcInverseLink* links = nullptr, int linkCount = 0) {
  return makeRow(name, offset, MemberKind::kSelect, Role::kExplicit, marks, &memberClass, kUnset, kUnset, nullptr,
                 nullptr, links, linkCount);
}
constexpr QdIfcAttrRow aggrRow(const char* name, size_t offset, uint8_t marks, const QdIfcMemberClass& memberClass,
                               int32_t lower, int32_t upper, const QdIfcInverseLink* links = nullptr,
                               int linkCount = 0) {
  return makeRow(name, offset, MemberKind::kAggregate, Role::kExplicit, marks, &memberClass, lower, upper, nullptr,
                 nullptr, links, linkCount);
}
constexpr QdIfcAttrRow nestedRow(const char* name, size_t offset, uint8_t marks, const QdIfcMemberClass& memberClass,
                                 int32_t lower, int32_t upper) {
  return makeRow(name, offset, MemberKind::kNested, Role::kExplicit, marks, &memberClass, lower, upper, nullptr,
                 nullptr, nullptr, 0);
}
// An inherited explicit attribute redeclared as derived here; offset: the supertype's member.
constexpr QdIfcAttrRow redeclaredRow(const char* name, size_t offset, MemberKind kind) {
  return makeRow(name, offset, kind, Role::kRedeclared, 0, nullptr, kUnset, kUnset, nullptr, nullptr, nullptr, 0);
}
// An inverse: a set of handles, or one handle (kSingle), filled by the attribute inverts of
// target's instances. A writable one brings the member class putAttr uses.
constexpr QdIfcAttrRow inverseRow(const char* name, size_t offset, uint8_t marks, int32_t lower, int32_t upper,
                                  QD_SDAI::QdIfcEntityType* const* target, const char* inverts,
                                  const QdIfcMemberClass* memberClass = nullptr) {
  const MemberKind kind = (marks & kSingle) ? MemberKind::kEntity : MemberKind::kAggregate;
  return makeRow(name, offset, kind, Role::kInverse, marks, memberClass, lower, upper, target, inverts, nullptr, 0);
}

}  // namespace IFC4::detail
