// A model's arena and the reader's threads: objects taken out of an arena model outlive
// it, strings copied out of it too, its blocks go when the last object in them does; and
// any number of threads reads a file, faults and all, into the model the serial reader
// makes.
#include <QdIfc4/Entities.h>
#include "ModuleTest.h"

#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace QD_SDAI;

namespace {

class ArenaAndThreads : public ModuleTest {};

// Several thousand records with a fault of each kind a reader meets, spread over the
// file so that they fall into different chunks: names used again (after a good record
// and after a bad one, which does not take the name), unknown types, complex records,
// a missing '=', a parameter too many, a wrong kind of value, references to records that
// come later, that never come (near and far beyond the others) and of a type not admitted.
std::string faultyRecords(int count = 6000) {
  std::string r;
  for (int i = 1; i <= count; ++i) {
    const std::string id = "#" + std::to_string(i);
    const std::string n = std::to_string(i);
    switch (i % 13) {
      case 0: r += id + "=IFCPOLYLINE((#" + std::to_string(i - 1) + ",#" + std::to_string(i + 2) + "));\n"; break;
      case 1: r += id + "=IFCPOLYLINE((#" + std::to_string(1000000 + i) + ",#" + std::to_string(i + 1) + "));\n"; break;
      case 2: r += id + "=IFCCARTESIANPOINT((" + n + ".,0.,1.5E-3));\n"; break;
      case 3: r += id + "=IFCPROPERTYSINGLEVALUE('P" + n + "','it''s',IFCLABEL('v" + n + "'),$);\n"; break;
      case 4:  // the second takes the name, and holds a direction where a loop belongs
        r += id + "=IFCNOSUCHTYPE(1,2);\n" + id + "=IFCFACEOUTERBOUND(#" + std::to_string(i + 1) + ",.T.);\n";
        break;
      case 5: r += id + "=IFCDIRECTION((0.,1.,0.));\n" + id + "=IFCDIRECTION((0.,0.,1.));\n"; break;  // again
      case 6: r += id + "=(IFCREPRESENTATIONITEM()IFCGEOMETRICREPRESENTATIONITEM());\n"; break;
      case 7: r += id + " IFCCARTESIANPOINT((0.,0.));\n"; break;
      case 8: r += id + "=IFCDIRECTION((1.,0.),5.);\n"; break;
      case 9: r += id + "=IFCCARTESIANPOINT(('x',0.));\n"; break;
      case 10:
        r += id + "=IFCPOLYLOOP((#" + std::to_string(i + 1) + ",#" + std::to_string(9000000000ull + i) + "));\n";
        break;
      case 11: r += id + "=IFCCARTESIANPOINT((1.,2.,3.));\n"; break;
      default: r += id + "=IFCFACEOUTERBOUND(#" + std::to_string(i - 2) + ",.T.);\n"; break;
    }
  }
  return r;
}

struct Outcome {
  QdIfcLoadReport report;
  std::string written;
  std::vector<uint64_t> unresolved;
  size_t size = 0;
};

Outcome loadWith(const std::string& text, unsigned threads, const QdSpfLimits& limits = {}) {
  QdIfcModel model(qdifcGetSchemaPointer());
  QdIfcLoadOptions options;
  options.threads = threads;
  options.limits = limits;
  Outcome o;
  o.report = qdIfcLoad(model, text, options);
  o.written = qdIfcSaveText(model);
  o.unresolved = model.unresolvedIds();
  o.size = model.size();
  return o;
}

}  // namespace

TEST_F(ArenaAndThreads, AnyNumberOfThreadsReadsFaultsAsTheSerialReaderDoes) {
  // The larger file passes the point where the serial reader lets its index go and
  // finds the records of wrong references by indexing again.
  for (const auto& [count, threadCounts] :
       {std::pair{6000, std::vector<unsigned>{2, 3, 8}}, std::pair{80000, std::vector<unsigned>{2}}}) {
    const std::string text = file(faultyRecords(count));
    const Outcome serial = loadWith(text, 1);
    ASSERT_GT(serial.report.problems.size(), count / 3u);
    ASSERT_GT(serial.size, count / 2u);
    // References of a wrong type are told at the record that holds them.
    size_t wrongType = 0;
    for (const QdSpfProblem& p : serial.report.problems) {
      if (p.expected.rfind("a reference to", 0) != 0) continue;
      ++wrongType;
      const std::string head = "#" + std::to_string(p.instance) + "=";
      ASSERT_EQ(text.compare(p.offset, head.size(), head), 0) << text.substr(p.offset, 40);
      ASSERT_NE(text.compare(p.offset + head.size(), 13, "IFCNOSUCHTYPE"), 0) << "at the record not read";
    }
    EXPECT_GT(wrongType, count / 20u);
    for (unsigned threads : threadCounts) {
      SCOPED_TRACE(std::to_string(count) + " records, " + std::to_string(threads) + " threads");
      const Outcome parallel = loadWith(text, threads);
      EXPECT_EQ(parallel.report.counts, serial.report.counts);
      EXPECT_EQ(parallel.report.records, serial.report.records);
      EXPECT_EQ(parallel.size, serial.size);
      ASSERT_EQ(parallel.report.problems.size(), serial.report.problems.size());
      for (size_t i = 0; i < serial.report.problems.size(); ++i) {
        const QdSpfProblem &a = serial.report.problems[i], &b = parallel.report.problems[i];
        ASSERT_EQ(std::tie(a.offset, a.line, a.instance, a.expected, a.found),
                  std::tie(b.offset, b.line, b.instance, b.expected, b.found))
            << "problem " << i;
      }
      EXPECT_EQ(parallel.written, serial.written);
      EXPECT_EQ(parallel.unresolved, serial.unresolved);
    }
  }
}

