#include <QdIfcCore/QdIfcModuleRegistry.h>

#include <QdIfcCore/Dictionary.h>

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <unordered_map>

namespace QD_SDAI {

namespace {

namespace fs = std::filesystem;

struct KnownSchema {
  const char* name;     // canonical, in capitals
  const char* library;  // without "lib" and the suffix
};

// Oldest edition first: the order in which available schemas are listed.
constexpr KnownSchema kKnown[] = {
    {"IFC2X3", "QdIfc2x3"},
    {"IFC4", "QdIfc4"},
    {"IFC4X3_ADD2", "QdIfc4x3"},
};

// Names files use for a schema whose module goes by a longer name.
constexpr std::pair<const char*, const char*> kAliases[] = {
    {"IFC4X3", "IFC4X3_ADD2"},
};

std::string upper(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return out;
}

std::string join(const std::vector<std::string>& parts, const char* separator) {
  std::string out;
  for (const std::string& p : parts) out += (out.empty() ? "" : separator) + p;
  return out;
}

// How many QdIfcModule objects hold each library (by dlopen handle), so that a module
// shared by several is started once and stopped when the last lets it go.
std::mutex& usersLock() {
  static std::mutex m;
  return m;
}
std::unordered_map<void*, int>& users() {
  static auto* m = new std::unordered_map<void*, int>;  // never destroyed: used by destructors at exit
  return *m;
}

// Whether two spellings name the same folder: "a", "a/" and "./a/../a" do.
bool sameFolder(const std::string& a, const std::string& b) {
  auto key = [](const std::string& s) {
    fs::path p = fs::path(s).lexically_normal();
    if (!p.has_filename() && p != p.root_path()) p = p.parent_path();
    return p;
  };
  return key(a) == key(b);
}

}  // namespace

std::string qdIfcCanonicalSchemaName(std::string_view name) {
  std::string key = upper(name);
  for (const auto& [alias, full] : kAliases)
    if (key == alias) return full;
  return key;
}

bool qdIfcSameSchema(std::string_view a, std::string_view b) {
  return qdIfcCanonicalSchemaName(a) == qdIfcCanonicalSchemaName(b);
}

std::string qdIfcModuleLibraryName(std::string_view schemaName) {
  const std::string key = qdIfcCanonicalSchemaName(schemaName);
  for (const KnownSchema& k : kKnown)
    if (key == k.name) return k.library;
  return {};
}

std::vector<std::string> qdIfcKnownSchemaNames() {
  std::vector<std::string> out;
  for (const KnownSchema& k : kKnown) out.emplace_back(k.name);
  return out;
}

// ---- one module ----

QdIfcModule::~QdIfcModule() { unload(); }

const char* QdIfcModule::schemaName() const noexcept { return m_schema ? m_schema->name() : ""; }

bool QdIfcModule::load(const std::string& libraryPath) {
  unload();
  m_error.clear();
  m_path = libraryPath;
  void* handle = dlopen(libraryPath.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* why = dlerror();
    m_error = "cannot load the module " + libraryPath + ": " + (why ? why : "unknown reason");
    return false;
  }
  auto getApp = reinterpret_cast<QdGetModuleLifeCycleAppFn>(dlsym(handle, "qdGetModuleLifeCycleApp"));
  auto getSchema = reinterpret_cast<QdIfcGetSchemaPointerFn>(dlsym(handle, "qdifcGetSchemaPointer"));
  if (!getApp || !getSchema) {
    m_error = libraryPath + " is not a schema module: qdGetModuleLifeCycleApp or qdifcGetSchemaPointer is missing";
    dlclose(handle);
    return false;
  }
  QdModuleLifeCycleApp* app = getApp();
  bool started = app != nullptr;
  if (started) {
    std::lock_guard<std::mutex> guard(usersLock());
    int& n = users()[handle];
    if (n == 0) started = app->start();
    if (started) ++n;
    else users().erase(handle);
  }
  if (!started) {
    m_error = "the module " + libraryPath + " did not start";
    dlclose(handle);
    return false;
  }
  m_handle = handle;
  m_app = app;
  m_getSchema = getSchema;
  m_schema = getSchema();
  if (!m_schema) {
    m_error = "the module " + libraryPath + " started but gives no schema";
    unload();
    return false;
  }
  return true;
}

void QdIfcModule::unload() {
  if (m_handle) {
    bool last = false;
    {
      std::lock_guard<std::mutex> guard(usersLock());
      auto it = users().find(m_handle);
      if (it != users().end() && --it->second <= 0) {
        users().erase(it);
        last = true;
      }
    }
    if (last && m_app) m_app->stop();
    dlclose(m_handle);
  }
  m_handle = nullptr;
  m_app = nullptr;
  m_schema = nullptr;
  m_getSchema = nullptr;
}

void* QdIfcModule::symbol(const char* name) const { return m_handle ? dlsym(m_handle, name) : nullptr; }

// ---- the registry ----

QdIfcModuleRegistry::QdIfcModuleRegistry(bool searchBesideCore) {
  if (searchBesideCore) addSearchPath(coreLibraryFolder());
}

QdIfcModuleRegistry::~QdIfcModuleRegistry() { unloadAll(); }

std::string QdIfcModuleRegistry::coreLibraryFolder() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&qdIfcKnownSchemaNames), &info) || !info.dli_fname) return {};
  std::error_code ec;
  fs::path file = fs::absolute(info.dli_fname, ec);
  return ec ? std::string() : file.parent_path().string();
}

