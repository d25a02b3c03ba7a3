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
