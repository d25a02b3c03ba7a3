// The property interface: a second way into an instance's attributes, by object
// rather than by name.
//
// A QdIfcProperty stands for one attribute of one entity type. It is immutable
// after init and holds no per-instance data: getAttribute and putAttribute take
// the instance. Each entity type owns a QdIfcPropertyCollection with one property
// per attribute of its own; inherited attributes are in the supertypes'
// collections. A schema module fills the collections through the entity types'
// property builders, which run when the dictionary makes the types. The properties
// that stand for property instances of a file are in QdIfcProperty.h.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdIfcArray.h>
#include <QdIfcCore/QdTypes.h>

#include <string_view>
#include <vector>

namespace QD_SDAI {

class QdIfcEntityBase;
class QdIfcEntityType;
class QdIfcVariant;
class QdIfcVariantType;

// A marker a module attaches to a property; the property owns it.
class QDIFCCORE_API QdIfcPropertyFeature {
 public:
  QdIfcPropertyFeature() = default;
  QdIfcPropertyFeature(const QdIfcPropertyFeature&) = delete;
  QdIfcPropertyFeature& operator=(const QdIfcPropertyFeature&) = delete;
  virtual ~QdIfcPropertyFeature();
};

// The property is better shown as the objects it leads to than as a value.
class QDIFCCORE_API QdIfcDispAsPropFeature : public QdIfcPropertyFeature {
 public:
  ~QdIfcDispAsPropFeature() override;
};

// The property is one step down a hierarchy of objects (a decomposition, a
// spatial containment).
class QDIFCCORE_API QdIfcHierarchicalPropFeature : public QdIfcPropertyFeature {
 public:
  ~QdIfcHierarchicalPropFeature() override;
};

// The array getCollection appends to.
using QdIfcHandleArray = QdIfcArray<QdDbObjectId>;

class QDIFCCORE_API QdIfcProperty {
 public:
  // Kinds of property, as propertyKind answers.
  enum Kind : int { kAttribute = 1, kSimple = 2, kCollection = 3 };

  QdIfcProperty() noexcept = default;
  QdIfcProperty(const QdIfcProperty&) = delete;
  QdIfcProperty& operator=(const QdIfcProperty&) = delete;

  // Virtual operations, in slot order.
  virtual ~QdIfcProperty();          // deletes the features
  virtual int propertyKind() const;  // kAttribute
  // The attribute's value on entity. The base has none: eInvalidInput.
  virtual QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const;
  // Writes the attribute on entity. The base has none: eInvalidInput.
  virtual QD::ErrorStatus putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const;
  // Appends the objects one step down from entity. The base has none: eInvalidInput.
  virtual QD::ErrorStatus getCollection(const QdIfcEntityBase* entity, QdIfcHandleArray& members) const;
  // The number of handles getCollection would append. The base: eInvalidInput.
  virtual QD::ErrorStatus getCollectionCount(const QdIfcEntityBase* entity, int& count) const;
  virtual bool isSimpleProperty() const;  // false

  // Keeps a copy of name, and the two types. Called once, by the builder.
  void init(const QdAnsiString& name, const QdIfcVariantType* type, const QdIfcEntityType* entityType);

  // The attribute's name as the schema spells it ("GlobalId").
  const QdAnsiString& name() const noexcept { return m_name; }
  // The descriptor of the values getAttribute gives.
  const QdIfcVariantType* variantType() const noexcept { return m_type; }
  // The entity type whose collection holds the property.
  const QdIfcEntityType* entityType() const noexcept { return m_entityType; }

  std::vector<QdIfcPropertyFeature*>& propertyFeatures() noexcept { return m_features; }
  const std::vector<QdIfcPropertyFeature*>& propertyFeatures() const noexcept { return m_features; }
  // The first feature of class F, or null.
  template <class F>
  const F* feature() const noexcept {
    for (const QdIfcPropertyFeature* f : m_features)
      if (const F* found = dynamic_cast<const F*>(f)) return found;
    return nullptr;
  }

 private:
  QdAnsiString m_name;
  const QdIfcVariantType* m_type = nullptr;
  const QdIfcEntityType* m_entityType = nullptr;
  std::vector<QdIfcPropertyFeature*> m_features;
};

// The base of properties that lead to a collection of objects rather than to a value.
class QDIFCCORE_API QdIfcCollectionProperty : public QdIfcProperty {
 public:
  QdIfcCollectionProperty() noexcept = default;
  ~QdIfcCollectionProperty() override;
  int propertyKind() const override;  // kCollection
};

// The properties of one entity type, in the order they were added; owns them.
class QDIFCCORE_API QdIfcPropertyCollection {
 public:
  QdIfcPropertyCollection() noexcept = default;
  QdIfcPropertyCollection(const QdIfcPropertyCollection&) = delete;
  QdIfcPropertyCollection& operator=(const QdIfcPropertyCollection&) = delete;
  ~QdIfcPropertyCollection();

  // Appends property and takes it over (it is deleted if appending fails).
  void add(QdIfcProperty* property);

  int count() const noexcept { return static_cast<int>(m_properties.size()); }
  const QdIfcProperty* at(int index) const noexcept;
  // The property of that name, case ignored; null if there is none.
  const QdIfcProperty* find(std::string_view name) const noexcept;

  auto begin() const noexcept { return m_properties.cbegin(); }
  auto end() const noexcept { return m_properties.cend(); }

 private:
  std::vector<QdIfcProperty*> m_properties;
};

}  // namespace QD_SDAI
