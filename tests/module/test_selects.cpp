// The select classes: their member tables against a table written by hand, the
// entity members' handle logic, value members, and selects in variants.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfc4/Selects.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcSelectValueTypes.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace QD_SDAI;
using namespace IFC4;

namespace {

// Every class, made through the base, with its own name look-up (which is not a
// virtual of the base: its result is the class's own enumeration).
struct ClassProbe {
  std::function<std::unique_ptr<QdIfcSelect>()> make;
  std::function<long(QdIfcSelect&, const char*)> byName;
};

template <class C>
std::pair<const std::string, ClassProbe> probe(const char* name) {
  return {name,
          ClassProbe{[] { return std::unique_ptr<QdIfcSelect>(new C()); },
                     [](QdIfcSelect& s, const char* n) { return long(static_cast<C&>(s).underlyingTypeByName(n)); }}};
}
#define SELECT(C) probe<C>(#C)

const std::map<std::string, ClassProbe>& allClasses() {
  static const std::map<std::string, ClassProbe> classes = {SELECT(IfcActorSelect),
                                                            SELECT(IfcAppliedValueSelect),
                                                            SELECT(IfcAxis2Placement),
                                                            SELECT(IfcBendingParameterSelect),
                                                            SELECT(IfcBooleanOperand),
                                                            SELECT(IfcClassificationReferenceSelect),
                                                            SELECT(IfcClassificationSelect),
                                                            SELECT(IfcColour),
                                                            SELECT(IfcColourOrFactor),
                                                            SELECT(IfcCoordinateReferenceSystemSelect),
                                                            SELECT(IfcCsgSelect),
                                                            SELECT(IfcCurveFontOrScaledCurveFontSelect),
                                                            SELECT(IfcCurveOnSurface),
                                                            SELECT(IfcCurveOrEdgeCurve),
                                                            SELECT(IfcCurveStyleFontSelect),
                                                            SELECT(IfcDefinitionSelect),
                                                            SELECT(IfcDerivedMeasureValue),
                                                            SELECT(IfcDocumentSelect),
                                                            SELECT(IfcFillStyleSelect),
                                                            SELECT(IfcGeometricSetSelect),
                                                            SELECT(IfcGridPlacementDirectionSelect),
                                                            SELECT(IfcHatchLineDistanceSelect),
                                                            SELECT(IfcLayeredItem),
                                                            SELECT(IfcLibrarySelect),
                                                            SELECT(IfcLightDistributionDataSourceSelect),
                                                            SELECT(IfcMaterialSelect),
                                                            SELECT(IfcMeasureValue),
                                                            SELECT(IfcMetricValueSelect),
                                                            SELECT(IfcModulusOfRotationalSubgradeReactionSelect),
                                                            SELECT(IfcModulusOfSubgradeReactionSelect),
                                                            SELECT(IfcModulusOfTranslationalSubgradeReactionSelect),
                                                            SELECT(IfcObjectReferenceSelect),
                                                            SELECT(IfcPointOrVertexPoint),
                                                            SELECT(IfcPresentationStyleSelect),
                                                            SELECT(IfcProcessSelect),
                                                            SELECT(IfcProductRepresentationSelect),
                                                            SELECT(IfcProductSelect),
                                                            SELECT(IfcPropertySetDefinitionSelect),
                                                            SELECT(IfcResourceObjectSelect),
                                                            SELECT(IfcResourceSelect),
                                                            SELECT(IfcRotationalStiffnessSelect),
                                                            SELECT(IfcSegmentIndexSelect),
                                                            SELECT(IfcShell),
                                                            SELECT(IfcSimpleValue),
                                                            SELECT(IfcSizeSelect),
                                                            SELECT(IfcSolidOrShell),
                                                            SELECT(IfcSpaceBoundarySelect),
                                                            SELECT(IfcSpecularHighlightSelect),
                                                            SELECT(IfcStructuralActivityAssignmentSelect),
                                                            SELECT(IfcStyleAssignmentSelect),
                                                            SELECT(IfcSurfaceOrFaceSurface),
                                                            SELECT(IfcSurfaceStyleElementSelect),
                                                            SELECT(IfcTextFontSelect),
                                                            SELECT(IfcTimeOrRatioSelect),
                                                            SELECT(IfcTranslationalStiffnessSelect),
                                                            SELECT(IfcTrimmingSelect),
                                                            SELECT(IfcUnit),
                                                            SELECT(IfcValue),
                                                            SELECT(IfcVectorOrDirection),
                                                            SELECT(IfcWarpingStiffnessSelect)};
  return classes;
}

struct TableRow {
  std::string name;
  long n = 0;
  std::vector<std::pair<std::string, char>> members;
};

// The hand-written table: "<Class> <N> <Member>:<Letter> ...".
std::vector<TableRow> readTable() {
  std::ifstream in(std::string(QDIFC_TEST_SOURCE_DIR) + "/module/select_table.txt");
  std::vector<TableRow> rows;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    TableRow row;
    fields >> row.name >> row.n;
    for (std::string m; fields >> m;) row.members.emplace_back(m.substr(0, m.size() - 2), m.back());
    rows.push_back(row);
  }
  return rows;
}

