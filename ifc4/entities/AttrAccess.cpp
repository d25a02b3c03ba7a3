#include "AttrAccess.h"

namespace IFC4::detail {

EnumInput enumSource(const QdIfcVariant& value, const EnumTable& table, int& out) {
  const int unsetValue = table.count;
  if (const unsigned long* u = value.ptr<unsigned long>()) {
    out = *u > static_cast<unsigned long>(unsetValue) ? unsetValue : static_cast<int>(*u);
    return EnumInput::kStored;
  }
  if (const int* i = value.ptr<int>()) {
    // Compared as signed: a negative number is stored as it stands.
    out = *i > unsetValue ? unsetValue : *i;
    return EnumInput::kStored;
  }
  const char* text = nullptr;
  if (const char* const* t = value.ptr<const char*>()) text = *t;
  else if (const QdAnsiString* s = value.ptr<QdAnsiString>()) text = s->constStr();
  else return EnumInput::kRefused;
  int found = text ? enumFromString(table, text) : unsetValue;
  out = found > unsetValue ? unsetValue : found;
  return out == unsetValue ? EnumInput::kStoredUnset : EnumInput::kStored;
}

}  // namespace IFC4::detail
