// Property objects: a second way into an instance's attributes, by object rather
// than by name.
//
// A QdIfcProperty stands for one attribute of one entity type. It is immutable
// after init and holds no per-instance data: getAttribute and putAttribute take
// the instance. Each entity type owns a QdIfcPropertyCollection with one property
// per attribute of its own; inherited attributes are in the supertypes'
// collections. A schema module fills the collections through the entity types'
// property builders, which run when the dictionary makes the types.
//
// The simple properties below stand instead for one property instance of a file
// (a single value, a bounded value, a quantity, a complex property): they carry the
// handle of that instance, and a module's qdIfcBuildPropertyForSimple makes them.
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

// ---- properties of property instances ----

// The common base: the handle of the instance the property stands for. Its
// getAttribute gives that handle.
class QDIFCCORE_API QdIfcSimpleProperty : public QdIfcProperty {
 public:
  QdIfcSimpleProperty() noexcept = default;
  ~QdIfcSimpleProperty() override;
  int propertyKind() const override;  // kSimple
  // The handle (the property's own if set, else entity's), as a QdDbObjectId.
  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override;
  bool isSimpleProperty() const override;  // true
  // What getAttribute gives: 0 the handle, 1 a single value, 2 a quantity, 3 a
  // bounded value.
  virtual int valueKind() const;

  const QdDbObjectId& objectId() const noexcept { return m_id; }
  void setObjectId(const QdDbObjectId& id) noexcept { m_id = id; }

 protected:
  // The instance to read: the object of the own handle, or entity when there is none.
  const QdIfcEntityBase* target(const QdIfcEntityBase* entity) const noexcept;
  QdIfcEntityBase* target(QdIfcEntityBase* entity) const noexcept;

 private:
  QdDbObjectId m_id;
};

// A property with one nominal value. getAttribute gives the value itself (a double,
// an integer, a string, a truth value, a handle), an empty variant when it is unset.
// putAttribute replaces the value, keeping its type: a double for a length
// measure stays a length measure.
class QDIFCCORE_API QdIfcPropertySingleValue : public QdIfcSimpleProperty {
 public:
  QdIfcPropertySingleValue() noexcept = default;
  ~QdIfcPropertySingleValue() override;
  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override;
  QD::ErrorStatus putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const override;
  int valueKind() const override;  // 1

  // The body both value properties write with.
  static QD::ErrorStatus putNominal(QdIfcEntityBase* target, const QdIfcVariant& value);
};

// A property with a lower and an upper bound and a set point. getAttribute gives a
// QdIfcArray<QdIfcVariant> of the three values, in that order, each empty where it
// is unset. It writes as a single value does, so it has no writable value of its own.
class QDIFCCORE_API QdIfcPropertyBoundedValue : public QdIfcSimpleProperty {
 public:
  QdIfcPropertyBoundedValue() noexcept = default;
  ~QdIfcPropertyBoundedValue() override;
  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override;
  QD::ErrorStatus putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const override;
  int valueKind() const override;  // 3
};

// A quantity: one number, read by the attribute name given at construction.
class QDIFCCORE_API QdIfcQuantityClusterProperty : public QdIfcSimpleProperty {
 public:
  explicit QdIfcQuantityClusterProperty(const char* valueName);
  ~QdIfcQuantityClusterProperty() override;
  // The quantity's value as getAttr gives it; eNotAvailable where getAttr fails.
  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override;
  QD::ErrorStatus putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const override;
  int valueKind() const override;  // 2
  const QdAnsiString& valueName() const noexcept { return m_valueName; }

 private:
  QdAnsiString m_valueName;
};

// A property made of properties. getCollection appends the members: the aggregate
// named at construction, or, where the instance has no attribute of that name, its
// one explicit aggregate of instances of its own kind (a complex property's members
// are properties, a complex quantity's are quantities).
class QDIFCCORE_API QdIfcComplexProperty : public QdIfcCollectionProperty {
 public:
  explicit QdIfcComplexProperty(const char* membersName);
  ~QdIfcComplexProperty() override;
  QD::ErrorStatus getCollection(const QdIfcEntityBase* entity, QdIfcHandleArray& members) const override;
  QD::ErrorStatus getCollectionCount(const QdIfcEntityBase* entity, int& count) const override;
  const QdAnsiString& membersName() const noexcept { return m_membersName; }

  const QdDbObjectId& objectId() const noexcept { return m_id; }
  void setObjectId(const QdDbObjectId& id) noexcept { m_id = id; }

 private:
  QD::ErrorStatus members(const QdIfcEntityBase* entity, QdIfcHandleArray& out) const;

  QdAnsiString m_membersName;
  QdDbObjectId m_id;
};

}  // namespace QD_SDAI
