// The schema dictionary: the run-time description of a schema's types.
//
// Objects are made with null type pointers; names go into the builder's pending
// tables and one linking step sets the pointers (see QdIfcSchemaBuilder). Every
// look-up by name ignores case. The schema owns the whole dictionary.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdIfcPropertyBase.h>
#include <QdIfcCore/QdTypeCode.h>
#include <QdIfcCore/QdTypes.h>

#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace QD_SDAI {

class QdIfcVariant;
class QdIfcSimpleType;
class QdIfcAggregationType;
class QdIfcNameType;
class QdIfcDefinedType;
class QdIfcEnumerationType;
class QdIfcSelectType;
class QdIfcEntityType;
class QdIfcAttributeDefinition;
class QdIfcExplicitAttributeDefinition;
class QdIfcDerivedAttributeDefinition;
class QdIfcInverseAttributeDefinition;
class QdIfcSchema;
class QdIfcPropertyCollection;
class QdIfcEntityBase;
class QdIfcClassTable;

// Anything a Dictionary can hold.
class QDIFCCORE_API DictionaryInstance : public QdIfcObject {
 public:
  enum ParameterType : int {
    kNoParameterType = 0,
    kSimpleParameter = 1,
    kAggregationParameter = 2,
    kNamedParameter = 3,
  };

  DictionaryInstance() = default;
  DictionaryInstance(const DictionaryInstance&) = delete;
  DictionaryInstance& operator=(const DictionaryInstance&) = delete;

  // Dictionary objects have no attributes readable by name.
  virtual bool getAttr(const QdAnsiString& name, QdIfcVariant& value) const;
  virtual ~DictionaryInstance();
  virtual const QdIfcSimpleType* asSimpleType() const { return nullptr; }
  virtual QdIfcSimpleType* asSimpleType() { return nullptr; }
  virtual const QdIfcAggregationType* asAggregationType() const { return nullptr; }
  virtual QdIfcAggregationType* asAggregationType() { return nullptr; }
  virtual const QdIfcNameType* asNameType() const { return nullptr; }
  virtual QdIfcNameType* asNameType() { return nullptr; }
  virtual ParameterType paramType() const { return kNoParameterType; }
};

// One bound of an aggregate: a number, or unset ("?" or a bound the schema computes).
class QDIFCCORE_API QdIfcIntegerBound : public DictionaryInstance {
 public:
  QdIfcIntegerBound() = default;
  explicit QdIfcIntegerBound(int value) : m_value(value), m_set(true) {}
  ~QdIfcIntegerBound() override;
  bool isSet() const noexcept { return m_set; }
  int value() const noexcept { return m_value; }

 private:
  int m_value = 0;
  bool m_set = false;
};

// Anything that can type a parameter. It may carry a type code.
class QDIFCCORE_API QdIfcParameterType : public DictionaryInstance {
 public:
  ~QdIfcParameterType() override;
  // Takes the type code over.
  virtual void type(QdTypeCode* typeCode);
  virtual const QdTypeCode* type() const;

 protected:
  std::unique_ptr<QdTypeCode> m_typeCode;
};

// A primitive type: integer, real, boolean, logical, string or binary.
class QDIFCCORE_API QdIfcSimpleType : public QdIfcParameterType {
 public:
  explicit QdIfcSimpleType(QdTypeCodeKind primitive) : m_primitive(primitive) {}
  ~QdIfcSimpleType() override;
  const QdIfcSimpleType* asSimpleType() const override { return this; }
  QdIfcSimpleType* asSimpleType() override { return this; }
  ParameterType paramType() const override { return kSimpleParameter; }

  QdTypeCodeKind primitiveKind() const noexcept { return m_primitive; }
  // "integer", "real", "boolean", "logical", "string", "binary" (or "number").
  const char* primitiveName() const noexcept;

 private:
  QdTypeCodeKind m_primitive;
};

// A string or binary type with a width; fixed means every value has that width.
class QDIFCCORE_API QdIfcStringType : public QdIfcSimpleType {
 public:
  QdIfcStringType(bool fixed, int width) : QdIfcSimpleType(kQdTypeString), m_fixed(fixed), m_width(width) {}
  ~QdIfcStringType() override;
  bool fixed() const noexcept { return m_fixed; }
  int width() const noexcept { return m_width; }

