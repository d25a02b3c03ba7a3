#include <QdIfcCore/QdIfcValidate.h>
#include <QdIfcCore/QdSpfFile.h>

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>
#include <QdIfcCore/QdIfcVariant.h>
#include <QdIfcCore/QdSpfRecordIndex.h>

#include "LoadRecords.h"
#include "SpfLexis.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace QD_SDAI {

namespace {

uint64_t saturatingProduct(uint64_t a, uint64_t b) noexcept {
  uint64_t r = 0;
  return __builtin_mul_overflow(a, b, &r) ? UINT64_MAX : r;
}
uint64_t saturatingAdd(uint64_t a, uint64_t b) noexcept { return a + b < a ? UINT64_MAX : a + b; }

// ---- the schema names of a header, read without the records ----

enum class Scan {
  kDecided,  // the names are read, or there are none to read
  kShort,    // the text ends before that is known
};

bool isKeyword(std::string_view word, const char* keyword) {
  const size_t n = std::strlen(keyword);
  return word.size() == n && strncasecmp(word.data(), keyword, n) == 0;
}

// The strings of the parameter list that starts at p (its '('), up to the ')' that
// closes it, into out.names; '' in a string is one quote.
Scan readSchemaNames(const char* p, const char* end, QdSpfFileSchema& out) {
  p = spf::skipSpace(p, end);
  if (p >= end) {
    out.problem = "the text ends before the parameters of FILE_SCHEMA";
    return Scan::kShort;
  }
  if (*p != '(') {
    out.problem = "FILE_SCHEMA without its parameters";
    return Scan::kDecided;
  }
  int depth = 0;
  for (;;) {
    p = spf::skipSpace(p, end);
    if (p >= end) {
      out.problem = "the text ends before FILE_SCHEMA closes";
      return Scan::kShort;
    }
    const char c = *p;
    if (c == '(') {
      ++depth;
      ++p;
    } else if (c == ')') {
      ++p;
      if (--depth == 0) {
        out.found = true;
        return Scan::kDecided;
      }
    } else if (c == '\'') {
      const char* close = spf::closingQuote(p + 1, end);
      if (close >= end) {
        out.problem = "the text ends in a string of FILE_SCHEMA";
        return Scan::kShort;
      }
      std::string name;
      for (const char* q = p + 1; q < close; ++q) {
        name.push_back(*q);
        if (*q == '\'' && q + 1 < close) ++q;  // '' stands for one quote
      }
      out.names.push_back(std::move(name));
      p = close + 1;
    } else if (c == ';') {
      out.problem = "FILE_SCHEMA ends before its parentheses close";
      return Scan::kDecided;
    } else {
      ++p;
    }
  }
}

// The header's FILE_SCHEMA: keywords, strings, binaries and parameter lists are stepped
// over until FILE_SCHEMA comes as a record's name, or the header ends without it.
Scan scanFileSchema(const char* p, const char* end, QdSpfFileSchema& out) {
  if (end - p >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0) p += 3;
  int depth = 0;
  for (;;) {
    p = spf::skipSpace(p, end);
    if (p >= end) {
      out.problem = "the text ends before FILE_SCHEMA";
      return Scan::kShort;
    }
    const char c = *p;
    if (c == '\'' || c == '"') {
      const char* close = c == '"' ? spf::closingDoubleQuote(p + 1, end) : spf::closingQuote(p + 1, end);
      if (close >= end) {
        out.problem = "the text ends in the header before FILE_SCHEMA";
        return Scan::kShort;
      }
      p = close + 1;
    } else if (c == '(') {
      ++depth;
      ++p;
    } else if (c == ')') {
      if (depth > 0) --depth;
      ++p;
    } else if (c == ';') {
      depth = 0;  // a record ends: whatever it left open
      ++p;
    } else if (c == '#' && depth == 0) {
      out.problem = "no FILE_SCHEMA before the first record";
      return Scan::kDecided;
    } else if (spf::isWordChar(c)) {
      const char* q = p;
      while (q < end && spf::isWordChar(*q)) ++q;
      if (q >= end) {
        out.problem = "the text ends before FILE_SCHEMA";
        return Scan::kShort;
      }
      const std::string_view word(p, static_cast<size_t>(q - p));
      p = q;
      if (depth > 0) continue;
      if (isKeyword(word, "FILE_SCHEMA")) return readSchemaNames(p, end, out);
      if (isKeyword(word, "ENDSEC") || isKeyword(word, "DATA")) {
        out.problem = "no FILE_SCHEMA in the header";
        return Scan::kDecided;
      }
    } else {
      ++p;
    }
  }
}

// The parameters of a record into object, the filer at the record's '(', then the
// record's end: anything before its ')' is one parameter too many.
void readBody(QdSpfFilerBase& filer, QdIfcEntityBase* object) {
  filer.setPosition(filer.position() + 1);
  object->inFields(&filer);
  if (filer.peek() != ')') {
    if (filer.peek() == ',' && !filer.recordEnded()) filer.problem("')' after the last parameter", "more parameters");
    else if (!filer.recordEnded()) filer.problem("')'", filer.sampleAt(filer.position()));
    return;
  }
  filer.setPosition(filer.position() + 1);
  if (filer.peek() != ';') filer.problem("';'", filer.sampleAt(filer.position()));
}

// The record reader: the keywords and frames of the file around the parameter
// lists, which the filer reads.
class Loader {
 public:
  Loader(QdIfcModel& model, std::string_view bytes, const QdIfcLoadOptions& options, QdIfcLoadReport& report)
      : m_model(model),
        m_filer(bytes.data(), bytes.data() + bytes.size(), &model),
        m_builder(m_index, bytes, options.limits, &m_filer.problems()),
        m_options(options),
        m_report(report),
        m_memoryBudget(saturatingAdd(saturatingProduct(options.limits.memoryPerFileByte, bytes.size()),
                                     options.limits.memoryAllowance)) {
    m_filer.setArena(&model.arena());
  }

