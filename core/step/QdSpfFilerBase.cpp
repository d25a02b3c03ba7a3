#include <QdIfcCore/QdSpfFilerBase.h>

#include <QdIfcCore/Consts.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcSettings.h>
#include <QdIfcCore/TextEncodeDecode.h>

#include "SpfLexis.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace QD_SDAI {

// ---- stream and read helper ------------------------------------------------------------

void QdSpfStream::seek(int count, int) noexcept {
  const char* p = m_filer.m_p - count;
  m_filer.m_p = p < m_filer.m_begin ? m_filer.m_begin : p;
}

bool QdSpfReadHelper::skipUntilRet(char c, const std::function<bool(char)>&) { return skipUntilRet(c); }

bool QdSpfReadHelper::skipUntilRet(char c) noexcept {
  if (m_filer.peek() != c) return false;
  ++m_filer.m_p;
  return true;
}

bool QdSpfReadHelper::ignoreParamter(bool noComma) {
  QdSpfFilerBase& f = m_filer;
  f.skipParameter();
  if (noComma) return true;
  if (f.peek() == ',') {
    ++f.m_p;
    return true;
  }
  return false;
}

// ---- construction ----------------------------------------------------------------

QdSpfFilerBase::QdSpfFilerBase() : m_utf8(settings().get_useUTF8()), m_helper(*this) {}

QdSpfFilerBase::QdSpfFilerBase(const char* begin, const char* end, QdIfcModel* model)
    : m_begin(begin),
      m_p(begin),
      m_end(end),
      m_bytesEnd(end),
      m_model(model),
      m_utf8(settings().get_useUTF8()),
      m_helper(*this) {}

QdSpfFilerBase::~QdSpfFilerBase() = default;

// ---- lexical basics ---------------------------------------------------------------

char QdSpfFilerBase::peek() noexcept {
  m_p = spf::skipSpace(m_p, m_end);
  return m_p < m_end ? *m_p : '\0';
}

std::string QdSpfFilerBase::sampleAt(const char* p) const { return spf::sample(p, m_end); }

void QdSpfFilerBase::problemAt(const char* at, std::string expected, std::string found) {
  QdSpfProblem p;
  p.offset = static_cast<uint64_t>((at && at <= m_end ? at : m_end) - m_begin);
  p.instance = m_instance;
  p.expected = std::move(expected);
  p.found = std::move(found);
  m_problems.push_back(std::move(p));
}

void QdSpfFilerBase::problem(std::string expected, std::string found) {
  problemAt(m_p, std::move(expected), std::move(found));
}

void QdSpfFilerBase::skipParameter() noexcept {
  int depth = 0;
  while (true) {
    char c = peek();
    if (c == '\0' || c == ';') return;
    if (c == '\'') {
      const char* q = spf::closingQuote(m_p + 1, m_end);
      m_p = q < m_end ? q + 1 : m_end;
      continue;
    }
    if (c == '"') {
      const char* q = spf::closingDoubleQuote(m_p + 1, m_end);
      m_p = q < m_end ? q + 1 : m_end;
      continue;
    }
    if (c == '(') ++depth;
    if (c == ')' || c == ',') {
      if (depth == 0) return;
      if (c == ')') --depth;
    }
    ++m_p;
  }
}

void QdSpfFilerBase::skipRestOfList() noexcept {
  for (;;) {
    skipParameter();
    char c = peek();
    if (c == ',') {
      ++m_p;
      continue;
    }
    if (c == ')') ++m_p;
    return;
  }
}

bool QdSpfFilerBase::enterField(bool comma) {
  if (m_recordEnded) return false;
  char c = peek();
  if (c == ')' || c == ';' || c == '\0') {
    // The record ends where this field was due: one problem for the record.
    m_recordEnded = true;
    problem("more parameters", c == ')' ? "the end of the record" : sampleAt(m_p));
    return false;
  }
  if (!comma) return true;
  if (c == ',') {
    ++m_p;
    return true;
  }
  problem("','", sampleAt(m_p));
  skipParameter();
  if (peek() == ',') {
    ++m_p;
    return true;
  }
  m_recordEnded = true;
  return false;
}

