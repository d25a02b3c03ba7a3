// Attribute values between the toolkit and Python. Reading goes through the class's
// attribute table: numbers, text, ids and references straight from the member, the
// other kinds through getAttr and the variant. Writing builds the value the
// attribute's dictionary type asks for, checks it, and hands it to putAttr.
#include "PyModel.h"

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggr.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcSettings.h>
#include <QdIfcCore/QdIfcVariant.h>
#include <QdIfcCore/TextEncodeDecode.h>

#include <cmath>
#include <cstring>
#include <unordered_set>

using namespace QD_SDAI;

namespace qdpy {

py::str decodeText(std::string_view s) {
  // Most text is plain ASCII without escapes: it is its own decoding.
  if (settings().get_useUTF8() ||
      (std::memchr(s.data(), '\\', s.size()) == nullptr && std::memchr(s.data(), '\'', s.size()) == nullptr)) {
    PyObject* o = PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "replace");
    if (!o) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(o);
  }
  std::u32string points;
  TextEncodeDecode::decode(s, points);  // malformed escapes stay as they stand
  PyObject* o = PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, points.data(), static_cast<Py_ssize_t>(points.size()));
  if (!o) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(o);
}

py::object wrap(const ModelRef& model, const QdDbObjectId& id) {
  // A reference to an instance removed, or to a record the file never gave, leads to none.
  if (!id.isValid()) return py::none();
  return py::cast(Entity{model, id});
}