QdTypeCodeKind kindOfLetter(char letter) {
  switch (letter) {
    case 'E': return kQdTypeEntity;
    case 'I': return kQdTypeInteger;
    case 'R': return kQdTypeReal;
    case 'B': return kQdTypeBoolean;
    case 'L': return kQdTypeLogical;
    case 'X': return kQdTypeBinary;
    case 'S': return kQdTypeString;
    case 'N': return kQdTypeEnumeration;
    case 'A': return kQdTypeAggregate;
    default: return kQdTypeNone;
  }
}

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

class Selects : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
  }
  QdDbObjectId make(const char* type, uint64_t id = 0) { return model->createInstance(type, id); }
  template <class T>
  T* object(const QdDbObjectId& h) {
    return dynamic_cast<T*>(h.openObject());
  }
  std::unique_ptr<QdIfcModel> model;
};

// Protected operations, reached the way a class of the family would.
struct TrimmingProbe : IfcTrimmingSelect {
  using IfcTrimmingSelect::setUnderlyingType;
};

}  // namespace

TEST_F(Selects, EveryClassMatchesTheHandWrittenTable) {
  std::vector<TableRow> rows = readTable();
  ASSERT_EQ(rows.size(), 60u) << "tests/module/select_table.txt";
  size_t handles = 0, values = 0;
  for (const TableRow& row : rows) {
    SCOPED_TRACE(row.name);
    auto probe = allClasses().find(row.name);
    ASSERT_NE(probe, allClasses().end());
    ASSERT_EQ(static_cast<long>(row.members.size()), row.n);
    std::unique_ptr<QdIfcSelect> s = probe->second.make();
    EXPECT_EQ(s->_d(), row.n);  // unset
    EXPECT_TRUE(s->isEmpty());
    EXPECT_STREQ(s->underlyingTypeName().constStr(), "");
    EXPECT_NE(s->type(), nullptr);
    EXPECT_EQ(probe->second.byName(*s, "IfcWall"), row.n);
    EXPECT_EQ(probe->second.byName(*s, ""), row.n);
    for (size_t place = 0; place < row.members.size(); ++place) {
      const auto& [name, letter] = row.members[place];
      SCOPED_TRACE(name);
      (letter == 'E' ? handles : values)++;
      EXPECT_EQ(probe->second.byName(*s, name.c_str()), static_cast<long>(place));
      EXPECT_EQ(probe->second.byName(*s, lower(name).c_str()), static_cast<long>(place));
      ASSERT_TRUE(s->underlyingTypeName(QdAnsiString(lower(name).c_str())));
      EXPECT_EQ(s->_d(), static_cast<long>(place));
      EXPECT_EQ(s->getKind(), kindOfLetter(letter));
      EXPECT_STREQ(s->underlyingTypeName().constStr(), name.c_str());  // the schema's spelling
      EXPECT_TRUE(s->getHandle().isNull());
    }
  }
  EXPECT_EQ(handles, 128u);
  EXPECT_EQ(values, 463u);
}

