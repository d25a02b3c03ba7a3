// What the host's file commands share: their arguments, loading a file, and the
// display of a value.
#pragma once

#include "ModuleLoader.h"

#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QD_SDAI {
class QdIfcEntityBase;
class QdIfcModel;
class QdIfcVariant;
}  // namespace QD_SDAI

namespace qdhost {

struct Parsed {
  std::vector<std::string> files;
  bool anySchema = false;
  bool viaProperties = false;
  bool help = false;
  std::string error;
};

// Prints the message and the usage text; returns the bad-usage status, 2.
int usage(const std::string& command, const std::string& message, const char* text);
// The arguments of a command that takes `files` paths. Returns -1 to go on, or the
// exit status: 0 after --help, 2 for bad usage. viaProperties: the command takes
// --via-properties.
int arguments(const std::vector<std::string>& args, const char* command, const char* text, size_t files,
              const char* what, Parsed& p, bool viaProperties = false);
// "#12" or "12"; false for anything else, 0 included.
bool parseInstanceId(const std::string& text, uint64_t& id);
// A file read into a model through the module; the model goes before the module.
struct LoadedFile {
  ModuleLoader module;
  std::unique_ptr<QD_SDAI::QdIfcModel> model;
  QD_SDAI::QdIfcLoadReport report;
  double seconds = 0;

  // Loads the module and reads path; prints the load's own failures (the module, the file).
  bool load(const std::string& modulePath, const std::string& path, bool anySchema);
  // The instance #id of the file at path, or null after saying that there is none.
  QD_SDAI::QdIfcEntityBase* instance(uint64_t id, const std::string& path) const;
};
// The value of a variant for a person: text decoded, aggregates in parentheses, $ unset.
std::string display(const QD_SDAI::QdIfcVariant& v, int depth = 0);

}  // namespace qdhost
