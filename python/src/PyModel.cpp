// The schema module's life in the Python process, and the indexes of a model.
#include "PyModel.h"

#include "ModuleLoader.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>
#include <QdIfcCore/QdIfcClassTable.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcGUID.h>

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <mutex>

using namespace QD_SDAI;

namespace qdpy {
namespace {

struct ModuleState {
  std::mutex lock;
  qdhost::ModuleLoader loader;
  size_t models = 0;
  bool stopAtLastModel = false;
};

ModuleState& state() {
  // Never destroyed: the module is stopped explicitly, before the process tears down
  // what the module's objects still use.
  static ModuleState* s = new ModuleState;
  return *s;
}

// Where the module is looked for: beside the libraries of the build tree
// (<build>/python/qdifc -> <build>/lib) or of the installation, found from where this
// extension lies; then by the system's own search.
std::string defaultPath() {
  namespace fs = std::filesystem;
  static const char* kFile = "libQdIfc4.so";
  Dl_info info{};
  std::error_code ec;
  if (dladdr(reinterpret_cast<void*>(&defaultPath), &info) && info.dli_fname) {
    fs::path dir = fs::path(info.dli_fname).parent_path();
    for (const fs::path& candidate : {dir / ".." / ".." / "lib" / kFile, dir / QDIFC_PY_TO_LIBDIR / kFile})
      if (fs::exists(candidate, ec)) return fs::weakly_canonical(candidate, ec).string();
  }
  return kFile;
}

}  // namespace

void Module::start(const std::string& path) {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  s.stopAtLastModel = false;
  if (s.loader.loaded()) return;
  if (!s.loader.load(path.empty() ? defaultPath() : path)) throw std::runtime_error(s.loader.error());
}

QdIfcSchema* Module::schema() {
  ModuleState& s = state();
  if (!s.loader.loaded()) start();
  return s.loader.schema();
}

void* Module::symbol(const char* name) { return state().loader.symbol(name); }

const std::string& Module::path() { return state().loader.path(); }

void Module::stopWhenIdle() {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  if (s.models == 0) s.loader.unload();
  else s.stopAtLastModel = true;
}

void Module::modelMade() {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  ++s.models;
}

void Module::modelGone() {
  ModuleState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  if (--s.models == 0 && s.stopAtLastModel) s.loader.unload();
}

ModelState::ModelState() {
  model = std::make_unique<QdIfcModel>(Module::schema());
  Module::modelMade();
}

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