namespace {

py::object fromVariant(const ModelRef& m, const QdIfcVariant& v, int depth);

py::object fromText(const QdAnsiString& s) { return s.isUnset() ? py::object(py::none()) : decodeText(s.view()); }

py::object fromLogical(QdIfcLogical l) {
  switch (l.value()) {
    case QdIfcLogical::True: return py::bool_(true);
    case QdIfcLogical::False: return py::bool_(false);
    case QdIfcLogical::Unknown: return py::str("UNKNOWN");
    default: return py::none();
  }
}

py::object fromBoolean(QdIfcBoolean b) { return b.isSet() ? py::object(py::bool_(b.isTrue())) : py::none(); }

py::object fromInt(int i) { return i == Consts::QdIntUnset ? py::object(py::none()) : py::int_(i); }
py::object fromReal(double d) { return std::isnan(d) ? py::object(py::none()) : py::float_(d); }

// The elements of an aggregate; None for a nil one.
py::object fromAggregate(const ModelRef& m, const QdIfcAggr* a, int depth) {
  if (!a || a->isNil()) return py::none();
  py::list out;
  if (QdIfcAggrConstIterator* it = a->createConstIterator()) {
    QdIfcVariant e;
    while (it->next() && it->getValue(e)) out.append(depth < 16 ? fromVariant(m, e, depth + 1) : py::none());
    delete it;
  }
  return py::tuple(out);
}

py::object fromSelect(const ModelRef& m, const QdIfcSelect* s, int depth) {
  if (!s || s->isEmpty()) return py::none();
  if (s->getKind() == kQdTypeEntity) return wrap(m, s->getHandle());
  TypedValue t{s->underlyingTypeName().constStr(), py::none()};
  switch (s->getKind()) {
    case kQdTypeInteger: {
      int i = 0;
      if (s->getInt32(i)) t.value = fromInt(i);
      break;
    }
    case kQdTypeReal:
    case kQdTypeNumber: {
      double d = 0;
      if (s->getDouble(d)) t.value = fromReal(d);
      break;
    }
    case kQdTypeBoolean: {
      QdIfcBoolean b;
      if (s->getBoolean(b)) t.value = fromBoolean(b);
      break;
    }
    case kQdTypeLogical: {
      QdIfcLogical l;
      if (s->getLogical(l)) t.value = fromLogical(l);
      break;
    }
    case kQdTypeString:
    case kQdTypeBinary: {
      QdAnsiString text;
      if (s->getString(text)) t.value = s->getKind() == kQdTypeString ? fromText(text) : py::str(text.constStr());
      break;
    }
    case kQdTypeAggregate: {
      QdIfcAggr* a = nullptr;
      if (s->getAggr(a)) t.value = fromAggregate(m, a, depth);
      break;
    }
    default: {
      // Enumerations: the literal, as the select prints it.
      HsString text;
      if (_subToString(text, s, kStringFormatPlain) && !text.utf8().empty()) t.value = py::str(text.utf8());
      break;
    }
  }
  return py::cast(std::move(t));
}

template <class T, class F>
py::object fromArray(const QdIfcArray<T>& a, F&& each) {
  py::tuple out(static_cast<size_t>(a.length()));
  for (int i = 0; i < a.length(); ++i) out[static_cast<size_t>(i)] = each(a[i]);
  return out;
}

py::object fromVariant(const ModelRef& m, const QdIfcVariant& v, int depth) {
  if (v.isEmpty()) return py::none();
  if (const int* i = v.ptr<int>()) return fromInt(*i);
  if (const double* d = v.ptr<double>()) return fromReal(*d);
  if (const QdAnsiString* s = v.ptr<QdAnsiString>()) return fromText(*s);
  if (const char* const* c = v.ptr<const char*>()) return *c ? fromText(QdAnsiString(*c)) : py::none();
  if (const QdIfcGUID* g = v.ptr<QdIfcGUID>()) return g->isSet() ? py::object(py::str(g->constStr())) : py::none();
  if (const QdDbObjectId* h = v.ptr<QdDbObjectId>()) return wrap(m, *h);
  if (const QdIfcBoolean* b = v.ptr<QdIfcBoolean>()) return fromBoolean(*b);
  if (const QdIfcLogical* l = v.ptr<QdIfcLogical>()) return fromLogical(*l);
  if (const auto* hs = v.ptr<QdIfcArray<QdDbObjectId>>()) {
    // Inverse sets: the relationships that still exist.
    py::list out;
    for (const QdDbObjectId& h : *hs)
      if (h.isValid()) out.append(py::cast(Entity{m, h}));
    return py::tuple(out);
  }
  if (const auto* ds = v.ptr<QdIfcArray<double>>()) return fromArray(*ds, fromReal);
  if (const auto* is = v.ptr<QdIfcArray<int>>()) return fromArray(*is, fromInt);
  if (const auto* vs = v.ptr<QdIfcArray<QdIfcVariant>>())
    return fromArray(*vs, [&](const QdIfcVariant& e) { return fromVariant(m, e, depth + 1); });
  if (QdIfcAggr* const* a = v.ptr<QdIfcAggr*>()) return fromAggregate(m, *a, depth);
  if (QdIfcSelect* const* s = v.ptr<QdIfcSelect*>()) return fromSelect(m, *s, depth);
  if (v.type()->isSelect()) {
    QdIfcSelect* s = nullptr;
    if (v.getValue(s)) return fromSelect(m, s, depth);
  }
  if (v.type()->isAggregate()) {
    QdIfcAggr* a = nullptr;
    if (v.getValue(a)) return fromAggregate(m, a, depth);
  }
  // Enumerations and anything else: the plain text, none for unset.
  HsString text;
  if (v.toString(text, kStringFormatPlain) && !text.utf8().empty()) return py::str(text.utf8());
  return py::none();
}

}  // namespace