  void run() {
    // A byte order mark is not part of the format, but some writers put one first.
    if (m_filer.end() - m_filer.begin() >= 3 && std::memcmp(m_filer.begin(), "\xEF\xBB\xBF", 3) == 0)
      m_filer.setPosition(m_filer.begin() + 3);
    if (!keyword("ISO-10303-21")) {
      m_filer.problem("ISO-10303-21;", m_filer.sampleAt(m_filer.position()));
    } else {
      expect(';');
    }
    if (!header()) return;
    bool anyData = false;
    // The instances, their aggregates and strings go into the model's arena.
    QdIfcArena::Scope scope(&m_model.arena());
    while (!m_stopped && keyword("DATA")) {
      anyData = true;
      if (m_filer.peek() == '(') m_filer.skipParameter();  // a data section's own parameters
      expect(';');
      data();
    }
    if (m_stopped) {
      finish();
      return;
    }
    if (!anyData) m_filer.problem("DATA;", m_filer.sampleAt(m_filer.position()));
    if (!keyword("END-ISO-10303-21")) m_filer.problem("END-ISO-10303-21;", m_filer.sampleAt(m_filer.position()));
    else expect(';');
    finish();
  }

 private:
  // The word at the position, consumed if it is w (any case).
  bool keyword(const char* w) {
    m_filer.peek();
    const char* p = m_filer.position();
    size_t n = std::strlen(w);
    if (static_cast<size_t>(m_filer.end() - p) < n || strncasecmp(p, w, n) != 0) return false;
    if (p + n < m_filer.end() && spf::isWordChar(p[n])) return false;
    m_filer.setPosition(p + n);
    return true;
  }
  std::string_view word() {
    m_filer.peek();
    const char* p = m_filer.position();
    const char* q = p;
    while (q < m_filer.end() && spf::isWordChar(*q)) ++q;
    m_filer.setPosition(q);
    return std::string_view(p, static_cast<size_t>(q - p));
  }
  bool expect(char c) {
    if (m_filer.peek() == c) {
      m_filer.setPosition(m_filer.position() + 1);
      return true;
    }
    m_filer.problem(std::string("'") + c + "'", m_filer.sampleAt(m_filer.position()));
    return false;
  }
  // Moves past the next ';' outside strings: the end of a damaged record.
  void skipRecord() {
    for (;;) {
      m_filer.skipParameter();
      char c = m_filer.peek();
      if (c == '\0') return;
      m_filer.setPosition(m_filer.position() + 1);
      if (c == ';') return;
    }
  }
  // The parameter list at the position, "(...)", as text; empty, with a problem, when
  // the list does not close before the record ends.
  std::string parameters() {
    m_filer.peek();
    const char* start = m_filer.position();
    if (m_filer.peek() != '(') return {};
    m_filer.setPosition(start + 1);
    int depth = 1;
    while (depth > 0) {
      m_filer.skipParameter();
      char c = m_filer.peek();
      if (c == '\0' || c == ';') break;
      if (c == ')') --depth;
      m_filer.setPosition(m_filer.position() + 1);
    }
    if (depth > 0) {
      m_filer.problem("')' closing the header record", m_filer.sampleAt(m_filer.position()));
      return {};
    }
    return std::string(start, m_filer.position());
  }

