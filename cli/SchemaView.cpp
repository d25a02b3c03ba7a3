#include "SchemaView.h"

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>

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

void describeEntity(const QdIfcEntityType& e, std::ostream& out) {
  out << "entity " << e.schemaName() << " (" << e.typeName() << ")\n";
  std::vector<const QdIfcEntityType*> chain;
  for (const QdIfcEntityType* t = &e; t; t = t->supertype()) chain.insert(chain.begin(), t);
  out << "  supertypes: ";
  if (chain.size() == 1) out << "none";
  for (size_t i = 0; i + 1 < chain.size(); ++i) out << (i ? " > " : "") << chain[i]->schemaName();
  out << '\n';
  out << "  attributes (inherited ones marked with their owner):\n";
  for (const QdIfcEntityType* t : chain) {
    for (const QdIfcAttributeDefinition* a : t->attributes()) {
      const char* kind = a->asDerivedAttributeDefinition() ? "derived" : a->asInverseAttributeDefinition() ? "inverse"
                                                                                                          : "explicit";
      out << "    " << a->name() << " : " << qdDictionaryName(a->type()) << "  [" << kind;
      if (const QdIfcInverseAttributeDefinition* v = a->asInverseAttributeDefinition())
        out << " of " << attributeRef(v->inverted()) << ", " << boundText(v->lowerBound()) << ".."
            << boundText(v->upperBound());
      if (const QdIfcDerivedAttributeDefinition* v = a->asDerivedAttributeDefinition(); v && v->redeclared())
        out << ", redeclares " << attributeRef(v->redeclared());
      out << "]";
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