py::object getAttribute(const Entity& e, const char* name, size_t length) {
  QdIfcEntityBase* o = e.object();
  const QdIfcEntityType* type = o->getInstanceType();
  const QdIfcClassTable* table = type ? type->classTable() : nullptr;
  const QdIfcAttrRow* row = table ? table->find(QdIfcAttrOp::kGet, std::string_view(name, length)) : nullptr;
  if (!row) {
    PyErr_Format(PyExc_AttributeError, "entity instance of type '%s' has no attribute '%.200s'",
                 type ? type->schemaName() : "?", name);
    throw py::error_already_set();
  }
  if (row->role == QdIfcAttrRole::kExplicit) {
    table->checkAccess(o, QdIfcAttrOp::kGet);
    const void* p = QdIfcClassTable::member(o, *row);
    switch (row->kind) {
      case QdIfcMemberKind::kInteger: return fromInt(*static_cast<const int*>(p));
      case QdIfcMemberKind::kReal: return fromReal(*static_cast<const double*>(p));
      case QdIfcMemberKind::kBoolean: return fromBoolean(*static_cast<const QdIfcBoolean*>(p));
      case QdIfcMemberKind::kLogical: return fromLogical(*static_cast<const QdIfcLogical*>(p));
      case QdIfcMemberKind::kString: return fromText(*static_cast<const QdAnsiString*>(p));
      case QdIfcMemberKind::kGuid: {
        const auto* g = static_cast<const QdIfcGUID*>(p);
        return g->isSet() ? py::object(py::str(g->constStr())) : py::none();
      }
      case QdIfcMemberKind::kEntity: return wrap(e.model, *static_cast<const QdDbObjectId*>(p));
      default: break;
    }
  }
  if (row->role == QdIfcAttrRole::kInverse) {
    if (e.model->linksStale) e.model->relink();
    QdIfcVariant v;
    table->getAttr(o, *row, v);
    py::object out = fromVariant(e.model, v, 0);
    // A set of relationships that no relationship names is empty, not unset.
    if (out.is_none() && !(row->marks & kAttrSingle)) return py::tuple();
    return out;
  }
  QdIfcVariant v;
  if (!table->getAttr(o, *row, v)) return py::none();  // redeclared as derived
  return fromVariant(e.model, v, 0);
}

// ---- writing ----

namespace {

// What a dictionary type comes down to, through defined types.
struct Shape {
  enum Kind { kUnknown, kSimple, kEntity, kSelect, kEnumeration, kAggregate } kind = kUnknown;
  std::string name;  // the first named type met: "IfcLabel", "IfcWallTypeEnum"
  const QdIfcSimpleType* simple = nullptr;
  const QdIfcEntityType* entity = nullptr;
  const QdIfcSelectType* select = nullptr;
  const QdIfcEnumerationType* enumeration = nullptr;
  const QdIfcAggregationType* aggregate = nullptr;
};

Shape shapeOf(const DictionaryInstance* t) {
  Shape s;
  for (int guard = 0; t && guard < 32; ++guard) {
    if (const QdIfcSimpleType* simple = t->asSimpleType()) {
      s.kind = Shape::kSimple;
      s.simple = simple;
      if (s.name.empty()) s.name = simple->primitiveName();
      return s;
    }
    if (const QdIfcAggregationType* a = t->asAggregationType()) {
      s.kind = Shape::kAggregate;
      s.aggregate = a;
      if (s.name.empty()) s.name = qdDictionaryName(a);
      return s;
    }
    const QdIfcNameType* n = t->asNameType();
    if (!n) return s;
    if (s.name.empty()) s.name = n->asEntityType() ? n->asEntityType()->schemaName() : n->typeName();
    if ((s.entity = n->asEntityType())) {
      s.kind = Shape::kEntity;
      return s;
    }
    const QdIfcDefinedType* d = n->asDefinedType();
    if ((s.select = d ? d->wrappedSelect() : n->asSelectType())) {
      s.kind = Shape::kSelect;
      return s;
    }
    if ((s.enumeration = d ? d->wrappedEnumeration() : n->asEnumType())) {
      s.kind = Shape::kEnumeration;
      return s;
    }
    if (d && (s.aggregate = d->wrappedAggregate())) {
      s.kind = Shape::kAggregate;
      return s;
    }
    t = d ? d->underlyingType() : nullptr;
  }
  return s;
}

// The entity types a select takes in, through nested selects; empty if it takes a value.
void admitted(const DictionaryInstance* t, std::vector<const QdIfcEntityType*>& out, bool& values,
              std::unordered_set<const DictionaryInstance*>& seen) {
  if (!t || !seen.insert(t).second) return;
  Shape s = shapeOf(t);
  if (s.kind == Shape::kEntity) out.push_back(s.entity);
  else if (s.kind == Shape::kSelect)
    for (const QdIfcParameterType* m : s.select->members()) admitted(m, out, values, seen);
  else values = true;
}

// The variant type of a select's class, found through an attribute of some class that
// holds the select itself (IfcValue: IfcPropertySingleValue.NominalValue); null if no
// class does. Made once per schema, the first time one of its selects asks.
const QdIfcVariantType* selectClassType(const QdIfcSchema* schema, const QdIfcSelectType* select) {
  static std::unordered_map<const QdIfcSchema*, std::unordered_map<const QdIfcSelectType*, const QdIfcVariantType*>>
      bySchema;
  auto made = bySchema.find(schema);
  if (made == bySchema.end()) {
    made = bySchema.emplace(schema, std::unordered_map<const QdIfcSelectType*, const QdIfcVariantType*>()).first;
    auto& types = made->second;
    for (const QdIfcEntityType* t : schema->entityTypeList()) {
      const QdIfcClassTable* table = t->classTable();
      if (!table) continue;
      for (const QdIfcAttrRow& row : *table) {
        if (row.kind != QdIfcMemberKind::kSelect || !row.memberClass || !row.memberClass->selectType) continue;
        const QdIfcAttributeDefinition* a = t->findOwnAttribute(row.name);
        Shape s = shapeOf(a ? a->type() : nullptr);
        if (s.kind == Shape::kSelect) types.emplace(s.select, &row.memberClass->selectType());
      }
    }
  }
  auto it = made->second.find(select);
  return it == made->second.end() ? nullptr : it->second;
}

[[noreturn]] void fail(PyObject* kind, const std::string& attr, const std::string& takes, py::handle value) {
  std::string got = py::repr(value).cast<std::string>();
  if (got.size() > 80) got = got.substr(0, 77) + "...";
  PyErr_SetString(kind, (attr + " takes " + takes + ", not " + got).c_str());
  throw py::error_already_set();
}

bool isSequence(py::handle v) { return py::isinstance<py::tuple>(v) || py::isinstance<py::list>(v); }

struct Writer {
  const Entity& owner;
  std::string attr;  // "IfcWall.Name", for messages

