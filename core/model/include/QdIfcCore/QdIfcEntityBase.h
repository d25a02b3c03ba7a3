// QdIfcEntityBase: the base of every entity class of every schema module.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdIfcArena.h>
#include <QdIfcCore/QdTypes.h>

namespace QD_SDAI {

class QdIfcVariant;
class QdIfcEntityType;
class QdIfcAttributeDefinition;
class QdSpfFilerBase;
class QdIfcModel;

class QDIFCCORE_API QdIfcEntityBase : public QdIfcObject {
 public:
  // An object with no model and a null own handle.
  QdIfcEntityBase() noexcept = default;
  // A copy is a new object: it belongs to no model, so its own handle is null.
  QdIfcEntityBase(const QdIfcEntityBase&) noexcept {}
  // Assignment copies attribute values only; an object keeps its own identity.
  QdIfcEntityBase& operator=(const QdIfcEntityBase&) noexcept { return *this; }

  // The virtual operations, in their fixed slot order. Generated classes override
  // the ones marked "each"; the others stay the base's.
  virtual bool getAttr(const QdAnsiString& name, QdIfcVariant& value) const;  // each
  virtual ~QdIfcEntityBase();                                                 // each
  virtual QdIfcEntityType* getInstanceType() const;                           // each
  virtual bool putAttr(const QdAnsiString& name, const QdIfcVariant& value);  // each
  virtual bool testAttr(const QdIfcAttributeDefinition* attribute) const;
  virtual bool testAttr(const QdAnsiString& name) const;     // each
  virtual void unsetAttr(const QdAnsiString& name);          // each
  virtual QD::ErrorStatus inFields(QdSpfFilerBase* filer);   // each
  virtual QD::ErrorStatus outFields(QdSpfFilerBase* filer);  // each
  virtual QD::ErrorStatus _inFields(QdSpfFilerBase* filer);
  virtual QD::ErrorStatus _outFields(QdSpfFilerBase* filer);
  virtual void setInverseCounterParts();
  virtual void resetInverseCounterParts();
  virtual bool testAttrCaseInsensitive(const QdAnsiString& name) const;
  virtual bool unsetAttrCaseInsensitive(const QdAnsiString& name);
  virtual bool _getAttr(const QdAnsiString& name, QdIfcVariant& value) const;
  virtual bool _putAttr(const QdAnsiString& name, const QdIfcVariant& value);
  virtual bool _testAttr(const QdAnsiString& name) const;
  virtual void _unsetAttr(const QdAnsiString& name);
  virtual bool isInstanceOf(const QdIfcEntityType* type) const;  // each
  virtual bool isInstanceOf(const char* name) const;             // each
  virtual bool isKindOf(const QdIfcEntityType* type) const;      // each
  virtual bool isKindOf(const char* name) const;                 // each

  // Objects come from the arena current on the thread (a model's, while a file is
  // read into it), else from the heap; delete works on both, from any thread.
  static void* operator new(size_t size) { return QdIfcArena::allocateObject(size); }
  static void operator delete(void* p, size_t size) noexcept { QdIfcArena::releaseObject(p, size); }
  static void* operator new(size_t, void* place) noexcept { return place; }
  static void operator delete(void*, void*) noexcept {}

  // Ends an openObject. Objects are not locked while open, so this only reports success.
  QD::ErrorStatus close() noexcept { return QD::eOk; }
  // The model the object belongs to, or null.
  QdIfcModel* owningModel() const noexcept { return m_objectId.model(); }
  // The object's own handle; null for an object in no model.
  const QdDbObjectId& objectId() const noexcept { return m_objectId; }

 protected:
  // First data member: generated classes read it directly.
  QdDbObjectId m_objectId;

  friend class QdIfcModel;
};

}  // namespace QD_SDAI
