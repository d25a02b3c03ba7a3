// The property objects of the IFC4 classes: one template per value kind.
//
// Every generated IFC4::<Entity><Attribute>Property derives from one of these,
// with the attribute's accessors as template arguments, and adds nothing. The
// templates hold no data: a property reads and writes the instance it is given,
// which is presumed to be of the entity's class or a subclass (the collection that
// holds the property is that class's).
//
//   PlainProperty         numbers, truth values, the GUID, the binary, references:
//                         the accessor's value; writes take exactly that type
//   TextProperty          strings: read as UTF-8 QdAnsiString, written from HsString
//   ArrayProperty         aggregates: read into and written from QdIfcArray
//   ReadOnlyProperty      single inverses: the accessor's handle, no write
//   ArrayReadProperty     inverse sets (InverseArrayProperty): read into QdIfcArray, no write
//   EnumProperty          enumerations: read as getAttr gives them, by the attribute's
//                         row in the entity type's table; no write
//   SelectProperty        selects: neither (their values are reached with getAttr)
//   HierarchyProperty     a decomposition or containment, walked through the
//                         relationship objects it lists
#pragma once

#include <QdIfc4/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdIfcArray.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcProperty.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <cstddef>
#include <memory>
#include <type_traits>

namespace IFC4::detail {

using QD_SDAI::QdIfcEntityBase;
using QD_SDAI::QdIfcVariant;

// The class and value type of an accessor `R (C::*)() const`.
template <class M>
struct AccessorOf;
template <class C, class R>
struct AccessorOf<R (C::*)() const> {
  using Class = C;
  using Value = std::remove_cvref_t<R>;
};

// ---- shared bodies, one copy each ----

// Text as the property gives it: the member's transported text (or UTF-8 text,
// when the settings say members hold UTF-8) as a UTF-8 QdAnsiString.
QDIFC4_API void textToVariant(const QD_SDAI::QdAnsiString& member, QdIfcVariant& value);
// The member text for an HsString variant; false, with out unchanged, for any other variant.
QDIFC4_API bool textFromVariant(const QdIfcVariant& value, QD_SDAI::QdAnsiString& out);
// The row of a property's attribute in its entity type's table: found once, when the
// builder adds the property. Null where the type's class has no table.
QDIFC4_API const QD_SDAI::QdIfcAttrRow* rowOf(const QD_SDAI::QdIfcProperty& property);
// What getAttr gives for a property's attribute: by its row (with the access test of
// the entity's own class) when the entity is of the property's entity type; by name
// otherwise, or without a row.
QDIFC4_API bool getByRow(const QdIfcEntityBase* entity, const QD_SDAI::QdIfcProperty& property,
                         const QD_SDAI::QdIfcAttrRow* row, QdIfcVariant& value);
// The walk of a hierarchy property: each relationship of the entity's inverse (its
// row, or its name), opened, gives its aggregate `related`. Appends to members when it
// is not null, and counts into count when that is not null.
QDIFC4_API QD::ErrorStatus collectRelated(const QdIfcEntityBase* entity, const QD_SDAI::QdIfcProperty& inverse,
                                          const QD_SDAI::QdIfcAttrRow* inverseRow, const char* related,
                                          QD_SDAI::QdIfcHandleArray* members, int* count);

// ---- the templates ----

template <auto Get>
class ReadOnlyProperty : public QD_SDAI::QdIfcProperty {
 public:
  using Class = typename AccessorOf<decltype(Get)>::Class;
  using Value = typename AccessorOf<decltype(Get)>::Value;

  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override {
    if (!entity) return QD::eInvalidInput;
    value = QdIfcVariant((static_cast<const Class*>(entity)->*Get)());
    return QD::eOk;
  }
};

template <auto Get, auto Set>
class PlainProperty : public ReadOnlyProperty<Get> {
 public:
  using typename ReadOnlyProperty<Get>::Class;
  using typename ReadOnlyProperty<Get>::Value;

