// The select base and the core's conversions of select values.
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcSelect.h>

#include <cctype>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <typeinfo>

namespace QD_SDAI {
namespace {

QdAnsiString& stringIn(void* raw) noexcept { return *std::launder(reinterpret_cast<QdAnsiString*>(raw)); }
const QdAnsiString& stringIn(const void* raw) noexcept {
  return *std::launder(reinterpret_cast<const QdAnsiString*>(raw));
}

const QdAnsiString& emptyName() {
  static const QdAnsiString none;
  return none;
}

template <class T>
bool isElement(const QdIfcAggr& a) {
  return &a.elementType() == &QdIfcVariantType::Desc<T>::value();
}

// Three-way comparison of the elements of two aggregates of one element type.
template <class T>
int compareElements(const QdIfcAggr& a, const QdIfcAggr& b) {
  QdIfcArray<T> x, y;
  qdIfcExportAggr(a, x);
  qdIfcExportAggr(b, y);
  for (int i = 0; i < x.length() && i < y.length(); ++i) {
    if (x[i] < y[i]) return -1;
    if (y[i] < x[i]) return 1;
  }
  return x.length() < y.length() ? -1 : x.length() > y.length() ? 1 : 0;
}

// Aggregates held by selects have int, double or handle elements. Nil sorts before
// empty, which sorts before filled.
int compareAggregates(const QdIfcAggr* a, const QdIfcAggr* b) {
  if (a == b) return 0;
  if (!a || !b) return a ? 1 : -1;
  if (a->isNil() != b->isNil()) return a->isNil() ? -1 : 1;
  const QdIfcVariantType* ta = &a->elementType();
  const QdIfcVariantType* tb = &b->elementType();
  if (ta != tb) return std::less<const void*>()(ta, tb) ? -1 : 1;
  if (isElement<int>(*a)) return compareElements<int>(*a, *b);
  if (isElement<double>(*a)) return compareElements<double>(*a, *b);
  if (isElement<QdDbObjectId>(*a)) return compareElements<QdDbObjectId>(*a, *b);
  return a->count() - b->count();
}

// A total order on doubles: NaN (the unset real) after every number and equal to itself.
int compareReals(double a, double b) {
  bool na = std::isnan(a), nb = std::isnan(b);
  if (na || nb) return na == nb ? 0 : (na ? 1 : -1);
  return a < b ? -1 : (b < a ? 1 : 0);
}

// Copies the elements of one aggregate into another of the same element type.
bool copyElements(const QdIfcAggr& from, QdIfcAggr& to) {
  if (from.isNil()) {
    to.clear();
    return true;
  }
  if (&from.elementType() != &to.elementType()) return false;
  auto copy = [&](auto tag) {
    using T = decltype(tag);
    QdIfcArray<T> items;
    qdIfcExportAggr(from, items);
    return qdIfcAssignAggr(to, items);
  };
  if (isElement<int>(from)) return copy(int());
  if (isElement<double>(from)) return copy(double());
  if (isElement<QdDbObjectId>(from)) return copy(QdDbObjectId());
  return false;
}

// Converts a variant into the type of target, the source's descriptor first.
bool convertTo(const QdIfcVariantType& target, const QdIfcVariant& v, QdIfcVariant& result) {
  if (v.isEmpty()) return false;
  if (v.type() == &target) {
    result = v;
    return true;
  }
  QdIfcVariant converted;
  if (!v.type()->toValueType(target, v, converted) && !target.fromValueType(v, converted)) return false;
  if (converted.type() != &target) return false;
  result = std::move(converted);
  return true;
}

// Exports an aggregate of T into a typed array variant when target asks for it.
template <class T>
bool aggregateToArray(const QdIfcVariantType& target, const QdIfcAggr* a, QdIfcVariant& result) {
  if (&target != &QdIfcVariantType::Desc<QdIfcArray<T>>::value() || !isElement<T>(*a)) return false;
  QdIfcArray<T> items;
  qdIfcExportAggr(*a, items);
  result = QdIfcVariant(items);
  return true;
}

// The literal of an enumeration member, found through the select's dictionary type:
// the member's enumeration among the (nested) members of the select.
const QdIfcEnumerationType* findEnumeration(const QdIfcNameType* type, const char* name, int depth = 0) {
  if (!type || depth > 8) return nullptr;
  const QdIfcDefinedType* wrapper = type->asDefinedType();
  const QdIfcSelectType* select = type->asSelectType();
  if (!select && wrapper) select = wrapper->wrappedSelect();
  if (!select) return nullptr;
  for (const QdIfcParameterType* member : select->members()) {
    const QdIfcNameType* n = member ? member->asNameType() : nullptr;
    if (!n) continue;
    const QdIfcDefinedType* w = n->asDefinedType();
    const QdIfcEnumerationType* e = n->asEnumType();
    if (!e && w) e = w->wrappedEnumeration();
    if (e && QdAnsiString(n->typeName()).compareNoCase(name) == 0) return e;
    if (const QdIfcEnumerationType* inner = findEnumeration(n, name, depth + 1)) return inner;
  }
  return nullptr;
}

std::string upper(const char* text) {
  std::string s(text ? text : "");
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// A simple value held by a select, as a variant of its own type.
bool heldValue(const QdIfcSelect& s, QdIfcVariant& v) {
  switch (s.getKind()) {
    case kQdTypeInteger: {
      int i = 0;
      return s.getInt32(i) && (v = QdIfcVariant(i), true);
    }
    case kQdTypeReal: {
      double d = 0;
      return s.getDouble(d) && (v = QdIfcVariant(d), true);
    }
    case kQdTypeBoolean: {
      QdIfcBoolean b;
      return s.getBoolean(b) && (v = QdIfcVariant(b), true);
    }
    case kQdTypeLogical: {
      QdIfcLogical l;
      return s.getLogical(l) && (v = QdIfcVariant(l), true);
    }
    case kQdTypeString:
    case kQdTypeBinary: {
      QdAnsiString text;
      return s.getString(text) && (v = QdIfcVariant(text), true);
    }
    case kQdTypeEnumeration: {
      unsigned long e = 0;
      return s.getEnum(e) && (v = QdIfcVariant(e), true);
    }
    default: return false;
  }
}

// The value alone, as text of the given form.
bool valueText(const QdIfcSelect& s, StringFormat format, std::string& out) {
  switch (s.getKind()) {
    case kQdTypeEnumeration: {
      unsigned long e = 0;
      s.getEnum(e);
      const QdIfcEnumerationType* type = findEnumeration(s.type(), s.underlyingTypeName().constStr());
      // A value past the last literal has no literal: it gives the empty text.
      std::string literal;
      if (type && e < static_cast<unsigned long>(type->literalCount())) {
        auto it = type->literals().begin();
        std::advance(it, static_cast<long>(e));
        // A literal is an identifier; the dictionary keeps a few spellings with
        // trailing marks ("NULL);"), which are no part of it.
        literal = it->constStr();
        size_t end = 0;
        while (end < literal.size() && (std::isalnum(static_cast<unsigned char>(literal[end])) || literal[end] == '_'))
          ++end;
        literal.resize(end);
      } else if (!type) {
        literal = std::to_string(e);
      }
      out = format == kStringFormatStep ? "." + literal + "." : literal;
      return true;
    }
    case kQdTypeAggregate: {
      QdIfcAggr* a = nullptr;
      if (!s.getAggr(a) || !a) return false;
      out = "(";
      if (QdIfcAggrConstIterator* it = a->createConstIterator()) {
        QdIfcVariant e;
        bool first = true;
        while (it->next())
          if (it->getValue(e)) {
            HsString t;
            e.toString(t, kStringFormatStep);
            if (!first) out += ',';
            out += t.utf8();
            first = false;
          }
        delete it;
      }
      out += ')';
      return true;
    }
    default: break;
  }
  QdIfcVariant v;
  HsString t;
  if (!heldValue(s, v) || !v.toString(t, format)) return false;
  out = t.utf8();
  return true;
}

}  // namespace

// ---- the base -----------------------------------------------------------------------

QdIfcSelect::~QdIfcSelect() { release(); }

QdIfcSelect::QdIfcSelect(const QdIfcSelect& other) {
  value.raw = 0;
  copyFrom(other);
}

QdIfcSelect& QdIfcSelect::operator=(const QdIfcSelect& other) {
  if (this == &other) return *this;
  // Copy first: other may be owned by what this select holds.
  QdIfcSelect copy(other);
  release();
  kind = copy.kind;
  m_held = copy.m_held;
  value = copy.value;
  copy.m_held = kHeldPlain;  // the copy's value now belongs to this select
  copy.value.raw = 0;
  return *this;
}

void QdIfcSelect::copyFrom(const QdIfcSelect& other) {
  kind = other.kind;
  switch (other.m_held) {
    case kHeldString: new (static_cast<void*>(&value)) QdAnsiString(stringIn(&other.value)); break;
    case kHeldAggregate: value.a = other.value.a ? other.value.a->clone() : nullptr; break;
    default: value = other.value;
  }
  m_held = other.m_held;
}

void QdIfcSelect::release() noexcept {
  if (m_held == kHeldString) stringIn(&value).~QdAnsiString();
  else if (m_held == kHeldAggregate) delete value.a;
  m_held = kHeldPlain;
  value.raw = 0;
}

void QdIfcSelect::holdAggregate(QdIfcAggr* a) noexcept {
  release();
  value.a = a;
  m_held = kHeldAggregate;
}

long QdIfcSelect::_d() const { return 0; }
bool QdIfcSelect::underlyingTypeName(const QdAnsiString&) { return false; }
const QdAnsiString& QdIfcSelect::underlyingTypeName() const { return emptyName(); }
const QdIfcNameType* QdIfcSelect::type() const { return nullptr; }
bool QdIfcSelect::setHandleD(const QdDbObjectId&) { return false; }
void QdIfcSelect::unset() {}
QD::ErrorStatus QdIfcSelect::readTypedField(const QdAnsiString&, QdSpfFilerBase*) { return QD::eNotThatMember; }
QD::ErrorStatus QdIfcSelect::writeTypedField(QdSpfFilerBase*) const { return QD::eNotThatMember; }

void QdIfcSelect::setHandleOnLoad(const QdDbObjectId& id) {
  release();
  kind = kQdTypeEntity;
  value.h = id.slot();
}

void QdIfcSelect::refreshSelectHandle() {
  if (kind == kQdTypeEntity && m_held == kHeldPlain) setHandleD(QdDbObjectId(value.h));
}

bool QdIfcSelect::setHandle(QdDbObjectId id) {
  if (!setHandleD(id)) return false;
  release();
  kind = kQdTypeEntity;
  value.h = id.slot();
  return true;
}

QdDbObjectId QdIfcSelect::getHandle() const noexcept {
  return kind == kQdTypeEntity && m_held == kHeldPlain ? QdDbObjectId(value.h) : QdDbObjectId();
}

void QdIfcSelect::nullify() {
  release();
  kind = kQdTypeNone;
  unset();
}

bool QdIfcSelect::setDouble(double v) {
  release();
  value.d = v;
  return true;
}
bool QdIfcSelect::setInt32(int v) {
  release();
  value.i = v;
  return true;
}
bool QdIfcSelect::setString(const QdAnsiString& v) {
  QdAnsiString copy(v);  // v may be the string this select holds
  release();
  new (static_cast<void*>(&value)) QdAnsiString(std::move(copy));
  m_held = kHeldString;
  return true;
}
bool QdIfcSelect::setBINARY(QdAnsiString& v) { return setString(v); }
bool QdIfcSelect::setBoolean(const QdIfcBoolean& v) {
  release();
  value.b = v.value();
  return true;
}
bool QdIfcSelect::setLogical(const QdIfcLogical& v) {
  release();
  value.l = v.value();
  return true;
}
bool QdIfcSelect::setEnum(unsigned long v) {
  release();
  value.e = v;
  return true;
}

template <class T>
bool QdIfcSelect::setArray(const QdIfcArray<T>& a, QdIfcAggr* target) {
  return target && qdIfcAssignAggr(*target, a);
}

// Without a member to say which class: the aggregate held, if it has elements of
// the type, else a plain one.
bool QdIfcSelect::setDoubleArray(const QdIfcArray<double>& a) {
  if (m_held != kHeldAggregate || !value.a || !isElement<double>(*value.a)) holdAggregate(new QdIfcListAggr<double>());
  return setArray(a, value.a);
}
bool QdIfcSelect::setInt32Array(const QdIfcArray<int>& a) {
  if (m_held != kHeldAggregate || !value.a || !isElement<int>(*value.a)) holdAggregate(new QdIfcListAggr<int>());
  return setArray(a, value.a);
}
bool QdIfcSelect::setHandleArray(const QdIfcArray<QdDbObjectId>& a) {
  if (m_held != kHeldAggregate || !value.a || !isElement<QdDbObjectId>(*value.a))
    holdAggregate(new QdIfcSetAggr<QdDbObjectId>());
  return setArray(a, value.a);
}

QdIfcAggr* QdIfcSelect::memberAggregate(const QdIfcSelectMember& member) {
  if (!member.aggregate) return nullptr;
  QdIfcAggr* held = m_held == kHeldAggregate ? value.a : nullptr;
  QdIfcAggr* a = member.aggregate(held);
  if (a != held) holdAggregate(a);
  return a;
}
bool QdIfcSelect::setDoubleArray(const QdIfcArray<double>& a, const QdIfcSelectMember& member) {
  return setArray(a, memberAggregate(member));
}
bool QdIfcSelect::setInt32Array(const QdIfcArray<int>& a, const QdIfcSelectMember& member) {
  return setArray(a, memberAggregate(member));
}
bool QdIfcSelect::setHandleArray(const QdIfcArray<QdDbObjectId>& a, const QdIfcSelectMember& member) {
  return setArray(a, memberAggregate(member));
}

bool QdIfcSelect::getDouble(double& v) const {
  if (kind != kQdTypeReal || m_held != kHeldPlain) return false;
  v = value.d;
  return true;
}
bool QdIfcSelect::getInt32(int& v) const {
  if (kind != kQdTypeInteger || m_held != kHeldPlain) return false;
  v = value.i;
  return true;
}
bool QdIfcSelect::getString(QdAnsiString& v) const {
  if ((kind != kQdTypeString && kind != kQdTypeBinary) || m_held != kHeldString) return false;
  v = stringIn(&value);
  return true;
}
bool QdIfcSelect::getBoolean(QdIfcBoolean& v) const {
  if (kind != kQdTypeBoolean || m_held != kHeldPlain) return false;
  v = QdIfcBoolean(value.b);
  return true;
}
bool QdIfcSelect::getLogical(QdIfcLogical& v) const {
  if (kind != kQdTypeLogical || m_held != kHeldPlain) return false;
  v = QdIfcLogical(value.l);
  return true;
}
bool QdIfcSelect::getEnum(unsigned long& v) const {
  if (kind != kQdTypeEnumeration || m_held != kHeldPlain) return false;
  v = value.e;
  return true;
}
bool QdIfcSelect::getAggr(QdIfcAggr*& v) const {
  if (kind != kQdTypeAggregate || m_held != kHeldAggregate) return false;
  v = value.a;
  return true;
}

int QdIfcSelect::compareValue(const QdIfcSelect& other) const {
  if (m_held != other.m_held) return m_held < other.m_held ? -1 : 1;
  switch (m_held) {
    case kHeldString: return stringIn(&value).compare(stringIn(&other.value));
    case kHeldAggregate: return compareAggregates(value.a, other.value.a);
    default: break;
  }
  switch (kind) {
    case kQdTypeReal: return compareReals(value.d, other.value.d);
    case kQdTypeInteger: return value.i < other.value.i ? -1 : (value.i > other.value.i ? 1 : 0);
    case kQdTypeBoolean:
    case kQdTypeLogical: return value.b < other.value.b ? -1 : (value.b > other.value.b ? 1 : 0);
    default: return value.raw < other.value.raw ? -1 : (value.raw > other.value.raw ? 1 : 0);
  }
}

bool QdIfcSelect::operator==(const QdIfcSelect& other) const {
  if (kind != other.kind) return false;
  if (kind == kQdTypeNone) return true;
  if (kind == kQdTypeEntity) return getHandle() == other.getHandle();
  return _d() == other._d() && compareValue(other) == 0;
}

bool QdIfcSelect::operator<(const QdIfcSelect& other) const {
  if (kind != other.kind) return kind < other.kind;
  if (kind == kQdTypeNone) return false;
  if (kind == kQdTypeEntity) return getHandle() < other.getHandle();
  long a = _d(), b = other._d();
  if (a != b) return a < b;
  return compareValue(other) < 0;
}

// ---- the generated classes' rules -------------------------------------------------------

int QdIfcSelect::memberByName(const QdAnsiString& name, const QdIfcSelectMember* members, int count) noexcept {
  const char* text = name.constStr();
  // Names of another length are passed over without comparing their letters.
  const int n = static_cast<int>(std::strlen(text));
  for (int i = 0; i < count; ++i)
    if (members[i].name->length() == n && members[i].name->compareNoCase(text) == 0) return i;
  return count;
}

const QdAnsiString& QdIfcSelect::memberName(long d, const QdIfcSelectMember* members, int count,
                                            const QdAnsiString& empty) noexcept {
  return d >= 0 && d < count ? *members[d].name : empty;
}

int QdIfcSelect::entityMemberOf(const QdDbObjectId& id, const QdIfcSelectMember* members, int count) {
  QdIfcEntityBase* object = id.openObject(kForRead, false);
  if (!object) return -1;
  int found = -1;
  for (int i = 0; i < count && found < 0; ++i)
    if (members[i].kind == kQdTypeEntity && object->isKindOf(*members[i].entityType)) found = i;
  object->close();
  return found;
}

void QdIfcSelect::prepareMember(const QdIfcSelectMember& member) {
  nullify();
  kind = kQdTypeEntity;
  if (member.kind == kQdTypeAggregate) {
    holdAggregate(member.aggregate(nullptr));
    kind = kQdTypeAggregate;
  } else if (member.kind != kQdTypeEntity) {
    kind = member.kind;
  }
}

bool QdIfcSelect::copyMemberValue(const QdIfcSelect& from, QdIfcSelect& to) {
  switch (from.kind) {
    case kQdTypeEntity:
      if (to.kind != kQdTypeEntity) return false;
      to.release();
      to.value.h = from.getHandle().slot();
      return true;
    case kQdTypeAggregate: {
      QdIfcAggr *a = nullptr, *b = nullptr;
      return from.getAggr(a) && to.getAggr(b) && a && b && copyElements(*a, *b);
    }
    case kQdTypeString:
    case kQdTypeBinary: {
      QdAnsiString text;
      return from.getString(text) && to.setString(text);
    }
    default:
      if (from.m_held != kHeldPlain || from.kind != to.kind) return false;
      to.release();
      to.value = from.value;
      return true;
  }
}

QD::ErrorStatus QdIfcSelect::chooseValueMember(long member, const QdIfcSelectMember* members, int count) noexcept {
  if (member < 0 || member >= count || members[member].kind == kQdTypeEntity) return QD::eNotThatMember;
  kind = members[member].kind;
  return QD::eOk;
}

void QdIfcSelect::setEntity(const QdIfcEntityBase* entity) {
  if (!entity || entity->objectId().isNull()) {
    nullify();
    return;
  }
  setHandle(entity->objectId());
}

// ---- the core's conversions -------------------------------------------------------------

bool _subToString(HsString& out, const QdIfcSelect* s, StringFormat format) {
  if (!s) return false;
  bool step = format == kStringFormatStep;
  if (s->isEmpty()) {
    out.assign(step ? "$" : "");
    return true;
  }
  if (s->getKind() == kQdTypeEntity) {
    QdDbObjectId h = s->getHandle();
    out.assign(h.isNull() ? (step ? "$" : "") : ("#" + std::to_string(h.id())).c_str());
    return true;
  }
  std::string text;
  if (!valueText(*s, format, text)) return false;
  if (step) text = upper(s->underlyingTypeName().constStr()) + "(" + text + ")";
  out.assign(std::string_view(text));
  return true;
}

bool _subToValueType(const QdIfcVariantType& target, const QdIfcSelect* s, QdIfcVariant& result) {
  if (!s) return false;
  using D = QdIfcVariantType;
  if (&target == &D::Desc<QdTypeCodeKind>::value()) {
    result = QdIfcVariant(s->kind);
    return true;
  }
  if (&target == &D::Desc<QdIfcSelect*>::value()) {
    result = QdIfcVariant(const_cast<QdIfcSelect*>(s));
    return true;
  }
  if (target.isSelect()) {
    // Only the by-value form holds an object of its own to fill.
    if (!target.objectMemAllocator() || s->isEmpty()) return false;
    QdIfcVariant made;
    QdIfcSelect* dst = nullptr;
    if (!target.createVariant(made) || !made.getValue(dst) || !dst) return false;
    if (typeid(*dst) == typeid(*s)) {
      // The same class: a whole copy, discriminator and pending state included.
      target.objectMemAllocator()->assign(made.payload(), dynamic_cast<const void*>(s));
    } else {
      const QdAnsiString& name = s->underlyingTypeName();
      if (name.isEmpty() || !dst->underlyingTypeName(name)) return false;
      if (!QdIfcSelect::copyMemberValue(*s, *dst)) return false;
    }
    result = std::move(made);
    return true;
  }
  switch (s->kind) {
    case kQdTypeEntity:
      if (&target != &D::Desc<QdDbObjectId>::value()) return false;
      result = QdIfcVariant(s->getHandle());
      return true;
    case kQdTypeAggregate: {
      QdIfcAggr* a = nullptr;
      if (!s->getAggr(a) || !a) return false;
      if (&target == &D::Desc<QdIfcAggr*>::value()) {
        result = QdIfcVariant(a);
        return true;
      }
      return aggregateToArray<int>(target, a, result) || aggregateToArray<double>(target, a, result) ||
             aggregateToArray<QdDbObjectId>(target, a, result);
    }
    default: break;
  }
  QdIfcVariant v;
  if (!heldValue(*s, v)) return false;
  return convertTo(target, v, result);
}

bool _subFromValueType(const QdIfcVariant& source, QdIfcSelect* s) {
  if (!s) return false;
  const char* path = source.typePath();
  if (!path || !*path) return false;
  // Only selects have a type path: the member is named by the source select.
  QdIfcSelect* from = nullptr;
  if (!source.type()->isSelect() || !source.getValue(from) || !from || from->isEmpty()) return false;
  if (from == s) return true;
  if (!s->underlyingTypeName(QdAnsiString(path))) return false;
  return QdIfcSelect::copyMemberValue(*from, *s);
}

}  // namespace QD_SDAI