  QdAnsiString text(py::handle v, const std::string& takes) {
    if (!py::isinstance<py::str>(v)) fail(PyExc_TypeError, attr, takes, v);
    std::string utf8 = v.cast<std::string>();
    if (settings().get_useUTF8()) return QdAnsiString(std::string_view(utf8));
    std::u32string points;
    for (py::handle c : py::reinterpret_borrow<py::str>(v)) {
      Py_UCS4 u = PyUnicode_READ_CHAR(c.ptr(), 0);
      points.push_back(static_cast<char32_t>(u));
    }
    std::string out;
    TextEncodeDecode::encode(points, out);
    return QdAnsiString(std::string_view(out));
  }

  QdDbObjectId handle(py::handle v, const std::vector<const QdIfcEntityType*>& kinds, const std::string& takes) {
    if (!py::isinstance<Entity>(v)) fail(PyExc_TypeError, attr, takes, v);
    const Entity& e = v.cast<const Entity&>();
    if (e.model != owner.model) fail(PyExc_ValueError, attr, takes + " of the same model", v);
    const QdIfcEntityType* type = e.object()->getInstanceType();
    for (const QdIfcEntityType* k : kinds)
      if (type && type->isSubtypeOf(k)) return e.id;
    fail(PyExc_ValueError, attr, takes, v);
  }

  double real(py::handle v, const std::string& takes) {
    if (py::isinstance<py::bool_>(v) || !(py::isinstance<py::float_>(v) || py::isinstance<py::int_>(v)))
      fail(PyExc_TypeError, attr, takes, v);
    return v.cast<double>();
  }

  int integer(py::handle v, const std::string& takes) {
    if (py::isinstance<py::bool_>(v) || !py::isinstance<py::int_>(v)) fail(PyExc_TypeError, attr, takes, v);
    long long i = v.cast<long long>();
    if (i < INT32_MIN || i >= Consts::QdIntUnset) fail(PyExc_ValueError, attr, takes + " within 32 bits", v);
    return static_cast<int>(i);
  }

