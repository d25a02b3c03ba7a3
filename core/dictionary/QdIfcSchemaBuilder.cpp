#include <QdIfcCore/QdIfcSchemaBuilder.h>

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/QdIfcClassTable.h>

#include <cctype>
#include <span>
#include <string>

namespace QD_SDAI {

QdIfcSchemaBuilder::QdIfcSchemaBuilder(QdIfcSchema* schema, const QdAnsiString& name)
    : mSchema(schema),
      mEntityTypes(&schema->entityTypes()),
      mNameTypes(&schema->nameTypes()),
      mBuiltInTypes(&schema->builtInTypes()),
      m_name(name) {}

QdIfcSchemaBuilder::~QdIfcSchemaBuilder() = default;

void QdIfcSchemaBuilder::initSchemaVersion(IfcSchemaMajorVersion major, IfcSchemaMinorVersion minor) {
  mSchema->setVersion(major, minor);
}

void QdIfcSchemaBuilder::build() {
  mSchema->setName(m_name.constStr());
  m_unresolved.clear();
  defineSchema();
  resolve();
  mSchema->numberEntityTypes();
}

const DictionaryInstance* QdIfcSchemaBuilder::lookUp(std::string_view name) const {
  // Primitives first; then the three dictionaries, where no name stands twice.
  return mSchema->findType(name);
}

const QdIfcParameterType* QdIfcSchemaBuilder::lookUpParameterType(std::string_view name) const {
  const DictionaryInstance* d = lookUp(name);
  if (!d) return nullptr;
  if (const QdIfcNameType* n = d->asNameType()) return n;
  if (const QdIfcSimpleType* s = d->asSimpleType()) return s;
  if (const QdIfcAggregationType* a = d->asAggregationType()) return a;
  return nullptr;
}

void QdIfcSchemaBuilder::unresolved(const char* what, std::string_view name) {
  m_unresolved.push_back(std::string(what) + ": " + std::string(name));
}

namespace {
// The text after the first underscore: "ifcedge_edgestart" names "edgestart".
std::string_view afterUnderscore(std::string_view name) {
  size_t at = name.find('_');
  return at == std::string_view::npos ? name : name.substr(at + 1);
}
}  // namespace

void QdIfcSchemaBuilder::resolve() {
  for (auto& [defined, name] : mPendingDefinedTypes) {
    const DictionaryInstance* t = lookUp(name.view());
    if (t) defined->setUnderlyingType(t);
    else unresolved(defined->typeName(), name.view());
  }

  for (auto& [aggregate, name] : mPendingAggregationTypes) {
    const QdIfcParameterType* t = lookUpParameterType(name.view());
    if (t) aggregate->setElementType(t);
    else unresolved("aggregate element", name.view());
  }

  for (auto& [select, members] : mPendingSelectTypes) {
    for (const QdAnsiString& member : members) {
      const QdIfcParameterType* t = lookUpParameterType(member.view());
      if (t) select->addMember(t);
      else unresolved(select->typeName(), member.view());
    }
  }

  for (auto& [attribute, name] : mPendingExplicitAttributes) {
    const QdIfcParameterType* t = lookUpParameterType(name.view());
    if (t) attribute->setType(t);
    else unresolved(attribute->name(), name.view());
  }

  for (auto& [attribute, info] : mPendingDerivedAttributes) {
    const QdIfcParameterType* t = lookUpParameterType(info.type.view());
    if (t) attribute->setType(t);
    else unresolved(attribute->name(), info.type.view());
    if (!info.redeclares.isEmpty()) {
      auto* derived = static_cast<QdIfcDerivedAttributeDefinition*>(attribute);
      const QdIfcEntityType* entity = mSchema->findEntityType(info.redeclares.view());
      const QdIfcAttributeDefinition* redeclared =
          entity ? entity->findOwnAttribute(afterUnderscore(attribute->name())) : nullptr;
      if (redeclared && attribute->asDerivedAttributeDefinition()) derived->setRedeclared(redeclared);
      else unresolved(attribute->name(), info.redeclares.view());
    }
  }

  for (auto& [attribute, info] : mPendingInverseAttributes) {
    // A single reference names no target entity: it keeps a null type and inverse.
    if (info.target.isEmpty()) continue;
    auto* inverse = const_cast<QdIfcInverseAttributeDefinition*>(attribute->asInverseAttributeDefinition());
    const QdIfcEntityType* target = mSchema->findEntityType(info.target.view());
    if (!inverse || !target) {
      unresolved(attribute->name(), info.target.view());
      continue;
    }
    if (const QdIfcAttributeDefinition* inverted = target->findOwnAttribute(info.attribute.view()))
      inverse->setInverted(inverted);
    else unresolved(attribute->name(), info.attribute.view());
    // The type is the set aggregate of the target under its schema spelling.
    auto bound = [](int b) { return b == Consts::QdIntUnset ? std::string("?") : std::to_string(b); };
    std::string key =
        "set [" + bound(inverse->lowerBound()) + ":" + bound(inverse->upperBound()) + "] of " + target->schemaName();
    if (const QdIfcParameterType* t = lookUpParameterType(key)) attribute->setType(t);
    else unresolved(attribute->name(), key);
  }
}

}  // namespace QD_SDAI