std::string QdIfcModuleRegistry::libraryFileName(std::string_view libraryName) {
#if defined(__APPLE__)
  return "lib" + std::string(libraryName) + ".dylib";
#else
  return "lib" + std::string(libraryName) + ".so";
#endif
}

void QdIfcModuleRegistry::addSearchPath(const std::string& folder) {
  if (folder.empty()) return;
  std::lock_guard<std::mutex> guard(m_lock);
  for (const std::string& p : m_paths)
    if (sameFolder(p, folder)) return;
  m_paths.push_back(folder);
}

std::vector<std::string> QdIfcModuleRegistry::searchPaths() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_paths;
}

std::string QdIfcModuleRegistry::findLibraryLocked(std::string_view schemaName) const {
  const std::string library = qdIfcModuleLibraryName(schemaName);
  if (library.empty()) return {};
  const std::string file = libraryFileName(library);
  std::error_code ec;
  for (const std::string& folder : m_paths) {
    fs::path candidate = fs::path(folder) / file;
    if (fs::is_regular_file(candidate, ec)) return candidate.string();
  }
  return {};
}

std::string QdIfcModuleRegistry::findLibrary(std::string_view schemaName) const {
  std::lock_guard<std::mutex> guard(m_lock);
  return findLibraryLocked(schemaName);
}

QdIfcModule* QdIfcModuleRegistry::loadedFor(std::string_view schemaName) const {
  for (const auto& m : m_modules)
    if (qdIfcSameSchema(m->schemaName(), schemaName)) return m.get();
  return nullptr;
}

bool QdIfcModuleRegistry::available(std::string_view schemaName) const {
  std::lock_guard<std::mutex> guard(m_lock);
  return loadedFor(schemaName) || !findLibraryLocked(schemaName).empty();
}

std::vector<std::string> QdIfcModuleRegistry::availableLocked() const {
  std::vector<std::string> out;
  for (const KnownSchema& k : kKnown)
    if (loadedFor(k.name) || !findLibraryLocked(k.name).empty()) out.emplace_back(k.name);
  for (const auto& m : m_modules) {
    std::string name = qdIfcCanonicalSchemaName(m->schemaName());
    if (std::find(out.begin(), out.end(), name) == out.end()) out.push_back(std::move(name));
  }
  return out;
}

std::vector<std::string> QdIfcModuleRegistry::availableSchemas() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return availableLocked();
}

