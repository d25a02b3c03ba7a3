#include "MemberClasses.h"

namespace IFC4::detail {

namespace {
const EnumTable& literalsOf(const QdIfcMemberClass& self) { return *static_cast<const EnumTable*>(self.data); }
}  // namespace

// Unsigned and signed numbers and texts; a text that is no literal stores UNSET and is refused.
bool putEnumValue(const QdIfcMemberClass& self, void* member, const QdIfcVariant& value) {
  int number = 0;
  EnumInput r = enumSource(value, literalsOf(self), number);
  if (r != EnumInput::kRefused) *static_cast<int32_t*>(member) = number;
  return r == EnumInput::kStored;
}

// A literal the table does not know, in any case, gives the unset value without complaint.
void readEnumValue(const QdIfcMemberClass& self, void* member, QdSpfFilerBase* filer, bool optional, bool comma) {
  std::string_view literal = filer->rdEnumerationView(optional, comma);
  if (!literal.empty()) *static_cast<int32_t*>(member) = enumFromLiteral(literalsOf(self), literal);
}

// The literal of the value; the unset value (or any number that is no literal) gives $.
void writeEnumValue(const QdIfcMemberClass& self, const void* member, QdSpfFilerBase* filer, bool optional,
                    bool comma) {
  const int v = *static_cast<const int32_t*>(member);
  filer->wrEnumerationStr(v < 0 ? nullptr : enumToString(literalsOf(self), v), optional, comma);
}

void writeBinariesMember(const QdIfcMemberClass&, const void* member, QdSpfFilerBase* filer, bool optional,
                         bool comma) {
  const QdIfcAggr& a = *static_cast<const QdIfcAggr*>(member);
  if (!beginAggregate(a, filer, optional, comma)) return;
  filer->wrChar('(');
  if (!a.isNil()) {
    bool first = true;
    for (const QdAnsiString& e : elementsOf<QdAnsiString>(a)) {
      if (!first) filer->wrChar(',');
      first = false;
      filer->wrChar('"');
      filer->text().append(e.view());
      filer->wrChar('"');
    }
  }
  filer->wrChar(')');
}

}  // namespace IFC4::detail
