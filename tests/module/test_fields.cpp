// The record fields of the entity classes and the typed values of selects, through the
// filer: what outFields writes, what inFields makes of a parameter list, and every
// class written, read into a fresh instance and written again, both fresh and with a
// value in every parameter. The record's shape (count, order, "*", "$") is held
// against the schema data and the dictionary, which are made apart from the classes.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfc4/Selects.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>

using namespace QD_SDAI;
using namespace IFC4;

namespace {

const char* const kGuid = "2O2Fr$t4X7Zf8NOew3FLOH";

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

template <class T>
QdIfcArray<T> array(std::initializer_list<T> values) {
  QdIfcArray<T> out;
  for (const T& v : values) out.append(v);
  return out;
}

// The parameters outFields writes.
std::string written(QdIfcEntityBase& o) {
  QdSpfFilerBase filer;
  o.outFields(&filer);
  return filer.text();
}

class Fields : public ::testing::Test {
 public:
  // The handle of instance #n of the model.
  QdDbObjectId id(uint64_t n) { return model->handleFor(n); }

 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
  }
  void TearDown() override {
    model.reset();
    qdGetModuleLifeCycleApp()->stop();
  }

  // Reads a parameter list (what follows the record's '(') into o. Gives the problems
  // the filer recorded, one a line, and in rest what was left unread.
  std::string read(QdIfcEntityBase& o, const std::string& text, std::string* rest = nullptr) {
    QdSpfFilerBase filer(text.data(), text.data() + text.size(), model.get());
    filer.beginRecord(1);
    o.inFields(&filer);
    filer.peek();
    if (rest) *rest = std::string(filer.position(), filer.end());
    std::string problems;
    for (const QdSpfProblem& p : filer.problems()) problems += p.expected + " / " + p.found + "\n";
    return problems;
  }

  std::unique_ptr<QdIfcModel> model;
};

// ---- what a class writes ---------------------------------------------------------------

struct WriteCase {
  const char* what;
  std::function<QdIfcEntityBase*(Fields&)> make;
  const char* text;
};

