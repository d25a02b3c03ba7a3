// HsString: the host's wide-capable text, held as UTF-8, with conversions to and
// from code points.
#pragma once

#include <QdIfcCore/Export.h>

#include <string>
#include <string_view>

class QDIFCCORE_API HsString {
 public:
  enum Encoding : int {
    kUtf8 = 0,
    kLatin1 = 1,  // ISO 8859-1 bytes, converted to UTF-8 on construction
  };

  HsString() = default;
  ~HsString();
  HsString(const char* text, Encoding encoding);
  explicit HsString(std::u32string_view codePoints);
  HsString(const HsString&) = default;
  HsString(HsString&&) noexcept = default;
  HsString& operator=(const HsString&) = default;
  HsString& operator=(HsString&&) noexcept = default;

  // Replaces the contents with UTF-8 text; null gives the empty string.
  HsString& assign(const char* utf8);
  // Replaces the contents with these bytes, zero bytes included.
  HsString& assign(std::string_view utf8) {
    m_utf8.assign(utf8.data(), utf8.size());
    return *this;
  }

  const char* utf8Ptr() const noexcept { return m_utf8.c_str(); }
  const std::string& utf8() const noexcept { return m_utf8; }
  bool isEmpty() const noexcept { return m_utf8.empty(); }

  // The text as code points. Ill-formed UTF-8 gives U+FFFD for each bad byte;
  // ok (if given) reports whether the text was well formed.
  std::u32string toCodePoints(bool* ok = nullptr) const;

  friend bool operator==(const HsString& a, const HsString& b) { return a.m_utf8 == b.m_utf8; }

 private:
  std::string m_utf8;
};

namespace QdUtf8 {
// Appends the UTF-8 form of a code point; values that are no scalar value give U+FFFD.
QDIFCCORE_API void append(std::string& out, char32_t cp);
// Decodes one code point at s[i] and advances i; returns U+FFFD and advances by
// one byte on ill-formed input, and sets ok to false then.
QDIFCCORE_API char32_t next(std::string_view s, size_t& i, bool& ok);
}  // namespace QdUtf8
