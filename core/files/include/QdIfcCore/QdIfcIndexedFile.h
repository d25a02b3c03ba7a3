// QdIfcIndexedFile: a file opened by its record index alone.
//
// Opening maps the file (a regular file; anything else is read into memory) and builds
// its QdSpfRecordIndex: no instance is made and no schema is asked, so it costs a pass
// over the bytes and 24 bytes a record. From the index alone it answers how many records
// there are of each type, which records a type has, and the record of a number. On
// demand it reads one record into a model, together with every record that record
// references, directly or through others, so that each of its references leads to an
// object: materialise(). A model filled this way holds the part of the file that was
// asked for; its inverse attributes link the records read so far.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/QdSpfRecordIndex.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QD_SDAI {

class QdIfcModel;

class QDIFCCORE_API QdIfcIndexedFile {
 public:
  // Opens and indexes the file at path; opened() is false if it cannot be read.
  explicit QdIfcIndexedFile(const std::string& path, const QdSpfLimits& limits = {});
  // Indexes bytes held elsewhere, which must outlive the object.
  static QdIfcIndexedFile ofBytes(std::string_view bytes, const QdSpfLimits& limits = {});
  ~QdIfcIndexedFile();
  QdIfcIndexedFile(QdIfcIndexedFile&&) noexcept;
  QdIfcIndexedFile& operator=(QdIfcIndexedFile&&) noexcept;

  bool opened() const noexcept { return m_opened; }
  std::string_view bytes() const noexcept { return m_bytes; }
  const QdSpfRecordIndex& index() const noexcept { return m_index; }
  // The number of records.
  size_t size() const noexcept { return m_index.size(); }

  // Records per type name as the file spells it, by name; "" counts records without one.
  std::vector<std::pair<std::string, uint64_t>> counts() const;
  // The record of number id (the first, where a number is used again), or null.
  const QdSpfRecordIndex::Record* find(uint64_t id) const;
  // The record's text, from its '#' to its ';'.
  std::string_view text(const QdSpfRecordIndex::Record& r) const noexcept { return m_bytes.substr(r.begin, r.length); }
  // The numbers of the records of a type name (in any case), in file order.
  std::vector<uint64_t> ofType(std::string_view typeName) const;

  // Reads the record of number id into model with every record it references, directly
  // or through others, that the model does not hold yet; the references among them and
  // to the model's objects resolve, and their inverse attributes are linked. Returns
  // the handle of id: null if the file has no such record or it could not be read. The
  // problems of the records read (and of references to numbers without a record) go to
  // report, if given, as a load tells them. The model's schema reads the records;
  // FILE_SCHEMA is not looked at.
  QdDbObjectId materialise(QdIfcModel& model, uint64_t id, QdIfcLoadReport* report = nullptr) const;

 private:
  QdIfcIndexedFile() = default;
  void build(const QdSpfLimits& limits);

  std::unique_ptr<QdSpfMappedFile> m_mapped;
  std::unique_ptr<std::string> m_read;  // the bytes of a file that is not mapped
  std::string_view m_bytes;
  QdSpfRecordIndex m_index;
  // Positions in the index by number, made on the first find() for a file whose
  // numbers do not ascend (most files' do, and are searched in place).
  mutable std::vector<std::pair<uint64_t, uint32_t>> m_byId;
  bool m_ascending = true;
  bool m_opened = false;
};

}  // namespace QD_SDAI
