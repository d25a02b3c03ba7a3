// Tests for HsString, the UTF-8 helpers and the transported-string codec.

#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/TextEncodeDecode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

std::u32string decoded(std::string_view in, bool* ok = nullptr) {
  std::u32string out;
  const bool result = TextEncodeDecode::decode(in, out);
  if (ok) *ok = result;
  return out;
}

std::string encoded(std::u32string_view in, bool* ok = nullptr) {
  std::string out;
  const bool result = TextEncodeDecode::encode(in, out);
  if (ok) *ok = result;
  return out;
}

// Calls f with every tuple of `length` digits below `base`.
template <class F>
void forEachTuple(size_t length, size_t base, F f) {
  std::vector<size_t> digits(length, 0);
  for (;;) {
    f(digits);
    size_t k = 0;
    while (k < length && digits[k] == base - 1) digits[k++] = 0;
    if (k == length) return;
    ++digits[k];
  }
}

TEST(Utf8, BoundariesAndIllFormedSequences) {
  const std::vector<std::pair<char32_t, size_t>> good = {{0x0, 1},     {0x7F, 1},    {0x80, 2},   {0x7FF, 2},
                                                         {0x800, 3},   {0xD7FF, 3},  {0xE000, 3}, {0xFFFF, 3},
                                                         {0x10000, 4}, {0x10FFFF, 4}};
  for (auto [cp, length] : good) {
    std::string s;
    QdUtf8::append(s, cp);
    size_t i = 0;
    bool ok = true;
    EXPECT_EQ(s.size(), length);
    EXPECT_EQ(QdUtf8::next(s, i, ok), cp);
    EXPECT_TRUE(ok && i == s.size());
  }
  // Overlongs, surrogates, values past U+10FFFF, bad leads, truncation: one U+FFFD per byte.
  for (std::string s :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xE6\x97", "\xE6\x41\x41"}) {
    size_t i = 0;
    bool ok = true;
    EXPECT_EQ(QdUtf8::next(s, i, ok), U'\uFFFD');
    EXPECT_TRUE(!ok && i == 1) << s.size();
  }
  std::string s;
  for (char32_t cp : {char32_t{0xD800}, char32_t{0x110000}}) QdUtf8::append(s, cp);
  EXPECT_EQ(s, "\xEF\xBF\xBD\xEF\xBF\xBD");
  size_t end = s.size();
  bool ok = true;
  QdUtf8::next(s, end, ok);  // at the end: reports, does not move
  EXPECT_TRUE(!ok && end == s.size());
}

TEST(HsStringTest, ConstructionAndConversion) {
  EXPECT_EQ(HsString("caf\xE9 \xFF", HsString::kLatin1).utf8(), "caf\xC3\xA9 \xC3\xBF");
  EXPECT_TRUE(HsString(nullptr, HsString::kLatin1).isEmpty());
  HsString s(U"x\u65E5\U0001F600");
  EXPECT_EQ(s.utf8(), "x\xE6\x97\xA5\xF0\x9F\x98\x80");
  bool ok = false;
  EXPECT_EQ(s.toCodePoints(&ok), U"x\u65E5\U0001F600");
  EXPECT_TRUE(ok);
  EXPECT_TRUE(s.assign(nullptr).isEmpty());
  EXPECT_EQ(s.assign("a\xE6\x97z").toCodePoints(&ok), U"a\uFFFD\uFFFDz");
  EXPECT_FALSE(ok);
}

