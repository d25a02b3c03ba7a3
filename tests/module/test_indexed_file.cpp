// A file opened by its index alone: counts, records by number and by type, and records
// made instances on demand, each held against a full load of the same file.
#include "ModuleTest.h"

#include <QdIfc4/Module.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcIndexedFile.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

class IndexedFile : public ModuleTest {};

// The line "#id=...;" a model writes for its instance id.
std::string lineOf(const std::string& written, uint64_t id) {
  const std::string key = "\n#" + std::to_string(id) + "=";
  const size_t at = written.find(key);
  return at == std::string::npos ? std::string() : written.substr(at + 1, written.find('\n', at + 1) - at - 1);
}

}  // namespace

TEST_F(IndexedFile, RecordsReadOnDemandAreTheOnesAFullLoadMakes) {
  const fs::path sample = fs::path(QDIFC_TEST_CORPUS_DIR) / "ifc4" / "Ifc4_SampleHouse_0_GroundFloor.ifc";
  if (!fs::exists(sample)) GTEST_SKIP() << "no sample file at " << sample;
  const QdIfcIndexedFile indexed(sample.string());
  ASSERT_TRUE(indexed.opened());
  QdIfcModel full(qdifcGetSchemaPointer());
  const QdIfcLoadReport loaded = qdIfcLoadFile(full, sample.string());
  ASSERT_TRUE(loaded.problems.empty());
  const std::string fullText = qdIfcSaveText(full);

  // The counts of the index are those of the load, type by type.
  std::map<std::string, uint64_t> fromIndex;
  for (const auto& [name, n] : indexed.counts())
    fromIndex[qdifcGetSchemaPointer()->findEntityType(name)->schemaName()] += n;
  EXPECT_EQ(fromIndex, (std::map<std::string, uint64_t>(loaded.counts.begin(), loaded.counts.end())));
  EXPECT_EQ(indexed.ofType("ifcwall").size(), fromIndex["IfcWall"]);

  // Every wall, read alone into a model of its own, is the full load's wall with the
  // whole graph below it, each record as the full load writes it; nothing else is read.
  const std::vector<uint64_t> walls = indexed.ofType("IFCWALL");
  ASSERT_FALSE(walls.empty());
  QdIfcModel together(qdifcGetSchemaPointer());
  for (uint64_t id : walls) {
    QdIfcModel alone(qdifcGetSchemaPointer());
    QdIfcLoadReport report;
    const QdDbObjectId wall = indexed.materialise(alone, id, &report);
    ASSERT_FALSE(wall.isNull());
    EXPECT_TRUE(report.problems.empty());
    EXPECT_TRUE(alone.unresolvedIds().empty());
    EXPECT_LT(alone.size(), full.size());
    const std::string aloneText = qdIfcSaveText(alone);
    alone.forEach([&](const QdDbObjectId& h, QdIfcEntityBase*) {
      EXPECT_EQ(lineOf(aloneText, h.id()), lineOf(fullText, h.id()));
    });
    // One model filled wall by wall reads what is shared once.
    const size_t before = together.size();
    ASSERT_FALSE(indexed.materialise(together, id).isNull());
    EXPECT_LE(together.size() - before, alone.size());
  }
  // Asked again, a record in the model is not read again.
  const size_t held = together.size();
  EXPECT_EQ(indexed.materialise(together, walls[0]).openObject(), together.object(walls[0]));
  EXPECT_EQ(together.size(), held);
}

TEST_F(IndexedFile, NumbersOutOfOrderNamesUsedAgainAndMissingRecords) {
  const std::string text = file(
      "#30=IFCPOLYLINE((#10,#20,#99));\n"
      "#10=IFCCARTESIANPOINT((1.,2.));\n"
      "#20=IFCCARTESIANPOINT((3.,4.));\n"
      "#10=IFCDIRECTION((0.,1.));\n"  // the name again: the first record counts
      "#40=IFCRELAGGREGATES('0aBcDeFgHiJkLmNoPqRsTu',$,$,$,#50,(#51));\n"
      "#50=IFCBUILDING('1aBcDeFgHiJkLmNoPqRsTu',$,$,$,$,$,$,$,$,$,$,$);\n"
      "#51=IFCBUILDINGSTOREY('2aBcDeFgHiJkLmNoPqRsTu',$,$,$,$,$,$,$,$,$);\n");
  const QdIfcIndexedFile indexed = QdIfcIndexedFile::ofBytes(text);
  ASSERT_NE(indexed.find(10), nullptr);
  EXPECT_EQ(indexed.text(*indexed.find(10)), "#10=IFCCARTESIANPOINT((1.,2.));");
  EXPECT_EQ(indexed.find(99), nullptr);
  EXPECT_EQ(indexed.ofType("IfcCartesianPoint"), (std::vector<uint64_t>{10, 20}));

  QdIfcModel model(qdifcGetSchemaPointer());
  QdIfcLoadReport report;
  ASSERT_FALSE(indexed.materialise(model, 30, &report).isNull());
  EXPECT_EQ(model.size(), 3u);
  EXPECT_TRUE(model.object(10)->isKindOf("IfcCartesianPoint"));
  ASSERT_EQ(report.problems.size(), 1u);  // #99 is told, once
  EXPECT_EQ(report.problems[0].expected, "a record #99");
  EXPECT_TRUE(indexed.materialise(model, 99).isNull());

  // The inverses of the records read link among them.
  ASSERT_FALSE(indexed.materialise(model, 51).isNull());
  QdIfcVariant decomposes;
  ASSERT_TRUE(model.object(51)->getAttr("Decomposes", decomposes));
  QdIfcAggr* set = nullptr;
  ASSERT_TRUE(decomposes.getValue(set));
  EXPECT_TRUE(!set || set->count() == 0);  // #40 is not read: #51 does not reference it
  ASSERT_FALSE(indexed.materialise(model, 40).isNull());
  ASSERT_TRUE(model.object(51)->getAttr("Decomposes", decomposes));
  ASSERT_TRUE(decomposes.getValue(set));
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(set->count(), 1);
}
