// QdSpfRecordIndex: the records of a file's DATA sections, found in one pass.
//
// For each record "#id=NAME(...);" the index holds its instance number, its type name
// and its byte range, from its '#' to just past its ';'. Finding them is one pass over
// the bytes that steps over strings, binaries and comments whole and holds every record
// to QdSpfLimits on the way (list depth, string length, record length, parameters per
// record). A record that breaks a limit, or whose instance name is no number from 1 to
// 2^64-1, is a problem and is not indexed; the records after it are. So is anything that
// stands where a record belongs and does not start with '#'. The problems are the ones a
// load of the same bytes reports, at the same offsets, with the same texts.
//
// The index makes no instance and knows no schema: type names are kept as spelled, each
// distinct spelling once (a number per record, its text a view into the bytes), and
// whether a name is a type of some schema is for the reader to say. qdIfcLoad builds an
// index and reads each record from its range as soon as it is indexed, while the bytes
// are still in cache; a reader that shares the records among threads, or one that opens
// a file for its index alone, builds the whole index first with build().
//
// Cost: 24 bytes per record, plus a view and a hash entry per distinct type name; the
// bytes must outlive the index. Building it alone runs at about half the speed of a bare
// tokenizer over the same bytes (bench_load prints both), several times a load's. A
// record is at most 4 GiB - 1 bytes long, whatever QdSpfLimits::maxRecordBytes allows.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace QD_SDAI {

class QDIFCCORE_API QdSpfRecordIndex {
 public:
  struct Record {
    uint64_t id = 0;      // the instance number, "#id"
    uint64_t begin = 0;   // offset of the '#' in the bytes
    uint32_t length = 0;  // bytes from the '#' to just past the ';' (to the end of the bytes if it has none)
    uint32_t type = 0;    // the type name's number in typeNames(); 0, the empty name, if no name follows "#id="
    uint64_t end() const noexcept { return begin + length; }
  };

  // What one step of a Builder met.
  enum class Step {
    kRecord,      // a record, now the index's last
    kSkipped,     // something that is not indexed, told as a problem; the position is past it
    kSectionEnd,  // ENDSEC; the position is past it (and past its ';', if it has one)
    kFileEnd,     // the end of the bytes before ENDSEC, told as a problem
  };

  // Indexes a DATA section step by step, one record (or whatever stands in a record's
  // place) a step, from a position in the section to its ENDSEC. For a reader that reads
  // each record as it is indexed.
  class QDIFCCORE_API Builder {
   public:
    // Problems go to the index, or to problems when that is given (a reader's own
    // list, so that they stand in order among the reader's). bytes, index and problems
    // must outlive the builder. The position starts at 0.
    Builder(QdSpfRecordIndex& index, std::string_view bytes, const QdSpfLimits& limits,
            std::vector<QdSpfProblem>* problems = nullptr);
    // Indexes what begins at the position (blanks and comments first skipped) and moves
    // past it.
    Step next();
    // Offset in the bytes.
    uint64_t position() const noexcept { return static_cast<uint64_t>(m_p - m_begin); }
    void setPosition(uint64_t offset) noexcept { m_p = m_begin + (offset < m_bytes ? offset : m_bytes); }
    // The number of the record last met: 0 after something that is not a record, or
    // for a name that is no number. Problems at the end of the section are told with it.
    uint64_t instance() const noexcept { return m_instance; }

   private:
    void report(const char* at, std::string expected, std::string found);

    QdSpfRecordIndex& m_index;
    const char* m_begin;
    const char* m_p;
    const char* m_end;
    uint64_t m_bytes;
    QdSpfLimits m_limits;
    std::vector<QdSpfProblem>& m_problems;
    uint64_t m_instance = 0;
  };

  QdSpfRecordIndex();

  // The index of every DATA section of a whole file, header and all, found as a load
  // finds them. No instance is made and no schema is asked.
  static QdSpfRecordIndex build(std::string_view bytes, const QdSpfLimits& limits = {});

  const std::vector<Record>& records() const noexcept { return m_records; }
  size_t size() const noexcept { return m_records.size(); }
  // The type name of a record as the file spells it; empty for a record with none.
  std::string_view typeName(const Record& r) const noexcept { return m_typeNames[r.type]; }
  // Every distinct spelling met, by number; the empty name is number 0.
  const std::vector<std::string_view>& typeNames() const noexcept { return m_typeNames; }
  // Forgets the records indexed so far (their type names stay, and so do the
  // numbers of the names); a reader that is done with them keeps its index small.
  void dropRecords() noexcept { m_records.clear(); }
  // Room for the records of bytes bytes, at a record length short for files (48 bytes):
  // the index then fills without being copied as it grows, and what it does not use is
  // address space, not memory.
  void reserveFor(uint64_t bytes) { m_records.reserve(m_records.size() + static_cast<size_t>(bytes / 48)); }
  // Bytes the index holds in its records and names (room reserved and not used is not
  // memory yet, and does not count).
  size_t bytes() const noexcept {
    return m_records.size() * sizeof(Record) + m_typeNames.capacity() * (sizeof(std::string_view) + 32);
  }
  // What was wrong, in file order (line 0: lines are worked out by who reports them).
  const std::vector<QdSpfProblem>& problems() const noexcept { return m_problems; }

 private:
  uint32_t intern(std::string_view name);

  std::vector<Record> m_records;
  std::vector<std::string_view> m_typeNames;
  std::unordered_map<std::string_view, uint32_t> m_typeNumbers;
  uint32_t m_lastType = 0;  // the number intern() gave last
  std::vector<QdSpfProblem> m_problems;
};

}  // namespace QD_SDAI
