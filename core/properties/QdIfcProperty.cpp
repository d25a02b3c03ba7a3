#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcProperty.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <memory>

namespace QD_SDAI {

// ---- properties of property instances ----

namespace {

// The plain value a select holds, as a variant of its own type; empty when the
// select holds nothing. Values of other kinds (enumerations, aggregates) travel
// as their text.
QdIfcVariant plainValueOf(const QdIfcSelect& s) {
  switch (s.getKind()) {
    case kQdTypeNone: return QdIfcVariant();
    case kQdTypeReal: {
      double d = 0;
      return s.getDouble(d) ? QdIfcVariant(d) : QdIfcVariant();
    }
    case kQdTypeInteger: {
      int i = 0;
      return s.getInt32(i) ? QdIfcVariant(i) : QdIfcVariant();
    }
    case kQdTypeString:
    case kQdTypeBinary: {
      QdAnsiString text;
      return s.getString(text) ? QdIfcVariant(text) : QdIfcVariant();
    }
    case kQdTypeBoolean: {
      QdIfcBoolean b;
      return s.getBoolean(b) ? QdIfcVariant(b) : QdIfcVariant();
    }
    case kQdTypeLogical: {
      QdIfcLogical l;
      return s.getLogical(l) ? QdIfcVariant(l) : QdIfcVariant();
    }
    case kQdTypeEntity: return QdIfcVariant(s.getHandle());
    default: {
      HsString text;
      if (!_subToString(text, &s, kStringFormatPlain)) return QdIfcVariant();
      return QdIfcVariant(QdAnsiString(text.utf8()));
    }
  }
}

// The select an attribute of entity names, as getAttr hands it out; null when the
// entity has no such attribute or it is no select.
QdIfcSelect* selectOf(const QdIfcEntityBase* entity, const char* name) {
  QdIfcVariant v;
  QdIfcSelect* s = nullptr;
  if (!entity || !entity->getAttr(QdAnsiString(name), v) || !v.getValue(s)) return nullptr;
  return s;
}

}  // namespace

QdIfcSimpleProperty::~QdIfcSimpleProperty() = default;
int QdIfcSimpleProperty::propertyKind() const { return kSimple; }
bool QdIfcSimpleProperty::isSimpleProperty() const { return true; }
int QdIfcSimpleProperty::valueKind() const { return 0; }

const QdIfcEntityBase* QdIfcSimpleProperty::target(const QdIfcEntityBase* entity) const noexcept {
  if (QdIfcEntityBase* own = m_id.openObject()) return own;
  return entity;
}

QdIfcEntityBase* QdIfcSimpleProperty::target(QdIfcEntityBase* entity) const noexcept {
  if (QdIfcEntityBase* own = m_id.openObject()) return own;
  return entity;
}

QD::ErrorStatus QdIfcSimpleProperty::getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const {
  const QdIfcEntityBase* t = target(entity);
  if (!t) return QD::eInvalidInput;
  value = QdIfcVariant(t->objectId());
  return QD::eOk;
}

QdIfcPropertySingleValue::~QdIfcPropertySingleValue() = default;
int QdIfcPropertySingleValue::valueKind() const { return 1; }

QD::ErrorStatus QdIfcPropertySingleValue::getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const {
  const QdIfcEntityBase* t = target(entity);
  if (!t) return QD::eInvalidInput;
  const QdIfcSelect* s = selectOf(t, "nominalvalue");
  if (!s) return QD::eNotAvailable;
  value = plainValueOf(*s);
  return QD::eOk;
}

QD::ErrorStatus QdIfcPropertySingleValue::putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const {
  QdIfcEntityBase* t = target(entity);
  if (!t) return QD::eInvalidInput;
  return putNominal(t, value);
}

QD::ErrorStatus QdIfcPropertySingleValue::putNominal(QdIfcEntityBase* target, const QdIfcVariant& value) {
  QdIfcSelect* s = selectOf(target, "nominalvalue");
  if (!s) return QD::eNotAvailable;
  // The member held stays: only a value of its form is taken.
  bool done = false;
  switch (s->getKind()) {
    case kQdTypeReal:
      if (const double* d = value.ptr<double>()) done = s->setDouble(*d);
      break;
    case kQdTypeInteger:
      if (const int* i = value.ptr<int>()) done = s->setInt32(*i);
      break;
    case kQdTypeString:
      if (const QdAnsiString* text = value.ptr<QdAnsiString>()) done = s->setString(*text);
      break;
    case kQdTypeBoolean:
      if (const QdIfcBoolean* b = value.ptr<QdIfcBoolean>()) done = s->setBoolean(*b);
      break;
    case kQdTypeLogical:
      if (const QdIfcLogical* l = value.ptr<QdIfcLogical>()) done = s->setLogical(*l);
      break;
    case kQdTypeEntity:
      if (const QdDbObjectId* id = value.ptr<QdDbObjectId>()) done = s->setHandle(*id);
      break;
    default: break;
  }
  return done ? QD::eOk : QD::eInvalidInput;
}

QdIfcPropertyBoundedValue::~QdIfcPropertyBoundedValue() = default;
int QdIfcPropertyBoundedValue::valueKind() const { return 3; }

QD::ErrorStatus QdIfcPropertyBoundedValue::getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const {
  const QdIfcEntityBase* t = target(entity);
  if (!t) return QD::eInvalidInput;
  QdIfcArray<QdIfcVariant> values;
  for (const char* name : {"lowerboundvalue", "upperboundvalue", "setpointvalue"}) {
    const QdIfcSelect* s = selectOf(t, name);
    if (!s) return QD::eNotAvailable;
    values.append(plainValueOf(*s));
  }
  value = QdIfcVariant(values);
  return QD::eOk;
}

// A bounded value writes as a single value does: it has no nominal value, so the
// write finds nothing to change.
QD::ErrorStatus QdIfcPropertyBoundedValue::putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const {
  QdIfcEntityBase* t = target(entity);
  if (!t) return QD::eInvalidInput;
  return QdIfcPropertySingleValue::putNominal(t, value);
}

QdIfcQuantityClusterProperty::QdIfcQuantityClusterProperty(const char* valueName) : m_valueName(valueName) {}
QdIfcQuantityClusterProperty::~QdIfcQuantityClusterProperty() = default;
int QdIfcQuantityClusterProperty::valueKind() const { return 2; }

QD::ErrorStatus QdIfcQuantityClusterProperty::getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const {
  const QdIfcEntityBase* t = target(entity);
  if (!t) return QD::eInvalidInput;
  return t->getAttr(m_valueName, value) ? QD::eOk : QD::eNotAvailable;
}

QD::ErrorStatus QdIfcQuantityClusterProperty::putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const {
  QdIfcEntityBase* t = target(entity);
  if (!t || value.isEmpty()) return QD::eInvalidInput;
  return t->putAttr(m_valueName, value) ? QD::eOk : QD::eInvalidInput;
}

QdIfcComplexProperty::QdIfcComplexProperty(const char* membersName) : m_membersName(membersName) {}
QdIfcComplexProperty::~QdIfcComplexProperty() = default;

QD::ErrorStatus QdIfcComplexProperty::members(const QdIfcEntityBase* entity, QdIfcHandleArray& out) const {
  const QdIfcEntityBase* t = m_id.openObject();
  if (!t) t = entity;
  if (!t) return QD::eNotAvailable;
  QdIfcVariant v;
  if (t->getAttr(m_membersName, v)) return v.getValue(out) ? QD::eOk : QD::eNotAvailable;
  // No attribute of that name: the one explicit aggregate whose elements are of
  // the instance's own kind holds the members.
  const QdIfcEntityType* type = t->getInstanceType();
  if (!type) return QD::eNotAvailable;
  for (const QdIfcAttributeDefinition* a : type->allAttributes()) {
    if (!a->asExplicitAttributeDefinition() || !a->type()) continue;
    const QdIfcAggregationType* aggregate = a->type()->asAggregationType();
    if (!aggregate && a->type()->asNameType() && a->type()->asNameType()->asDefinedType())
      aggregate = a->type()->asNameType()->asDefinedType()->wrappedAggregate();
    const QdIfcParameterType* element = aggregate ? aggregate->elementType() : nullptr;
    const QdIfcNameType* named = element ? element->asNameType() : nullptr;
    const QdIfcEntityType* elementType = named ? named->asEntityType() : nullptr;
    if (!elementType || !t->isKindOf(elementType)) continue;
    if (t->getAttr(QdAnsiString(a->name()), v) && v.getValue(out)) return QD::eOk;
  }
  return QD::eNotAvailable;
}

QD::ErrorStatus QdIfcComplexProperty::getCollection(const QdIfcEntityBase* entity, QdIfcHandleArray& members) const {
  QdIfcHandleArray found;
  QD::ErrorStatus status = this->members(entity, found);
  if (status != QD::eOk) return status;
  for (const QdDbObjectId& id : found) members.append(id);
  return QD::eOk;
}

QD::ErrorStatus QdIfcComplexProperty::getCollectionCount(const QdIfcEntityBase* entity, int& count) const {
  QdIfcHandleArray found;
  QD::ErrorStatus status = members(entity, found);
  if (status != QD::eOk) return status;
  count = found.length();
  return QD::eOk;
}

}  // namespace QD_SDAI
