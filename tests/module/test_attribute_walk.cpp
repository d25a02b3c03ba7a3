// A walk over the dictionary that holds every entity class's named access against
// the attribute's dictionary type. The dictionary and the classes are generated
// separately, so a member of the wrong kind, a missing name or a wrong rule shows
// up as a value that does not go in, come back or go away.
#include <QdIfc4/Entities.h>
#include <QdIfc4/Module.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcAggr.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <gtest/gtest.h>

#include "DictionaryKinds.h"

#include <strings.h>
#include <memory>
#include <sstream>
#include <string>

using namespace QD_SDAI;

namespace {

using namespace dictionary_kinds;

class AttributeWalk : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qdGetModuleLifeCycleApp()->start());
    schema = qdifcGetSchemaPointer();
    model = std::make_unique<QdIfcModel>(schema);
  }
  void TearDown() override {
    model.reset();
    qdGetModuleLifeCycleApp()->stop();
  }

  // A handle of a new instance of the named entity type, in the model.
  QdDbObjectId instanceOf(const char* type) { return model->createInstance(type); }

  // Gives a select a member: an entity member takes a new instance of its type; a value
  // member takes a value of its kind. False if no member could be chosen.
  bool fillSelect(QdIfcSelect& s, const QdIfcSelectType& type) {
    for (const QdIfcParameterType* m : type.members()) {
      const QdIfcNameType* n = m->asNameType();
      if (n && n->asEntityType()) return s.setHandle(instanceOf(n->typeName()));
    }
    for (const QdIfcParameterType* m : type.members()) {
      const QdIfcNameType* n = m->asNameType();
      if (!n || selectTypeOf(n)) continue;
      Resolved r = resolve(m);
      if (!s.underlyingTypeName(QdAnsiString(n->typeName()))) continue;
      switch (r.kind) {
        case Kind::kReal: return s.setDouble(2.5);
        case Kind::kInt: return s.setInt32(7);
        case Kind::kString: return s.setString("text");
        case Kind::kBool: return s.setBoolean(QdIfcBoolean::True);
        case Kind::kLogical: return s.setLogical(QdIfcLogical::Unknown);
        case Kind::kEnum: return s.setEnum(0);
        case Kind::kAggr: {
          QdIfcArray<double> reals;
          reals.append(1.5);
          QdIfcArray<int> ints;
          ints.append(3);
          return s.setDoubleArray(reals) || s.setInt32Array(ints);
        }
        default: continue;
      }
    }
    for (const QdIfcParameterType* m : type.members())
      if (const QdIfcSelectType* inner = selectTypeOf(m->asNameType()); inner && fillSelect(s, *inner)) return true;
    return false;
  }

  // One element variant of an aggregate whose element is e.
  QdIfcVariant elementValue(const Resolved& e, const QdIfcAggr& aggr) {
    switch (e.kind) {
      case Kind::kInt: return QdIfcVariant(4);
      case Kind::kReal: return QdIfcVariant(1.25);
      case Kind::kString:
      case Kind::kBinary: return QdIfcVariant(QdAnsiString("abc"));
      case Kind::kEntity: return QdIfcVariant(instanceOf(e.named->typeName()));
      case Kind::kSelect: {
        QdIfcVariant v;
        aggr.elementType().createVariant(v);
        // A select travels by value; the payload is the select object.
        auto* s = static_cast<QdIfcSelect*>(v.payload());
        if (!fillSelect(*s, *selectTypeOf(e.named))) return QdIfcVariant();
        return v;
      }
      default: return QdIfcVariant();
    }
  }

  const QdIfcSchema* schema = nullptr;
  std::unique_ptr<QdIfcModel> model;
};

QdIfcAggr* aggregateIn(const QdIfcVariant& v) {
  QdIfcAggr* a = nullptr;
  return v.getValue(a) ? a : nullptr;
}