  // A simple value as a variant of the type the member class takes.
  QdIfcVariant simple(const Shape& s, py::handle v) {
    const std::string takes = s.name;
    switch (s.simple->primitiveKind()) {
      case kQdTypeInteger: return QdIfcVariant(integer(v, takes + " (int)"));
      case kQdTypeReal:
      case kQdTypeNumber: return QdIfcVariant(real(v, takes + " (float)"));
      case kQdTypeBoolean:
        if (!py::isinstance<py::bool_>(v)) fail(PyExc_TypeError, attr, takes + " (bool)", v);
        return QdIfcVariant(QdIfcBoolean(v.cast<bool>()));
      case kQdTypeLogical:
        if (py::isinstance<py::bool_>(v)) return QdIfcVariant(QdIfcLogical(v.cast<bool>()));
        if (py::isinstance<py::str>(v) && v.cast<std::string>() == "UNKNOWN")
          return QdIfcVariant(QdIfcLogical(QdIfcLogical::Unknown));
        fail(PyExc_TypeError, attr, takes + " (bool or 'UNKNOWN')", v);
      case kQdTypeBinary: {
        if (!py::isinstance<py::str>(v)) fail(PyExc_TypeError, attr, takes + " (str of hexadecimal digits)", v);
        return QdIfcVariant(QdAnsiString(v.cast<std::string>().c_str()));
      }
      default: return QdIfcVariant(text(v, takes + " (str)"));
    }
  }

  std::vector<const QdIfcEntityType*> entitiesOf(const DictionaryInstance* t, bool& values) {
    std::vector<const QdIfcEntityType*> out;
    std::unordered_set<const DictionaryInstance*> seen;
    admitted(t, out, values, seen);
    return out;
  }

  // A select member of the entity, from an Entity or a TypedValue.
  void intoSelect(QdIfcSelect* s, const Shape& shape, py::handle v) {
    const std::string takes = shape.name + " (an entity it admits or a qdifc.TypedValue of one of its types)";
    if (py::isinstance<Entity>(v)) {
      bool values = false;
      std::vector<const QdIfcEntityType*> kinds = entitiesOf(shape.select, values);
      if (!s->setHandle(handle(v, kinds, takes))) fail(PyExc_ValueError, attr, takes, v);
      return;
    }
    if (!py::isinstance<TypedValue>(v)) fail(PyExc_TypeError, attr, takes, v);
    const TypedValue& t = v.cast<const TypedValue&>();
    if (!s->underlyingTypeName(QdAnsiString(t.type.c_str()))) fail(PyExc_ValueError, attr, takes, v);
    const QdIfcNameType* memberType = owner.model->model->schema()->findNameType(t.type);
    Shape m = shapeOf(memberType);
    bool ok = false;
    switch (m.kind) {
      case Shape::kSimple: {
        QdIfcVariant x = simple(m, t.value);
        if (const int* i = x.ptr<int>()) ok = s->setInt32(*i);
        if (const double* d = x.ptr<double>()) ok = s->setDouble(*d);
        if (const QdIfcBoolean* b = x.ptr<QdIfcBoolean>()) ok = s->setBoolean(*b);
        if (const QdIfcLogical* l = x.ptr<QdIfcLogical>()) ok = s->setLogical(*l);
        if (QdAnsiString* str = const_cast<QdAnsiString*>(x.ptr<QdAnsiString>()))
          ok = m.simple->primitiveKind() == kQdTypeBinary ? s->setBINARY(*str) : s->setString(*str);
        break;
      }
      case Shape::kEnumeration: {
        int index =
            py::isinstance<py::str>(t.value) ? m.enumeration->literalIndex(t.value.cast<std::string>().c_str()) : -1;
        if (index < 0) fail(PyExc_ValueError, attr, "a literal of " + m.name, t.value);
        ok = s->setEnum(static_cast<unsigned long>(index));
        break;
      }
      case Shape::kAggregate: {
        QdIfcVariant x = aggregate(m, t.value);
        if (const auto* d = x.ptr<QdIfcArray<double>>()) ok = s->setDoubleArray(*d);
        if (const auto* i = x.ptr<QdIfcArray<int>>()) ok = s->setInt32Array(*i);
        break;
      }
      default: break;
    }
    if (!ok) fail(PyExc_ValueError, attr, takes, v);
  }