 private:
  bool m_fixed;
  int m_width;
};

// An aggregate: element type and two bounds.
class QDIFCCORE_API QdIfcAggregationType : public QdIfcParameterType {
 public:
  enum eAggregationType : int { kList = 0, kSet = 1, kArray = 2, kBag = 3 };

  // Takes the two bounds over; either may be null (then unset).
  QdIfcAggregationType(QdIfcParameterType* element, QdIfcIntegerBound* lower, QdIfcIntegerBound* upper);
  ~QdIfcAggregationType() override;
  const QdIfcAggregationType* asAggregationType() const override { return this; }
  QdIfcAggregationType* asAggregationType() override { return this; }
  ParameterType paramType() const override { return kAggregationParameter; }
  virtual eAggregationType aggregationType() const = 0;

  const QdIfcParameterType* elementType() const noexcept { return m_element; }
  void setElementType(const QdIfcParameterType* element) noexcept { m_element = element; }
  const QdIfcIntegerBound* lowerBound() const noexcept { return m_lower.get(); }
  const QdIfcIntegerBound* upperBound() const noexcept { return m_upper.get(); }
  // "list", "set", "array" or "bag".
  const char* keyword() const noexcept;

 private:
  const QdIfcParameterType* m_element;
  std::unique_ptr<QdIfcIntegerBound> m_lower, m_upper;
};

class QDIFCCORE_API QdIfcListType : public QdIfcAggregationType {
 public:
  QdIfcListType(QdIfcParameterType* element, QdIfcIntegerBound* lower, QdIfcIntegerBound* upper, bool unique)
      : QdIfcAggregationType(element, lower, upper), m_unique(unique) {}
  ~QdIfcListType() override;
  eAggregationType aggregationType() const override { return kList; }
  bool unique() const noexcept { return m_unique; }

 private:
  bool m_unique;
};

class QDIFCCORE_API QdIfcSetType : public QdIfcAggregationType {
 public:
  QdIfcSetType(QdIfcParameterType* element, QdIfcIntegerBound* lower, QdIfcIntegerBound* upper)
      : QdIfcAggregationType(element, lower, upper) {}
  ~QdIfcSetType() override;
  eAggregationType aggregationType() const override { return kSet; }
};

class QDIFCCORE_API QdIfcArrayType : public QdIfcAggregationType {
 public:
  QdIfcArrayType(QdIfcParameterType* element, QdIfcIntegerBound* lower, QdIfcIntegerBound* upper, bool optional,
                 bool unique)
      : QdIfcAggregationType(element, lower, upper), m_optional(optional), m_unique(unique) {}
  ~QdIfcArrayType() override;
  eAggregationType aggregationType() const override { return kArray; }
  bool optionalElements() const noexcept { return m_optional; }
  bool unique() const noexcept { return m_unique; }

 private:
  bool m_optional, m_unique;
};

// A named type.
class QDIFCCORE_API QdIfcNameType : public QdIfcParameterType {
 public:
  enum NameTypeKind : int { kNameType = 0, kDefinedType = 1, kEnumerationType = 2, kSelectType = 3, kEntityType = 4 };

  explicit QdIfcNameType(const char* name) : m_name(name) {}
  ~QdIfcNameType() override;
  const QdIfcNameType* asNameType() const override { return this; }
  QdIfcNameType* asNameType() override { return this; }
  ParameterType paramType() const override { return kNamedParameter; }
  virtual const char* typeName() const { return m_name.constStr(); }
  virtual NameTypeKind nameTypeKindType() const { return kNameType; }
  virtual const QdIfcEnumerationType* asEnumType() const { return nullptr; }
  virtual const QdIfcDefinedType* asDefinedType() const { return nullptr; }
  virtual const QdIfcEntityType* asEntityType() const { return nullptr; }
  virtual const QdIfcSelectType* asSelectType() const { return nullptr; }

 protected:
  QdAnsiString m_name;
};

