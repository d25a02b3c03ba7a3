// qdifc: a command-line host of the schema modules.
#include "CommandSupport.h"
#include "CountCommand.h"
#include "FileCommands.h"
#include "FleetCommand.h"
#include "HugePages.h"
#include "SchemaView.h"

#include <QdIfcCore/Dictionary.h>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr int kUsageError = 2;

const char* kUsage =
    "usage: qdifc [--module PATH] <command> [options]\n"
    "\n"
    "commands:\n"
    "  schema NAME      show one type of the IFC4 dictionary (any case; --schema S: of S's)\n"
    "  schema --dump    print the whole dictionary in the tab-separated dump format\n"
    "  load FILE        read a file; instances per type, problems, time and memory\n"
    "  count FILE       instances per type from the record index alone; #ID: one record's text\n"
    "  check FILE       read a file, check it against the schema, list every problem\n"
    "  convert IN OUT   read IN and write the model to OUT\n"
    "  show FILE #ID    an instance's attributes by name, and its inverse links\n"
    "  tree FILE        the spatial structure: project, site, building, storeys, spaces\n"
    "  props FILE #ID   the property sets and quantities of an object, with their values\n"
    "  demo OUT         build a small building through the module, write it, read it back\n"
    "  fleet extract SOURCE... --out DIR | gather DIR | query DIR SQL\n"
    "                   tables from many files at once, on Dask (python3 -m qdifc fleet)\n"
    "  help             show this text\n"
    "\n"
    "A file is read with the module of the schema its FILE_SCHEMA names (IFC2X3: libQdIfc2x3.so,\n"
    "IFC4: libQdIfc4.so, IFC4X3 or IFC4X3_ADD2: libQdIfc4x3.so), looked for beside the core\n"
    "library, then beside the program and in ../lib; --schema NAME after the command forces one.\n"
    "\n"
    "options:\n"
    "  --module PATH    the schema module library to use for every file, whatever its schema\n"
    "  -h, --help       show help (also after a command)\n";

const char* kSchemaUsage =
    "usage: qdifc schema [--schema SCHEMA] NAME\n"
    "       qdifc schema [--schema SCHEMA] --dump\n"
    "\n"
    "NAME is an entity, defined type, enumeration, select, aggregate or built-in\n"
    "type of the dictionary, in any case: IfcWall, IFCWALL and ifcwall are the same.\n"
    "  --schema SCHEMA  the dictionary of that schema (IFC2X3, IFC4, IFC4X3, any case);\n"
    "                   default IFC4, or the schema of the module --module gives\n";

int usageError(const std::string& message, const char* usage) {
  std::cerr << "qdifc: " << message << "\n\n" << usage;
  return kUsageError;
}

int runSchema(const std::vector<std::string>& args, const std::string& modulePath) {
  bool dump = false;
  std::string name, schema;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "-h" || a == "--help") {
      std::cout << kSchemaUsage;
      return 0;
    }
    if (a == "--dump") dump = true;
    else if (a == "--schema" && i + 1 < args.size()) schema = args[++i];
    else if (a == "--schema") return usageError("schema: --schema needs a schema name", kSchemaUsage);
    else if (a.rfind("--schema=", 0) == 0) schema = a.substr(9);
    else if (!a.empty() && a[0] == '-') return usageError("schema: unknown option " + a, kSchemaUsage);
    else if (name.empty()) name = a;
    else return usageError("schema: only one NAME may be given", kSchemaUsage);
  }
  if (dump == !name.empty()) return usageError("schema: give either NAME or --dump", kSchemaUsage);

  QD_SDAI::QdIfcModuleRegistry registry;
  QD_SDAI::QdIfcModule* module = qdhost::hostModule(registry, modulePath, schema);
  if (!module) return 1;
  if (dump) {
    qdhost::dumpSchema(*module->schema(), std::cout);
    return std::cout.good() ? 0 : 1;
  }
  if (!qdhost::describeType(*module->schema(), name, std::cout)) {
    std::cerr << "qdifc: no type named '" << name << "' in " << module->schema()->name() << '\n';
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  qdhost::preferHugePages(argv);
  std::ios::sync_with_stdio(false);
  std::string modulePath;
  std::vector<std::string> args(argv + 1, argv + argc);
  size_t i = 0;
  for (; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "-h" || a == "--help") {
      std::cout << kUsage;
      return 0;
    }
    if (a == "--module") {
      if (i + 1 >= args.size()) return usageError("--module needs a path", kUsage);
      modulePath = args[++i];
    } else if (a.rfind("--module=", 0) == 0) {
      modulePath = a.substr(9);
    } else if (!a.empty() && a[0] == '-') {
      return usageError("unknown option " + a, kUsage);
    } else {
      break;
    }
  }
  if (i >= args.size()) return usageError("no command given", kUsage);

  const std::string command = args[i];
  std::vector<std::string> rest(args.begin() + static_cast<long>(i) + 1, args.end());
  if (command == "help") {
    std::cout << kUsage;
    return 0;
  }
  if (command == "schema") return runSchema(rest, modulePath);
  if (command == "load") return qdhost::runLoad(rest, modulePath);
  if (command == "count") return qdhost::runCount(rest, modulePath);
  if (command == "check") return qdhost::runCheck(rest, modulePath);
  if (command == "convert") return qdhost::runConvert(rest, modulePath);
  if (command == "show") return qdhost::runShow(rest, modulePath);
  if (command == "tree") return qdhost::runTree(rest, modulePath);
  if (command == "props") return qdhost::runProps(rest, modulePath);
  if (command == "demo") return qdhost::runDemo(rest, modulePath);
  if (command == "fleet") return qdhost::runFleet(rest);
  return usageError("unknown command '" + command + "'", kUsage);
}