std::string text(const QdIfcVariant& v) {
  HsString s;
  return v.toString(s, kStringFormatPlain) ? s.utf8() : std::string("<no text>");
}

}  // namespace

TEST_F(AttributeWalk, EveryAttributeOfEveryClassGoesInComesBackAndGoesAway) {
  int getKnown = 0, putKnown = 0, attributes = 0;
  std::ostringstream failures;
  int failureCount = 0;
  auto fail = [&](const QdIfcEntityType& e, const QdIfcAttributeDefinition& a, const char* what) {
    if (++failureCount <= 25) failures << e.schemaName() << '.' << a.name() << ": " << what << '\n';
  };

  const Dictionary& types = schema->entityTypes();
  for (int i = 0; i < types.size(); ++i) {
    const char* key = types.keyAt(i);
    const QdIfcNameType* n = types.valueAt(i)->asNameType();
    const QdIfcEntityType* type = n ? n->asEntityType() : nullptr;
    ASSERT_NE(type, nullptr) << key;
    std::unique_ptr<QdIfcEntityBase> object(type->createInstance());
    std::unique_ptr<QdIfcEntityBase> scratch(type->createInstance());
    ASSERT_TRUE(object && scratch) << key;
    for (const QdIfcAttributeDefinition* a : type->attributes()) {
      ++attributes;
      const QdAnsiString name(a->name());
      // Derived attributes: known to getAttr only when they redeclare an inherited one.
      if (const QdIfcDerivedAttributeDefinition* d = a->asDerivedAttributeDefinition()) {
        QdIfcVariant v(12345);
        const std::string plain = std::string(a->name()).substr(std::string(a->name()).find('_') + 1);
        bool got = object->getAttr(QdAnsiString(plain.c_str()), v);
        if (got) fail(*type, *a, "a derived attribute gave a value");
        if (d->redeclared()) {
          if (!v.isEmpty()) fail(*type, *a, "a redeclared attribute did not clear the variant");
          else ++getKnown;
        }
        continue;
      }
      if (object->testAttr(name)) fail(*type, *a, "set on a fresh object");
      QdIfcVariant fresh;
      if (object->getAttr(name, fresh)) ++getKnown;
      else fail(*type, *a, "unknown to getAttr");

      if (a->asInverseAttributeDefinition()) {
        // Inverses read as handles or sets of handles; three of them can be written.
        QdDbObjectId h;
        QdIfcAggr* agg = aggregateIn(fresh);
        if (!(fresh.getValue(h) && h.isNull()) && !(agg && agg->isNil()))
          fail(*type, *a, "an inverse is not a null handle or a nil set");
        if (object->putAttr(name, QdIfcVariant(QdIfcArray<QdDbObjectId>()))) ++putKnown;
        if (object->testAttr(name)) fail(*type, *a, "testAttr knows an inverse");
        continue;
      }

      // Explicit attributes: one valid value from the dictionary type.
      Resolved r = resolve(a->type());
      QdIfcVariant value;
      std::string expected;
      switch (r.kind) {
        case Kind::kInt: value = QdIfcVariant(42); break;
        case Kind::kReal: value = QdIfcVariant(0.5); break;
        case Kind::kBool: value = QdIfcVariant(QdIfcBoolean(QdIfcBoolean::False)); break;
        case Kind::kLogical: value = QdIfcVariant(QdIfcLogical(QdIfcLogical::Unknown)); break;
        case Kind::kString: value = QdIfcVariant("some text"); break;
        case Kind::kBinary: value = QdIfcVariant(QdAnsiString("0A1F")); break;
        case Kind::kGuid: value = QdIfcVariant(QdIfcGUID("2O2Fr$t4X7Zf8NOew3FLOH")); break;
        case Kind::kEntity: value = QdIfcVariant(instanceOf(r.named->typeName())); break;
        case Kind::kEnum: {
          const QdIfcDefinedType* d = r.named->asDefinedType();
          const QdIfcEnumerationType* e = d ? d->wrappedEnumeration() : r.named->asEnumType();
          value = QdIfcVariant(e->literals().front().constStr());
          break;
        }
        case Kind::kSelect: {
          // A select filled in the scratch object's member, passed as getAttr hands selects out.
          QdIfcVariant v;
          QdIfcSelect* s = nullptr;
          if (!scratch->getAttr(name, v) || !v.getValue(s) || !s) {
            fail(*type, *a, "no select pointer from getAttr");
            continue;
          }
          if (!fillSelect(*s, *selectTypeOf(r.named))) {
            fail(*type, *a, "no member of the select could be filled");
            continue;
          }
          value = v;
          break;
        }
        case Kind::kAggr: {
          QdIfcArray<QdIfcVariant> one;
          QdIfcAggr* agg = aggregateIn(fresh);
          if (!agg) {
            fail(*type, *a, "an aggregate attribute gave no aggregate");
            continue;
          }
          one.append(elementValue(resolve(r.element), *agg));
          value = QdIfcVariant(one);
          break;
        }
        case Kind::kNested: {
          Resolved inner = resolve(r.element);
          if (inner.kind == Kind::kReal) {
            QdIfcArray<QdIfcArray<double>> rows;
            QdIfcArray<double> row;
            row.append(1.0);
            row.append(2.0);
            rows.append(row);
            value = QdIfcVariant(rows);
          } else if (inner.kind == Kind::kInt) {
            QdIfcArray<QdIfcArray<int>> rows;
            QdIfcArray<int> row;
            row.append(1);
            rows.append(row);
            value = QdIfcVariant(rows);
          } else {
            QdIfcArray<QdIfcArray<QdDbObjectId>> rows;
            QdIfcArray<QdDbObjectId> row;
            row.append(instanceOf(inner.named->typeName()));
            rows.append(row);
            value = QdIfcVariant(rows);
          }
          break;
        }
        case Kind::kNone:
          // One enumeration has no dictionary entry; the member tells what it is.
          if (!fresh.type() || !fresh.type()->enumeration()) {
            fail(*type, *a, "the dictionary type does not resolve");
            continue;
          }
          value = QdIfcVariant(1);
          // The descriptor lists "IFC4::k<Type>_<LITERAL>".
          expected = fresh.type()->enumeration()->item(1)->constStr();
          expected = expected.substr(expected.find('_') + 1);
          break;
      }
      if (expected.empty()) expected = text(value);
      if (!object->putAttr(name, value)) {
        fail(*type, *a, ("putAttr refused " + text(value)).c_str());
        continue;
      }
      ++putKnown;
      QdIfcVariant back;
      object->getAttr(name, back);
      const bool binary = r.kind == Kind::kBinary;
      if (object->testAttr(name) == binary) fail(*type, *a, "testAttr after putAttr");
      // What comes back is what went in: same text, or the same aggregate contents.
      if (r.kind == Kind::kAggr || r.kind == Kind::kNested) {
        QdIfcAggr* agg = aggregateIn(back);
        if (!agg || agg->count() != 1) fail(*type, *a, "the aggregate does not hold the one element put");
      } else if (text(back) != expected) {
        fail(*type, *a, ("getAttr gave " + text(back) + " for " + expected).c_str());
      }
      object->unsetAttr(name);
      if (object->testAttr(name)) fail(*type, *a, "still set after unsetAttr");
      if (binary) {
        // A binary is neither tested nor unset by name: it keeps its value.
        QdIfcVariant kept;
        object->getAttr(name, kept);
        if (text(kept) != text(value)) fail(*type, *a, "the binary was unset");
      }
    }
  }
  EXPECT_EQ(failureCount, 0) << failures.str();
  EXPECT_EQ(attributes, 1491 + 153 + 62);
  EXPECT_EQ(getKnown, 1652);
  EXPECT_EQ(putKnown, 1494);
}
