// The definitions that every entity class of the module has alike (QDIFC4_ENTITY in
// QdIfc4/EntityClass.h declares them): identity, factory, construction, the kind tests
// by the dictionary's type tree, and the operations on attributes, each one line that
// hands the class's own table to the interpreter; and the table itself, after the
// class's rows.
#pragma once

#include <QdIfc4/EntityClass.h>

#include <cstddef>
#include <iterator>

// The first two arguments of a row helper for attribute A, in the rows of the class
// being defined: the attribute's name and the offset of its member m_A.
#define QDIFC4_AT(A) #A, offsetof(Self, m_##A)

#define QDIFC4_ENTITY_DEFINITIONS(Name)                                                                       \
  QD_SDAI::QdIfcEntityType* Name::g_pEntityType = nullptr;                                                    \
  QD_SDAI::QdIfcEntityBase* Name::create() { return new Name(); }                                             \
  Name::Name() = default;                                                                                     \
                                                                                                              \
  Name::~Name() = default;                                                                                    \
  QD_SDAI::QdIfcEntityType* Name::getInstanceType() const { return g_pEntityType; }                           \
  bool Name::isInstanceOf(const QD_SDAI::QdIfcEntityType* type) const { return type == g_pEntityType; }       \
  bool Name::isInstanceOf(const char* name) const { return QD_SDAI::qdIfcIsInstanceOf(g_pEntityType, name); } \
  bool Name::isKindOf(const QD_SDAI::QdIfcEntityType* type) const {                                           \
    return QD_SDAI::qdIfcIsKindOf(g_pEntityType, type);                                                       \
  }                                                                                                           \
  bool Name::isKindOf(const char* name) const { return QD_SDAI::qdIfcIsKindOf(g_pEntityType, name); }         \
  bool Name::getAttr(const QD_SDAI::QdAnsiString& name, QD_SDAI::QdIfcVariant& value) const {                 \
    return kTable.getAttr(this, name, value);                                                                 \
  }                                                                                                           \
  bool Name::putAttr(const QD_SDAI::QdAnsiString& name, const QD_SDAI::QdIfcVariant& value) {                 \
    return kTable.putAttr(this, name, value);                                                                 \
  }                                                                                                           \
  bool Name::testAttr(const QD_SDAI::QdAnsiString& name) const { return kTable.testAttr(this, name); }        \
  void Name::unsetAttr(const QD_SDAI::QdAnsiString& name) { kTable.unsetAttr(this, name); }                   \
  QD::ErrorStatus Name::inFields(QD_SDAI::QdSpfFilerBase* filer) { return kTable.inFields(this, filer); }     \
  QD::ErrorStatus Name::outFields(QD_SDAI::QdSpfFilerBase* filer) { return kTable.outFields(this, filer); }   \
  void Name::setInverseCounterParts() { kTable.setInverseCounterParts(this); }

// The class's table: its rows (defined just before), chained to the supertype's table.
#define QDIFC4_TABLE(Name, supertypeTable)                                                                      \
  constinit QD_SDAI::QdIfcClassTable Name::kTable {                                                             \
    "IFC4", #Name, supertypeTable, Name::kRows, static_cast<int>(std::size(Name::kRows)), &Name::g_pEntityType, \
        &Name::create                                                                                           \
  }
// The table of a class with no attribute of its own.
#define QDIFC4_TABLE_WITHOUT_ROWS(Name, supertypeTable)                            \
  constinit QD_SDAI::QdIfcClassTable Name::kTable {                                \
    "IFC4", #Name, supertypeTable, nullptr, 0, &Name::g_pEntityType, &Name::create \
  }