  QdIfcVariant aggregate(const Shape& s, py::handle v) {
    const std::string takes = s.name + " (a tuple or list)";
    if (!isSequence(v)) fail(PyExc_TypeError, attr, takes, v);
    py::sequence seq = py::reinterpret_borrow<py::sequence>(v);
    const QdIfcIntegerBound* upper = s.aggregate->upperBound();
    if (upper && upper->isSet() && static_cast<int>(seq.size()) > upper->value())
      fail(PyExc_ValueError, attr, takes + " of at most " + std::to_string(upper->value()) + " elements", v);
    Shape element = shapeOf(s.aggregate->elementType());
    switch (element.kind) {
      case Shape::kSimple: {
        QdTypeCodeKind k = element.simple->primitiveKind();
        if (k == kQdTypeInteger) {
          QdIfcArray<int> out;
          for (py::handle e : seq) out.append(integer(e, takes + " of int"));
          return QdIfcVariant(out);
        }
        if (k == kQdTypeReal || k == kQdTypeNumber) {
          QdIfcArray<double> out;
          for (py::handle e : seq) out.append(real(e, takes + " of float"));
          return QdIfcVariant(out);
        }
        if (k == kQdTypeString) {
          QdIfcArray<QdAnsiString> out;
          for (py::handle e : seq) out.append(text(e, takes + " of str"));
          return QdIfcVariant(out);
        }
        break;
      }
      case Shape::kEntity:
      case Shape::kSelect: {
        bool values = false;
        std::vector<const QdIfcEntityType*> kinds = entitiesOf(
            element.kind == Shape::kEntity ? static_cast<const DictionaryInstance*>(element.entity) : element.select,
            values);
        if (values) {
          // Selects that take values: each element a select of its own class.
          const QdIfcVariantType* type =
              element.kind == Shape::kSelect ? selectClassType(owner.model->model->schema(), element.select) : nullptr;
          if (!type) break;
          QdIfcArray<QdIfcVariant> out;
          for (py::handle e : seq) {
            QdIfcVariant one;
            if (!type->createVariant(one)) break;
            intoSelect(static_cast<QdIfcSelect*>(one.payload()), element, e);
            out.append(one);
          }
          if (out.length() != static_cast<int>(seq.size())) break;
          return QdIfcVariant(out);
        }
        QdIfcArray<QdDbObjectId> out;
        for (py::handle e : seq) out.append(handle(e, kinds, takes + " of " + element.name));
        return QdIfcVariant(out);
      }
      case Shape::kAggregate: {
        Shape inner = shapeOf(element.aggregate->elementType());
        if (inner.kind == Shape::kSimple && inner.simple->primitiveKind() == kQdTypeInteger) {
          QdIfcArray<QdIfcArray<int>> out;
          for (py::handle e : seq) out.append(*aggregate(element, e).ptr<QdIfcArray<int>>());
          return QdIfcVariant(out);
        }
        if (inner.kind == Shape::kSimple) {
          QdIfcArray<QdIfcArray<double>> out;
          for (py::handle e : seq) {
            QdIfcVariant row = aggregate(element, e);
            if (!row.ptr<QdIfcArray<double>>()) fail(PyExc_TypeError, attr, takes, v);
            out.append(*row.ptr<QdIfcArray<double>>());
          }
          return QdIfcVariant(out);
        }
        if (inner.kind == Shape::kEntity) {
          QdIfcArray<QdIfcArray<QdDbObjectId>> out;
          for (py::handle e : seq) out.append(*aggregate(element, e).ptr<QdIfcArray<QdDbObjectId>>());
          return QdIfcVariant(out);
        }
        break;
      }
      default: break;
    }
    PyErr_SetString(PyExc_TypeError, (attr + ": writing a " + s.name + " from Python is not supported").c_str());
    throw py::error_already_set();
  }
};

}  // namespace

