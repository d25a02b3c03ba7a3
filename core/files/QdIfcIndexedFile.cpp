#include <QdIfcCore/QdIfcIndexedFile.h>

#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>

#include "LoadRecords.h"
#include "SpfLexis.h"

#include <strings.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <unordered_set>

namespace QD_SDAI {

namespace {

// The numbers of the references "#n" in a record's parameters (after its '='), strings,
// binaries and comments stepped over; a number beyond 64 bits is no reference.
template <class F>
void forEachReference(std::string_view record, F visit) {
  const char* p = record.data();
  const char* end = p + record.size();
  while (p < end && *p != '=') ++p;
  while (p < end) {
    const char c = *p;
    if (c == '\'') {
      p = spf::closingQuote(p + 1, end) + 1;
    } else if (c == '"') {
      p = spf::closingDoubleQuote(p + 1, end) + 1;
    } else if (c == '/' && p + 1 < end && p[1] == '*') {
      const char* close = p + 2;
      while (close + 1 < end && !(close[0] == '*' && close[1] == '/')) ++close;
      p = close + 2;
    } else if (c == '#' && p + 1 < end && spf::isDigit(p[1])) {
      uint64_t id = 0;
      bool overflow = false;
      for (++p; p < end && spf::isDigit(*p); ++p)
        overflow |= __builtin_mul_overflow(id, 10, &id) || __builtin_add_overflow(id, uint64_t(*p - '0'), &id);
      if (!overflow && id) visit(id);
    } else {
      ++p;
    }
  }
}

}  // namespace

QdIfcIndexedFile::QdIfcIndexedFile(const std::string& path, const QdSpfLimits& limits) {
  m_mapped = std::make_unique<QdSpfMappedFile>(path);
  if (m_mapped->mapped()) {
    m_bytes = m_mapped->bytes();
    m_opened = true;
  } else {
    m_mapped.reset();
    std::ifstream in(path, std::ios::binary);
    if (in) {
      m_read = std::make_unique<std::string>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
      m_bytes = *m_read;
      m_opened = !in.bad();
    }
  }
  if (m_opened) build(limits);
}

QdIfcIndexedFile QdIfcIndexedFile::ofBytes(std::string_view bytes, const QdSpfLimits& limits) {
  QdIfcIndexedFile f;
  f.m_bytes = bytes;
  f.m_opened = true;
  f.build(limits);
  return f;
}

QdIfcIndexedFile::~QdIfcIndexedFile() = default;
QdIfcIndexedFile::QdIfcIndexedFile(QdIfcIndexedFile&&) noexcept = default;
QdIfcIndexedFile& QdIfcIndexedFile::operator=(QdIfcIndexedFile&&) noexcept = default;

void QdIfcIndexedFile::build(const QdSpfLimits& limits) {
  m_index = QdSpfRecordIndex::build(m_bytes, limits);
  const auto& records = m_index.records();
  m_ascending =
      std::is_sorted(records.begin(), records.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
}

std::vector<std::pair<std::string, uint64_t>> QdIfcIndexedFile::counts() const {
  std::vector<uint64_t> perName(m_index.typeNames().size(), 0);
  for (const QdSpfRecordIndex::Record& r : m_index.records()) ++perName[r.type];
  std::vector<std::pair<std::string, uint64_t>> out;
  for (size_t t = 0; t < perName.size(); ++t)
    if (perName[t]) out.emplace_back(std::string(m_index.typeNames()[t]), perName[t]);
  std::sort(out.begin(), out.end());
  return out;
}

const QdSpfRecordIndex::Record* QdIfcIndexedFile::find(uint64_t id) const {
  const auto& records = m_index.records();
  if (m_ascending) {
    // Ascending numbers: a binary search in the index itself; the first of equal numbers.
    auto at = std::lower_bound(records.begin(), records.end(), id,
                               [](const QdSpfRecordIndex::Record& r, uint64_t n) { return r.id < n; });
    return at != records.end() && at->id == id ? &*at : nullptr;
  }
  if (m_byId.empty() && !records.empty()) {
    m_byId.reserve(records.size());
    for (size_t i = 0; i < records.size(); ++i) m_byId.emplace_back(records[i].id, static_cast<uint32_t>(i));
    std::stable_sort(m_byId.begin(), m_byId.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  }
  auto at = std::lower_bound(m_byId.begin(), m_byId.end(), id, [](const auto& e, uint64_t n) { return e.first < n; });
  return at != m_byId.end() && at->first == id ? &records[at->second] : nullptr;
}

std::vector<uint64_t> QdIfcIndexedFile::ofType(std::string_view typeName) const {
  // The names the file spells this way, in any case, by their numbers.
  std::vector<bool> wanted(m_index.typeNames().size(), false);
  bool any = false;
  for (size_t t = 0; t < wanted.size(); ++t) {
    const std::string_view n = m_index.typeNames()[t];
    if (n.size() == typeName.size() && !n.empty() && strncasecmp(n.data(), typeName.data(), n.size()) == 0)
      any = wanted[t] = true;
  }
  std::vector<uint64_t> ids;
  if (!any) return ids;
  for (const QdSpfRecordIndex::Record& r : m_index.records())
    if (wanted[r.type]) ids.push_back(r.id);
  return ids;
}

QdDbObjectId QdIfcIndexedFile::materialise(QdIfcModel& model, uint64_t id, QdIfcLoadReport* report) const {
  if (QdIfcEntityBase* there = model.object(id)) return there->objectId();
  const QdSpfRecordIndex::Record* first = find(id);
  if (!first) return {};
  // The records to read: id's and, through their references, all it reaches that the
  // model does not hold; in the order they are found.
  std::vector<size_t> which;
  std::vector<uint64_t> missing;
  std::unordered_set<uint64_t> seen{id};
  which.push_back(static_cast<size_t>(first - m_index.records().data()));
  for (size_t k = 0; k < which.size(); ++k) {
    forEachReference(text(m_index.records()[which[k]]), [&](uint64_t n) {
      if (!seen.insert(n).second || model.object(n)) return;
      if (const QdSpfRecordIndex::Record* r = find(n))
        which.push_back(static_cast<size_t>(r - m_index.records().data()));
      else missing.push_back(n);
    });
  }
  std::sort(missing.begin(), missing.end());
  QdIfcLoadReport read = qdIfcLoadRecords(model, m_bytes, m_index, which, missing);
  if (report) *report = std::move(read);
  QdIfcEntityBase* object = model.object(id);
  return object ? object->objectId() : QdDbObjectId();
}

}  // namespace QD_SDAI
