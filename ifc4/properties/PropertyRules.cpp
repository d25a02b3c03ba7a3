// The shared bodies of the property templates.
#include <QdIfc4/PropertyTemplates.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcSettings.h>
#include <QdIfcCore/TextEncodeDecode.h>

#include <cstring>

namespace IFC4::detail {

using namespace QD_SDAI;

void textToVariant(const QdAnsiString& member, QdIfcVariant& value) {
  // Unset text stays unset: decoded, its marker byte would read as a character.
  if (member.isUnset()) {
    value = QdIfcVariant(member);
    return;
  }
  HsString text;
  if (settings().get_useUTF8()) {
    text = HsString(member.constStr(), HsString::kUtf8);
  } else {
    TextEncodeDecode codec;
    codec.decodeText(member, text, TextEncodeDecode::kStepString);
  }
  const char* utf8 = text.utf8Ptr();
  // The length counts the terminating zero; the string ends before it all the same.
  value = QdIfcVariant(QdAnsiString(utf8, static_cast<int>(std::strlen(utf8)) + 1, CP_UTF_8));
}

bool textFromVariant(const QdIfcVariant& value, QdAnsiString& out) {
  const HsString* text = value.ptr<HsString>();
  if (!text) return false;
  if (settings().get_useUTF8()) {
    const char* utf8 = text->utf8Ptr();
    out = QdAnsiString(utf8, static_cast<int>(std::strlen(utf8)), CP_UTF_8);
  } else {
    QdAnsiString encoded;
    TextEncodeDecode codec;
    codec.encodeText(*text, encoded, TextEncodeDecode::kStepString);
    out = encoded;
  }
  return true;
}

const QdIfcAttrRow* rowOf(const QdIfcProperty& property) {
  const QdIfcEntityType* type = property.entityType();
  const QdIfcClassTable* table = type ? type->classTable() : nullptr;
  return table ? table->find(QdIfcAttrOp::kGet, property.name().view()) : nullptr;
}

bool getByRow(const QdIfcEntityBase* entity, const QdIfcProperty& property, const QdIfcAttrRow* row,
              QdIfcVariant& value) {
  const QdIfcEntityType* type = entity->getInstanceType();
  const QdIfcClassTable* table = type ? type->classTable() : nullptr;
  // An entity of another type answers by name, as its own getAttr does (for a name it lacks: false).
  if (!table || !row || !type->isSubtypeOf(property.entityType())) return entity->getAttr(property.name(), value);
  return table->getAttr(entity, *row, value);
}

QD::ErrorStatus collectRelated(const QdIfcEntityBase* entity, const QdIfcProperty& inverse,
                               const QdIfcAttrRow* inverseRow, const char* related, QdIfcHandleArray* members,
                               int* count) {
  if (!entity) return QD::eNotAvailable;
  if (count) *count = 0;
  QdIfcVariant v;
  QdIfcArray<QdDbObjectId> relationships;
  if (!getByRow(entity, inverse, inverseRow, v) || !v.getValue(relationships)) return QD::eNotAvailable;
  const QdAnsiString relatedName(related);
  for (const QdDbObjectId& id : relationships) {
    QdIfcEntityBase* relationship = id.openObject(kForRead, false);
    if (!relationship) continue;
    QdIfcVariant r;
    QdIfcArray<QdDbObjectId> objects;
    if (relationship->getAttr(relatedName, r) && r.getValue(objects)) {
      if (members)
        for (const QdDbObjectId& o : objects) members->append(o);
      if (count) *count += objects.length();
    }
    relationship->close();
  }
  return QD::eOk;
}

void noProperties(QdIfcPropertyCollection*, const QdIfcEntityType*) {}

}  // namespace IFC4::detail
