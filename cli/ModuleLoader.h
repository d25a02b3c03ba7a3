// Loads a schema module the way a host does: open the library, take its life-cycle
// object, start it, read the schema pointer; stop it and close the library at the end.
#pragma once

#include <QdIfcCore/ModuleLifeCycle.h>

#include <string>

namespace QD_SDAI {
class QdIfcSchema;
}

namespace qdhost {

class ModuleLoader {
 public:
  ModuleLoader() = default;
  ~ModuleLoader();
  ModuleLoader(const ModuleLoader&) = delete;
  ModuleLoader& operator=(const ModuleLoader&) = delete;

  // Opens the library and starts the module. On failure returns false and says why in error().
  bool load(const std::string& libraryPath);
  // Stops the module and closes the library; harmless when nothing is loaded.
  void unload();

  bool loaded() const noexcept { return m_handle != nullptr; }
  QD_SDAI::QdIfcSchema* schema() const noexcept { return m_schema; }
  QdModuleLifeCycleApp* lifeCycle() const noexcept { return m_app; }
  QdIfcGetSchemaPointerFn schemaPointerFunction() const noexcept { return m_getSchema; }
  // Looks up any exported symbol of the loaded module.
  void* symbol(const char* name) const;
  const std::string& error() const noexcept { return m_error; }
  const std::string& path() const noexcept { return m_path; }

 private:
  void* m_handle = nullptr;
  QdModuleLifeCycleApp* m_app = nullptr;
  QdIfcGetSchemaPointerFn m_getSchema = nullptr;
  QD_SDAI::QdIfcSchema* m_schema = nullptr;
  std::string m_error;
  std::string m_path;
};

// Where the IFC4 module is looked for when no path is given: beside the program,
// then in ../lib beside it, then by the system's own search.
std::string defaultModulePath(const char* argv0);

}  // namespace qdhost