  bool header() {
    if (!keyword("HEADER")) {
      m_filer.problem("HEADER;", m_filer.sampleAt(m_filer.position()));
      return true;
    }
    expect(';');
    QdSpfHeaderSection& h = m_model.header();
    while (m_filer.peek() != '\0' && !keyword("ENDSEC")) {
      spf::Breach breach;
      const char* recordEnd = spf::measureRecord(m_filer.position(), m_filer.end(), m_options.limits, breach);
      if (breach.at) {
        m_filer.problemAt(breach.at, std::move(breach.expected), std::move(breach.found));
        m_filer.setPosition(recordEnd);
        continue;
      }
      std::string_view name = word();
      if (name.empty()) {
        m_filer.problem("a header record", m_filer.sampleAt(m_filer.position()));
        skipRecord();
        continue;
      }
      std::string params = parameters();
      expect(';');
      if (strncasecmp(name.data(), "FILE_DESCRIPTION", name.size()) == 0 && name.size() == 16) h.description = params;
      else if (name.size() == 9 && strncasecmp(name.data(), "FILE_NAME", 9) == 0) h.name = params;
      else if (name.size() == 11 && strncasecmp(name.data(), "FILE_SCHEMA", 11) == 0) h.schema = params;
    }
    expect(';');
    // The schema names are the strings of FILE_SCHEMA.
    if (!h.schema.empty()) {
      QdSpfFileSchema names;
      readSchemaNames(h.schema.data(), h.schema.data() + h.schema.size(), names);
      m_report.schemas = std::move(names.names);
    }
    // The model's own schema must be among them, in any case (IFC4X3 for IFC4X3_ADD2).
    const std::string own = schemaName();
    bool named = !own.empty() && std::any_of(m_report.schemas.begin(), m_report.schemas.end(),
                                             [&](const std::string& s) { return qdIfcSameSchema(s, own); });
    if (!named) {
      std::string found = m_report.schemas.empty()           ? "no schema name"
                          : m_report.schemas.front().empty() ? "an empty schema name"
                                                             : m_report.schemas.front();
      m_filer.problemAt(m_filer.begin(), "FILE_SCHEMA(('" + own + "'))", found);
      if (!m_options.acceptOtherSchemas) {
        m_report.schemaRefused = true;
        return false;
      }
    }
    return true;
  }

  // The name of the model's schema ("IFC4"), or "" for a model without one.
  std::string schemaName() const {
    const QdIfcSchema* schema = m_model.schema();
    return schema && schema->name() ? schema->name() : "";
  }

  // The entity type of the index's type name number, looked up (in any case) the first
  // time the number comes.
  const QdIfcEntityType* typeOf(uint32_t number, std::string_view name) {
    if (number >= m_types.size()) m_types.resize(number + 1);
    TypeLookup& t = m_types[number];
    if (!t.done) {
      t.done = true;
      if (const QdIfcSchema* schema = m_model.schema()) {
        const DictionaryInstance* d = schema->entityTypes().find(name);
        const QdIfcNameType* n = d ? d->asNameType() : nullptr;
        t.type = n ? n->asEntityType() : nullptr;
      }
    }
    return t.type;
  }

  // Whether the model's memory (its arena, its slots and tables) and the index have
  // grown past the budget since the load began; if so, one problem, and the rest of the
  // file is not read. What other threads allocate meanwhile does not count.
  bool overBudget() {
    const uint64_t now = m_model.arena().used() + m_model.bookkeepingBytes() + m_index.bytes();
    const uint64_t grown = now > m_atStart ? now - m_atStart : 0;
    if (grown <= m_memoryBudget) return false;
    m_filer.beginRecord(0);
    m_filer.problem("at most " + std::to_string(m_memoryBudget) + " bytes of memory for a file of " +
                        std::to_string(m_report.bytes) + " bytes",
                    std::to_string(grown) + " bytes in use; the rest of the file is not read");
    m_stopped = true;
    return true;
  }

  // The records of a DATA section, each indexed and then read from its range at once,
  // while its bytes are in cache; the index's problems come in order among the reader's.
  void data() {
    if (const unsigned n = threads(); n > 1) {
      parallelData(n);
      return;
    }
    const uint64_t total = static_cast<uint64_t>(m_filer.end() - m_filer.begin());
    m_builder.setPosition(static_cast<uint64_t>(m_filer.position() - m_filer.begin()));
    uint64_t checked = m_builder.position();
    for (uint64_t n = 0;; ++n) {
      m_filer.setPosition(m_filer.begin() + m_builder.position());
      if (m_options.progress && (n & 0xFFFF) == 0) m_options.progress(m_builder.position(), total);
      // The heap is looked at every 1,024 records and every 64 KiB.
      if ((n & 1023) == 0 || m_builder.position() - checked >= 65536) {
        checked = m_builder.position();
        if (overBudget()) return;
        // The records before the position are read: their pages go, 8 MiB at a time.
        if (m_mapped && checked - m_released >= (uint64_t{8} << 20)) {
          m_mapped->release(m_released, checked);
          m_released = checked;
        }
      }
      const QdSpfRecordIndex::Step step = m_builder.next();
      m_filer.beginRecord(m_builder.instance());
      if (step == QdSpfRecordIndex::Step::kRecord) {
        const QdSpfRecordIndex::Record& r = m_index.records().back();
        if (!record(r)) m_unread.push_back(r.begin);
        // Read records are not looked at again: the index keeps the last few only.
        if (m_index.size() >= 65536) {
          m_index.dropRecords();
          m_dropped = true;
        }
      } else if (step != QdSpfRecordIndex::Step::kSkipped) {
        m_filer.setPosition(m_filer.begin() + m_builder.position());
        // A progress display ends full.
        if (m_options.progress) m_options.progress(total, total);
        return;
      }
    }
  }