TEST_F(Fields, ParametersInRecordOrderWithTheirFlags) {
  const WriteCase cases[] = {
      {"derived positions of the supertype, no comma before the first",
       [](Fields& t) {
         auto* o = new IfcOrientedEdge;
         o->setEdgeElement(t.id(5));
         o->setOrientation(QdIfcBoolean(QdIfcBoolean::True));
         return o;
       },
       "*,*,#5,.T."},
      {"enumerations, an unset optional one as $",
       [](Fields&) {
         auto* o = new IfcSIUnit;
         o->setUnitType(kIfcUnitEnum_LENGTHUNIT);
         o->setName(kIfcSIUnitName_METRE);
         return o;
       },
       "*,.LENGTHUNIT.,$,.METRE."},
      {"a derived position in the middle",
       [](Fields& t) {
         auto* o = new IfcMirroredProfileDef;
         o->setProfileType(kIfcProfileTypeEnum_AREA);
         o->setParentProfile(t.id(3));
         return o;
       },
       ".AREA.,$,#3,*,$"},
      {"four derived positions after two strings",
       [](Fields& t) {
         auto* o = new IfcGeometricRepresentationSubContext;
         o->setContextIdentifier("Body");
         o->setContextType("Model");
         o->setParentContext(t.id(9));
         o->setTargetView(kIfcGeometricProjectionEnum_MODEL_VIEW);
         return o;
       },
       "'Body','Model',*,*,*,*,#9,$,.MODEL_VIEW.,$"},
      {"the GUID, a null reference, unset strings, a required empty set",
       [](Fields&) {
         auto* o = new IfcPropertySet;
         o->setGlobalId(QdIfcGUID(kGuid));
         return o;
       },
       "'2O2Fr$t4X7Zf8NOew3FLOH',$,$,$,()"},
      {"optional aggregates without elements",
       [](Fields&) {
         auto* o = new IfcProject;
         o->setName("P");
         o->setRepresentationContexts(QdIfcArray<QdDbObjectId>());
         return o;
       },
       "$,$,'P',$,$,$,$,$,$"},
      {"a list of handles",
       [](Fields& t) {
         auto* o = new IfcPolyline;
         o->setPoints(array({t.id(1), t.id(2)}));
         return o;
       },
       "(#1,#2)"},
      {"a list of strings among optional parameters",
       [](Fields&) {
         auto* o = new IfcTelecomAddress;
         o->setTelephoneNumbers(array<QdAnsiString>({"1", "2"}));
         return o;
       },
       "$,$,$,('1','2'),$,$,$,$,$"},
      {"integers, all required",
       [](Fields&) {
         auto* o = new IfcDimensionalExponents;
         o->setLengthExponent(1);
         o->setMassExponent(0);
         o->setTimeExponent(-2);
         o->setElectricCurrentExponent(0);
         o->setThermodynamicTemperatureExponent(0);
         o->setAmountOfSubstanceExponent(0);
         o->setLuminousIntensityExponent(0);
         return o;
       },
       "1,0,-2,0,0,0,0"},
      {"the binary as an empty literal, whatever it holds",
       [](Fields&) {
         auto* o = new IfcBlobTexture;
         o->setRepeatS(QdIfcBoolean(QdIfcBoolean::True));
         o->setRepeatT(QdIfcBoolean(QdIfcBoolean::False));
         o->setRasterFormat("PNG");
         o->setRasterCode(QdAnsiString("0A1F"));
         return o;
       },
       ".T.,.F.,$,$,$,'PNG',\"\""},
      {"a list of lists of reals",
       [](Fields&) {
         auto* o = new IfcCartesianPointList3D;
         o->setCoordList(array({array({0.0, 0.0, 0.0}), array({1.0, 0.5, -2.0})}));
         return o;
       },
       "((0.,0.,0.),(1.,0.5,-2.))"},
      {"a list of lists of integers, optional and empty, after a required list",
       [](Fields&) {
         auto* o = new IfcIndexedPolygonalFaceWithVoids;
         o->setCoordIndex(array({1, 2, 3}));
         return o;
       },
       "(1,2,3),()"},
      {"a logical",
       [](Fields& t) {
         auto* o = new IfcCompositeCurve;
         o->setSegments(array({t.id(3)}));
         o->setSelfIntersect(QdIfcLogical(QdIfcLogical::Unknown));
         return o;
       },
       "(#3),.U."},
      {"an aggregate member of a select",
       [](Fields&) {
         auto* o = new IfcPropertySingleValue;
         o->setName("p");
         IfcValue v;
         v.setIfcComplexNumber(array({1.0, 2.0}));
         o->setNominalValue(v);
         return o;
       },
       "'p',$,IFCCOMPLEXNUMBER((1.,2.)),$"},
      {"the enumeration member of a select",
       [](Fields&) {
         auto* o = new IfcPresentationStyleAssignment;
         IfcPresentationStyleSelect s;
         s.setIfcNullStyle(IfcNullStyle(0));
         o->setStyles(array({s}));
         return o;
       },
       "(IFCNULLSTYLE(.NULL.))"},
  };
  for (const WriteCase& c : cases) {
    std::unique_ptr<QdIfcEntityBase> o(c.make(*this));
    EXPECT_EQ(written(*o), c.text) << c.what;
  }
}

// ---- what a class makes of a parameter list --------------------------------------------

struct ReadCase {
  const char* what;
  std::function<QdIfcEntityBase*()> make;  // the instance read into
  const char* text;                        // the parameters; the record's ')' follows
  const char* rewritten;                   // what the instance writes afterwards; null: not looked at
  bool problems = false;                   // the filer records one
};

// A polyline that holds three points.
QdIfcEntityBase* threePoints() {
  auto* o = new IfcPolyline;
  o->setPoints(array({QdDbObjectId(), QdDbObjectId(), QdDbObjectId()}));
  return o;
}

