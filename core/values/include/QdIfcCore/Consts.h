// The toolkit's unset values.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdDbObjectId.h>

#include <cstdint>
#include <limits>

namespace QD_SDAI {

class Consts {
 public:
  // An unset INTEGER.
  static constexpr int QdIntUnset = 2147483647;
  // An unset REAL: a NaN, so a value is set exactly when it equals itself.
  static constexpr double QdRealUnset = std::numeric_limits<double>::quiet_NaN();
  // An unset STRING: the one-byte text 0xFF.
  static constexpr const char* QdStringUnset = "\xFF";
  static constexpr uint64_t QdStringUnsetLength = 1;
  // The handle that marks "no value" in aggregates of handles: the null handle.
  static constexpr QdDbObjectId QdHandleUnset{};

  static bool isUnset(int v) noexcept { return v == QdIntUnset; }
  static bool isUnset(double v) noexcept { return v != v; }
};

}  // namespace QD_SDAI