  // The head of an indexed record, "#id=NAME(": its entity type, with the filer bound
  // to the record and standing at its '('. Null, with the problem told, for a record
  // that is not read; the filer is then bound to the record still.
  const QdIfcEntityType* head(const QdSpfRecordIndex::Record& r) {
    const char* start = m_filer.begin() + r.begin;
    const char* recordEnd = start + r.length;
    const char* p = start + 1;
    while (p < recordEnd && spf::isDigit(*p)) ++p;
    m_filer.beginRecord(r.id, p, recordEnd);
    if (!expect('=')) return nullptr;
    if (m_filer.peek() == '(') {
      m_filer.problem("a simple record", "an external mapping (complex) record, which is skipped");
      return nullptr;
    }
    const char* at = m_filer.position();
    std::string_view name = word();
    assert(name == m_names->typeName(r));  // the index reads the name by the same rules
    const QdIfcEntityType* type = name.empty() ? nullptr : typeOf(r.type, name);
    if (!type) {
      m_filer.problemAt(at, "an " + schemaName() + " entity type",
                        name.empty() ? m_filer.sampleAt(at) : std::string(name));
      return nullptr;
    }
    if (m_filer.peek() != '(') {
      m_filer.problem("'('", m_filer.sampleAt(m_filer.position()));
      return nullptr;
    }
    return type;
  }

  // Reads an indexed record into a new instance; false if none was made.
  bool record(const QdSpfRecordIndex::Record& r) {
    const QdIfcEntityType* type = head(r);
    bool made = false;
    if (type) {
      std::unique_ptr<QdIfcEntityBase> object(type->createInstance());
      if (object && m_model.addInstance(object.get(), r.id).isNull()) {
        m_filer.problemAt(m_filer.begin() + r.begin, "a new instance name", "#" + std::to_string(r.id) + " again");
      } else if (object) {
        made = true;
        ++m_types[r.type].count;
        ++m_report.records;
        readBody(m_filer, object.release());
      }
    }
    m_filer.endRecord();
    return made;
  }

  // ---- reading with several threads ----

  // A record whose head has been read: its place in the index, and where its '(' is.
  struct Work {
    uint32_t record;  // in the index (below 2^32: a record is at least 5 bytes, and so is a problem)
    uint32_t paren;   // offset of the '(' in the record
  };
  // What the records of one chunk gave.
  struct ChunkResult {
    std::vector<QdSpfProblem> problems;
    std::vector<uint64_t> unread;  // offsets of the records not read
    bool done = false;
  };

  // The threads that read records: what the options ask, else one per core for a file
  // of some size.
  unsigned threads() const {
    if (m_options.threads) return std::min(m_options.threads, 256u);
    const uint64_t bytes = static_cast<uint64_t>(m_filer.end() - m_filer.begin());
    return bytes >= (uint64_t{16} << 20) ? std::clamp(std::thread::hardware_concurrency(), 1u, 16u) : 1u;
  }

