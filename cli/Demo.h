// A small building made through the schema module's late-bound interface: project,
// units, site, building, two storeys, four walls, a slab, a door in an opening,
// placements, extruded geometry, a property set and the relationships.
#pragma once

#include <string>
#include <vector>

namespace QD_SDAI {
class QdIfcModel;
}

namespace qdhost {

// Fills model (empty, with the IFC4 schema) and links its inverses. The result names
// every attribute the module refused; it is empty when the model is whole.
std::vector<std::string> buildDemo(QD_SDAI::QdIfcModel& model);

}  // namespace qdhost