TEST_F(Selects, EntityMembersFollowTheObjectsOwnType) {
  QdDbObjectId person = make("IFCPERSON"), organization = make("IFCORGANIZATION");
  IfcActorSelect actor;
  actor.setIfcOrganization(object<IfcOrganization>(organization));
  EXPECT_TRUE(actor.isIfcOrganization());
  EXPECT_EQ(actor.getHandle(), organization);
  actor.setIfcPerson(object<IfcPerson>(person));
  EXPECT_TRUE(actor.isIfcPerson());
  EXPECT_EQ(actor.getKind(), kQdTypeEntity);
  // A subtype takes the member it is a kind of.
  IfcUnit unit;
  unit.setIfcNamedUnit(object<IfcSIUnit>(make("IFCSIUNIT")));
  EXPECT_TRUE(unit.isIfcNamedUnit());

  // A null object, or one in no model, clears the select.
  actor.setIfcPerson(nullptr);
  EXPECT_EQ(actor._d(), IfcActorSelect::eUnset);
  EXPECT_TRUE(actor.isEmpty());
  actor.setIfcOrganization(object<IfcOrganization>(organization));
  IfcPerson loose;
  actor.setIfcPerson(&loose);
  EXPECT_EQ(actor._d(), 3);
  EXPECT_TRUE(actor.getHandle().isNull());

  // An object that fits no member leaves the select as it was.
  actor.setIfcPerson(object<IfcPerson>(person));
  EXPECT_FALSE(actor.setHandle(make("IFCWALL")));
  EXPECT_TRUE(actor.isIfcPerson());
  EXPECT_EQ(actor.getHandle(), person);

  // Places that are not consecutive, in the mixed classes.
  IfcPresentationStyleSelect style;
  EXPECT_TRUE(style.setHandle(make("IFCSURFACESTYLE")));
  EXPECT_EQ(style._d(), 3);
  EXPECT_TRUE(style.setHandle(make("IFCTEXTSTYLE")));
  EXPECT_EQ(style._d(), 4);
  IfcHatchLineDistanceSelect hatch;
  EXPECT_TRUE(hatch.setHandle(make("IFCVECTOR")));
  EXPECT_EQ(hatch._d(), 1);
  IfcMetricValueSelect metric;
  EXPECT_TRUE(metric.setHandle(make("IFCREGULARTIMESERIES")));
  EXPECT_EQ(metric._d(), 4);
  EXPECT_FALSE(metric.setHandle(make("IFCPERSON")));

  // Value-only classes take no handle, whatever its object.
  IfcValue value;
  value.setIfcReal(2.0);
  EXPECT_FALSE(value.setHandle(person));
  EXPECT_TRUE(value.isIfcReal());
}

TEST_F(Selects, TheFirstFittingMemberWinsAndTheTableFollowsTheStatics) {
  // Aim the organization member at the person type for a moment: a person then fits
  // members 0 and 1, and the earlier one wins, whichever setter is called. The
  // table is read at each call.
  QdDbObjectId person = make("IFCPERSON");
  QdIfcEntityType* saved = IfcOrganization::g_pEntityType;
  IfcOrganization::g_pEntityType = IfcPerson::g_pEntityType;
  IfcActorSelect actor;
  actor.setIfcPerson(object<IfcPerson>(person));
  long first = actor._d();
  IfcOrganization::g_pEntityType = saved;
  EXPECT_EQ(first, 0);
  EXPECT_TRUE(actor.setHandle(person));
  EXPECT_EQ(actor._d(), 1);
}

