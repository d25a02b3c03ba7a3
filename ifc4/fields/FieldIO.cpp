#include "FieldIO.h"

#include <strings.h>

namespace IFC4::detail {

int enumFromLiteral(const EnumTable& table, std::string_view literal) {
  if (!table.literals) return table.count;
  for (int i = 0; i < table.count; ++i) {
    const char* l = table.literals[i];
    if (std::strlen(l) == literal.size() && strncasecmp(l, literal.data(), literal.size()) == 0) return i;
  }
  return table.count;
}

}  // namespace IFC4::detail
