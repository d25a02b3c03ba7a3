// Shared pieces of the generated entity classes.
#pragma once

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcEntityBase.h>

#include <strings.h>

namespace IFC4::detail {

// The case-insensitive comparison of a type name with an entity type's name, as
// the string forms of isInstanceOf and isKindOf make it.
inline bool sameTypeName(const char* name, const QD_SDAI::QdIfcEntityType* type) noexcept {
  return strcasecmp(name, type->typeName()) == 0;
}

}  // namespace IFC4::detail