void setAttribute(const Entity& e, const std::string& name, py::handle value) {
  QdIfcEntityBase* o = e.object();
  const QdIfcEntityType* type = o->getInstanceType();
  const QdIfcClassTable* table = type ? type->classTable() : nullptr;
  const QdIfcAttrRow* row = table ? table->find(QdIfcAttrOp::kPut, name) : nullptr;
  if (!row) {
    const QdIfcAttrRow* got = table ? table->find(QdIfcAttrOp::kGet, name) : nullptr;
    std::string what = type ? type->schemaName() : "?";
    if (got)
      PyErr_SetString(PyExc_AttributeError, (what + "." + got->name + " is " +
                                             (got->role == QdIfcAttrRole::kInverse ? "an inverse" : "a derived") +
                                             " attribute and is not written by name")
                                                .c_str());
    else
      PyErr_SetString(PyExc_AttributeError,
                      ("entity instance of type '" + what + "' has no attribute '" + name + "'").c_str());
    throw py::error_already_set();
  }
  Writer w{e, std::string(type->schemaName()) + "." + row->name};
  const QdAnsiString rowName(row->name);
  const QdIfcAttributeDefinition* definition = type->findAttribute(row->name);
  const QdIfcInverseAttributeDefinition* inverse = definition ? definition->asInverseAttributeDefinition() : nullptr;
  if (row->kind == QdIfcMemberKind::kGuid) e.model->changed();

  if (inverse) {
    std::vector<const QdIfcEntityType*> kinds{inverse->entity()};
    QdIfcArray<QdDbObjectId> handles;
    if (!value.is_none()) {
      const std::string takes = std::string("entities of ") + inverse->entity()->schemaName();
      if (!isSequence(value)) fail(PyExc_TypeError, w.attr, takes + " (a tuple or list)", value);
      for (py::handle h : value) handles.append(w.handle(h, kinds, takes));
    }
    if (!o->putAttr(rowName, QdIfcVariant(handles))) fail(PyExc_ValueError, w.attr, "relationships", value);
    return;
  }
  if (value.is_none()) {
    o->unsetAttr(rowName);
    return;
  }
  Shape s = shapeOf(definition ? definition->type() : nullptr);
  QdIfcVariant v;
  switch (s.kind) {
    case Shape::kSimple: v = w.simple(s, value); break;
    case Shape::kEntity: v = QdIfcVariant(w.handle(value, {s.entity}, s.name)); break;
    case Shape::kEnumeration: {
      const std::string takes = "a literal of " + s.name;
      if (!py::isinstance<py::str>(value)) fail(PyExc_TypeError, w.attr, takes + " (str)", value);
      if (s.enumeration->literalIndex(value.cast<std::string>().c_str()) < 0)
        fail(PyExc_ValueError, w.attr, takes, value);
      v = QdIfcVariant(QdAnsiString(value.cast<std::string>().c_str()));
      break;
    }
    case Shape::kSelect: {
      if (!row->memberClass || !row->memberClass->selectType) fail(PyExc_TypeError, w.attr, s.name, value);
      const QdIfcVariantType& selectType = row->memberClass->selectType();
      if (!selectType.createVariant(v)) fail(PyExc_TypeError, w.attr, s.name, value);
      w.intoSelect(static_cast<QdIfcSelect*>(v.payload()), s, value);
      break;
    }
    case Shape::kAggregate: v = w.aggregate(s, value); break;
    default: fail(PyExc_TypeError, w.attr, "a value the schema does not describe", value);
  }
  if (!o->putAttr(rowName, v)) fail(PyExc_ValueError, w.attr, s.name, value);
  // A reference that fills inverse attributes: they are made again before one is read.
  if (row->linkCount) e.model->linksStale = true;
}

}  // namespace qdpy