TEST_F(Fields, ParameterListsReadBack) {
  const ReadCase cases[] = {
      {"references and a boolean after derived positions", [] { return new IfcOrientedEdge; }, "*,*,#5,.F.",
       "*,*,#5,.F."},
      {"literals in any case, blanks and comments between parameters", [] { return new IfcSIUnit; },
       "* , .lengthunit. ,/* none */.Milli.,\n.metre.", "*,.LENGTHUNIT.,.MILLI.,.METRE."},
      {"a literal the enumeration does not have is unset, silently", [] { return new IfcSIUnit; },
       "*,.LENGTHUNIT.,.KILOGRAMME.,.METRE.", "*,.LENGTHUNIT.,$,.METRE."},
      {"the front of a literal is no literal", [] { return new IfcSIUnit; }, "*,.LENGTHUNIT.,.MILL.,.METRE.",
       "*,.LENGTHUNIT.,$,.METRE."},
      {"nor is a literal with more after it", [] { return new IfcSIUnit; }, "*,.LENGTHUNIT.,.MILLIS.,.METRE.",
       "*,.LENGTHUNIT.,$,.METRE."},
      {"$ for an exponent", [] { return new IfcDimensionalExponents; }, "1,$,-2,0,0,0,3", "1,$,-2,0,0,0,3"},
      {"a GUID longer than 22 characters: reported, unset, the rest read", [] { return new IfcPropertySet; },
       "'2O2Fr$t4X7Zf8NOew3FLOHXYZ',#4,'N',$,(#8,#7)", "$,#4,'N',$,(#7,#8)", true},
      {"'' is a GUID with no characters, not an unset one", [] { return new IfcPropertySet; }, "'',#4,'N',$,(#7)",
       "'',#4,'N',$,(#7)"},
      {"a list whose last element does not read keeps none of it", [] { return new IfcCartesianPoint; },
       "(1.,2.,1.#INF)", "()", true},
      {"nor one whose first element does not", [] { return new IfcPolyline; }, "('x',#2)", "()", true},
      {"nor a bare element that does not read", [] { return new IfcCartesianPoint; }, "'x'", "()", true},
      {"an optional list left unset is written $", [] { return new IfcTriangulatedFaceSet; },
       "#1,$,.T.,((1,2,3)),((1,2,3))", "#1,$,.T.,((1,2,3)),$", true},
      {"a list of lists whose inner element does not read", [] { return new IfcCartesianPointList3D; },
       "((0.,0.,0.),(1.,'x',2.))", "()", true},
      {"a bare element where the list belongs, before the record's end", [] { return new IfcPolyline; }, "#12",
       "(#12)"},
      {"a list replaces what the aggregate held", threePoints, "(#7)", "(#7)"},
      {"$ leaves no element of what it held", threePoints, "$", "()"},
      {"() leaves no element of what it held", threePoints, "()", "()"},
      {"a list with blanks and a comment", [] { return new IfcPolyline; }, "( #1 ,/* x */#2,\n#3 )", "(#1,#2,#3)"},
      {"a set of integers", [] { return new IfcRecurrencePattern; }, ".WEEKLY.,$,(3,1),$,$,$,$,$",
       ".WEEKLY.,$,(1,3),$,$,$,$,$"},
      {"strings in a list, the binary stepped over", [] { return new IfcBlobTexture; },
       ".T.,.F.,$,$,('a','b'),'PNG',\"0A1F\"", ".T.,.F.,$,$,('a','b'),'PNG',\"\""},
      {"a list of lists", [] { return new IfcCartesianPointList3D; }, "((0.,0.,0.),(1.,0.5,-2.E-06))",
       "((0.,0.,0.),(1.,0.5,-2.E-06))"},
      {"lists of lists of integers", [] { return new IfcIndexedPolygonalFaceWithVoids; }, "(1,2,3),((4,5,6),(7,8,9))",
       "(1,2,3),((4,5,6),(7,8,9))"},
      {"a real list of a select", [] { return new IfcPropertySingleValue; }, "'p',$,IFCCOMPLEXNUMBER((1.,2.)),$",
       "'p',$,IFCCOMPLEXNUMBER((1.,2.)),$"},
      {"an integer list of a select", [] { return new IfcPropertySingleValue; },
       "'p',$,IFCCOMPOUNDPLANEANGLEMEASURE((10,20,30,4000)),$",
       "'p',$,IFCCOMPOUNDPLANEANGLEMEASURE((10,20,30,4000)),$"},
      {"a set of handles of a select", [] { return new IfcRelDefinesByProperties; },
       "$,$,$,$,(#2),IFCPROPERTYSETDEFINITIONSET((#5,#4))", "$,$,$,$,(#2),IFCPROPERTYSETDEFINITIONSET((#4,#5))"},
      {"the enumeration member of a select, in any case", [] { return new IfcPresentationStyleAssignment; },
       "(IFCNULLSTYLE(.null.))", "(IFCNULLSTYLE(.NULL.))"},
      {"a literal the enumeration member does not have", [] { return new IfcPresentationStyleAssignment; },
       "(IFCNULLSTYLE(.NONE.))", nullptr, true},
  };
  for (const ReadCase& c : cases) {
    std::unique_ptr<QdIfcEntityBase> o(c.make());
    std::string rest;
    std::string problems = read(*o, std::string(c.text) + ")", &rest);
    if (c.rewritten) {
      EXPECT_EQ(written(*o), c.rewritten) << c.what;
    }
    EXPECT_EQ(!problems.empty(), c.problems) << c.what << "\n" << problems;
    EXPECT_EQ(rest, ")") << c.what;
  }
}

