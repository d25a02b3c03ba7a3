// The plain entry points of the IFC4 schema module, exported under these
// undecorated names. A host loads the module and calls, in this order:
// qdGetModuleLifeCycleApp, start(), anything else, stop(), then unloads it.
#pragma once

#include <QdIfc4/Export.h>
#include <QdIfcCore/ModuleLifeCycle.h>

namespace QD_SDAI {
class QdIfcSchema;
class QdIfcEntityBase;
class QdIfcProperty;
}  // namespace QD_SDAI

extern "C" {
// The module's one life-cycle object: never null, the same every time.
QDIFC4_API QdModuleLifeCycleApp* qdGetModuleLifeCycleApp();
// The schema while the module is started; null before start and after stop.
QDIFC4_API QD_SDAI::QdIfcSchema* qdifcGetSchemaPointer();
// Makes the core's property object for a property or quantity instance, by its
// exact type (a subtype does not count), and stores it in *property for the
// caller to delete: a single value (answer false; *typeKind the kind of its
// nominal value), a bounded value, a complex property or complex quantity
// (*typeKind 12), or one of the six quantities (*typeKind 6). Any other instance:
// false, *property null, *typeKind unwritten.
QDIFC4_API bool qdIfcBuildPropertyForSimple(QD_SDAI::QdIfcEntityBase* entity, QD_SDAI::QdIfcProperty** property,
                                            unsigned int* typeKind);
}
