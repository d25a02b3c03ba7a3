#include <QdIfcCore/QdSpfRecordIndex.h>

#include "SpfLexis.h"

#include <strings.h>
#include <array>
#include <string>

namespace QD_SDAI {

namespace spf {

namespace {
// The characters that matter when a record is measured; the rest are stepped over in a
// tight loop.
constexpr std::array<bool, 256> kMeasured = [] {
  std::array<bool, 256> t{};
  for (unsigned char c : std::string_view(";'\"/(),")) t[c] = true;
  return t;
}();
// The characters that matter when only the end of a statement is looked for; a zero
// byte between tokens ends the text as the end of the bytes does.
constexpr std::array<bool, 256> kStatement = [] {
  std::array<bool, 256> t{};
  for (unsigned char c : std::string_view(";'\"/")) t[c] = true;
  t[0] = true;
  return t;
}();
}  // namespace

std::string sample(const char* p, const char* end) {
  if (!p || p >= end) return "the end of the file";
  std::string s;
  for (const char* q = p; q < end && s.size() < 24 && *q != '\n' && *q != '\r'; ++q)
    s.push_back(static_cast<unsigned char>(*q) < 0x20 || static_cast<unsigned char>(*q) >= 0x7F ? '?' : *q);
  return "'" + s + "'";
}

const char* statementEnd(const char* p, const char* end) noexcept {
  while (p < end) {
    if (!kStatement[static_cast<unsigned char>(*p)]) {
      ++p;
      continue;
    }
    const char c = *p;
    if (c == ';') return p + 1;
    if (c == '\0') return p;
    if (c == '\'') {
      const char* q = closingQuote(p + 1, end);
      p = q < end ? q + 1 : end;
    } else if (c == '"') {
      const char* q = closingDoubleQuote(p + 1, end);
      p = q < end ? q + 1 : end;
    } else if (p + 1 < end && p[1] == '*') {
      p = skipSpace(p, end);
    } else {
      ++p;
    }
  }
  return end;
}

const char* measureRecord(const char* start, const char* end, const QdSpfLimits& limits, Breach& breach) {
  // The same lexical rules as reading: strings, binaries and comments are stepped
  // over whole, and a ';' anywhere else ends the record.
  auto breached = [&](const char* at, std::string e, std::string f) {
    if (breach.at) return;
    breach.at = at;
    breach.expected = std::move(e);
    breach.found = std::move(f);
  };
  const char* p = start;
  const char* recordEnd = end;
  uint64_t depth = 0, parameters = 1;
  bool closed = false;
  while (p < end) {
    if (!kMeasured[static_cast<unsigned char>(*p)]) {
      ++p;
      continue;
    }
    const char c = *p;
    if (c == ';') {
      recordEnd = p + 1;
      closed = true;
      break;
    }
    if (c == '\'' || c == '"') {
      const char* q = c == '\'' ? closingQuote(p + 1, end) : closingDoubleQuote(p + 1, end);
      const uint64_t length = static_cast<uint64_t>(q - p - 1);
      if (length > limits.maxStringBytes)
        breached(p,
                 std::string(c == '"' ? "a binary" : "a string") + " of at most " +
                     std::to_string(limits.maxStringBytes) + " bytes",
                 (q < end ? "one of " : "one of more than ") + std::to_string(length) + " bytes");
      p = q < end ? q + 1 : end;
      continue;
    }
    if (c == '/' && p + 1 < end && p[1] == '*') {
      p = skipSpace(p, end);
      continue;
    }
    if (c == '(' && ++depth > limits.maxListDepth)
      breached(p, "lists nested at most " + std::to_string(limits.maxListDepth) + " deep", "a deeper one");
    else if (c == ')' && depth > 0) --depth;
    else if (c == ',' && ++parameters > limits.maxRecordParameters)
      breached(p, "at most " + std::to_string(limits.maxRecordParameters) + " parameters in a record", "more");
    ++p;
  }
  const uint64_t length = static_cast<uint64_t>(recordEnd - start);
  if (length > limits.maxRecordBytes) {
    breach.at = nullptr;  // the record as a whole is what is reported, at its start
    breached(start, "a record of at most " + std::to_string(limits.maxRecordBytes) + " bytes",
             (closed ? "one of " : "one of more than ") + std::to_string(length) + " bytes");
  }
  return recordEnd;
}

}  // namespace spf

namespace {

// The keyword w (in capitals) at p, in any case and not followed by a word character.
bool keywordAt(const char* p, const char* end, const char* w, size_t n) noexcept {
  if (static_cast<size_t>(end - p) < n || strncasecmp(p, w, n) != 0) return false;
  return p + n == end || !spf::isWordChar(p[n]);
}

// A record's length is kept in 32 bits: the index refuses longer ones as too long.
QdSpfLimits indexLimits(QdSpfLimits limits) noexcept {
  if (limits.maxRecordBytes > UINT32_MAX) limits.maxRecordBytes = UINT32_MAX;
  return limits;
}

}  // namespace

QdSpfRecordIndex::QdSpfRecordIndex() {
  m_typeNames.emplace_back();
  m_typeNumbers.emplace(std::string_view(), 0);
}

uint32_t QdSpfRecordIndex::intern(std::string_view name) {
  // Records of one type tend to come in runs: the last name is tried before the table.
  if (const std::string_view last = m_typeNames[m_lastType]; last.size() == name.size() && last == name)
    return m_lastType;
  auto [it, added] = m_typeNumbers.try_emplace(name, static_cast<uint32_t>(m_typeNames.size()));
  if (added) m_typeNames.push_back(name);
  return m_lastType = it->second;
}

QdSpfRecordIndex::Builder::Builder(QdSpfRecordIndex& index, std::string_view bytes, const QdSpfLimits& limits,
                                   std::vector<QdSpfProblem>* problems)
    : m_index(index),
      m_begin(bytes.data()),
      m_p(bytes.data()),
      m_end(bytes.data() + bytes.size()),
      m_bytes(bytes.size()),
      m_limits(indexLimits(limits)),
      m_problems(problems ? *problems : index.m_problems) {}

void QdSpfRecordIndex::Builder::report(const char* at, std::string expected, std::string found) {
  QdSpfProblem p;
  p.offset = static_cast<uint64_t>(at - m_begin);
  p.instance = m_instance;
  p.expected = std::move(expected);
  p.found = std::move(found);
  m_problems.push_back(std::move(p));
}

QdSpfRecordIndex::Step QdSpfRecordIndex::Builder::next() {
  const char* const start = spf::skipSpace(m_p, m_end);
  if (start >= m_end || *start == '\0') {
    // A zero byte where a record belongs ends the text as the end of the bytes does.
    m_p = start;
    report(start, "ENDSEC;", "the end of the file");
    return Step::kFileEnd;
  }
  if (*start != '#') {
    if (keywordAt(start, m_end, "ENDSEC", 6)) {
      const char* semicolon = spf::skipSpace(start + 6, m_end);
      if (semicolon < m_end && *semicolon == ';') {
        m_p = semicolon + 1;
      } else {
        m_p = semicolon;
        report(semicolon, "';'", spf::sample(semicolon, m_end));
      }
      return Step::kSectionEnd;
    }
    m_instance = 0;
    report(start, "a record #n=...;", spf::sample(start, m_end));
    m_p = spf::statementEnd(start, m_end);
    return Step::kSkipped;
  }

  // "#id": the number as far as its digits go, then the record measured as a whole.
  uint64_t id = 0;
  bool overflow = false;
  const char* digits = start + 1;
  const char* p = digits;
  for (; p < m_end && spf::isDigit(*p); ++p) {
    const uint64_t digit = static_cast<uint64_t>(*p - '0');
    if (id > (UINT64_MAX - digit) / 10) overflow = true;
    id = id * 10 + digit;
  }
  m_instance = overflow ? 0 : id;
  spf::Breach breach;
  const char* recordEnd = spf::measureRecord(start, m_end, m_limits, breach);
  m_p = recordEnd;
  if (breach.at) {
    // Over a limit: told, not indexed.
    report(breach.at, std::move(breach.expected), std::move(breach.found));
    return Step::kSkipped;
  }
  if (id == 0 || overflow || p == digits) {
    report(start, "an instance name #1 to #18446744073709551615", spf::sample(start, recordEnd));
    return Step::kSkipped;
  }
  // The type name: the word after '=', if there is one.
  std::string_view name;
  const char* q = spf::skipSpace(p, recordEnd);
  if (q < recordEnd && *q == '=') {
    const char* word = spf::skipSpace(q + 1, recordEnd);
    const char* after = word;
    while (after < recordEnd && spf::isWordChar(*after)) ++after;
    name = std::string_view(word, static_cast<size_t>(after - word));
  }
  Record r;
  r.id = id;
  r.begin = static_cast<uint64_t>(start - m_begin);
  r.length = static_cast<uint32_t>(recordEnd - start);
  r.type = m_index.intern(name);
  m_index.m_records.push_back(r);
  return Step::kRecord;
}

QdSpfRecordIndex QdSpfRecordIndex::build(std::string_view bytes, const QdSpfLimits& limits) {
  QdSpfRecordIndex index;
  index.reserveFor(bytes.size());
  Builder builder(index, bytes, limits);
  const char* const begin = bytes.data();
  const char* const end = begin + bytes.size();
  const char* p = begin;
  // A byte order mark is not part of the format, but some writers put one first.
  if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) p += 3;
  // Statement by statement up to each DATA, then the section's records up to its ENDSEC.
  for (;;) {
    p = spf::skipSpace(p, end);
    if (p >= end || *p == '\0') break;
    if (!keywordAt(p, end, "DATA", 4)) {
      p = spf::statementEnd(p, end);
      continue;
    }
    // The section's own parameters, if it has any, and its ';'.
    p = spf::skipSpace(p + 4, end);
    if (p < end && *p == '(') p = spf::statementEnd(p, end);
    else if (p < end && *p == ';') ++p;
    builder.setPosition(static_cast<uint64_t>(p - begin));
    Step step;
    do step = builder.next();
    while (step == Step::kRecord || step == Step::kSkipped);
    if (step == Step::kFileEnd) break;
    p = begin + builder.position();
  }
  return index;
}

}  // namespace QD_SDAI
