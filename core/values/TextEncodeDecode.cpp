#include <QdIfcCore/TextEncodeDecode.h>

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

#include "Iso8859Tables.inc"

constexpr char32_t kReplacement = 0xFFFD;
constexpr char kHexDigits[] = "0123456789ABCDEF";

inline bool isPrintable(unsigned char c) noexcept { return c >= 0x20 && c <= 0x7E; }

inline bool isScalarValue(char32_t cp) noexcept { return cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF); }

// Value of a hex digit, or -1. Lower-case digits are read but flagged, since
// the format writes hex in upper case.
inline int hexValue(unsigned char c, bool& lowerCase) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') {
    lowerCase = true;
    return c - 'a' + 10;
  }
  return -1;
}

// ---------------------------------------------------------------------------
// Decoding

class Decoder {
 public:
  Decoder(std::string_view in, std::u32string& out) : m_in(in), m_out(out) {}

  bool run() {
    m_out.clear();
    m_out.reserve(m_in.size());
    while (m_pos < m_in.size()) {
      const unsigned char c = byteAt(m_pos);
      if (c == '\'') {
        if (byteAt(m_pos + 1) == '\'') {
          m_out.push_back(U'\'');
          m_pos += 2;
        } else {
          keep(1);  // a lone apostrophe cannot stand inside a string
        }
      } else if (c == '\\') {
        escape();
      } else if (isPrintable(c)) {
        m_out.push_back(c);
        ++m_pos;
      } else {
        nonStandardByte();
      }
    }
    return m_ok;
  }

 private:
  // The byte at k, or -1 past the end, so look-ahead never reads out of bounds.
  int byteAt(size_t k) const noexcept { return k < m_in.size() ? static_cast<unsigned char>(m_in[k]) : -1; }

  // Copies count bytes as they stand (each byte one character) and marks the input
  // as not standard.
  void keep(size_t count) {
    for (size_t k = 0; k < count && m_pos < m_in.size(); ++k) {
      m_out.push_back(static_cast<unsigned char>(m_in[m_pos++]));
    }
    m_ok = false;
  }

  // Raw bytes outside printable ASCII: UTF-8 when they form a valid sequence,
  // otherwise ISO 8859-1.
  void nonStandardByte() {
    m_ok = false;
    const unsigned char c = static_cast<unsigned char>(m_in[m_pos]);
    if (c >= 0x80) {
      size_t next = m_pos;
      bool good = true;
      const char32_t cp = QdUtf8::next(m_in, next, good);
      if (good) {
        m_out.push_back(cp);
        m_pos = next;
        return;
      }
    }
    m_out.push_back(c);
    ++m_pos;
  }

