// Text views of a built dictionary, walked through its reading interface.
#pragma once

#include <ostream>
#include <string_view>

namespace QD_SDAI {
class QdIfcSchema;
}

namespace qdhost {

// The whole dictionary in the fixed, tab-separated dump format.
void dumpSchema(const QD_SDAI::QdIfcSchema& schema, std::ostream& out);

// One type for a person to read. False if the schema has no type of that name.
// An entity's attribute lines end in the member its class holds, worked out from the
// dictionary, and whether the loaded class writes it by name:
//   ...]  member <C++ type | enumeration <name> | none | ?>, <writable | read-only>
// A select also shows its class's flattened members, for machines as well:
//   flattened (<N>)
//     <place>\t<Name>\t<Letter>\t<type code kind>
bool describeType(const QD_SDAI::QdIfcSchema& schema, std::string_view name, std::ostream& out);

}  // namespace qdhost
