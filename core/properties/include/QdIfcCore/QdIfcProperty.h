// Property objects. The interface and the per-type collections are in
// QdIfcPropertyBase.h (the dictionary owns the collections); this header adds the
// properties that read property instances.
//
// The simple properties below stand for one property instance of a file
// (a single value, a bounded value, a quantity, a complex property): they carry the
// handle of that instance, and a module's qdIfcBuildPropertyForSimple makes them.
#pragma once

#include <QdIfcCore/QdIfcPropertyBase.h>

namespace QD_SDAI {

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