TEST(Encode, ShortestFormsAndTieBreak) {
  std::string eightControls, nineControls = R"(\X2\)";
  for (int i = 0; i < 8; ++i) eightControls += R"(\X\01)";
  for (int i = 0; i < 9; ++i) nineControls += "0001";
  nineControls += R"(\X0\)";
  const std::vector<std::pair<std::u32string, std::string>> cases = {
      {U"It's a\\b", R"(It''s a\\b)"},
      {U"\u00E9\u00A0\u00DC", R"(\S\i\S\ \S\\)"},
      {U"\u00A7\u00FF\u0080\t", R"(\X\A7\X\FF\X\80\X\09)"},  // U+00A7 avoids an apostrophe after \S\ .
      {U"\u65E5\u672C", R"(\X2\65E5672C\X0\)"},
      {U"\U0001F600a", R"(\X4\0001F600\X0\a)"},
      {U"\U0001F600\u65E5\U0001F600", R"(\X4\0001F600000065E50001F600\X0\)"},
      {U"\u65E5\u00E9\u672C", R"(\X2\65E500E9672C\X0\)"},
      {U"\u65E5abc\u672C", R"(\X2\65E5\X0\abc\X2\672C\X0\)"},
      // Ties: outside first, but fewer runs before that (28 bytes either way here).
      {U"\u00E9\u65E5", R"(\S\i\X2\65E5\X0\)"},
      {U"\u65E5ab'\u672C", R"(\X2\65E5006100620027672C\X0\)"},
      {std::u32string(8, U'\x01'), eightControls},  // 40 bytes either way
      {std::u32string(9, U'\x01'), nineControls},   // 44 < 45
  };
  for (const auto& [text, form] : cases) {
    bool ok = false;
    EXPECT_EQ(encoded(text, &ok), form);
    EXPECT_TRUE(ok);
  }
  const char32_t invalid[] = {U'a', 0xDC00, 0x110000};
  bool ok = true;
  EXPECT_EQ(encoded(std::u32string_view(invalid, 3), &ok), R"(a\X2\FFFDFFFD\X0\)");
  EXPECT_FALSE(ok);
}

TEST(Decode, EscapesOfTheFormat) {
  const std::vector<std::pair<std::string, std::u32string>> cases = {
      {R"(It''s a\\b)", U"It's a\\b"},
      {R"(\S\i\S\\\S\'')", U"\u00E9\u00DC\u00A7"},
      {R"(\PB\\S\!x\S\!)", U"\u0104x\u0104"},  // 8859-2 stays selected
      {R"(\PE\\S\@\PA\\S\@\PG\\S\a\PI\\S\p)", U"\u0420\u00C0\u03B1\u011F"},
      {R"(\PB\\X\A1\X\0A)", U"\u00A1\n"},  // \X\ is always 8859-1
      {R"(\X2\65E5672C\X0\)", U"\u65E5\u672C"},
      {R"(\X2\0041D83DDE000042\X0\)", U"A\U0001F600B"},  // UTF-16 pair
      {R"(x\X4\0001F6000010FFFF\X0\y)", U"x\U0001F600\U0010FFFFy"},
  };
  for (const auto& [form, text] : cases) {
    bool ok = false;
    EXPECT_EQ(decoded(form, &ok), text) << form;
    EXPECT_TRUE(ok) << form;
  }
}

TEST(Decode, NonStandardAndMalformedInput) {
  // Read as best possible, reported.
  const std::vector<std::pair<std::string, std::u32string>> readable = {
      {"caf\xC3\xA9\xF0\x9F\x98\x80", U"caf\u00E9\U0001F600"},  // raw UTF-8
      {"caf\xE9\xE6\x97", U"caf\u00E9\u00E6\u0097"},            // not UTF-8: Latin-1
      {"a\tb\x7F", U"a\tb\x7F"},
      {R"(\X\e9\X2\65e5\X0\)", U"\u00E9\u65E5"},  // lower-case hex
      {R"(\S\'x)", U"\u00A7x"},
      {"'''", U"''"},  // a pair, then a lone one kept
      {R"(\X\G1\S\i)", U"\\X\\G1\u00E9"},
      {R"(\PC\\S\%\S\!)", U"\\S\\%\u0126"},  // 8859-3 leaves 0xA5 unassigned
  };
  for (const auto& [form, text] : readable) {
    bool ok = true;
    EXPECT_EQ(decoded(form, &ok), text) << form;
    EXPECT_FALSE(ok) << form;
  }
  // Kept exactly as written.
  for (std::string form : {"'",
                           "a'b",
                           R"(\)",
                           R"(ab\)",
                           R"(\Q)",
                           R"(\Q\)",
                           R"(\Q\\)",
                           R"(\s\i)",
                           R"(\S)",
                           R"(\S\)",
                           "\\S\\\x01",
                           R"(\X\)",
                           R"(\X\4)",
                           R"(\X3\0041\X0\)",
                           R"(\X2\)",
                           R"(\X2\65E5)",
                           R"(\X2\65E\X0\)",
                           R"(\X2\\X0\)",
                           R"(\X2\65E5\X\)",
                           R"(\X2\D83D\X0\)",
                           R"(\X2\DE00\X0\)",
                           R"(\X2\D83D0041\X0\)",
                           R"(\X2\D83DD83DDE00\X0\)",
                           R"(\X4\00110000\X0\)",
                           R"(\X4\0000D800\X0\)",
                           R"(\X4\1F600\X0\)",
                           R"(\X0\)",
                           R"(\Pa\)",
                           R"(\PJ\)",
                           R"(\P\\)"}) {
    bool ok = true;
    const std::u32string out = decoded(form, &ok);
    EXPECT_EQ(out, std::u32string(form.begin(), form.end())) << form;
    EXPECT_FALSE(ok) << form;
  }
}

