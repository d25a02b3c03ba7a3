#include <QdIfcCore/QdIfcClassTable.h>

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdIfcInverseBatch.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariant.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <strings.h>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace QD_SDAI {

namespace {

using Kind = QdIfcMemberKind;
using Role = QdIfcAttrRole;
constexpr int kOps = 4;

inline unsigned fold(unsigned char c) noexcept { return static_cast<unsigned>(c - 'A') < 26u ? c + ('a' - 'A') : c; }

// The index's hash of a name: its length and three of its letters, case folded. The
// names of one chain seldom share all four; the few that do are told apart by comparing.
inline uint32_t nameHash(const char* s, size_t n) noexcept {
  uint32_t h = static_cast<uint32_t>(n);
  if (n) {
    h = h * 31 + fold(static_cast<unsigned char>(s[0]));
    h = h * 31 + fold(static_cast<unsigned char>(s[n / 2]));
    h = h * 31 + fold(static_cast<unsigned char>(s[n - 1]));
  }
  h *= 0x9E3779B1u;
  return h ^ (h >> 16);
}

// The n characters at s, in any case, spell the row's name. Callers mostly spell a name
// as the schema does, which one comparison of bytes settles (strncmp stops at the end
// of a shorter row name).
inline bool sameName(const char* s, size_t n, const char* rowName) noexcept {
  if (std::strncmp(s, rowName, n) == 0) return rowName[n] == '\0';
  for (size_t i = 0; i < n; ++i)
    if (fold(static_cast<unsigned char>(s[i])) != fold(static_cast<unsigned char>(rowName[i]))) return false;
  return rowName[n] == '\0';
}

bool knownTo(const QdIfcAttrRow& r, int op) noexcept {
  switch (static_cast<QdIfcAttrOp>(op)) {
    case QdIfcAttrOp::kGet: return true;
    case QdIfcAttrOp::kPut: return r.role == Role::kExplicit || (r.role == Role::kInverse && (r.marks & kAttrWritable));
    default: return r.role == Role::kExplicit && r.kind != Kind::kBinary;  // a binary is neither tested nor unset
  }
}

}  // namespace

// What a class's table gives once worked out over its chain.
struct QdIfcClassTable::Index {
  struct Slot {
    uint32_t hash = 0;
    uint16_t at[kOps] = {};  // 1 + the place in rows of the row each operation finds; 0: none
  };
  // A parameter of the class's record.
  struct Field {
    const QdIfcAttrRow* row;
    bool derived;       // "*" in its place
    bool readOptional;  // "$" is taken
    bool comma;         // a comma stands before it
  };

  std::vector<const QdIfcAttrRow*> rows;
  std::vector<Slot> slots;
  uint32_t mask = 0;
  std::vector<Field> fields;
  std::vector<const QdIfcAttrRow*> links;  // forward attributes with inverse members to fill, root first

  const QdIfcAttrRow* find(QdIfcAttrOp op, const char* name, size_t n) const noexcept {
    if (slots.empty()) return nullptr;
    const uint32_t h = nameHash(name, n);
    for (uint32_t i = h & mask;; i = (i + 1) & mask) {
      const Slot& s = slots[i];
      const uint16_t any = s.at[0] | s.at[1] | s.at[2] | s.at[3];
      if (!any) return nullptr;
      if (s.hash != h) continue;
      // Every operation that has a row for the name has one of that name.
      uint16_t k = 0;
      for (uint16_t a : s.at)
        if (a) k = a;
      if (!sameName(name, n, rows[k - 1u]->name)) continue;
      const uint16_t at = s.at[static_cast<int>(op)];
      return at ? rows[at - 1u] : nullptr;
    }
  }
};

namespace {

QdIfcClassTable::Index* makeIndex(const QdIfcClassTable& table) {
  using Index = QdIfcClassTable::Index;
  auto* ix = new Index;
  std::vector<const QdIfcClassTable*> chain;  // the class first
  for (const QdIfcClassTable* t = &table; t; t = t->supertype()) chain.push_back(t);

  // Names: the nearest row of each operation wins.
  struct Entry {
    std::string key;
    uint16_t at[kOps] = {};
  };
  std::vector<Entry> entries;
  std::unordered_map<std::string, size_t> byKey;
  for (const QdIfcClassTable* t : chain) {
    for (const QdIfcAttrRow& r : *t) {
      std::string key(r.name);
      for (char& c : key) c = static_cast<char>(fold(static_cast<unsigned char>(c)));
      auto [it, fresh] = byKey.emplace(key, entries.size());
      if (fresh) entries.push_back({key, {}});
      Entry& e = entries[it->second];
      uint16_t place = 0;
      for (int op = 0; op < kOps; ++op) {
        if (e.at[op] || !knownTo(r, op)) continue;
        if (!place) {
          ix->rows.push_back(&r);
          place = static_cast<uint16_t>(ix->rows.size());
        }
        e.at[op] = place;
      }
    }
  }
  size_t capacity = 4;
  while (capacity < entries.size() * 2) capacity *= 2;
  ix->slots.resize(capacity);
  ix->mask = static_cast<uint32_t>(capacity - 1);
  for (const Entry& e : entries) {
    if (!(e.at[0] | e.at[1] | e.at[2] | e.at[3])) continue;
    const uint32_t h = nameHash(e.key.data(), e.key.size());
    uint32_t i = h & ix->mask;
    while (ix->slots[i].at[0] | ix->slots[i].at[1] | ix->slots[i].at[2] | ix->slots[i].at[3]) i = (i + 1) & ix->mask;
    ix->slots[i].hash = h;
    std::memcpy(ix->slots[i].at, e.at, sizeof e.at);
  }

  // The record: every explicit row from the root down. The nearest class that redeclares
  // attributes as derived reads the whole record itself, "*" in their places.
  size_t redeclaring = chain.size();
  std::vector<std::string> derived;
  for (size_t k = 0; k < chain.size() && redeclaring == chain.size(); ++k) {
    for (const QdIfcAttrRow& r : *chain[k]) {
      if (r.role != Role::kRedeclared) continue;
      redeclaring = k;
      derived.emplace_back(r.name);
    }
  }
  for (size_t k = chain.size(); k-- > 0;) {
    for (const QdIfcAttrRow& r : *chain[k]) {
      if (r.role != Role::kExplicit) continue;
      bool isDerived = false;
      if (k > redeclaring)
        for (const std::string& d : derived) isDerived |= strcasecmp(d.c_str(), r.name) == 0;
      ix->fields.push_back({&r, isDerived, (r.marks & (kAttrOptional | kAttrReadsUnset)) != 0, !ix->fields.empty()});
    }
    for (const QdIfcAttrRow& r : *chain[k])
      if (r.linkCount) ix->links.push_back(&r);
  }
  return ix;
}

// ---- the rules per kind of member ----

template <class T>
const T& at(const void* m) noexcept {
  return *static_cast<const T*>(m);
}
template <class T>
T& at(void* m) noexcept {
  return *static_cast<T*>(m);
}

bool getRow(const void* m, const QdIfcAttrRow& row, QdIfcVariant& value) {
  if (row.role == Role::kRedeclared) {
    value = QdIfcVariant();
    return false;
  }
  if (row.role == Role::kInverse) {
    if (row.marks & kAttrSingle) value = QdIfcVariant(at<QdDbObjectId>(m));
    else value = QdIfcVariant(const_cast<QdIfcSetAggr<QdDbObjectId>*>(&at<QdIfcSetAggr<QdDbObjectId>>(m)));
    return true;
  }
  switch (row.kind) {
    case Kind::kInteger: value = QdIfcVariant(at<int>(m)); break;
    case Kind::kReal: value = QdIfcVariant(at<double>(m)); break;
    case Kind::kBoolean: value = QdIfcVariant(at<QdIfcBoolean>(m)); break;
    case Kind::kLogical: value = QdIfcVariant(at<QdIfcLogical>(m)); break;
    // Strings: a pointer into the member's text, valid while the member is unchanged.
    case Kind::kString: value = QdIfcVariant(at<QdAnsiString>(m).constStr()); break;
    case Kind::kBinary: value = QdIfcVariant(at<QdAnsiString>(m)); break;
    case Kind::kGuid: value = QdIfcVariant(at<QdIfcGUID>(m)); break;
    case Kind::kEntity: value = QdIfcVariant(at<QdDbObjectId>(m)); break;
    case Kind::kEnumeration: value.assignRaw(row.memberClass->handedOut(), m); break;
    default: {
      // Selects and aggregates: a pointer to the member itself.
      const void* p = m;
      value.assignRaw(row.memberClass->handedOut(), &p);
    }
  }
  return true;
}

// Scalars stay unchanged unless the value converts.
template <class T>
bool putScalar(void* m, const QdIfcVariant& value) {
  if (const T* same = value.ptr<T>()) {  // the member's own type: no conversion
    at<T>(m) = *same;
    return true;
  }
  QdIfcVariant scratch;
  const void* p = qdIfcConvertedPayload(value, QdIfcVariantType::Desc<T>::value(), scratch);
  if (!p) return false;
  at<T>(m) = *static_cast<const T*>(p);
  return true;
}

bool putRow(void* m, const QdIfcAttrRow& row, const QdIfcVariant& value) {
  const QdIfcMemberClass* mc = row.memberClass;
  if (row.role == Role::kInverse) return mc && mc->put(*mc, m, value);
  switch (row.kind) {
    case Kind::kInteger: return putScalar<int>(m, value);
    case Kind::kReal: return putScalar<double>(m, value);
    case Kind::kBoolean: return putScalar<QdIfcBoolean>(m, value);
    case Kind::kLogical: return putScalar<QdIfcLogical>(m, value);
    case Kind::kString:
    case Kind::kBinary: return putScalar<QdAnsiString>(m, value);
    case Kind::kGuid: return putScalar<QdIfcGUID>(m, value);
    case Kind::kEntity: return putScalar<QdDbObjectId>(m, value);
    case Kind::kSelect: {
      // Assigned as its own class, which carries the discriminator.
      const QdIfcVariantType& type = mc->selectType();
      QdIfcVariant scratch;
      const void* p = qdIfcConvertedPayload(value, type, scratch);
      if (!p) return false;
      type.objectMemAllocator()->assign(m, p);
      return true;
    }
    default: return mc->put(*mc, m, value);
  }
}

bool testRow(const void* m, const QdIfcAttrRow& row) {
  switch (row.kind) {
    case Kind::kInteger: return at<int>(m) != Consts::QdIntUnset;
    case Kind::kReal: return at<double>(m) == at<double>(m);
    case Kind::kBoolean: return !(at<QdIfcBoolean>(m) == QdIfcBoolean::Unset);
    case Kind::kLogical: return !(at<QdIfcLogical>(m) == QdIfcLogical::Unset);
    case Kind::kString:
    case Kind::kBinary: return !at<QdAnsiString>(m).isUnset();
    case Kind::kGuid: return at<QdIfcGUID>(m).isSet();
    case Kind::kEntity: return !at<QdDbObjectId>(m).isNull();
    case Kind::kEnumeration: return at<int32_t>(m) != row.memberClass->literalCount;
    case Kind::kSelect: return at<QdIfcSelect>(m).getKind() != kQdTypeNone;
    // An aggregate counts as set when it has elements: an empty one is not.
    default: return at<QdIfcAggr>(m).count() != 0;
  }
}

void unsetRow(void* m, const QdIfcAttrRow& row) {
  switch (row.kind) {
    case Kind::kInteger: at<int>(m) = Consts::QdIntUnset; break;
    case Kind::kReal: at<double>(m) = Consts::QdRealUnset; break;
    case Kind::kBoolean: at<QdIfcBoolean>(m) = QdIfcBoolean::Unset; break;
    case Kind::kLogical: at<QdIfcLogical>(m) = QdIfcLogical::Unset; break;
    case Kind::kString:
    case Kind::kBinary: at<QdAnsiString>(m) = Consts::QdStringUnset; break;
    case Kind::kGuid: at<QdIfcGUID>(m) = Consts::QdStringUnset; break;
    case Kind::kEntity: at<QdDbObjectId>(m).setNull(); break;
    case Kind::kEnumeration: at<int32_t>(m) = row.memberClass->literalCount; break;
    case Kind::kSelect: at<QdIfcSelect>(m).nullify(); break;
    default: at<QdIfcAggr>(m).clear();  // an aggregate becomes nil
  }
}

// The one binary attribute is not carried: its parameter is stepped over on reading,
// and an empty binary literal is written in its place.
void readBinary(QdSpfFilerBase* filer, bool comma) {
  if (comma) filer->ignoreUntilComments(',', false);
  if (filer->peek() == '"') {
    filer->ignoreUntilComments('"', false);
    filer->ignoreUntilComments('"', false);
  } else {
    filer->skipParameter();
  }
}

void readRow(void* m, const QdIfcAttrRow& row, QdSpfFilerBase* filer, bool optional, bool comma) {
  switch (row.kind) {
    case Kind::kInteger: filer->rdInt(at<int>(m), optional, comma); break;
    case Kind::kReal: filer->rdDouble(at<double>(m), optional, comma); break;
    case Kind::kBoolean: filer->rdPrimitive(at<QdIfcBoolean>(m), optional, comma); break;
    case Kind::kLogical: filer->rdPrimitive(at<QdIfcLogical>(m), optional, comma); break;
    case Kind::kString: filer->rdQdAnsiString(at<QdAnsiString>(m), optional, comma); break;
    case Kind::kBinary: readBinary(filer, comma); break;
    case Kind::kGuid: {
      char buffer[QdIfcGUID::kLength + 2];
      if (filer->rdLimitedString(buffer, QdIfcGUID::kLength, false, comma) == QD::eOk) at<QdIfcGUID>(m) = buffer;
      break;
    }
    case Kind::kEntity: filer->rdReference(at<QdDbObjectId>(m), comma); break;
    case Kind::kSelect: filer->rdSelect(at<QdIfcSelect>(m), optional, comma); break;
    default: row.memberClass->read(*row.memberClass, m, filer, optional, comma);
  }
}

void writeRow(const void* m, const QdIfcAttrRow& row, QdSpfFilerBase* filer, bool optional, bool comma) {
  switch (row.kind) {
    case Kind::kInteger: filer->wrInt(at<int>(m), optional, comma); break;
    case Kind::kReal: filer->wrDouble(at<double>(m), optional, comma); break;
    case Kind::kBoolean: filer->wrPrimitive(const_cast<QdIfcBoolean&>(at<QdIfcBoolean>(m)), optional, comma); break;
    case Kind::kLogical: filer->wrPrimitive(const_cast<QdIfcLogical&>(at<QdIfcLogical>(m)), optional, comma); break;
    case Kind::kString: filer->wrQdAnsiString(at<QdAnsiString>(m), optional, comma); break;
    case Kind::kBinary:
      if (comma) filer->wrChar(',');
      filer->wrChar('"');
      filer->wrChar('"');
      break;
    case Kind::kGuid: filer->wrLimitedString(at<QdIfcGUID>(m).constStr(), QdIfcGUID::kLength, false, comma); break;
    case Kind::kEntity: filer->wrReference(at<QdDbObjectId>(m), comma); break;
    case Kind::kSelect: filer->wrSelect(at<QdIfcSelect>(m), optional, comma); break;
    default: row.memberClass->write(*row.memberClass, m, filer, optional, comma);
  }
}

// ---- inverse links ----

void addInverse(QdIfcSetAggr<QdDbObjectId>& inverse, const QdDbObjectId& self) {
  // While the model links in bulk, the addition goes to the batch it was given.
  const QdIfcModel* model = self.model();
  if (QdIfcInverseBatch* batch = model ? model->inverseBatch() : nullptr) {
    batch->defer(inverse, self);
    return;
  }
  if (inverse.isNil()) inverse.createEmpty();
  inverse.add(self);
}

struct LinkStep {
  const QdIfcAttrRow* forward;
  QdDbObjectId self;
};

// Opens the target for writing; the first candidate class it is a kind of receives self
// in its inverse member. A target of no candidate class is left as it was.
void linkTo(void* context, const QdDbObjectId& target) {
  if (target.isNull()) return;
  const LinkStep& step = *static_cast<const LinkStep*>(context);
  QdIfcEntityBase* object = target.openObject(kForWrite, false);
  if (!object) return;
  for (int i = 0; i < step.forward->linkCount; ++i) {
    const QdIfcInverseLink& link = step.forward->links[i];
    if (!object->isKindOf(link.target->entityType())) continue;
    const QdIfcAttrRow& inverse = link.target->row(link.row);
    void* m = QdIfcClassTable::member(object, inverse);
    if (inverse.marks & kAttrSingle) at<QdDbObjectId>(m) = step.self;
    else addInverse(at<QdIfcSetAggr<QdDbObjectId>>(m), step.self);
    break;
  }
  object->close();
}

}  // namespace

QdIfcClassTable::~QdIfcClassTable() { delete m_index.load(std::memory_order_acquire); }

const QdIfcClassTable::Index& QdIfcClassTable::buildIndex() const {
  Index* ix = m_index.load(std::memory_order_acquire);
  if (ix) return *ix;
  // Two threads that race both build one; the first to publish wins.
  Index* fresh = makeIndex(*this);
  if (m_index.compare_exchange_strong(ix, fresh, std::memory_order_acq_rel, std::memory_order_acquire)) return *fresh;
  delete fresh;
  return *ix;
}

void QdIfcClassTable::throwAccess(unsigned code, const char* operation) const {
  const std::string where = std::string(m_scope) + "::" + m_name + "::" + operation;
  throw QdIfcException(code, code == 190 ? "SDAI-model access not defined" : "SDAI-model access not read-write",
                       where.c_str());
}

// Reading needs a model access mode other than "not defined"; a free object has none.
void QdIfcClassTable::checkRead(const QdIfcEntityBase* self, const char* operation) const {
  const QdIfcModel* model = self->owningModel();
  if (model && model->mode() == sdaiNoAccess) throwAccess(190, operation);
}

// Writing needs a read-write model, or none.
void QdIfcClassTable::checkWrite(const QdIfcEntityBase* self, const char* operation) const {
  const QdIfcModel* model = self->owningModel();
  if (model && model->mode() != sdaiRW) throwAccess(180, operation);
}

void QdIfcClassTable::checkAccess(const QdIfcEntityBase* self, QdIfcAttrOp op) const {
  switch (op) {
    case QdIfcAttrOp::kGet: checkRead(self, "getAttr"); break;
    case QdIfcAttrOp::kPut: checkWrite(self, "putAttr"); break;
    case QdIfcAttrOp::kTest: checkRead(self, "testAttr"); break;
    case QdIfcAttrOp::kUnset: checkWrite(self, "unsetAttr"); break;
  }
}

const QdIfcAttrRow* QdIfcClassTable::find(QdIfcAttrOp op, std::string_view name) const {
  return index().find(op, name.data(), name.size());
}

namespace {
// The row for a name handed in as text: up to its first zero, as the name compares.
inline const char* textOf(const QdAnsiString& name, size_t& n) noexcept {
  const char* s = name.constStr();
  n = std::strlen(s);
  return s;
}
}  // namespace

bool QdIfcClassTable::getAttr(const QdIfcEntityBase* self, const QdAnsiString& name, QdIfcVariant& value) const {
  checkRead(self, "getAttr");
  size_t n;
  const char* s = textOf(name, n);
  const QdIfcAttrRow* row = index().find(QdIfcAttrOp::kGet, s, n);
  return row && getRow(member(self, *row), *row, value);
}

bool QdIfcClassTable::putAttr(QdIfcEntityBase* self, const QdAnsiString& name, const QdIfcVariant& value) const {
  checkWrite(self, "putAttr");
  size_t n;
  const char* s = textOf(name, n);
  const QdIfcAttrRow* row = index().find(QdIfcAttrOp::kPut, s, n);
  return row && putRow(member(self, *row), *row, value);
}

bool QdIfcClassTable::testAttr(const QdIfcEntityBase* self, const QdAnsiString& name) const {
  checkRead(self, "testAttr");
  size_t n;
  const char* s = textOf(name, n);
  const QdIfcAttrRow* row = index().find(QdIfcAttrOp::kTest, s, n);
  return row && testRow(member(self, *row), *row);
}

void QdIfcClassTable::unsetAttr(QdIfcEntityBase* self, const QdAnsiString& name) const {
  checkWrite(self, "unsetAttr");
  size_t n;
  const char* s = textOf(name, n);
  if (const QdIfcAttrRow* row = index().find(QdIfcAttrOp::kUnset, s, n)) unsetRow(member(self, *row), *row);
}

bool QdIfcClassTable::getAttr(const QdIfcEntityBase* self, const QdIfcAttrRow& row, QdIfcVariant& value) const {
  checkRead(self, "getAttr");
  return getRow(member(self, row), row, value);
}

bool QdIfcClassTable::putAttr(QdIfcEntityBase* self, const QdIfcAttrRow& row, const QdIfcVariant& value) const {
  checkWrite(self, "putAttr");
  return putRow(member(self, row), row, value);
}

bool QdIfcClassTable::testAttr(const QdIfcEntityBase* self, const QdIfcAttrRow& row) const {
  checkRead(self, "testAttr");
  return isSet(self, row);
}

bool QdIfcClassTable::isSet(const QdIfcEntityBase* self, const QdIfcAttrRow& row) {
  return testRow(member(self, row), row);
}

QD::ErrorStatus QdIfcClassTable::inFields(QdIfcEntityBase* self, QdSpfFilerBase* filer) const {
  for (const Index::Field& f : index().fields) {
    if (f.derived) filer->rdDerive(f.comma);
    else readRow(member(self, *f.row), *f.row, filer, f.readOptional, f.comma);
  }
  return QD::eOk;
}

QD::ErrorStatus QdIfcClassTable::outFields(const QdIfcEntityBase* self, QdSpfFilerBase* filer) const {
  for (const Index::Field& f : index().fields) {
    if (f.derived) filer->wrDerive(f.comma);
    else writeRow(member(self, *f.row), *f.row, filer, f.row->optional(), f.comma);
  }
  return QD::eOk;
}

void QdIfcClassTable::setInverseCounterParts(QdIfcEntityBase* self) const {
  for (const QdIfcAttrRow* row : index().links) {
    LinkStep step{row, self->objectId()};
    const void* m = member(self, *row);
    switch (row->kind) {
      case Kind::kEntity: linkTo(&step, at<QdDbObjectId>(m)); break;
      case Kind::kSelect: linkTo(&step, at<QdIfcSelect>(m).getHandle()); break;
      default: row->memberClass->eachHandle(m, &step, &linkTo);  // each element, repeats included
    }
  }
}

// ---- kind tests ----

bool qdIfcIsKindOf(const QdIfcEntityType* own, const QdIfcEntityType* type) noexcept {
  return own && type && own->isSubtypeOf(type);
}

bool qdIfcIsKindOf(const QdIfcEntityType* own, const char* name) noexcept {
  if (!own || !name) return false;
  if (const QdIfcSchema* schema = own->schema()) {
    const QdIfcEntityType* type = schema->findEntityType(name);
    return type && own->isSubtypeOf(type);
  }
  for (const QdIfcEntityType* t = own; t; t = t->supertype())
    if (strcasecmp(name, t->typeName()) == 0) return true;
  return false;
}

bool qdIfcIsInstanceOf(const QdIfcEntityType* own, const char* name) noexcept {
  return name && own && strcasecmp(name, own->typeName()) == 0;
}

const void* qdIfcConvertedPayload(const QdIfcVariant& value, const QdIfcVariantType& target, QdIfcVariant& scratch) {
  const QdIfcVariantType* source = value.type();
  if (source == &target) return value.payload();
  if (!source) return nullptr;
  if (!source->toValueType(target, value, scratch) && !target.fromValueType(value, scratch)) return nullptr;
  return scratch.type() == &target ? scratch.payload() : nullptr;
}

}  // namespace QD_SDAI
