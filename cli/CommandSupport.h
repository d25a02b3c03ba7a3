// What the host's file commands share: their arguments, loading a file, and the
// display of a value.
#pragma once

#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>
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
  std::string schema;  // --schema NAME: the schema to read with instead of FILE_SCHEMA's
  bool anySchema = false;
  unsigned threads = 0;  // --threads N: the threads that read the records (0: the reader chooses)
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
// Where the host looks for modules: beside the core library, then beside the program
// and in ../lib beside it.
void addHostSearchPaths(QD_SDAI::QdIfcModuleRegistry& registry);
// The module the host works with when no file picks one: the library at modulePath
// when one is given (its schema must then be schema, if that is given), else the
// module of schema. Null after saying why.
QD_SDAI::QdIfcModule* hostModule(QD_SDAI::QdIfcModuleRegistry& registry, const std::string& modulePath,
                                 const std::string& schema);

// A file read into a model through the module its FILE_SCHEMA names (or the one
// forced); the model goes before the modules.
struct LoadedFile {
  QD_SDAI::QdIfcModuleRegistry registry;
  QD_SDAI::QdIfcModule* module = nullptr;
  std::unique_ptr<QD_SDAI::QdIfcModel> model;
  QD_SDAI::QdIfcLoadReport report;
  double seconds = 0;
  unsigned threads = 0;  // the threads that read the records (0: the reader chooses)

  // Picks and starts the module (the one at modulePath if given, else that of
  // schema if given, else the file's) and reads path; prints the load's own failures
  // (the module, the file).
  bool load(const std::string& modulePath, const std::string& path, bool anySchema, const std::string& schema = {});
  // The instance #id of the file at path, or null after saying that there is none.
  QD_SDAI::QdIfcEntityBase* instance(uint64_t id, const std::string& path) const;
};
// The value of a variant for a person: text decoded, aggregates in parentheses, $ unset.
std::string display(const QD_SDAI::QdIfcVariant& v, int depth = 0);

}  // namespace qdhost
