// Small value types shared by the whole toolkit: status numbers, the two- and
// three-valued truth types with their unset states, and the type-code kinds.
#pragma once

#include <QdIfcCore/Export.h>

#include <cstdint>

namespace QD {

// Results of toolkit operations. Only the numbers are part of the contract.
enum ErrorStatus : int {
  eOk = 0,
  eInvalidInput = 2,  // null argument or a value of the wrong type
  eNotAvailable = 3,  // the value is not there
  eInvalidIndex = 5,
  eNotFound = 8,
  eFailed = 16,         // could not read or convert (an unknown literal, among others)
  eNotThatMember = 18,  // a select member this operation does not handle
  eNotEnumeration = 410,
  eIndexInvalid = 470,
};

}  // namespace QD

namespace QD_SDAI {

// Root of the toolkit's object classes. It holds nothing and has no virtual operation.
class QdIfcObject {};

// Kinds of QdTypeCode, also used as the value kind of a select. The numbers are fixed.
enum QdTypeCodeKind : int32_t {
  kQdTypeNone = 0,
  kQdTypeNumber = 1,
  kQdTypeInteger = 2,
  kQdTypeReal = 6,
  kQdTypeBoolean = 7,
  kQdTypeLogical = 8,
  kQdTypeBinary = 9,
  kQdTypeString = 12,
  kQdTypeEntity = 13,
  kQdTypeSelect = 14,
  kQdTypeEnumeration = 15,
  kQdTypeAggregate = 16,
};

// BOOLEAN with an unset state, held in one 32-bit member.
class QdIfcBoolean {
 public:
  enum Value : int32_t { False = 0, True = 1, Unset = 2 };
  constexpr QdIfcBoolean() noexcept = default;
  constexpr QdIfcBoolean(Value v) noexcept : m_value(v) {}
  constexpr explicit QdIfcBoolean(bool b) noexcept : m_value(b ? True : False) {}
  constexpr Value value() const noexcept { return static_cast<Value>(m_value); }
  constexpr bool isSet() const noexcept { return m_value == False || m_value == True; }
  constexpr bool isTrue() const noexcept { return m_value == True; }
  constexpr operator Value() const noexcept { return value(); }
  friend constexpr bool operator==(QdIfcBoolean a, QdIfcBoolean b) noexcept { return a.m_value == b.m_value; }
  friend constexpr bool operator==(QdIfcBoolean a, Value b) noexcept { return a.m_value == b; }

 private:
  int32_t m_value = Unset;
};

// LOGICAL (true, false, unknown) with an unset state, held in one 32-bit member.
class QdIfcLogical {
 public:
  enum Value : int32_t { False = 0, True = 1, Unknown = 2, Unset = 3 };
  constexpr QdIfcLogical() noexcept = default;
  constexpr QdIfcLogical(Value v) noexcept : m_value(v) {}
  constexpr explicit QdIfcLogical(bool b) noexcept : m_value(b ? True : False) {}
  constexpr Value value() const noexcept { return static_cast<Value>(m_value); }
  constexpr bool isSet() const noexcept { return m_value >= False && m_value <= Unknown; }
  constexpr operator Value() const noexcept { return value(); }
  friend constexpr bool operator==(QdIfcLogical a, QdIfcLogical b) noexcept { return a.m_value == b.m_value; }
  friend constexpr bool operator==(QdIfcLogical a, Value b) noexcept { return a.m_value == b; }

 private:
  int32_t m_value = Unset;
};

static_assert(sizeof(QdIfcBoolean) == 4 && sizeof(QdIfcLogical) == 4);

}  // namespace QD_SDAI