// A named wrapper around an underlying type. An underlying type given to the
// constructor belongs to the wrapper; one set later by linking does not.
class QDIFCCORE_API QdIfcDefinedType : public QdIfcNameType {
 public:
  QdIfcDefinedType(const char* name, DictionaryInstance* underlying, bool flag);
  ~QdIfcDefinedType() override;
  void type(QdTypeCode* typeCode) override;
  // The wrapper's own type code, or else that of its underlying type.
  const QdTypeCode* type() const override;
  NameTypeKind nameTypeKindType() const override { return kDefinedType; }
  const QdIfcDefinedType* asDefinedType() const override { return this; }
  virtual QdIfcDefinedType* asDefinedType() { return this; }

  const DictionaryInstance* underlyingType() const noexcept { return m_underlying; }
  void setUnderlyingType(const DictionaryInstance* underlying) noexcept { m_underlying = underlying; }
  bool flag() const noexcept { return m_flag; }
  // The underlying object if it is an enumeration, select or aggregate wrapped here.
  const QdIfcEnumerationType* wrappedEnumeration() const noexcept;
  const QdIfcSelectType* wrappedSelect() const noexcept;
  const QdIfcAggregationType* wrappedAggregate() const noexcept;

 private:
  const DictionaryInstance* m_underlying;
  bool m_owns;
  bool m_flag;
};

// An enumeration: its type code (kind 15: the name, then each literal) and its literals.
class QDIFCCORE_API QdIfcEnumerationType : public QdIfcNameType {
 public:
  QdIfcEnumerationType(QdTypeCode* typeCode, const std::list<QdAnsiString>& literals);
  ~QdIfcEnumerationType() override;
  NameTypeKind nameTypeKindType() const override { return kEnumerationType; }
  const QdIfcEnumerationType* asEnumType() const override { return this; }

  const std::list<QdAnsiString>& literals() const noexcept { return m_literals; }
  int literalCount() const noexcept { return static_cast<int>(m_literals.size()); }
  // Position of a literal (case ignored), or -1.
  int literalIndex(const char* literal) const noexcept;

 private:
  std::list<QdAnsiString> m_literals;
};

// A select: its type code (kind 14: the name) and, after linking, its member types.
class QDIFCCORE_API QdIfcSelectType : public QdIfcNameType {
 public:
  explicit QdIfcSelectType(QdTypeCode* typeCode);
  ~QdIfcSelectType() override;
  const QdTypeCode* type() const override;
  NameTypeKind nameTypeKindType() const override { return kSelectType; }
  const QdIfcSelectType* asSelectType() const override { return this; }

  const std::vector<const QdIfcParameterType*>& members() const noexcept { return m_members; }
  void addMember(const QdIfcParameterType* member) { m_members.push_back(member); }

 private:
  std::vector<const QdIfcParameterType*> m_members;
};

using QdIfcEntityFactory = QdIfcEntityBase* (*)();
using QdIfcPropertyBuilder = void (*)(QdIfcPropertyCollection*, const QdIfcEntityType*);

// An entity type: its name in capitals, factory, property builder, supertype and own
// attributes in order. Inherited attributes are reached through the supertype.
class QDIFCCORE_API QdIfcEntityType : public QdIfcNameType {
 public:
  // Makes the type, stores it in slot before returning, and gives it to the schema.
  static QdIfcEntityType* createEntityType(QdIfcSchema* schema, const char* name, bool flag, QdIfcEntityFactory factory,
                                           QdIfcPropertyBuilder propertyBuilder, QdIfcEntityType*& slot,
                                           const QdIfcEntityType* supertype);
  // The same for a class with an attribute table: the factory, the slot and the
  // supertype (the type of the supertype's table) are the table's.
  static QdIfcEntityType* createEntityType(QdIfcSchema* schema, const char* name, bool flag,
                                           const QdIfcClassTable& table, QdIfcPropertyBuilder propertyBuilder);
  ~QdIfcEntityType() override;
  NameTypeKind nameTypeKindType() const override { return kEntityType; }
  const QdIfcEntityType* asEntityType() const override { return this; }

  // Appends at the end and takes the definition over.
  void appendAttribute(QdIfcAttributeDefinition* attribute);

