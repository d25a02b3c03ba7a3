#include "EntityFrame.h"

namespace IFC4::detail {

// Property objects come with the property model; until then every entity type is
// given this builder, which adds nothing.
void noProperties(QD_SDAI::QdIfcPropertyCollection*, const QD_SDAI::QdIfcEntityType*) {}

}  // namespace IFC4::detail
