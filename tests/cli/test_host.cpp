// The module as a host sees it: loaded at run time through its plain exports, and
// the qdifc program's commands.
#include "RunQdifc.h"
#include "SchemaView.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace QD_SDAI;

TEST(DynamicLoading, StartsReadsAndStopsTheModuleAsAHostDoes) {
  QdIfcModule loader;
  ASSERT_TRUE(loader.load(QDIFC_TEST_MODULE_PATH)) << loader.error();
  QdIfcSchema* schema = loader.schema();
  ASSERT_NE(schema, nullptr);
  EXPECT_STREQ(schema->name(), "IFC4");
  EXPECT_EQ(loader.schemaPointerFunction()(), schema);
  // The three plain exports are there under their undecorated names.
  for (const char* name : {"qdGetModuleLifeCycleApp", "qdifcGetSchemaPointer", "qdIfcBuildPropertyForSimple"})
    EXPECT_NE(loader.symbol(name), nullptr) << name;

  // Stop, then start again through the same life-cycle object.
  QdModuleLifeCycleApp* app = loader.lifeCycle();
  app->stop();
  EXPECT_EQ(loader.schemaPointerFunction()(), nullptr);
  EXPECT_TRUE(app->start());
  EXPECT_NE(loader.schemaPointerFunction()(), nullptr);
  loader.unload();
  EXPECT_FALSE(loader.loaded());
  loader.unload();  // twice is harmless
}

TEST(DynamicLoading, ReportsWhatIsWrong) {
  QdIfcModule loader;
  EXPECT_FALSE(loader.load("/nonexistent/libQdIfc4.so"));
  EXPECT_NE(loader.error().find("/nonexistent/libQdIfc4.so"), std::string::npos);
  // A real library that is not a schema module.
  EXPECT_FALSE(loader.load("libc.so.6"));
  EXPECT_NE(loader.error().find("not a schema module"), std::string::npos);
  EXPECT_FALSE(loader.loaded());
}

namespace {

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

}  // namespace

TEST(Qdifc, DumpAgreesWithTheDictionaryItWalks) {
  // The counts line states the sizes of the three tables of the schema that the
  // module builds when loaded directly.
  QdIfcModule loader;
  ASSERT_TRUE(loader.load(QDIFC_TEST_MODULE_PATH)) << loader.error();
  std::ostringstream direct;
  qdhost::dumpSchema(*loader.schema(), direct);
  const QdIfcSchema& s = *loader.schema();
  std::string counts = "counts\tentities=" + std::to_string(s.entityTypes().size()) +
                       "\tnametypes=" + std::to_string(s.nameTypes().size()) +
                       "\tbuiltins=" + std::to_string(s.builtInTypes().size());
  EXPECT_EQ(lines(direct.str()).back(), counts);
  EXPECT_EQ(qdifc("schema --dump").out, direct.str());
}

TEST(Qdifc, ShowsOneTypeInAnyCase) {
  for (const char* name : {"string(22)fixed", "STRING(22)FIXED"}) {
    CommandResult r = qdifc(std::string("schema '") + name + "'");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("fixed string of width 22"), std::string::npos) << r.out;
  }
  CommandResult missing = qdifc("schema IfcNoSuchThing");
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.out.find("no type named 'IfcNoSuchThing'"), std::string::npos);
}

TEST(Qdifc, BadUsageExitsWithTwo) {
  for (const char* args : {"", "frobnicate", "--bogus schema --dump", "schema", "schema A B", "schema --dump X",
                           "schema --weird", "--module"}) {
    CommandResult r = qdifc(args);
    EXPECT_EQ(r.status, 2) << "qdifc " << args << "\n" << r.out;
    EXPECT_NE(r.out.find("usage:"), std::string::npos) << args;
  }
  for (const char* args : {"--help", "help", "schema --help"}) {
    CommandResult r = qdifc(args);
    EXPECT_EQ(r.status, 0) << args;
    EXPECT_NE(r.out.find("usage:"), std::string::npos) << args;
  }
}