TEST_F(ArenaAndThreads, ABudgetRunOutStopsEveryThreadWithOneProblem) {
  std::string records;
  for (int i = 1; i <= 20000; ++i) records += "#" + std::to_string(i) + "=IFCPOLYLINE((#20001,#20001));\n";
  const std::string text = file(records + "#20001=IFCCARTESIANPOINT((0.,0.));\n");
  QdSpfLimits limits;
  limits.memoryPerFileByte = 3;  // room for the index, not for every instance
  limits.memoryAllowance = 0;
  const Outcome o = loadWith(text, 2, limits);
  ASSERT_EQ(o.report.problems.size(), 1u);
  EXPECT_NE(o.report.problems[0].found.find("the rest of the file is not read"), std::string::npos);
  EXPECT_LT(o.size, 20001u);
  EXPECT_GT(o.size, 0u);
  // No slot is left taken by a record that was not read: the model writes, and what
  // it writes reads back to as many instances.
  QdIfcModel again(qdifcGetSchemaPointer());
  qdIfcLoad(again, o.written);
  EXPECT_EQ(again.size(), o.size);
}

TEST_F(ArenaAndThreads, ObjectsAndStringsTakenOutOutliveTheirModel) {
  const size_t mappedBefore = QdIfcArena::mappedBytes();
  auto model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
  const std::string text = file(faultyRecords());
  qdIfcLoad(*model, text);
  EXPECT_GT(model->arena().used(), 0u);
  EXPECT_GT(QdIfcArena::mappedBytes(), mappedBefore);

  // A property's name copied out, a point detached, another removed.
  auto* property = dynamic_cast<IFC4::IfcPropertySingleValue*>(model->object(3));
  ASSERT_NE(property, nullptr);
  QdAnsiString copied = property->getName();
  ASSERT_EQ(copied.view(), "P3");
  QdIfcEntityBase* detached = model->detachInstance(model->find(2));
  ASSERT_NE(detached, nullptr);
  EXPECT_TRUE(QdIfcArena::owns(detached));
  EXPECT_TRUE(model->removeInstance(model->find(11)));
  EXPECT_EQ(model->object(11), nullptr);

  model.reset();
  // The detached point still holds its coordinates, and its block stays mapped for it.
  EXPECT_GT(QdIfcArena::mappedBytes(), mappedBefore);
  QdIfcVariant coordinates;
  ASSERT_TRUE(detached->getAttr("Coordinates", coordinates));
  QdIfcAggr* list = nullptr;
  ASSERT_TRUE(coordinates.getValue(list));
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->count(), 3);
  EXPECT_EQ(copied.view(), "P3");
  delete detached;
  EXPECT_GT(QdIfcArena::mappedBytes(), mappedBefore);  // the string's block still
  copied = QdAnsiString();
  EXPECT_EQ(QdIfcArena::mappedBytes(), mappedBefore);
}

TEST_F(ArenaAndThreads, InstancesMadeByTheModelComeFromItsArenaOthersFromTheHeap) {
  QdIfcModel model(qdifcGetSchemaPointer());
  const QdDbObjectId made = model.createInstance("IfcWall");
  ASSERT_FALSE(made.isNull());
  EXPECT_TRUE(QdIfcArena::owns(made.openObject()));
  auto* own = new IFC4::IfcWall();
  EXPECT_FALSE(QdIfcArena::owns(own));
  EXPECT_FALSE(model.addInstance(own).isNull());
  // Both are freed by the model, each where it came from (the sanitizers tell otherwise).
  model.clear();
  EXPECT_EQ(model.arena().used(), 0u);
  EXPECT_TRUE(model.createInstance("IfcWall").openObject() != nullptr);
}