TEST_F(Selects, PendingHandlesResolveOnDemand) {
  QdDbObjectId person = make("IFCPERSON", 7);
  QdDbObjectId later = model->handleFor(9);  // referenced before its record
  IfcActorSelect a, b;
  QdIfcSelect& base = a;
  base.setHandleOnLoad(person);
  EXPECT_EQ(a._d(), IfcActorSelect::ePending);
  EXPECT_EQ(a.getKind(), kQdTypeEntity);
  EXPECT_FALSE(a.isIfcPerson() || a.isIfcOrganization() || a.isIfcPersonAndOrganization());
  IfcActorSelect copy(a);
  EXPECT_EQ(copy._d(), IfcActorSelect::ePending);
  EXPECT_EQ(copy.getHandle(), person);
  EXPECT_STREQ(a.underlyingTypeName().constStr(), "IfcPerson");  // resolves
  EXPECT_TRUE(a.isIfcPerson());

  static_cast<QdIfcSelect&>(b).setHandleOnLoad(later);
  EXPECT_STREQ(b.underlyingTypeName().constStr(), "");  // nothing to open yet
  EXPECT_EQ(b._d(), IfcActorSelect::ePending);
  make("IFCORGANIZATION", 9);
  static_cast<QdIfcSelect&>(b).refreshSelectHandle();
  EXPECT_TRUE(b.isIfcOrganization());

  // A select that is not pending is not worked out again, even holding a handle.
  b._d(IfcActorSelect::eIfcPerson);
  static_cast<QdIfcSelect&>(b).refreshSelectHandle();
  EXPECT_TRUE(b.isIfcPerson());
  b._d(static_cast<IfcActorSelect::eIfcActorSelect>(40));
  EXPECT_STREQ(b.underlyingTypeName().constStr(), "");
}

TEST_F(Selects, ASetOfPendingSelectsStaysSortedAsTheyResolve) {
  QdIfcSetAggr<IfcActorSelect> actors;
  for (uint64_t id : {12u, 3u, 8u, 5u}) {
    IfcActorSelect s;
    static_cast<QdIfcSelect&>(s).setHandleOnLoad(model->handleFor(id));
    actors.add(s);
  }
  make("IFCPERSON", 3);
  make("IFCORGANIZATION", 5);
  make("IFCPERSONANDORGANIZATION", 8);
  make("IFCPERSON", 12);
  QdIfcAggrIterator* it = actors.createIterator();
  ASSERT_NE(it, nullptr);
  QdIfcVariant v;
  std::vector<std::string> names;
  while (it->next()) {
    ASSERT_TRUE(it->getValue(v));
    IfcActorSelect* s = nullptr;
    ASSERT_TRUE(v.getValue(s));
    names.push_back(s->underlyingTypeName().constStr());
  }
  delete it;
  EXPECT_EQ(names, (std::vector<std::string>{"IfcPerson", "IfcOrganization", "IfcPersonAndOrganization", "IfcPerson"}));
  const auto& items = actors.items();
  for (size_t i = 1; i < items.size(); ++i) EXPECT_TRUE(items[i - 1] < items[i]);
  IfcActorSelect probe;
  probe.setHandle(model->find(8));
  EXPECT_TRUE(actors.containsValue(probe));
  EXPECT_EQ(actors.add(probe), 0);
  EXPECT_EQ(actors.count(), 4);
}

