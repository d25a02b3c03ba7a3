// Opening a file with the schema module its header names.
//
// The header is read first, alone (qdIfcReadFileSchema): the first name of FILE_SCHEMA
// that a module is available for picks the module, which the registry loads and starts
// the first time; a model of its schema is made and the file read into it
// (qdIfcLoadFile). A schema may be forced instead, by name.
//
//   QdIfcModuleRegistry modules;
//   QdIfcReadResult r = qdIfcReadFile("house.ifc", modules);
//   if (!r.model) std::cerr << r.error;   // "no module for schema IFC2X4; there are: IFC4"
//
// The registry must outlive the model: the model's instances are objects of the module.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace QD_SDAI {

class QdIfcModule;
class QdIfcModuleRegistry;

struct QdIfcReadOptions {
  // The schema to read with, by name (any case, IFC4X3 for IFC4X3_ADD2); empty: the
  // first of FILE_SCHEMA's names that a module is available for.
  std::string schema;
  // The schema of a file whose header names none (the load then says what is wrong
  // with it), and, with load.acceptOtherSchemas, of one whose schemas have no module.
  std::string fallbackSchema = "IFC4";
  // How the records are read; acceptOtherSchemas also reads a file against a forced
  // schema its FILE_SCHEMA does not name.
  QdIfcLoadOptions load;
};

// The module a file is to be read with.
struct QDIFCCORE_API QdIfcModuleChoice {
  QdIfcModule* module = nullptr;     // null: see error
  std::vector<std::string> schemas;  // FILE_SCHEMA's names; not read when a schema was forced
  bool opened = true;                // false if the file could not be read
  bool noModule = false;             // the file names schemas, and none has a module
  std::string error;                 // why there is no module
};

// The module for the text of a file, or for a file (of which only the header is read).
QDIFCCORE_API QdIfcModuleChoice qdIfcChooseModule(std::string_view bytes, QdIfcModuleRegistry& registry,
                                                  const QdIfcReadOptions& options = {});
QDIFCCORE_API QdIfcModuleChoice qdIfcChooseModuleForFile(const std::string& path, QdIfcModuleRegistry& registry,
                                                         const QdIfcReadOptions& options = {});

struct QDIFCCORE_API QdIfcReadResult {
  std::unique_ptr<QdIfcModel> model;  // null when the file could not be read or no module was had
  QdIfcLoadReport report;             // the load's; for a file without a module, one problem that says so
  QdIfcModule* module = nullptr;      // the registry's module of the model's schema
  std::string error;                  // why there is no model

  bool ok() const noexcept { return model && report.ok(); }
};

// Reads the text of a file, or a file, into a new model of the schema chosen as
// qdIfcChooseModule does.
QDIFCCORE_API QdIfcReadResult qdIfcRead(std::string_view bytes, QdIfcModuleRegistry& registry,
                                        const QdIfcReadOptions& options = {});
QDIFCCORE_API QdIfcReadResult qdIfcReadFile(const std::string& path, QdIfcModuleRegistry& registry,
                                            const QdIfcReadOptions& options = {});

}  // namespace QD_SDAI
