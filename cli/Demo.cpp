#include "Demo.h"

#include <QdIfcCore/QdIfcArray.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <initializer_list>
#include <string>
#include <utility>

using namespace QD_SDAI;

namespace qdhost {
namespace {

using Attributes = std::initializer_list<std::pair<const char*, QdIfcVariant>>;
using QdIdList = std::vector<QdDbObjectId>;

QdIfcArray<QdDbObjectId> list(std::initializer_list<QdDbObjectId> handles) {
  QdIfcArray<QdDbObjectId> a;
  for (const QdDbObjectId& h : handles) a.append(h);
  return a;
}

QdIfcArray<double> reals(std::initializer_list<double> values) {
  QdIfcArray<double> a;
  for (double v : values) a.append(v);
  return a;
}

// Makes instances by type name and sets their attributes by name, as any host can
// through the schema module; every refused value is kept for the report.
class Builder {
 public:
  explicit Builder(QdIfcModel& model) : m_model(model) {}

  QdDbObjectId make(const char* type, Attributes attributes) {
    QdDbObjectId id = m_model.createInstance(type);
    QdIfcEntityBase* object = id.openObject();
    if (!object) {
      m_errors.push_back(std::string("no entity type ") + type);
      return id;
    }
    for (const auto& [name, value] : attributes)
      if (!object->putAttr(QdAnsiString(name), value)) m_errors.push_back(std::string(type) + "." + name);
    return id;
  }
  // A rooted object: a new GlobalId, a name, and its own attributes.
  QdDbObjectId rooted(const char* type, const char* name, Attributes attributes) {
    QdDbObjectId id = make(type, attributes);
    if (QdIfcEntityBase* object = id.openObject()) {
      object->putAttr("GlobalId", QdIfcVariant(nextGuid()));
      object->putAttr("Name", QdIfcVariant(name));
    }
    return id;
  }
  QdDbObjectId point(double x, double y, double z) {
    return make("IfcCartesianPoint", {{"Coordinates", QdIfcVariant(reals({x, y, z}))}});
  }
  QdDbObjectId direction(double x, double y, double z) {
    return make("IfcDirection", {{"DirectionRatios", QdIfcVariant(reals({x, y, z}))}});
  }
  QdDbObjectId placement(QdDbObjectId relativeTo, double x, double y, double z) {
    QdDbObjectId axes = make("IfcAxis2Placement3D", {{"Location", QdIfcVariant(point(x, y, z))}});
    return make("IfcLocalPlacement",
                {{"PlacementRelTo", QdIfcVariant(relativeTo)}, {"RelativePlacement", QdIfcVariant(axes)}});
  }
  // A box of the given size as a swept solid in the body context.
  QdDbObjectId box(QdDbObjectId context, double x, double y, double height) {
    QdDbObjectId profile =
        make("IfcRectangleProfileDef",
             {{"ProfileType", QdIfcVariant("AREA")}, {"XDim", QdIfcVariant(x)}, {"YDim", QdIfcVariant(y)}});
    QdDbObjectId position = make("IfcAxis2Placement3D", {{"Location", QdIfcVariant(point(x / 2, y / 2, 0))}});
    QdDbObjectId solid = make("IfcExtrudedAreaSolid", {{"SweptArea", QdIfcVariant(profile)},
                                                       {"Position", QdIfcVariant(position)},
                                                       {"ExtrudedDirection", QdIfcVariant(direction(0, 0, 1))},
                                                       {"Depth", QdIfcVariant(height)}});
    QdDbObjectId body = make("IfcShapeRepresentation", {{"ContextOfItems", QdIfcVariant(context)},
                                                        {"RepresentationIdentifier", QdIfcVariant("Body")},
                                                        {"RepresentationType", QdIfcVariant("SweptSolid")},
                                                        {"Items", QdIfcVariant(list({solid}))}});
    return make("IfcProductDefinitionShape", {{"Representations", QdIfcVariant(list({body}))}});
  }
  void fail(std::string what) { m_errors.push_back(std::move(what)); }
  const std::vector<std::string>& errors() const { return m_errors; }

 private:
  // Ids in the 22-character form, numbered so that the demo is the same every time.
  const char* nextGuid() {
    static const char digits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
    uint64_t n = ++m_guids;
    m_guid = "3Qd0Demo";
    for (int i = 0; i < 14; ++i, n /= 64) m_guid.insert(8, 1, digits[n % 64]);
    return m_guid.c_str();
  }

