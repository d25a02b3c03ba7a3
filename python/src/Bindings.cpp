// The extension module qdifc._qdifc: files, models, entities, the dictionary and the
// check, in the idiom Python scripts over IFC files are written in.
#include "PyModel.h"

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>
#include <QdIfcCore/QdIfcRead.h>
#include <QdIfcCore/QdIfcValidate.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <unordered_set>

using namespace QD_SDAI;

namespace qdpy {
namespace {

PyObject* g_error = nullptr;  // qdifc.Error; its subclasses are made in Python

// ---- entities ----

Entity& entityOf(PyObject* self) {
  auto* inst = reinterpret_cast<py::detail::instance*>(self);
  return *inst->get_value_and_holder().value_ptr<Entity>();
}

// Attribute access: a name that begins with a capital is an attribute of the schema;
// everything else is the class's own (methods), then the schema's.
PyObject* entityGetattro(PyObject* self, PyObject* name) {
  Py_ssize_t n = 0;
  const char* s = PyUnicode_AsUTF8AndSize(name, &n);
  if (!s) return nullptr;
  bool schemaFirst = n > 0 && s[0] >= 'A' && s[0] <= 'Z';
  if (!schemaFirst) {
    PyObject* r = PyObject_GenericGetAttr(self, name);
    if (r || !PyErr_ExceptionMatches(PyExc_AttributeError) || (n > 0 && s[0] == '_')) return r;
    PyErr_Clear();
  }
  try {
    return getAttribute(entityOf(self), s, static_cast<size_t>(n)).release().ptr();
  } catch (py::error_already_set& e) {
    e.restore();
  } catch (py::builtin_exception& e) {
    e.set_error();
  } catch (const QdIfcException& e) {
    PyErr_SetString(g_error, e.what());
  } catch (const std::exception& e) {
    PyErr_SetString(g_error, e.what());
  }
  return nullptr;
}

int entitySetattro(PyObject* self, PyObject* name, PyObject* value) {
  Py_ssize_t n = 0;
  const char* s = PyUnicode_AsUTF8AndSize(name, &n);
  if (!s) return -1;
  if (!(n > 0 && s[0] >= 'A' && s[0] <= 'Z')) return PyObject_GenericSetAttr(self, name, value);
  try {
    if (!value) {
      setAttribute(entityOf(self), std::string(s, static_cast<size_t>(n)), py::none());
      return 0;
    }
    setAttribute(entityOf(self), std::string(s, static_cast<size_t>(n)), value);
    return 0;
  } catch (py::error_already_set& e) {
    e.restore();
  } catch (py::builtin_exception& e) {
    e.set_error();
  } catch (const std::exception& e) {
    PyErr_SetString(g_error, e.what());
  }
  return -1;
}

const QdIfcEntityType* typeOf(const Entity& e) { return e.object()->getInstanceType(); }

// The attributes of a type in the order of its record: explicit ones, with the
// inherited ones a subtype redeclares as derived left out, then (optionally) inverses.
std::vector<const QdIfcAttributeDefinition*> attributesOf(const QdIfcEntityType* type, bool inverses) {
  std::vector<const QdIfcAttributeDefinition*> out;
  if (!type) return out;
  std::vector<const QdIfcAttributeDefinition*> all = type->allAttributes();
  std::unordered_set<const QdIfcAttributeDefinition*> redeclared;
  for (const QdIfcAttributeDefinition* a : all)
    if (const QdIfcDerivedAttributeDefinition* d = a->asDerivedAttributeDefinition())
      if (d->redeclared()) redeclared.insert(d->redeclared());
  for (const QdIfcAttributeDefinition* a : all) {
    if (a->asDerivedAttributeDefinition() || redeclared.count(a)) continue;
    if (a->asInverseAttributeDefinition() && !inverses) continue;
    out.push_back(a);
  }
  return out;
}

// The explicit attributes in the order of the record's places, those a subtype
// redeclares as derived ("*" in the record) included.
std::vector<const QdIfcAttributeDefinition*> recordPlaces(const QdIfcEntityType* type) {
  std::vector<const QdIfcAttributeDefinition*> out;
  if (!type) return out;
  for (const QdIfcAttributeDefinition* a : type->allAttributes())
    if (a->asExplicitAttributeDefinition()) out.push_back(a);
  return out;
}

// Text for Python: what is not UTF-8 (a stray byte of a broken file) is replaced.
py::str utf8(const std::string& text) {
  PyObject* o = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
  if (!o) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(o);
}

std::string recordText(const Entity& e) {
  QdIfcEntityBase* o = e.object();
  QdSpfFilerBase filer;
  o->outFields(&filer);
  const QdIfcEntityType* type = o->getInstanceType();
  return "#" + std::to_string(e.id.id()) + "=" + (type ? type->schemaName() : "?") + "(" + filer.text() + ")";
}

py::object info(const Entity& e, bool recursive, int depth);

py::object infoValue(py::handle v, bool recursive, int depth) {
  if (recursive && py::isinstance<Entity>(v)) return info(v.cast<const Entity&>(), recursive, depth + 1);
  if (recursive && py::isinstance<py::tuple>(v)) {
    py::list out;
    for (py::handle e : v) out.append(infoValue(e, recursive, depth));
    return py::tuple(out);
  }
  return py::reinterpret_borrow<py::object>(v);
}

py::object info(const Entity& e, bool recursive, int depth) {
  if (depth > 64) return py::cast(e);
  py::dict d;
  const QdIfcEntityType* type = typeOf(e);
  d["id"] = e.id.id();
  d["type"] = type->schemaName();
  for (const QdIfcAttributeDefinition* a : attributesOf(type, false)) {
    py::object v = getAttribute(e, a->name(), std::strlen(a->name()));
    d[a->name()] = infoValue(v, recursive, depth);
  }
  return d;
}

// ---- models ----

[[noreturn]] void raiseError(const char* kind, const std::string& message, const py::object& problem) {
  py::object cls = py::module_::import("qdifc").attr(kind);
  py::object error = cls(message);
  error.attr("problem") = problem;
  PyErr_SetObject(cls.ptr(), error.ptr());
  throw py::error_already_set();
}

// A schema by name for Python: the default one for an empty name; qdifc.SchemaError
// when there is no module for it.
const QdIfcSchema* schemaNamed(const std::string& name) {
  try {
    return Module::schema(name);
  } catch (const std::runtime_error& e) {
    raiseError("SchemaError", e.what(), py::none());
  }
}

// Reads a file or its text into a new model of the schema its FILE_SCHEMA names (or the
// one forced), with the interpreter's lock released.
ModelRef openModel(const std::function<QdIfcReadResult(const QdIfcReadOptions&)>& open, const std::string& schema,
                   bool anySchema, const py::object& progress) {
  QdIfcReadOptions options;
  options.schema = schema;
  options.load.acceptOtherSchemas = anySchema;
  if (!progress.is_none()) {
    options.load.progress = [progress](uint64_t done, uint64_t total) {
      py::gil_scoped_acquire gil;
      progress(done, total);
    };
  }
  Module::start();  // the default module, for a file that names no schema
  QdIfcReadResult opened;
  {
    py::gil_scoped_release nogil;
    opened = open(options);
  }
  const QdIfcLoadReport& r = opened.report;
  py::object first = r.problems.empty() ? py::object(py::none()) : py::cast(r.problems.front());
  if (!r.opened) raiseError("FileError", "cannot read " + r.file, py::none());
  const std::string what = r.file.empty() ? std::string("the data") : r.file;
  if (!opened.model)
    raiseError("SchemaError",
               what + ": " + opened.error +
                   (r.schemaRefused ? " (any_schema=True reads it as " + options.fallbackSchema + ")" : ""),
               first);
  auto model = std::make_shared<ModelState>(std::move(opened.model));
  model->report = std::move(opened.report);
  const QdIfcLoadReport& read = model->report;
  if (read.schemaRefused)
    raiseError("SchemaError",
               what + " is written in schema " +
                   (read.schemas.empty() ? std::string("(none named)") : read.schemas.front()) + ", not " +
                   model->model->schema()->name() + " (any_schema=True reads it anyway)",
               first);
  if (read.records == 0 && !read.problems.empty())
    raiseError("ParseError", read.describe(read.problems.front()), first);
  return model;
}

py::list entities(const ModelRef& m, const std::vector<QdDbObjectId>& ids) {
  py::list out(ids.size());
  size_t i = 0;
  for (const QdDbObjectId& id : ids) out[i++] = py::cast(Entity{m, id});
  return out;
}

const QdIfcEntityType* entityType(const ModelRef& m, const std::string& name) {
  const QdIfcSchema* schema = m->model->schema();
  const QdIfcEntityType* t = schema->findEntityType(name);
  if (!t) throw py::value_error("no entity type '" + name + "' in " + schema->name());
  return t;
}

py::list byType(const ModelRef& m, const std::string& name, bool subtypes) {
  const QdIfcEntityType* t = entityType(m, name);
  const auto& lists = m->byType();
  if (!subtypes || t->treeIndex() == t->treeEnd()) return entities(m, lists[static_cast<size_t>(t->treeIndex())]);
  std::vector<QdDbObjectId> ids;
  int nonEmpty = 0;
  for (int i = t->treeIndex(); i <= t->treeEnd(); ++i) {
    const auto& l = lists[static_cast<size_t>(i)];
    if (l.empty()) continue;
    ++nonEmpty;
    ids.insert(ids.end(), l.begin(), l.end());
  }
  if (nonEmpty > 1) std::sort(ids.begin(), ids.end(), [](const auto& a, const auto& b) { return a.id() < b.id(); });
  return entities(m, ids);
}

py::object createEntity(const ModelRef& m, const std::string& name, const py::args& args, const py::kwargs& kwargs) {
  const QdIfcEntityType* t = entityType(m, name);
  if (t->isAbstract())
    throw py::value_error(std::string(t->schemaName()) + " is abstract: make an instance of one of its subtypes");
  QdDbObjectId id = m->model->createInstance(t->typeName());
  if (id.isNull()) throw py::value_error("cannot make an instance of " + std::string(t->schemaName()));
  m->changed();
  Entity e{m, id};
  try {
    std::vector<const QdIfcAttributeDefinition*> places = recordPlaces(t);
    if (args.size() > places.size())
      throw py::type_error(std::string(t->schemaName()) + " has " + std::to_string(places.size()) + " attributes, " +
                           std::to_string(args.size()) + " given");
    for (size_t i = 0; i < args.size(); ++i)
      if (!args[i].is_none()) setAttribute(e, places[i]->name(), args[i]);
    for (auto [key, value] : kwargs) setAttribute(e, key.cast<std::string>(), value);
  } catch (...) {
    m->model->removeInstance(id);
    m->changed();
    throw;
  }
  return py::cast(e);
}

// ---- the dictionary ----

struct AttributeInfo {
  std::string name, type, kind, inverse_of, owner;
  bool optional = false;
};

std::vector<AttributeInfo> attributeInfos(const QdIfcEntityType* type, bool all) {
  std::vector<AttributeInfo> out;
  std::vector<const QdIfcAttributeDefinition*> list;
  if (all) list = type->allAttributes();
  else list.assign(type->attributes().begin(), type->attributes().end());
  for (const QdIfcAttributeDefinition* a : list) {
    AttributeInfo i;
    i.name = a->name();
    i.type = qdDictionaryName(a->type());
    i.owner = a->owner() ? a->owner()->schemaName() : "";
    if (const auto* x = a->asExplicitAttributeDefinition()) {
      i.kind = "explicit";
      i.optional = x->optional();
    } else if (const auto* v = a->asInverseAttributeDefinition()) {
      i.kind = "inverse";
      i.optional = v->lowerBound() == 0 || v->lowerBound() == Consts::QdIntUnset;
      // The forward attribute: IfcRelContainedInSpatialStructure.RelatedElements.
      const QdIfcAttributeDefinition* forward = v->inverted();
      i.inverse_of = forward
                         ? std::string(forward->owner() ? forward->owner()->schemaName() : "?") + "." + forward->name()
                         : std::string();
    } else {
      i.kind = "derived";
    }
    out.push_back(std::move(i));
  }
  return out;
}

// An enumeration or select of the schema by name: the type itself, or the one a
// defined type of that name wraps; null if there is neither.
template <class T>
const T* namedType(const QdIfcSchema* schema, const std::string& name, const T* (QdIfcNameType::*own)() const,
                   const T* (QdIfcDefinedType::*wrapped)() const noexcept) {
  const QdIfcNameType* n = schema->findNameType(name);
  if (!n) return nullptr;
  if (const T* t = (n->*own)()) return t;
  const QdIfcDefinedType* d = n->asDefinedType();
  return d ? (d->*wrapped)() : nullptr;
}

}  // namespace
}  // namespace qdpy

