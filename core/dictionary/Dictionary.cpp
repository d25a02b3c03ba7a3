#include <QdIfcCore/Dictionary.h>

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdIfcClassTable.h>

#include <strings.h>
#include <cctype>
#include <unordered_map>
#include <utility>

namespace QD_SDAI {
namespace {

inline unsigned char lower(unsigned char c) noexcept { return (c >= 'A' && c <= 'Z') ? c + 32 : c; }

bool equalNoCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (lower(static_cast<unsigned char>(a[i])) != lower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

const char* nameOfTypeCode(const QdTypeCode* code) noexcept {
  return code && code->parameterCount() > 0 ? code->parameter(0).text().constStr() : "";
}

}  // namespace

// ---- DictionaryInstance and the simple classes ----

bool DictionaryInstance::getAttr(const QdAnsiString&, QdIfcVariant&) const { return false; }
DictionaryInstance::~DictionaryInstance() = default;
QdIfcIntegerBound::~QdIfcIntegerBound() = default;

QdIfcParameterType::~QdIfcParameterType() = default;
void QdIfcParameterType::type(QdTypeCode* typeCode) { m_typeCode.reset(typeCode); }
const QdTypeCode* QdIfcParameterType::type() const { return m_typeCode.get(); }

QdIfcSimpleType::~QdIfcSimpleType() = default;

const char* QdIfcSimpleType::primitiveName() const noexcept {
  switch (m_primitive) {
    case kQdTypeInteger: return "integer";
    case kQdTypeReal: return "real";
    case kQdTypeNumber: return "number";
    case kQdTypeBoolean: return "boolean";
    case kQdTypeLogical: return "logical";
    case kQdTypeBinary: return "binary";
    case kQdTypeString: return "string";
    default: return "";
  }
}

QdIfcStringType::~QdIfcStringType() = default;

QdIfcAggregationType::QdIfcAggregationType(QdIfcParameterType* element, QdIfcIntegerBound* lower,
                                           QdIfcIntegerBound* upper)
    : m_element(element), m_lower(lower), m_upper(upper) {
  if (!m_lower) m_lower = std::make_unique<QdIfcIntegerBound>();
  if (!m_upper) m_upper = std::make_unique<QdIfcIntegerBound>();
}
QdIfcAggregationType::~QdIfcAggregationType() = default;

const char* QdIfcAggregationType::keyword() const noexcept {
  switch (aggregationType()) {
    case kList: return "list";
    case kSet: return "set";
    case kArray: return "array";
    case kBag: return "bag";
  }
  return "";
}

QdIfcListType::~QdIfcListType() = default;
QdIfcSetType::~QdIfcSetType() = default;
QdIfcArrayType::~QdIfcArrayType() = default;

QdIfcNameType::~QdIfcNameType() = default;

// ---- Defined types ----

QdIfcDefinedType::QdIfcDefinedType(const char* name, DictionaryInstance* underlying, bool flag)
    : QdIfcNameType(name), m_underlying(underlying), m_owns(underlying != nullptr), m_flag(flag) {}

QdIfcDefinedType::~QdIfcDefinedType() {
  if (m_owns) delete m_underlying;
}

void QdIfcDefinedType::type(QdTypeCode* typeCode) { m_typeCode.reset(typeCode); }

const QdTypeCode* QdIfcDefinedType::type() const {
  if (m_typeCode) return m_typeCode.get();
  if (!m_underlying) return nullptr;
  if (const QdIfcNameType* n = m_underlying->asNameType()) return n->type();
  if (const QdIfcSimpleType* s = m_underlying->asSimpleType()) return s->type();
  if (const QdIfcAggregationType* a = m_underlying->asAggregationType()) return a->type();
  return nullptr;
}

const QdIfcEnumerationType* QdIfcDefinedType::wrappedEnumeration() const noexcept {
  const QdIfcNameType* n = m_underlying ? m_underlying->asNameType() : nullptr;
  return m_owns && n ? n->asEnumType() : nullptr;
}

const QdIfcSelectType* QdIfcDefinedType::wrappedSelect() const noexcept {
  const QdIfcNameType* n = m_underlying ? m_underlying->asNameType() : nullptr;
  return m_owns && n ? n->asSelectType() : nullptr;
}

const QdIfcAggregationType* QdIfcDefinedType::wrappedAggregate() const noexcept {
  return m_owns && m_underlying ? m_underlying->asAggregationType() : nullptr;
}

// ---- Enumerations and selects ----

QdIfcEnumerationType::QdIfcEnumerationType(QdTypeCode* typeCode, const std::list<QdAnsiString>& literals)
    : QdIfcNameType(nameOfTypeCode(typeCode)), m_literals(literals) {
  m_typeCode.reset(typeCode);
}
QdIfcEnumerationType::~QdIfcEnumerationType() = default;

int QdIfcEnumerationType::literalIndex(const char* literal) const noexcept {
  int i = 0;
  for (const QdAnsiString& l : m_literals) {
    if (l.compareNoCase(literal) == 0) return i;
    ++i;
  }
  return -1;
}

QdIfcSelectType::QdIfcSelectType(QdTypeCode* typeCode) : QdIfcNameType(nameOfTypeCode(typeCode)) {
  m_typeCode.reset(typeCode);
}
QdIfcSelectType::~QdIfcSelectType() = default;
const QdTypeCode* QdIfcSelectType::type() const { return m_typeCode.get(); }

// ---- Entity types ----

QdIfcEntityType::QdIfcEntityType(QdIfcSchema* schema, const char* name, bool flag, QdIfcEntityFactory factory,
                                 QdIfcPropertyBuilder propertyBuilder, const QdIfcEntityType* supertype)
    : QdIfcNameType(name),
      m_schema(schema),
      m_flag(flag),
      m_factory(factory),
      m_propertyBuilder(propertyBuilder),
      m_supertype(supertype) {}

QdIfcEntityType* QdIfcEntityType::create(QdIfcSchema* schema, const char* name, bool flag, QdIfcEntityFactory factory,
                                         QdIfcPropertyBuilder propertyBuilder, QdIfcEntityType*& slot,
                                         const QdIfcEntityType* supertype, const QdIfcClassTable* table) {
  auto* type = new QdIfcEntityType(schema, name, flag, factory, propertyBuilder, supertype);
  type->m_classTable = table;
  if (schema) {
    try {
      schema->m_entityTypeList.push_back(type);
    } catch (...) {
      delete type;
      throw;
    }
  }
  slot = type;
  // The type's property objects are made now, once: they are the same for every model.
  if (propertyBuilder) propertyBuilder(&type->m_properties, type);
  return type;
}

QdIfcEntityType* QdIfcEntityType::createEntityType(QdIfcSchema* schema, const char* name, bool flag,
                                                   QdIfcEntityFactory factory, QdIfcPropertyBuilder propertyBuilder,
                                                   QdIfcEntityType*& slot, const QdIfcEntityType* supertype) {
  return create(schema, name, flag, factory, propertyBuilder, slot, supertype, nullptr);
}

QdIfcEntityType* QdIfcEntityType::createEntityType(QdIfcSchema* schema, const char* name, bool flag,
                                                   const QdIfcClassTable& table, QdIfcPropertyBuilder propertyBuilder) {
  const QdIfcClassTable* super = table.supertype();
  return create(schema, name, flag, table.factory(), propertyBuilder, *table.entityTypeSlot(),
                super ? super->entityType() : nullptr, &table);
}

QdIfcEntityType::~QdIfcEntityType() {
  for (QdIfcAttributeDefinition* a : m_attributes) delete a;
}

void QdIfcEntityType::appendAttribute(QdIfcAttributeDefinition* attribute) {
  if (!attribute) return;
  try {
    m_attributes.push_back(attribute);
  } catch (...) {
    delete attribute;
    throw;
  }
  attribute->m_owner = this;
}

const char* QdIfcEntityType::schemaName() const noexcept {
  const QdTypeCode* code = type();
  return code && code->parameterCount() > 0 ? code->parameter(0).text().constStr() : typeName();
}

const QdIfcAttributeDefinition* QdIfcEntityType::attribute(int index) const noexcept {
  return index >= 0 && index < attributeCount() ? m_attributes[static_cast<size_t>(index)] : nullptr;
}

const QdIfcAttributeDefinition* QdIfcEntityType::findOwnAttribute(std::string_view name) const noexcept {
  for (const QdIfcAttributeDefinition* a : m_attributes)
    if (equalNoCase(a->name(), name)) return a;
  return nullptr;
}

const QdIfcAttributeDefinition* QdIfcEntityType::findAttribute(std::string_view name) const noexcept {
  for (const QdIfcEntityType* t = this; t; t = t->m_supertype)
    if (const QdIfcAttributeDefinition* a = t->findOwnAttribute(name)) return a;
  return nullptr;
}

std::vector<const QdIfcAttributeDefinition*> QdIfcEntityType::allAttributes() const {
  std::vector<const QdIfcAttributeDefinition*> out;
  if (m_supertype) out = m_supertype->allAttributes();
  out.insert(out.end(), m_attributes.begin(), m_attributes.end());
  return out;
}

bool QdIfcEntityType::isSubtypeOf(const QdIfcEntityType* type) const noexcept {
  if (!type) return false;
  if (m_treeIndex >= 0 && type->m_treeIndex >= 0 && m_schema && m_schema == type->m_schema)
    return type->m_treeIndex <= m_treeIndex && m_treeIndex <= type->m_treeEnd;
  for (const QdIfcEntityType* t = this; t; t = t->m_supertype)
    if (t == type) return true;
  return false;
}

int QdIfcEntityType::depth() const noexcept {
  int d = 0;
  for (const QdIfcEntityType* t = m_supertype; t; t = t->m_supertype) ++d;
  return d;
}

// ---- Attribute definitions ----

bool QdIfcAttributeDefinition::getAttr(const QdAnsiString&, QdIfcVariant&) const { return false; }
QdIfcAttributeDefinition::~QdIfcAttributeDefinition() = default;
QdIfcExplicitAttributeDefinition::~QdIfcExplicitAttributeDefinition() = default;
QdIfcDerivedAttributeDefinition::~QdIfcDerivedAttributeDefinition() = default;
QdIfcInverseAttributeDefinition::~QdIfcInverseAttributeDefinition() = default;

// ---- Schema ----

QdIfcSchema::QdIfcSchema() {
  for (QdTypeCodeKind k :
       {kQdTypeInteger, kQdTypeReal, kQdTypeString, kQdTypeLogical, kQdTypeBoolean, kQdTypeBinary, kQdTypeNumber}) {
    auto p = std::make_unique<QdIfcSimpleType>(k);
    p->type(new QdTypeCode(k));
    m_primitives.push_back(std::move(p));
  }
}

QdIfcSchema::~QdIfcSchema() {
  // Entity types first: their attributes point into the other tables but do not own them.
  for (QdIfcEntityType* t : m_entityTypeList) delete t;
  for (Dictionary* d : {&m_nameTypes, &m_builtInTypes})
    for (int i = 0; i < d->size(); ++i) delete d->valueAt(i);
}

void QdIfcSchema::numberEntityTypes() {
  std::unordered_map<const QdIfcEntityType*, std::vector<QdIfcEntityType*>> subtypes;
  std::vector<QdIfcEntityType*> roots;
  for (QdIfcEntityType* t : m_entityTypeList) {
    const QdIfcEntityType* super = t->m_supertype;
    if (super && super->m_schema == this) subtypes[super].push_back(t);
    else roots.push_back(t);
  }
  // Depth first, without recursion: each entry is a type and the next of its subtypes to visit.
  int next = 0;
  std::vector<std::pair<QdIfcEntityType*, size_t>> stack;
  for (QdIfcEntityType* root : roots) {
    root->m_treeIndex = next++;
    stack.emplace_back(root, 0);
    while (!stack.empty()) {
      auto& [type, at] = stack.back();
      auto found = subtypes.find(type);
      if (found != subtypes.end() && at < found->second.size()) {
        QdIfcEntityType* sub = found->second[at++];
        sub->m_treeIndex = next++;
        stack.emplace_back(sub, 0);
      } else {
        type->m_treeEnd = next - 1;
        stack.pop_back();
      }
    }
  }
}

const QdIfcEntityType* QdIfcSchema::findEntityType(std::string_view name) const noexcept {
  const DictionaryInstance* d = m_entityTypes.find(name);
  const QdIfcNameType* n = d ? d->asNameType() : nullptr;
  return n ? n->asEntityType() : nullptr;
}

const QdIfcNameType* QdIfcSchema::findNameType(std::string_view name) const noexcept {
  const DictionaryInstance* d = m_nameTypes.find(name);
  return d ? d->asNameType() : nullptr;
}

const QdIfcSimpleType* QdIfcSchema::primitive(std::string_view name) const noexcept {
  for (const auto& p : m_primitives)
    if (equalNoCase(p->primitiveName(), name)) return p.get();
  return nullptr;
}

const QdIfcSimpleType* QdIfcSchema::primitive(QdTypeCodeKind kind) const noexcept {
  for (const auto& p : m_primitives)
    if (p->primitiveKind() == kind) return p.get();
  return nullptr;
}

const DictionaryInstance* QdIfcSchema::findType(std::string_view name) const noexcept {
  if (const QdIfcSimpleType* p = primitive(name)) return p;
  if (const DictionaryInstance* d = m_builtInTypes.find(name)) return d;
  if (const DictionaryInstance* d = m_nameTypes.find(name)) return d;
  return m_entityTypes.find(name);
}

std::string qdDictionaryName(const DictionaryInstance* type) {
  if (!type) return "-";
  if (const QdIfcNameType* n = type->asNameType()) return n->typeName();
  if (const QdIfcSimpleType* s = type->asSimpleType()) return s->primitiveName();
  if (const QdIfcAggregationType* a = type->asAggregationType()) {
    auto bound = [](const QdIfcIntegerBound* b) { return b && b->isSet() ? std::to_string(b->value()) : "?"; };
    return std::string(a->keyword()) + " [" + bound(a->lowerBound()) + ":" + bound(a->upperBound()) + "] of " +
           (a->elementType() ? qdDictionaryName(a->elementType()) : std::string("-"));
  }
  return "-";
}

}  // namespace QD_SDAI

// ---- Dictionary ----

size_t Dictionary::NoCaseHash::operator()(std::string_view s) const noexcept {
  // FNV-1a over the lower-cased bytes.
  size_t h = 1469598103934665603ull;
  for (unsigned char c : s) {
    h ^= QD_SDAI::lower(c);
    h *= 1099511628211ull;
  }
  return h;
}

bool Dictionary::NoCaseEqual::operator()(std::string_view a, std::string_view b) const noexcept {
  return QD_SDAI::equalNoCase(a, b);
}

Dictionary::Dictionary() = default;
Dictionary::~Dictionary() = default;

bool Dictionary::putAt(const char* key, QD_SDAI::DictionaryInstance* value) {
  if (!key) return false;
  std::string k(key);
  if (m_index.find(std::string_view(k)) != m_index.end()) return false;
  m_entries.push_back({k, value});
  try {
    m_index.emplace(std::move(k), static_cast<int>(m_entries.size() - 1));
  } catch (...) {
    m_entries.pop_back();
    throw;
  }
  return true;
}

QD_SDAI::DictionaryInstance* Dictionary::find(std::string_view key) const noexcept {
  auto it = m_index.find(key);
  return it == m_index.end() ? nullptr : m_entries[static_cast<size_t>(it->second)].value;
}