bool QdSpfFilerBase::takeUnset() {
  char c = peek();
  if (c == '$' || c == '*') {
    ++m_p;
    return true;
  }
  return false;
}

QD::ErrorStatus QdSpfFilerBase::wrongKind(const char* expected) {
  problem(expected, sampleAt(m_p));
  skipParameter();
  return QD::eInvalidInput;
}

// Reads a number token: an integer (isInteger) or a real.
bool QdSpfFilerBase::readIntToken(int64_t& value, bool& isInteger, double& real) {
  const char* start = m_p;
  const char* q = m_p;
  if (q < m_end && (*q == '-' || *q == '+')) ++q;
  const char* digits = q;
  while (q < m_end && spf::isDigit(*q)) ++q;
  if (q == digits) return false;
  if (q < m_end && (*q == '.' || *q == 'E' || *q == 'e')) {
    // A real: digits, a point, more digits, and an exponent, each part optional
    // after the point ("1.", "1.E-006", "4.4e-13").
    if (*q == '.') {
      ++q;
      while (q < m_end && spf::isDigit(*q)) ++q;
    }
    if (q < m_end && (*q == 'E' || *q == 'e')) {
      const char* e = q + 1;
      if (e < m_end && (*e == '-' || *e == '+')) ++e;
      const char* ed = e;
      while (e < m_end && spf::isDigit(*e)) ++e;
      if (e > ed) q = e;
    }
    std::string text(start + (*start == '+' ? 1 : 0), q);
    // from_chars does not take "1." with an exponent after the point on every
    // library, so the text is made canonical first.
    size_t dot = text.find('.');
    if (dot != std::string::npos && (dot + 1 == text.size() || !spf::isDigit(text[dot + 1]))) text.insert(dot + 1, "0");
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), real);
    if (ec == std::errc::result_out_of_range) real = std::numeric_limits<double>::infinity();
    else if (ec != std::errc() || end != text.data() + text.size()) return false;
    isInteger = false;
    m_p = q;
    return true;
  }
  bool negative = *start == '-';
  uint64_t v = 0;
  bool overflow = false;
  for (const char* d = digits; d < q; ++d) {
    if (v > (std::numeric_limits<uint64_t>::max() - 9) / 10) overflow = true;
    v = v * 10 + static_cast<uint64_t>(*d - '0');
  }
  isInteger = true;
  if (overflow || v > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    value = negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
  } else {
    value = negative ? -static_cast<int64_t>(v) : static_cast<int64_t>(v);
  }
  real = static_cast<double>(value);
  m_p = q;
  return true;
}

// ---- reading fields ------------------------------------------------------------------

// A field of one value: its comma, then $ or * (the member keeps its unset value),
// or the value itself.
template <class T>
QD::ErrorStatus QdSpfFilerBase::readField(T& value, bool comma) {
  if (!enterField(comma)) return QD::eInvalidInput;
  if (takeUnset()) return QD::eOk;
  return rdPrimitive(value, false);
}

QD::ErrorStatus QdSpfFilerBase::rdInt(int& value, bool, bool comma) { return readField(value, comma); }

QD::ErrorStatus QdSpfFilerBase::rdPrimitive(int& value, bool comma) {
  if (comma && !enterField(true)) return QD::eInvalidInput;
  peek();
  const char* at = m_p;
  int64_t v = 0;
  double real = 0;
  bool isInteger = false;
  if (!readIntToken(v, isInteger, real) || !isInteger) {
    m_p = at;
    return wrongKind("an integer");
  }
  if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max()) {
    problemAt(at, "an integer within 32 bits", sampleAt(at));
    value = Consts::QdIntUnset;
    return QD::eInvalidInput;
  }
  value = static_cast<int>(v);
  return QD::eOk;
}

QD::ErrorStatus QdSpfFilerBase::rdDouble(double& value, bool, bool comma) { return readField(value, comma); }