  // No conversion: a double attribute refuses an int variant.
  QD::ErrorStatus putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const override {
    const Value* v = value.ptr<Value>();
    if (!entity || !v) return QD::eInvalidInput;
    (static_cast<Class*>(entity)->*Set)(*v);
    return QD::eOk;
  }
};

template <auto Get, auto Set>
class TextProperty : public QD_SDAI::QdIfcProperty {
 public:
  using Class = typename AccessorOf<decltype(Get)>::Class;
  using Value = QD_SDAI::QdAnsiString;

  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override {
    if (!entity) return QD::eInvalidInput;
    textToVariant((static_cast<const Class*>(entity)->*Get)(), value);
    return QD::eOk;
  }
  // Takes an HsString variant only (not the QdAnsiString variant it reads), so a
  // value read cannot be written back as it stands.
  QD::ErrorStatus putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const override {
    QD_SDAI::QdAnsiString text;
    if (!entity || !textFromVariant(value, text)) return QD::eInvalidInput;
    (static_cast<Class*>(entity)->*Set)(text);
    return QD::eOk;
  }
};

// A is the accessor's QdIfcArray type: QdIfcArray<T>, or QdIfcArray<QdIfcArray<T>>
// for a list of lists.
template <class E, class A, void (E::*Get)(A&) const>
class ArrayReadProperty : public QD_SDAI::QdIfcProperty {
 public:
  using Value = A;

  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override {
    if (!entity) return QD::eInvalidInput;
    A elements;
    elements.setGrowLength(8);
    (static_cast<const E*>(entity)->*Get)(elements);
    value = QdIfcVariant(elements);
    return QD::eOk;
  }
};

template <class E, class A, void (E::*Get)(A&) const, void (E::*Set)(const A&)>
class ArrayProperty : public ArrayReadProperty<E, A, Get> {
 public:
  QD::ErrorStatus putAttribute(QdIfcEntityBase* entity, const QdIfcVariant& value) const override {
    const A* elements = value.ptr<A>();
    if (!entity || !elements) return QD::eInvalidInput;
    (static_cast<E*>(entity)->*Set)(*elements);
    return QD::eOk;
  }
};

template <class E, void (E::*Get)(QD_SDAI::QdIfcArray<QD_SDAI::QdDbObjectId>&) const>
using InverseArrayProperty = ArrayReadProperty<E, QD_SDAI::QdIfcArray<QD_SDAI::QdDbObjectId>, Get>;

// The value arrives as getAttr gives it; the property's name is the attribute's.
template <class Enum>
class EnumProperty : public QD_SDAI::QdIfcProperty {
 public:
  using Value = Enum;

  void bindRow() { m_row = rowOf(*this); }
  QD::ErrorStatus getAttribute(const QdIfcEntityBase* entity, QdIfcVariant& value) const override {
    if (!entity) return QD::eInvalidInput;
    return getByRow(entity, *this, m_row, value) ? QD::eOk : QD::eNotAvailable;
  }

 private:
  const QD_SDAI::QdIfcAttrRow* m_row = nullptr;
};

template <class Select>
class SelectProperty : public QD_SDAI::QdIfcProperty {
 public:
  using Value = Select;
};

// A name given as a template argument.
template <std::size_t N>
struct FixedName {
  constexpr FixedName(const char (&text)[N]) {
    for (std::size_t i = 0; i < N; ++i) chars[i] = text[i];
  }
  char chars[N];
};

template <FixedName Related>
class HierarchyProperty : public QD_SDAI::QdIfcCollectionProperty {
 public:
  using Value = QD_SDAI::QdIfcArray<QD_SDAI::QdDbObjectId>;

