// The frame of the enumeration value classes of IFC4. Each enumeration is a class
// with one signed 32-bit member holding the enumerator's number: 0 for the first
// literal in schema order, and the count of literals for UNSET, the value of an
// attribute that has none. Values convert to and from int, so they compare by number
// and switch on their enumerators (kIfcRoleEnum_SUPPLIER and so on).
#pragma once

#include <cstdint>

namespace IFC4 {

template <class Self, int N>
class QdIfcEnumValue {
 public:
  // The number of literals; also the number of UNSET.
  static constexpr int kLiteralCount = N;

  constexpr QdIfcEnumValue() noexcept = default;
  constexpr QdIfcEnumValue(int value) noexcept : m_value(value) {}

  constexpr operator int() const noexcept { return m_value; }
  constexpr int value() const noexcept { return m_value; }
  // True when the value is one of the schema's literals.
  constexpr bool isSet() const noexcept { return m_value >= 0 && m_value < N; }

 private:
  int32_t m_value = N;
};

}  // namespace IFC4