TEST_F(Selects, ValueMembersByNameAndBySetter) {
  IfcValue value;
  ASSERT_TRUE(value.underlyingTypeName(QdAnsiString("ifclengthmeasure")));
  EXPECT_EQ(value._d(), 78);
  EXPECT_EQ(value.getKind(), kQdTypeReal);

  IfcSimpleValue simple;
  simple.setIfcReal(1.5);
  EXPECT_EQ(simple._d(), 10);
  EXPECT_EQ(simple.getKind(), kQdTypeReal);
  EXPECT_STREQ(simple.underlyingTypeName().constStr(), "IfcReal");
  double d = 0;
  EXPECT_TRUE(simple.getDouble(d));
  EXPECT_EQ(d, 1.5);
  // An unknown name leaves the old value.
  EXPECT_FALSE(simple.underlyingTypeName(QdAnsiString("IfcWall")));
  EXPECT_TRUE(simple.isIfcReal());
  EXPECT_TRUE(simple.getDouble(d));

  IfcTrimmingSelect trim;
  ASSERT_TRUE(trim.underlyingTypeName(QdAnsiString("IfcCartesianPoint")));
  EXPECT_EQ(trim.getKind(), kQdTypeEntity);
  EXPECT_EQ(trim._d(), 0);
  EXPECT_TRUE(trim.getHandle().isNull());

  TrimmingProbe probe;
  EXPECT_EQ(probe.setUnderlyingType(IfcTrimmingSelect::eIfcCartesianPoint), QD::eNotThatMember);
  EXPECT_EQ(probe.setUnderlyingType(IfcTrimmingSelect::eUnset), QD::eNotThatMember);
  EXPECT_EQ(probe.setUnderlyingType(IfcTrimmingSelect::ePending), QD::eNotThatMember);
  EXPECT_TRUE(probe.isEmpty());
  EXPECT_EQ(probe.setUnderlyingType(IfcTrimmingSelect::eIfcParameterValue), QD::eOk);
  EXPECT_EQ(probe.getKind(), kQdTypeReal);
  EXPECT_TRUE(probe.isIfcParameterValue());

  // Kinds that do not follow their names.
  IfcMeasureValue measure;
  measure.setIfcCountMeasure(3.0);
  EXPECT_EQ(measure.getKind(), kQdTypeReal);
  simple.setIfcTimeStamp(1700000000);
  EXPECT_EQ(simple.getKind(), kQdTypeInteger);
  simple.setIfcPositiveInteger(4);
  EXPECT_EQ(simple.getKind(), kQdTypeInteger);
  simple.setIfcLogical(QdIfcLogical(QdIfcLogical::Unknown));
  QdIfcLogical l;
  EXPECT_TRUE(simple.getLogical(l));
  EXPECT_EQ(l, QdIfcLogical::Unknown);

  IfcPresentationStyleSelect style;
  style.setIfcNullStyle(IfcNullStyle(kIfcNullStyle_NULL));
  unsigned long e = 99;
  EXPECT_TRUE(style.getEnum(e));
  EXPECT_EQ(e, 0u);
  EXPECT_EQ(style._d(), 2);
  HsString text;
  EXPECT_TRUE(QdIfcVariant(style).toString(text, kStringFormatStep));
  EXPECT_EQ(text.utf8(), "IFCNULLSTYLE(.NULL.)");
  style.setIfcNullStyle(IfcNullStyle(kIfcNullStyle_UNSET));  // no literal past the last one
  EXPECT_TRUE(QdIfcVariant(style).toString(text, kStringFormatPlain));
  EXPECT_EQ(text.utf8(), "");
}