  QdIfcModel& m_model;
  std::vector<std::string> m_errors;
  uint64_t m_guids = 0;
  std::string m_guid;
};

}  // namespace

std::vector<std::string> buildDemo(QdIfcModel& model) {
  Builder b(model);
  model.header().name = "('demo.ifc','2026-01-01T00:00:00',('qdifc'),(''),'qdifc demo','qdifc','')";

  // Units and the geometric context.
  QdIdList units;
  const std::pair<const char*, const char*> siUnits[] = {{"LENGTHUNIT", "METRE"},
                                                         {"AREAUNIT", "SQUARE_METRE"},
                                                         {"VOLUMEUNIT", "CUBIC_METRE"},
                                                         {"PLANEANGLEUNIT", "RADIAN"}};
  for (const auto& [type, name] : siUnits)
    units.push_back(b.make("IfcSIUnit", {{"UnitType", QdIfcVariant(type)}, {"Name", QdIfcVariant(name)}}));
  QdIfcArray<QdDbObjectId> unitList;
  for (const QdDbObjectId& u : units) unitList.append(u);
  QdDbObjectId assignment = b.make("IfcUnitAssignment", {{"Units", QdIfcVariant(unitList)}});
  QdDbObjectId world = b.make("IfcAxis2Placement3D", {{"Location", QdIfcVariant(b.point(0, 0, 0))}});
  QdDbObjectId context =
      b.make("IfcGeometricRepresentationContext", {{"ContextIdentifier", QdIfcVariant("Model")},
                                                   {"ContextType", QdIfcVariant("Model")},
                                                   {"CoordinateSpaceDimension", QdIfcVariant(3)},
                                                   {"Precision", QdIfcVariant(1e-5)},
                                                   {"WorldCoordinateSystem", QdIfcVariant(world)},
                                                   {"TrueNorth", QdIfcVariant(b.direction(0, 1, 0))}});
  QdDbObjectId project = b.rooted(
      "IfcProject", "Demo project",
      {{"RepresentationContexts", QdIfcVariant(list({context}))}, {"UnitsInContext", QdIfcVariant(assignment)}});

  // The spatial structure: site, building, two storeys.
  QdDbObjectId sitePlace = b.placement(QdDbObjectId(), 0, 0, 0);
  QdDbObjectId site = b.rooted(
      "IfcSite", "Site", {{"ObjectPlacement", QdIfcVariant(sitePlace)}, {"CompositionType", QdIfcVariant("ELEMENT")}});
  QdDbObjectId buildingPlace = b.placement(sitePlace, 0, 0, 0);
  QdDbObjectId building =
      b.rooted("IfcBuilding", "Building",
               {{"ObjectPlacement", QdIfcVariant(buildingPlace)}, {"CompositionType", QdIfcVariant("ELEMENT")}});
  QdDbObjectId storeys[2];
  QdDbObjectId storeyPlaces[2];
  for (int i = 0; i < 2; ++i) {
    storeyPlaces[i] = b.placement(buildingPlace, 0, 0, 3.0 * i);
    storeys[i] = b.rooted("IfcBuildingStorey", i == 0 ? "Ground floor" : "First floor",
                          {{"ObjectPlacement", QdIfcVariant(storeyPlaces[i])},
                           {"CompositionType", QdIfcVariant("ELEMENT")},
                           {"Elevation", QdIfcVariant(3.0 * i)}});
  }
  b.rooted("IfcRelAggregates", "Project to site",
           {{"RelatingObject", QdIfcVariant(project)}, {"RelatedObjects", QdIfcVariant(list({site}))}});
  b.rooted("IfcRelAggregates", "Site to building",
           {{"RelatingObject", QdIfcVariant(site)}, {"RelatedObjects", QdIfcVariant(list({building}))}});
  b.rooted(
      "IfcRelAggregates", "Building to storeys",
      {{"RelatingObject", QdIfcVariant(building)}, {"RelatedObjects", QdIfcVariant(list({storeys[0], storeys[1]}))}});

  // Four walls on the ground floor, a slab over them, a door in an opening of the first wall.
  const double corners[4][4] = {{0, 0, 10, 0.3}, {0, 9.7, 10, 0.3}, {0, 0.3, 0.3, 9.4}, {9.7, 0.3, 0.3, 9.4}};
  QdIdList walls;
  for (int i = 0; i < 4; ++i) {
    const double* c = corners[i];
    walls.push_back(b.rooted("IfcWall", ("Wall " + std::to_string(i + 1)).c_str(),
                             {{"ObjectPlacement", QdIfcVariant(b.placement(storeyPlaces[0], c[0], c[1], 0))},
                              {"Representation", QdIfcVariant(b.box(context, c[2], c[3], 3.0))},
                              {"PredefinedType", QdIfcVariant("SOLIDWALL")}}));
  }
  QdDbObjectId slab = b.rooted("IfcSlab", "Floor slab",
                               {{"ObjectPlacement", QdIfcVariant(b.placement(storeyPlaces[1], 0, 0, -0.2))},
                                {"Representation", QdIfcVariant(b.box(context, 10, 10, 0.2))},
                                {"PredefinedType", QdIfcVariant("FLOOR")}});
  QdDbObjectId openingPlace = b.placement(storeyPlaces[0], 4, 0, 0);
  QdDbObjectId opening = b.rooted("IfcOpeningElement", "Door opening",
                                  {{"ObjectPlacement", QdIfcVariant(openingPlace)},
                                   {"Representation", QdIfcVariant(b.box(context, 1, 0.3, 2.1))},
                                   {"PredefinedType", QdIfcVariant("OPENING")}});
  QdDbObjectId door = b.rooted("IfcDoor", "Door",
                               {{"ObjectPlacement", QdIfcVariant(b.placement(openingPlace, 0, 0, 0))},
                                {"Representation", QdIfcVariant(b.box(context, 1, 0.05, 2.1))},
                                {"OverallHeight", QdIfcVariant(2.1)},
                                {"OverallWidth", QdIfcVariant(1.0)},
                                {"PredefinedType", QdIfcVariant("DOOR")}});
  b.rooted("IfcRelVoidsElement", "Opening in wall 1",
           {{"RelatingBuildingElement", QdIfcVariant(walls[0])}, {"RelatedOpeningElement", QdIfcVariant(opening)}});
  b.rooted("IfcRelFillsElement", "Door in opening",
           {{"RelatingOpeningElement", QdIfcVariant(opening)}, {"RelatedBuildingElement", QdIfcVariant(door)}});
  b.rooted("IfcRelContainedInSpatialStructure", "Ground floor contents",
           {{"RelatingStructure", QdIfcVariant(storeys[0])},
            {"RelatedElements", QdIfcVariant(list({walls[0], walls[1], walls[2], walls[3], door}))}});
  b.rooted("IfcRelContainedInSpatialStructure", "First floor contents",
           {{"RelatingStructure", QdIfcVariant(storeys[1])}, {"RelatedElements", QdIfcVariant(list({slab}))}});

  // A property set on the walls.
  QdDbObjectId external = b.make("IfcPropertySingleValue", {{"Name", QdIfcVariant("IsExternal")}});
  if (QdIfcEntityBase* p = external.openObject()) {
    // The value is a select: filled through the pointer getAttr hands out.
    QdIfcVariant v;
    QdIfcSelect* select = nullptr;
    if (!p->getAttr("NominalValue", v) || !v.getValue(select) || !select ||
        !select->underlyingTypeName(QdAnsiString("IfcBoolean")) || !select->setBoolean(QdIfcBoolean::True))
      b.fail("IfcPropertySingleValue.NominalValue");
  }
  QdDbObjectId pset =
      b.rooted("IfcPropertySet", "Pset_WallCommon", {{"HasProperties", QdIfcVariant(list({external}))}});
  QdIfcArray<QdDbObjectId> wallList;
  for (const QdDbObjectId& w : walls) wallList.append(w);
  b.rooted("IfcRelDefinesByProperties", "Wall properties",
           {{"RelatedObjects", QdIfcVariant(wallList)}, {"RelatingPropertyDefinition", QdIfcVariant(pset)}});
  // And their base quantities.
  QdDbObjectId length =
      b.make("IfcQuantityLength", {{"Name", QdIfcVariant("Length")}, {"LengthValue", QdIfcVariant(5.0)}});
  QdDbObjectId height =
      b.make("IfcQuantityLength", {{"Name", QdIfcVariant("Height")}, {"LengthValue", QdIfcVariant(3.0)}});
  QdDbObjectId area =
      b.make("IfcQuantityArea", {{"Name", QdIfcVariant("NetSideArea")}, {"AreaValue", QdIfcVariant(13.2)}});
  QdDbObjectId qset = b.rooted("IfcElementQuantity", "Qto_WallBaseQuantities",
                               {{"Quantities", QdIfcVariant(list({length, height, area}))}});
  b.rooted("IfcRelDefinesByProperties", "Wall quantities",
           {{"RelatedObjects", QdIfcVariant(wallList)}, {"RelatingPropertyDefinition", QdIfcVariant(qset)}});
  model.setInverseCounterParts();
  return b.errors();
}

}  // namespace qdhost