QD::ErrorStatus QdSpfFilerBase::rdPrimitive(double& value, bool comma) {
  if (comma && !enterField(true)) return QD::eInvalidInput;
  peek();
  const char* at = m_p;
  int64_t v = 0;
  double real = 0;
  bool isInteger = false;
  if (!readIntToken(v, isInteger, real)) {
    m_p = at;
    return wrongKind("a real");
  }
  if (m_p < m_end && (m_p[0] == '#' || (m_p[0] >= 'A' && m_p[0] <= 'Z') || (m_p[0] >= 'a' && m_p[0] <= 'z'))) {
    // Not a number of the format, such as 1.#INF or 1.#IND: the member stays unset.
    skipParameter();
    problemAt(at, "a finite real", sampleAt(at));
    value = Consts::QdRealUnset;
    return QD::eInvalidInput;
  }
  if (!std::isfinite(real)) {
    problemAt(at, "a finite real", sampleAt(at));
    value = Consts::QdRealUnset;
    return QD::eInvalidInput;
  }
  value = real;
  return QD::eOk;
}

bool QdSpfFilerBase::readStringToken(std::string_view& raw) {
  if (peek() != '\'') return false;
  const char* start = ++m_p;
  const char* q = spf::closingQuote(start, m_end);
  if (q >= m_end) {
    m_p = m_end;
    problemAt(start - 1, "a closing quote", "the end of the file");
    return false;
  }
  raw = std::string_view(start, static_cast<size_t>(q - start));
  m_p = q + 1;
  return true;
}

QD::ErrorStatus QdSpfFilerBase::rdQdAnsiString(QdAnsiString& value, bool, bool comma) {
  return readField(value, comma);
}

QD::ErrorStatus QdSpfFilerBase::rdPrimitive(QdAnsiString& value, bool comma) {
  if (comma && !enterField(true)) return QD::eInvalidInput;
  std::string_view raw;
  if (peek() == '"') {
    // A binary element (a list of BINARY): its hexadecimal text as it stands.
    const char* start = m_p + 1;
    const char* q = static_cast<const char*>(std::memchr(start, '"', static_cast<size_t>(m_end - start)));
    if (!q) return wrongKind("a closing '\"'");
    // Only hexadecimal digits: the text is kept as it stands and may be written as a
    // string, where a quote or a backslash would change its meaning.
    const std::string_view hex(start, static_cast<size_t>(q - start));
    if (hex.find_first_not_of("0123456789ABCDEFabcdef") != std::string_view::npos)
      return wrongKind("a binary \"...\" of hexadecimal digits");
    value = QdAnsiString(hex, m_arena);
    m_p = q + 1;
    return QD::eOk;
  }
  if (!readStringToken(raw)) return m_p >= m_end ? QD::eInvalidInput : wrongKind("a string");
  if (!m_utf8) {
    value = QdAnsiString(raw, m_arena);
    return QD::eOk;
  }
  std::u32string codes;
  TextEncodeDecode::decode(raw, codes);
  std::string utf8;
  for (char32_t c : codes) QdUtf8::append(utf8, c);
  value = QdAnsiString(std::string_view(utf8), m_arena);
  return QD::eOk;
}

QD::ErrorStatus QdSpfFilerBase::rdLimitedString(char* buffer, int length, bool, bool comma) {
  // "$" and a field that does not read leave the unset text; '' is a value with no
  // characters.
  std::memcpy(buffer, Consts::QdStringUnset, Consts::QdStringUnsetLength + 1);
  if (!enterField(comma)) return QD::eInvalidInput;
  if (takeUnset()) return QD::eOk;
  const char* at = m_p;
  std::string_view raw;
  if (!readStringToken(raw)) return m_p >= m_end ? QD::eInvalidInput : wrongKind("a string");
  if (raw.size() > static_cast<size_t>(length)) {
    // Cutting the text would make up a value (and could split a '' or \X\ escape):
    // the member stays unset.
    problemAt(at, "a string of at most " + std::to_string(length) + " characters",
              std::to_string(raw.size()) + " characters");
    return QD::eInvalidInput;
  }
  std::memcpy(buffer, raw.data(), raw.size());
  buffer[raw.size()] = '\0';
  return QD::eOk;
}