TEST_F(Fields, EmptyAndAbsentListsStayApart) {
  IfcPolyline line;
  read(line, "$)");
  EXPECT_TRUE(line.getPoints().isNil());
  read(line, "())");
  EXPECT_FALSE(line.getPoints().isNil());
  EXPECT_EQ(line.getPoints().count(), 0);

  IfcCartesianPointList3D points;
  read(points, "((1.,2.,3.)))");
  read(points, "$)");
  EXPECT_EQ(points.getCoordList().count(), 1) << "$ leaves a list of lists as it was";
  std::string rest;
  IfcCartesianPointList3D broken;
  read(broken, "((1.,2.,3.),(4.,", &rest);
  EXPECT_TRUE(broken.getCoordList().isNil()) << "a list of lists that ends the file is not kept";

  // A list with an element that does not read is unset, as "$" makes it, also where
  // the instance held a list before; the fields after it are read in their places.
  IfcTriangulatedFaceSet faces;
  read(faces, "#1,$,.T.,((1,2,3)),(7))");
  ASSERT_EQ(faces.getPnIndex().count(), 1);
  EXPECT_NE(read(faces, "#1,$,.T.,((1,2,3)),(7,.T.))", &rest), "");
  EXPECT_TRUE(faces.getPnIndex().isNil());
  EXPECT_EQ(faces.getCoordIndex().count(), 1);
  EXPECT_EQ(rest, ")");
}

TEST_F(Fields, ATypedListThatDoesNotReadIsOneProblemAndNoValue) {
  IfcPropertySingleValue single;
  std::string rest;
  const std::string problems = read(single, "'p',$,IFCCOMPLEXNUMBER((1.,'x')),$)", &rest);
  EXPECT_EQ(std::count(problems.begin(), problems.end(), '\n'), 1) << problems;
  EXPECT_EQ(written(single), "'p',$,$,$");
  EXPECT_EQ(rest, ")");
}

// Code written with the handle array spelled out in full, as the select setters and
// the typed accessors document it, compiles against the classes: it is one type.
TEST_F(Fields, HandleArraysSpelledInFullAreTheOneHandleArray) {
  using Handles = QdIfcArray<QdDbObjectId, QdIfcArrayObjectCopyReallocator<QdDbObjectId>>;
  Handles handles;
  handles.append(id(7));
  handles.append(id(8));
  IfcPropertySetDefinitionSelect select;
  select.setIfcPropertySetDefinitionSet(handles);
  IfcRelContainedInSpatialStructure contained;
  contained.setRelatedElements(handles);
  Handles out;
  contained.getRelatedElements(out);
  EXPECT_EQ(out, handles);
  QdIfcVariant v(handles);
  EXPECT_EQ(v.type(), &QdIfcVariantType::Desc<QdIfcArray<QdDbObjectId>>::value());
}

