// QdIFC4SchemaBuilder: fills the IFC4 dictionary. The phases are generated from
// the data files under schema/ifc4/ (see SchemaPhases.cpp in the build tree).
#pragma once

#include <QdIfcCore/QdIfcSchemaBuilder.h>

class QdIFC4SchemaBuilder : public QD_SDAI::QdIfcSchemaBuilder {
 public:
  QdIFC4SchemaBuilder(QD_SDAI::QdIfcSchema* schema, const QD_SDAI::QdAnsiString& name)
      : QdIfcSchemaBuilder(schema, name) {}
  ~QdIFC4SchemaBuilder() override;

  // The entity phase is long; its generated code is split into functions that take it.
  using EntityPhase = QdIfcSchemaBuilder::EntityPhase;

 protected:
  // The phases, in their fixed order.
  void defineSchema() override;

 private:
  void initBuiltInTypes();
  void initDefinedTypes();
  void initEnumerationTypes();
  void initEntityTypes();
  void initSelectTypes();
  void initAggregateTypes();
};
