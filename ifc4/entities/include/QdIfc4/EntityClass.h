// What every entity class of the module declares alike.
//
// QDIFC4_ENTITY(Name) opens a generated class: its dictionary type, its factory, its
// attribute table (rows of its own attributes, chained to the supertype's table), copy
// and assignment (member by member, inline), and the virtual operations of the entity
// base. Each operation is one
// line in the class's source that hands the class's own table to the interpreter
// (QdIfcClassTable), so a call qualified to a base class, obj->IfcRoot::getAttr(...),
// starts at that class. The class's typed accessors and members follow the macro.
// An accessor Name() of a reference attribute gives the object, opened for reading
// and left open, or null when there is none; getName() gives its handle.
#pragma once

#include <QdIfc4/Export.h>
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcArray.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcGUID.h>

// Name is a class name, which parentheses would not let stand as one.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define QDIFC4_ENTITY(Name)                                                                     \
 public:                                                                                        \
  static QD_SDAI::QdIfcEntityType* g_pEntityType;                                               \
  /* Makes a default-constructed instance; given to the dictionary as the factory. */           \
  static QD_SDAI::QdIfcEntityBase* create();                                                    \
  static QD_SDAI::QdIfcClassTable kTable;                                                       \
                                                                                                \
  Name();                                                                                       \
  Name(const Name& other) = default;                                                            \
  Name& operator=(const Name& other) = default;                                                 \
  ~Name() override;                                                                             \
                                                                                                \
  QD_SDAI::QdIfcEntityType* getInstanceType() const override;                                   \
  bool isInstanceOf(const QD_SDAI::QdIfcEntityType* type) const override;                       \
  bool isInstanceOf(const char* name) const override;                                           \
  bool isKindOf(const QD_SDAI::QdIfcEntityType* type) const override;                           \
  bool isKindOf(const char* name) const override;                                               \
                                                                                                \
  bool getAttr(const QD_SDAI::QdAnsiString& name, QD_SDAI::QdIfcVariant& value) const override; \
  bool putAttr(const QD_SDAI::QdAnsiString& name, const QD_SDAI::QdIfcVariant& value) override; \
  bool testAttr(const QD_SDAI::QdAnsiString& name) const override;                              \
  void unsetAttr(const QD_SDAI::QdAnsiString& name) override;                                   \
  using QD_SDAI::QdIfcEntityBase::testAttr;                                                     \
  QD::ErrorStatus inFields(QD_SDAI::QdSpfFilerBase* filer) override;                            \
  QD::ErrorStatus outFields(QD_SDAI::QdSpfFilerBase* filer) override;                           \
  void setInverseCounterParts() override;                                                       \
                                                                                                \
 private:                                                                                       \
  /* The class whose rows kRows holds (defined with the class's table, if it has rows). */      \
  using Self = Name;                                                                            \
  static const QD_SDAI::QdIfcAttrRow kRows[];                                                   \
                                                                                                \
 public:
// NOLINTEND(bugprone-macro-parentheses)

namespace IFC4 {

// The core's value and aggregate classes that the entity classes' accessors and
// members are declared with, by their short names.
using QD_SDAI::Consts;
using QD_SDAI::QdAnsiString;
using QD_SDAI::QdDbObjectId;
using QD_SDAI::QdIfcArray;
using QD_SDAI::QdIfcArrayAggrBounded;
using QD_SDAI::QdIfcBoolean;
using QD_SDAI::QdIfcGUID;
using QD_SDAI::QdIfcListAggr;
using QD_SDAI::QdIfcListAggrBounded;
using QD_SDAI::QdIfcListAggrCompound;
using QD_SDAI::QdIfcLogical;
using QD_SDAI::QdIfcSetAggr;
using QD_SDAI::QdIfcSetAggrBounded;

}  // namespace IFC4
