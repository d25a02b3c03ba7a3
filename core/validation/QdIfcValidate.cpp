#include <QdIfcCore/QdIfcValidate.h>

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggr.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace QD_SDAI {

const char* qdIfcRuleName(QdIfcRule rule) noexcept {
  switch (rule) {
    case kRuleRequired: return "required attribute";
    case kRuleAggregateBounds: return "aggregate bounds";
    case kRuleAdmittedType: return "admitted type";
    case kRuleInverseBounds: return "inverse bounds";
    case kRuleUniqueGlobalId: return "unique GlobalId";
    case kRuleGlobalIdForm: return "GlobalId form";
    case kRuleAbstract: return "abstract type";
    default: return "rule";
  }
}

std::string qdIfcDescribe(const QdIfcFinding& f) {
  // A finding of the instance as a whole (its type abstract) names no attribute.
  return "#" + std::to_string(f.instance) + " " + (f.type ? f.type->schemaName() : "?") +
         (f.attribute.empty() ? "" : "." + f.attribute) + ": " + qdIfcRuleName(f.rule) + ": expected " + f.expected +
         ", found " + f.found;
}

namespace {

// ---- what the dictionary says of a type, as findings print it ----

const QdIfcAggregationType* aggregationOf(const DictionaryInstance* type) {
  if (!type) return nullptr;
  if (const QdIfcAggregationType* a = type->asAggregationType()) return a;
  const QdIfcNameType* n = type->asNameType();
  const QdIfcDefinedType* d = n ? n->asDefinedType() : nullptr;
  return d ? d->wrappedAggregate() : nullptr;
}

std::string typeText(const DictionaryInstance* type) {
  if (!type) return "-";
  if (const QdIfcAggregationType* a = type->asAggregationType()) {
    auto bound = [](const QdIfcIntegerBound* b) { return b && b->isSet() ? std::to_string(b->value()) : "?"; };
    std::string keyword = a->keyword();
    for (char& ch : keyword) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    return keyword + " [" + bound(a->lowerBound()) + ":" + bound(a->upperBound()) + "] OF " +
           typeText(a->elementType());
  }
  if (const QdIfcNameType* n = type->asNameType()) {
    if (const QdIfcEntityType* e = n->asEntityType()) return e->schemaName();
    return n->typeName();
  }
  return qdDictionaryName(type);
}

// The entity types a value of the type may refer to: the entity itself, or every
// entity a select takes in, through nested selects. Empty when it refers to none.
void admittedEntities(const DictionaryInstance* type, std::vector<const QdIfcEntityType*>& out,
                      std::unordered_set<const DictionaryInstance*>& seen) {
  const QdIfcNameType* n = type ? type->asNameType() : nullptr;
  if (!n || !seen.insert(type).second) return;
  // A select is held as a defined type that wraps it.
  const QdIfcDefinedType* d = n->asDefinedType();
  const QdIfcSelectType* s = d ? d->wrappedSelect() : n->asSelectType();
  if (const QdIfcEntityType* e = n->asEntityType()) {
    out.push_back(e);
  } else if (s) {
    for (const QdIfcParameterType* m : s->members()) admittedEntities(m, out, seen);
  }
}

int boundOf(const QdIfcIntegerBound* b) { return b && b->isSet() ? b->value() : Consts::QdIntUnset; }

// ---- the checks of one type, worked out once ----

// Where a check reads an attribute: by the rows of the class's table that getAttr and
// testAttr find for the name, once per type; by the name itself for a class without a
// table, or a name the table does not know.
struct AttrRef {
  QdAnsiString name;
  const QdIfcAttrRow* getRow = nullptr;
  const QdIfcAttrRow* testRow = nullptr;
};

AttrRef refer(const QdIfcClassTable* table, const char* name) {
  AttrRef r{QdAnsiString(name)};
  if (table) {
    r.getRow = table->find(QdIfcAttrOp::kGet, name);
    r.testRow = table->find(QdIfcAttrOp::kTest, name);
  }
  return r;
}

struct ExplicitCheck {
  AttrRef ref;
  const char* display;
  bool required;
  const DictionaryInstance* domain;
  const QdIfcAggregationType* aggregate;         // the outer aggregate, or null
  std::vector<const QdIfcEntityType*> admitted;  // empty: holds no references
  std::string admittedText;                      // the domain, for findings
};

struct InverseCheck {
  AttrRef ref;
  const char* display;
  int lower, upper;  // QdIntUnset where unset
  std::string expected;
};

struct TypePlan {
  const QdIfcClassTable* table = nullptr;
  std::vector<ExplicitCheck> explicits;
  std::vector<InverseCheck> inverses;
  AttrRef globalId;
};

TypePlan makePlan(const QdIfcEntityType* type, unsigned rules) {
  TypePlan plan;
  plan.table = type->classTable();
  plan.globalId = refer(plan.table, "GlobalId");
  std::vector<const QdIfcAttributeDefinition*> all = type->allAttributes();
  // Explicit attributes that a subtype redeclares as derived hold no value here.
  std::unordered_set<const QdIfcAttributeDefinition*> derived;
  for (const QdIfcAttributeDefinition* a : all)
    if (const QdIfcDerivedAttributeDefinition* d = a->asDerivedAttributeDefinition())
      if (d->redeclared()) derived.insert(d->redeclared());
  for (const QdIfcAttributeDefinition* a : all) {
    if (const QdIfcExplicitAttributeDefinition* e = a->asExplicitAttributeDefinition()) {
      if (derived.count(a) || !a->type()) continue;
      ExplicitCheck c{
          refer(plan.table, a->name()), a->name(), !e->optional(), a->type(), aggregationOf(a->type()), {}, {}};
      if (rules & kRuleAdmittedType) {
        const DictionaryInstance* element = a->type();
        while (const QdIfcAggregationType* g = aggregationOf(element)) element = g->elementType();
        std::unordered_set<const DictionaryInstance*> seen;
        admittedEntities(element, c.admitted, seen);
        if (!c.admitted.empty()) c.admittedText = typeText(element);
      }
      const bool useful = (c.required && (rules & kRuleRequired)) || (c.aggregate && (rules & kRuleAggregateBounds)) ||
                          !c.admitted.empty();
      if (useful) plan.explicits.push_back(std::move(c));
    } else if (const QdIfcInverseAttributeDefinition* i = a->asInverseAttributeDefinition()) {
      // The relationship's type is the owner of the attribute the inverse inverts.
      const QdIfcEntityType* target = i->inverted() ? i->inverted()->owner() : nullptr;
      if (!(rules & kRuleInverseBounds) || !target) continue;
      const int lower = i->lowerBound(), upper = i->upperBound();
      const bool bounded = (!Consts::isUnset(lower) && lower > 0) || !Consts::isUnset(upper);
      if (!bounded) continue;
      std::string text = "SET [" + (Consts::isUnset(lower) ? std::string("0") : std::to_string(lower)) + ":" +
                         (Consts::isUnset(upper) ? std::string("?") : std::to_string(upper)) + "] OF " +
                         target->schemaName() + " FOR " + i->inverted()->name();
      plan.inverses.push_back(
          {refer(plan.table, a->name()), a->name(), Consts::isUnset(lower) ? 0 : lower, upper, std::move(text)});
    }
  }
  return plan;
}

// The handle a value refers to, if it is a reference or a select that holds one.
bool referenceIn(const QdIfcVariant& v, QdDbObjectId& out) {
  if (v.type() == &QdIfcVariantType::Desc<QdDbObjectId>::value()) {
    out = *v.ptr<QdDbObjectId>();
    return !out.isNull();
  }
  if (v.type() && v.type()->isSelect()) {
    QdIfcSelect* s = nullptr;
    if (v.getValue(s) && s) {
      out = s->getHandle();
      return !out.isNull();
    }
  }
  return false;
}

// What is wrong with a GlobalId that is not well formed: its length, else its first
// character, else the first character outside the alphabet.
std::string guidFault(std::string_view text) {
  if (text.size() != static_cast<size_t>(QdIfcGUID::kLength))
    return std::to_string(text.size()) + (text.size() == 1 ? " character" : " characters");
  if (text[0] < '0' || text[0] > '3') return std::string("first character '") + text[0] + "'";
  static constexpr std::string_view kAlphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
  for (size_t i = 0; i < text.size(); ++i)
    if (kAlphabet.find(text[i]) == std::string_view::npos)
      return std::string("character '") + text[i] + "' at " + std::to_string(i + 1);
  return "not well formed";
}

// An array has as many elements as its index range; a set or list needs at least
// its lower bound.
bool asksForElements(const QdIfcAggregationType* type) {
  if (type->aggregationType() == QdIfcAggregationType::kArray) return true;
  const int lower = boundOf(type->lowerBound());
  return !Consts::isUnset(lower) && lower > 0;
}

std::string countText(int n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

class Validator {
 public:
  Validator(const QdIfcModel& model, unsigned rules) : m_model(model), m_rules(rules) {}

  std::vector<QdIfcFinding> run() {
    const QdIfcSchema* schema = m_model.schema();
    if (!schema) return {};
    const QdIfcEntityType* root =
        (m_rules & (kRuleUniqueGlobalId | kRuleGlobalIdForm)) ? schema->findEntityType("IfcRoot") : nullptr;
    m_model.forEach([&](const QdDbObjectId& id, QdIfcEntityBase* object) {
      const QdIfcEntityType* type = object->getInstanceType();
      if (!type) return;
      m_id = id.id();
      m_type = type;
      const TypePlan& plan = planOf(type);
      m_table = plan.table;
      if ((m_rules & kRuleAbstract) && type->isAbstract())
        add(kRuleAbstract, "", "an instance of a subtype of " + std::string(type->schemaName()),
            "one of the type itself");
      for (const ExplicitCheck& c : plan.explicits) checkExplicit(*object, c);
      for (const InverseCheck& c : plan.inverses) checkInverse(*object, c);
      if (root && type->isSubtypeOf(root)) checkGlobalId(*object, plan.globalId);
    });
    return std::move(m_findings);
  }

 private:
  const TypePlan& planOf(const QdIfcEntityType* type) {
    auto found = m_plans.find(type);
    if (found == m_plans.end()) found = m_plans.emplace(type, makePlan(type, m_rules)).first;
    return found->second;
  }

  void add(QdIfcRule rule, std::string attribute, std::string expected, std::string found) {
    m_findings.push_back({m_id, m_type, std::move(attribute), rule, std::move(expected), std::move(found)});
  }

  // ---- reading an attribute: as getAttr and testAttr answer, through the class's row ----

  bool get(const QdIfcEntityBase& object, const AttrRef& r, QdIfcVariant& v) const {
    if (m_table && r.getRow) return m_table->getAttr(&object, *r.getRow, v);
    return object.getAttr(r.name, v);
  }
  bool test(const QdIfcEntityBase& object, const AttrRef& r) const {
    if (m_table && r.testRow) return m_table->testAttr(&object, *r.testRow);
    return object.testAttr(r.name);
  }
  // The row getAttr finds when it holds a member of that kind, else null.
  const QdIfcAttrRow* rowOf(const AttrRef& r, std::initializer_list<QdIfcMemberKind> kinds) const {
    if (!m_table || !r.getRow || r.getRow->role == QdIfcAttrRole::kRedeclared) return nullptr;
    for (QdIfcMemberKind k : kinds)
      if (r.getRow->kind == k) return r.getRow;
    return nullptr;
  }
  // The aggregate an attribute holds, as getAttr hands it out; null where it gives none.
  const QdIfcAggr* aggregateIn(const QdIfcEntityBase& object, const AttrRef& r) const {
    if (const QdIfcAttrRow* row = rowOf(r, {QdIfcMemberKind::kAggregate, QdIfcMemberKind::kNested})) {
      m_table->checkAccess(&object, QdIfcAttrOp::kGet);
      return static_cast<const QdIfcAggr*>(QdIfcClassTable::member(&object, *row));
    }
    QdIfcVariant v;
    QdIfcAggr* aggregate = nullptr;
    return get(object, r, v) && v.getValue(aggregate) ? aggregate : nullptr;
  }
  // The handle a reference or a select holds, as getAttr hands it out; false where none.
  bool referenceOf(const QdIfcEntityBase& object, const AttrRef& r, QdDbObjectId& out) const {
    if (const QdIfcAttrRow* row = rowOf(r, {QdIfcMemberKind::kEntity, QdIfcMemberKind::kSelect})) {
      m_table->checkAccess(&object, QdIfcAttrOp::kGet);
      const void* m = QdIfcClassTable::member(&object, *row);
      out = row->kind == QdIfcMemberKind::kEntity ? *static_cast<const QdDbObjectId*>(m)
                                                  : static_cast<const QdIfcSelect*>(m)->getHandle();
      return !out.isNull();
    }
    QdIfcVariant v;
    return get(object, r, v) && referenceIn(v, out);
  }

  void checkExplicit(const QdIfcEntityBase& object, const ExplicitCheck& c) {
    // An aggregate without elements is judged as a file holds it: an optional one is
    // written "$" and a required one "()" whether it is nil or empty, so both count
    // as no value, and a required one is a finding where its type asks for elements.
    const QdIfcAggr* aggregate = c.aggregate ? aggregateIn(object, c.ref) : nullptr;
    const bool set = c.aggregate ? aggregate && aggregate->count() > 0 : test(object, c.ref);
    if (!set) {
      if (c.required && (m_rules & kRuleRequired) && (!c.aggregate || asksForElements(c.aggregate)))
        add(kRuleRequired, c.display, "a value", aggregate && !aggregate->isNil() ? "an empty list" : "none");
      return;
    }
    QdDbObjectId target;
    if (aggregate) {
      walkAggregate(*aggregate, c.aggregate, c, c.display);
    } else if (!c.admitted.empty() && referenceOf(object, c.ref, target)) {
      checkTarget(target, c, c.display);
    }
  }

  // The bounds of an aggregate and of those nested in it, and the references it holds.
  void walkAggregate(const QdIfcAggr& aggregate, const QdIfcAggregationType* type, const ExplicitCheck& c,
                     const std::string& where) {
    if (aggregate.isNil()) return;
    const int n = aggregate.count();
    if (m_rules & kRuleAggregateBounds) {
      int lower = boundOf(type->lowerBound()), upper = boundOf(type->upperBound());
      int least = lower, most = upper;
      if (type->aggregationType() == QdIfcAggregationType::kArray && !Consts::isUnset(lower) && !Consts::isUnset(upper))
        least = most = upper - lower + 1;  // an array's bounds are its first and last index
      if ((!Consts::isUnset(least) && n < least) || (!Consts::isUnset(most) && n > most))
        add(kRuleAggregateBounds, where, typeText(type), countText(n, "element", "elements"));
    }
    const QdIfcAggregationType* inner = aggregationOf(type->elementType());
    if (!inner && c.admitted.empty()) return;
    if (!inner && &aggregate.elementType() == &QdIfcVariantType::Desc<QdDbObjectId>::value()) {
      // The common case, a set or list of references, without an iterator.
      const auto& items =
          aggregate.aggrOrderType() == kAggrOrdered
              ? static_cast<const QdIfcOrderedAggr::QdIfcOrderedAggrImp<QdDbObjectId>*>(aggregate.imp())->items()
              : static_cast<const QdIfcUnOrderedAggr::QdIfcUnorderedAggrImp<QdDbObjectId>*>(aggregate.imp())->items();
      for (const QdDbObjectId& h : items) checkTarget(h, c, where);
      return;
    }
    std::unique_ptr<QdIfcAggrConstIterator> it(aggregate.createConstIterator());
    int index = 0;
    QdIfcVariant element;
    while (it->next()) {
      ++index;
      if (!it->getValue(element)) continue;
      if (inner) {
        QdIfcAggr* nested = nullptr;
        if (element.getValue(nested) && nested)
          walkAggregate(*nested, inner, c, where + "[" + std::to_string(index) + "]");
      } else {
        checkReference(element, c, where);
      }
    }
  }

  void checkReference(const QdIfcVariant& v, const ExplicitCheck& c, const std::string& where) {
    QdDbObjectId target;
    if (referenceIn(v, target)) checkTarget(target, c, where);
  }

  void checkTarget(const QdDbObjectId& target, const ExplicitCheck& c, const std::string& where) {
    if (!(m_rules & kRuleAdmittedType) || c.admitted.empty()) return;
    const QdIfcEntityBase* object = target.openObject();
    if (!object) return;  // a reference to no record: the reader reports those
    for (const QdIfcEntityType* t : c.admitted)
      if (object->isKindOf(t)) return;
    const QdIfcEntityType* found = object->getInstanceType();
    add(kRuleAdmittedType, where, c.admittedText,
        "#" + std::to_string(target.id()) + " of " + (found ? found->schemaName() : "no type"));
  }

  void checkInverse(const QdIfcEntityBase& object, const InverseCheck& c) {
    std::vector<uint64_t> ids;
    if (const QdIfcAttrRow* row = rowOf(c.ref, {QdIfcMemberKind::kEntity, QdIfcMemberKind::kAggregate});
        row && row->role == QdIfcAttrRole::kInverse) {
      m_table->checkAccess(&object, QdIfcAttrOp::kGet);
      const void* m = QdIfcClassTable::member(&object, *row);
      if (row->marks & kAttrSingle) {
        if (const QdDbObjectId& h = *static_cast<const QdDbObjectId*>(m); !h.isNull()) ids.push_back(h.id());
      } else {
        for (const QdDbObjectId& h : static_cast<const QdIfcSetAggr<QdDbObjectId>*>(m)->items())
          if (!h.isNull()) ids.push_back(h.id());
      }
    } else {
      QdIfcVariant v;
      if (!get(object, c.ref, v)) return;
      QdIfcAggr* aggregate = nullptr;
      QdDbObjectId single;
      if (referenceIn(v, single)) {
        ids.push_back(single.id());
      } else if (v.getValue(aggregate) && aggregate && !aggregate->isNil()) {
        std::unique_ptr<QdIfcAggrConstIterator> it(aggregate->createConstIterator());
        QdIfcVariant element;
        QdDbObjectId h;
        while (it->next())
          if (it->getValue(element) && referenceIn(element, h)) ids.push_back(h.id());
      }
    }
    const int n = static_cast<int>(ids.size());
    if (n >= c.lower && (Consts::isUnset(c.upper) || n <= c.upper)) return;
    std::string found = countText(n, "relationship", "relationships");
    std::sort(ids.begin(), ids.end());
    for (size_t i = 0; i < ids.size() && i < 5; ++i) found += (i ? ", #" : ": #") + std::to_string(ids[i]);
    if (ids.size() > 5) found += ", ...";
    add(kRuleInverseBounds, c.display, c.expected, found);
  }

  void checkGlobalId(const QdIfcEntityBase& object, const AttrRef& r) {
    if (!test(object, r)) return;
    std::string text;
    const QdIfcGUID* guid = nullptr;
    QdIfcVariant v;
    if (const QdIfcAttrRow* row = rowOf(r, {QdIfcMemberKind::kGuid})) {
      guid = static_cast<const QdIfcGUID*>(QdIfcClassTable::member(&object, *row));
    } else if (!get(object, r, v)) {
      return;
    } else {
      guid = v.ptr<QdIfcGUID>();
    }
    if (guid) {
      text = guid->view();
      if ((m_rules & kRuleGlobalIdForm) && !guid->isWellFormed())
        add(kRuleGlobalIdForm, "GlobalId", "22 characters of the IFC base-64 alphabet, the first one 0 to 3",
            "'" + text + "' (" + guidFault(text) + ")");
    } else {
      QdAnsiString other;
      if (!v.getValue(other)) return;
      text = other.constStr();
    }
    if (!(m_rules & kRuleUniqueGlobalId)) return;
    auto [at, fresh] = m_globalIds.emplace(std::move(text), m_id);
    if (!fresh)
      add(kRuleUniqueGlobalId, "GlobalId", "a GlobalId of its own",
          "'" + at->first + "', also of #" + std::to_string(at->second));
  }

  const QdIfcModel& m_model;
  unsigned m_rules;
  uint64_t m_id = 0;
  const QdIfcEntityType* m_type = nullptr;
  const QdIfcClassTable* m_table = nullptr;  // of the instance at hand; null for a class without one
  std::unordered_map<const QdIfcEntityType*, TypePlan> m_plans;
  std::unordered_map<std::string, uint64_t> m_globalIds;
  std::vector<QdIfcFinding> m_findings;
};

}  // namespace

std::vector<QdIfcFinding> qdIfcValidate(const QdIfcModel& model, unsigned rules) {
  return Validator(model, rules).run();
}

}  // namespace QD_SDAI