  void bindRow() { m_row = rowOf(*this); }
  QD::ErrorStatus getCollection(const QdIfcEntityBase* entity, QD_SDAI::QdIfcHandleArray& members) const override {
    return collectRelated(entity, *this, m_row, Related.chars, &members, nullptr);
  }
  QD::ErrorStatus getCollectionCount(const QdIfcEntityBase* entity, int& count) const override {
    return collectRelated(entity, *this, m_row, Related.chars, nullptr, &count);
  }

 private:
  const QD_SDAI::QdIfcAttrRow* m_row = nullptr;
};

// ---- the builders' one step ----

// Makes the property P, names it, gives it its value descriptor and entity type (and
// the row of its attribute, where P reads by row), gives a hierarchy its two
// features, and hands it to the collection.
template <class P>
void addProperty(QD_SDAI::QdIfcPropertyCollection* collection, const char* name,
                 const QD_SDAI::QdIfcEntityType* entityType) {
  // Owned through the base while it is made: one owner type for all 1,652 classes.
  P* property = new P();
  std::unique_ptr<QD_SDAI::QdIfcProperty> owned(property);
  property->init(QD_SDAI::QdAnsiString(name), &QD_SDAI::QdIfcVariantType::Desc<typename P::Value>::value(), entityType);
  if constexpr (requires { property->bindRow(); }) property->bindRow();
  if constexpr (std::is_base_of_v<QD_SDAI::QdIfcCollectionProperty, P>) {
    auto& features = property->propertyFeatures();
    features.reserve(2);
    features.push_back(new QD_SDAI::QdIfcDispAsPropFeature());
    features.push_back(new QD_SDAI::QdIfcHierarchicalPropFeature());
  }
  collection->add(owned.release());
}

// The builder of entity types with no attributes of their own.
QDIFC4_API void noProperties(QD_SDAI::QdIfcPropertyCollection* collection, const QD_SDAI::QdIfcEntityType* entityType);

}  // namespace IFC4::detail

// ---- the generated lines ----
//
// QDIFC4_PROPERTY(IfcWall, PredefinedType, EnumProperty<IfcWallTypeEnum>) declares the
// class IFC4::IfcWallPredefinedTypeProperty deriving from detail::EnumProperty<...>;
// the others name the template and take the accessors of class C for attribute A
// (getA and setA, or getInvA for an inverse). A redeclared attribute, whose accessors
// are its supertype's, is spelled out with QDIFC4_PROPERTY.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define QDIFC4_PROPERTY(C, A, ...) \
  class QDIFC4_API C##A##Property final : public detail::__VA_ARGS__ {}
#define QDIFC4_PLAIN_PROPERTY(C, A) QDIFC4_PROPERTY(C, A, PlainProperty<&C::get##A, &C::set##A>)
#define QDIFC4_TEXT_PROPERTY(C, A) QDIFC4_PROPERTY(C, A, TextProperty<&C::get##A, &C::set##A>)
#define QDIFC4_ARRAY_PROPERTY(C, A, ...) QDIFC4_PROPERTY(C, A, ArrayProperty<C, __VA_ARGS__, &C::get##A, &C::set##A>)
#define QDIFC4_INVERSE_PROPERTY(C, A) QDIFC4_PROPERTY(C, A, InverseArrayProperty<C, &C::getInv##A>)
#define QDIFC4_SINGLE_INVERSE_PROPERTY(C, A) QDIFC4_PROPERTY(C, A, ReadOnlyProperty<&C::getInv##A>)

// A builder of entity type C's own properties: declared, or defined with a body of
// QDIFC4_ADD_PROPERTY(C, A) lines, each adding IFC4::<C><A>Property named "A".
#define QDIFC4_PROPERTY_BUILDER(C) \
  void build##C##Properties(QD_SDAI::QdIfcPropertyCollection* collection, const QD_SDAI::QdIfcEntityType* type)
#define QDIFC4_ADD_PROPERTY(C, A) addProperty<C##A##Property>(collection, #A, type)
// NOLINTEND(bugprone-macro-parentheses)