TEST_F(Fields, SelectsAnswerForTheirTypedMembersOnly) {
  auto write = [](const QdIfcSelect& s, std::string& text) {
    QdSpfFilerBase filer;
    QD::ErrorStatus status = s.writeTypedField(&filer);
    text = filer.text();
    return status;
  };
  std::string text;
  IfcValue value;
  value.setIfcComplexNumber(QdIfcArray<double>());
  EXPECT_EQ(write(value, text), QD::eOk);
  EXPECT_EQ(text, "()") << "a typed list is never $";
  value.setIfcLabel("x");
  EXPECT_EQ(write(value, text), QD::eNotThatMember);
  EXPECT_EQ(text, "");

  IfcPresentationStyleSelect style;
  EXPECT_EQ(write(style, text), QD::eNotThatMember) << "unset";
  style.setIfcNullStyle(IfcNullStyle(7));
  EXPECT_EQ(write(style, text), QD::eOk);
  EXPECT_EQ(text, "$") << "a number past the last literal has none";
  style.nullify();
  style._d(IfcPresentationStyleSelect::eIfcNullStyle);
  EXPECT_EQ(write(style, text), QD::eNotEnumeration);

  const std::string input = ".NULL.";
  QdSpfFilerBase reader(input.data(), input.data() + input.size(), model.get());
  EXPECT_EQ(static_cast<QdIfcSelect&>(value).readTypedField(QdAnsiString("IfcLabel"), &reader), QD::eNotThatMember);
  EXPECT_EQ(static_cast<QdIfcSelect&>(style).readTypedField(QdAnsiString("IfcCurveStyle"), &reader),
            QD::eNotThatMember);
  EXPECT_EQ(reader.position(), reader.begin()) << "a member it does not read leaves the input alone";
  ASSERT_TRUE(style.underlyingTypeName(QdAnsiString("IfcNullStyle")));
  EXPECT_EQ(static_cast<QdIfcSelect&>(style).readTypedField(QdAnsiString("IfcNullStyle"), &reader), QD::eOk);
  unsigned long v = 99;
  EXPECT_TRUE(style.getEnum(v));
  EXPECT_EQ(v, 0u);
}

// ---- every class ---------------------------------------------------------------------

// The attributes marked "opt" in the schema's entity data, as "<entity>.<attribute>" in
// lower case.
std::set<std::string> optionalAttributes() {
  std::ifstream in(std::string(QDIFC_TEST_SCHEMA_DIR) + "/entities.txt");
  std::set<std::string> out;
  std::string line, entity;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string first, name;
    words >> first >> name;
    if (first == "entity") entity = lower(name);
    // Type texts hold blanks ("set [1:?] of IFCLABEL"): the mark ends the line.
    if (first == "attr" && line.size() > 4 && line.compare(line.size() - 4, 4, " opt") == 0)
      out.insert(entity + "." + lower(name));
  }
  return out;
}

// What a fresh instance writes for a required parameter of type t: "()" for an
// aggregate, an empty binary literal for the binary, "$" for everything else.
std::string freshText(const DictionaryInstance* t) {
  for (int depth = 0; t && depth < 20; ++depth) {
    if (t->asAggregationType()) return "()";
    if (const QdIfcSimpleType* s = t->asSimpleType()) return s->primitiveKind() == kQdTypeBinary ? "\"\"" : "$";
    const QdIfcNameType* n = t->asNameType();
    const QdIfcDefinedType* d = n ? n->asDefinedType() : nullptr;
    if (!d) return "$";
    t = d->underlyingType();
  }
  return "$";
}

std::string sample(const DictionaryInstance* t, int depth = 0);

// A typed value of a select: "#1" where an entity is a member, else its first member
// that is no select, as NAME(value).
std::string selectSample(const QdIfcSelectType& s, int depth) {
  for (const QdIfcParameterType* m : s.members())
    if (m->asNameType() && m->asNameType()->asEntityType()) return "#1";
  for (const QdIfcParameterType* m : s.members()) {
    const QdIfcNameType* n = m->asNameType();
    const QdIfcDefinedType* d = n ? n->asDefinedType() : nullptr;
    if (n && n->asSelectType()) return selectSample(*n->asSelectType(), depth + 1);
    if (d && d->wrappedSelect()) return selectSample(*d->wrappedSelect(), depth + 1);
    if (d) return upper(n->typeName()) + "(" + sample(d, depth + 1) + ")";
  }
  return "$";
}