namespace {
// The letter of a ".X." literal at p, or 0.
char dottedLetter(const char* p, const char* end) {
  if (p + 2 < end && p[0] == '.' && p[2] == '.') return p[1];
  return 0;
}
}  // namespace

QD::ErrorStatus QdSpfFilerBase::rdPrimitive(QdIfcLogical& value, bool, bool comma) {
  if (!enterField(comma)) return QD::eInvalidInput;
  if (takeUnset()) return QD::eOk;
  switch (peek() ? dottedLetter(m_p, m_end) : 0) {
    case 'T':
    case 't': value = QdIfcLogical::True; break;
    case 'F':
    case 'f': value = QdIfcLogical::False; break;
    case 'U':
    case 'u': value = QdIfcLogical::Unknown; break;
    default: return wrongKind("a logical .T., .F. or .U.");
  }
  m_p += 3;
  return QD::eOk;
}

QD::ErrorStatus QdSpfFilerBase::rdPrimitive(QdIfcBoolean& value, bool, bool comma) {
  if (!enterField(comma)) return QD::eInvalidInput;
  if (takeUnset()) return QD::eOk;
  switch (peek() ? dottedLetter(m_p, m_end) : 0) {
    case 'T':
    case 't': value = QdIfcBoolean::True; break;
    case 'F':
    case 'f': value = QdIfcBoolean::False; break;
    default: return wrongKind("a boolean .T. or .F.");
  }
  m_p += 3;
  return QD::eOk;
}

bool QdSpfFilerBase::readReferenceToken(QdDbObjectId& value, bool& valid) {
  if (peek() != '#') return false;
  const char* at = m_p;
  const char* q = m_p + 1;
  uint64_t id = 0;
  const char* digits = q;
  bool overflow = false;
  while (q < m_end && spf::isDigit(*q)) {
    const uint64_t digit = static_cast<uint64_t>(*q - '0');
    if (id > (std::numeric_limits<uint64_t>::max() - digit) / 10) overflow = true;
    id = id * 10 + digit;
    ++q;
  }
  m_p = q;
  valid = q != digits && !overflow && id != 0;
  if (!valid) {
    problemAt(at, "an instance name #1 to #18446744073709551615", sampleAt(at));
    return true;  // consumed; the handle stays as it was
  }
  // Every reference a record holds, in a field, a list or a select, becomes its handle
  // here, with its place (at) and its record (m_instance) at hand. A check of the
  // referenced instance against the domain of the attribute being read belongs here too,
  // once inFields tells the filer which attribute that is.
  value = m_model ? m_model->handleFor(id) : QdDbObjectId();
  return true;
}

QD::ErrorStatus QdSpfFilerBase::rdReference(QdDbObjectId& value, bool comma) { return readField(value, comma); }

QD::ErrorStatus QdSpfFilerBase::rdPrimitive(QdDbObjectId& value, bool comma) {
  if (comma && !enterField(true)) return QD::eInvalidInput;
  bool valid = true;
  if (!readReferenceToken(value, valid)) return wrongKind("a reference #n");
  // A bad name is no element: a list ends before it instead of holding a null handle.
  return valid ? QD::eOk : QD::eInvalidInput;
}

QD::ErrorStatus QdSpfFilerBase::rdSelect(QdIfcSelect& value, bool, bool comma) { return readField(value, comma); }

