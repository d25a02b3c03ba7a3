#include <QdIfcCore/QdIfcPropertyBase.h>

#include <memory>

namespace QD_SDAI {

QdIfcPropertyFeature::~QdIfcPropertyFeature() = default;
QdIfcDispAsPropFeature::~QdIfcDispAsPropFeature() = default;
QdIfcHierarchicalPropFeature::~QdIfcHierarchicalPropFeature() = default;

// ---- QdIfcProperty ----

QdIfcProperty::~QdIfcProperty() {
  for (QdIfcPropertyFeature* f : m_features) delete f;
}

int QdIfcProperty::propertyKind() const { return kAttribute; }

QD::ErrorStatus QdIfcProperty::getAttribute(const QdIfcEntityBase*, QdIfcVariant&) const { return QD::eInvalidInput; }

QD::ErrorStatus QdIfcProperty::putAttribute(QdIfcEntityBase*, const QdIfcVariant&) const { return QD::eInvalidInput; }

QD::ErrorStatus QdIfcProperty::getCollection(const QdIfcEntityBase*, QdIfcHandleArray&) const {
  return QD::eInvalidInput;
}

QD::ErrorStatus QdIfcProperty::getCollectionCount(const QdIfcEntityBase*, int&) const { return QD::eInvalidInput; }

bool QdIfcProperty::isSimpleProperty() const { return false; }

void QdIfcProperty::init(const QdAnsiString& name, const QdIfcVariantType* type, const QdIfcEntityType* entityType) {
  m_name = name;
  m_type = type;
  m_entityType = entityType;
}

QdIfcCollectionProperty::~QdIfcCollectionProperty() = default;
int QdIfcCollectionProperty::propertyKind() const { return kCollection; }

// ---- QdIfcPropertyCollection ----

QdIfcPropertyCollection::~QdIfcPropertyCollection() {
  for (QdIfcProperty* p : m_properties) delete p;
}

void QdIfcPropertyCollection::add(QdIfcProperty* property) {
  if (!property) return;
  std::unique_ptr<QdIfcProperty> owned(property);
  m_properties.push_back(property);
  (void)owned.release();  // the collection owns it now
}

const QdIfcProperty* QdIfcPropertyCollection::at(int index) const noexcept {
  return index >= 0 && index < count() ? m_properties[static_cast<size_t>(index)] : nullptr;
}

const QdIfcProperty* QdIfcPropertyCollection::find(std::string_view name) const noexcept {
  for (const QdIfcProperty* p : m_properties) {
    std::string_view own = p->name().view();
    if (own.size() != name.size()) continue;
    bool same = true;
    for (size_t i = 0; i < own.size() && same; ++i) {
      auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
      same = lower(own[i]) == lower(name[i]);
    }
    if (same) return p;
  }
  return nullptr;
}

}  // namespace QD_SDAI
