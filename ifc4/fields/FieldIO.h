// The fields of STEP records whose reading and writing depends on a module's types:
// enumerations and aggregates (flat and nested). The member classes of the entity
// tables (MemberClasses.h) call them; the select classes read and write their
// aggregate members with the same list readers and writers.
#pragma once

#include <QdIfc4/EnumCompanions.h>
#include <QdIfc4/EnumerationTables.h>  // the tables the templates below name
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <cstring>
#include <string_view>
#include <type_traits>

namespace IFC4::detail {

using QD_SDAI::QdSpfFilerBase;

// ---- enumerations ----------------------------------------------------------------

// The number of a literal read from a file; a literal the table does not know, in any
// case, gives the unset value without complaint.
QDIFC4_API int enumFromLiteral(const EnumTable& table, std::string_view literal);

// ---- aggregates -----------------------------------------------------------------

// The flat reader: "$" leaves the aggregate nil, "()" empty; a bare element where the
// list belongs is taken as the one element. An element that does not read leaves the
// aggregate nil, as "$" would: the elements before it are not the list the file held
// (a point would lose a coordinate, a face set triangles), so none of them is kept;
// reading goes on after the list's ')' and the result is eInvalidInput. The elements
// are gathered in one array and stored in one step.
template <class T>
QD::ErrorStatus readFlat(QD_SDAI::QdIfcAggr& member, QdSpfFilerBase* filer, bool comma) {
  QD_SDAI::QdSpfReadHelper* helper = filer->readHelper();
  member.clear();
  if (!filer->beginField(comma)) return QD::eInvalidInput;
  if (helper->skipUntilRet('$')) return QD::eOk;
  QD_SDAI::QdIfcArray<T> elements;
  if (!helper->skipUntilRet('(')) {
    T e{};
    if (filer->rdPrimitive(e, false) != QD::eOk) return QD::eInvalidInput;
    elements.append(e);
    if (helper->skipUntilRet(')')) helper->stream().seek(1, 2);  // the record's own ')'
    QD_SDAI::qdIfcAssignAggr(member, elements);
    return QD::eOk;
  }
  if (helper->skipUntilRet(')')) {
    member.createEmpty();
    return QD::eOk;
  }
  for (bool first = true; first || !helper->skipUntilRet(')'); first = false) {
    T e{};
    if (filer->rdPrimitive(e, !first) != QD::eOk) {
      filer->skipRestOfList();
      return QD::eInvalidInput;
    }
    elements.append(e);
  }
  QD_SDAI::qdIfcAssignAggr(member, elements);
  return QD::eOk;
}

// The elements of a filled aggregate of T, in their order.
template <class T>
const QD_SDAI::detail::AggrStorage<T>& elementsOf(const QD_SDAI::QdIfcAggr& a) {
  if (a.aggrOrderType() == QD_SDAI::kAggrOrdered)
    return static_cast<const QD_SDAI::QdIfcOrderedAggr::QdIfcOrderedAggrImp<T>*>(a.imp())->items();
  return static_cast<const QD_SDAI::QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<T>*>(a.imp())->items();
}

// The elements in parentheses, separated by commas: "()" when there are none.
template <class T>
void writeList(const QD_SDAI::QdIfcAggr& member, QdSpfFilerBase* filer) {
  filer->wrChar('(');
  if (!member.isNil()) {
    bool first = true;
    for (const T& e : elementsOf<T>(member)) {
      if (!first) filer->wrChar(',');
      first = false;
      filer->wrPrimitive(const_cast<T&>(e));
    }
  }
  filer->wrChar(')');
}

// The start of an aggregate field: its comma, then "$" for an optional aggregate
// without elements (and false: nothing more to write). A required one goes on as "()".
inline bool beginAggregate(const QD_SDAI::QdIfcAggr& member, QdSpfFilerBase* filer, bool optional, bool comma) {
  if (comma) filer->wrChar(',');
  if (optional && member.count() == 0) {
    filer->wrChar('$');
    return false;
  }
  return true;
}

// Lists of lists: each inner list by the flat reader; a malformed inner list leaves
// the aggregate as it was.
template <class T>
QD::ErrorStatus readNested(QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<T>>& member, QdSpfFilerBase* filer,
                           bool comma) {
  QD_SDAI::QdSpfReadHelper* helper = filer->readHelper();
  if (!filer->beginField(comma)) return QD::eInvalidInput;
  if (helper->skipUntilRet('$')) return QD::eOk;
  if (!helper->skipUntilRet('(')) {
    filer->problem("a list of lists", filer->sampleAt(filer->position()));
    filer->skipParameter();
    return QD::eFailed;
  }
  if (helper->skipUntilRet(')')) {
    member.clear();
    member.createEmpty();
    return QD::eOk;
  }
  QD_SDAI::QdIfcArray<QD_SDAI::QdIfcArray<T>> rows;
  for (bool first = true;; first = false) {
    QD_SDAI::QdIfcListAggr<T> inner;
    if (readFlat<T>(inner, filer, !first) != QD::eOk) {
      filer->skipRestOfList();
      return QD::eFailed;
    }
    QD_SDAI::QdIfcArray<T> row;
    QD_SDAI::qdIfcExportAggr(inner, row);
    rows.append(row);
    if (helper->skipUntilRet(')')) break;
    if (filer->peek() != ',') {
      filer->problem("',' or ')' in a list of lists", filer->sampleAt(filer->position()));
      filer->skipRestOfList();
      return QD::eFailed;
    }
  }
  member.clear();
  member.createEmpty();
  for (const QD_SDAI::QdIfcArray<T>& row : rows) QD_SDAI::qdIfcAssignAggr(*member.appendInner(), row);
  return QD::eOk;
}

template <class T>
void writeNested(const QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<T>>& member, QdSpfFilerBase* filer,
                 bool optional, bool comma) {
  if (!beginAggregate(member, filer, optional, comma)) return;
  filer->wrChar('(');
  bool first = true;
  for (QD_SDAI::QdIfcAggr* inner : member.items()) {
    if (!first) filer->wrChar(',');
    first = false;
    if (inner) {
      writeList<T>(*inner, filer);
    } else {
      filer->wrChar('(');
      filer->wrChar(')');
    }
  }
  filer->wrChar(')');
}

// ---- the aggregate and enumeration members of selects ----------------------------------

// Reads the list of an aggregate member that underlyingTypeName has just made.
template <class T>
QD::ErrorStatus readMemberList(const QD_SDAI::QdIfcSelect& select, QdSpfFilerBase* filer) {
  QD_SDAI::QdIfcAggr* aggregate = nullptr;
  if (select.getAggr(aggregate) && aggregate) return readFlat<T>(*aggregate, filer, false);
  return QD::eOk;
}
template <class T>
QD::ErrorStatus writeMemberList(const QD_SDAI::QdIfcSelect& select, QdSpfFilerBase* filer) {
  QD_SDAI::QdIfcAggr* aggregate = nullptr;
  select.getAggr(aggregate);
  if (aggregate) {
    writeList<T>(*aggregate, filer);
  } else {
    filer->wrChar('(');
    filer->wrChar(')');
  }
  return QD::eOk;
}

// The enumeration member of a select: its literal, which the table must know.
template <class E>
QD::ErrorStatus readEnumMember(QD_SDAI::QdIfcSelect& select, QdSpfFilerBase* filer) {
  QD_SDAI::QdAnsiString literal = filer->rdEnumerationToStr(false, false);
  int v = enumFromLiteral(EnumTraits<E>::table, literal.view());
  if (v >= E::kLiteralCount) return QD::eFailed;
  select.setEnum(static_cast<unsigned long>(v));
  return QD::eOk;
}
template <class E>
QD::ErrorStatus writeEnumMember(const QD_SDAI::QdIfcSelect& select, QdSpfFilerBase* filer) {
  unsigned long v = 0;
  if (!select.getEnum(v)) return QD::eNotEnumeration;
  const char* text = v < static_cast<unsigned long>(E::kLiteralCount) ? enumToString(EnumTraits<E>::table, int(v)) : "";
  filer->wrEnumerationStr(text, false, false);
  return QD::eOk;
}

}  // namespace IFC4::detail
