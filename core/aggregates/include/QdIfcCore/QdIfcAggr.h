// Aggregate handles and the interfaces behind them.
//
// An aggregate member of an entity is a handle, QdIfcAggr, that points to an
// implementation. A handle with no contents points to the shared, stateless Dummy of
// its class: that is a nil aggregate (an absent optional attribute), which costs the
// handle alone. createEmpty gives it a real, empty implementation.
//
// Status numbers of this layer: 0 done; 2 refused, absent, unset or not convertible
// (ordered face); 3 not convertible (unordered face) or index off the contents;
// 270 not a compound; 390 an inner aggregate could not be made. Only at, removeAt,
// createAggrAt and insertAggrAt throw: QdIfcException 470 "Index invalid ".
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdIfcArena.h>
#include <QdIfcCore/QdIfcVariant.h>

namespace QD_SDAI {

class QdIfcAggr;
class QdIfcAggrImp;
class QdIfcAggrIterator;
class QdIfcAggrConstIterator;

enum AggrOrderType : int { kAggrOrdered = 0, kAggrUnordered = 1 };
enum AggrKind : int { kAggrKindArray = 1, kAggrKindList = 2, kAggrKindSet = 3 };

// Throws the aggregate layer's one exception.
[[noreturn]] QDIFCCORE_API void qdIfcThrowIndexInvalid();

// The variant-level face of an ordered aggregate.
class QDIFCCORE_API IOrderedManipulator {
 public:
  virtual ~IOrderedManipulator();
  virtual int getAt(int index, QdIfcVariant& out) const = 0;
  virtual int putAt(int index, const QdIfcVariant& value) = 0;
  virtual int removeAt(int index) = 0;
  virtual int insertAggrAt(int index, QdIfcAggr*& out) = 0;
  virtual int checkIndex(int index, int& out) const = 0;
};

// The variant-level face of an unordered aggregate.
class QDIFCCORE_API IUnorderdManiplator {
 public:
  virtual ~IUnorderdManiplator();
  virtual int addVariant(const QdIfcVariant& value) = 0;
  virtual int removeVariant(const QdIfcVariant& value) = 0;
};

class QDIFCCORE_API QdIfcAggrImp {
 public:
  QdIfcAggrImp() = default;
  QdIfcAggrImp(const QdIfcAggrImp&) = default;
  QdIfcAggrImp& operator=(const QdIfcAggrImp&) = delete;

  virtual ~QdIfcAggrImp();
  // From the arena current on the thread, else the heap (see QdIfcArena).
  static void* operator new(size_t size) { return QdIfcArena::allocateObject(size); }
  static void operator delete(void* p, size_t size) noexcept { QdIfcArena::releaseObject(p, size); }
  static void* operator new(size_t, void* place) noexcept { return place; }
  static void operator delete(void*, void*) noexcept {}
  // A new iterator positioned before the first element; null if owner is nil or
  // does not hold this implementation.
  virtual QdIfcAggrIterator* createIterator(QdIfcAggr* owner) = 0;
  virtual QdIfcAggrConstIterator* createConstIterator(const QdIfcAggr* owner) const = 0;
  virtual int aggrKind() const = 0;
  virtual int aggrOrder() const = 0;
  virtual void clearAll() = 0;
  virtual int count() const = 0;
  virtual int lowerIndex() const = 0;
  virtual int upperIndex() const = 0;
  virtual bool containsVariant(const QdIfcVariant& value) const = 0;
  virtual const QdIfcVariantType& elementType();
  virtual AggrOrderType aggrContainerType() const;
  virtual IOrderedManipulator* orderedManipulator() = 0;
  virtual IUnorderdManiplator* unorderedManipulator() = 0;
  virtual const IOrderedManipulator* orderedManipulator() const = 0;
  virtual const IUnorderdManiplator* unorderedManipulator() const = 0;
  virtual const QdIfcVariantType& elementType() const = 0;
  virtual QdIfcAggrImp* createEmptyImp() const = 0;
  virtual QdIfcAggrImp* cloneImp() const = 0;
  virtual QdIfcAggrImp* dummyImp() const = 0;
  // A new handle of the class this implementation belongs to, owning imp.
  virtual QdIfcAggr* createHandle(QdIfcAggrImp* imp) const = 0;
};

class QDIFCCORE_API QdIfcAggr {
 public:
  virtual ~QdIfcAggr();
  // Handles made with new (the inner lists of a list of lists) come from the arena
  // current on the thread, else the heap (see QdIfcArena).
  static void* operator new(size_t size) { return QdIfcArena::allocateObject(size); }
  static void operator delete(void* p, size_t size) noexcept { QdIfcArena::releaseObject(p, size); }
  static void* operator new(size_t, void* place) noexcept { return place; }
  static void operator delete(void*, void*) noexcept {}