  // A DATA section read by several threads. The section is indexed first; then, on this
  // thread and in file order, each record's head is read, its type found and its number
  // given a slot, which the record claims (a name used again is told here, as the serial
  // reader tells it). Then the threads take chunks of the claimed records in turn, each
  // into its own arena and with its own filer, placing each object into its slot; a
  // reference to a number without a slot gets one under the model's lock. Problems are
  // kept per chunk and joined in chunk order, which is file order.
  void parallelData(unsigned threadCount) {
    m_builder.setPosition(static_cast<uint64_t>(m_filer.position() - m_filer.begin()));
    m_index.reserveFor(static_cast<uint64_t>(m_filer.end() - m_filer.position()));
    const size_t first = m_index.size();
    for (;;) {
      const QdSpfRecordIndex::Step step = m_builder.next();
      m_filer.beginRecord(m_builder.instance());
      if (step != QdSpfRecordIndex::Step::kRecord && step != QdSpfRecordIndex::Step::kSkipped) break;
    }
    const char* sectionEnd = m_filer.begin() + m_builder.position();
    if (overBudget()) return;

    const std::vector<QdSpfRecordIndex::Record>& records = m_index.records();
    uint64_t maxId = 0;
    for (size_t i = first; i < records.size(); ++i) maxId = std::max(maxId, records[i].id);
    m_model.reserve(records.size() - first, maxId);
    std::vector<Work> work;
    work.reserve(records.size() - first);
    for (size_t i = first; i < records.size(); ++i) {
      const QdSpfRecordIndex::Record& r = records[i];
      const QdIfcEntityType* type = head(r);
      if (type && !QdIfcModel::claim(m_model.handleFor(r.id))) {
        m_filer.problemAt(m_filer.begin() + r.begin, "a new instance name", "#" + std::to_string(r.id) + " again");
        type = nullptr;
      }
      if (type)
        work.push_back(
            {static_cast<uint32_t>(i), static_cast<uint32_t>(m_filer.position() - m_filer.begin() - r.begin)});
      else m_unread.push_back(r.begin);
      m_filer.endRecord();
    }

    const size_t chunk = std::clamp<size_t>(work.size() / (size_t{threadCount} * 16) + 1, 64, 16384);
    const size_t chunks = (work.size() + chunk - 1) / chunk;
    std::vector<ChunkResult> results(chunks);
    std::vector<std::unique_ptr<QdIfcArena>> arenas(threadCount);
    // Instances per type name number, per thread.
    std::vector<std::vector<uint64_t>> counts(threadCount);
    std::vector<uint64_t> placed(threadCount, 0);
    std::atomic<size_t> nextChunk{0}, chunksDone{0};
    std::atomic<uint64_t> grown{0};
    std::atomic<bool> stop{false};
    std::exception_ptr failure;
    std::mutex failureLock;
    const uint64_t total = static_cast<uint64_t>(m_filer.end() - m_filer.begin());
    const uint64_t budget = m_memoryBudget;
    // The budget counts what the threads' arenas take on top of what is there now.
    const uint64_t before =
        m_model.arena().used() + m_model.bookkeepingBytes() + m_index.bytes() + work.capacity() * sizeof(Work);
    const uint64_t atStart = m_atStart;

    auto worker = [&](unsigned t) {
      QdIfcArena* arena = &m_model.arena();
      if (t != 0) arena = (arenas[t] = std::make_unique<QdIfcArena>()).get();
      QdIfcArena::Scope scope(arena);
      QdSpfFilerBase filer(m_filer.begin(), m_filer.end(), &m_model);
      filer.setArena(arena);
      size_t arenaSeen = arena->used();
      // Counted here and handed over at the end: neighbouring counters of two threads
      // would share a cache line.
      std::vector<uint64_t> countsHere(m_types.size(), 0);
      uint64_t placedHere = 0;
      struct HandOver {
        std::vector<uint64_t>& from;
        uint64_t& placedFrom;
        std::vector<uint64_t>& to;
        uint64_t& placedTo;
        ~HandOver() {
          to = std::move(from);
          placedTo = placedFrom;
        }
      } handOver{countsHere, placedHere, counts[t], placed[t]};
      try {
        for (size_t c; !stop.load(std::memory_order_relaxed) && (c = nextChunk.fetch_add(1)) < chunks;) {
          ChunkResult& out = results[c];
          const size_t to = std::min(work.size(), (c + 1) * chunk);
          for (size_t i = c * chunk; i < to; ++i) {
            const QdSpfRecordIndex::Record& r = records[work[i].record];
            const QdIfcEntityType* type = m_types[r.type].type;
            const QdDbObjectId handle = m_model.find(r.id);
            filer.beginRecord(r.id, filer.begin() + r.begin + work[i].paren, filer.begin() + r.end());
            if (QdIfcEntityBase* object = type->createInstance()) {
              QdIfcModel::place(handle, object);
              ++countsHere[r.type];
              ++placedHere;
              readBody(filer, object);
            } else {
              QdIfcModel::unclaim(handle);
              out.unread.push_back(r.begin);
            }
            filer.endRecord();
          }
          out.problems = std::move(filer.problems());
          filer.problems().clear();
          out.done = true;
          // The chunk's bytes are read: their pages go (a page it shares with the next
          // chunk stays).
          if (m_mapped && to > c * chunk)
            m_mapped->release(records[work[c * chunk].record].begin, records[work[to - 1].record].end());
          const size_t used = arena->used();
          const uint64_t now = grown.fetch_add(used - arenaSeen) + (used - arenaSeen);
          arenaSeen = used;
          if (before + now > atStart + budget) stop = true;
          const size_t finished = chunksDone.fetch_add(1) + 1;
          if (t == 0 && m_options.progress && (finished & 15) == 0)
            m_options.progress(std::min(total, total * finished / chunks), total);
        }
      } catch (...) {
        std::lock_guard<std::mutex> hold(failureLock);
        if (!failure) failure = std::current_exception();
        stop = true;
      }
    };

    m_model.beginConcurrentFill();
    {
      std::vector<std::thread> pool;
      try {
        for (unsigned t = 1; t < threadCount && t < chunks; ++t) pool.emplace_back(worker, t);
      } catch (...) {
        stop = true;  // no more threads to be had: the ones there are end, then the failure goes on
        for (std::thread& th : pool) th.join();
        m_model.endConcurrentFill();
        throw;
      }
      worker(0);
      for (std::thread& th : pool) th.join();
    }
    m_model.endConcurrentFill();

    // Chunks not read (the budget ran out, or a thread failed): their records are not
    // read, and their slots free again.
    for (size_t c = 0; c < chunks; ++c) {
      if (results[c].done) continue;
      const size_t to = std::min(work.size(), (c + 1) * chunk);
      for (size_t i = c * chunk; i < to; ++i) {
        QdIfcModel::unclaim(m_model.find(records[work[i].record].id));
        results[c].unread.push_back(records[work[i].record].begin);
      }
    }
    for (unsigned t = 0; t < threadCount; ++t) {
      if (arenas[t]) m_model.arena().adopt(*arenas[t]);
      m_model.placed(placed[t]);
      m_report.records += placed[t];
      for (size_t k = 0; k < counts[t].size(); ++k) m_types[k].count += counts[t][k];
    }
    if (failure) std::rethrow_exception(failure);

    std::vector<QdSpfProblem>& problems = m_filer.problems();
    for (ChunkResult& r : results) {
      problems.insert(problems.end(), std::make_move_iterator(r.problems.begin()),
                      std::make_move_iterator(r.problems.end()));
      m_unread.insert(m_unread.end(), r.unread.begin(), r.unread.end());
    }
    std::sort(m_unread.begin(), m_unread.end());
    m_filer.setPosition(sectionEnd);
    if (stop) {
      size_t c = 0;
      while (c < chunks && results[c].done) ++c;
      const uint64_t at =
          c < chunks ? records[work[c * chunk].record].begin : static_cast<uint64_t>(sectionEnd - m_filer.begin());
      m_filer.beginRecord(0);
      m_filer.problemAt(m_filer.begin() + at,
                        "at most " + std::to_string(m_memoryBudget) + " bytes of memory for a file of " +
                            std::to_string(m_report.bytes) + " bytes",
                        std::to_string(before + grown.load() - std::min(before + grown.load(), atStart)) +
                            " bytes in use; the rest of the file is not read");
      m_stopped = true;
    }
    if (m_options.progress) m_options.progress(total, total);
  }

