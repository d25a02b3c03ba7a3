// What the Python package holds: the schema modules, each started once per process
// through the core's registry; models, each with the report of its load and the indexes
// Python asks for; and entities, each a model and a handle.
#pragma once

#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace QD_SDAI {
class QdIfcModuleRegistry;
class QdIfcClassTable;
class QdIfcEntityBase;
class QdIfcEntityType;
class QdIfcSchema;
struct QdIfcAttrRow;
}  // namespace QD_SDAI

namespace qdpy {

namespace py = pybind11;

// The schema modules as a host runs them: the default one (IFC4, or the library given)
// started on import, the others when a file or a name asks for them; all stopped when
// the interpreter ends and no model is left (instances are objects of the modules'
// classes).
class Module {
 public:
  // Starts the default module: the library at path, or IFC4's; throws
  // std::runtime_error if it cannot.
  static void start(const std::string& path = {});
  // The registry the package's modules are loaded through.
  static QD_SDAI::QdIfcModuleRegistry& registry();
  // The schema of that name (any case), started if it is not; the default module's for
  // an empty name. Throws std::runtime_error if there is no module for it.
  static QD_SDAI::QdIfcSchema* schema(const std::string& name = {});
  // The symbol of the module of a schema, or null.
  static void* symbol(const QD_SDAI::QdIfcSchema* schema, const char* name);
  // At exit: stops now if no model is alive, else when the last one goes.
  static void stopWhenIdle();
  static void modelMade();
  static void modelGone();
  // The library of the default module.
  static std::string path();
};

// A model and what Python keeps beside it. Entities share it, so a model lives as long
// as any of its entities does.
struct ModelState {
  // An empty model of a schema (the default module's for null).
  explicit ModelState(const QD_SDAI::QdIfcSchema* schema = nullptr);
  // A model read already.
  explicit ModelState(std::unique_ptr<QD_SDAI::QdIfcModel> read);
  ~ModelState();
  ModelState(const ModelState&) = delete;
  ModelState& operator=(const ModelState&) = delete;

  std::unique_ptr<QD_SDAI::QdIfcModel> model;
  QD_SDAI::QdIfcLoadReport report;

  // Instances of each entity type (by the type's place in the type tree), in number
  // order; built on first use and dropped when instances are added or removed.
  const std::vector<std::vector<QD_SDAI::QdDbObjectId>>& byType();
  // GlobalId to handle; built on first use, dropped like byType.
  const std::unordered_map<std::string, QD_SDAI::QdDbObjectId>& byGuid();
  void changed();
  // A reference was written or an instance removed since the inverse attributes were
  // last filled: they are made again from the forward references before one is read.
  bool linksStale = false;
  void relink();

 private:
  std::vector<std::vector<QD_SDAI::QdDbObjectId>> m_byType;
  bool m_byTypeBuilt = false;
  std::unordered_map<std::string, QD_SDAI::QdDbObjectId> m_byGuid;
  bool m_byGuidBuilt = false;
};

using ModelRef = std::shared_ptr<ModelState>;

struct Entity {
  ModelRef model;
  QD_SDAI::QdDbObjectId id;

  // The object, or qdifc.Error if it was removed.
  QD_SDAI::QdIfcEntityBase* object() const;
};

// A value of a select that carries its type: IfcLabel('x') held by an IfcValue.
struct TypedValue {
  std::string type;
  py::object value;
};

// ---- values between the toolkit and Python ----
// What an attribute row holds, as Python sees it: None for unset, str, int, float,
// bool, Entity, TypedValue, tuple.
py::object getAttribute(const Entity& e, const char* name, size_t length);
// Sets an attribute by its schema name; raises AttributeError (no such attribute, or
// one that is not written by name), TypeError or ValueError (with the attribute's name
// and what it takes), leaving the value as it was.
void setAttribute(const Entity& e, const std::string& name, py::handle value);
// Entity wrapper of a handle of the model; None for a null handle.
py::object wrap(const ModelRef& model, const QD_SDAI::QdDbObjectId& id);
// The text of a string member as Python text.
py::str decodeText(std::string_view transported);

// The helpers of the package (Helpers.cpp).
void defineHelpers(py::module_& m);

}  // namespace qdpy
