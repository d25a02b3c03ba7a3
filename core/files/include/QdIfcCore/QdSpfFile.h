// Loading an ISO 10303-21 file into a model and saving a model as one.
//
// Loading is one pass over the bytes in memory: each record is indexed (its number, type
// name and bytes, held to the limits: QdSpfRecordIndex) and read from its bytes at once.
// Its type is found in the schema's dictionary without regard to case, its instance made
// by the type's factory and added under the record's number, its parameters read by
// inFields, and every "#n" becomes a handle through the model's id table at once, also
// for records that come later. Then references that never found their record are
// reported, and the inverse attributes are filled. Whatever is wrong in the file becomes
// an entry of the report (offset, line, record, what was expected, what was found); the
// records that can be read are kept.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdSpfFilerBase.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QD_SDAI {

class QdIfcModel;

struct QdIfcLoadOptions {
  // Load a file whose FILE_SCHEMA does not name the model's schema anyway (as far as
  // its records are of the model's schema).
  bool acceptOtherSchemas = false;
  // Fill the inverse attributes after reading.
  bool linkInverses = true;
  // Threads that read the records: 1 reads them in order on the calling thread; 0
  // chooses (one for a small file, else one per core).
  unsigned threads = 0;
  // What a file may ask of the reader: depth of lists, length of strings and
  // records, parameters per record, and memory for the whole file.
  QdSpfLimits limits;
  // Called now and then while the records are read, with the bytes read so far and
  // the bytes in all, and once more with both the same when the records are read; for
  // a progress display. May be empty.
  std::function<void(uint64_t done, uint64_t total)> progress;
};

struct QDIFCCORE_API QdIfcLoadReport {
  std::string file;                                      // the path, or empty for bytes in memory
  std::vector<QdSpfProblem> problems;                    // in file order, lines filled in
  std::vector<std::pair<std::string, uint64_t>> counts;  // instances per type name, by name
  std::vector<std::string> schemas;                      // the names in FILE_SCHEMA
  uint64_t records = 0;                                  // records read into instances
  uint64_t bytes = 0;
  bool schemaRefused = false;  // FILE_SCHEMA does not name the model's schema and the load stopped
  bool opened = true;          // false if the file could not be read

  bool ok() const noexcept { return opened && !schemaRefused && problems.empty(); }
  // "file:line: #id: expected X, found Y" for each problem.
  std::string describe(const QdSpfProblem& p) const;
};

// A regular file's bytes, mapped for reading: the page cache read in place, with no copy
// and no fresh pages for the kernel to clear. Not mapped (mapped() false, bytes() empty)
// for a file that is empty, is not a regular file, or cannot be opened or mapped;
// opened() says whether the path is a regular file that could be opened. The bytes
// live as long as the object.
class QDIFCCORE_API QdSpfMappedFile {
 public:
  explicit QdSpfMappedFile(const std::string& path);
  ~QdSpfMappedFile();
  QdSpfMappedFile(const QdSpfMappedFile&) = delete;
  QdSpfMappedFile& operator=(const QdSpfMappedFile&) = delete;

  bool opened() const noexcept { return m_opened; }
  bool mapped() const noexcept { return m_data != nullptr; }
  std::string_view bytes() const noexcept { return {m_data ? m_data : "", m_size}; }
  // Lets the process's memory go of the whole pages within [from, to) of the bytes: they
  // stay in the system's file cache and are read from there again if touched, so a
  // reader that is past them keeps only what it has not read yet resident.
  void release(uint64_t from, uint64_t to) const noexcept;

 private:
  const char* m_data = nullptr;
  size_t m_size = 0;
  bool m_opened = false;
};

// Reads the records of bytes into model (which should be empty and have a schema).
// FILE_SCHEMA must name the model's schema (any case; IFC4X3 for IFC4X3_ADD2), unless
// options.acceptOtherSchemas.
QDIFCCORE_API QdIfcLoadReport qdIfcLoad(QdIfcModel& model, std::string_view bytes,
                                        const QdIfcLoadOptions& options = {});
// The same for a file.
QDIFCCORE_API QdIfcLoadReport qdIfcLoadFile(QdIfcModel& model, const std::string& path,
                                            const QdIfcLoadOptions& options = {});

// What the header says of the schema, read without the records: the header is scanned
// up to its FILE_SCHEMA record (blanks and comments anywhere between tokens, names
// and keywords in any case), and a file is read only as far as that.
struct QDIFCCORE_API QdSpfFileSchema {
  std::vector<std::string> names;  // the strings of FILE_SCHEMA, in order, as spelled
  bool found = false;              // FILE_SCHEMA was read to its closing parenthesis
  bool opened = true;              // false if the file could not be read
  std::string problem;             // why found is false: no FILE_SCHEMA, the text ends first
};
// The schema names of the header at the start of bytes.
QDIFCCORE_API QdSpfFileSchema qdIfcReadFileSchema(std::string_view bytes);
// The same for a file, reading only the first bytes of it (64 KiB, more only while the
// header goes on, at most 4 MiB).
QDIFCCORE_API QdSpfFileSchema qdIfcReadFileSchemaOfFile(const std::string& path);

// The model as a file: the header kept from loading (or a default one, which names
// the model's schema), then every instance in number order as "#id=NAME(...);".
QDIFCCORE_API std::string qdIfcSaveText(QdIfcModel& model);
// Writes qdIfcSaveText to path; false with a message in error when it cannot.
QDIFCCORE_API bool qdIfcSaveFile(QdIfcModel& model, const std::string& path, std::string* error = nullptr);

}  // namespace QD_SDAI
