#include "QdIFC4SchemaBuilder.h"

QdIFC4SchemaBuilder::~QdIFC4SchemaBuilder() = default;

void QdIFC4SchemaBuilder::defineSchema() {
  initSchemaVersion(4, 0);
  initBuiltInTypes();
  initDefinedTypes();
  initEnumerationTypes();
  initEntityTypes();
  initSelectTypes();
  initAggregateTypes();
}
