// QdIfcSchemaBuilder: fills a schema in phases (the derived class's defineSchema),
// then links every name collected in the pending tables to its type.
#pragma once

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdIfcArray.h>

#include <initializer_list>
#include <list>
#include <map>
#include <string>
#include <vector>

namespace QD_SDAI {

// What a derived attribute is waiting for: its type and, for a redeclaration, the
// supertype whose attribute it redeclares (empty otherwise).
struct QdDerivedAttributeInfo {
  QdAnsiString type;
  QdAnsiString redeclares;
  bool flag = false;
};

// What an inverse attribute is waiting for: the target entity (lower case; may be
// empty) and the target's attribute that it inverts.
struct QdInverseAttributeInfo {
  QdAnsiString target;
  QdAnsiString attribute;
};

// An attribute of an entity type as data, for the entity phase's define().
struct QdIfcAttributeFact {
  static constexpr int kUnsetBound = -1;
  enum Kind : unsigned char { kExplicit, kOptional, kDerived, kInverse };
  Kind kind;  // kOptional: an explicit attribute the schema lets be unset
  const char* name;
  const char* type;         // explicit, derived: the type text; inverse: the target in lower case, or ""
  const char* other = "";   // derived: the supertype it redeclares, or ""; inverse: the forward attribute
  int lower = kUnsetBound;  // inverse: the bounds; kUnsetBound where unset
  int upper = kUnsetBound;
};

// An entity type as data: its class's table (whose name, in capitals, is the type's
// key), its property builder, the number of its own attributes, whether it is abstract.
struct QdIfcEntityFact {
  const QdIfcClassTable* table;
  QdIfcPropertyBuilder propertyBuilder;
  int attributeCount;
  bool abstract = false;
};

class QDIFCCORE_API QdIfcSchemaBuilder {
 public:
  // The name is copied; the caller's string may die right after the call.
  QdIfcSchemaBuilder(QdIfcSchema* schema, const QdAnsiString& name);
  virtual ~QdIfcSchemaBuilder();
  QdIfcSchemaBuilder(const QdIfcSchemaBuilder&) = delete;
  QdIfcSchemaBuilder& operator=(const QdIfcSchemaBuilder&) = delete;

  // Runs defineSchema, then resolves the pending tables and numbers the entity types.
  void build();

  // Names that did not resolve in the last build(), as "what: name" lines. The
  // build goes on without them; this is for tools and tests that want to see them.
  const std::vector<std::string>& unresolvedNames() const noexcept { return m_unresolved; }

 protected:
  virtual void defineSchema() = 0;
  void initSchemaVersion(IfcSchemaMajorVersion major, IfcSchemaMinorVersion minor);

  // Shared steps of the phases. Generated phases are one call per schema fact.
  static constexpr int kUnsetBound = -1;

  // A string type of the given width wrapped in a defined type, put into the
  // built-in table under key.
  void defineBuiltInStringType(const char* key, bool fixed, int width);
  // A defined type over a primitive or another defined type: made with a null
  // underlying type, put under its name, the underlying name left pending.
  void defineSimpleType(const char* name, const char* underlying);
  // An aggregate: bounds (kUnsetBound for "?" and computed bounds), a type code of
  // kind 16, the aggregate, its wrapper under key (the name table for a named
  // aggregate, the built-in table otherwise), and the element name left pending.
  void defineAggregateType(const char* key, QdIfcAggregationType::eAggregationType kind, int lower, int upper,
                           const char* element, bool named);

  // The enumeration phase: one QdAny and one literal list serve every enumeration.
  class QDIFCCORE_API EnumerationPhase {
   public:
    explicit EnumerationPhase(QdIfcSchemaBuilder& builder) : m_builder(builder) {}
    // A type code of kind 15 (the name, then each literal), the enumeration type
    // and its wrapper under the lower-case name.
    void define(const char* lowerName, std::initializer_list<const char*> literals);

   private:
    QdIfcSchemaBuilder& m_builder;
    QdAny m_any;
    std::list<QdAnsiString> m_literals;
  };

  // The entity phase: begin() creates an entity type, the attribute calls append its
  // own attributes in order, end() gives it its type code and puts it in the table.
  class QDIFCCORE_API EntityPhase {
   public:
    explicit EntityPhase(QdIfcSchemaBuilder& builder) : m_builder(builder) {}
    void begin(const char* capsName, const char* schemaName, QdIfcEntityFactory factory,
               QdIfcPropertyBuilder propertyBuilder, QdIfcEntityType*& slot, const QdIfcEntityType* supertype);
    // A type whose class has an attribute table: the factory, the slot and the supertype are the table's.
    void begin(const char* capsName, const char* schemaName, const QdIfcClassTable& table,
               QdIfcPropertyBuilder propertyBuilder);
    // optional: the schema lets the attribute be unset (QdIfcExplicitAttributeDefinition::optional).
    void explicitAttribute(const char* name, const char* type, bool optional = false);
    // redeclares: the supertype whose attribute this one redeclares, or the empty text.
    void derivedAttribute(const char* name, const char* type, const char* redeclares);
    // Bounds as plain numbers, Consts::QdIntUnset where unset; target in lower case, may be empty.
    void inverseAttribute(const char* name, int lower, int upper, const char* target, const char* attribute);
    void end();

    // begin(), the attribute calls and end() for each of count entity types in order;
    // each takes its attributeCount facts from attributes, one after the other.
    void define(const QdIfcEntityFact* entities, std::size_t count, const QdIfcAttributeFact* attributes);

   private:
    QdIfcSchemaBuilder& m_builder;
    QdAny m_any;
    QdIfcEntityType* m_entity = nullptr;
    const char* m_schemaName = nullptr;
  };

  // The select phase: one QdAny and one member array serve every select.
  class QDIFCCORE_API SelectPhase {
   public:
    explicit SelectPhase(QdIfcSchemaBuilder& builder) : m_builder(builder) { m_members.setGrowLength(8); }
    // A type code of kind 14, the select type, its wrapper under the name, the
    // member names left pending, and the wrapper stored in the select class's slot.
    void define(const char* name, std::initializer_list<const char*> members, QdIfcNameType*& slot);

   private:
    QdIfcSchemaBuilder& m_builder;
    QdAny m_any;
    QdIfcArray<QdAnsiString> m_members;
  };

  QdIfcSchema* mSchema;
  Dictionary* mEntityTypes;
  Dictionary* mNameTypes;
  Dictionary* mBuiltInTypes;
  std::map<QdIfcDefinedType*, QdAnsiString> mPendingDefinedTypes;
  std::map<QdIfcAggregationType*, QdAnsiString> mPendingAggregationTypes;
  std::map<QdIfcAttributeDefinition*, QdDerivedAttributeInfo> mPendingDerivedAttributes;
  std::map<QdIfcAttributeDefinition*, QdAnsiString> mPendingExplicitAttributes;
  std::map<QdIfcAttributeDefinition*, QdInverseAttributeInfo> mPendingInverseAttributes;
  std::map<QdIfcSelectType*, QdIfcArray<QdAnsiString>> mPendingSelectTypes;

 private:
  void resolve();
  const DictionaryInstance* lookUp(std::string_view name) const;
  const QdIfcParameterType* lookUpParameterType(std::string_view name) const;
  void unresolved(const char* what, std::string_view name);

  QdAnsiString m_name;
  std::vector<std::string> m_unresolved;
};

}  // namespace QD_SDAI