namespace QD_SDAI {

void QdIfcSchemaBuilder::defineBuiltInStringType(const char* key, bool fixed, int width) {
  auto* stringType = new QdIfcStringType(fixed, width);
  auto* wrapper = new QdIfcDefinedType(key, stringType, true);
  mBuiltInTypes->putAt(key, wrapper);
}

void QdIfcSchemaBuilder::defineSimpleType(const char* name, const char* underlying) {
  auto* definedType = new QdIfcDefinedType(name, nullptr, true);
  mNameTypes->putAt(name, definedType);
  mPendingDefinedTypes[definedType] = underlying;
}

void QdIfcSchemaBuilder::defineAggregateType(const char* key, QdIfcAggregationType::eAggregationType kind, int lower,
                                             int upper, const char* element, bool named) {
  auto* lowerBound = lower == kUnsetBound ? new QdIfcIntegerBound() : new QdIfcIntegerBound(lower);
  auto* upperBound = upper == kUnsetBound ? new QdIfcIntegerBound() : new QdIfcIntegerBound(upper);
  auto* typeCode = new QdTypeCode(kQdTypeAggregate);
  QdIfcAggregationType* aggregate = nullptr;
  switch (kind) {
    case QdIfcAggregationType::kList: aggregate = new QdIfcListType(nullptr, lowerBound, upperBound, false); break;
    case QdIfcAggregationType::kSet: aggregate = new QdIfcSetType(nullptr, lowerBound, upperBound); break;
    case QdIfcAggregationType::kArray:
    case QdIfcAggregationType::kBag:
      aggregate = new QdIfcArrayType(nullptr, lowerBound, upperBound, false, false);
      break;
  }
  aggregate->type(typeCode);
  auto* wrapper = new QdIfcDefinedType(key, aggregate, true);
  (named ? mNameTypes : mBuiltInTypes)->putAt(key, wrapper);
  mPendingAggregationTypes[aggregate] = element;
}

void QdIfcSchemaBuilder::EnumerationPhase::define(const char* lowerName, std::initializer_list<const char*> literals) {
  auto* typeCode = new QdTypeCode(kQdTypeEnumeration);
  m_any << lowerName;
  typeCode->appendParameter(m_any);
  for (const char* literal : literals) {
    m_literals.push_back(QdAnsiString(literal));
    m_any << literal;
    typeCode->appendParameter(m_any);
  }
  auto* enumeration = new QdIfcEnumerationType(typeCode, m_literals);
  auto* wrapper = new QdIfcDefinedType(lowerName, enumeration, true);
  m_builder.mNameTypes->putAt(lowerName, wrapper);
  m_literals.clear();
}

}  // namespace QD_SDAI

