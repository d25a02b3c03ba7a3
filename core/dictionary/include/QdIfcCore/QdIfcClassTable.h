// QdIfcClassTable: the attribute table of one entity class, and the interpreter that
// serves every operation on attributes from it.
//
// A schema module gives each entity class one static table: a row per attribute of the
// class's own (explicit ones in schema order, then those it redeclares as derived, then
// inverse ones), chained to the supertype's table. A row says where the member lies in
// the object and what it holds; the few member types the core cannot know (a module's
// enumerations, selects, aggregates of its types) bring their rules along in a
// QdIfcMemberClass. Named access, the fields of STEP records, inverse linking and
// validation are all this one interpreter; the classes' virtual operations only forward
// to it with their own table, so a call qualified to a base class starts at that class.
//
// Names are found by one probe of a hash index per class, built on first use from the
// chain: for each name and each of the four named operations, the row that operation
// finds, searching from the class upwards through the supertypes' lists. The lists differ
// by operation: getAttr knows every row, putAttr the explicit rows and the writable
// inverses, testAttr and unsetAttr the explicit rows that are not binaries. A row that
// redeclares an attribute as derived answers getAttr with nothing, and leaves putAttr to
// the supertype that holds the member.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdTypes.h>

#include <atomic>
#include <cstdint>
#include <string_view>

namespace QD_SDAI {

class QdAnsiString;
class QdDbObjectId;
class QdIfcEntityBase;
class QdIfcEntityType;
class QdIfcVariant;
class QdIfcVariantType;
class QdSpfFilerBase;

// What an attribute's member holds.
enum class QdIfcMemberKind : uint8_t {
  kInteger,      // int
  kReal,         // double
  kBoolean,      // QdIfcBoolean
  kLogical,      // QdIfcLogical
  kString,       // QdAnsiString
  kBinary,       // QdAnsiString, neither read from files nor tested by name
  kGuid,         // QdIfcGUID
  kEntity,       // QdDbObjectId
  kEnumeration,  // a module's enumeration class: one int32, the count of literals when unset
  kSelect,       // a module's select class, a QdIfcSelect
  kAggregate,    // a flat aggregate, a QdIfcAggr
  kNested,       // a list of lists, a QdIfcAggr of inner aggregates
};

enum class QdIfcAttrRole : uint8_t {
  kExplicit,
  kRedeclared,  // an inherited explicit attribute the class redeclares as derived
  kInverse,
};

// Marks of a row.
enum QdIfcAttrMark : uint8_t {
  // Explicit: the schema lets the attribute be unset. In a record it may be "$", and an
  // unset value is written so; references take "$" whatever the mark.
  kAttrOptional = 1,
  // Explicit: "$" is taken on reading although the attribute is not optional.
  kAttrReadsUnset = 2,
  // Inverse: putAttr writes it by name.
  kAttrWritable = 4,
  // Inverse: one handle, not a set of them.
  kAttrSingle = 8,
};

// The rules of a member type the core does not know. One per type, shared by its rows.
struct QdIfcMemberClass {
  // The type of what getAttr gives: the enumeration itself, or a pointer to the select
  // or aggregate member as its select class or unbounded aggregate class.
  const QdIfcVariantType& (*handedOut)();
  // Selects: the select class's own type, to which putAttr converts a value.
  const QdIfcVariantType& (*selectType)();
  // Enumerations: the number of literals, which is also the value of UNSET.
  int literalCount;
  // putAttr, and reading and writing a STEP parameter. Null for selects, whose rules
  // are the core's.
  bool (*put)(const QdIfcMemberClass& self, void* member, const QdIfcVariant& value);
  void (*read)(const QdIfcMemberClass& self, void* member, QdSpfFilerBase* filer, bool optional, bool comma);
  void (*write)(const QdIfcMemberClass& self, const void* member, QdSpfFilerBase* filer, bool optional, bool comma);
  // Aggregates of references or selects: calls visit with the handle of each element,
  // in order (null where an element holds none).
  void (*eachHandle)(const void* member, void* context, void (*visit)(void* context, const QdDbObjectId& handle));
  // What the three rules above need besides the member: an enumeration's literal table.
  const void* data;
};

class QdIfcClassTable;

// One candidate target of a forward attribute: a class (tested with isKindOf) and the
// row of its inverse member that receives the forward object's handle.
struct QdIfcInverseLink {
  const QdIfcClassTable* target;
  uint16_t row;
};

// One attribute of one class.
struct QdIfcAttrRow {
  static constexpr int32_t kUnsetBound = -1;

  const char* name;  // as the schema spells it
  uint32_t offset;   // of the member in the object; for a redeclared row, of the supertype's member
  QdIfcMemberKind kind;
  QdIfcAttrRole role;
  uint8_t marks;
  uint8_t linkCount;                    // forward attributes: the number of links
  const QdIfcMemberClass* memberClass;  // enumerations, selects, aggregates, inverse sets
  int32_t lower, upper;                 // aggregates and inverses: bounds, kUnsetBound where unset
  // References and inverses: the slot of the entity type referred to; for an inverse, the
  // type whose forward attribute fills it.
  QdIfcEntityType* const* target;
  const char* inverts;            // inverses: the forward attribute's name
  const QdIfcInverseLink* links;  // forward attributes: the inverse members they fill, in order of test

  bool optional() const noexcept { return marks & kAttrOptional; }
};

// The named operations, each with its own list of names.
enum class QdIfcAttrOp : uint8_t { kGet, kPut, kTest, kUnset };

class QDIFCCORE_API QdIfcClassTable {
 public:
  using Factory = QdIfcEntityBase* (*)();