QD::ErrorStatus QdSpfFilerBase::rdPrimitive(QdIfcSelect& value, bool comma) {
  if (comma && !enterField(true)) return QD::eInvalidInput;
  char c = peek();
  if (c == '#') {
    QdDbObjectId h;
    bool valid = true;
    readReferenceToken(h, valid);
    if (!valid) return QD::eInvalidInput;
    if (!h.isNull()) value.setHandleOnLoad(h);
    return QD::eOk;
  }
  // A typed parameter: KEYWORD(value).
  const char* at = m_p;
  const char* q = m_p;
  while (q < m_end && spf::isWordChar(*q)) ++q;
  if (q == at) return wrongKind("a typed value or a reference");
  QdAnsiString keyword(std::string_view(at, static_cast<size_t>(q - at)));
  m_p = q;
  if (peek() != '(') {
    m_p = at;
    return wrongKind("a typed value KEYWORD(...)");
  }
  ++m_p;
  if (!value.underlyingTypeName(keyword)) {
    m_p = at;
    return wrongKind("a type the select admits");
  }
  QD::ErrorStatus status = QD::eOk;
  switch (value.getKind()) {
    case kQdTypeReal: {
      double d = Consts::QdRealUnset;
      status = rdPrimitive(d, false);
      value.setDouble(d);
      break;
    }
    case kQdTypeInteger: {
      int i = Consts::QdIntUnset;
      status = rdPrimitive(i, false);
      value.setInt32(i);
      break;
    }
    case kQdTypeString: {
      QdAnsiString s;
      status = rdPrimitive(s, false);
      value.setString(s);
      break;
    }
    case kQdTypeBinary: {
      QdAnsiString s;
      if (peek() == '"') {
        const char* start = ++m_p;
        while (m_p < m_end && *m_p != '"') ++m_p;
        s = QdAnsiString(std::string_view(start, static_cast<size_t>(m_p - start)));
        if (m_p < m_end) ++m_p;
      } else {
        status = wrongKind("a binary \"...\"");
      }
      value.setBINARY(s);
      break;
    }
    case kQdTypeBoolean: {
      QdIfcBoolean b;
      status = rdPrimitive(b, false, false);
      value.setBoolean(b);
      break;
    }
    case kQdTypeLogical: {
      QdIfcLogical l;
      status = rdPrimitive(l, false, false);
      value.setLogical(l);
      break;
    }
    case kQdTypeEnumeration:
    case kQdTypeAggregate: {
      // A list member whose element does not read has reported that element already.
      const size_t before = m_problems.size();
      status = value.readTypedField(keyword, this);
      if (status != QD::eOk && m_problems.size() == before)
        problemAt(at, "a value of " + std::string(keyword.constStr()), sampleAt(at));
      break;
    }
    default: status = wrongKind("a value"); break;
  }
  // A typed value that could not be read leaves the select unset, not holding the
  // member with no value, which would be written as KEYWORD($).
  if (status != QD::eOk) value.nullify();
  if (peek() == ')') {
    ++m_p;
  } else {
    problem("')' closing the typed value", sampleAt(m_p));
    skipParameter();
  }
  return status;
}

std::string_view QdSpfFilerBase::rdEnumerationView(bool, bool comma) {
  if (!enterField(comma)) return {};
  if (takeUnset()) return {};
  if (peek() != '.') {
    wrongKind("an enumeration .NAME.");
    return {};
  }
  const char* start = m_p + 1;
  const char* q = start;
  while (q < m_end && spf::isWordChar(*q)) ++q;
  if (q >= m_end || *q != '.') {
    wrongKind("an enumeration .NAME.");
    return {};
  }
  m_p = q + 1;
  return std::string_view(start, static_cast<size_t>(q - start));
}

QdAnsiString QdSpfFilerBase::rdEnumerationToStr(bool optional, bool comma) {
  std::string_view v = rdEnumerationView(optional, comma);
  return v.empty() ? QdAnsiString() : QdAnsiString(v);
}

QD::ErrorStatus QdSpfFilerBase::rdDerive(bool comma) {
  if (!enterField(comma)) return QD::eInvalidInput;
  if (takeUnset()) return QD::eOk;
  return wrongKind("'*'");
}

bool QdSpfFilerBase::skipUntil(char c) {
  for (;;) {
    char n = peek();
    if (n == c) {
      ++m_p;
      return true;
    }
    if (n == '\0' || n == ';' || (n == ')' && c != ')')) return false;
    if (n == '\'' || n == '"' || n == '(' || n == ',') {
      if (n == ',' || n == '(') return false;
      skipParameter();
      continue;
    }
    ++m_p;
  }
}

