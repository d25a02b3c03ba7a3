// Start and stop of the IFC4 schema module.
#include <QdIfc4/EnumCompanions.h>
#include <QdIfc4/Module.h>

#include <QdIfcCore/Dictionary.h>

#include "QdIFC4SchemaBuilder.h"
#include "SelectFrame.h"

namespace {

// The one schema of the module: allocated by start, deleted by stop.
QD_SDAI::QdIfcSchema* g_pSchema = nullptr;

class QdIfcModuleLifeCycleApp final : public QdModuleLifeCycleApp {
 public:
  constexpr QdIfcModuleLifeCycleApp() noexcept = default;
  ~QdIfcModuleLifeCycleApp() override = default;

  bool start() override {
    if (g_pSchema) return true;
    g_pSchema = new QD_SDAI::QdIfcSchema();
    // The pointer is visible before the build runs. If the build throws, it stays
    // set to the partly built schema; only stop clears it.
    QdIFC4SchemaBuilder builder(g_pSchema, QD_SDAI::QdAnsiString("IFC4"));
    builder.build();
    return true;
  }

  void stop() override {
    if (g_pSchema) {
      delete g_pSchema;
      g_pSchema = nullptr;
    }
    // The schema goes first: what it owns may refer to descriptors while it dies.
    // Then the selects (each by value, by pointer and as an array), the pointers to
    // aggregates of selects, and the enumerations: 359 releases.
    IFC4::detail::releaseSelectDescriptors();
    IFC4::detail::releaseEnumerationDescriptors();
  }
};

// Constant-initialised: usable from the moment the library is mapped.
constinit QdIfcModuleLifeCycleApp g_lifeCycleApp;

}  // namespace

extern "C" {

QDIFC4_API QdModuleLifeCycleApp* qdGetModuleLifeCycleApp() { return &g_lifeCycleApp; }

QDIFC4_API QD_SDAI::QdIfcSchema* qdifcGetSchemaPointer() { return g_pSchema; }

}  // extern "C"