  constexpr QdIfcClassTable(const char* scope, const char* name, const QdIfcClassTable* supertype,
                            const QdIfcAttrRow* rows, int count, QdIfcEntityType** type, Factory factory) noexcept
      : m_scope(scope),
        m_name(name),
        m_supertype(supertype),
        m_rows(rows),
        m_count(count),
        m_type(type),
        m_factory(factory) {}
  QdIfcClassTable(const QdIfcClassTable&) = delete;
  QdIfcClassTable& operator=(const QdIfcClassTable&) = delete;
  ~QdIfcClassTable();

  // The class: "IFC4" and "IfcWall".
  const char* scope() const noexcept { return m_scope; }
  const char* name() const noexcept { return m_name; }
  const QdIfcClassTable* supertype() const noexcept { return m_supertype; }
  // The class's g_pEntityType slot, read at each use: the type of the current start of the module.
  QdIfcEntityType* entityType() const noexcept { return *m_type; }
  QdIfcEntityType** entityTypeSlot() const noexcept { return m_type; }
  Factory factory() const noexcept { return m_factory; }

  // The class's own rows.
  int count() const noexcept { return m_count; }
  const QdIfcAttrRow& row(int index) const noexcept { return m_rows[index]; }
  const QdIfcAttrRow* begin() const noexcept { return m_rows; }
  const QdIfcAttrRow* end() const noexcept { return m_rows + m_count; }

  // ---- named access, as the classes' virtual operations give it ----
  // Each tests the model's access mode first (190 from reading where access is not
  // defined, 180 from writing a model that is not read-write), naming this class's
  // operation. A name no row of the chain has: false, with value untouched.
  bool getAttr(const QdIfcEntityBase* self, const QdAnsiString& name, QdIfcVariant& value) const;
  bool putAttr(QdIfcEntityBase* self, const QdAnsiString& name, const QdIfcVariant& value) const;
  bool testAttr(const QdIfcEntityBase* self, const QdAnsiString& name) const;
  void unsetAttr(QdIfcEntityBase* self, const QdAnsiString& name) const;

  // ---- by row, for the toolkit ----
  // The row an operation finds for a name, searching from this class up; null if none.
  const QdIfcAttrRow* find(QdIfcAttrOp op, std::string_view name) const;
  // The same operations on a row found so, with the same access test and answers.
  bool getAttr(const QdIfcEntityBase* self, const QdIfcAttrRow& row, QdIfcVariant& value) const;
  bool putAttr(QdIfcEntityBase* self, const QdIfcAttrRow& row, const QdIfcVariant& value) const;
  bool testAttr(const QdIfcEntityBase* self, const QdIfcAttrRow& row) const;
  // The access test alone, as the operation makes it: for the toolkit's own readers,
  // which then go to the member directly.
  void checkAccess(const QdIfcEntityBase* self, QdIfcAttrOp op) const;

  // ---- STEP records and inverse links ----
  // The parameters of the object's record, the supertypes' first; "*" in the places
  // the class (or the nearest supertype that does) redeclares as derived.
  QD::ErrorStatus inFields(QdIfcEntityBase* self, QdSpfFilerBase* filer) const;
  QD::ErrorStatus outFields(const QdIfcEntityBase* self, QdSpfFilerBase* filer) const;
  // Hands the object's handle to the inverse members its forward attributes fill, the
  // supertypes' attributes first.
  void setInverseCounterParts(QdIfcEntityBase* self) const;

  // ---- what the entity base needs of a row, without the access test ----
  static bool isSet(const QdIfcEntityBase* self, const QdIfcAttrRow& row);
  // The member of a row in an object.
  static const void* member(const QdIfcEntityBase* self, const QdIfcAttrRow& row) noexcept {
    return reinterpret_cast<const char*>(self) + row.offset;
  }
  static void* member(QdIfcEntityBase* self, const QdIfcAttrRow& row) noexcept {
    return reinterpret_cast<char*>(self) + row.offset;
  }

  struct Index;

 private:
  // Built on first use; afterwards one load.
  const Index& index() const {
    if (const Index* ix = m_index.load(std::memory_order_acquire)) return *ix;
    return buildIndex();
  }
  const Index& buildIndex() const;
  [[noreturn]] void throwAccess(unsigned code, const char* operation) const;
  void checkRead(const QdIfcEntityBase* self, const char* operation) const;
  void checkWrite(const QdIfcEntityBase* self, const char* operation) const;

  const char* m_scope;
  const char* m_name;
  const QdIfcClassTable* m_supertype;
  const QdIfcAttrRow* m_rows;
  int m_count;
  QdIfcEntityType** m_type;
  Factory m_factory;
  mutable std::atomic<Index*> m_index{nullptr};
};

// The kind tests of the generated classes, by the dictionary's type tree. own is the
// class's entity type; a null own or argument gives false.
QDIFCCORE_API bool qdIfcIsKindOf(const QdIfcEntityType* own, const QdIfcEntityType* type) noexcept;
// By name, case ignored.
QDIFCCORE_API bool qdIfcIsKindOf(const QdIfcEntityType* own, const char* name) noexcept;
QDIFCCORE_API bool qdIfcIsInstanceOf(const QdIfcEntityType* own, const char* name) noexcept;

// The payload of value as the type target: its own when it is of that type, else
// converted into scratch by the value's type or, failing that, by the target. Null
// when neither converts.
QDIFCCORE_API const void* qdIfcConvertedPayload(const QdIfcVariant& value, const QdIfcVariantType& target,
                                                QdIfcVariant& scratch);

}  // namespace QD_SDAI
