// The descriptors of the core's value types and the conversions between them.
//
// Conversions are offered where nothing is lost silently: integers widen to reals,
// reals narrow to integers only when they hold a whole number in range, text moves
// freely between QdAnsiString, HsString and char const*, BOOLEAN widens to LOGICAL
// and LOGICAL narrows unless it is UNKNOWN. The unset integer and the unset real
// stand for each other. Arrays convert to and from arrays of variants element by
// element, all or nothing. Everything else answers false.
#include <QdIfcCore/Consts.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcVariantTypes.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <string>

namespace QD_SDAI {
namespace {

template <class T>
const QdIfcVariantType& desc() {
  return QdIfcVariantType::Desc<T>::value();
}

template <class T>
bool is(const QdIfcVariantType& t) {
  return &t == &desc<T>();
}

template <class T>
const T& valueOf(const QdIfcVariant& v) {
  return *static_cast<const T*>(v.payload());
}

template <class T>
bool put(QdIfcVariant& result, const T& value) {
  result = QdIfcVariant(value);
  return true;
}

bool putText(QdIfcVariant& result, const char* text) {
  result = QdIfcVariant(text);
  return true;
}

bool unsetText(HsString& out, StringFormat format) {
  out.assign(format == kStringFormatStep ? "$" : "");
  return true;
}

// Shortest text that reads back to the same double. The parameter form always has
// a decimal point and an upper-case exponent.
std::string realText(double v, StringFormat format) {
  char buf[40];
  auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v);
  std::string s(buf, ec == std::errc() ? end : buf);
  if (format != kStringFormatStep) return s;
  size_t e = s.find_first_of("eE");
  std::string mantissa = s.substr(0, e), exponent = e == std::string::npos ? "" : s.substr(e + 1);
  if (mantissa.find('.') == std::string::npos) mantissa += '.';
  if (exponent.empty()) return mantissa;
  if (exponent[0] == '+') exponent.erase(0, 1);
  return mantissa + "E" + exponent;
}

std::string quoted(std::string_view text) {
  std::string s;
  s.reserve(text.size() + 2);
  s += '\'';
  s += text;
  s += '\'';
  return s;
}

bool isGuidText(std::string_view s) {
  if (s.size() != static_cast<size_t>(QdIfcGUID::kLength)) return false;
  for (char c : s) {
    bool ok = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '$';
    if (!ok) return false;
  }
  return true;
}

// Text to the three text types and to a GUID. `text` stays valid while source lives.
bool textTo(const QdIfcVariantType& target, std::string_view text, const char* cstr, QdIfcVariant& result) {
  if (is<QdAnsiString>(target)) return put(result, QdAnsiString(text.data(), static_cast<int>(text.size()), CP_UTF_8));
  if (is<const char*>(target)) return putText(result, cstr);
  if (is<HsString>(target)) {
    HsString h;
    h.assign(text);
    return put(result, h);
  }
  if (is<QdIfcGUID>(target)) {
    if (!isGuidText(text)) return false;
    return put(result, QdIfcGUID(cstr));
  }
  return false;
}

// ---- numbers --------------------------------------------------------------------

constexpr unsigned long kExactIntegerLimit = 1UL << 53;  // every integer up to here is a double

class IntType final : public QdIfcVariantTypePOD<int> {
 public:
  IntType() : QdIfcVariantTypePOD<int>(L"int") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    int v = valueOf<int>(source);
    bool unset = v == Consts::QdIntUnset;
    if (is<double>(target)) return put(result, unset ? Consts::QdRealUnset : static_cast<double>(v));
    if (is<unsigned long>(target)) {
      if (unset || v < 0) return false;
      return put(result, static_cast<unsigned long>(v));
    }
    return false;
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    int v = *static_cast<const int*>(p);
    if (v == Consts::QdIntUnset) return unsetText(out, format);
    out.assign(std::to_string(v).c_str());
    return true;
  }
};

class RealType final : public QdIfcVariantTypePOD<double> {
 public:
  RealType() : QdIfcVariantTypePOD<double>(L"double") {}
  bool subEqualTo(const void* a, const void* b) const override {
    double x = *static_cast<const double*>(a), y = *static_cast<const double*>(b);
    return x == y || (x != x && y != y);  // two unset reals are the same value
  }
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    double v = valueOf<double>(source);
    if (is<int>(target)) {
      if (v != v) return put(result, Consts::QdIntUnset);
      if (v != std::trunc(v) || v < static_cast<double>(INT_MIN) || v >= static_cast<double>(INT_MAX)) return false;
      return put(result, static_cast<int>(v));
    }
    if (is<unsigned long>(target)) {
      if (v != v || v != std::trunc(v) || v < 0 || v >= 18446744073709551616.0) return false;
      return put(result, static_cast<unsigned long>(v));
    }
    return false;
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    double v = *static_cast<const double*>(p);
    if (v != v) return unsetText(out, format);
    out.assign(realText(v, format).c_str());
    return true;
  }
};