  void finish() {
    m_filer.beginRecord(0);
    // A file not read to its end leaves references to the records not read; they
    // are not reported one by one.
    if (!m_stopped)
      for (uint64_t id : m_model.unresolvedIds())
        m_filer.problemAt(m_filer.end(), "a record #" + std::to_string(id), "references to it and no record");
    checkReferenceTypes();
    // The index has served: its memory goes back before the links add their own.
    m_index = QdSpfRecordIndex();
    m_unread = std::vector<uint64_t>();
    if (m_options.linkInverses) m_model.setInverseCounterParts();
  }

  // References to instances of a type the attribute does not admit, one problem each
  // at the start of the record that holds them.
  void checkReferenceTypes() {
    std::vector<QdIfcFinding> findings = qdIfcValidate(m_model, kRuleAdmittedType);
    if (findings.empty()) return;
    // Number and offset of each record read into an instance, by number. A reader that
    // let its index go indexes the file again for them: the records are read by then,
    // and only a file with such references pays for it.
    QdSpfRecordIndex again;
    if (m_dropped)
      again =
          QdSpfRecordIndex::build(std::string_view(m_filer.begin(), m_filer.end() - m_filer.begin()), m_options.limits);
    const QdSpfRecordIndex& all = m_dropped ? again : m_index;
    std::vector<std::pair<uint64_t, uint64_t>> starts;
    starts.reserve(all.size());
    for (const QdSpfRecordIndex::Record& r : all.records())
      if (!std::binary_search(m_unread.begin(), m_unread.end(), r.begin)) starts.emplace_back(r.id, r.begin);
    std::sort(starts.begin(), starts.end());
    for (const QdIfcFinding& f : findings) {
      auto at = std::lower_bound(starts.begin(), starts.end(), std::make_pair(f.instance, uint64_t{0}));
      m_filer.beginRecord(f.instance);
      m_filer.problemAt(at != starts.end() && at->first == f.instance ? m_filer.begin() + at->second : m_filer.end(),
                        "a reference to " + f.expected + " in " + f.attribute, f.found);
    }
  }

 public:
  // The mapping of the bytes, if the reader owns one: the pages it is done with are let go.
  void setMapped(const QdSpfMappedFile* mapped) noexcept { m_mapped = mapped; }
  // Reads the records of index (over the same bytes) at the positions which, and no
  // others, then tells references to the numbers missing and links the objects made.
  void readSome(const QdSpfRecordIndex& index, const std::vector<size_t>& which, const std::vector<uint64_t>& missing) {
    m_names = &index;
    std::vector<QdIfcEntityBase*> made;
    {
      QdIfcArena::Scope scope(&m_model.arena());
      for (size_t i : which) {
        const QdSpfRecordIndex::Record& r = index.records()[i];
        if (record(r)) made.push_back(m_model.object(r.id));
      }
    }
    m_filer.beginRecord(0);
    for (uint64_t id : missing)
      m_filer.problemAt(m_filer.end(), "a record #" + std::to_string(id), "references to it and no record");
    if (m_options.linkInverses)
      for (QdIfcEntityBase* o : made) o->setInverseCounterParts();
  }