  const QdIfcSchema* schema() const noexcept { return m_schema; }
  const QdIfcEntityType* supertype() const noexcept { return m_supertype; }
  bool flag() const noexcept { return m_flag; }
  // An abstract type has instances only as instances of its subtypes.
  bool isAbstract() const noexcept { return m_abstract; }
  void setAbstract(bool abstract) noexcept { m_abstract = abstract; }
  QdIfcEntityFactory factory() const noexcept { return m_factory; }
  QdIfcPropertyBuilder propertyBuilder() const noexcept { return m_propertyBuilder; }
  // A new, default-constructed instance of the type's class, or null without a factory.
  QdIfcEntityBase* createInstance() const { return m_factory ? m_factory() : nullptr; }
  // The schema's mixed-case spelling, from the type code ("IfcWall"); the
  // capitals name where there is no type code.
  const char* schemaName() const noexcept;

  // Own attributes, in append order.
  int attributeCount() const noexcept { return static_cast<int>(m_attributes.size()); }
  const QdIfcAttributeDefinition* attribute(int index) const noexcept;
  const std::vector<QdIfcAttributeDefinition*>& attributes() const noexcept { return m_attributes; }
  // An own attribute by name, case ignored; null if there is none.
  const QdIfcAttributeDefinition* findOwnAttribute(std::string_view name) const noexcept;
  // Own or inherited, nearest first.
  const QdIfcAttributeDefinition* findAttribute(std::string_view name) const noexcept;
  // All attributes, the root's first, in the order of a file's parameter list.
  std::vector<const QdIfcAttributeDefinition*> allAttributes() const;

  // True when type is this type or one of its supertypes. Within a schema that has
  // numbered its types, one comparison of places in the type tree.
  bool isSubtypeOf(const QdIfcEntityType* type) const noexcept;
  // Number of supertypes above this type.
  int depth() const noexcept;
  // The type's place in a pre-order walk of its schema's type tree, and the last place
  // in its subtree; -1 until the schema numbers its types (QdIfcSchema::numberEntityTypes).
  int treeIndex() const noexcept { return m_treeIndex; }
  int treeEnd() const noexcept { return m_treeEnd; }

  // The attribute table of the type's class, or null for a class without one.
  const QdIfcClassTable* classTable() const noexcept { return m_classTable; }

  // The property objects of the own attributes, made by the property builder when
  // the type was created. Inherited attributes are in the supertypes' collections.
  const QdIfcPropertyCollection& properties() const noexcept { return m_properties; }

 private:
  QdIfcEntityType(QdIfcSchema* schema, const char* name, bool flag, QdIfcEntityFactory factory,
                  QdIfcPropertyBuilder propertyBuilder, const QdIfcEntityType* supertype);
  static QdIfcEntityType* create(QdIfcSchema* schema, const char* name, bool flag, QdIfcEntityFactory factory,
                                 QdIfcPropertyBuilder propertyBuilder, QdIfcEntityType*& slot,
                                 const QdIfcEntityType* supertype, const QdIfcClassTable* table);

  friend class QdIfcSchema;
  QdIfcSchema* m_schema;
  bool m_flag;
  bool m_abstract = false;
  QdIfcEntityFactory m_factory;
  QdIfcPropertyBuilder m_propertyBuilder;
  const QdIfcEntityType* m_supertype;
  std::vector<QdIfcAttributeDefinition*> m_attributes;
  const QdIfcClassTable* m_classTable = nullptr;
  int m_treeIndex = -1, m_treeEnd = -1;
  QdIfcPropertyCollection m_properties;
};

// An attribute of an entity type.
class QDIFCCORE_API QdIfcAttributeDefinition : public QdIfcObject {
 public:
  explicit QdIfcAttributeDefinition(const char* name, const QdIfcParameterType* type) : m_name(name), m_type(type) {}
  QdIfcAttributeDefinition(const QdIfcAttributeDefinition&) = delete;
  QdIfcAttributeDefinition& operator=(const QdIfcAttributeDefinition&) = delete;

  virtual bool getAttr(const QdAnsiString& name, QdIfcVariant& value) const;
  virtual ~QdIfcAttributeDefinition();
  virtual const QdIfcExplicitAttributeDefinition* asExplicitAttributeDefinition() const { return nullptr; }
  virtual const QdIfcDerivedAttributeDefinition* asDerivedAttributeDefinition() const { return nullptr; }
  virtual const QdIfcInverseAttributeDefinition* asInverseAttributeDefinition() const { return nullptr; }