TEST(Qdifc, AWrongModuleIsAClearError) {
  CommandResult r = qdifc("--module /nonexistent/lib.so schema --dump");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("cannot load the module /nonexistent/lib.so"), std::string::npos) << r.out;
}

TEST(Qdifc, DescribesAnEntityASelectAndAnEnumeration) {
  CommandResult wall = qdifc("schema ifcwall");
  ASSERT_EQ(wall.status, 0) << wall.out;
  std::vector<std::string> w = lines(wall.out);
  ASSERT_GE(w.size(), 3u);
  EXPECT_EQ(w[0], "entity IfcWall (IFCWALL)");
  EXPECT_EQ(w[1],
            "  supertypes: IfcRoot > IfcObjectDefinition > IfcObject > IfcProduct > IfcElement > "
            "IfcBuildingElement");
  // The position of one attribute's line in the list; w.size() if it is not listed.
  auto at = [&w](const std::string& name) {
    size_t i = 0;
    while (i < w.size() && w[i].rfind("    " + name + " : ", 0) != 0) ++i;
    return i;
  };
  // Inherited attributes carry their owner and come root first; the own one is last and unmarked.
  size_t globalId = at("GlobalId"), decomposedBy = at("IsDecomposedBy"), tag = at("Tag");
  ASSERT_LT(tag, w.size());
  EXPECT_LT(globalId, decomposedBy);
  EXPECT_LT(decomposedBy, tag);
  EXPECT_NE(w[globalId].find("[explicit]  member QdIfcGUID, writable  (from IfcRoot)"), std::string::npos)
      << w[globalId];
  EXPECT_NE(w[decomposedBy].find("[inverse of IFCRELAGGREGATES.RelatingObject, 0..?]  member "
                                 "QdIfcSetAggr<QdDbObjectId>, read-only  (from IfcObjectDefinition)"),
            std::string::npos)
      << w[decomposedBy];
  EXPECT_NE(w[tag].find("(from IfcElement)"), std::string::npos) << w[tag];
  EXPECT_EQ(w.back(), "    PredefinedType : ifcwalltypeenum  [explicit]  member enumeration ifcwalltypeenum, writable");

  CommandResult shell = qdifc("schema IFCSHELL");
  ASSERT_EQ(shell.status, 0) << shell.out;
  EXPECT_EQ(lines(shell.out),
            (std::vector<std::string>{"select IfcShell (2 members)", "  IFCCLOSEDSHELL", "  IFCOPENSHELL",
                                      "flattened (2)", "  0\tIfcClosedShell\tE\t13", "  1\tIfcOpenShell\tE\t13"}));

  CommandResult wallType = qdifc("schema IfcWallTypeEnum");
  ASSERT_EQ(wallType.status, 0) << wallType.out;
  std::vector<std::string> expected{"enumeration ifcwalltypeenum (11 literals)"};
  for (const char* literal : {"MOVABLE", "PARAPET", "PARTITIONING", "PLUMBINGWALL", "SHEAR", "SOLIDWALL", "STANDARD",
                              "POLYGONAL", "ELEMENTEDWALL", "USERDEFINED", "NOTDEFINED"})
    expected.push_back(std::string("  .") + literal + ".");
  EXPECT_EQ(lines(wallType.out), expected);

  // An enumeration that the entity classes know but the dictionary does not hold.
  CommandResult unknown = qdifc("schema IfcPreferredSurfaceCurveRepresentation");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.out, "qdifc: no type named 'IfcPreferredSurfaceCurveRepresentation' in IFC4\n");
}