TEST_F(Selects, AggregateMembersHaveTheirOwnClasses) {
  // The same member stands at another place in each class.
  IfcValue value;
  IfcMeasureValue measure;
  IfcAppliedValueSelect applied;
  IfcMetricValueSelect metric;
  const long places[] = {73, 2, 75, 78};
  QdIfcSelect* all[] = {&value, &measure, &applied, &metric};
  for (int i = 0; i < 4; ++i) {
    QdIfcArray<double> pair;
    pair.append(1.0);
    pair.append(2.0);
    ASSERT_TRUE(all[i]->underlyingTypeName(QdAnsiString("IFCCOMPLEXNUMBER")));
    EXPECT_EQ(all[i]->_d(), places[i]);
    QdIfcAggr* a = nullptr;
    ASSERT_TRUE(all[i]->getAggr(a));
    EXPECT_TRUE(a->isNil());  // selected, no value yet
    ASSERT_TRUE(a->createEmpty());
    EXPECT_EQ(a->aggrOrderType(), kAggrOrdered);
    EXPECT_EQ(a->lowerIndex(), 1);  // ARRAY [1:2] OF REAL
    EXPECT_EQ(a->upperIndex(), 2);
  }
  value.setIfcComplexNumber([] {
    QdIfcArray<double> x;
    x.append(1.0);
    x.append(2.0);
    return x;
  }());
  EXPECT_EQ(value._d(), 73);
  QdIfcAggr* a = nullptr;
  ASSERT_TRUE(value.getAggr(a));
  EXPECT_EQ(a->count(), 2);
  HsString text;
  EXPECT_TRUE(QdIfcVariant(&value).toString(text, kStringFormatStep));
  EXPECT_EQ(text.utf8(), "IFCCOMPLEXNUMBER((1.,2.))");

  // IfcLineIndex keeps the 3..3 list object of its class; bounds are not enforced.
  IfcSegmentIndexSelect segment;
  QdIfcArray<int> four;
  for (int i = 1; i <= 4; ++i) four.append(i);
  segment.setIfcLineIndex(four);
  EXPECT_TRUE(segment.isIfcLineIndex());
  ASSERT_TRUE(segment.getAggr(a));
  EXPECT_EQ(a->count(), 4);
  int out = 0;
  EXPECT_EQ(a->orderedManipulator()->checkIndex(4, out), QD::eIndexInvalid);
  EXPECT_EQ(a->orderedManipulator()->checkIndex(3, out), 0);
  segment.setIfcArcIndex(four);
  EXPECT_TRUE(segment.isIfcArcIndex());
  ASSERT_TRUE(segment.getAggr(a));
  EXPECT_EQ(a->count(), 4);

  IfcPropertySetDefinitionSelect psets;
  QdIfcArray<QdDbObjectId> handles;
  handles.append(make("IFCPROPERTYSET", 20));
  handles.append(make("IFCPROPERTYSET", 10));
  psets.setIfcPropertySetDefinitionSet(handles);
  ASSERT_TRUE(psets.getAggr(a));
  EXPECT_EQ(a->aggrOrderType(), kAggrUnordered);
  EXPECT_EQ(a->count(), 2);
}

TEST_F(Selects, ChangingKindsNeverLosesOrLeaks) {
  // Run under the sanitizers: each step releases exactly what the select held.
  IfcValue v;
  v.setIfcLabel(QdAnsiString("a label that is long enough to live on the heap"));
  QdIfcArray<int> angle;
  for (int x : {12, 30, 15}) angle.append(x);
  v.setIfcCompoundPlaneAngleMeasure(angle);
  IfcValue copy(v);
  v.setIfcText(QdAnsiString("text"));
  v.setIfcCompoundPlaneAngleMeasure(angle);
  v.setIfcCompoundPlaneAngleMeasure(angle);  // the same member again, into its own list
  QdIfcAggr* a = nullptr;
  ASSERT_TRUE(v.getAggr(a));
  EXPECT_EQ(a->count(), 3);
  v = copy;
  EXPECT_TRUE(v == copy);
  v.setIfcBinary(QdAnsiString("0F"));
  EXPECT_EQ(v.getKind(), kQdTypeBinary);
  v.setIfcBoolean(QdIfcBoolean(true));
  v.nullify();
  EXPECT_TRUE(v.isEmpty());
  EXPECT_EQ(v._d(), IfcValue::eUnset);
  v = copy;
  const IfcValue& self = v;
  v = self;
  EXPECT_TRUE(v.isIfcCompoundPlaneAngleMeasure());
}