  const char* name() const noexcept { return m_name.constStr(); }
  // The attribute's type; null until linking, and where a name did not resolve.
  const QdIfcParameterType* type() const noexcept { return m_type; }
  void setType(const QdIfcParameterType* type) noexcept { m_type = type; }
  // The entity type the attribute was appended to.
  const QdIfcEntityType* owner() const noexcept { return m_owner; }

 private:
  friend class QdIfcEntityType;
  QdAnsiString m_name;
  const QdIfcParameterType* m_type;
  const QdIfcEntityType* m_owner = nullptr;
};

class QDIFCCORE_API QdIfcExplicitAttributeDefinition : public QdIfcAttributeDefinition {
 public:
  QdIfcExplicitAttributeDefinition(const char* name, const QdIfcParameterType* type, bool flag)
      : QdIfcAttributeDefinition(name, type), m_flag(flag) {}
  ~QdIfcExplicitAttributeDefinition() override;
  const QdIfcExplicitAttributeDefinition* asExplicitAttributeDefinition() const override { return this; }
  bool flag() const noexcept { return m_flag; }
  // The schema lets the attribute be unset. Set by the schema module's builder; a
  // check of a model reports the others when they are unset.
  bool optional() const noexcept { return m_optional; }
  void setOptional(bool optional) noexcept { m_optional = optional; }

 private:
  bool m_flag;
  bool m_optional = false;
};

class QDIFCCORE_API QdIfcDerivedAttributeDefinition : public QdIfcAttributeDefinition {
 public:
  QdIfcDerivedAttributeDefinition(const char* name, const QdIfcParameterType* type,
                                  const QdIfcAttributeDefinition* redeclared)
      : QdIfcAttributeDefinition(name, type), m_redeclared(redeclared) {}
  ~QdIfcDerivedAttributeDefinition() override;
  const QdIfcDerivedAttributeDefinition* asDerivedAttributeDefinition() const override { return this; }
  // The supertype's explicit attribute that this one redeclares as derived, or null.
  const QdIfcAttributeDefinition* redeclared() const noexcept { return m_redeclared; }
  void setRedeclared(const QdIfcAttributeDefinition* attribute) noexcept { m_redeclared = attribute; }

 private:
  const QdIfcAttributeDefinition* m_redeclared;
};

class QDIFCCORE_API QdIfcInverseAttributeDefinition : public QdIfcAttributeDefinition {
 public:
  QdIfcInverseAttributeDefinition(const char* name, QdIfcEntityType* entity, const QdIfcParameterType* type,
                                  const QdIfcAttributeDefinition* inverted, int lower, int upper, bool flag)
      : QdIfcAttributeDefinition(name, type),
        m_entity(entity),
        m_inverted(inverted),
        m_lower(lower),
        m_upper(upper),
        m_flag(flag) {}
  ~QdIfcInverseAttributeDefinition() override;
  const QdIfcInverseAttributeDefinition* asInverseAttributeDefinition() const override { return this; }

  const QdIfcEntityType* entity() const noexcept { return m_entity; }
  // The attribute of the target entity that this one is the inverse of, or null.
  const QdIfcAttributeDefinition* inverted() const noexcept { return m_inverted; }
  void setInverted(const QdIfcAttributeDefinition* attribute) noexcept { m_inverted = attribute; }
  // Bounds as plain numbers; Consts::QdIntUnset where unset.
  int lowerBound() const noexcept { return m_lower; }
  int upperBound() const noexcept { return m_upper; }
  bool flag() const noexcept { return m_flag; }

 private:
  const QdIfcEntityType* m_entity;
  const QdIfcAttributeDefinition* m_inverted;
  int m_lower, m_upper;
  bool m_flag;
};

}  // namespace QD_SDAI

// A name-to-instance index, case ignored, that remembers the order of insertion.
// It does not own what it holds.
class QDIFCCORE_API Dictionary {
 public:
  Dictionary();
  ~Dictionary();
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;

