#include "AttrAccess.h"

#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcInverseBatch.h>

namespace IFC4::detail {

void throwNoAccess(const char* where) { throw QD_SDAI::QdIfcException(190, "SDAI-model access not defined", where); }

void throwNotReadWrite(const char* where) {
  throw QD_SDAI::QdIfcException(180, "SDAI-model access not read-write", where);
}

const void* scalarSource(const QdIfcVariant& value, const QdIfcVariantType& target, QdIfcVariant& scratch) {
  const QdIfcVariantType* source = value.type();
  if (source == &target) return value.payload();
  if (!source) return nullptr;
  if (!source->toValueType(target, value, scratch) && !target.fromValueType(value, scratch)) return nullptr;
  return scratch.type() == &target ? scratch.payload() : nullptr;
}

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

void addInverse(QD_SDAI::QdIfcSetAggr<QdDbObjectId>& inverse, const QdDbObjectId& self) {
  // While the model links in bulk, the addition goes to the batch it was given.
  const QD_SDAI::QdIfcModel* model = self.model();
  if (QD_SDAI::QdIfcInverseBatch* batch = model ? model->inverseBatch() : nullptr) {
    batch->defer(inverse, self);
    return;
  }
  if (inverse.isNil()) inverse.createEmpty();
  inverse.add(self);
}

}  // namespace IFC4::detail
