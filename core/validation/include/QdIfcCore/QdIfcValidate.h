// Checks a model against its schema's dictionary, beyond what reading a file sees:
//
//   required attribute   an explicit attribute that is not optional is unset
//   aggregate bounds     an aggregate (or one nested in it) has fewer or more elements
//                        than its type's bounds allow
//   admitted type        a reference is to an instance of a type that the attribute's
//                        type (an entity, or a select of entities) does not admit
//   inverse bounds       an inverse attribute has fewer or more relationships than its
//                        bounds allow (an element in two spatial containers, say)
//   unique GlobalId      two instances of IfcRoot share a GlobalId
//   GlobalId form        a GlobalId that is not 22 characters of the IFC base-64
//                        alphabet with a first character 0 to 3 ('' among them)
//   abstract type        an instance of a type the schema declares abstract, which
//                        has instances only as instances of its subtypes
//
// Each finding names the instance, the attribute and the rule, with what the rule
// expected and what the model holds. Inverse attributes are read as they stand, so a
// model should have its inverses filled (loading does that) before it is checked.
#pragma once

#include <QdIfcCore/Export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace QD_SDAI {

class QdIfcEntityType;
class QdIfcModel;

enum QdIfcRule : unsigned {
  kRuleRequired = 1u << 0,
  kRuleAggregateBounds = 1u << 1,
  kRuleAdmittedType = 1u << 2,
  kRuleInverseBounds = 1u << 3,
  kRuleUniqueGlobalId = 1u << 4,
  kRuleGlobalIdForm = 1u << 5,
  kRuleAbstract = 1u << 6,
  kAllRules = (1u << 7) - 1,
};

struct QdIfcFinding {
  uint64_t instance = 0;
  const QdIfcEntityType* type = nullptr;  // the instance's type
  std::string attribute;                  // "Polygon", or "Polygon[2]" for a list inside it; "" for the instance
  QdIfcRule rule = kRuleRequired;
  std::string expected;  // what the rule asks: "LIST [3:?] OF IfcCartesianPoint"
  std::string found;     // what the model holds: "2 elements"
};

// The rule's name as findings print it: "required attribute", "aggregate bounds", ...
QDIFCCORE_API const char* qdIfcRuleName(QdIfcRule rule) noexcept;
// "#12 IfcPolyLoop.Polygon: aggregate bounds: expected LIST [3:?] OF IfcCartesianPoint, found 2 elements"
QDIFCCORE_API std::string qdIfcDescribe(const QdIfcFinding& finding);

// The findings of the given rules (a mask of QdIfcRule), by instance number, then in
// the order of the type's attributes. A model without a schema has none.
QDIFCCORE_API std::vector<QdIfcFinding> qdIfcValidate(const QdIfcModel& model, unsigned rules = kAllRules);

}  // namespace QD_SDAI