namespace {

// One class of the hand-written select table: "<Class> <N> <Member>:<Letter> ...".
struct SelectRow {
  std::string name;
  size_t count = 0;
  std::vector<std::pair<std::string, std::string>> members;  // name, letter
};

// The table stands with the module tests; the schema data folder is <source>/ifc4/data.
std::vector<SelectRow> readSelectTable() {
  std::ifstream in(std::string(QDIFC_TEST_SOURCE_DIR) + "/module/select_table.txt");
  std::vector<SelectRow> rows;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    SelectRow row;
    fields >> row.name >> row.count;
    for (std::string m; fields >> m;) {
      size_t colon = m.rfind(':');
      row.members.emplace_back(m.substr(0, colon), colon == std::string::npos ? "" : m.substr(colon + 1));
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<std::string> splitTabs(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string field; std::getline(in, field, '\t');) out.push_back(field);
  return out;
}

bool equalNoCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

TEST(Qdifc, SelectsShowTheMembersOfTheirClassesInClassOrder) {
  // The dictionary's members are walked at run time and checked against the table
  // written by hand, class by class: place, name, letter and type code kind.
  const std::vector<SelectRow> table = readSelectTable();
  ASSERT_EQ(table.size(), 60u) << "the select table was not found or is incomplete";
  const std::map<std::string, int> codes{{"I", 2},  {"R", 6},  {"B", 7},  {"L", 8}, {"X", 9},
                                         {"S", 12}, {"E", 13}, {"N", 15}, {"A", 16}};
  for (const SelectRow& row : table) {
    SCOPED_TRACE(row.name);
    CommandResult r = qdifc("schema " + row.name);
    ASSERT_EQ(r.status, 0) << r.out;
    std::vector<std::string> l = lines(r.out);
    ASSERT_FALSE(l.empty());
    EXPECT_EQ(l[0].rfind("select " + row.name + " (", 0), 0u) << l[0];
    auto heading =
        std::find_if(l.begin(), l.end(), [](const std::string& x) { return x.rfind("flattened (", 0) == 0; });
    ASSERT_NE(heading, l.end()) << r.out;
    EXPECT_EQ(*heading, "flattened (" + std::to_string(row.count) + ")");
    std::vector<std::string> flat(heading + 1, l.end());
    ASSERT_EQ(flat.size(), row.members.size()) << r.out;
    for (size_t i = 0; i < flat.size(); ++i) {
      const auto& [name, letter] = row.members[i];
      ASSERT_EQ(flat[i].rfind("  ", 0), 0u) << flat[i];
      std::vector<std::string> f = splitTabs(flat[i].substr(2));
      ASSERT_EQ(f.size(), 4u) << flat[i];
      EXPECT_EQ(f[0], std::to_string(i)) << flat[i];
      // The dictionary holds an enumeration under its lower-case name only; every other
      // member has its mixed-case spelling there.
      if (letter == "N") EXPECT_TRUE(equalNoCase(f[1], name)) << flat[i] << " against " << name;
      else EXPECT_EQ(f[1], name) << flat[i];
      EXPECT_EQ(f[2], letter) << flat[i];
      ASSERT_TRUE(codes.count(letter)) << "letter " << letter << " of " << name;
      EXPECT_EQ(f[3], std::to_string(codes.at(letter))) << flat[i];
    }
  }
}

// Each attribute line names the member the entity class holds, worked out from the
// dictionary, and whether the loaded module's class writes it by name.
TEST(Qdifc, EntitiesShowTheMemberOfEachAttribute) {
  QdIfcModule loader;
  ASSERT_TRUE(loader.load(QDIFC_TEST_MODULE_PATH)) << loader.error();
  const QdIfcSchema& schema = *loader.schema();
  // Own attribute lines of one entity: name -> "member ..., writable|read-only".
  auto own = [&](const std::string& entity) {
    std::ostringstream out;
    std::map<std::string, std::string> m;
    if (!qdhost::describeType(schema, entity, out)) return m;
    for (const std::string& l : lines(out.str())) {
      size_t member = l.find("]  member ");
      if (l.rfind("    ", 0) != 0 || member == std::string::npos || l.find("  (from ") != std::string::npos) continue;
      m[l.substr(4, l.find(" : ") - 4)] = l.substr(member + 3);
    }
    return m;
  };
  const std::vector<std::array<std::string, 3>> table = {
      {"IfcRoot", "GlobalId", "member QdIfcGUID, writable"},
      {"IfcRoot", "OwnerHistory", "member QdDbObjectId, writable"},
      {"IfcRoot", "Name", "member QdAnsiString, writable"},
      {"IfcBlobTexture", "RasterCode", "member QdAnsiString, writable"},
      {"IfcDimensionalExponents", "LengthExponent", "member int, writable"},
      {"IfcSite", "RefElevation", "member double, writable"},
      {"IfcTrimmedCurve", "SenseAgreement", "member QdIfcBoolean, writable"},
      {"IfcBSplineCurve", "ClosedCurve", "member QdIfcLogical, writable"},
      {"IfcWall", "PredefinedType", "member enumeration ifcwalltypeenum, writable"},
      {"IfcActor", "TheActor", "member IfcActorSelect, writable"},
      {"IfcRelAggregates", "RelatedObjects", "member QdIfcSetAggrBounded<QdDbObjectId, 1, 65536>, writable"},
      {"IfcConnectedFaceSet", "CfsFaces", "member QdIfcSetAggrBounded<QdDbObjectId, 1, 65536>, writable"},
      {"IfcGeometricSet", "Elements", "member QdIfcSetAggrBounded<IfcGeometricSetSelect, 1, 65536>, writable"},
      {"IfcPolyLoop", "Polygon", "member QdIfcListAggrBounded<QdDbObjectId, 3, 65536>, writable"},
      {"IfcTrimmedCurve", "Trim1", "member QdIfcSetAggrBounded<IfcTrimmingSelect, 1, 2>, writable"},
      {"IfcIrregularTimeSeriesValue", "ListValues", "member QdIfcListAggrBounded<IfcValue, 1, 65536>, writable"},
      {"IfcCartesianPoint", "Coordinates", "member QdIfcListAggrBounded<double, 1, 3>, writable"},
      {"IfcSite", "RefLatitude", "member QdIfcListAggrBounded<int, 3, 4>, writable"},
      {"IfcPixelTexture", "Pixel", "member QdIfcListAggrBounded<QdAnsiString, 1, 65536>, writable"},
      {"IfcMaterialLayerWithOffsets", "OffsetValues", "member QdIfcArrayAggrBounded<double, 1, 2>, writable"},
      {"IfcCartesianPointList3D", "CoordList", "member QdIfcListAggrCompound<QdIfcListAggr<double>>, writable"},
      {"IfcTriangulatedFaceSet", "CoordIndex", "member QdIfcListAggrCompound<QdIfcListAggr<int>>, writable"},
      {"IfcBSplineSurface", "ControlPointsList", "member QdIfcListAggrCompound<QdIfcListAggr<QdDbObjectId>>, writable"},
      {"IfcObjectDefinition", "IsDecomposedBy", "member QdIfcSetAggr<QdDbObjectId>, read-only"},
      {"IfcObjectDefinition", "HasAssociations", "member QdIfcSetAggr<QdDbObjectId>, writable"},
      {"IfcFeatureElementSubtraction", "VoidsElements", "member QdDbObjectId, read-only"},
      {"IfcOrientedEdge", "ifcedge_edgestart", "member none, read-only"},
      {"IfcSurfaceCurve", "MasterRepresentation", "member ?, writable"},
  };
  for (const auto& [entity, attribute, expected] : table) EXPECT_EQ(own(entity)[attribute], expected) << entity;

  // Over the whole schema: what is writable by name, and nothing else unresolved.
  std::map<std::string, int> counts;
  const Dictionary& types = schema.entityTypes();
  for (int i = 0; i < types.size(); ++i)
    for (const auto& [name, member] : own(types.valueAt(i)->asNameType()->typeName())) {
      ++counts[member.substr(member.rfind(", ") + 2)];
      if (member.rfind("member ?", 0) == 0) ++counts["unresolved"];
    }
  EXPECT_EQ(counts["writable"], 1491 + 3);
  EXPECT_EQ(counts["read-only"], 150 + 62);
  EXPECT_EQ(counts["unresolved"], 1);  // an enumeration the dictionary has no entry for
}
