// QdIfcSelect: the base of every select class of every schema module.
//
// A select holds one alternative of a fixed list: an entity handle, a typed simple
// value or an aggregate. The base holds the value, as `kind` (how to read it) and
// `value` (one word); each generated class adds its discriminator (which member is
// held: 0..N-1 a member, N unset, N+1 a handle read from a file and not yet worked
// out), its member names and the way from an entity to the member it fits.
//
// The select owns what `value` refers to (a string block or an aggregate). Which of
// those it holds is kept apart from `kind`, in `m_held`: the generated setters set
// `kind` before they store the value, and a select set a second time with a member
// of another kind must still release exactly what it held.
//
// Layout: vptr, kind, m_held, value = 24 bytes; with the discriminator of a
// generated class, 32.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdIfcArray.h>
#include <QdIfcCore/QdTypes.h>

#include <cstdint>

class HsString;

namespace QD_SDAI {

class QdIfcAggr;
class QdIfcEntityBase;
class QdIfcEntityType;
class QdIfcNameType;
class QdIfcVariant;
class QdIfcVariantType;
class QdSpfFilerBase;
class QdIfcSelect;
enum StringFormat : int;

// One member of a select class, as the class's generated table describes it.
struct QdIfcSelectMember {
  const QdAnsiString* name;  // the member's name constant, spelled as in the schema
  QdTypeCodeKind kind;       // the kind its value is held under
  // Entity members: the member class's g_pEntityType slot. It is read at each use,
  // so the select follows the dictionary of the current start of the module.
  QdIfcEntityType* const* entityType;
  // Aggregate members: gives `held` back when it is an aggregate of the member's
  // class, otherwise a new, nil aggregate of that class.
  QdIfcAggr* (*aggregate)(QdIfcAggr* held);
};

// The core's conversions of a select's value, used by the select descriptors.
// Text of the alternative held. Plain text is the value alone; the parameter form
// is `#n` for a handle and `NAME(value)` for a typed value.
QDIFCCORE_API bool _subToString(HsString& out, const QdIfcSelect* s, StringFormat format);
// Converts the alternative held to target: the handle to QdDbObjectId, the kind to
// QdTypeCodeKind, the select itself to QdIfcSelect*, to another select class by
// value (a copy for the same class, otherwise by member name and value), and a
// simple value to any type the core converts it to. False if it can't.
QDIFCCORE_API bool _subToValueType(const QdIfcVariantType& target, const QdIfcSelect* s, QdIfcVariant& result);
// Stores source in s as the member that the source's type path names. False if the
// source has no type path or s has no such member.
QDIFCCORE_API bool _subFromValueType(const QdIfcVariant& source, QdIfcSelect* s);

class QDIFCCORE_API QdIfcSelect {
 public:
  // Virtual operations, in slot order. Generated classes override all but the
  // destructor; those they declare protected stay public here, so that the core's
  // reader and writer can reach them through the base.
  virtual ~QdIfcSelect();
  // The discriminator.
  virtual long _d() const;
  // Selects the member of that name (any case); false, with nothing changed, if
  // there is none.
  virtual bool underlyingTypeName(const QdAnsiString& name);
  // The name of the member held, or the empty text.
  virtual const QdAnsiString& underlyingTypeName() const;
  // The select's type in the dictionary.
  virtual const QdIfcNameType* type() const;

 protected:
  // Sets the discriminator to the member that the object behind id fits; false,
  // with the discriminator unchanged, if none fits or the object can't be opened.
  virtual bool setHandleD(const QdDbObjectId& id);

 public:
  // Keeps a handle read from a file without opening its object: the instance may
  // not have been read yet. The member is worked out later.
  virtual void setHandleOnLoad(const QdDbObjectId& id);
  // Works out the member of a kept handle, if the select is waiting for that.
  virtual void refreshSelectHandle();

 protected:
  // Discriminator := unset.
  virtual void unset();

 public:
  // Typed STEP parameters of aggregate and enumeration members; 18 where the class
  // has none of its own.
  virtual QD::ErrorStatus readTypedField(const QdAnsiString& name, QdSpfFilerBase* filer);
  virtual QD::ErrorStatus writeTypedField(QdSpfFilerBase* filer) const;

  // Equal content compares equal. The order: kind first; handles by the handle
  // alone (so a set of selects stays sorted while pending handles are worked out);
  // other values by discriminator, then value.
  bool operator==(const QdIfcSelect& other) const;
  bool operator!=(const QdIfcSelect& other) const { return !(*this == other); }
  bool operator<(const QdIfcSelect& other) const;

  // How the value is to be read; kQdTypeNone while the select holds nothing.
  QdTypeCodeKind getKind() const noexcept { return kind; }
  bool isEmpty() const noexcept { return kind == kQdTypeNone; }

