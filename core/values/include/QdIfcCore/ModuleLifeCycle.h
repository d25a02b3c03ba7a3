// The life-cycle object through which a host starts and stops a schema module.
#pragma once

#include <QdIfcCore/Export.h>

class QdModuleLifeCycleApp {
 public:
  constexpr QdModuleLifeCycleApp() noexcept = default;
  virtual ~QdModuleLifeCycleApp() = default;
  virtual bool start() = 0;
  virtual void stop() = 0;
  // Reserved for hosts; modules inherit this default.
  virtual int query() { return 0; }
};

namespace QD_SDAI {
class QdIfcSchema;
}

// Signatures of a module's plain entry points, for hosts that look them up by name.
using QdGetModuleLifeCycleAppFn = QdModuleLifeCycleApp* (*)();
using QdIfcGetSchemaPointerFn = QD_SDAI::QdIfcSchema* (*)();
