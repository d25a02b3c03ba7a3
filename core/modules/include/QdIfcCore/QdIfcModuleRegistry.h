// Schema modules found and loaded by the name of their schema.
//
// A schema module is a shared library with three plain entry points
// (qdGetModuleLifeCycleApp, qdifcGetSchemaPointer, qdIfcBuildPropertyForSimple).
// QdIfcModule loads one library as a host does: dlopen (RTLD_LOCAL, so that modules
// of several schemas keep their symbols apart in one process), start through the
// life-cycle object, read the schema pointer; stop and close at the end.
//
// QdIfcModuleRegistry knows which library holds which schema (IFC2X3: QdIfc2x3, IFC4:
// QdIfc4, IFC4X3 and IFC4X3_ADD2: QdIfc4x3; names in any case), looks for the library
// in the folder of the core library itself, then in the folders the host adds, loads
// each module once, and stops and closes them in the reverse order of loading when it
// is destroyed. A library loaded from an explicit path serves its schema from then on.
//
//   QdIfcModuleRegistry modules;
//   std::string why;
//   if (QdIfcModule* m = modules.module("ifc4", &why)) QdIfcModel model(m->schema());
//   else std::cerr << why;   // "no module for schema IFC4; there are: IFC2X3"
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/ModuleLifeCycle.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace QD_SDAI {

class QdIfcSchema;

// The name a schema is known by: in capitals, an alias replaced by the name it stands
// for ("ifc4x3" gives "IFC4X3_ADD2"). Names the table does not know come back in
// capitals.
QDIFCCORE_API std::string qdIfcCanonicalSchemaName(std::string_view name);
// Whether two schema names are the same schema: in any case, an alias the same as its
// full name.
QDIFCCORE_API bool qdIfcSameSchema(std::string_view a, std::string_view b);
// The library of the module of a schema, without "lib" and ".so" ("QdIfc4"); empty for
// a schema no module is known for.
QDIFCCORE_API std::string qdIfcModuleLibraryName(std::string_view schemaName);
// The schemas a module is known for, by their canonical names, oldest edition first.
QDIFCCORE_API std::vector<std::string> qdIfcKnownSchemaNames();

// One schema module library, loaded and started.
class QDIFCCORE_API QdIfcModule {
 public:
  QdIfcModule() = default;
  ~QdIfcModule();
  QdIfcModule(const QdIfcModule&) = delete;
  QdIfcModule& operator=(const QdIfcModule&) = delete;

  // Opens the library and starts the module. On failure returns false and says why in
  // error(). A module loaded by several QdIfcModule objects (in several registries, say)
  // is started by the first and stopped by the last to let it go.
  bool load(const std::string& libraryPath);
  // Stops the module (unless another QdIfcModule still holds it) and closes the
  // library; harmless when nothing is loaded.
  void unload();

  bool loaded() const noexcept { return m_handle != nullptr; }
  QdIfcSchema* schema() const noexcept { return m_schema; }
  // The name of the module's schema ("IFC4"), or "" when nothing is loaded.
  const char* schemaName() const noexcept;
  QdModuleLifeCycleApp* lifeCycle() const noexcept { return m_app; }
  QdIfcGetSchemaPointerFn schemaPointerFunction() const noexcept { return m_getSchema; }
  // Looks up any exported symbol of the loaded module.
  void* symbol(const char* name) const;
  const std::string& error() const noexcept { return m_error; }
  // The path the library was loaded from, as given.
  const std::string& path() const noexcept { return m_path; }
  // The handle dlopen gave; the same for every load of one library file.
  void* handle() const noexcept { return m_handle; }

 private:
  void* m_handle = nullptr;
  QdModuleLifeCycleApp* m_app = nullptr;
  QdIfcGetSchemaPointerFn m_getSchema = nullptr;
  QdIfcSchema* m_schema = nullptr;
  std::string m_error;
  std::string m_path;
};

// The modules of a process (or of a part of it), by schema name. Safe to use from
// several threads at once.
class QDIFCCORE_API QdIfcModuleRegistry {
 public:
  // searchBesideCore: look in the folder of the core library first (a host wants this;
  // false leaves only the folders added).
  explicit QdIfcModuleRegistry(bool searchBesideCore = true);
  // Stops and closes the modules, the last loaded first.
  ~QdIfcModuleRegistry();
  QdIfcModuleRegistry(const QdIfcModuleRegistry&) = delete;
  QdIfcModuleRegistry& operator=(const QdIfcModuleRegistry&) = delete;

  // The folder of the core library (from dladdr on one of its functions), or "".
  static std::string coreLibraryFolder();
  // "libQdIfc4.so" for "QdIfc4".
  static std::string libraryFileName(std::string_view libraryName);

  // Adds a folder to look in, after those there are; a folder already there is not
  // added twice.
  void addSearchPath(const std::string& folder);
  // The folders looked in, in order.
  std::vector<std::string> searchPaths() const;

  // The file of the module of a schema (any case, aliases too): in the first folder
  // that holds it. Empty for an unknown schema or a library in no folder.
  std::string findLibrary(std::string_view schemaName) const;
  // Whether a module of the schema is loaded or found in a folder.
  bool available(std::string_view schemaName) const;
  // The schemas of the modules loaded or found in the folders, by their canonical
  // names: the known ones in the order of qdIfcKnownSchemaNames, then any other loaded
  // from an explicit path.
  std::vector<std::string> availableSchemas() const;
  // "no module for schema IFC2X4; there are: IFC2X3, IFC4" (or "there are none,
  // looked in ..."). Several names are joined by "or".
  std::string missingMessage(const std::vector<std::string>& schemaNames) const;

  // The module of a schema, loaded and started the first time it is asked for. Null
  // when there is none or it does not load, with the reason in *error.
  QdIfcModule* module(std::string_view schemaName, std::string* error = nullptr);
  // The schema of that module, or null.
  QdIfcSchema* schema(std::string_view schemaName, std::string* error = nullptr);
  // Loads the library at path (once: a library loaded already is the module there is)
  // and makes it the module of its schema. Null with the reason in *error if it does
  // not load, or if a module of the same schema is loaded from another library.
  QdIfcModule* loadLibrary(const std::string& path, std::string* error = nullptr);
  // The module whose schema this is, or null.
  QdIfcModule* moduleOf(const QdIfcSchema* schema) const;
  // The modules loaded, in the order they were.
  std::vector<QdIfcModule*> loaded() const;
  // Stops and closes every module, the last loaded first.
  void unloadAll();

 private:
  QdIfcModule* loadedFor(std::string_view schemaName) const;
  std::string findLibraryLocked(std::string_view schemaName) const;
  std::vector<std::string> availableLocked() const;
  QdIfcModule* adopt(std::unique_ptr<QdIfcModule> module, std::string_view expectedSchema, std::string* error);

  mutable std::mutex m_lock;
  std::vector<std::string> m_paths;
  std::vector<std::unique_ptr<QdIfcModule>> m_modules;  // in load order
};

}  // namespace QD_SDAI