std::string QdIfcModuleRegistry::missingMessage(const std::vector<std::string>& schemaNames) const {
  std::lock_guard<std::mutex> guard(m_lock);
  std::string out =
      "no module for schema " + (schemaNames.empty() ? std::string("(none named)") : join(schemaNames, " or "));
  const std::vector<std::string> there = availableLocked();
  if (!there.empty()) return out + "; there are: " + join(there, ", ");
  if (m_paths.empty()) return out + "; there are none (no folder to look in)";
  return out + "; there are none (looked in " + join(m_paths, ", ") + ")";
}

QdIfcModule* QdIfcModuleRegistry::adopt(std::unique_ptr<QdIfcModule> module, std::string_view expectedSchema,
                                        std::string* error) {
  if (!expectedSchema.empty() && !qdIfcSameSchema(module->schemaName(), expectedSchema)) {
    if (error)
      *error = "the module " + module->path() + " gives schema " + module->schemaName() + ", not " +
               qdIfcCanonicalSchemaName(expectedSchema);
    return nullptr;
  }
  for (const auto& m : m_modules) {
    // The same library under another path: the module there is.
    if (m->handle() == module->handle()) return m.get();
    if (qdIfcSameSchema(m->schemaName(), module->schemaName())) {
      if (error)
        *error = "the module " + module->path() + " gives schema " + module->schemaName() +
                 ", whose module is loaded already from " + m->path();
      return nullptr;
    }
  }
  m_modules.push_back(std::move(module));
  return m_modules.back().get();
}

QdIfcModule* QdIfcModuleRegistry::module(std::string_view schemaName, std::string* error) {
  std::unique_lock<std::mutex> guard(m_lock);
  if (QdIfcModule* m = loadedFor(schemaName)) return m;
  const std::string path = findLibraryLocked(schemaName);
  if (path.empty()) {
    guard.unlock();
    if (error) *error = missingMessage({std::string(schemaName)});
    return nullptr;
  }
  auto m = std::make_unique<QdIfcModule>();
  if (!m->load(path)) {
    if (error) *error = m->error();
    return nullptr;
  }
  return adopt(std::move(m), schemaName, error);
}

QdIfcSchema* QdIfcModuleRegistry::schema(std::string_view schemaName, std::string* error) {
  QdIfcModule* m = module(schemaName, error);
  return m ? m->schema() : nullptr;
}

QdIfcModule* QdIfcModuleRegistry::loadLibrary(const std::string& path, std::string* error) {
  std::lock_guard<std::mutex> guard(m_lock);
  std::error_code ec;
  const fs::path wanted = fs::weakly_canonical(path, ec);
  for (const auto& m : m_modules) {
    std::error_code ec2;
    if (m->path() == path || (!ec && fs::weakly_canonical(m->path(), ec2) == wanted && !ec2)) return m.get();
  }
  auto m = std::make_unique<QdIfcModule>();
  if (!m->load(path)) {
    if (error) *error = m->error();
    return nullptr;
  }
  return adopt(std::move(m), {}, error);
}

QdIfcModule* QdIfcModuleRegistry::moduleOf(const QdIfcSchema* schema) const {
  if (!schema) return nullptr;
  std::lock_guard<std::mutex> guard(m_lock);
  for (const auto& m : m_modules)
    if (m->schema() == schema) return m.get();
  return nullptr;
}

std::vector<QdIfcModule*> QdIfcModuleRegistry::loaded() const {
  std::lock_guard<std::mutex> guard(m_lock);
  std::vector<QdIfcModule*> out;
  for (const auto& m : m_modules) out.push_back(m.get());
  return out;
}

void QdIfcModuleRegistry::unloadAll() {
  std::lock_guard<std::mutex> guard(m_lock);
  while (!m_modules.empty()) {
    m_modules.back()->unload();
    m_modules.pop_back();
  }
}

}  // namespace QD_SDAI