  void report() {
    std::vector<QdSpfProblem>& problems = m_filer.problems();
    // Lines, worked out in one pass over the bytes in order of offset.
    std::stable_sort(problems.begin(), problems.end(),
                     [](const QdSpfProblem& a, const QdSpfProblem& b) { return a.offset < b.offset; });
    const char* p = m_filer.begin();
    uint64_t line = 1;
    for (QdSpfProblem& pr : problems) {
      const char* to = m_filer.begin() + pr.offset;
      for (; p < to; ++p)
        if (*p == '\n') ++line;
      pr.line = line;
    }
    m_report.problems = std::move(problems);
    // Spellings of one type in different cases have numbers of their own.
    std::unordered_map<const QdIfcEntityType*, uint64_t> counts;
    for (const TypeLookup& t : m_types)
      if (t.count) counts[t.type] += t.count;
    for (const auto& [type, count] : counts) m_report.counts.emplace_back(type->schemaName(), count);
    std::sort(m_report.counts.begin(), m_report.counts.end());
  }

 private:
  QdIfcModel& m_model;
  QdSpfFilerBase m_filer;
  // The records, found by the builder one at a time as the reader asks for the next.
  QdSpfRecordIndex m_index;
  const QdSpfRecordIndex* m_names = &m_index;  // the index whose records are read
  QdSpfRecordIndex::Builder m_builder;
  const QdIfcLoadOptions& m_options;
  QdIfcLoadReport& m_report;
  struct TypeLookup {
    const QdIfcEntityType* type = nullptr;
    bool done = false;
    uint64_t count = 0;  // instances read of this spelling
  };
  std::vector<TypeLookup> m_types;  // by the index's type name number
  // The records of the index that were not read into an instance, in index order; the
  // others are where the problems found after reading are told.
  std::vector<uint64_t> m_unread;
  bool m_dropped = false;  // the serial reader let go of the records it read
  const QdSpfMappedFile* m_mapped = nullptr;
  uint64_t m_released = 0;  // the serial reader's bytes before this are let go
  const uint64_t m_atStart = m_model.arena().used() + m_model.bookkeepingBytes();
  const uint64_t m_memoryBudget;
  bool m_stopped = false;  // the memory budget ran out: the rest of the file is not read
};

}  // namespace

std::string QdIfcLoadReport::describe(const QdSpfProblem& p) const {
  std::string s = (file.empty() ? std::string("<bytes>") : file) + ":" + std::to_string(p.line) + ": ";
  if (p.instance) s += "#" + std::to_string(p.instance) + ": ";
  s += "expected " + p.expected + ", found " + p.found;
  return s;
}

namespace {
QdIfcLoadReport loadBytes(QdIfcModel& model, std::string_view bytes, const QdIfcLoadOptions& options,
                          const QdSpfMappedFile* mapped);
}  // namespace

QdIfcLoadReport qdIfcLoad(QdIfcModel& model, std::string_view bytes, const QdIfcLoadOptions& options) {
  return loadBytes(model, bytes, options, nullptr);
}

namespace {

QdIfcLoadReport loadBytes(QdIfcModel& model, std::string_view bytes, const QdIfcLoadOptions& options,
                          const QdSpfMappedFile* mapped) {
  QdIfcLoadReport report;
  report.bytes = bytes.size();
  Loader loader(model, bytes, options, report);
  loader.setMapped(mapped);
  loader.run();
  loader.report();
  return report;
}

}  // namespace

QdIfcLoadReport qdIfcLoadRecords(QdIfcModel& model, std::string_view bytes, const QdSpfRecordIndex& index,
                                 const std::vector<size_t>& which, const std::vector<uint64_t>& missing) {
  QdIfcLoadReport report;
  report.bytes = bytes.size();
  const QdIfcLoadOptions options;
  Loader loader(model, bytes, options, report);
  loader.readSome(index, which, missing);
  loader.report();
  return report;
}

QdSpfMappedFile::QdSpfMappedFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return;
  struct stat st {};
  m_opened = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
  if (m_opened && st.st_size > 0) {
    void* p = mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
    if (p != MAP_FAILED) {
      m_data = static_cast<const char*>(p);
      m_size = static_cast<size_t>(st.st_size);
      madvise(p, m_size, MADV_SEQUENTIAL);
    }
  }
  ::close(fd);
}

