// The typed rules of attribute access that the member classes of the entity tables
// (MemberClasses.h) and the typed accessors need: putAttr for enumerations, aggregates
// and lists of lists, and the array forms of the accessors. Scalars, selects and the
// access tests are the core interpreter's (QdIfcClassTable). Everything that does not
// depend on the element type is an out-of-line function, so a template here costs one
// small body per element type, not one per class or attribute.
#pragma once

#include <QdIfc4/EnumCompanions.h>
#include <QdIfc4/EnumerationTables.h>  // the tables the templates below name
#include <QdIfc4/Export.h>
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcClassTable.h>
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

// ---- putAttr --------------------------------------------------------------------------

// Scalars (numbers, strings, the GUID, booleans, logicals, handles, selects):
// unchanged unless the value converts.
template <class T>
bool putScalar(T& member, const QdIfcVariant& value) {
  QdIfcVariant scratch;
  const void* p = QD_SDAI::qdIfcConvertedPayload(value, QdIfcVariantType::Desc<T>::value(), scratch);
  if (!p) return false;
  member = *static_cast<const T*>(p);
  return true;
}

enum class EnumInput { kRefused, kStored, kStoredUnset };
// What an enumeration member takes: unsigned long, int (capped at unset), a text
// or string (looked up; the unset value stored when it is no literal). Nothing else.
QDIFC4_API EnumInput enumSource(const QdIfcVariant& value, const EnumTable& table, int& out);

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

}  // namespace IFC4::detail
