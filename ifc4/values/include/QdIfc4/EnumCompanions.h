// Text and variant companions of the enumeration value classes, and their
// descriptor family. One table per enumeration holds its name and its literals;
// every operation is one shared function over that table, so the 207 types differ
// only in their data.
#pragma once

#include <QdIfc4/EnumValue.h>
#include <QdIfc4/Export.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcVariantTypes.h>

namespace IFC4 {
namespace detail {

struct EnumTable {
  const char* name;             // the class name, "IfcRoleEnum"
  const wchar_t* wideName;      // the descriptor's name, L"IFC4::IfcRoleEnum"
  const char* const* literals;  // the bare STEP literals in number order
  int count;                    // the number of literals, which is also UNSET
};

// The table of each enumeration is defined with the generated tables.
template <class E>
struct EnumTraits {
  static const EnumTable table;
};

// Releases the 207 enumeration descriptors, in schema order. For the module stop only.
void releaseEnumerationDescriptors() noexcept;

QDIFC4_API const char* enumToString(const EnumTable& table, int value) noexcept;
QDIFC4_API int enumFromString(const EnumTable& table, const char* text);
QDIFC4_API bool enumFromVariant(const EnumTable& table, const QD_SDAI::QdIfcVariant& source, int& value);
QDIFC4_API bool enumToValueType(const EnumTable& table, int value, const QD_SDAI::QdIfcVariantType& target,
                                QD_SDAI::QdIfcVariant& result);
// The descriptor list: "IFC4::k<Type>_<LITERAL>" for each literal, then the UNSET one.
QDIFC4_API void buildDescriptorList(const EnumTable& table, QD_SDAI::QdIfcArray<QD_SDAI::QdAnsiString*>& list);
QDIFC4_API void freeDescriptorList(QD_SDAI::QdIfcArray<QD_SDAI::QdAnsiString*>& list) noexcept;

}  // namespace detail

// The bare literal of a value; null for UNSET and any number past the last literal.
// A negative number is no value of any enumeration and must not be passed.
template <class E>
const char* enumToString(int value) noexcept {
  return detail::enumToString(detail::EnumTraits<E>::table, value);
}
template <class E>
const char* enumToString(const E& value) noexcept {
  return detail::enumToString(detail::EnumTraits<E>::table, value.value());
}
// The number of a literal, matched whole and without regard to case; UNSET for any
// other text. Dots are not stripped here: the filer hands over the bare literal.
template <class E>
int enumFromString(const char* text) {
  return detail::enumFromString(detail::EnumTraits<E>::table, text);
}
// Stores a value given as a number or a text. A number past the last literal is
// taken as UNSET and accepted; a text that is no literal stores UNSET and is refused.
template <class E>
bool enumFromVariant(const QD_SDAI::QdIfcVariant& source, E& value) {
  int v = value.value();
  bool ok = detail::enumFromVariant(detail::EnumTraits<E>::table, source, v);
  value = E(v);
  return ok;
}

}  // namespace IFC4

namespace QD_SDAI {

// The descriptor of every enumeration: one class over the enumeration's table, so
// the 207 descriptors cost one body, not 207 template instances. Values are the
// enumeration's 32-bit number.
class QDIFC4_API QdIfcVariantTypeEnum final : public QdIfcVariantTypePOD<int32_t>, public IQdIfcVariantTypeEnumeration {
 public:
  explicit QdIfcVariantTypeEnum(const IFC4::detail::EnumTable& table);
  ~QdIfcVariantTypeEnum() override;

  const IQdIfcVariantTypeEnumeration* enumeration() const override { return this; }
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override;
  bool subToString(HsString& out, const void* payload, StringFormat) const override;
  bool createVariant(QdIfcVariant& out) const override;

  int count() const override { return m_list.length(); }
  const QdAnsiString* item(int index) const override { return m_list[index]; }

 private:
  const IFC4::detail::EnumTable& m_table;
  QdIfcArray<QdAnsiString*> m_list;
};

}  // namespace QD_SDAI