void QdSpfMappedFile::release(uint64_t from, uint64_t to) const noexcept {
  if (!m_data || from >= to) return;
  const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  // Whole pages only: from rounded up and to rounded down to page boundaries.
  const uint64_t base = reinterpret_cast<uintptr_t>(m_data);
  const uint64_t first = (base + from + page - 1) / page * page - base;
  const uint64_t last = (base + std::min<uint64_t>(to, m_size)) / page * page - base;
  if (first < last) madvise(const_cast<char*>(m_data) + first, last - first, MADV_DONTNEED);
}

QdSpfMappedFile::~QdSpfMappedFile() {
  if (m_data) munmap(const_cast<char*>(m_data), m_size);
}

QdIfcLoadReport qdIfcLoadFile(QdIfcModel& model, const std::string& path, const QdIfcLoadOptions& options) {
  // The model copies what it keeps of the bytes, so the mapping ends with the load.
  if (QdSpfMappedFile mapped(path); mapped.mapped()) {
    QdIfcLoadReport report = loadBytes(model, mapped.bytes(), options, &mapped);
    report.file = path;
    return report;
  }
  std::ifstream in(path, std::ios::binary);
  std::string bytes;
  if (in) {
    in.seekg(0, std::ios::end);
    bytes.resize(static_cast<size_t>(std::max<std::streamoff>(0, in.tellg())));
    in.seekg(0);
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  if (!in) {
    QdIfcLoadReport report;
    report.file = path;
    report.opened = false;
    QdSpfProblem p;
    p.expected = "a readable file";
    p.found = "none at " + path;
    report.problems.push_back(p);
    return report;
  }
  QdIfcLoadReport report = qdIfcLoad(model, bytes, options);
  report.file = path;
  return report;
}

QdSpfFileSchema qdIfcReadFileSchema(std::string_view bytes) {
  QdSpfFileSchema out;
  scanFileSchema(bytes.data(), bytes.data() + bytes.size(), out);
  return out;
}

QdSpfFileSchema qdIfcReadFileSchemaOfFile(const std::string& path) {
  // Headers are short: the first read nearly always holds the whole of it.
  constexpr size_t kFirst = size_t{64} << 10, kMost = size_t{4} << 20;
  std::ifstream in(path, std::ios::binary);
  QdSpfFileSchema out;
  if (!in) {
    out.opened = false;
    out.problem = "cannot read " + path;
    return out;
  }
  std::string bytes;
  for (size_t want = kFirst;; want *= 2) {
    const size_t had = bytes.size();
    bytes.resize(want);
    in.read(bytes.data() + had, static_cast<std::streamsize>(want - had));
    bytes.resize(had + static_cast<size_t>(in.gcount()));
    const bool whole = bytes.size() < want;
    if (in.bad()) {
      out.opened = false;
      out.problem = "cannot read " + path;
      return out;
    }
    out = QdSpfFileSchema();
    if (scanFileSchema(bytes.data(), bytes.data() + bytes.size(), out) == Scan::kDecided || whole) return out;
    if (want >= kMost) {
      out.problem = "the header goes on past " + std::to_string(kMost) + " bytes before FILE_SCHEMA";
      return out;
    }
  }
}

std::string qdIfcSaveText(QdIfcModel& model) {
  QdSpfFilerBase filer;
  std::string& out = filer.text();
  const QdSpfHeaderSection& h = model.header();
  out += "ISO-10303-21;\nHEADER;\n";
  out += "FILE_DESCRIPTION" +
         (h.description.empty() ? std::string("(('ViewDefinition [CoordinationView]'),'2;1')") : h.description) + ";\n";
  out += "FILE_NAME" + (h.name.empty() ? std::string("('','',(''),(''),'','','')") : h.name) + ";\n";
  // A new model's header names its own schema.
  const char* own = model.schema() && model.schema()->name() ? model.schema()->name() : "";
  out += "FILE_SCHEMA" + (h.schema.empty() ? "(('" + std::string(own) + "'))" : h.schema) + ";\n";
  out += "ENDSEC;\nDATA;\n";
  char number[24];
  model.forEach([&](const QdDbObjectId& id, QdIfcEntityBase* object) {
    const QdIfcEntityType* type = object->getInstanceType();
    if (!type) return;
    out.push_back('#');
    int n = std::snprintf(number, sizeof number, "%llu", static_cast<unsigned long long>(id.id()));
    out.append(number, static_cast<size_t>(n));
    out.push_back('=');
    out.append(type->typeName());
    out.push_back('(');
    object->outFields(&filer);
    out += ");\n";
  });
  out += "ENDSEC;\nEND-ISO-10303-21;\n";
  return std::move(out);
}

bool qdIfcSaveFile(QdIfcModel& model, const std::string& path, std::string* error) {
  std::string text = qdIfcSaveText(model);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!out) {
    if (error) *error = "cannot write " + path;
    return false;
  }
  return true;
}

}  // namespace QD_SDAI
