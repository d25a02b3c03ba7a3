// Starts the IFC4 module linked directly and prints a few facts of its dictionary.
#include <QdIfc4/Module.h>
#include <QdIfcCore/Dictionary.h>

#include <cstdio>

int main() {
  QdModuleLifeCycleApp* app = qdGetModuleLifeCycleApp();
  if (!app->start()) return 1;
  const QD_SDAI::QdIfcSchema* schema = qdifcGetSchemaPointer();
  std::printf("%s %d.%d: %d entity types, %d name types, %d built-in types\n", schema->name(), schema->majorVersion(),
              schema->minorVersion(), schema->entityTypes().size(), schema->nameTypes().size(),
              schema->builtInTypes().size());
  app->stop();
  return 0;
}