  // Stores the pointer under the key. A key that is there already (case ignored)
  // keeps its first value, and the call answers false.
  bool putAt(const char* key, QD_SDAI::DictionaryInstance* value);
  QD_SDAI::DictionaryInstance* find(std::string_view key) const noexcept;
  bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }

  int size() const noexcept { return static_cast<int>(m_entries.size()); }
  // Entries in the order they were put.
  const char* keyAt(int index) const noexcept { return m_entries[static_cast<size_t>(index)].key.c_str(); }
  QD_SDAI::DictionaryInstance* valueAt(int index) const noexcept { return m_entries[static_cast<size_t>(index)].value; }

 private:
  struct Entry {
    std::string key;
    QD_SDAI::DictionaryInstance* value;
  };
  struct NoCaseHash {
    using is_transparent = void;
    size_t operator()(std::string_view s) const noexcept;
  };
  struct NoCaseEqual {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const noexcept;
  };
  std::vector<Entry> m_entries;
  std::unordered_map<std::string, int, NoCaseHash, NoCaseEqual> m_index;
};

namespace QD_SDAI {

using IfcSchemaMajorVersion = int;
using IfcSchemaMinorVersion = int;

// The whole dictionary of one schema. It owns every type, attribute definition,
// bound and type code put into it.
class QDIFCCORE_API QdIfcSchema {
 public:
  QdIfcSchema();
  virtual ~QdIfcSchema();
  QdIfcSchema(const QdIfcSchema&) = delete;
  QdIfcSchema& operator=(const QdIfcSchema&) = delete;

  const char* name() const noexcept { return m_name.constStr(); }
  void setName(const char* name) { m_name = name; }
  IfcSchemaMajorVersion majorVersion() const noexcept { return m_major; }
  IfcSchemaMinorVersion minorVersion() const noexcept { return m_minor; }
  void setVersion(IfcSchemaMajorVersion major, IfcSchemaMinorVersion minor) noexcept {
    m_major = major;
    m_minor = minor;
  }

  // Entity types under their names in capitals.
  Dictionary& entityTypes() noexcept { return m_entityTypes; }
  const Dictionary& entityTypes() const noexcept { return m_entityTypes; }
  // Defined types, enumerations, selects and named aggregates.
  Dictionary& nameTypes() noexcept { return m_nameTypes; }
  const Dictionary& nameTypes() const noexcept { return m_nameTypes; }
  // Built-in types and anonymous aggregates, under their whole text.
  Dictionary& builtInTypes() noexcept { return m_builtInTypes; }
  const Dictionary& builtInTypes() const noexcept { return m_builtInTypes; }

  const QdIfcEntityType* findEntityType(std::string_view name) const noexcept;
  const QdIfcNameType* findNameType(std::string_view name) const noexcept;
  // Any type by name, case ignored: a primitive name, then the three dictionaries.
  const DictionaryInstance* findType(std::string_view name) const noexcept;
  // The primitive of that name ("integer", "real", ...), or null.
  const QdIfcSimpleType* primitive(std::string_view name) const noexcept;
  const QdIfcSimpleType* primitive(QdTypeCodeKind kind) const noexcept;

  // Entity types in creation order.
  const std::vector<QdIfcEntityType*>& entityTypeList() const noexcept { return m_entityTypeList; }
  // Gives every entity type its place in a pre-order walk of the type tree (roots and
  // subtypes in creation order), so that a subtype test is one comparison. Types made
  // afterwards have none until it runs again; tests that involve them walk the chain.
  void numberEntityTypes();

 private:
  friend class QdIfcEntityType;
  QdAnsiString m_name;
  IfcSchemaMajorVersion m_major = 0;
  IfcSchemaMinorVersion m_minor = 0;
  Dictionary m_entityTypes, m_nameTypes, m_builtInTypes;
  std::vector<QdIfcEntityType*> m_entityTypeList;  // owned
  std::vector<std::unique_ptr<QdIfcSimpleType>> m_primitives;
};

// The name by which a dictionary object is shown: a named type's name, an
// aggregate's key (through its wrapper), a primitive's lower-case name; "-" for null.
QDIFCCORE_API std::string qdDictionaryName(const DictionaryInstance* type);

}  // namespace QD_SDAI