  // Length of what looks like an escape introducer at the current backslash:
  // "\L\" or "\LL\" with letters or digits, else just the backslash. A malformed
  // escape keeps this much as written, so its closing backslash is not read as
  // the start of another escape.
  size_t introducerLength() const noexcept {
    auto alnum = [](int b) { return (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9'); };
    if (!alnum(byteAt(m_pos + 1))) return 1;
    if (byteAt(m_pos + 2) == '\\') return 3;
    if (byteAt(m_pos + 2) >= 0 && byteAt(m_pos + 3) == '\\') return 4;
    return 1;
  }

  void malformed() { keep(introducerLength()); }

  void escape() {
    const int b1 = byteAt(m_pos + 1);
    switch (b1) {
      case '\\':
        m_out.push_back(U'\\');
        m_pos += 2;
        return;
      case 'S':
        if (byteAt(m_pos + 2) == '\\') return pageCharacter();
        break;
      case 'P':
        if (byteAt(m_pos + 3) == '\\') {
          const int letter = byteAt(m_pos + 2);
          if (letter >= 'A' && letter <= 'I') {
            m_page = letter - 'A';
            m_pos += 4;
            return;
          }
          keep(4);  // "\P?\" with a page other than A..I
          return;
        }
        break;
      case 'X':
        if (byteAt(m_pos + 2) == '\\') return arbitraryByte();
        if (byteAt(m_pos + 3) == '\\') {
          const int kind = byteAt(m_pos + 2);
          if (kind == '2' && extendedRun(4)) return;
          if (kind == '4' && extendedRun(8)) return;
        }
        break;
      default: break;
    }
    malformed();
  }

  // "\S\c": byte c + 0x80 in the current code page.
  void pageCharacter() {
    const int c = byteAt(m_pos + 3);
    if (c < 0 || !isPrintable(static_cast<unsigned char>(c))) {
      keep(3);
      return;
    }
    size_t length = 4;
    if (c == '\'') {
      // The apostrophe is doubled inside a string like any other; a single one is
      // still read as meant, but the input is not standard.
      if (byteAt(m_pos + 4) == '\'') {
        length = 5;
      } else {
        m_ok = false;
      }
    }
    const char32_t cp = kIso8859Upper[m_page][c - 0x20];
    if (cp == kReplacement) {
      keep(length);  // a byte the selected page leaves unassigned
      return;
    }
    m_out.push_back(cp);
    m_pos += length;
  }

  // "\X\hh": the ISO 8859-1 character with that code.
  void arbitraryByte() {
    bool lowerCase = false;
    const int a = byteAt(m_pos + 3), b = byteAt(m_pos + 4);
    const int hi = a < 0 ? -1 : hexValue(static_cast<unsigned char>(a), lowerCase);
    const int lo = b < 0 ? -1 : hexValue(static_cast<unsigned char>(b), lowerCase);
    if (hi < 0 || lo < 0) {
      keep(3);
      return;
    }
    if (lowerCase) m_ok = false;
    m_out.push_back(static_cast<char32_t>(hi * 16 + lo));
    m_pos += 5;
  }

  // "\X2\...\X0\" (digits = 4) or "\X4\...\X0\" (digits = 8). Returns false, having
  // consumed nothing, when the run is malformed.
  bool extendedRun(size_t digits) {
    std::u32string decoded;
    bool lowerCase = false;
    size_t k = m_pos + 4;
    char32_t pendingHigh = 0;
    for (;;) {
      if (byteAt(k) == '\\') {
        if (byteAt(k + 1) == 'X' && byteAt(k + 2) == '0' && byteAt(k + 3) == '\\') break;
        return false;
      }
      uint32_t value = 0;
      for (size_t d = 0; d < digits; ++d) {
        const int b = byteAt(k + d);
        const int v = b < 0 ? -1 : hexValue(static_cast<unsigned char>(b), lowerCase);
        if (v < 0) return false;
        value = value * 16 + static_cast<uint32_t>(v);
      }
      k += digits;
      const char32_t cp = value;
      if (digits == 4 && cp >= 0xD800 && cp <= 0xDBFF) {
        if (pendingHigh) return false;
        pendingHigh = cp;
        continue;
      }
      if (digits == 4 && cp >= 0xDC00 && cp <= 0xDFFF) {
        // UCS-2 has no surrogates, but writers put UTF-16 pairs here; a pair
        // stands for the one code point it encodes.
        if (!pendingHigh) return false;
        decoded.push_back(0x10000 + ((pendingHigh - 0xD800) << 10) + (cp - 0xDC00));
        pendingHigh = 0;
        continue;
      }
      if (pendingHigh || !isScalarValue(cp)) return false;
      decoded.push_back(cp);
    }
    if (pendingHigh || decoded.empty()) return false;
    if (lowerCase) m_ok = false;
    m_out += decoded;
    m_pos = k + 4;
    return true;
  }

  std::string_view m_in;
  std::u32string& m_out;
  size_t m_pos = 0;
  int m_page = 0;  // index into kIso8859Upper; \P?\ changes it for the rest of the string
  bool m_ok = true;
};

// ---------------------------------------------------------------------------
// Encoding
//
// Each code point is written in one of three states: outside any run, inside a
// \X2\ run (4 hex digits each, BMP only) or inside a \X4\ run (8 hex digits each).
// Opening a run costs 4 bytes, closing it with \X0\ another 4; runs cannot follow
// each other without closing. A dynamic program over (position, state) gives the
// minimal byte length exactly.
//
// Tie-break: among encodings of minimal length, the one opening the fewest runs;
// among those, the state chosen for each code point in turn is the first of
// outside, \X2\, \X4\ that still allows a best encoding of the rest. So text stays
// outside runs whenever that costs nothing.

enum State : int { kOutside = 0, kRun2 = 1, kRun4 = 2 };
constexpr int kStateCount = 3;
constexpr uint32_t kImpossible = std::numeric_limits<uint32_t>::max();
constexpr uint32_t kRunMarkCost = 4;  // "\X2\", "\X4\" and "\X0\"

struct Cost {
  uint64_t bytes = 0;
  uint64_t runs = 0;
  friend bool operator<(const Cost& a, const Cost& b) {
    return a.bytes != b.bytes ? a.bytes < b.bytes : a.runs < b.runs;
  }
  friend bool operator==(const Cost& a, const Cost& b) { return a.bytes == b.bytes && a.runs == b.runs; }
};

// Bytes needed for cp in the given state, or kImpossible.
uint32_t characterCost(char32_t cp, int state) noexcept {
  switch (state) {
    case kOutside:
      if (cp >= 0x20 && cp <= 0x7E) return (cp == '\'' || cp == '\\') ? 2 : 1;
      // U+00A7 would be "\S\'" whose apostrophe must be doubled; "\X\A7" is as
      // short and reads the same to every reader.
      if (cp >= 0xA0 && cp <= 0xFE && cp != 0xA7) return 4;
      if (cp <= 0xFF) return 5;
      return kImpossible;
    case kRun2: return cp <= 0xFFFF ? 4 : kImpossible;
    default: return 8;
  }
}

Cost transitionCost(int from, int to) noexcept {
  Cost c;
  if (from == to) return c;
  if (from != kOutside) c.bytes += kRunMarkCost;
  if (to != kOutside) {
    c.bytes += kRunMarkCost;
    c.runs = 1;
  }
  return c;
}

void appendHex(std::string& out, uint32_t value, int digits) {
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) out.push_back(kHexDigits[(value >> shift) & 0xF]);
}

void appendCharacter(std::string& out, char32_t cp, int state) {
  switch (state) {
    case kOutside:
      if (cp >= 0x20 && cp <= 0x7E) {
        out.push_back(static_cast<char>(cp));
        if (cp == '\'' || cp == '\\') out.push_back(static_cast<char>(cp));
      } else if (cp >= 0xA0 && cp <= 0xFE && cp != 0xA7) {
        out += "\\S\\";
        out.push_back(static_cast<char>(cp - 0x80));
      } else {
        out += "\\X\\";
        appendHex(out, cp, 2);
      }
      return;
    case kRun2: appendHex(out, cp, 4); return;
    default: appendHex(out, cp, 8); return;
  }
}

void appendTransition(std::string& out, int from, int to) {
  if (from == to) return;
  if (from != kOutside) out += "\\X0\\";
  if (to == kRun2) out += "\\X2\\";
  if (to == kRun4) out += "\\X4\\";
}

void encodeMinimal(const std::u32string_view cps, std::string& out) {
  const size_t n = cps.size();
  // best[i][s]: cheapest way to write cps[i..] when state s is open before cps[i].
  std::vector<std::array<Cost, kStateCount>> best(n + 1);
  for (int s = 0; s < kStateCount; ++s) best[n][s] = transitionCost(s, kOutside);
  for (size_t i = n; i-- > 0;) {
    for (int s = 0; s < kStateCount; ++s) {
      Cost lowest{std::numeric_limits<uint64_t>::max(), 0};
      for (int t = 0; t < kStateCount; ++t) {
        const uint32_t own = characterCost(cps[i], t);
        if (own == kImpossible) continue;
        Cost c = transitionCost(s, t);
        c.bytes += own + best[i + 1][t].bytes;
        c.runs += best[i + 1][t].runs;
        if (c < lowest) lowest = c;
      }
      best[i][s] = lowest;
    }
  }

  out.reserve(best[0][kOutside].bytes);
  int state = kOutside;
  for (size_t i = 0; i < n; ++i) {
    for (int t = 0; t < kStateCount; ++t) {
      const uint32_t own = characterCost(cps[i], t);
      if (own == kImpossible) continue;
      Cost c = transitionCost(state, t);
      c.bytes += own + best[i + 1][t].bytes;
      c.runs += best[i + 1][t].runs;
      if (c == best[i][state]) {
        appendTransition(out, state, t);
        appendCharacter(out, cps[i], t);
        state = t;
        break;
      }
    }
  }
  appendTransition(out, state, kOutside);
}

}  // namespace

