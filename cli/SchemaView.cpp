#include "SchemaView.h"

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <strings.h>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace QD_SDAI;

namespace qdhost {
namespace {

std::string boundText(const QdIfcIntegerBound* b) { return b && b->isSet() ? std::to_string(b->value()) : "?"; }
std::string boundText(int b) { return b == Consts::QdIntUnset ? "?" : std::to_string(b); }

std::string attributeRef(const QdIfcAttributeDefinition* a) {
  if (!a) return "-";
  return std::string(a->owner() ? a->owner()->typeName() : "-") + "." + a->name();
}

// Wrappers in a dictionary, by what they wrap.
const QdIfcDefinedType* wrapper(const DictionaryInstance* d) {
  const QdIfcNameType* n = d ? d->asNameType() : nullptr;
  return n ? n->asDefinedType() : nullptr;
}

bool isSimpleDefinedType(const QdIfcDefinedType* w) {
  return w && !w->wrappedEnumeration() && !w->wrappedSelect() && !w->wrappedAggregate();
}

const QdIfcStringType* builtInString(const QdIfcDefinedType* w) {
  return w ? dynamic_cast<const QdIfcStringType*>(w->underlyingType()) : nullptr;
}

template <class F>
void forEachIn(const Dictionary& d, F&& f) {
  for (int i = 0; i < d.size(); ++i) f(d.keyAt(i), d.valueAt(i));
}

}  // namespace

void dumpSchema(const QdIfcSchema& schema, std::ostream& out) {
  out << "schema\t" << schema.name() << '\t' << schema.majorVersion() << '\t' << schema.minorVersion() << '\n';

  forEachIn(schema.builtInTypes(), [&](const char* key, const DictionaryInstance* d) {
    if (const QdIfcStringType* s = builtInString(wrapper(d)))
      out << "builtin\t" << key << '\t' << (s->fixed() ? 1 : 0) << '\t' << s->width() << '\n';
  });

  forEachIn(schema.nameTypes(), [&](const char*, const DictionaryInstance* d) {
    const QdIfcDefinedType* w = wrapper(d);
    if (isSimpleDefinedType(w))
      out << "defined\t" << w->typeName() << '\t' << qdDictionaryName(w->underlyingType()) << '\n';
  });

  forEachIn(schema.nameTypes(), [&](const char*, const DictionaryInstance* d) {
    const QdIfcDefinedType* w = wrapper(d);
    if (const QdIfcEnumerationType* e = w ? w->wrappedEnumeration() : nullptr) {
      out << "enum\t" << w->typeName() << '\t' << e->literalCount() << '\t';
      bool first = true;
      for (const QdAnsiString& l : e->literals()) {
        out << (first ? "" : " ") << l.constStr();
        first = false;
      }
      out << '\n';
    }
  });

  forEachIn(schema.entityTypes(), [&](const char* key, const DictionaryInstance* d) {
    const QdIfcNameType* n = d ? d->asNameType() : nullptr;
    const QdIfcEntityType* e = n ? n->asEntityType() : nullptr;
    if (!e) return;
    const QdTypeCode* code = e->type();
    out << "entity\t" << key << '\t' << (e->supertype() ? e->supertype()->typeName() : "-") << '\t'
        << (code && code->parameterCount() > 0 ? code->parameter(0).text().constStr() : "-") << '\t'
        << e->attributeCount() << '\n';
    for (const QdIfcAttributeDefinition* a : e->attributes()) {
      if (const QdIfcDerivedAttributeDefinition* v = a->asDerivedAttributeDefinition()) {
        out << "  derived\t" << a->name() << '\t' << qdDictionaryName(a->type()) << '\t'
            << attributeRef(v->redeclared()) << '\n';
      } else if (const QdIfcInverseAttributeDefinition* v = a->asInverseAttributeDefinition()) {
        out << "  inverse\t" << a->name() << '\t' << boundText(v->lowerBound()) << '\t' << boundText(v->upperBound())
            << '\t' << qdDictionaryName(a->type()) << '\t' << attributeRef(v->inverted()) << '\n';
      } else {
        out << "  explicit\t" << a->name() << '\t' << qdDictionaryName(a->type()) << '\n';
      }
    }
  });

  forEachIn(schema.nameTypes(), [&](const char*, const DictionaryInstance* d) {
    const QdIfcDefinedType* w = wrapper(d);
    if (const QdIfcSelectType* s = w ? w->wrappedSelect() : nullptr) {
      out << "select\t" << w->typeName() << '\t' << s->members().size() << '\t';
      bool first = true;
      for (const QdIfcParameterType* m : s->members()) {
        out << (first ? "" : ",") << qdDictionaryName(m);
        first = false;
      }
      out << '\n';
    }
  });

  auto aggregates = [&](const char* key, const DictionaryInstance* d) {
    const QdIfcDefinedType* w = wrapper(d);
    if (const QdIfcAggregationType* a = w ? w->wrappedAggregate() : nullptr)
      out << "aggregate\t" << key << '\t' << a->keyword() << '\t' << boundText(a->lowerBound()) << '\t'
          << boundText(a->upperBound()) << '\t' << qdDictionaryName(a->elementType()) << '\n';
  };
  forEachIn(schema.nameTypes(), aggregates);
  forEachIn(schema.builtInTypes(), aggregates);

  out << "counts\tentities=" << schema.entityTypes().size() << "\tnametypes=" << schema.nameTypes().size()
      << "\tbuiltins=" << schema.builtInTypes().size() << '\n';
}

namespace {

// One leaf member of a select as the select's class holds it: its name, letter and
// type code kind.
struct FlatMember {
  std::string name;
  char letter;
  int code;
};

FlatMember primitiveMember(std::string name, QdTypeCodeKind kind) {
  switch (kind) {
    case kQdTypeInteger: return {std::move(name), 'I', kQdTypeInteger};
    case kQdTypeNumber:
    case kQdTypeReal: return {std::move(name), 'R', kQdTypeReal};
    case kQdTypeBoolean: return {std::move(name), 'B', kQdTypeBoolean};
    case kQdTypeLogical: return {std::move(name), 'L', kQdTypeLogical};
    case kQdTypeBinary: return {std::move(name), 'X', kQdTypeBinary};
    case kQdTypeString: return {std::move(name), 'S', kQdTypeString};
    default: return {std::move(name), '?', kQdTypeNone};
  }
}

// A member that is not a select: an entity, an enumeration, an aggregate defined type,
// or a defined type taken by the primitive its chain of defined types ends in.
FlatMember leafMember(const QdIfcParameterType* m) {
  const QdIfcNameType* n = m ? m->asNameType() : nullptr;
  if (const QdIfcEntityType* e = n ? n->asEntityType() : nullptr) return {e->schemaName(), 'E', kQdTypeEntity};
  if (const QdIfcSimpleType* s = m ? m->asSimpleType() : nullptr)
    return primitiveMember(s->primitiveName(), s->primitiveKind());
  const QdIfcDefinedType* w = n ? n->asDefinedType() : nullptr;
  if (!w) return {qdDictionaryName(m), '?', kQdTypeNone};
  if (w->wrappedEnumeration()) return {w->typeName(), 'N', kQdTypeEnumeration};
  if (w->wrappedAggregate()) return {w->typeName(), 'A', kQdTypeAggregate};
  // Down the chain of simple defined types; a chain longer than the dictionary goes round.
  const DictionaryInstance* u = w->underlyingType();
  for (int steps = 0; u && steps < 1000; ++steps) {
    if (const QdIfcSimpleType* s = u->asSimpleType()) return primitiveMember(w->typeName(), s->primitiveKind());
    const QdIfcNameType* un = u->asNameType();
    const QdIfcDefinedType* ud = un ? un->asDefinedType() : nullptr;
    if (!isSimpleDefinedType(ud)) break;
    u = ud->underlyingType();
  }
  return {w->typeName(), '?', kQdTypeNone};
}

const QdIfcSelectType* selectOf(const QdIfcParameterType* m) {
  const QdIfcNameType* n = m ? m->asNameType() : nullptr;
  if (!n) return nullptr;
  if (const QdIfcSelectType* s = n->asSelectType()) return s;
  const QdIfcDefinedType* w = n->asDefinedType();
  return w ? w->wrappedSelect() : nullptr;
}

// The select class's members: first the members that are not selects, in dictionary
// order; then, for each member that is a select, in that order, its own flattened
// list. A select met again inside itself adds nothing more.
void flattenSelect(const QdIfcSelectType& select, std::vector<const QdIfcSelectType*>& path,
                   std::vector<FlatMember>& out) {
  std::vector<const QdIfcSelectType*> nested;
  for (const QdIfcParameterType* m : select.members()) {
    if (const QdIfcSelectType* inner = selectOf(m)) nested.push_back(inner);
    else out.push_back(leafMember(m));
  }
  path.push_back(&select);
  for (const QdIfcSelectType* inner : nested)
    if (std::find(path.begin(), path.end(), inner) == path.end()) flattenSelect(*inner, path, out);
  path.pop_back();
}

// The C++ type of the member an entity class holds for a value of type t, worked out
// from the dictionary; "?" where the dictionary cannot say.
std::string memberType(const DictionaryInstance* t);

// An aggregate's element as the containers hold it: numbers, strings (BINARY too),
// handles, or the select class.
std::string elementType(const DictionaryInstance* t) {
  std::string m = memberType(t);
  if (m == "QdIfcBoolean" || m == "QdIfcLogical" || m == "QdIfcGUID" || m.rfind("enumeration ", 0) == 0) return "?";
  return m;
}

const QdIfcAggregationType* aggregateOf(const DictionaryInstance* t) {
  if (!t) return nullptr;
  if (const QdIfcAggregationType* a = t->asAggregationType()) return a;
  const QdIfcDefinedType* w = wrapper(t);
  return w ? w->wrappedAggregate() : nullptr;
}

std::string memberType(const DictionaryInstance* t) {
  for (int steps = 0; t && steps < 1000; ++steps) {
    if (const QdIfcSimpleType* s = t->asSimpleType()) {
      switch (s->primitiveKind()) {
        case kQdTypeInteger: return "int";
        case kQdTypeReal:
        case kQdTypeNumber: return "double";
        case kQdTypeBoolean: return "QdIfcBoolean";
        case kQdTypeLogical: return "QdIfcLogical";
        case kQdTypeString:
        case kQdTypeBinary: return "QdAnsiString";
        default: return "?";
      }
    }
    if (const QdIfcAggregationType* a = aggregateOf(t)) {
      if (const QdIfcAggregationType* inner = aggregateOf(a->elementType()))
        return "QdIfcListAggrCompound<QdIfcListAggr<" + elementType(inner->elementType()) + ">>";
      std::string element = elementType(a->elementType());
      const int lower = a->lowerBound() && a->lowerBound()->isSet() ? a->lowerBound()->value() : 0;
      const bool open = !a->upperBound() || !a->upperBound()->isSet();
      const std::string bounds = ", " + std::to_string(lower) + ", " + (open ? "65536" : boundText(a->upperBound()));
      const auto kind = a->aggregationType();
      const char* shape = kind == QdIfcAggregationType::kArray ? "Array"
                          : kind == QdIfcAggregationType::kSet ? "Set"
                                                               : "List";
      // Only LIST [0:?] and SET [0:?] are held unbounded; arrays always keep their bounds.
      std::string name = std::string("QdIfc") + shape;
      if (lower == 0 && open && kind != QdIfcAggregationType::kArray) {
        name += "Aggr<";
      } else {
        name += "AggrBounded<";
        element += bounds;
      }
      return name + element + ">";
    }
    const QdIfcNameType* n = t->asNameType();
    if (!n) break;
    if (n->asEntityType()) return "QdDbObjectId";
    if (n->asSelectType()) return n->typeName();
    if (n->asEnumType()) return std::string("enumeration ") + n->typeName();
    const QdIfcDefinedType* w = n->asDefinedType();
    if (!w) break;
    if (w->wrappedEnumeration()) return std::string("enumeration ") + w->typeName();
    if (w->wrappedSelect()) return w->typeName();
    if (strcasecmp(w->typeName(), "IfcGloballyUniqueId") == 0) return "QdIfcGUID";
    t = w->underlyingType();
  }
  return "?";
}

// What an entity class holds for an attribute: inverses are sets of handles, or one
// handle where the dictionary has no aggregate for them; derived attributes have no member.
std::string memberOf(const QdIfcAttributeDefinition& a) {
  if (a.asDerivedAttributeDefinition()) return "none";
  if (a.asInverseAttributeDefinition()) return aggregateOf(a.type()) ? "QdIfcSetAggr<QdDbObjectId>" : "QdDbObjectId";
  return memberType(a.type());
}

// Whether the class takes the attribute by name. Explicit attributes always; an
// inverse only if the loaded module's class accepts an (empty) set of handles for it.
bool writableByName(const QdIfcAttributeDefinition& a, QdIfcEntityBase* probe) {
  if (a.asExplicitAttributeDefinition()) return true;
  if (!a.asInverseAttributeDefinition() || !probe) return false;
  return probe->putAttr(QdAnsiString(a.name()), QdIfcVariant(QdIfcArray<QdDbObjectId>()));
}

void describeEntity(const QdIfcEntityType& e, std::ostream& out) {
  out << "entity " << e.schemaName() << " (" << e.typeName() << ")\n";
  std::vector<const QdIfcEntityType*> chain;
  for (const QdIfcEntityType* t = &e; t; t = t->supertype()) chain.insert(chain.begin(), t);
  out << "  supertypes: ";
  if (chain.size() == 1) out << "none";
  for (size_t i = 0; i + 1 < chain.size(); ++i) out << (i ? " > " : "") << chain[i]->schemaName();
  out << '\n';
  out << "  attributes (inherited ones marked with their owner):\n";
  // A free instance of the class, to ask which inverses it takes by name.
  std::unique_ptr<QdIfcEntityBase> probe(e.createInstance());
  for (const QdIfcEntityType* t : chain) {
    for (const QdIfcAttributeDefinition* a : t->attributes()) {
      const char* kind = a->asDerivedAttributeDefinition()   ? "derived"
                         : a->asInverseAttributeDefinition() ? "inverse"
                                                             : "explicit";
      out << "    " << a->name() << " : " << qdDictionaryName(a->type()) << "  [" << kind;
      if (const QdIfcInverseAttributeDefinition* v = a->asInverseAttributeDefinition())
        out << " of " << attributeRef(v->inverted()) << ", " << boundText(v->lowerBound()) << ".."
            << boundText(v->upperBound());
      if (const QdIfcDerivedAttributeDefinition* v = a->asDerivedAttributeDefinition(); v && v->redeclared())
        out << ", redeclares " << attributeRef(v->redeclared());
      out << "]  member " << memberOf(*a) << ", " << (writableByName(*a, probe.get()) ? "writable" : "read-only");
      if (t != &e) out << "  (from " << t->schemaName() << ")";
      out << '\n';
    }
  }
}

}  // namespace

bool describeType(const QdIfcSchema& schema, std::string_view name, std::ostream& out) {
  const DictionaryInstance* d = schema.findType(name);
  if (!d) return false;
  const QdIfcNameType* n = d->asNameType();
  if (const QdIfcEntityType* e = n ? n->asEntityType() : nullptr) {
    describeEntity(*e, out);
    return true;
  }
  if (const QdIfcSimpleType* s = d->asSimpleType()) {
    out << "primitive " << s->primitiveName() << '\n';
    return true;
  }
  const QdIfcDefinedType* w = n ? n->asDefinedType() : nullptr;
  if (!w) return false;
  if (const QdIfcEnumerationType* e = w->wrappedEnumeration()) {
    out << "enumeration " << w->typeName() << " (" << e->literalCount() << " literals)\n";
    for (const QdAnsiString& l : e->literals()) out << "  ." << l.constStr() << ".\n";
  } else if (const QdIfcSelectType* s = w->wrappedSelect()) {
    out << "select " << w->typeName() << " (" << s->members().size() << " members)\n";
    for (const QdIfcParameterType* m : s->members()) out << "  " << qdDictionaryName(m) << '\n';
    std::vector<const QdIfcSelectType*> path;
    std::vector<FlatMember> flat;
    flattenSelect(*s, path, flat);
    out << "flattened (" << flat.size() << ")\n";
    for (size_t i = 0; i < flat.size(); ++i)
      out << "  " << i << '\t' << flat[i].name << '\t' << flat[i].letter << '\t' << flat[i].code << '\n';
  } else if (const QdIfcAggregationType* a = w->wrappedAggregate()) {
    out << "aggregate " << w->typeName() << ": " << a->keyword() << " of " << qdDictionaryName(a->elementType())
        << ", bounds " << boundText(a->lowerBound()) << ".." << boundText(a->upperBound()) << '\n';
  } else if (const QdIfcStringType* s = builtInString(w)) {
    out << "built-in " << w->typeName() << ": " << (s->fixed() ? "fixed" : "unfixed") << " string of width "
        << s->width() << '\n';
  } else {
    out << "defined type " << w->typeName();
    for (const DictionaryInstance* u = w->underlyingType(); u;) {
      out << " -> " << qdDictionaryName(u);
      const QdIfcNameType* un = u->asNameType();
      const QdIfcDefinedType* ud = un ? un->asDefinedType() : nullptr;
      u = ud ? ud->underlyingType() : nullptr;
    }
    if (!w->underlyingType()) out << " -> (unresolved)";
    out << '\n';
  }
  return true;
}

}  // namespace qdhost