  // Holds id, with the member that its object fits. If no member fits (or there is
  // no object), nothing changes and the answer is false.
  bool setHandle(QdDbObjectId id);
  // The handle held; null if the select holds no handle.
  QdDbObjectId getHandle() const noexcept;
  // Releases the value and leaves the select unset.
  void nullify();

  // Store a value of the given form. They leave `kind` and the discriminator as
  // they are: the generated setters choose the member first.
  bool setDouble(double v);
  bool setInt32(int v);
  bool setString(const QdAnsiString& v);
  bool setBINARY(QdAnsiString& v);
  bool setBoolean(const QdIfcBoolean& v);
  bool setLogical(const QdIfcLogical& v);
  bool setEnum(unsigned long v);
  // Aggregates: the elements go into the aggregate held, if it has elements of
  // this type; otherwise into a new plain list (a set for handles).
  bool setDoubleArray(const QdIfcArray<double>& a);
  bool setInt32Array(const QdIfcArray<int>& a);
  bool setHandleArray(const QdIfcArray<QdDbObjectId>& a);

  // Read the value back; false if the select holds no value of that form.
  bool getDouble(double& v) const;
  bool getInt32(int& v) const;
  bool getString(QdAnsiString& v) const;  // strings and binaries
  bool getBoolean(QdIfcBoolean& v) const;
  bool getLogical(QdIfcLogical& v) const;
  bool getEnum(unsigned long& v) const;
  bool getAggr(QdIfcAggr*& v) const;

 protected:
  QdIfcSelect() noexcept { value.raw = 0; }
  QdIfcSelect(const QdIfcSelect& other);
  QdIfcSelect& operator=(const QdIfcSelect& other);

  // ---- for the generated classes: one rule each, over the class's member table ----

  // The place of the member of that name (any case), or count.
  static int memberByName(const QdAnsiString& name, const QdIfcSelectMember* members, int count) noexcept;
  // The name constant of member d, or empty for anything that is no member.
  static const QdAnsiString& memberName(long d, const QdIfcSelectMember* members, int count,
                                        const QdAnsiString& empty) noexcept;
  // The first entity member (in table order) that the object behind id is a kind
  // of, or -1: none fits, or there is no object.
  static int entityMemberOf(const QdDbObjectId& id, const QdIfcSelectMember* members, int count);
  // What selecting a member by name does before the discriminator is set: drops
  // the old value, sets the member's kind, and gives an aggregate member its (nil)
  // aggregate object. An entity member is left with a null handle.
  void prepareMember(const QdIfcSelectMember& member);
  // What every setter of a member that is not an entity does first: sets the
  // member's kind. 18, with nothing changed, for an entity member or no member.
  QD::ErrorStatus chooseValueMember(long member, const QdIfcSelectMember* members, int count) noexcept;
  // What every setter of an entity member does: the select follows the object's
  // own type, whichever setter was called. A null object, or one in no model,
  // clears the select.
  void setEntity(const QdIfcEntityBase* entity);
  // The aggregate setters of a member: its own aggregate class receives the elements.
  bool setDoubleArray(const QdIfcArray<double>& a, const QdIfcSelectMember& member);
  bool setInt32Array(const QdIfcArray<int>& a, const QdIfcSelectMember& member);
  bool setHandleArray(const QdIfcArray<QdDbObjectId>& a, const QdIfcSelectMember& member);

  QdTypeCodeKind kind = kQdTypeNone;

 private:
  enum Held : uint8_t { kHeldPlain = 0, kHeldString = 1, kHeldAggregate = 2 };
  void release() noexcept;
  void copyFrom(const QdIfcSelect& other);
  void holdAggregate(QdIfcAggr* a) noexcept;
  QdIfcAggr* memberAggregate(const QdIfcSelectMember& member);
  template <class T>
  bool setArray(const QdIfcArray<T>& a, QdIfcAggr* target);
  int compareValue(const QdIfcSelect& other) const;
  // Copies the value of one select into another that has just selected the same member.
  static bool copyMemberValue(const QdIfcSelect& from, QdIfcSelect& to);

  Held m_held = kHeldPlain;

 protected:
  union Value {
    double d;
    int32_t i;
    unsigned long e;
    QdIfcBoolean::Value b;
    QdIfcLogical::Value l;
    detail::ObjectSlot* h;  // a QdDbObjectId
    QdIfcAggr* a;
    const char* s;  // a QdAnsiString, constructed in place
    uint64_t raw;
  } value;

  friend QDIFCCORE_API bool _subToValueType(const QdIfcVariantType&, const QdIfcSelect*, QdIfcVariant&);
  friend QDIFCCORE_API bool _subFromValueType(const QdIfcVariant&, QdIfcSelect*);
};

static_assert(sizeof(QdIfcSelect) == 24, "a select base is a vptr, the kind and one word");

}  // namespace QD_SDAI