bool TextEncodeDecode::encode(std::u32string_view in, std::string& out) {
  out.clear();
  bool ok = true;
  bool plain = true;
  for (char32_t cp : in) {
    if (!isScalarValue(cp)) ok = false;
    if (cp < 0x20 || cp > 0x7E) plain = false;
  }

  if (plain) {
    // Printable ASCII only: every character is written outside, the common case.
    out.reserve(in.size());
    for (char32_t cp : in) appendCharacter(out, cp, kOutside);
    return true;
  }

  if (ok) {
    encodeMinimal(in, out);
    return true;
  }
  std::u32string cleaned(in);
  for (char32_t& cp : cleaned) {
    if (!isScalarValue(cp)) cp = kReplacement;
  }
  encodeMinimal(cleaned, out);
  return false;
}

bool TextEncodeDecode::decode(std::string_view in, std::u32string& out) { return Decoder(in, out).run(); }

bool TextEncodeDecode::encodeText(const HsString& in, QD_SDAI::QdAnsiString& out, CodecType type) {
  if (type == kRaw) {
    out = QD_SDAI::QdAnsiString(std::string_view(in.utf8()));
    return true;
  }
  if (type != kStepString) {
    out = QD_SDAI::QdAnsiString();
    return false;
  }
  bool wellFormed = true;
  const std::u32string cps = in.toCodePoints(&wellFormed);
  std::string encoded;
  const bool encodedOk = encode(cps, encoded);
  out = QD_SDAI::QdAnsiString(std::string_view(encoded));
  return wellFormed && encodedOk;
}

bool TextEncodeDecode::decodeText(const QD_SDAI::QdAnsiString& in, HsString& out, CodecType type) {
  if (type == kRaw) {
    out.assign(in.view());
    return true;
  }
  if (type != kStepString) {
    out = HsString();
    return false;
  }
  std::u32string cps;
  const bool ok = decode(in.view(), cps);
  out = HsString(cps);
  return ok;
}
