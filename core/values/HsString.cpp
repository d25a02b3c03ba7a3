#include <QdIfcCore/HsString.h>

namespace {

constexpr char32_t kReplacement = 0xFFFD;

inline bool isScalarValue(char32_t cp) noexcept { return cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF); }

inline bool isContinuation(unsigned char b) noexcept { return (b & 0xC0) == 0x80; }

}  // namespace

namespace QdUtf8 {

void append(std::string& out, char32_t cp) {
  if (!isScalarValue(cp)) cp = kReplacement;
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

char32_t next(std::string_view s, size_t& i, bool& ok) {
  const size_t n = s.size();
  if (i >= n) {
    // Nothing left to read; do not move past the end.
    ok = false;
    return kReplacement;
  }
  const unsigned char b0 = static_cast<unsigned char>(s[i]);
  if (b0 < 0x80) {
    ++i;
    return b0;
  }

  // The lead byte fixes the length and the allowed range of the second byte,
  // which is what rules out overlong forms, surrogates and values past U+10FFFF.
  size_t length = 0;
  unsigned char lo = 0x80, hi = 0xBF;
  char32_t cp = 0;
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    length = 2;
    cp = b0 & 0x1F;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    length = 3;
    cp = b0 & 0x0F;
    if (b0 == 0xE0) lo = 0xA0;
    if (b0 == 0xED) hi = 0x9F;
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    length = 4;
    cp = b0 & 0x07;
    if (b0 == 0xF0) lo = 0x90;
    if (b0 == 0xF4) hi = 0x8F;
  } else {
    ok = false;
    ++i;
    return kReplacement;
  }

  if (n - i < length) {
    ok = false;
    ++i;
    return kReplacement;
  }
  const unsigned char b1 = static_cast<unsigned char>(s[i + 1]);
  if (b1 < lo || b1 > hi) {
    ok = false;
    ++i;
    return kReplacement;
  }
  cp = (cp << 6) | (b1 & 0x3F);
  for (size_t k = 2; k < length; ++k) {
    const unsigned char b = static_cast<unsigned char>(s[i + k]);
    if (!isContinuation(b)) {
      ok = false;
      ++i;
      return kReplacement;
    }
    cp = (cp << 6) | (b & 0x3F);
  }
  i += length;
  return cp;
}

}  // namespace QdUtf8

HsString::~HsString() = default;

HsString::HsString(const char* text, Encoding encoding) {
  if (!text) return;
  if (encoding == kLatin1) {
    for (const char* p = text; *p; ++p) QdUtf8::append(m_utf8, static_cast<unsigned char>(*p));
  } else {
    m_utf8 = text;
  }
}

HsString::HsString(std::u32string_view codePoints) {
  m_utf8.reserve(codePoints.size());
  for (char32_t cp : codePoints) QdUtf8::append(m_utf8, cp);
}

HsString& HsString::assign(const char* utf8) {
  if (utf8) {
    m_utf8 = utf8;
  } else {
    m_utf8.clear();
  }
  return *this;
}

std::u32string HsString::toCodePoints(bool* ok) const {
  std::u32string out;
  out.reserve(m_utf8.size());
  bool good = true;
  size_t i = 0;
  while (i < m_utf8.size()) out.push_back(QdUtf8::next(m_utf8, i, good));
  if (ok) *ok = good;
  return out;
}
