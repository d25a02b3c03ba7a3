// Property sets and quantity sets of an object as Python dicts, read through the
// toolkit's property objects: the sets the object's type holds first, then the
// object's own, whose properties override the type's of the same name.
#include "PyModel.h"

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcProperty.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <cmath>
#include <memory>

using namespace QD_SDAI;

namespace qdpy {
namespace {

using BuildPropertyFn = bool (*)(QdIfcEntityBase*, QdIfcProperty**, unsigned int*);

py::object attr(const Entity& e, const char* name) { return getAttribute(e, name, std::strlen(name)); }

// A value a property object gives: numbers, booleans, text.
py::object plain(const ModelRef& m, const QdIfcVariant& v) {
  if (v.isEmpty()) return py::none();
  // Text of a value held by a select comes in its transported form, as in the file.
  if (const QdAnsiString* s = v.ptr<QdAnsiString>())
    return s->isUnset() ? py::object(py::none()) : decodeText(s->view());
  if (const double* d = v.ptr<double>()) return std::isnan(*d) ? py::object(py::none()) : py::float_(*d);
  if (const int* i = v.ptr<int>()) return *i == Consts::QdIntUnset ? py::object(py::none()) : py::int_(*i);
  if (const QdIfcBoolean* b = v.ptr<QdIfcBoolean>())
    return b->isSet() ? py::object(py::bool_(b->isTrue())) : py::none();
  if (const QdDbObjectId* h = v.ptr<QdDbObjectId>()) return wrap(m, *h);
  HsString text;
  if (v.toString(text, kStringFormatPlain) && !text.utf8().empty()) return py::str(text.utf8());
  return py::none();
}

// A TypedValue's value, or the value itself.
py::object untyped(py::handle v) {
  if (py::isinstance<TypedValue>(v)) return v.cast<const TypedValue&>().value;
  if (py::isinstance<py::tuple>(v)) {
    py::list out;
    for (py::handle e : v) out.append(untyped(e));
    return py::tuple(out);
  }
  return py::reinterpret_borrow<py::object>(v);
}

py::object propertyValue(BuildPropertyFn build, const Entity& p, int depth);

// The properties of a set (or of a complex property) into out.
void members(BuildPropertyFn build, const Entity& set, const char* attribute, py::dict& out, int depth) {
  py::object list = attr(set, attribute);
  if (list.is_none()) return;
  for (py::handle h : list) {
    if (!py::isinstance<Entity>(h)) continue;
    const Entity& member = h.cast<const Entity&>();
    py::object name = attr(member, "Name");
    if (name.is_none()) continue;
    out[name] = propertyValue(build, member, depth + 1);
  }
}

py::object propertyValue(BuildPropertyFn build, const Entity& p, int depth) {
  QdIfcEntityBase* instance = p.object();
  QdIfcProperty* made = nullptr;
  unsigned int kind = 0;
  if (build) build(instance, &made, &kind);
  std::unique_ptr<QdIfcProperty> property(made);
  if (property && property->propertyKind() == QdIfcProperty::kCollection) {
    py::dict nested;
    nested["id"] = p.id.id();
    if (depth < 16)
      members(build, p, instance->isKindOf("IfcComplexProperty") ? "HasProperties" : "Quantities", nested, depth);
    return nested;
  }
  if (property) {
    QdIfcVariant value;
    if (property->getAttribute(instance, value) != QD::eOk) return py::none();
    if (const auto* bounds = value.ptr<QdIfcArray<QdIfcVariant>>()) {
      // Bounded values: lower, upper and set point.
      py::dict d;
      const char* names[] = {"LowerBoundValue", "UpperBoundValue", "SetPointValue"};
      for (int i = 0; i < bounds->length() && i < 3; ++i) d[names[i]] = plain(p.model, (*bounds)[i]);
      return d;
    }
    return plain(p.model, value);
  }
  // Enumerated, list and reference values: as the instance holds them; a table value
  // as a dict of its defining values to its defined ones.
  struct Kind {
    const char* type;
    const char* attribute;
  };
  for (const Kind& k :
       {Kind{"IfcPropertyEnumeratedValue", "EnumerationValues"}, Kind{"IfcPropertyListValue", "ListValues"},
        Kind{"IfcPropertyReferenceValue", "PropertyReference"}})
    if (instance->isKindOf(k.type)) return untyped(attr(p, k.attribute));
  if (instance->isKindOf("IfcPropertyTableValue")) {
    py::object defining = untyped(attr(p, "DefiningValues")), defined = untyped(attr(p, "DefinedValues"));
    py::dict table;
    if (!defining.is_none() && !defined.is_none())
      for (size_t i = 0; i < py::len(defining) && i < py::len(defined); ++i)
        table[defining[py::int_(i)]] = defined[py::int_(i)];
    return table;
  }
  return py::none();
}

bool isQuantitySet(const Entity& set) { return set.object()->isKindOf("IfcElementQuantity"); }

// The property definitions of a set list (a type's HasPropertySets, or the definitions
// that the object's IsDefinedBy relationships lead to).
void addSets(BuildPropertyFn build, py::handle sets, bool psets, bool qtos, py::dict& out) {
  if (sets.is_none()) return;
  for (py::handle h : sets) {
    if (!py::isinstance<Entity>(h)) continue;
    const Entity& set = h.cast<const Entity&>();
    QdIfcEntityBase* o = set.object();
    bool quantities = isQuantitySet(set);
    if (!o->isKindOf("IfcPropertySet") && !quantities) continue;
    if ((quantities && !qtos) || (!quantities && !psets)) continue;
    py::object name = attr(set, "Name");
    if (name.is_none()) continue;
    py::dict props;
    if (out.contains(name)) props = out[name];  // the object's own override the type's
    members(build, set, quantities ? "Quantities" : "HasProperties", props, 0);
    props["id"] = set.id.id();
    out[name] = props;
  }
}

py::dict psets(const Entity& e, bool psetsOnly, bool qtosOnly) {
  auto build =
      reinterpret_cast<BuildPropertyFn>(Module::symbol(e.model->model->schema(), "qdIfcBuildPropertyForSimple"));
  bool psets = !qtosOnly, qtos = !psetsOnly;
  py::dict out;
  QdIfcEntityBase* o = e.object();
  if (o->isKindOf("IfcTypeObject")) {
    addSets(build, attr(e, "HasPropertySets"), psets, qtos, out);
    return out;
  }
  if (!o->isKindOf("IfcObject")) return out;
  // The type's sets first: through IsTypedBy, or (IFC2X3, which has no IsTypedBy) through
  // the type relationships among IsDefinedBy; then the object's own.
  py::list typing, defining;
  const bool typedBy = o->getInstanceType()->findAttribute("IsTypedBy") != nullptr;
  if (typedBy)
    for (py::handle rel : attr(e, "IsTypedBy")) typing.append(rel);
  for (py::handle rel : attr(e, "IsDefinedBy")) {
    const bool type = !typedBy && rel.cast<const Entity&>().object()->isKindOf("IfcRelDefinesByType");
    (type ? typing : defining).append(rel);
  }
  for (py::handle rel : typing) {
    py::object type = attr(rel.cast<const Entity&>(), "RelatingType");
    if (py::isinstance<Entity>(type))
      addSets(build, attr(type.cast<const Entity&>(), "HasPropertySets"), psets, qtos, out);
  }
  for (py::handle rel : defining) {
    py::object definition = attr(rel.cast<const Entity&>(), "RelatingPropertyDefinition");
    if (py::isinstance<Entity>(definition)) addSets(build, py::make_tuple(definition), psets, qtos, out);
    else if (py::isinstance<py::tuple>(definition)) addSets(build, definition, psets, qtos, out);
  }
  return out;
}

}  // namespace

void defineHelpers(py::module_& m) {
  m.def("get_psets", &psets, py::arg("entity"), py::arg("psets_only") = false, py::arg("qtos_only") = false,
        "Property sets and quantity sets of an object (its type's, overridden by its own) as a dict of dicts");
}

}  // namespace qdpy
