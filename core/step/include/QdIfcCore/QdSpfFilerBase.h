// QdSpfFilerBase: reads and writes the parameter lists of ISO 10303-21 records.
//
// An entity's inFields and outFields call one field operation per attribute, with
// two constant flags: `optional` ($ is a legal value) and `comma` (a comma stands
// before this parameter). Reading works on the whole file in memory: every operation
// parses its parameter in place, straight from the bytes, and references "#n" become
// handles through the model's id table at once. A parameter that is not what the
// field wants is recorded as a problem (offset, instance, expected, found), skipped,
// and the member is left as it was, so that the next field reads on. Writing appends
// to a text buffer.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdTypes.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace QD_SDAI {

class QdIfcModel;
class QdIfcSelect;
class QdSpfFilerBase;

// One thing wrong in a file: where (byte offset; the line is worked out when the
// report is made), in which record, what was expected and what was found.
struct QdSpfProblem {
  uint64_t offset = 0;
  uint64_t line = 0;
  uint64_t instance = 0;  // 0 outside a record
  std::string expected;
  std::string found;
};

// The bounds a reader holds a file to, so that no file can make it overrun its stack,
// its time or its memory. A record that breaks one is a problem at the place of the
// breach and is not read; the first four are checked as the record is indexed
// (QdSpfRecordIndex), before it is read.
struct QdSpfLimits {
  uint32_t maxListDepth = 64;                 // parentheses open at once in a record, its own included
  uint64_t maxStringBytes = 64ull << 20;      // one string or binary literal, between its quotes
  uint64_t maxRecordBytes = 256ull << 20;     // one record, from its first character to its ';'
  uint64_t maxRecordParameters = 1ull << 25;  // values in one record, the elements of every list included
  // The heap may grow by memoryPerFileByte for each byte of the file, and by
  // memoryAllowance more, while the file is read; past that the rest is not read.
  uint64_t memoryPerFileByte = 64;
  uint64_t memoryAllowance = 256ull << 20;
};

// The stream under a read helper. The one operation the aggregate readers use puts
// back the character that the read helper has just consumed.
class QDIFCCORE_API QdSpfStream {
 public:
  // Steps back over `count` characters just consumed. The second argument is kept
  // for the callers' sake and must be 2 ("from the current position").
  void seek(int count, int from) noexcept;

 private:
  friend class QdSpfFilerBase;
  friend class QdSpfReadHelper;
  explicit QdSpfStream(QdSpfFilerBase& filer) noexcept : m_filer(filer) {}
  QdSpfFilerBase& m_filer;
};

// The lower layer of reading, which the aggregate readers call directly.
class QDIFCCORE_API QdSpfReadHelper {
 public:
  // If the next significant character is c, consumes it and answers true; otherwise
  // answers false and leaves the position where it was. stop is not consulted: the
  // callers pass a predicate that answers false.
  bool skipUntilRet(char c, const std::function<bool(char)>& stop);
  bool skipUntilRet(char c) noexcept;
  // Gives up on the parameter at hand and moves to the start of the next one (past
  // its comma); noComma says that the comma in front of this one was missing.
  bool ignoreParamter(bool noComma);
  QdSpfStream& stream() noexcept { return m_stream; }

 private:
  friend class QdSpfFilerBase;
  explicit QdSpfReadHelper(QdSpfFilerBase& filer) noexcept : m_filer(filer), m_stream(filer) {}
  QdSpfFilerBase& m_filer;
  QdSpfStream m_stream;
};

class QDIFCCORE_API QdSpfFilerBase {
 public:
  // A filer that writes into its own buffer (text()).
  QdSpfFilerBase();
  // A filer that reads the bytes [begin, end), resolving references in model. The
  // bytes must outlive the filer; they need no terminating zero.
  QdSpfFilerBase(const char* begin, const char* end, QdIfcModel* model);
  QdSpfFilerBase(const QdSpfFilerBase&) = delete;
  QdSpfFilerBase& operator=(const QdSpfFilerBase&) = delete;
  virtual ~QdSpfFilerBase();

  // ---- reading fields: 0 on success; entity classes do not look at the result ----
  QD::ErrorStatus rdInt(int& value, bool optional, bool comma);
  QD::ErrorStatus rdDouble(double& value, bool optional, bool comma);
  QD::ErrorStatus rdQdAnsiString(QdAnsiString& value, bool optional, bool comma);
  QD::ErrorStatus rdLimitedString(char* buffer, int length, bool optional, bool comma);
  QD::ErrorStatus rdPrimitive(QdIfcLogical& value, bool optional, bool comma);
  QD::ErrorStatus rdPrimitive(QdIfcBoolean& value, bool optional, bool comma);
  QD::ErrorStatus rdReference(QdDbObjectId& value, bool comma);
  QD::ErrorStatus rdSelect(QdIfcSelect& value, bool optional, bool comma);
  // The literal of ".NAME." without the points; empty for $ or anything else.
  QdAnsiString rdEnumerationToStr(bool optional, bool comma);
  // The same literal as a view into the file, valid while the filer reads.
  std::string_view rdEnumerationView(bool optional, bool comma);
  QD::ErrorStatus rdDerive(bool comma);

  // ---- reading one list element; comma: one stands before it ----
  QD::ErrorStatus rdPrimitive(int& value, bool comma);
  QD::ErrorStatus rdPrimitive(double& value, bool comma);
  QD::ErrorStatus rdPrimitive(QdAnsiString& value, bool comma);
  QD::ErrorStatus rdPrimitive(QdDbObjectId& value, bool comma);
  QD::ErrorStatus rdPrimitive(QdIfcSelect& value, bool comma);

