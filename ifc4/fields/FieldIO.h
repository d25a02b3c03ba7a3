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
#include <memory>
#include <string_view>
#include <type_traits>

namespace IFC4::detail {

using QD_SDAI::QdSpfFilerBase;

// ---- enumerations ----------------------------------------------------------------

// The number of a literal read from a file; a literal the table does not know, in any
// case, gives the unset value without complaint.
QDIFC4_API int enumFromLiteral(const EnumTable& table, std::string_view literal);

// ---- aggregates -----------------------------------------------------------------

// How many elements follow, in the list being read, the one just read: the commas
// up to the list's ')', stepping over nested lists and strings. Only a hint for the
// room to reserve, bounded so that a malformed list cannot have much reserved that it
// does not hold.
inline size_t elementsAhead(const QdSpfFilerBase* filer) noexcept {
  constexpr size_t kMostAhead = size_t{1} << 16;
  size_t commas = 0;
  int depth = 0;
  for (const char *p = filer->position(), *end = filer->end(); p < end && commas < kMostAhead; ++p) {
    switch (*p) {
      case '\'':  // to the closing quote; a doubled quote reads as two strings
        p = static_cast<const char*>(std::memchr(p + 1, '\'', static_cast<size_t>(end - p - 1)));
        if (!p) return commas;
        break;
      case '(': ++depth; break;
      case ')':
        if (depth-- == 0) return commas;
        break;
      case ',':
        if (depth == 0) ++commas;
        break;
      default: break;
    }
  }
  return commas;
}

// The flat reader: "$" leaves the aggregate nil, "()" empty; a bare element where the
// list belongs is taken as the one element. An element that does not read leaves the
// aggregate nil, as "$" would: the elements before it are not the list the file held
// (a point would lose a coordinate, a face set triangles), so none of them is kept;
// reading goes on after the list's ')' and the result is eInvalidInput. The elements
// go straight into the aggregate's implementation: a short list lives inside it, so
// that it is the one allocation; a longer one gets one block of its exact size, the
// rest of the list counted when the first elements fill the inline room.
template <class T>
QD::ErrorStatus readFlat(QD_SDAI::QdIfcAggr& member, QdSpfFilerBase* filer, bool comma) {
  QD_SDAI::QdSpfReadHelper* helper = filer->readHelper();
  member.clear();
  if (!filer->beginField(comma)) return QD::eInvalidInput;
  if (helper->skipUntilRet('$')) return QD::eOk;
  if (!helper->skipUntilRet('(')) {
    T e{};
    if (filer->rdPrimitive(e, false) != QD::eOk) return QD::eInvalidInput;
    QD_SDAI::QdIfcAggrFiller<T> fill(member);
    if (fill) {
      fill.append(e);
      fill.end();
    }
    if (helper->skipUntilRet(')')) helper->stream().seek(1, 2);  // the record's own ')'
    return QD::eOk;
  }
  if (helper->skipUntilRet(')')) {
    member.createEmpty();
    return QD::eOk;
  }
  QD_SDAI::QdIfcAggrFiller<T> fill(member);
  for (bool first = true; first || !helper->skipUntilRet(')'); first = false) {
    T e{};
    if (!fill || filer->rdPrimitive(e, !first) != QD::eOk) {
      member.clear();
      filer->skipRestOfList();
      return QD::eInvalidInput;
    }
    if (fill.full()) fill.reserve(fill.size() + 1 + elementsAhead(filer));
    fill.append(e);
  }
  fill.end();
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

// Lists of lists: each inner list by the flat reader, straight into a new inner
// aggregate ("$" as an inner list gives an empty one); a malformed inner list leaves
// the aggregate as it was. The rows are gathered in an aggregate of their own, which
// takes the member's place once they all read.
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
  QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<T>> rows;
  QD_SDAI::QdIfcAggrFiller<QD_SDAI::QdIfcAggr*> fill(rows);  // the rows own their inner lists
  for (bool first = true;; first = false) {
    auto inner = std::make_unique<QD_SDAI::QdIfcListAggr<T>>();
    if (!fill || readFlat<T>(*inner, filer, !first) != QD::eOk) {
      filer->skipRestOfList();
      return QD::eFailed;
    }
    if (inner->isNil()) inner->createEmpty();
    if (fill.full()) fill.reserve(fill.size() + 1 + elementsAhead(filer));
    fill.append(inner.get());
    inner.release();
    if (helper->skipUntilRet(')')) break;
    if (filer->peek() != ',') {
      filer->problem("',' or ')' in a list of lists", filer->sampleAt(filer->position()));
      filer->skipRestOfList();
      return QD::eFailed;
    }
  }
  fill.end();
  member.swap(rows);
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
