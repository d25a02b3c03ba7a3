// The rules of attribute access, one per kind of member, shared by the 776 entity
// classes. A generated getAttr, putAttr, testAttr or unsetAttr is a chain of name
// tests, each followed by one call into this file; setInverseCounterParts is a list
// of link calls. Everything that does not depend on the member's type is an
// out-of-line function, so a template here costs one small body per value type,
// not one per class or attribute.
#pragma once

#include <QdIfc4/EnumCompanions.h>
#include <QdIfc4/EnumerationTables.h>  // the tables the templates below name
#include <QdIfc4/Export.h>
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <type_traits>

namespace IFC4::detail {

using QD_SDAI::QdAnsiString;
using QD_SDAI::QdDbObjectId;
using QD_SDAI::QdIfcAggr;
using QD_SDAI::QdIfcArray;
using QD_SDAI::QdIfcVariant;
using QD_SDAI::QdIfcVariantType;

// ---- access tests: where names the class and operation, "IFC4::IfcRoot::getAttr" ----

[[noreturn]] void throwNoAccess(const char* where);
[[noreturn]] void throwNotReadWrite(const char* where);

// Reading needs a model access mode other than "not defined"; a free object has none.
inline void checkRead(const QD_SDAI::QdIfcEntityBase* self, const char* where) {
  const QD_SDAI::QdIfcModel* model = self->owningModel();
  if (model && model->mode() == QD_SDAI::sdaiNoAccess) throwNoAccess(where);
}
// Writing needs a read-write model, or none.
inline void checkWrite(const QD_SDAI::QdIfcEntityBase* self, const char* where) {
  const QD_SDAI::QdIfcModel* model = self->owningModel();
  if (model && model->mode() != QD_SDAI::sdaiRW) throwNotReadWrite(where);
}

// The name, in any case, equals an attribute name given in lower case.
inline bool named(const QdAnsiString& name, const char* lower) noexcept {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(name.constStr());
  const unsigned char* q = reinterpret_cast<const unsigned char*>(lower);
  for (;; ++p, ++q) {
    unsigned c = *p;
    if (c - 'A' < 26u) c += 'a' - 'A';
    if (c != *q) return false;
    if (c == 0) return true;
  }
}

// ---- getAttr: a variant made from the member, set or not ---------------------------------

// Numbers, booleans, logicals, the GUID, handles, enumerations and the binary: by value.
template <class T>
bool getValue(const T& member, QdIfcVariant& value) {
  value = QdIfcVariant(member);
  return true;
}
// Strings: a pointer into the member's text, valid while the member is unchanged.
inline bool getText(const QdAnsiString& member, QdIfcVariant& value) {
  value = QdIfcVariant(member.constStr());
  return true;
}
// Selects: a pointer to the member itself.
template <class S>
bool getSelect(const S& member, QdIfcVariant& value) {
  value = QdIfcVariant(const_cast<S*>(&member));
  return true;
}
// Aggregates of every shape: a pointer to the member as its unbounded class.
template <class T>
bool getAggr(const QD_SDAI::QdIfcListAggr<T>& member, QdIfcVariant& value) {
  value = QdIfcVariant(const_cast<QD_SDAI::QdIfcListAggr<T>*>(&member));
  return true;
}
template <class T>
bool getAggr(const QD_SDAI::QdIfcSetAggr<T>& member, QdIfcVariant& value) {
  value = QdIfcVariant(const_cast<QD_SDAI::QdIfcSetAggr<T>*>(&member));
  return true;
}
template <class T>
bool getAggr(const QD_SDAI::QdIfcArrayAggr<T>& member, QdIfcVariant& value) {
  value = QdIfcVariant(const_cast<QD_SDAI::QdIfcArrayAggr<T>*>(&member));
  return true;
}
// An attribute this class redeclares as derived: no value here, though a supertype has the member.
inline bool getRedeclared(QdIfcVariant& value) {
  value = QdIfcVariant();
  return false;
}

// ---- putAttr --------------------------------------------------------------------------

// The payload of value as type target: its own when the type is target's, else
// converted into scratch by the source's type or, failing that, by the target's.
// Null when neither converts.
QDIFC4_API const void* scalarSource(const QdIfcVariant& value, const QdIfcVariantType& target, QdIfcVariant& scratch);

// Scalars (numbers, strings, the GUID, booleans, logicals, handles, selects):
// unchanged unless the value converts.
template <class T>
bool putScalar(T& member, const QdIfcVariant& value) {
  QdIfcVariant scratch;
  const void* p = scalarSource(value, QdIfcVariantType::Desc<T>::value(), scratch);
  if (!p) return false;
  member = *static_cast<const T*>(p);
  return true;
}

enum class EnumInput { kRefused, kStored, kStoredUnset };
// What an enumeration member takes: unsigned long, int (capped at unset), a text
// or string (looked up; the unset value stored when it is no literal). Nothing else.
QDIFC4_API EnumInput enumSource(const QdIfcVariant& value, const EnumTable& table, int& out);

template <class E>
bool putEnum(E& member, const QdIfcVariant& value) {
  int number = 0;
  EnumInput r = enumSource(value, EnumTraits<E>::table, number);
  if (r != EnumInput::kRefused) member = E(number);
  return r == EnumInput::kStored;
}

// Elements of T from an array of variants, each by the scalar rule; false on the first that fails.
template <class T>
bool elementsFrom(const QdIfcArray<QdIfcVariant>& values, QdIfcArray<T>& out) {
  out.setPhysicalLength(values.length());
  for (const QdIfcVariant& v : values) {
    T e{};
    if (!putScalar(e, v)) return false;
    out.append(e);
  }
  return true;
}

// Aggregates of T: from an array of T, an array of variants, or (for selects) an
// array of handles. The old contents stay unless every element converts.
template <class T>
bool putElements(QdIfcAggr& member, const QdIfcVariant& value) {
  if (const QdIfcArray<T>* same = value.ptr<QdIfcArray<T>>()) return QD_SDAI::qdIfcAssignAggr(member, *same);
  QdIfcArray<T> built;
  if (const QdIfcArray<QdIfcVariant>* values = value.ptr<QdIfcArray<QdIfcVariant>>()) {
    if (!elementsFrom(*values, built)) return false;
    return QD_SDAI::qdIfcAssignAggr(member, built);
  }
  if constexpr (std::is_base_of_v<QD_SDAI::QdIfcSelect, T>) {
    if (const QdIfcArray<QdDbObjectId>* handles = value.ptr<QdIfcArray<QdDbObjectId>>()) {
      built.setPhysicalLength(handles->length());
      for (const QdDbObjectId& h : *handles) {
        T s;
        if (!s.setHandle(h)) return false;
        built.append(s);
      }
      return QD_SDAI::qdIfcAssignAggr(member, built);
    }
  }
  return false;
}
template <class A>
bool putAggr(A& member, const QdIfcVariant& value) {
  return putElements<typename A::value_type>(member, value);
}

// A list of lists of T, from exactly an array of arrays of T. Each row becomes a new
// inner list, placed from the front.
template <class T>
bool putNested(QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<T>>& member, const QdIfcVariant& value) {
  const QdIfcArray<QdIfcArray<T>>* rows = value.ptr<QdIfcArray<QdIfcArray<T>>>();
  if (!rows) return false;
  if (!member.createEmpty()) return false;
  auto* imp = static_cast<QD_SDAI::QdIfcOrderedAggr::QdIfcOrderedAggrImp<QdIfcAggr*>*>(member.imp());
  int index = 0;
  for (const QdIfcArray<T>& row : *rows) {
    QdIfcAggr* inner = nullptr;
    imp->createAggrAt(index, inner);
    if (!inner) continue;
    QD_SDAI::qdIfcAssignAggr(*inner, row);
    ++index;
  }
  return true;
}

// ---- testAttr: whether the member holds a value -------------------------------------------

inline bool isSet(int v) noexcept { return v != QD_SDAI::Consts::QdIntUnset; }
inline bool isSet(double v) noexcept { return v == v; }
inline bool isSet(const QdAnsiString& s) noexcept { return !s.isUnset(); }
inline bool isSet(const QD_SDAI::QdIfcGUID& g) noexcept { return g.isSet(); }
inline bool isSet(QD_SDAI::QdIfcBoolean b) noexcept { return !(b == QD_SDAI::QdIfcBoolean::Unset); }
inline bool isSet(QD_SDAI::QdIfcLogical l) noexcept { return !(l == QD_SDAI::QdIfcLogical::Unset); }
inline bool isSet(const QdDbObjectId& h) noexcept { return !h.isNull(); }
inline bool isSet(const QD_SDAI::QdIfcSelect& s) noexcept { return s.getKind() != QD_SDAI::kQdTypeNone; }
// An aggregate counts as set when it has elements: an empty one is not.
inline bool isSet(const QdIfcAggr& a) { return a.count() != 0; }
template <class E, int N>
bool isSet(const QdIfcEnumValue<E, N>& e) noexcept {
  return e.value() != N;
}

// ---- unsetAttr ----------------------------------------------------------------------

inline void unset(int& v) noexcept { v = QD_SDAI::Consts::QdIntUnset; }
inline void unset(double& v) noexcept { v = QD_SDAI::Consts::QdRealUnset; }
inline void unset(QdAnsiString& s) { s = QD_SDAI::Consts::QdStringUnset; }
inline void unset(QD_SDAI::QdIfcGUID& g) noexcept { g = QD_SDAI::Consts::QdStringUnset; }
inline void unset(QD_SDAI::QdIfcBoolean& b) noexcept { b = QD_SDAI::QdIfcBoolean::Unset; }
inline void unset(QD_SDAI::QdIfcLogical& l) noexcept { l = QD_SDAI::QdIfcLogical::Unset; }
inline void unset(QdDbObjectId& h) noexcept { h.setNull(); }
inline void unset(QD_SDAI::QdIfcSelect& s) { s.nullify(); }
// An aggregate becomes nil.
inline void unset(QdIfcAggr& a) { a.clear(); }
template <class E, int N>
void unset(QdIfcEnumValue<E, N>& e) noexcept {
  e = QdIfcEnumValue<E, N>(N);
}

// ---- typed accessors of aggregates --------------------------------------------------

// Appends the elements to out; a nil aggregate leaves out as it was.
template <class A, class T>
void exportAggr(const A& member, QdIfcArray<T>& out) {
  if (!member.isNil()) QD_SDAI::qdIfcExportAggr(member, out);
}
// Replaces the contents; a nil aggregate is made empty first.
template <class A, class T>
void assignAggr(A& member, const QdIfcArray<T>& values) {
  QD_SDAI::qdIfcAssignAggr(member, values);
}
// The rows of a list of lists, appended to out.
template <class T>
void exportNested(const QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<T>>& member,
                  QdIfcArray<QdIfcArray<T>>& out) {
  if (member.isNil()) return;
  for (QdIfcAggr* inner : member.items()) {
    QdIfcArray<T> row;
    if (inner) QD_SDAI::qdIfcExportAggr(*inner, row);
    out.append(row);
  }
}
// Replaces the rows of a list of lists.
template <class T>
void assignNested(QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<T>>& member,
                  const QdIfcArray<QdIfcArray<T>>& rows) {
  member.clear();
  member.createEmpty();
  for (const QdIfcArray<T>& row : rows) QD_SDAI::qdIfcAssignAggr(*member.appendInner(), row);
}

// ---- inverse counterparts -------------------------------------------------------------

// One candidate target of a forward attribute: the class T, tested with isKindOf,
// and its inverse member.
template <class T, class M>
struct InverseOf {
  using Class = T;
  M T::*member;
};
template <class T, class M>
constexpr InverseOf<T, M> inverseOf(M T::*member) {
  return {member};
}

// Hands self to an inverse member: an aggregate adds it (at once, or with the rest of a
// model's links when the model links in bulk), a single handle takes it.
QDIFC4_API void addInverse(QD_SDAI::QdIfcSetAggr<QdDbObjectId>& inverse, const QdDbObjectId& self);
inline void addInverse(QdDbObjectId& inverse, const QdDbObjectId& self) noexcept { inverse = self; }

// The link step: opens the target for writing, and the first candidate class it is a
// kind of receives self in its inverse member. A target of no candidate class is left
// as it was. The target is closed again in every case.
template <class... L>
void link(const QdDbObjectId& target, const QdDbObjectId& self, const L&... candidates) {
  QD_SDAI::QdIfcEntityBase* object = target.openObject(QD_SDAI::kForWrite, false);
  if (!object) return;
  (void)((object->isKindOf(L::Class::g_pEntityType) &&
          (addInverse(static_cast<typename L::Class*>(object)->*candidates.member, self), true)) ||
         ...);
  object->close();
}

inline QdDbObjectId handleOf(const QdDbObjectId& h) noexcept { return h; }
inline QdDbObjectId handleOf(const QD_SDAI::QdIfcSelect& s) noexcept { return s.getHandle(); }

// A forward reference or select: linked when it holds a handle.
template <class F, class... L>
void linkOne(const F& forward, const QdDbObjectId& self, const L&... candidates) {
  QdDbObjectId target = handleOf(forward);
  if (!target.isNull()) link(target, self, candidates...);
}
// An aggregate of references or selects: each element that holds a handle is linked,
// repeats included.
template <class A, class... L>
void linkEach(const A& forward, const QdDbObjectId& self, const L&... candidates) {
  for (const auto& element : forward.items()) {
    QdDbObjectId target = handleOf(element);
    if (!target.isNull()) link(target, self, candidates...);
  }
}

}  // namespace IFC4::detail