bool QdSpfFilerBase::ignoreUntilComments(char c, bool inStrings) {
  for (;;) {
    char n = inStrings ? peek() : (peek(), m_p < m_end ? *m_p : '\0');
    if (n == '\0') return false;
    ++m_p;
    if (n == c) return true;
    if (n == ';') {
      --m_p;
      return false;
    }
  }
}

// ---- writing -------------------------------------------------------------------------

void QdSpfFilerBase::appendReal(std::string& out, double value) {
  char buffer[40];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  if (ec != std::errc()) {
    out += "0.";
    return;
  }
  std::string_view text(buffer, static_cast<size_t>(end - buffer));
  size_t e = text.find('e');
  std::string_view mantissa = text.substr(0, e);
  out.append(mantissa);
  if (mantissa.find('.') == std::string_view::npos) out.push_back('.');
  if (e != std::string_view::npos) {
    out.push_back('E');
    std::string_view exponent = text.substr(e + 1);
    if (!exponent.empty() && exponent[0] == '+') exponent.remove_prefix(1);
    out.append(exponent);
  }
}

void QdSpfFilerBase::wrInt(const int& value, bool, bool comma) {
  fieldComma(comma);
  if (value == Consts::QdIntUnset) {
    m_out.push_back('$');
    return;
  }
  char buffer[16];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  m_out.append(buffer, end);
}

void QdSpfFilerBase::wrDouble(const double& value, bool, bool comma) {
  fieldComma(comma);
  if (value != value) {
    m_out.push_back('$');
    return;
  }
  appendReal(m_out, value);
}

namespace {
// Writes text held in its transported form as a string literal. Its bytes go out as
// they are, read the way closingQuote reads them: '' and \S\x (x a quote too) pass
// whole. Only what would end the literal early changes: an apostrophe not already
// doubled is doubled, and a \S\ with nothing after it gets a backslash to take, so
// that text set by a program still makes a literal that closes where it should.
void appendTransported(std::string& out, std::string_view text) {
  out.push_back('\'');
  const size_t n = text.size();
  size_t done = 0;
  for (size_t i = text.find_first_of("'\\"); i < n; i = text.find_first_of("'\\", i)) {
    const char c = text[i];
    if (c == '\'') {
      out.append(text.substr(done, i - done));
      out += "''";
      i += i + 1 < n && text[i + 1] == '\'' ? 2 : 1;
      done = i;
    } else if (c == '\\' && i + 2 < n && (text[i + 1] == 'S' || text[i + 1] == 's') && text[i + 2] == '\\') {
      if (i + 3 < n) {
        i += 4;
        continue;
      }
      out.append(text.substr(done));
      out.push_back('\\');
      done = i = n;
    } else {
      ++i;
    }
  }
  out.append(text.substr(done));
  out.push_back('\'');
}
}  // namespace

void QdSpfFilerBase::wrQdAnsiString(const QdAnsiString& value, bool, bool comma) {
  fieldComma(comma);
  if (value.isUnset()) {
    m_out.push_back('$');
    return;
  }
  QdAnsiString copy(value);
  wrPrimitive(copy);
}

void QdSpfFilerBase::wrLimitedString(const char* value, int length, bool, bool comma) {
  fieldComma(comma);
  if (!value || std::strcmp(value, Consts::QdStringUnset) == 0) {
    m_out.push_back('$');
    return;
  }
  appendTransported(m_out, std::string_view(value, strnlen(value, static_cast<size_t>(length))));
}

void QdSpfFilerBase::wrPrimitive(QdIfcLogical& value, bool, bool comma) {
  fieldComma(comma);
  switch (value.value()) {
    case QdIfcLogical::True: m_out += ".T."; break;
    case QdIfcLogical::False: m_out += ".F."; break;
    case QdIfcLogical::Unknown: m_out += ".U."; break;
    default: m_out.push_back('$');
  }
}

void QdSpfFilerBase::wrPrimitive(QdIfcBoolean& value, bool, bool comma) {
  fieldComma(comma);
  switch (value.value()) {
    case QdIfcBoolean::True: m_out += ".T."; break;
    case QdIfcBoolean::False: m_out += ".F."; break;
    default: m_out.push_back('$');
  }
}

