// Shared pieces of the generated select classes.
#pragma once

#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcSelect.h>

namespace IFC4::detail {

// The aggregate object of an aggregate member, class A: the one the select holds
// if it is of that class (every class has its own Dummy, so a nil one counts too),
// else a new, nil one.
template <class A>
QD_SDAI::QdIfcAggr* aggregateOf(QD_SDAI::QdIfcAggr* held) {
  if (held && held->imp()->dummyImp() == &A::Dummy::instance()) return held;
  return new A();
}

// The name of the member held by a select of class S that holds none: one empty
// constant for each class.
template <class S>
const QD_SDAI::QdAnsiString& noMemberName() {
  static const QD_SDAI::QdAnsiString empty;
  return empty;
}

// Releases the descriptors of the selects, their arrays and their aggregate
// pointers, in the order of the module stop. For the module stop only.
void releaseSelectDescriptors() noexcept;

}  // namespace IFC4::detail

// The bodies of QDIFC4_SELECT's functions for select class S (inside namespace IFC4):
// each one call of the core's rules over the member table.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define QDIFC4_SELECT_DEFINITIONS(S)                                           \
  S::~S() = default;                                                           \
  S::e##S S::underlyingTypeByName(const QD_SDAI::QdAnsiString& name) {         \
    return static_cast<e##S>(memberByName(name, kMembers, kMemberCount));      \
  }                                                                            \
  bool S::underlyingTypeName(const QD_SDAI::QdAnsiString& name) {              \
    e##S member = underlyingTypeByName(name);                                  \
    if (member == eUnset) return false;                                        \
    prepareMember(kMembers[member]);                                           \
    m_d = member;                                                              \
    return true;                                                               \
  }                                                                            \
  const QD_SDAI::QdAnsiString& S::underlyingTypeName() const {                 \
    if (m_d == ePending) const_cast<S*>(this)->refreshSelectHandle();          \
    return memberName(m_d, kMembers, kMemberCount, detail::noMemberName<S>()); \
  }                                                                            \
  void S::setHandleOnLoad(const QD_SDAI::QdDbObjectId& id) {                   \
    QdIfcSelect::setHandleOnLoad(id);                                          \
    m_d = ePending;                                                            \
  }                                                                            \
  void S::refreshSelectHandle() {                                              \
    if (m_d == ePending) QdIfcSelect::refreshSelectHandle();                   \
  }

// setHandleD of a select class S with entity members: the member whose entity type
// the handle's instance is of.
#define QDIFC4_SELECT_ENTITY_DEFINITIONS(S)                  \
  bool S::setHandleD(const QD_SDAI::QdDbObjectId& id) {      \
    int member = entityMemberOf(id, kMembers, kMemberCount); \
    if (member < 0) return false;                            \
    m_d = static_cast<e##S>(member);                         \
    return true;                                             \
  }

// setUnderlyingType of a select class S with members that are not entities.
#define QDIFC4_SELECT_VALUE_DEFINITIONS(S)                                      \
  QD::ErrorStatus S::setUnderlyingType(e##S member) {                           \
    QD::ErrorStatus status = chooseValueMember(member, kMembers, kMemberCount); \
    if (status == QD::eOk) m_d = member;                                        \
    return status;                                                              \
  }
// NOLINTEND(bugprone-macro-parentheses)