// A parameter of type t that a read keeps whole and a write gives back as it was.
std::string sample(const DictionaryInstance* t, int depth) {
  if (!t || depth > 20) return "$";
  if (const QdIfcSimpleType* s = t->asSimpleType()) {
    switch (s->primitiveKind()) {
      case kQdTypeInteger: return "7";
      case kQdTypeReal:
      case kQdTypeNumber: return "0.5";
      case kQdTypeBoolean: return ".T.";
      case kQdTypeLogical: return ".U.";
      case kQdTypeString: return "'s'";
      case kQdTypeBinary: return depth > 1 ? "\"0A1F\"" : "\"\"";  // a list of binaries keeps its elements
      default: return "$";
    }
  }
  if (const QdIfcAggregationType* a = t->asAggregationType()) return "(" + sample(a->elementType(), depth + 1) + ")";
  const QdIfcNameType* n = t->asNameType();
  if (!n) return "$";
  if (n->asEntityType()) return "#1";
  if (const QdIfcEnumerationType* e = n->asEnumType()) return "." + std::string(e->literals().front().constStr()) + ".";
  if (const QdIfcSelectType* s = n->asSelectType()) return selectSample(*s, depth);
  if (const QdIfcDefinedType* d = n->asDefinedType()) {
    if (const QdIfcEnumerationType* e = d->wrappedEnumeration()) return sample(e, depth + 1);
    if (const QdIfcSelectType* s = d->wrappedSelect()) return selectSample(*s, depth + 1);
    if (const QdIfcAggregationType* a = d->wrappedAggregate()) return sample(a, depth + 1);
    return sample(d->underlyingType(), depth + 1);
  }
  return "$";
}

struct Record {
  std::string fresh;   // what a fresh instance writes
  std::string filled;  // a value in every parameter
  int count = 0;
};

// The record of a type from the dictionary and the optional marks of the data: its
// explicit attributes, the root's first; "*" where the type or a supertype redeclares
// one as derived.
Record recordOf(const QdIfcEntityType& type, const std::set<std::string>& optional) {
  std::vector<const QdIfcAttributeDefinition*> all = type.allAttributes();
  std::set<const QdIfcAttributeDefinition*> derived;
  for (const QdIfcAttributeDefinition* a : all)
    if (const QdIfcDerivedAttributeDefinition* d = a->asDerivedAttributeDefinition(); d && d->redeclared())
      derived.insert(d->redeclared());
  Record r;
  for (const QdIfcAttributeDefinition* a : all) {
    if (!a->asExplicitAttributeDefinition()) continue;
    const char* comma = r.count++ ? "," : "";
    const bool opt = optional.count(lower(a->owner()->typeName()) + "." + lower(a->name())) > 0;
    r.fresh += comma + (derived.count(a) ? "*" : opt ? "$" : freshText(a->type()));
    r.filled += comma + (derived.count(a) ? "*" : sample(a->type()));
  }
  return r;
}

TEST_F(Fields, EveryClassWritesItsRecordAndReadsItBack) {
  const std::set<std::string> optional = optionalAttributes();
  ASSERT_GT(optional.size(), 500u);
  const Dictionary& types = qdifcGetSchemaPointer()->entityTypes();
  int classes = 0, withoutParameters = 0, failures = 0;
  for (int i = 0; i < types.size() && failures < 20; ++i) {
    const QdIfcEntityType* type = types.valueAt(i)->asNameType()->asEntityType();
    ASSERT_NE(type, nullptr);
    const Record record = recordOf(*type, optional);
    ++classes;
    withoutParameters += record.count == 0;
    for (const std::string* text : {&record.fresh, &record.filled}) {
      std::unique_ptr<QdIfcEntityBase> object(type->createInstance());
      if (text == &record.fresh) {
        bool same = written(*object) == *text;
        EXPECT_TRUE(same) << type->typeName() << ": fresh instance writes " << written(*object) << ", not " << *text;
        failures += !same;
      }
      std::string rest;
      const std::string problems = read(*object, *text + ")", &rest);
      const std::string again = written(*object);
      bool ok = problems.empty() && rest == ")" && again == *text;
      EXPECT_TRUE(ok) << type->typeName() << ": read " << *text << "\nwrites " << again << "\nleft " << rest << "\n"
                      << problems;
      failures += !ok;
    }
  }
  EXPECT_EQ(classes, 776);
  EXPECT_EQ(withoutParameters, 21);
}

}  // namespace
