// The module's export that turns a property or quantity instance into one of the
// core's property objects.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcProperty.h>
#include <QdIfcCore/QdIfcVariant.h>

namespace {

using namespace QD_SDAI;

// The kind of a single value's nominal value, as its select converts it to a
// QdTypeCodeKind; typeKind is left alone where there is none.
void nominalKind(QdIfcEntityBase* entity, unsigned int* typeKind) {
  QdIfcVariant v;
  if (!entity->getAttr(QdAnsiString("nominalvalue"), v)) return;
  const QdIfcVariantType& d = QdIfcVariantType::Desc<QdTypeCodeKind>::value();
  if (v.type() == &d) {
    *typeKind = static_cast<unsigned int>(*static_cast<const QdTypeCodeKind*>(v.payload()));
    return;
  }
  QdIfcVariant c;
  bool converted = v.type() && v.type()->toValueType(d, v, c);
  if (!converted) converted = d.fromValueType(v, c);
  if (converted && c.type() == &d)
    *typeKind = static_cast<unsigned int>(*static_cast<const QdTypeCodeKind*>(c.payload()));
}

}  // namespace

extern "C" QDIFC4_API bool qdIfcBuildPropertyForSimple(QdIfcEntityBase* entity, QdIfcProperty** property,
                                                       unsigned int* typeKind) {
  using namespace IFC4;
  *property = nullptr;
  const QdIfcEntityType* type = entity->getInstanceType();
  if (type == IfcPropertySingleValue::g_pEntityType) {
    *property = new QdIfcPropertySingleValue();
    nominalKind(entity, typeKind);
    return false;
  }
  if (type == IfcPropertyBoundedValue::g_pEntityType) {
    *property = new QdIfcPropertyBoundedValue();
    return true;
  }
  if (type == IfcComplexProperty::g_pEntityType || type == IfcPhysicalComplexQuantity::g_pEntityType) {
    *property = new QdIfcComplexProperty("hasQuantities");
    *typeKind = kQdTypeString;
    return true;
  }
  const char* quantity = nullptr;
  if (type == IfcQuantityArea::g_pEntityType) quantity = "areavalue";
  else if (type == IfcQuantityCount::g_pEntityType) quantity = "countvalue";
  else if (type == IfcQuantityLength::g_pEntityType) quantity = "lengthvalue";
  else if (type == IfcQuantityTime::g_pEntityType) quantity = "timevalue";
  else if (type == IfcQuantityVolume::g_pEntityType) quantity = "volumevalue";
  else if (type == IfcQuantityWeight::g_pEntityType) quantity = "weightvalue";
  if (!quantity) return false;
  *property = new QdIfcQuantityClusterProperty(quantity);
  *typeKind = kQdTypeReal;  // every quantity is announced as a real, the count among them
  return true;
}