void QdSpfFilerBase::wrReference(const QdDbObjectId& value, bool comma) {
  fieldComma(comma);
  QdDbObjectId copy(value);
  wrPrimitive(copy);
}

void QdSpfFilerBase::wrSelect(const QdIfcSelect& value, bool, bool comma) {
  fieldComma(comma);
  if (value.isEmpty()) {
    m_out.push_back('$');
    return;
  }
  wrPrimitive(const_cast<QdIfcSelect&>(value));
}

void QdSpfFilerBase::wrEnumerationStr(const QdAnsiString& name, bool optional, bool comma) {
  wrEnumerationStr(name.isEmpty() ? nullptr : name.constStr(), optional, comma);
}

void QdSpfFilerBase::wrEnumerationStr(const char* name, bool, bool comma) {
  fieldComma(comma);
  if (!name || !*name) {
    m_out.push_back('$');
    return;
  }
  m_out.push_back('.');
  m_out.append(name);
  m_out.push_back('.');
}

void QdSpfFilerBase::wrDerive(bool comma) {
  fieldComma(comma);
  m_out.push_back('*');
}

void QdSpfFilerBase::wrPrimitive(int& value) {
  char buffer[16];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  m_out.append(buffer, end);
}

void QdSpfFilerBase::wrPrimitive(double& value) {
  if (value != value) {
    m_out.push_back('$');
    return;
  }
  appendReal(m_out, value);
}

void QdSpfFilerBase::wrPrimitive(QdAnsiString& value) {
  if (!m_utf8) {
    appendTransported(m_out, value.view());
    return;
  }
  std::u32string codes;
  std::string_view in = value.view();
  size_t i = 0;
  bool ok = true;
  while (i < in.size()) codes.push_back(QdUtf8::next(in, i, ok));
  std::string encoded;
  TextEncodeDecode::encode(codes, encoded);
  m_out.push_back('\'');
  m_out.append(encoded);
  m_out.push_back('\'');
}

void QdSpfFilerBase::wrPrimitive(QdDbObjectId& value) {
  if (value.isNull()) {
    m_out.push_back('$');
    return;
  }
  m_out.push_back('#');
  char buffer[24];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value.id());
  m_out.append(buffer, end);
}

void QdSpfFilerBase::wrPrimitive(QdIfcSelect& value) {
  QdTypeCodeKind kind = value.getKind();
  if (kind == kQdTypeEntity) {
    QdDbObjectId h = value.getHandle();
    wrPrimitive(h);
    return;
  }
  if (kind == kQdTypeNone) {
    m_out.push_back('$');
    return;
  }
  // The member's name in capitals, then the value in parentheses.
  for (const char* n = value.underlyingTypeName().constStr(); *n; ++n)
    m_out.push_back(*n >= 'a' && *n <= 'z' ? static_cast<char>(*n - 'a' + 'A') : *n);
  m_out.push_back('(');
  switch (kind) {
    case kQdTypeReal: {
      double d = Consts::QdRealUnset;
      value.getDouble(d);
      wrPrimitive(d);
      break;
    }
    case kQdTypeInteger: {
      int i = Consts::QdIntUnset;
      value.getInt32(i);
      wrPrimitive(i);
      break;
    }
    case kQdTypeString: {
      QdAnsiString s;
      value.getString(s);
      wrPrimitive(s);
      break;
    }
    case kQdTypeBinary: {
      QdAnsiString s;
      value.getString(s);
      m_out.push_back('"');
      m_out.append(s.view());
      m_out.push_back('"');
      break;
    }
    case kQdTypeBoolean: {
      QdIfcBoolean b;
      value.getBoolean(b);
      wrPrimitive(b, false, false);
      break;
    }
    case kQdTypeLogical: {
      QdIfcLogical l;
      value.getLogical(l);
      wrPrimitive(l, false, false);
      break;
    }
    default: value.writeTypedField(this); break;
  }
  m_out.push_back(')');
}

}  // namespace QD_SDAI