class UnsignedType final : public QdIfcVariantTypePOD<unsigned long> {
 public:
  UnsignedType() : QdIfcVariantTypePOD<unsigned long>(L"unsigned long") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    unsigned long v = valueOf<unsigned long>(source);
    if (is<int>(target)) {
      if (v >= static_cast<unsigned long>(INT_MAX)) return false;  // INT_MAX is the unset integer
      return put(result, static_cast<int>(v));
    }
    if (is<double>(target)) {
      if (v > kExactIntegerLimit) return false;
      return put(result, static_cast<double>(v));
    }
    return false;
  }
  bool subToString(HsString& out, const void* p, StringFormat) const override {
    if (!p) return false;
    out.assign(std::to_string(*static_cast<const unsigned long*>(p)).c_str());
    return true;
  }
};

// ---- text -----------------------------------------------------------------------

class CStringType final : public QdIfcVariantTypePOD<const char*> {
 public:
  CStringType() : QdIfcVariantTypePOD<const char*>(L"char const*") {}
  bool subEqualTo(const void* a, const void* b) const override {
    const char* x = *static_cast<const char* const*>(a);
    const char* y = *static_cast<const char* const*>(b);
    if (!x || !y) return x == y;
    return std::strcmp(x, y) == 0;
  }
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const char* s = valueOf<const char*>(source);
    return textTo(target, s ? std::string_view(s) : std::string_view(), s ? s : "", result);
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    const char* s = *static_cast<const char* const*>(p);
    if (!s) return unsetText(out, format);
    out.assign(format == kStringFormatStep ? quoted(s).c_str() : s);
    return true;
  }
};

class AnsiStringType final : public QdIfcVariantTypeForObject<QdAnsiString> {
 public:
  AnsiStringType() : QdIfcVariantTypeForObject<QdAnsiString>(L"QdAnsiString") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const QdAnsiString& s = valueOf<QdAnsiString>(source);
    return textTo(target, s.view(), s.constStr(), result);
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    const QdAnsiString& s = *static_cast<const QdAnsiString*>(p);
    if (s.isUnset()) return unsetText(out, format);
    if (format == kStringFormatStep) out.assign(std::string_view(quoted(s.view())));
    else out.assign(s.view());
    return true;
  }
};

class HsStringType final : public QdIfcVariantTypeForObject<HsString> {
 public:
  HsStringType() : QdIfcVariantTypeForObject<HsString>(L"HsString") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const HsString& s = valueOf<HsString>(source);
    return textTo(target, s.utf8(), s.utf8Ptr(), result);
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    const HsString& s = *static_cast<const HsString*>(p);
    if (format == kStringFormatStep) out.assign(std::string_view(quoted(s.utf8())));
    else out = s;
    return true;
  }
};

class GuidType final : public QdIfcVariantTypePOD<QdIfcGUID> {
 public:
  GuidType() : QdIfcVariantTypePOD<QdIfcGUID>(L"QdIfcGUID") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const QdIfcGUID& g = valueOf<QdIfcGUID>(source);
    if (is<QdIfcGUID>(target)) return false;
    return textTo(target, g.view(), g.constStr(), result);
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    const QdIfcGUID& g = *static_cast<const QdIfcGUID*>(p);
    if (!g.isSet()) return unsetText(out, format);
    out.assign(format == kStringFormatStep ? quoted(g.view()).c_str() : g.constStr());
    return true;
  }
};

// ---- handles, truth values, small enumerations ------------------------------------

class HandleType final : public QdIfcVariantTypePOD<QdDbObjectId> {
 public:
  HandleType() : QdIfcVariantTypePOD<QdDbObjectId>(L"QdDbObjectId") {}
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    const QdDbObjectId& h = *static_cast<const QdDbObjectId*>(p);
    if (h.isNull()) return unsetText(out, format);
    out.assign(("#" + std::to_string(h.id())).c_str());
    return true;
  }
};

class BooleanType final : public QdIfcVariantTypePOD<QdIfcBoolean> {
 public:
  BooleanType() : QdIfcVariantTypePOD<QdIfcBoolean>(L"QdIfcBoolean") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    if (!is<QdIfcLogical>(target)) return false;
    switch (valueOf<QdIfcBoolean>(source).value()) {
      case QdIfcBoolean::False: return put(result, QdIfcLogical(QdIfcLogical::False));
      case QdIfcBoolean::True: return put(result, QdIfcLogical(QdIfcLogical::True));
      default: return put(result, QdIfcLogical(QdIfcLogical::Unset));
    }
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    bool step = format == kStringFormatStep;
    switch (static_cast<const QdIfcBoolean*>(p)->value()) {
      case QdIfcBoolean::False: out.assign(step ? ".F." : "false"); return true;
      case QdIfcBoolean::True: out.assign(step ? ".T." : "true"); return true;
      default: return unsetText(out, format);
    }
  }
};