using namespace qdpy;

PYBIND11_MODULE(_qdifc, m) {
  m.doc() = "The IFC toolkit's Python binding (the qdifc package wraps it)";
  static py::exception<QdIfcException> error(m, "Error");
  g_error = error.ptr();
  // The translator's type is fixed by pybind11: it takes the pointer by value.
  py::register_exception_translator([](std::exception_ptr p) {  // NOLINT(performance-unnecessary-value-param)
    try {
      if (p) std::rethrow_exception(p);
    } catch (const QdIfcException& e) {
      PyErr_SetString(g_error, e.what());
    }
  });

  m.def(
      "_start",
      [](const std::string& path) {
        try {
          Module::start(path);
        } catch (const std::runtime_error& e) {
          PyErr_SetString(g_error, e.what());
          throw py::error_already_set();
        }
      },
      py::arg("module_path") = "");
  m.def("_stop_when_idle", &Module::stopWhenIdle);
  m.def("_available_schemas", []() { return Module::registry().availableSchemas(); });
  m.def("_module_path", &Module::path);

  py::class_<QdSpfProblem>(m, "Problem")
      .def_readonly("offset", &QdSpfProblem::offset)
      .def_readonly("line", &QdSpfProblem::line)
      .def_readonly("instance", &QdSpfProblem::instance)
      .def_readonly("expected", &QdSpfProblem::expected)
      .def_readonly("found", &QdSpfProblem::found)
      .def("__str__",
           [](const QdSpfProblem& p) {
             return std::to_string(p.line) + ": " + (p.instance ? "#" + std::to_string(p.instance) + ": " : "") +
                    "expected " + p.expected + ", found " + p.found;
           })
      .def("__repr__", [](const QdSpfProblem& p) {
        return "<Problem line " + std::to_string(p.line) + " #" + std::to_string(p.instance) + ": expected " +
               p.expected + ", found " + p.found + ">";
      });

  py::class_<TypedValue>(m, "TypedValue")
      .def(py::init([](std::string type, const py::object& value) {
             return TypedValue{std::move(type), value};
           }),
           py::arg("type"), py::arg("value"))
      .def_readonly("type", &TypedValue::type)
      .def_readonly("value", &TypedValue::value)
      .def("is_a", [](const TypedValue& t) { return t.type; })
      .def("__eq__",
           [](const TypedValue& a, const py::object& b) {
             if (!py::isinstance<TypedValue>(b)) return false;
             const TypedValue& o = b.cast<const TypedValue&>();
             return a.type == o.type && a.value.equal(o.value);
           })
      .def("__hash__", [](const TypedValue& t) { return py::hash(py::make_tuple(t.type, t.value)); })
      .def("__repr__", [](const TypedValue& t) { return t.type + "(" + py::repr(t.value).cast<std::string>() + ")"; });

  py::class_<Entity>(m, "Entity", py::custom_type_setup([](PyHeapTypeObject* heap) {
                       heap->ht_type.tp_getattro = entityGetattro;
                       heap->ht_type.tp_setattro = entitySetattro;
                     }))
      .def("id", [](const Entity& e) { return e.id.id(); })
      .def("is_a", [](const Entity& e) { return std::string(typeOf(e)->schemaName()); })
      .def(
          "is_a", [](const Entity& e, const std::string& name) { return e.object()->isKindOf(name.c_str()); },
          py::arg("type"))
      .def(
          "get_info", [](const Entity& e, bool recursive) { return info(e, recursive, 0); },
          py::arg("recursive") = false)
      .def_property_readonly("model", [](const Entity& e) { return e.model; })
      .def(
          "attribute_names",
          [](const Entity& e, bool inverses) {
            std::vector<std::string> out;
            for (const QdIfcAttributeDefinition* a : attributesOf(typeOf(e), inverses)) out.push_back(a->name());
            return out;
          },
          py::arg("inverses") = false)
      .def("__len__", [](const Entity& e) { return recordPlaces(typeOf(e)).size(); })
      .def("__getitem__",
           [](const Entity& e, long index) {
             std::vector<const QdIfcAttributeDefinition*> places = recordPlaces(typeOf(e));
             long n = static_cast<long>(places.size());
             if (index < 0) index += n;
             if (index < 0 || index >= n) throw py::index_error("attribute index out of range");
             const char* name = places[static_cast<size_t>(index)]->name();
             return getAttribute(e, name, std::strlen(name));
           })
      .def("__setitem__",
           [](const Entity& e, long index, const py::object& value) {
             std::vector<const QdIfcAttributeDefinition*> places = recordPlaces(typeOf(e));
             long n = static_cast<long>(places.size());
             if (index < 0) index += n;
             if (index < 0 || index >= n) throw py::index_error("attribute index out of range");
             setAttribute(e, places[static_cast<size_t>(index)]->name(), value);
           })
      .def("__dir__",
           [](const Entity& e) {
             std::vector<std::string> out{"id", "is_a", "get_info", "model", "attribute_names"};
             for (const QdIfcAttributeDefinition* a : attributesOf(typeOf(e), true)) out.push_back(a->name());
             return out;
           })
      .def("__eq__",
           [](const Entity& a, const py::object& b) {
             return py::isinstance<Entity>(b) && b.cast<const Entity&>().model == a.model &&
                    b.cast<const Entity&>().id == a.id;
           })
      .def("__hash__",
           [](const Entity& e) {
             return std::hash<const void*>()(e.model.get()) ^ (std::hash<uint64_t>()(e.id.id()) * 31);
           })
      .def("__repr__", [](const Entity& e) {
        if (!e.id.isValid()) return utf8("<removed #" + std::to_string(e.id.id()) + ">");
        return utf8(recordText(e));
      });

  py::class_<QdIfcFinding>(m, "Finding")
      .def_readonly("instance", &QdIfcFinding::instance)
      .def_property_readonly("type", [](const QdIfcFinding& f) { return f.type ? f.type->schemaName() : ""; })
      .def_readonly("attribute", &QdIfcFinding::attribute)
      .def_property_readonly("rule", [](const QdIfcFinding& f) { return qdIfcRuleName(f.rule); })
      .def_readonly("expected", &QdIfcFinding::expected)
      .def_readonly("found", &QdIfcFinding::found)
      .def("__str__", &qdIfcDescribe)
      .def("__repr__", [](const QdIfcFinding& f) { return "<Finding " + qdIfcDescribe(f) + ">"; });

  py::class_<ModelState, std::shared_ptr<ModelState>>(m, "Model")
      .def(py::init([](const std::string& schema) { return std::make_shared<ModelState>(schemaNamed(schema)); }),
           py::arg("schema") = "")
      .def_property_readonly("problems", [](const ModelRef& s) { return s->report.problems; })
      .def_property_readonly("schema_names", [](const ModelRef& s) { return s->report.schemas; })
      .def_property_readonly("schema_name", [](const ModelRef& s) { return std::string(s->model->schema()->name()); })
      .def_property_readonly("header",
                             [](const ModelRef& s) {
                               const QdSpfHeaderSection& h = s->model->header();
                               return py::dict(py::arg("description") = h.description, py::arg("name") = h.name,
                                               py::arg("schema") = h.schema);
                             })
      .def("by_type", &byType, py::arg("type"), py::arg("include_subtypes") = true)
      .def(
          "by_id",
          [](const ModelRef& s, uint64_t id) {
            QdDbObjectId h = s->model->find(id);
            if (!h.isValid()) throw py::key_error("no instance #" + std::to_string(id));
            return Entity{s, h};
          },
          py::arg("id"))
      .def(
          "by_guid",
          [](const ModelRef& s, const std::string& guid) {
            const auto& index = s->byGuid();
            auto it = index.find(guid);
            if (it == index.end() || !it->second.isValid()) throw py::key_error("no instance with GlobalId " + guid);
            return Entity{s, it->second};
          },
          py::arg("guid"))
      .def("__len__", [](const ModelRef& s) { return s->model->size(); })
      .def("__iter__", [](const ModelRef& s) { return py::iter(entities(s, s->model->instances())); })
      .def("__contains__", [](const ModelRef& s, const Entity& e) { return e.model == s && e.id.isValid(); })
      .def("types",
           [](const ModelRef& s) {
             std::map<std::string, size_t> counts;
             const auto& lists = s->byType();
             for (const QdIfcEntityType* t : s->model->schema()->entityTypeList()) {
               size_t i = static_cast<size_t>(t->treeIndex());
               if (i < lists.size() && !lists[i].empty()) counts[t->schemaName()] = lists[i].size();
             }
             return counts;
           })
      .def("create_entity", &createEntity, py::arg("type"))
      .def(
          "remove",
          [](const ModelRef& s, const Entity& e) {
            if (e.model != s) throw py::value_error("the entity belongs to another model");
            if (!s->model->removeInstance(e.id))
              throw py::value_error("#" + std::to_string(e.id.id()) + " is not in the model");
            s->changed();
            s->linksStale = true;
          },
          py::arg("entity"))
      .def("link_inverses", [](const ModelRef& s) { s->model->setInverseCounterParts(); })
      .def("check",
           [](const ModelRef& s) {
             std::vector<QdIfcFinding> out;
             {
               py::gil_scoped_release nogil;
               out = qdIfcValidate(*s->model);
             }
             return out;
           })
      .def("to_string",
           [](const ModelRef& s) {
             std::string text;
             {
               py::gil_scoped_release nogil;
               text = qdIfcSaveText(*s->model);
             }
             return utf8(text);
           })
      .def(
          "write",
          [](const ModelRef& s, const py::object& where) {
            std::string path = py::str(py::module_::import("os").attr("fspath")(where));
            std::string why;
            bool ok;
            {
              py::gil_scoped_release nogil;
              ok = qdIfcSaveFile(*s->model, path, &why);
            }
            if (!ok) raiseError("FileError", why, py::none());
          },
          py::arg("path"));

  m.def(
      "open",
      [](const std::string& path, const py::object& progress, bool anySchema, const std::string& schema) {
        return openModel([&](const QdIfcReadOptions& o) { return qdIfcReadFile(path, Module::registry(), o); }, schema,
                         anySchema, progress);
      },
      py::arg("path"), py::arg("progress") = py::none(), py::arg("any_schema") = false, py::arg("schema") = "");
  m.def(
      "loads",
      [](const py::object& data, const py::object& progress, bool anySchema, const std::string& schema) {
        std::string bytes = py::isinstance<py::str>(data) ? data.cast<std::string>() : std::string(py::bytes(data));
        return openModel([&](const QdIfcReadOptions& o) { return qdIfcRead(bytes, Module::registry(), o); }, schema,
                         anySchema, progress);
      },
      py::arg("data"), py::arg("progress") = py::none(), py::arg("any_schema") = false, py::arg("schema") = "");

  // ---- the dictionary ----
  py::class_<AttributeInfo>(m, "AttributeInfo")
      .def_readonly("name", &AttributeInfo::name)
      .def_readonly("type", &AttributeInfo::type)
      .def_readonly("kind", &AttributeInfo::kind)
      .def_readonly("optional", &AttributeInfo::optional)
      .def_readonly("inverse_of", &AttributeInfo::inverse_of)
      .def_readonly("owner", &AttributeInfo::owner)
      .def("__repr__", [](const AttributeInfo& a) {
        return "<" + a.kind + " attribute " + a.owner + "." + a.name + ": " + (a.optional ? "OPTIONAL " : "") + a.type +
               (a.inverse_of.empty() ? "" : " FOR " + a.inverse_of) + ">";
      });

  // The dictionary of a schema by name ("" the default module's), as qdifc.schema gives it.
  m.def(
      "_entity",
      [](const std::string& name, const std::string& schema) {
        const QdIfcSchema* dictionary = schemaNamed(schema);
        const QdIfcEntityType* t = dictionary->findEntityType(name);
        if (!t) throw py::key_error("no entity type '" + name + "' in " + dictionary->name());
        std::vector<std::string> supertypes, subtypes;
        for (const QdIfcEntityType* s = t->supertype(); s; s = s->supertype()) supertypes.push_back(s->schemaName());
        for (const QdIfcEntityType* s : dictionary->entityTypeList())
          if (s->supertype() == t) subtypes.push_back(s->schemaName());
        return py::dict(py::arg("name") = t->schemaName(), py::arg("abstract") = t->isAbstract(),
                        py::arg("supertypes") = supertypes, py::arg("subtypes") = subtypes,
                        py::arg("attributes") = attributeInfos(t, false),
                        py::arg("all_attributes") = attributeInfos(t, true));
      },
      py::arg("name"), py::arg("schema") = "");
  m.def(
      "_type_names",
      [](const std::string& kind, const std::string& schema) {
        std::vector<std::string> out;
        const QdIfcSchema* s = schemaNamed(schema);
        if (kind == "entity") {
          for (const QdIfcEntityType* t : s->entityTypeList()) out.push_back(t->schemaName());
          return out;
        }
        const Dictionary& d = s->nameTypes();
        for (int i = 0; i < d.size(); ++i) {
          const QdIfcNameType* n = d.valueAt(i) ? d.valueAt(i)->asNameType() : nullptr;
          if (!n) continue;
          const QdIfcDefinedType* def = n->asDefinedType();
          bool isEnum = n->asEnumType() || (def && def->wrappedEnumeration());
          bool isSelect = n->asSelectType() || (def && def->wrappedSelect());
          if ((kind == "enumeration" && isEnum) || (kind == "select" && isSelect) ||
              (kind == "defined" && def && !isEnum && !isSelect))
            out.push_back(n->typeName());
        }
        return out;
      },
      py::arg("kind"), py::arg("schema") = "");
  m.def(
      "_enumeration",
      [](const std::string& name, const std::string& schema) {
        const QdIfcEnumerationType* e =
            namedType(schemaNamed(schema), name, &QdIfcNameType::asEnumType, &QdIfcDefinedType::wrappedEnumeration);
        if (!e) throw py::key_error("no enumeration '" + name + "'");
        std::vector<std::string> literals;
        for (const QdAnsiString& l : e->literals()) literals.push_back(l.constStr());
        return literals;
      },
      py::arg("name"), py::arg("schema") = "");
  m.def(
      "_select",
      [](const std::string& name, const std::string& schema) {
        const QdIfcSelectType* s =
            namedType(schemaNamed(schema), name, &QdIfcNameType::asSelectType, &QdIfcDefinedType::wrappedSelect);
        if (!s) throw py::key_error("no select '" + name + "'");
        std::vector<std::string> members;
        for (const QdIfcParameterType* t : s->members()) members.push_back(qdDictionaryName(t));
        return members;
      },
      py::arg("name"), py::arg("schema") = "");
  m.def(
      "_schema_name", [](const std::string& schema) { return std::string(schemaNamed(schema)->name()); },
      py::arg("schema") = "");

  defineHelpers(m);
}
