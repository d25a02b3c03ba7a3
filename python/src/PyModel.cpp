// The schema modules' life in the Python process, and the indexes of a model.
#include "PyModel.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <mutex>

using namespace QD_SDAI;

namespace qdpy {
namespace {

struct ModuleState {
  std::mutex lock;
  QdIfcModuleRegistry registry;
  QdIfcModule* defaultModule = nullptr;
  size_t models = 0;
  bool stopAtLastModel = false;

  ModuleState() {
    // Beside the libraries of the build tree (<build>/python/qdifc -> <build>/lib) or of
    // the installation, found from where this extension lies; the registry looks beside
    // the core library first, which is the same folder where the extension finds it.
    namespace fs = std::filesystem;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&Module::start), &info) && info.dli_fname) {
      const fs::path dir = fs::path(info.dli_fname).parent_path();
      registry.addSearchPath((dir / ".." / ".." / "lib").lexically_normal().string());
      registry.addSearchPath((dir / QDIFC_PY_TO_LIBDIR).lexically_normal().string());
    }
  }
};

ModuleState& state() {
  // Never destroyed: the modules are stopped explicitly, before the process tears down
  // what the modules' objects still use.
  static ModuleState* s = new ModuleState;
  return *s;
}

}  // namespace

void Module::start(const std::string& path) {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  s.stopAtLastModel = false;
  if (s.defaultModule) return;
  std::string error;
  s.defaultModule = path.empty() ? s.registry.module("IFC4", &error) : s.registry.loadLibrary(path, &error);
  if (!s.defaultModule) throw std::runtime_error(error);
}

QdIfcModuleRegistry& Module::registry() { return state().registry; }

QdIfcSchema* Module::schema(const std::string& name) {
  ModuleState& s = state();
  if (name.empty()) {
    if (!s.defaultModule) start();
    return s.defaultModule->schema();
  }
  std::string error;
  QdIfcSchema* schema = s.registry.schema(name, &error);
  if (!schema) throw std::runtime_error(error);
  return schema;
}

void* Module::symbol(const QdIfcSchema* schema, const char* name) {
  QdIfcModule* m = state().registry.moduleOf(schema);
  return m ? m->symbol(name) : nullptr;
}

std::string Module::path() {
  ModuleState& s = state();
  return s.defaultModule ? s.defaultModule->path() : std::string();
}

void Module::stopWhenIdle() {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  if (s.models == 0) {
    s.registry.unloadAll();
    s.defaultModule = nullptr;
  } else {
    s.stopAtLastModel = true;
  }
}

void Module::modelMade() {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  ++s.models;
}

void Module::modelGone() {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  if (--s.models == 0 && s.stopAtLastModel) {
    s.registry.unloadAll();
    s.defaultModule = nullptr;
  }
}

ModelState::ModelState(const QdIfcSchema* schema) {
  model = std::make_unique<QdIfcModel>(schema ? schema : Module::schema());
  Module::modelMade();
}

ModelState::ModelState(std::unique_ptr<QdIfcModel> read) : model(std::move(read)) { Module::modelMade(); }

ModelState::~ModelState() {
  model.reset();
  Module::modelGone();
}

const std::vector<std::vector<QdDbObjectId>>& ModelState::byType() {
  if (m_byTypeBuilt) return m_byType;
  m_byType.assign(model->schema() ? model->schema()->entityTypeList().size() : 0, {});
  model->forEach([&](const QdDbObjectId& id, QdIfcEntityBase* object) {
    const QdIfcEntityType* type = object->getInstanceType();
    if (type && type->treeIndex() >= 0 && static_cast<size_t>(type->treeIndex()) < m_byType.size())
      m_byType[static_cast<size_t>(type->treeIndex())].push_back(id);
  });
  m_byTypeBuilt = true;
  return m_byType;
}

const std::unordered_map<std::string, QdDbObjectId>& ModelState::byGuid() {
  if (m_byGuidBuilt) return m_byGuid;
  m_byGuid.clear();
  const QdIfcEntityType* root = model->schema() ? model->schema()->findEntityType("IfcRoot") : nullptr;
  const QdIfcClassTable* table = root ? root->classTable() : nullptr;
  const QdIfcAttrRow* row = table ? table->find(QdIfcAttrOp::kGet, "GlobalId") : nullptr;
  if (row && row->kind == QdIfcMemberKind::kGuid) {
    model->forEach([&](const QdDbObjectId& id, QdIfcEntityBase* object) {
      const QdIfcEntityType* type = object->getInstanceType();
      if (!type || !type->isSubtypeOf(root)) return;
      const auto& guid = *static_cast<const QdIfcGUID*>(QdIfcClassTable::member(object, *row));
      if (guid.isSet()) m_byGuid.emplace(std::string(guid.view()), id);  // the first keeps a shared id
    });
  }
  m_byGuidBuilt = true;
  return m_byGuid;
}

void ModelState::changed() {
  m_byTypeBuilt = m_byGuidBuilt = false;
  m_byType.clear();
  m_byGuid.clear();
}

void ModelState::relink() {
  linksStale = false;
  model->forEach([](const QdDbObjectId&, QdIfcEntityBase* object) {
    const QdIfcEntityType* type = object->getInstanceType();
    for (const QdIfcClassTable* t = type ? type->classTable() : nullptr; t; t = t->supertype())
      for (const QdIfcAttrRow& row : *t) {
        if (row.role != QdIfcAttrRole::kInverse) continue;
        void* member = QdIfcClassTable::member(object, row);
        if (row.marks & kAttrSingle) *static_cast<QdDbObjectId*>(member) = QdDbObjectId();
        else static_cast<QdIfcSetAggr<QdDbObjectId>*>(member)->clear();
      }
  });
  model->setInverseCounterParts();
}

QdIfcEntityBase* Entity::object() const {
  QdIfcEntityBase* o = id.openObject();
  if (!o) throw py::value_error("#" + std::to_string(id.id()) + " has been removed from its model");
  return o;
}

}  // namespace qdpy