  int count() const { return m_imp->count(); }
  bool isNil() const { return m_imp == m_imp->dummyImp(); }
  QdIfcAggrIterator* createIterator() { return m_imp->createIterator(this); }
  QdIfcAggrConstIterator* createConstIterator() const { return m_imp->createConstIterator(this); }
  AggrOrderType aggrOrderType() const { return m_imp->aggrOrder() == 0 ? kAggrOrdered : kAggrUnordered; }
  // Back to nil: the contents and their storage are freed.
  void clear();
  // Nil to empty; an aggregate that is not nil stays as it is. True on success.
  bool createEmpty();
  // A deep copy in a new handle of the same class; the caller owns it.
  QdIfcAggr* clone() const;

  QdIfcAggrImp* imp() const noexcept { return m_imp; }
  const QdIfcVariantType& elementType() const { return static_cast<const QdIfcAggrImp*>(m_imp)->elementType(); }
  int lowerIndex() const { return m_imp->lowerIndex(); }
  int upperIndex() const { return m_imp->upperIndex(); }
  bool containsVariant(const QdIfcVariant& value) const { return m_imp->containsVariant(value); }
  IOrderedManipulator* orderedManipulator() { return m_imp->orderedManipulator(); }
  const IOrderedManipulator* orderedManipulator() const {
    return static_cast<const QdIfcAggrImp*>(m_imp)->orderedManipulator();
  }
  IUnorderdManiplator* unorderedManipulator() { return m_imp->unorderedManipulator(); }

 protected:
  explicit QdIfcAggr(QdIfcAggrImp* imp) noexcept : m_imp(imp) {}
  // An independent copy: the contents are cloned, a nil aggregate stays nil.
  QdIfcAggr(const QdIfcAggr& other) : m_imp(other.m_imp->cloneImp()) {}
  QdIfcAggr& operator=(const QdIfcAggr& other);

  QdIfcAggrImp* m_imp;
};

class QDIFCCORE_API QdIfcOrderedAggr : public QdIfcAggr {
 public:
  template <class T>
  class QdIfcOrderedAggrImp;

 protected:
  explicit QdIfcOrderedAggr(QdIfcAggrImp* imp) noexcept : QdIfcAggr(imp) {}
  QdIfcOrderedAggr(const QdIfcOrderedAggr& other) = default;
  QdIfcOrderedAggr& operator=(const QdIfcOrderedAggr& other) = default;
};

class QDIFCCORE_API QdIfcUnOrderedAggr : public QdIfcAggr {
 public:
  template <class T>
  class QdIfcUnorderedAggrImp;

 protected:
  explicit QdIfcUnOrderedAggr(QdIfcAggrImp* imp) noexcept : QdIfcAggr(imp) {}
  QdIfcUnOrderedAggr(const QdIfcUnOrderedAggr& other) = default;
  QdIfcUnOrderedAggr& operator=(const QdIfcUnOrderedAggr& other) = default;
};

// Walks an aggregate and hands out its elements as variants; may write. Created by
// the aggregate, deleted by the caller.
//   while (it->next()) { it->getValue(v); ... }
// Status numbers: 0 done; 380 done, by a set's insertBeforeCurrent; 390 a value for
// insertion does not convert; 400 setValue on an empty aggregate; 440 a value for
// setValue does not convert; 490 previous when before the first element already;
// 500 not supported by this aggregate.
class QDIFCCORE_API QdIfcAggrIterator {
 public:
  virtual ~QdIfcAggrIterator();
  virtual void rewind() = 0;
  virtual bool isEnd() const = 0;
  virtual bool next() = 0;
  virtual int previous() = 0;
  virtual bool getValue(QdIfcVariant& out) const = 0;
  virtual int setValue(const QdIfcVariant& value) = 0;
  virtual int insertBeforePrevious(const QdIfcVariant& value) = 0;
  virtual int insertBeforeCurrent(const QdIfcVariant& value) = 0;
  virtual bool removeCurrent() = 0;
  virtual void toEnd() = 0;
  virtual void toFirst() = 0;
  virtual int newAggrReplacing(QdIfcAggr*& out) = 0;
  virtual int newAggrBefore(QdIfcAggr*& out) = 0;
  virtual int newAggrAfter(QdIfcAggr*& out) = 0;
  virtual int count() const = 0;
};

// The read-only walk. Its next() answers true once more than there are elements:
// on that pass getValue answers false, so loops test getValue.
class QDIFCCORE_API QdIfcAggrConstIterator {
 public:
  virtual ~QdIfcAggrConstIterator();
  virtual void rewind() = 0;
  virtual bool isEnd() const = 0;
  virtual bool next() = 0;
  virtual bool getValue(QdIfcVariant& out) const = 0;
  virtual void toEnd() = 0;
  virtual void toFirst() = 0;
  virtual int count() const = 0;
  // The address of the current element in the container, unchecked.
  virtual const void* currentElement() const = 0;
};

}  // namespace QD_SDAI
