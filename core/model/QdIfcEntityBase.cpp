#include <QdIfcCore/QdIfcEntityBase.h>

#include <QdIfcCore/Dictionary.h>

#include <strings.h>

namespace QD_SDAI {

QdIfcEntityBase::~QdIfcEntityBase() {
  // An instance deleted directly, not through its model, leaves an empty slot
  // behind rather than a dangling pointer.
  if (detail::ObjectSlot* s = m_objectId.slot(); s && s->object == this) s->object = nullptr;
}

// No attribute is known here; generated classes answer from their attribute tables.
bool QdIfcEntityBase::getAttr(const QdAnsiString&, QdIfcVariant&) const { return false; }
QdIfcEntityType* QdIfcEntityBase::getInstanceType() const { return nullptr; }
bool QdIfcEntityBase::putAttr(const QdAnsiString&, const QdIfcVariant&) { return false; }
bool QdIfcEntityBase::testAttr(const QdAnsiString&) const { return false; }
void QdIfcEntityBase::unsetAttr(const QdAnsiString&) {}

bool QdIfcEntityBase::testAttr(const QdIfcAttributeDefinition* attribute) const {
  return attribute && testAttr(QdAnsiString(attribute->name()));
}

QD::ErrorStatus QdIfcEntityBase::inFields(QdSpfFilerBase*) { return QD::eOk; }
QD::ErrorStatus QdIfcEntityBase::outFields(QdSpfFilerBase*) { return QD::eOk; }
QD::ErrorStatus QdIfcEntityBase::_inFields(QdSpfFilerBase* filer) { return inFields(filer); }
QD::ErrorStatus QdIfcEntityBase::_outFields(QdSpfFilerBase* filer) { return outFields(filer); }
void QdIfcEntityBase::setInverseCounterParts() {}
void QdIfcEntityBase::resetInverseCounterParts() {}

// Attribute names are compared without regard to case throughout, so the
// case-insensitive forms are the ordinary ones.
bool QdIfcEntityBase::testAttrCaseInsensitive(const QdAnsiString& name) const { return testAttr(name); }
bool QdIfcEntityBase::unsetAttrCaseInsensitive(const QdAnsiString& name) {
  bool was = testAttr(name);
  unsetAttr(name);
  return was;
}

bool QdIfcEntityBase::_getAttr(const QdAnsiString& name, QdIfcVariant& value) const { return getAttr(name, value); }
bool QdIfcEntityBase::_putAttr(const QdAnsiString& name, const QdIfcVariant& value) { return putAttr(name, value); }
bool QdIfcEntityBase::_testAttr(const QdAnsiString& name) const { return testAttr(name); }
void QdIfcEntityBase::_unsetAttr(const QdAnsiString& name) { unsetAttr(name); }

// Generic forms through the dictionary; generated classes answer them from their
// own entity type by the numbered type tree (qdIfcIsKindOf).
bool QdIfcEntityBase::isInstanceOf(const QdIfcEntityType* type) const { return type && type == getInstanceType(); }

bool QdIfcEntityBase::isInstanceOf(const char* name) const {
  const QdIfcEntityType* own = getInstanceType();
  return name && own && strcasecmp(name, own->typeName()) == 0;
}

bool QdIfcEntityBase::isKindOf(const QdIfcEntityType* type) const {
  const QdIfcEntityType* own = getInstanceType();
  return type && own && own->isSubtypeOf(type);
}

bool QdIfcEntityBase::isKindOf(const char* name) const {
  if (!name) return false;
  for (const QdIfcEntityType* t = getInstanceType(); t; t = t->supertype())
    if (strcasecmp(name, t->typeName()) == 0) return true;
  return false;
}

}  // namespace QD_SDAI
