// The host's commands over property objects: show --via-properties, tree and props.
#include "CommandSupport.h"
#include "FileCommands.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggr.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcProperty.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <set>

using namespace QD_SDAI;

namespace qdhost {
namespace {

const char* kTreeUsage =
    "usage: qdifc tree FILE [--schema NAME] [--any-schema]\n"
    "\n"
    "Reads FILE and prints its spatial structure: each project with what it decomposes\n"
    "into (sites, buildings, storeys, spaces), one level of indentation a step, and under\n"
    "each spatial element the number of elements it contains, by type.\n"
    "  --schema NAME  read with the module of schema NAME instead of the one FILE_SCHEMA names\n"
    "  --any-schema   read the records even if FILE_SCHEMA names another schema\n";

const char* kPropsUsage =
    "usage: qdifc props FILE #ID [--schema NAME] [--any-schema]\n"
    "\n"
    "Reads FILE and lists the property sets and quantity sets of the object #ID (its\n"
    "own and those of its type), with each property's or quantity's value.\n"
    "  --schema NAME  read with the module of schema NAME instead of the one FILE_SCHEMA names\n"
    "  --any-schema   read the records even if FILE_SCHEMA names another schema\n";

std::string lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::vector<const QdIfcEntityType*> rootFirst(const QdIfcEntityType* type) {
  std::vector<const QdIfcEntityType*> chain;
  for (const QdIfcEntityType* t = type; t; t = t->supertype()) chain.insert(chain.begin(), t);
  return chain;
}

// A property that its entity type redeclares as derived: it has no attribute of its
// own name there.
bool isRedeclared(const QdIfcProperty& p) {
  const QdIfcAttributeDefinition* a = p.entityType()->findOwnAttribute(p.name().view());
  return !a || a->asDerivedAttributeDefinition();
}

// One element of an array a property gives, as show prints the same element.
std::string element(const QdIfcVariant& e, int depth);

// An array value, or nothing when v holds no array.
bool arrayText(const QdIfcVariant& v, int depth, std::string& out) {
  QdIfcArray<QdIfcVariant> elements;
  if (!v.type() || v.ptr<QdIfcArray<QdIfcVariant>>() == nullptr) {
    if (v.ptr<QdAnsiString>() || v.ptr<double>() || v.ptr<int>() || v.ptr<QdDbObjectId>()) return false;
    if (!v.getValue(elements)) return false;
  } else {
    elements = *v.ptr<QdIfcArray<QdIfcVariant>>();
  }
  out = "(";
  for (int i = 0; i < elements.length(); ++i)
    out += (i ? ", " : "") + (depth < 8 ? element(elements[i], depth + 1) : std::string("..."));
  out += ")";
  return true;
}

std::string element(const QdIfcVariant& e, int depth) {
  std::string out;
  if (arrayText(e, depth, out)) return out;
  return display(e, depth);
}

// The value of one attribute through its property; the name path where the
// property has no value to give (selects, the hierarchies).
std::string propertyValue(const QdIfcEntityBase& object, const QdIfcProperty& p) {
  QdIfcVariant v;
  if (p.getAttribute(&object, v) != QD::eOk) {
    QdIfcVariant byName;
    return object.getAttr(p.name(), byName) ? display(byName) : std::string("$");
  }
  // Text arrives decoded.
  if (const QdAnsiString* text = v.ptr<QdAnsiString>()) {
    if (text->isUnset()) return "$";
    return "'" + std::string(text->view()) + "'";
  }
  std::string array;
  if (arrayText(v, 0, array)) {
    // An empty array stands for an empty aggregate or for none at all: the
    // instance's aggregate tells which.
    if (array == "()") {
      QdIfcVariant byName;
      QdIfcAggr* aggregate = nullptr;
      if (!object.getAttr(p.name(), byName) || !byName.getValue(aggregate) || !aggregate || aggregate->isNil())
        return "$";
    }
    return array;
  }
  return display(v);
}

}  // namespace

std::string renderViaProperties(const QdIfcEntityBase& object, uint64_t id) {
  const QdIfcEntityType* type = object.getInstanceType();
  std::string out = "#" + std::to_string(id) + " " + type->schemaName() + "\n";
  std::vector<const QdIfcEntityType*> chain = rootFirst(type);
  // Attributes redeclared as derived further down have no value on this instance.
  std::set<std::string> derivedHere;
  for (const QdIfcEntityType* t : chain)
    for (const QdIfcProperty* p : t->properties())
      if (isRedeclared(*p)) derivedHere.insert(lower(p->name().view()));
  for (const QdIfcEntityType* t : chain) {
    for (const QdIfcProperty* p : t->properties()) {
      if (isRedeclared(*p) || derivedHere.count(lower(p->name().view()))) continue;
      bool inverse = t->findOwnAttribute(p->name().view())->asInverseAttributeDefinition() != nullptr;
      out += std::string("  ") + p->name().constStr() + (inverse ? " (inverse)" : "") + " = " +
             propertyValue(object, *p) + "\n";
    }
  }
  return out;
}

namespace {

// The first property of the type or a supertype with the hierarchical feature and
// this name.
const QdIfcProperty* hierarchy(const QdIfcEntityType* type, const char* name) {
  for (const QdIfcEntityType* t = type; t; t = t->supertype()) {
    const QdIfcProperty* p = t->properties().find(name);
    if (p && p->feature<QdIfcHierarchicalPropFeature>()) return p;
  }
  return nullptr;
}

std::string label(const QdIfcEntityBase& object) {
  std::string out = "#" + std::to_string(object.objectId().id()) + " " + object.getInstanceType()->schemaName();
  QdIfcVariant v;
  for (const char* attribute : {"name", "longname"}) {
    if (object.getAttr(attribute, v)) {
      std::string text = display(v);
      if (text != "$" && text != "''") {
        out += " " + text;
        break;
      }
    }
  }
  return out;
}

void printTree(const QdIfcEntityBase& object, int depth, std::set<uint64_t>& seen, std::ostream& out) {
  std::string indent(static_cast<size_t>(2 * depth), ' ');
  out << indent << label(object) << '\n';
  if (!seen.insert(object.objectId().id()).second || depth > 64) {
    out << indent << "  (already shown)\n";
    return;
  }
  const QdIfcEntityType* type = object.getInstanceType();
  if (const QdIfcProperty* contains = hierarchy(type, "ContainsElements")) {
    QdIfcHandleArray elements;
    if (contains->getCollection(&object, elements) == QD::eOk && elements.length()) {
      std::map<std::string, int> byType;
      for (const QdDbObjectId& e : elements)
        if (const QdIfcEntityBase* o = e.openObject()) ++byType[o->getInstanceType()->schemaName()];
      out << indent << "  contains " << elements.length() << (elements.length() == 1 ? " element:" : " elements:");
      for (const auto& [name, count] : byType) out << ' ' << count << ' ' << name;
      out << '\n';
    }
  }
  if (const QdIfcProperty* decomposed = hierarchy(type, "IsDecomposedBy")) {
    QdIfcHandleArray parts;
    if (decomposed->getCollection(&object, parts) == QD::eOk) {
      std::vector<const QdIfcEntityBase*> children;
      for (const QdDbObjectId& id : parts)
        if (const QdIfcEntityBase* o = id.openObject()) children.push_back(o);
      std::sort(children.begin(), children.end(),
                [](const auto* a, const auto* b) { return a->objectId().id() < b->objectId().id(); });
      for (const QdIfcEntityBase* c : children) printTree(*c, depth + 1, seen, out);
    }
  }
}

}  // namespace

int runTree(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p;
  if (int status = arguments(args, "tree", kTreeUsage, 1, "give one FILE", p); status >= 0) return status;
  LoadedFile f;
  f.threads = p.threads;
  if (!f.load(modulePath, p.files[0], p.anySchema, p.schema)) return 1;
  const QdIfcEntityType* project = f.model->schema()->findEntityType("IfcProject");
  std::set<uint64_t> seen;
  int projects = 0;
  f.model->forEach([&](const QdDbObjectId&, QdIfcEntityBase* object) {
    if (object->getInstanceType() != project) return;
    ++projects;
    printTree(*object, 0, seen, std::cout);
  });
  if (!projects) std::cout << p.files[0] << ": no IfcProject\n";
  return 0;
}

namespace {

using BuildPropertyFn = bool (*)(QdIfcEntityBase*, QdIfcProperty**, unsigned int*);

// One property or quantity instance, and the members of a complex one, indented.
void printProperty(BuildPropertyFn build, QdIfcEntityBase& instance, int depth, std::ostream& out) {
  std::string indent(static_cast<size_t>(2 * depth), ' ');
  QdIfcVariant name;
  std::string shownName = instance.getAttr("name", name) ? display(name) : "?";
  if (shownName.size() > 1 && shownName.front() == '\'') shownName = shownName.substr(1, shownName.size() - 2);
  QdIfcProperty* made = nullptr;
  unsigned int kind = 0;
  build(&instance, &made, &kind);
  std::unique_ptr<QdIfcProperty> property(made);
  out << indent << shownName << " = ";
  if (!property) {
    // Enumerated, list, reference and table values: as the instance holds them.
    out << "(" << instance.getInstanceType()->schemaName() << ")\n";
    return;
  }
  if (property->propertyKind() == QdIfcProperty::kCollection) {
    QdIfcHandleArray members;
    property->getCollection(&instance, members);
    out << "(" << members.length() << " parts)\n";
    for (const QdDbObjectId& m : members)
      if (QdIfcEntityBase* o = m.openObject(); o && depth < 16) printProperty(build, *o, depth + 1, out);
    return;
  }
  QdIfcVariant value;
  if (property->getAttribute(&instance, value) != QD::eOk) {
    out << "?\n";
    return;
  }
  std::string text;
  if (const QdAnsiString* s = value.ptr<QdAnsiString>()) {
    text = display(QdIfcVariant(s->constStr()));
  } else if (const auto* bounds = value.ptr<QdIfcArray<QdIfcVariant>>()) {
    const char* names[] = {"lower", "upper", "set point"};
    for (int i = 0; i < bounds->length() && i < 3; ++i)
      if (!(*bounds)[i].isEmpty())
        text += std::string(text.empty() ? "" : ", ") + names[i] + " " + display((*bounds)[i]);
    if (text.empty()) text = "$";
  } else {
    text = value.isEmpty() ? "$" : display(value);
  }
  out << text << '\n';
}

// The property definitions that a relationship list of the object leads to.
void definitions(const QdIfcEntityBase& object, const char* inverse, const char* definition,
                 std::vector<QdIfcEntityBase*>& out) {
  QdIfcVariant v;
  QdIfcArray<QdDbObjectId> relationships;
  if (!object.getAttr(inverse, v) || !v.getValue(relationships)) return;
  for (const QdDbObjectId& r : relationships) {
    QdIfcEntityBase* rel = r.openObject();
    if (!rel || !rel->getAttr(definition, v)) continue;
    QdDbObjectId id;
    QdIfcArray<QdDbObjectId> many;
    if (v.getValue(id)) {
      if (QdIfcEntityBase* d = id.openObject()) out.push_back(d);
    } else if (v.getValue(many)) {
      for (const QdDbObjectId& m : many)
        if (QdIfcEntityBase* d = m.openObject()) out.push_back(d);
    }
  }
}

void printSets(BuildPropertyFn build, const std::vector<QdIfcEntityBase*>& sets, const char* from, std::ostream& out) {
  for (QdIfcEntityBase* set : sets) {
    QdIfcVariant v;
    QdIfcArray<QdDbObjectId> members;
    const char* membersName = set->getAttr("hasproperties", v) ? "hasproperties" : "quantities";
    if (!set->getAttr(membersName, v) || !v.getValue(members)) continue;
    QdIfcVariant name;
    out << "#" << set->objectId().id() << " " << set->getInstanceType()->schemaName() << " "
        << (set->getAttr("name", name) ? display(name) : std::string("$")) << from << '\n';
    for (const QdDbObjectId& m : members)
      if (QdIfcEntityBase* o = m.openObject()) printProperty(build, *o, 1, out);
  }
}

}  // namespace

int runProps(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p;
  if (int status = arguments(args, "props", kPropsUsage, 2, "give FILE and #ID", p); status >= 0) return status;
  uint64_t id = 0;
  if (!parseInstanceId(p.files[1], id))
    return usage("props", "#ID must be an instance number such as #12", kPropsUsage);
  LoadedFile f;
  f.threads = p.threads;
  if (!f.load(modulePath, p.files[0], p.anySchema, p.schema)) return 1;
  auto build = reinterpret_cast<BuildPropertyFn>(f.module->symbol("qdIfcBuildPropertyForSimple"));
  if (!build) {
    std::cerr << "qdifc: the module has no qdIfcBuildPropertyForSimple\n";
    return 1;
  }
  QdIfcEntityBase* object = f.instance(id, p.files[0]);
  if (!object) return 1;
  std::cout << label(*object) << '\n';
  std::vector<QdIfcEntityBase*> own, typed, fromType;
  definitions(*object, "isdefinedby", "relatingpropertydefinition", own);
  // A type object holds its sets itself.
  QdIfcVariant v;
  QdIfcArray<QdDbObjectId> held;
  if (object->getAttr("haspropertysets", v) && v.getValue(held))
    for (const QdDbObjectId& s : held)
      if (QdIfcEntityBase* d = s.openObject()) own.push_back(d);
  printSets(build, own, "", std::cout);
  // Sets given to the object's type apply to the object too: its type comes through
  // IsTypedBy, or (IFC2X3, which has no IsTypedBy) through a type relationship among
  // IsDefinedBy, which gives no property definition above.
  definitions(*object, "istypedby", "relatingtype", typed);
  definitions(*object, "isdefinedby", "relatingtype", typed);
  for (QdIfcEntityBase* t : typed) {
    QdIfcVariant v;
    QdIfcArray<QdDbObjectId> sets;
    if (!t->getAttr("haspropertysets", v) || !v.getValue(sets)) continue;
    for (const QdDbObjectId& s : sets)
      if (QdIfcEntityBase* d = s.openObject()) fromType.push_back(d);
    printSets(build, fromType, (" (from type " + label(*t) + ")").c_str(), std::cout);
  }
  if (own.empty() && fromType.empty()) std::cout << "  no property sets\n";
  return 0;
}

}  // namespace qdhost