namespace QD_SDAI {

void QdIfcSchemaBuilder::EntityPhase::begin(const char* capsName, const char* schemaName, QdIfcEntityFactory factory,
                                            QdIfcPropertyBuilder propertyBuilder, QdIfcEntityType*& slot,
                                            const QdIfcEntityType* supertype) {
  m_entity =
      QdIfcEntityType::createEntityType(m_builder.mSchema, capsName, true, factory, propertyBuilder, slot, supertype);
  m_schemaName = schemaName;
}

void QdIfcSchemaBuilder::EntityPhase::begin(const char* capsName, const char* schemaName, const QdIfcClassTable& table,
                                            QdIfcPropertyBuilder propertyBuilder) {
  m_entity = QdIfcEntityType::createEntityType(m_builder.mSchema, capsName, true, table, propertyBuilder);
  m_schemaName = schemaName;
}

void QdIfcSchemaBuilder::EntityPhase::explicitAttribute(const char* name, const char* type, bool optional) {
  auto* definition = new QdIfcExplicitAttributeDefinition(name, nullptr, false);
  definition->setOptional(optional);
  m_builder.mPendingExplicitAttributes[definition] = type;
  m_entity->appendAttribute(definition);
}

void QdIfcSchemaBuilder::EntityPhase::derivedAttribute(const char* name, const char* type, const char* redeclares) {
  auto* definition = new QdIfcDerivedAttributeDefinition(name, nullptr, nullptr);
  QdDerivedAttributeInfo& info = m_builder.mPendingDerivedAttributes[definition];
  info.type = type;
  info.redeclares = redeclares;
  info.flag = true;
  m_entity->appendAttribute(definition);
}

void QdIfcSchemaBuilder::EntityPhase::inverseAttribute(const char* name, int lower, int upper, const char* target,
                                                       const char* attribute) {
  auto* definition = new QdIfcInverseAttributeDefinition(name, m_entity, nullptr, nullptr, lower, upper, false);
  QdInverseAttributeInfo& info = m_builder.mPendingInverseAttributes[definition];
  info.target = target;
  info.attribute = attribute;
  m_entity->appendAttribute(definition);
}

void QdIfcSchemaBuilder::EntityPhase::end() {
  auto* typeCode = new QdTypeCode(kQdTypeEntity);
  m_any << m_schemaName;
  typeCode->appendParameter(m_any);
  m_entity->type(typeCode);
  m_builder.mEntityTypes->putAt(m_entity->typeName(), m_entity);
  m_entity = nullptr;
}

void QdIfcSchemaBuilder::EntityPhase::define(const QdIfcEntityFact* entities, std::size_t count,
                                             const QdIfcAttributeFact* attributes) {
  std::string caps;
  for (const QdIfcEntityFact& entity : std::span(entities, count)) {
    const char* name = entity.table->name();
    caps.assign(name);
    for (char& c : caps) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    begin(caps.c_str(), name, *entity.table, entity.propertyBuilder);
    m_entity->setAbstract(entity.abstract);
    for (const QdIfcAttributeFact& a : std::span(attributes, static_cast<std::size_t>(entity.attributeCount))) {
      switch (a.kind) {
        case QdIfcAttributeFact::kExplicit:
        case QdIfcAttributeFact::kOptional:
          explicitAttribute(a.name, a.type, a.kind == QdIfcAttributeFact::kOptional);
          break;
        case QdIfcAttributeFact::kDerived: derivedAttribute(a.name, a.type, a.other); break;
        case QdIfcAttributeFact::kInverse:
          inverseAttribute(a.name, a.lower == QdIfcAttributeFact::kUnsetBound ? Consts::QdIntUnset : a.lower,
                           a.upper == QdIfcAttributeFact::kUnsetBound ? Consts::QdIntUnset : a.upper, a.type, a.other);
          break;
      }
    }
    attributes += entity.attributeCount;
    end();
  }
}

void QdIfcSchemaBuilder::SelectPhase::define(const char* name, std::initializer_list<const char*> members,
                                             QdIfcNameType*& slot) {
  auto* typeCode = new QdTypeCode(kQdTypeSelect);
  m_any << name;
  typeCode->appendParameter(m_any);
  m_members.setPhysicalLength(static_cast<int>(members.size()));
  for (const char* member : members) m_members.append(QdAnsiString(member));
  auto* select = new QdIfcSelectType(typeCode);
  auto* wrapper = new QdIfcDefinedType(name, select, true);
  m_builder.mNameTypes->putAt(name, wrapper);
  m_builder.mPendingSelectTypes[select] = m_members;
  slot = wrapper;
  m_members.setLogicalLength(0);
}

}  // namespace QD_SDAI
