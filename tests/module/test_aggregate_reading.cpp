// Reading aggregates straight into their implementations: what a list costs in
// allocations (this program counts the calls of operator new on the reading thread),
// long lists read whole into one block, and the failure rules of flat lists and
// lists of lists kept.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>

namespace {
thread_local long t_allocations = -1;  // counting while 0 or more
void* counted(std::size_t n) noexcept {
  if (t_allocations >= 0) ++t_allocations;
  return std::malloc(n != 0 ? n : 1);
}
}  // namespace

void* operator new(std::size_t n) {
  if (void* p = counted(n)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return counted(n); }
// Every plain delete frees with std::free, to match (a sanitizer's own delete would
// not); out of line, so that the compiler does not take it for a mismatched free.
namespace {
[[gnu::noinline]] void freed(void* p) noexcept { std::free(p); }
}  // namespace
void operator delete(void* p) noexcept { freed(p); }
void operator delete(void* p, std::size_t) noexcept { freed(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { freed(p); }

using namespace QD_SDAI;
using namespace IFC4;

namespace {

class AggregateReading : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
    for (uint64_t n = 1; n <= 100; ++n) model->handleFor(n);  // the instance slots exist before counting
  }
  void TearDown() override {
    model.reset();
    qdGetModuleLifeCycleApp()->stop();
  }

  // Reads a parameter list (what follows the record's '(') into o: the allocations
  // made while reading, and in rest what was left unread, in problems what the filer
  // recorded. The list is read twice, and counted the second time: the first reading
  // of a class builds its tables.
  long read(QdIfcEntityBase& o, const std::string& text, std::string* rest = nullptr, size_t* problems = nullptr) {
    QdSpfFilerBase first(text.data(), text.data() + text.size(), model.get());
    first.beginRecord(1);
    o.inFields(&first);
    QdSpfFilerBase filer(text.data(), text.data() + text.size(), model.get());
    filer.beginRecord(1);
    t_allocations = 0;
    o.inFields(&filer);
    const long made = t_allocations;
    t_allocations = -1;
    filer.peek();
    if (rest) *rest = std::string(filer.position(), filer.end());
    if (problems) *problems = filer.problems().size();
    return made;
  }
  static std::string written(QdIfcEntityBase& o) {
    QdSpfFilerBase filer;
    o.outFields(&filer);
    return filer.text();
  }
  // "#from,...,#to" (descending when from > to), and "(a,a,a),(b,b,b)..." rows.
  static std::string references(int from, int to) {
    std::string out;
    for (int n = from;; n += from < to ? 1 : -1) {
      out += (out.empty() ? "#" : ",#") + std::to_string(n);
      if (n == to) return out;
    }
  }
  static std::string rows(int count) {
    std::string out;
    for (int k = 1; k <= count; ++k) {
      const std::string e = std::to_string(k) + ".";
      out += (k == 1 ? "(" : ",(") + e + "," + e + "," + e + ")";
    }
    return out;
  }

  std::unique_ptr<QdIfcModel> model;
};

// A point, a direction or a face's loop is its implementation object alone; a long
// list adds one block of its exact size; a list of lists one object per row.
TEST_F(AggregateReading, AShortListIsOneAllocationAndALongOneTwo) {
  IfcCartesianPoint point;
  EXPECT_LE(read(point, "(1.,2.,3.))"), 1);
  EXPECT_EQ(written(point), "(1.,2.,3.)");
  IfcDirection direction;
  EXPECT_LE(read(direction, "(0.,1.))"), 1);
  IfcPolyLoop loop;
  EXPECT_LE(read(loop, "(#1,#2,#3,#4))"), 1);
  EXPECT_EQ(written(loop), "(#1,#2,#3,#4)");

  IfcPolyline line;
  EXPECT_LE(read(line, "(" + references(1, 40) + "))"), 2);
  EXPECT_EQ(written(line), "(" + references(1, 40) + ")");
  EXPECT_LE(read(line, "(" + references(1, 5) + "))"), 2);  // one past the room

  // A set in reverse order is sorted once at the end; none of it is copied.
  IfcRelContainedInSpatialStructure contained;
  const std::string head = "'2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,(";
  const long one = read(contained, head + "#1),#99)");
  EXPECT_LE(read(contained, head + references(60, 1) + "),#99)") - one, 1);
  EXPECT_EQ(written(contained), head + references(1, 60) + "),#99");

  IfcCartesianPointList3D list;
  EXPECT_LE(read(list, "(" + rows(10) + "))"), 2 + 2 * 10);  // the list and its block, a handle and an object a row
  EXPECT_EQ(written(list), "(" + rows(10) + ")");
}

// The rest of a long list is counted ahead to size its block; strings and nested
// lists with commas in them count as one element each, so that no room is reserved
// beyond the elements (which would cost a second block at the end).
TEST_F(AggregateReading, CommasInsideStringsAndRowsAreNotElements) {
  IfcPostalAddress address;
  const long plain = read(address, "$,$,$,$,('ab','cd','efg','g','h','i'),$,$,$,$,$)");
  const long awkward = read(address, "$,$,$,$,('a,','c)','e''(','g','h','i'),$,$,$,$,$)");
  EXPECT_EQ(awkward, plain);
  EXPECT_EQ(written(address), "$,$,$,$,('a,','c)','e''(','g','h','i'),$,$,$,$,$");

  IfcTriangulatedFaceSet faces;
  const std::string triangles = "(1,2,3),(2,3,4),(3,4,5),(4,5,6),(5,6,7),(6,7,8)";
  EXPECT_LE(read(faces, "#1,$,.T.,(" + triangles + "),$)"), 2 + 2 * 6);
  EXPECT_EQ(written(faces), "#1,$,.T.,(" + triangles + "),$");
}

TEST_F(AggregateReading, AnElementThatDoesNotReadLeavesTheListNilWhereverItStands) {
  IfcPolyline line;
  std::string rest;
  size_t problems = 0;
  read(line, "(" + references(1, 8) + "))");
  ASSERT_EQ(line.getPoints().count(), 8);
  for (const char* bad : {"(#1,.T.,#3)", "(#1,#2,#3,#4,#5,#6,'x',#8)", "(#1,#2,#3,#4,#5,#6,#7,#8,$)"}) {
    read(line, std::string(bad) + ")", &rest, &problems);
    EXPECT_TRUE(line.getPoints().isNil()) << bad;
    EXPECT_EQ(rest, ")") << bad;
    EXPECT_GE(problems, 1u) << bad;
  }
  // A set with repeats across the inline room keeps each handle once.
  IfcRelContainedInSpatialStructure contained;
  read(contained, "'2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,(#9,#3,#9,#7,#1,#3,#5,#1),#99)");
  EXPECT_EQ(written(contained), "'2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,(#1,#3,#5,#7,#9),#99");
}

// A list of lists is read into new rows and takes the member's place only when every
// row read: a bad row, early or after many, leaves what the member held.
TEST_F(AggregateReading, AListOfListsIsKeptOnlyWhole) {
  IfcCartesianPointList3D list;
  read(list, "((1.,2.,3.)))");
  std::string rest;
  for (const std::string& bad :
       {std::string("((4.,5.,6.),(7.,'x',9.))"), "(" + rows(7) + ",(7.,8.,.T.),(1.,1.,1.))", "(" + rows(5) + ";"}) {
    read(list, bad + ")", &rest);
    EXPECT_EQ(written(list), "((1.,2.,3.))") << bad;
  }
  read(list, "(" + rows(5) + ",$,((1.,2.,3.))))", &rest);  // "$" is an empty row; a row with a list in it
  EXPECT_EQ(written(list), "((1.,2.,3.))") << "a row that does not read";
  EXPECT_EQ(rest, ")");
  read(list, "(" + rows(5) + ",$,7.))", &rest);
  EXPECT_EQ(written(list), "(" + rows(5) + ",(),(7.))") << "'$' an empty row, a bare element a row of one";
  ASSERT_EQ(list.getCoordList().count(), 7);
  EXPECT_FALSE(list.getCoordList().inner(5)->isNil());
  EXPECT_EQ(rest, ")");
  read(list, "())");
  EXPECT_EQ(written(list), "()");
}

}  // namespace