TEST_F(Selects, OrderAndEquality) {
  IfcValue a, b, c;
  a.setIfcLabel(QdAnsiString("x"));
  b.setIfcLabel(QdAnsiString("x"));
  c.setIfcText(QdAnsiString("x"));  // another member, same kind and value
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a < b || b < a);
  EXPECT_TRUE(a != c);
  EXPECT_TRUE((a < c) != (c < a));
  IfcValue nan1, nan2, one;
  nan1.setIfcReal(Consts::QdRealUnset);
  nan2.setIfcReal(Consts::QdRealUnset);
  one.setIfcReal(1.0);
  EXPECT_TRUE(nan1 == nan2);
  EXPECT_TRUE(one < nan1);
  EXPECT_FALSE(nan1 < one);
  // Handles compare by the handle alone, whatever the member is.
  QdDbObjectId p = make("IFCPERSON");
  IfcActorSelect resolved, pending;
  resolved.setHandle(p);
  static_cast<QdIfcSelect&>(pending).setHandleOnLoad(p);
  EXPECT_TRUE(resolved == pending);
  IfcValue empty1;
  IfcActorSelect empty2;
  EXPECT_TRUE(empty1 == empty2);
  EXPECT_TRUE(empty1 < a);
}

TEST_F(Selects, VariantsByValueAndByPointer) {
  IfcValue length;
  length.setIfcLengthMeasure(2.5);
  QdIfcVariant byValue(length);
  QdIfcVariant byPointer(&length);
  EXPECT_TRUE(byValue.is<IfcValue>());
  EXPECT_TRUE(byPointer.is<IfcValue*>());
  EXPECT_TRUE(QdIfcVariantType::Desc<IfcValue>::value().isSelect());
  EXPECT_STREQ(byValue.typePath(), "IfcLengthMeasure");
  EXPECT_STREQ(byPointer.typePath(), "IfcLengthMeasure");
  // The other form's tag is no select of this descriptor.
  EXPECT_STREQ(QdIfcVariantType::Desc<IfcValue>::value().subTypePath(byPointer), "");
  EXPECT_EQ(QdIfcVariantType::Desc<IfcValue*>::value().subTypePath(byValue), nullptr);
  HsString text;
  EXPECT_FALSE(QdIfcVariantType::Desc<IfcValue>::value().subToString(text, nullptr, kStringFormatStep));
  EXPECT_FALSE(QdIfcVariantType::Desc<IfcValue*>::value().subToString(text, nullptr, kStringFormatStep));
  EXPECT_TRUE(byPointer.toString(text, kStringFormatStep));
  EXPECT_EQ(text.utf8(), "IFCLENGTHMEASURE(2.5)");

  // A pointer variant put into a select by value: the same class is a copy, another
  // class goes by member name and value.
  IfcValue same;
  ASSERT_TRUE(byPointer.getValue(same));
  EXPECT_TRUE(same == length);
  IfcAppliedValueSelect applied;
  ASSERT_TRUE(byPointer.getValue(applied));
  EXPECT_EQ(applied._d(), 80);
  double d = 0;
  EXPECT_TRUE(applied.getDouble(d));
  EXPECT_EQ(d, 2.5);
  IfcSizeSelect size;
  EXPECT_TRUE(byValue.getValue(size));  // IfcLengthMeasure is one of its members too
  IfcValue label;
  label.setIfcLabel(QdAnsiString("no such member in a size"));
  EXPECT_FALSE(QdIfcVariant(&label).getValue(size));
  EXPECT_TRUE(size.isIfcLengthMeasure());  // untouched

  // Plain values: the core converts the member's value.
  EXPECT_TRUE(byPointer.getValue(d));
  EXPECT_EQ(d, 2.5);
  QdTypeCodeKind kind = kQdTypeNone;
  EXPECT_TRUE(byValue.getValue(kind));
  EXPECT_EQ(kind, kQdTypeReal);
  EXPECT_TRUE(QdIfcVariant(IfcValue()).getValue(kind));
  EXPECT_EQ(kind, kQdTypeNone);
  QdDbObjectId h;
  EXPECT_FALSE(byValue.getValue(h));
  QdIfcSelect* raw = nullptr;
  EXPECT_TRUE(byPointer.getValue(raw));
  EXPECT_EQ(raw, &length);

  // From a bare handle: the member its object fits, or false with an empty select.
  QdDbObjectId person = make("IFCPERSON", 12);
  IfcActorSelect actor;
  ASSERT_TRUE(QdIfcVariant(person).getValue(actor));
  EXPECT_TRUE(actor.isIfcPerson());
  EXPECT_TRUE(QdIfcVariant(&actor).getValue(h));
  EXPECT_EQ(h, person);
  EXPECT_TRUE(QdIfcVariant(actor).toString(text, kStringFormatStep));
  EXPECT_EQ(text.utf8(), "#12");
  QdIfcVariant result;
  EXPECT_FALSE(QdIfcVariantType::Desc<IfcActorSelect>::value().fromValueType(QdIfcVariant(make("IFCWALL")), result));
  EXPECT_TRUE(result.is<IfcActorSelect>());
  EXPECT_TRUE(result.ptr<IfcActorSelect>()->isEmpty());
  // A bare number has no type path: no member to choose.
  EXPECT_FALSE(QdIfcVariant(3).getValue(same));
  EXPECT_FALSE(QdIfcVariantType::Desc<IfcValue*>::value().fromValueType(QdIfcVariant(person), result));

  // Equality through the descriptors.
  EXPECT_TRUE(byValue == QdIfcVariant(length));
  EXPECT_TRUE(byPointer == QdIfcVariant(&same));
  EXPECT_FALSE(byValue == QdIfcVariant(label));
}