class LogicalType final : public QdIfcVariantTypePOD<QdIfcLogical> {
 public:
  LogicalType() : QdIfcVariantTypePOD<QdIfcLogical>(L"QdIfcLogical") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    if (!is<QdIfcBoolean>(target)) return false;
    switch (valueOf<QdIfcLogical>(source).value()) {
      case QdIfcLogical::False: return put(result, QdIfcBoolean(QdIfcBoolean::False));
      case QdIfcLogical::True: return put(result, QdIfcBoolean(QdIfcBoolean::True));
      case QdIfcLogical::Unknown: return false;
      default: return put(result, QdIfcBoolean(QdIfcBoolean::Unset));
    }
  }
  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    bool step = format == kStringFormatStep;
    switch (static_cast<const QdIfcLogical*>(p)->value()) {
      case QdIfcLogical::False: out.assign(step ? ".F." : "false"); return true;
      case QdIfcLogical::True: out.assign(step ? ".T." : "true"); return true;
      case QdIfcLogical::Unknown: out.assign(step ? ".U." : "unknown"); return true;
      default: return unsetText(out, format);
    }
  }
};

class EnumDescriptionType final : public QdIfcVariantTypePOD<QdIfcEnumDescription> {
 public:
  EnumDescriptionType() : QdIfcVariantTypePOD<QdIfcEnumDescription>(L"QdIfcEnumDescription") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const char* s = valueOf<QdIfcEnumDescription>(source).text;
    if (!s) return false;
    return textTo(target, s, s, result);
  }
  bool subToString(HsString& out, const void* p, StringFormat) const override {
    if (!p) return false;
    out.assign(static_cast<const QdIfcEnumDescription*>(p)->text);
    return true;
  }
};

class TypeCodeKindType final : public QdIfcVariantTypePOD<QdTypeCodeKind> {
 public:
  TypeCodeKindType() : QdIfcVariantTypePOD<QdTypeCodeKind>(L"QdTypeCodeKind") {}
  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    if (!is<int>(target)) return false;
    return put(result, static_cast<int>(valueOf<QdTypeCodeKind>(source)));
  }
  bool subToString(HsString& out, const void* p, StringFormat) const override {
    if (!p) return false;
    out.assign(std::to_string(static_cast<int>(*static_cast<const QdTypeCodeKind*>(p))).c_str());
    return true;
  }
};

// ---- arrays ---------------------------------------------------------------------

template <class E>
bool elementsToVariants(const QdIfcArray<E>& in, QdIfcVariant& result) {
  QdIfcArray<QdIfcVariant> out;
  out.setPhysicalLength(in.length());
  for (const E& e : in) out.append(QdIfcVariant(e));
  return put(result, out);
}

template <class E>
bool variantsToElements(const QdIfcArray<QdIfcVariant>& in, QdIfcVariant& result) {
  QdIfcArray<E> out;
  out.setPhysicalLength(in.length());
  for (const QdIfcVariant& v : in) {
    E e{};
    if (!v.getValue(e)) return false;
    out.append(e);
  }
  return put(result, out);
}

template <class To, class From>
bool convertElements(const QdIfcArray<From>& in, QdIfcVariant& result) {
  QdIfcArray<To> out;
  out.setPhysicalLength(in.length());
  for (const From& e : in) {
    To t{};
    if (!QdIfcVariant(e).getValue(t)) return false;
    out.append(t);
  }
  return put(result, out);
}

template <class E>
class ArrayType final : public QdIfcVariantTypeForObject<QdIfcArray<E>> {
  using Array = QdIfcArray<E>;

 public:
  explicit ArrayType(const wchar_t* name) : QdIfcVariantTypeForObject<Array>(name) {}

  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const Array& a = valueOf<Array>(source);
    if (is<QdIfcArray<QdIfcVariant>>(target)) return elementsToVariants(a, result);
    if constexpr (std::is_same_v<E, int>) {
      if (is<QdIfcArray<double>>(target)) return convertElements<double>(a, result);
    }
    if constexpr (std::is_same_v<E, double>) {
      if (is<QdIfcArray<int>>(target)) return convertElements<int>(a, result);
    }
    return false;
  }

  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    const Array& a = *static_cast<const Array*>(p);
    const QdIfcVariantType& element = desc<E>();
    std::string text = "(";
    HsString item;
    for (int i = 0; i < a.length(); ++i) {
      if (i) text += ',';
      item = HsString();
      if (!element.toString(item, &a[i], format)) return false;
      text += item.utf8();
    }
    text += ')';
    out.assign(std::string_view(text));
    return true;
  }
};

