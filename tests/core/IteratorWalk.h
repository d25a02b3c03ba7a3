// Walking aggregate iterators in tests: the element an iterator stands on, and steps.
#pragma once

#include <QdIfcCore/QdIfcVariant.h>

#include <optional>

namespace qdtest {

// The element an iterator stands on; none before the first element or at the end.
template <class T, class It>
std::optional<T> standingOn(const It& it) {
  QD_SDAI::QdIfcVariant v;
  if (!it.getValue(v) || !v.ptr<T>()) return std::nullopt;
  return *v.ptr<T>();
}

template <class It>
void steps(It& it, int n) {
  for (int k = 0; k < n; ++k) it.next();
}

}  // namespace qdtest