TEST(Decode, ArbitraryBytesKeepInvariants) {
  const std::string alphabet = "\\'XSP024089ADEFa \x01\xC3\xA9\xF0";
  std::mt19937 rng(12345);
  std::uniform_int_distribution<size_t> pick(0, alphabet.size() - 1), len(0, 24);
  for (int iteration = 0; iteration < 20000; ++iteration) {
    std::string in;
    for (size_t n = len(rng); n > 0; --n) in.push_back(alphabet[pick(rng)]);
    bool ok = false, againOk = false;
    const std::u32string out = decoded(in, &ok);
    ASSERT_LE(out.size(), in.size()) << in;  // each character consumes a byte or more
    ASSERT_EQ(in.empty(), out.empty()) << in;
    const std::string again = encoded(out);
    ASSERT_EQ(decoded(again, &againOk), out) << in;
    ASSERT_TRUE(againOk);
    ASSERT_TRUE(!ok || again.size() <= in.size()) << in;  // no standard form is shorter
  }
}

TEST(RoundTrip, ChosenAndRandomTexts) {
  std::vector<std::u32string> texts = {
      U"Gr\u00FC\u00DFe, \u00A7 \u00BD \u00FF \u00A0 it's \\",
      U"\u0391\u03B8\u03AE\u03BD\u03B1 \u65E5\u672C\u8A9E \U0001F600\U0001F680 \U00010000\U0010FFFF",
      std::u32string(U"\u0000\u0001\u007F\u0080\u009F\uFFFF\uE000", 7),
  };
  const std::u32string pool = U"aZ '\\\n\x7F\u009F\u00A0\u00A7\u00DC\u00E9\u00FF\u0391\u65E5\uFFFF\U00010000\U0001F600";
  std::mt19937 rng(7);
  std::uniform_int_distribution<size_t> pick(0, pool.size() - 1), len(0, 30);
  for (int i = 0; i < 3000; ++i) {
    std::u32string t;
    for (size_t n = len(rng); n > 0; --n) t.push_back(pool[pick(rng)]);
    texts.push_back(t);
  }
  for (const std::u32string& text : texts) {
    bool ok = false, decodedOk = false;
    const std::string form = encoded(text, &ok);
    ASSERT_TRUE(ok);
    ASSERT_TRUE(std::all_of(form.begin(), form.end(), [](char c) { return c >= 0x20 && c <= 0x7E; })) << form;
    ASSERT_EQ(decoded(form, &decodedOk), text) << form;
    ASSERT_TRUE(decodedOk) << form;
  }
}

// One standard encoding, given a form per character: 0 literal, 1 \X\hh, 2 \S\c,
// 3 in a \X2\ run, 4 in a \X4\ run. Empty when a form cannot hold its character.
std::string buildCandidate(const std::u32string& text, const std::vector<size_t>& forms) {
  auto hex = [](uint32_t v, int digits) {
    std::string s;
    for (int i = digits - 1; i >= 0; --i) s.push_back("0123456789ABCDEF"[(v >> (4 * i)) & 0xF]);
    return s;
  };
  std::string out;
  size_t open = 0;  // 3 or 4 while a run is open
  for (size_t i = 0; i < text.size(); ++i) {
    const char32_t c = text[i];
    const size_t f = forms[i];
    if (open && open != f) out += R"(\X0\)";
    if (f >= 3 && open != f) out += f == 3 ? R"(\X2\)" : R"(\X4\)";
    open = f >= 3 ? f : 0;
    if ((f == 0 && (c < 0x20 || c > 0x7E)) || (f == 1 && c > 0xFF) || (f == 2 && (c < 0xA0 || c > 0xFE)) ||
        (f == 3 && c > 0xFFFF))
      return {};
    if (f == 0) out += (c == '\'' || c == '\\') ? std::string(2, char(c)) : std::string(1, char(c));
    if (f == 1) out += R"(\X\)" + hex(c, 2);
    if (f == 2) out += R"(\S\)" + std::string(c == 0xA7 ? 2 : 1, char(c - 0x80));
    if (f == 3) out += hex(c, 4);
    if (f == 4) out += hex(c, 8);
  }
  return open ? out + R"(\X0\)" : out;
}