TEST_F(Selects, AggregatesOfSelectsHandOutPointersThatStay) {
  QdIfcListAggr<IfcValue> values;
  IfcValue v;
  v.setIfcLabel(QdAnsiString("first"));
  values.append(v);
  QdIfcAggrIterator* it = values.createIterator();
  ASSERT_TRUE(it->next());
  QdIfcVariant element;
  ASSERT_TRUE(it->getValue(element));
  ASSERT_TRUE(element.is<IfcValue*>());
  IfcValue* first = *element.ptr<IfcValue*>();
  for (int i = 0; i < 500; ++i) {
    v.setIfcInteger(i);
    values.append(v);
    ASSERT_EQ(it->insertBeforeCurrent(QdIfcVariant(v)), 0);
  }
  delete it;
  EXPECT_STREQ(first->underlyingTypeName().constStr(), "IfcLabel");
  QdAnsiString label;
  EXPECT_TRUE(first->getString(label));
  EXPECT_STREQ(label.constStr(), "first");

  // A set of selects exported as an array of selects by value, and back.
  QdIfcSetAggr<IfcUnit> units;
  IfcUnit u;
  for (const char* type : {"IFCSIUNIT", "IFCMONETARYUNIT", "IFCDERIVEDUNIT"}) {
    ASSERT_TRUE(u.setHandle(make(type)));
    units.add(u);
  }
  QdIfcVariant pointer(static_cast<QdIfcSetAggr<IfcUnit>*>(&units));
  QdIfcArray<IfcUnit> exported;
  ASSERT_TRUE(pointer.getValue(exported));
  ASSERT_EQ(exported.length(), 3);
  EXPECT_TRUE(exported[0].isIfcNamedUnit());
  EXPECT_TRUE(exported[1].isIfcMonetaryUnit());
  EXPECT_TRUE(exported[2].isIfcDerivedUnit());
  QdIfcArray<IfcUnit> shorter = exported;
  shorter.setLogicalLength(2);
  EXPECT_TRUE(QdIfcVariant(exported) == QdIfcVariant(exported));
  EXPECT_FALSE(QdIfcVariant(exported) == QdIfcVariant(shorter));
  EXPECT_TRUE(QdIfcVariant(QdIfcArray<IfcUnit>()) == QdIfcVariant(QdIfcArray<IfcUnit>()));
  EXPECT_FALSE(pointer == pointer);  // aggregate pointers have no equality
  HsString text;
  EXPECT_FALSE(QdIfcVariant(exported).toString(text));
}