  // ---- scanning ----
  // Moves past the next c of this parameter; false if the parameter ends first.
  bool skipUntil(char c);
  // Moves past the next c, stepping over comments (and, with inStrings, strings).
  bool ignoreUntilComments(char c, bool inStrings);
  QdSpfReadHelper* readHelper() noexcept { return &m_helper; }

  // ---- writing fields ----
  void wrInt(const int& value, bool optional, bool comma);
  void wrDouble(const double& value, bool optional, bool comma);
  void wrQdAnsiString(const QdAnsiString& value, bool optional, bool comma);
  void wrLimitedString(const char* value, int length, bool optional, bool comma);
  void wrPrimitive(QdIfcLogical& value, bool optional, bool comma);
  void wrPrimitive(QdIfcBoolean& value, bool optional, bool comma);
  void wrReference(const QdDbObjectId& value, bool comma);
  void wrSelect(const QdIfcSelect& value, bool optional, bool comma);
  // ".NAME."; a null or empty name (an unset value) gives $.
  void wrEnumerationStr(const QdAnsiString& name, bool optional, bool comma);
  void wrEnumerationStr(const char* name, bool optional, bool comma);
  void wrDerive(bool comma);
  // One list element, with no comma: the caller writes the separators.
  void wrPrimitive(int& value);
  void wrPrimitive(double& value);
  void wrPrimitive(QdAnsiString& value);
  void wrPrimitive(QdDbObjectId& value);
  void wrPrimitive(QdIfcSelect& value);
  void wrChar(char c) { m_out.push_back(c); }

  // Strings read from here on go into arena (null: the heap).
  void setArena(QdIfcArena* arena) noexcept { m_arena = arena; }

  // ---- the filer's own state ----
  // What has been written.
  std::string& text() noexcept { return m_out; }
  // The problems met while reading, in order; lines are not filled in here.
  const std::vector<QdSpfProblem>& problems() const noexcept { return m_problems; }
  std::vector<QdSpfProblem>& problems() noexcept { return m_problems; }
  // The record being read: its number, for problems.
  void beginRecord(uint64_t instance) noexcept {
    m_instance = instance;
    m_recordEnded = false;
  }
  // Reads the record of that number from `from`, no further than end: the rest of a
  // record whose range an index gave (QdSpfRecordIndex). endRecord lifts the bound.
  void beginRecord(uint64_t instance, const char* from, const char* end) noexcept {
    beginRecord(instance);
    m_p = from;
    confine(end);
  }
  void endRecord() noexcept { confine(nullptr); }
  // Records a problem at the present position.
  void problem(std::string expected, std::string found);
  void problemAt(const char* at, std::string expected, std::string found);
  // Position in the bytes read.
  const char* position() const noexcept { return m_p; }
  void setPosition(const char* p) noexcept { m_p = p; }
  const char* begin() const noexcept { return m_begin; }
  const char* end() const noexcept { return m_end; }
  // Steps over blanks, line ends and comments; the next significant character or 0.
  char peek() noexcept;
  // A short, printable sample of the bytes at p, for problem texts.
  std::string sampleAt(const char* p) const;
  // Moves to the end of the parameter at hand: to the ',' or ')' that closes it at
  // its own level, not consuming it. Strings and nested lists are stepped over.
  void skipParameter() noexcept;
  // Moves past the ')' that closes the list the position is in, stepping over the
  // elements left: the way out of a list with a bad element.
  void skipRestOfList() noexcept;
  // Reads no further than end (nor past the bytes given at construction) from now on;
  // a record is read within its own bytes this way.
  void confine(const char* end) noexcept { m_end = end && end < m_bytesEnd ? end : m_bytesEnd; }
  // Moves to the parameter of a field, over its comma when comma is true. False, with
  // one problem for the record, when the record ends where the field was due.
  bool beginField(bool comma) { return enterField(comma); }
  // True once a field found the record's ')' where more parameters were due.
  bool recordEnded() const noexcept { return m_recordEnded; }

  // Text written for reals: the shortest form that reads back to the same double,
  // with a decimal point and an upper-case E.
  static void appendReal(std::string& out, double value);

 private:
  friend class QdSpfReadHelper;
  friend class QdSpfStream;

  // Moves to the parameter of a field: over its comma if comma. False (with the
  // problem recorded, once per record) when the record ended instead.
  bool enterField(bool comma);
  // $ (when optional or not) or * at the position: consumed, and true.
  bool takeUnset();
  template <class T>
  QD::ErrorStatus readField(T& value, bool comma);
  bool readIntToken(int64_t& value, bool& isInteger, double& real);
  QD::ErrorStatus wrongKind(const char* expected);
  bool readStringToken(std::string_view& raw);
  // "#n" at the position: consumed, and true. A name outside #1 to #2^64-1 is a
  // problem; valid is then false and value stays as it was.
  bool readReferenceToken(QdDbObjectId& value, bool& valid);
  void fieldComma(bool comma) {
    if (comma) m_out.push_back(',');
  }

  const char* m_begin = nullptr;
  const char* m_p = nullptr;
  const char* m_end = nullptr;
  const char* m_bytesEnd = nullptr;
  QdIfcModel* m_model = nullptr;
  QdIfcArena* m_arena = nullptr;
  bool m_utf8 = false;
  bool m_recordEnded = false;
  uint64_t m_instance = 0;
  std::vector<QdSpfProblem> m_problems;
  std::string m_out;
  QdSpfReadHelper m_helper;
};

}  // namespace QD_SDAI
