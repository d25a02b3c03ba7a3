// A stand-in schema module for the registry's tests: the plain entry points and life
// cycle of a real one, a dictionary with nothing in it but the schema's name
// (FAKE_SCHEMA_NAME). Each start and stop is appended to the environment variable
// QDIFC_FAKE_MODULE_EVENTS, which outlives the library.
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/ModuleLifeCycle.h>

#include <cstdlib>
#include <string>

namespace {

QD_SDAI::QdIfcSchema* g_schema = nullptr;

void record(const char* what) {
  const char* before = std::getenv("QDIFC_FAKE_MODULE_EVENTS");
  std::string events = before ? before : "";
  events += std::string(events.empty() ? "" : " ") + what + ":" + FAKE_SCHEMA_NAME;
  setenv("QDIFC_FAKE_MODULE_EVENTS", events.c_str(), 1);
}

class FakeLifeCycle final : public QdModuleLifeCycleApp {
 public:
  bool start() override {
    if (g_schema) return true;
    g_schema = new QD_SDAI::QdIfcSchema();
    g_schema->setName(FAKE_SCHEMA_NAME);
    record("start");
    return true;
  }
  void stop() override {
    if (!g_schema) return;
    delete g_schema;
    g_schema = nullptr;
    record("stop");
  }
};

FakeLifeCycle g_app;

}  // namespace

extern "C" {
__attribute__((visibility("default"))) QdModuleLifeCycleApp* qdGetModuleLifeCycleApp() { return &g_app; }
__attribute__((visibility("default"))) QD_SDAI::QdIfcSchema* qdifcGetSchemaPointer() { return g_schema; }
}
