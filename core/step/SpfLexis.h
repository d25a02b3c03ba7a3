// The lexical rules of ISO 10303-21 text that the record index and the filer share:
// blanks and comments between tokens, the ends of strings and binaries, and the short
// samples of the bytes that problems quote. Inside the core only.
#pragma once

#include <QdIfcCore/QdSpfFilerBase.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace QD_SDAI::spf {

inline bool isBlank(char c) noexcept { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
inline bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
// A character of a keyword or type name.
inline bool isWordChar(char c) noexcept {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || isDigit(c) || c == '_' || c == '-';
}

// The first character at or after p that is neither blank nor inside a comment, or end.
// A comment that never closes runs to end.
inline const char* skipSpace(const char* p, const char* end) noexcept {
  for (;;) {
    while (p < end && isBlank(*p)) ++p;
    if (p + 1 < end && p[0] == '/' && p[1] == '*') {
      const char* close = p + 2;
      while (close + 1 < end && !(close[0] == '*' && close[1] == '/')) ++close;
      p = close + 1 < end ? close + 2 : end;
      continue;
    }
    return p;
  }
}

// The closing quote of a string whose text starts at p, or end. Inside the text ''
// stands for one quote, and \S\ takes the next character as it is, a quote included.
inline const char* closingQuote(const char* p, const char* end) noexcept {
  while (p < end) {
    char c = *p;
    if (c == '\'') {
      if (p + 1 < end && p[1] == '\'') {
        p += 2;
        continue;
      }
      return p;
    }
    if (c == '\\' && p + 3 < end && (p[1] == 'S' || p[1] == 's') && p[2] == '\\') {
      p += 4;
      continue;
    }
    ++p;
  }
  return end;
}

// The closing '"' of a binary whose digits start at p, or end.
inline const char* closingDoubleQuote(const char* p, const char* end) noexcept {
  const char* q = p < end ? static_cast<const char*>(std::memchr(p, '"', static_cast<size_t>(end - p))) : nullptr;
  return q ? q : end;
}

// Up to 24 printable characters of the bytes at p, quoted, stopping at a line end or
// at end; "the end of the file" when p is at end.
std::string sample(const char* p, const char* end);

// Where the statement that starts at p ends: past its ';', stepping over strings,
// binaries and comments whole; or at a zero byte outside them, or end, whichever
// comes first (a zero byte between tokens ends the text for the reader too).
const char* statementEnd(const char* p, const char* end) noexcept;

// Measures the record that starts at start (its '#', or a header record's name) against
// the limits: answers where it ends (as statementEnd does) and, when it breaks one, fills
// breach with the first breach (or the record's length, which is reported instead, at
// the record's start). breach.at stays null when the record keeps to the limits.
struct Breach {
  const char* at = nullptr;
  std::string expected;
  std::string found;
};
const char* measureRecord(const char* start, const char* end, const QdSpfLimits& limits, Breach& breach);

}  // namespace QD_SDAI::spf