TEST(Minimality, MatchesBruteForceOnShortTexts) {
  const std::u32string alphabet = U"a'\x01\u00E9\u00A7\u65E5\U0001F600";
  std::vector<std::u32string> texts;
  for (size_t length = 1; length <= 4; ++length) {
    forEachTuple(length, alphabet.size(), [&](const std::vector<size_t>& d) {
      std::u32string t;
      for (size_t k : d) t.push_back(alphabet[k]);
      texts.push_back(t);
    });
  }
  std::mt19937 rng(99);  // a few longer ones, where runs over several characters pay off
  std::uniform_int_distribution<size_t> pick(0, alphabet.size() - 1);
  for (int i = 0; i < 40; ++i) {
    std::u32string t;
    for (int n = 0; n < 6; ++n) t.push_back(alphabet[pick(rng)]);
    texts.push_back(t);
  }
  for (const std::u32string& text : texts) {
    size_t shortest = SIZE_MAX;
    forEachTuple(text.size(), 5, [&](const std::vector<size_t>& forms) {
      const std::string candidate = buildCandidate(text, forms);
      bool ok = false;
      // Only candidates that really read back as the text count.
      if (!candidate.empty() && decoded(candidate, &ok) == text && ok) shortest = std::min(shortest, candidate.size());
    });
    ASSERT_EQ(encoded(text).size(), shortest) << encoded(text);
  }
}

TEST(TextCodec, HostTypesAndCodecTypes) {
  TextEncodeDecode codec;
  const HsString text(
      "Gr\xC3\xBC\xC3\x9F"
      "e '\xE6\x97\xA5' \xF0\x9F\x98\x80",
      HsString::kUtf8);
  QD_SDAI::QdAnsiString form;
  HsString back;
  ASSERT_TRUE(codec.encodeText(text, form, TextEncodeDecode::kStepString));
  EXPECT_EQ(form.view(), R"(Gr\S\|\S\_e ''\X2\65E5\X0\'' \X4\0001F600\X0\)");
  ASSERT_TRUE(codec.decodeText(form, back, TextEncodeDecode::kStepString));
  EXPECT_EQ(back, text);
  EXPECT_FALSE(codec.decodeText(QD_SDAI::QdAnsiString("a'b"), back, TextEncodeDecode::kStepString));
  EXPECT_EQ(back.utf8(), "a'b");
  EXPECT_FALSE(codec.encodeText(HsString("a\xFF"
                                         "b",
                                         HsString::kUtf8),
                                form, TextEncodeDecode::kStepString));
  EXPECT_EQ(form.view(), R"(a\X2\FFFD\X0\b)");

  const HsString raw("it's \\ \xC3\xA9", HsString::kUtf8);
  EXPECT_TRUE(codec.encodeText(raw, form, TextEncodeDecode::kRaw));
  EXPECT_EQ(form.view(), raw.utf8());
  EXPECT_TRUE(codec.decodeText(form, back, TextEncodeDecode::kRaw));
  EXPECT_EQ(back, raw);
  // Raw bytes pass whole, zero bytes included.
  EXPECT_TRUE(codec.decodeText(QD_SDAI::QdAnsiString(std::string_view("a\0b", 3)), back, TextEncodeDecode::kRaw));
  EXPECT_EQ(back.utf8(), std::string("a\0b", 3));

  const auto unknown = static_cast<TextEncodeDecode::CodecType>(7);
  EXPECT_FALSE(codec.encodeText(raw, form, unknown));
  EXPECT_TRUE(form.isEmpty());
}

}  // namespace
