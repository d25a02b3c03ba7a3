#include <QdIfc4/EnumCompanions.h>

#include <algorithm>
#include <string>

using namespace QD_SDAI;

namespace IFC4::detail {

const char* enumToString(const EnumTable& table, int value) noexcept {
  if (value >= table.count || !table.literals) return nullptr;
  return table.literals[value];
}

int enumFromString(const EnumTable& table, const char* text) {
  if (!table.literals) return table.count;
  QdAnsiString s(text);
  for (int i = 0; i < table.count; ++i)
    if (s.compareNoCase(table.literals[i]) == 0) return i;
  return table.count;
}

bool enumFromVariant(const EnumTable& table, const QdIfcVariant& source, int& value) {
  const QdIfcVariantType* tag = source.type();
  if (tag == &QdIfcVariantType::Desc<unsigned long>::value()) {
    unsigned long number = 0;
    if (!source.getValue(number)) return false;
    value = std::min(static_cast<int>(static_cast<int32_t>(number)), table.count);
    return true;
  }
  if (tag == &QdIfcVariantType::Desc<int>::value()) {
    int number = 0;
    if (!source.getValue(number)) return false;
    value = std::min(number, table.count);
    return true;
  }
  if (tag == &QdIfcVariantType::Desc<const char*>::value()) {
    const char* text = nullptr;
    if (!source.getValue(text)) return false;
    value = std::min(enumFromString(table, text), table.count);
    return value != table.count;
  }
  if (tag == &QdIfcVariantType::Desc<QdAnsiString>::value()) {
    QdAnsiString text;
    if (!source.getValue(text)) return false;
    value = std::min(enumFromString(table, text.constStr()), table.count);
    return value != table.count;
  }
  return false;
}

bool enumToValueType(const EnumTable& table, int value, const QdIfcVariantType& target, QdIfcVariant& result) {
  // The order of the tests matters: a literal is handed out as char const* even
  // when QdAnsiString is asked for.
  if (&target == &QdIfcVariantType::Desc<QdAnsiString>::value() ||
      &target == &QdIfcVariantType::Desc<const char*>::value() ||
      (&target == &QdIfcVariantType::Desc<QdIfcEnumDescription>::value() && value != table.count)) {
    result = QdIfcVariant(enumToString(table, value));
    return true;
  }
  if (&target == &QdIfcVariantType::Desc<unsigned long>::value()) {
    result = QdIfcVariant(static_cast<unsigned long>(value));
    return true;
  }
  if (&target == &QdIfcVariantType::Desc<int>::value()) {
    result = QdIfcVariant(value);
    return true;
  }
  return false;
}

void buildDescriptorList(const EnumTable& table, QdIfcArray<QdAnsiString*>& list) {
  std::string prefix = std::string("IFC4::k") + table.name + "_";
  for (int i = 0; i <= table.count; ++i) {
    std::string text = prefix + (i < table.count ? table.literals[i] : "UNSET");
    list.append(new QdAnsiString(text.c_str()));
  }
}

void freeDescriptorList(QdIfcArray<QdAnsiString*>& list) noexcept {
  for (int i = 0; i < list.length(); ++i) delete list[i];
  list.setPhysicalLength(0);
}

}  // namespace IFC4::detail

namespace QD_SDAI {

QdIfcVariantTypeEnum::QdIfcVariantTypeEnum(const IFC4::detail::EnumTable& table)
    : QdIfcVariantTypePOD<int32_t>(table.wideName), m_table(table) {
  IFC4::detail::buildDescriptorList(table, m_list);
}

QdIfcVariantTypeEnum::~QdIfcVariantTypeEnum() { IFC4::detail::freeDescriptorList(m_list); }

bool QdIfcVariantTypeEnum::subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source,
                                          QdIfcVariant& result) const {
  return IFC4::detail::enumToValueType(m_table, *static_cast<const int32_t*>(source.payload()), target, result);
}

bool QdIfcVariantTypeEnum::subToString(HsString& out, const void* payload, StringFormat) const {
  if (!payload) return false;
  out.assign(IFC4::detail::enumToString(m_table, *static_cast<const int32_t*>(payload)));
  return true;
}

bool QdIfcVariantTypeEnum::createVariant(QdIfcVariant& out) const {
  const int32_t unset = m_table.count;
  out.assignRaw(*this, &unset);
  return true;
}

}  // namespace QD_SDAI
