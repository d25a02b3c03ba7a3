// Reading chosen records of an index into a model: the reader's own record reading,
// for a file opened by its index (QdIfcIndexedFile).
#pragma once

#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/QdSpfRecordIndex.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace QD_SDAI {

// Reads the records of index (built over bytes) at the positions which, in that order,
// into model, and links the inverse attributes of the objects made. missing: numbers
// referenced that have no record, each told as a problem as a load tells it.
QdIfcLoadReport qdIfcLoadRecords(QdIfcModel& model, std::string_view bytes, const QdSpfRecordIndex& index,
                                 const std::vector<size_t>& which, const std::vector<uint64_t>& missing);

}  // namespace QD_SDAI
