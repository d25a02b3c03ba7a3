#include "ModuleLoader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <filesystem>

namespace qdhost {

static constexpr const char* kModuleFile = "libQdIfc4.so";

ModuleLoader::~ModuleLoader() { unload(); }

bool ModuleLoader::load(const std::string& libraryPath) {
  unload();
  m_error.clear();
  m_path = libraryPath;
  m_handle = dlopen(libraryPath.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!m_handle) {
    const char* why = dlerror();
    m_error = "cannot load the module " + libraryPath + ": " + (why ? why : "unknown reason");
    return false;
  }
  auto getApp = reinterpret_cast<QdGetModuleLifeCycleAppFn>(dlsym(m_handle, "qdGetModuleLifeCycleApp"));
  m_getSchema = reinterpret_cast<QdIfcGetSchemaPointerFn>(dlsym(m_handle, "qdifcGetSchemaPointer"));
  if (!getApp || !m_getSchema) {
    m_error = libraryPath + " is not a schema module: qdGetModuleLifeCycleApp or qdifcGetSchemaPointer is missing";
    dlclose(m_handle);
    m_handle = nullptr;
    return false;
  }
  m_app = getApp();
  if (!m_app || !m_app->start()) {
    m_error = "the module " + libraryPath + " did not start";
    m_app = nullptr;
    dlclose(m_handle);
    m_handle = nullptr;
    return false;
  }
  m_schema = m_getSchema();
  if (!m_schema) {
    m_error = "the module " + libraryPath + " started but gives no schema";
    unload();
    return false;
  }
  return true;
}

void ModuleLoader::unload() {
  if (m_app) m_app->stop();
  m_app = nullptr;
  m_schema = nullptr;
  m_getSchema = nullptr;
  if (m_handle) dlclose(m_handle);
  m_handle = nullptr;
}

void* ModuleLoader::symbol(const char* name) const { return m_handle ? dlsym(m_handle, name) : nullptr; }

std::string defaultModulePath(const char* argv0) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  if (ec && argv0) exe = fs::absolute(argv0, ec);
  if (!exe.empty()) {
    fs::path dir = exe.parent_path();
    for (const fs::path& candidate : {dir / kModuleFile, dir / ".." / "lib" / kModuleFile})
      if (fs::exists(candidate, ec)) return fs::weakly_canonical(candidate, ec).string();
  }
  return kModuleFile;
}

}  // namespace qdhost