// The array of variants converts to every typed array of the core, all or nothing.
class VariantArrayType final : public QdIfcVariantTypeForObject<QdIfcArray<QdIfcVariant>> {
  using Array = QdIfcArray<QdIfcVariant>;

 public:
  VariantArrayType() : QdIfcVariantTypeForObject<Array>(L"SDAI_NAMESPACE_PFX QdIfcArray<QdIfcVariant>") {}

  bool subToValueType(const QdIfcVariantType& target, const QdIfcVariant& source, QdIfcVariant& result) const override {
    const Array& a = valueOf<Array>(source);
    if (is<QdIfcArray<int>>(target)) return variantsToElements<int>(a, result);
    if (is<QdIfcArray<double>>(target)) return variantsToElements<double>(a, result);
    if (is<QdIfcArray<QdAnsiString>>(target)) return variantsToElements<QdAnsiString>(a, result);
    if (is<QdIfcArray<QdDbObjectId>>(target)) return variantsToElements<QdDbObjectId>(a, result);
    if (is<QdIfcArray<QdIfcArray<int>>>(target)) return variantsToElements<QdIfcArray<int>>(a, result);
    if (is<QdIfcArray<QdIfcArray<double>>>(target)) return variantsToElements<QdIfcArray<double>>(a, result);
    if (is<QdIfcArray<QdIfcArray<QdDbObjectId>>>(target))
      return variantsToElements<QdIfcArray<QdDbObjectId>>(a, result);
    return false;
  }

  bool subToString(HsString& out, const void* p, StringFormat format) const override {
    if (!p) return false;
    const Array& a = *static_cast<const Array*>(p);
    std::string text = "(";
    HsString item;
    for (int i = 0; i < a.length(); ++i) {
      if (i) text += ',';
      item = HsString();
      if (!a[i].toString(item, format)) return false;
      text += item.utf8();
    }
    text += ')';
    out.assign(std::string_view(text));
    return true;
  }
};

}  // namespace
}  // namespace QD_SDAI

using QD_SDAI::QdAnsiString;
using QD_SDAI::QdDbObjectId;
using QD_SDAI::QdIfcArray;
using QD_SDAI::QdIfcBoolean;
using QD_SDAI::QdIfcEnumDescription;
using QD_SDAI::QdIfcGUID;
using QD_SDAI::QdIfcLogical;
using QD_SDAI::QdIfcVariant;
using QD_SDAI::QdTypeCodeKind;
using CString = const char*;
using IntArray = QdIfcArray<int>;
using RealArray = QdIfcArray<double>;
using TextArray = QdIfcArray<QdAnsiString>;
using HandleArray = QdIfcArray<QdDbObjectId>;
using VariantArray = QdIfcArray<QdIfcVariant>;
using IntArrays = QdIfcArray<IntArray>;
using RealArrays = QdIfcArray<RealArray>;
using HandleArrays = QdIfcArray<HandleArray>;

QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, int, new IntType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, double, new RealType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, unsigned long, new UnsignedType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, CString, new CStringType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, QdAnsiString, new AnsiStringType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, HsString, new HsStringType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, QdDbObjectId, new HandleType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, QdIfcGUID, new GuidType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, QdIfcLogical, new LogicalType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, QdIfcBoolean, new BooleanType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, QdIfcEnumDescription, new EnumDescriptionType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, QdTypeCodeKind, new TypeCodeKindType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, IntArray, new ArrayType<int>(L"SDAI_NAMESPACE_PFX QdIfcArray<int>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, RealArray, new ArrayType<double>(L"SDAI_NAMESPACE_PFX QdIfcArray<double>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, TextArray,
                               new ArrayType<QdAnsiString>(L"SDAI_NAMESPACE_PFX QdIfcArray<QdAnsiString>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, HandleArray,
                               new ArrayType<QdDbObjectId>(L"SDAI_NAMESPACE_PFX QdIfcArray<QdDbObjectId>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, VariantArray, new VariantArrayType)
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, IntArrays,
                               new ArrayType<IntArray>(L"SDAI_NAMESPACE_PFX QdIfcArray<QdIfcArray<int>>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, RealArrays,
                               new ArrayType<RealArray>(L"SDAI_NAMESPACE_PFX QdIfcArray<QdIfcArray<double>>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, HandleArrays,
                               new ArrayType<HandleArray>(L"SDAI_NAMESPACE_PFX QdIfcArray<QdIfcArray<QdDbObjectId>>"))
