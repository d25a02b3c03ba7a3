#include "FileCommands.h"

#include "CommandSupport.h"
#include "Demo.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcAggr.h>
#include <QdIfcCore/QdIfcEntityBase.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcRead.h>
#include <QdIfcCore/QdIfcSettings.h>
#include <QdIfcCore/QdIfcValidate.h>
#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/TextEncodeDecode.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>

using namespace QD_SDAI;

namespace qdhost {
namespace {

constexpr int kUsageError = 2;

// The options of every command that reads a file.
#define QDIFC_SCHEMA_OPTIONS                                                                \
  "  --schema NAME  read with the module of schema NAME (any case: IFC2X3, IFC4, IFC4X3)\n" \
  "                 instead of the one FILE_SCHEMA names\n"                                 \
  "  --any-schema   read the records even if FILE_SCHEMA names another schema than the\n"   \
  "                 module's, or only schemas without a module (then with IFC4's)\n"        \
  "  --threads N    read the records with N threads (default: one per core for a file\n"    \
  "                 of 16 MB or more, else one)\n"

const char* kLoadUsage =
    "usage: qdifc load FILE [--schema NAME] [--any-schema] [--threads N]\n"
    "\n"
    "Reads FILE into a model and prints the instances per type, the problems found,\n"
    "the time taken, the speed and the peak memory. Exit status 1 if there were problems.\n"
    "The module is the one of the first schema FILE_SCHEMA names that there is one for.\n" QDIFC_SCHEMA_OPTIONS;
const char* kCheckUsage =
    "usage: qdifc check FILE [--schema NAME] [--any-schema]\n"
    "\n"
    "Reads FILE and prints every problem of reading, one a line\n"
    "  file:line: #id: expected ..., found ...\n"
    "then checks the model against the schema and prints every finding, one a line\n"
    "  file: #id Type.Attribute: rule: expected ..., found ...\n"
    "The rules: required attribute (unset), aggregate bounds, admitted type (of a\n"
    "referenced instance; reported by reading already), inverse bounds (an element in\n"
    "two spatial containers, say), unique GlobalId, GlobalId form (22 characters of the\n"
    "IFC base-64 alphabet, the first 0 to 3). Exit status 1 if there is any.\n" QDIFC_SCHEMA_OPTIONS;
const char* kConvertUsage =
    "usage: qdifc convert IN OUT [--schema NAME] [--any-schema]\n"
    "\n"
    "Reads IN and writes the model to OUT. Problems of IN are printed; exit status 1 if\n"
    "there were any or OUT could not be written.\n" QDIFC_SCHEMA_OPTIONS;

const char* kDemoUsage =
    "usage: qdifc demo OUT\n"
    "\n"
    "Builds a small building through the module (project, units, site, building, two\n"
    "storeys, walls, a slab, a door in an opening, geometry, a property set), writes it\n"
    "to OUT, reads OUT back and prints what was read, as qdifc load does.\n";

const char* kShowUsage =
    "usage: qdifc show FILE #ID [--via-properties] [--schema NAME] [--any-schema]\n"
    "\n"
    "Reads FILE and prints the instance #ID: its type, then each attribute of the type\n"
    "and its supertypes by name, as getAttr gives it (strings decoded for display; $ for\n"
    "an unset value), inverse attributes with the instances that link to it.\n"
    "  --via-properties   read the values through the property objects of the type and\n"
    "                     its supertypes instead; the output is the same\n" QDIFC_SCHEMA_OPTIONS;

Parsed parse(const std::vector<std::string>& args, bool viaProperties) {
  Parsed p;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "-h" || a == "--help") p.help = true;
    else if (a == "--any-schema") p.anySchema = true;
    else if (a == "--schema" && i + 1 < args.size()) p.schema = args[++i];
    else if (a == "--schema") p.error = "--schema needs a schema name";
    else if (a.rfind("--schema=", 0) == 0) p.schema = a.substr(9);
    else if (a == "--threads" && i + 1 < args.size()) {
      const std::string& n = args[++i];
      if (n.empty() || n.size() > 3 || n.find_first_not_of("0123456789") != std::string::npos || std::stoul(n) == 0)
        p.error = "--threads needs a number from 1 to 999";
      else p.threads = static_cast<unsigned>(std::stoul(n));
    } else if (a == "--threads") p.error = "--threads needs a number";
    else if (viaProperties && a == "--via-properties") p.viaProperties = true;
    else if (!a.empty() && a[0] == '-') p.error = "unknown option " + a;
    else p.files.push_back(a);
  }
  return p;
}

}  // namespace

int usage(const std::string& command, const std::string& message, const char* text) {
  std::cerr << "qdifc " << command << ": " << message << "\n\n" << text;
  return kUsageError;
}

int arguments(const std::vector<std::string>& args, const char* command, const char* text, size_t files,
              const char* what, Parsed& p, bool viaProperties) {
  p = parse(args, viaProperties);
  if (p.help) {
    std::cout << text;
    return 0;
  }
  if (!p.error.empty()) return usage(command, p.error, text);
  if (p.files.size() != files) return usage(command, what, text);
  return -1;
}

bool parseInstanceId(const std::string& text, uint64_t& id) {
  std::string digits = !text.empty() && text[0] == '#' ? text.substr(1) : text;
  if (digits.empty() || digits.size() > 19 || digits.find_first_not_of("0123456789") != std::string::npos) return false;
  id = std::stoull(digits);
  return id != 0;
}

void addHostSearchPaths(QdIfcModuleRegistry& registry) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  if (ec || exe.empty()) return;
  registry.addSearchPath(exe.parent_path().string());
  registry.addSearchPath((exe.parent_path().parent_path() / "lib").string());
}

QdIfcModule* hostModule(QdIfcModuleRegistry& registry, const std::string& modulePath, const std::string& schema) {
  addHostSearchPaths(registry);
  std::string error;
  if (modulePath.empty()) {
    QdIfcModule* m = registry.module(schema.empty() ? "IFC4" : schema, &error);
    if (!m) std::cerr << "qdifc: " << error << '\n';
    return m;
  }
  QdIfcModule* m = registry.loadLibrary(modulePath, &error);
  if (!m) {
    std::cerr << "qdifc: " << error << '\n';
    return nullptr;
  }
  if (!schema.empty() && !qdIfcSameSchema(schema, m->schemaName())) {
    std::cerr << "qdifc: the module " << modulePath << " is of schema " << m->schemaName() << ", not "
              << qdIfcCanonicalSchemaName(schema) << '\n';
    return nullptr;
  }
  return m;
}

bool LoadedFile::load(const std::string& modulePath, const std::string& path, bool anySchema,
                      const std::string& schema) {
  QdIfcReadOptions options;
  options.load.acceptOtherSchemas = anySchema;
  options.load.threads = threads;
  options.schema = schema;
  if (!modulePath.empty()) {
    // The module given is the one to read with, whatever the file names.
    QdIfcModule* given = hostModule(registry, modulePath, schema);
    if (!given) return false;
    options.schema = given->schemaName();
  } else {
    addHostSearchPaths(registry);
  }
  const QdIfcModuleChoice choice = qdIfcChooseModuleForFile(path, registry, options);
  if (!choice.opened) {
    std::cerr << "qdifc: cannot read " << path << '\n';
    return false;
  }
  if (!choice.module) {
    if (choice.noModule)
      std::cerr << "qdifc: " << path << ": " << choice.error << "; --any-schema reads it as " << options.fallbackSchema
                << '\n';
    else std::cerr << "qdifc: " << choice.error << '\n';
    return false;
  }
  module = choice.module;
  model = std::make_unique<QdIfcModel>(module->schema());
  // A progress bar on a terminal, for files that take a while.
  std::error_code sizeError;
  if (isatty(STDERR_FILENO) && std::filesystem::file_size(path, sizeError) > 20000000 && !sizeError) {
    options.load.progress = [](uint64_t done, uint64_t total) {
      const int width = 40;
      const int filled = total ? static_cast<int>(width * done / total) : width;
      std::cerr << "\r[" << std::string(static_cast<size_t>(filled), '#')
                << std::string(static_cast<size_t>(width - filled), ' ') << "] " << (total ? 100 * done / total : 100)
                << "%" << std::flush;
    };
  }
  auto start = std::chrono::steady_clock::now();
  report = qdIfcLoadFile(*model, path, options.load);
  seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (options.load.progress) std::cerr << "\r" << std::string(48, ' ') << "\r" << std::flush;
  if (!report.opened) {
    std::cerr << "qdifc: cannot read " << path << '\n';
    return false;
  }
  if (report.schemaRefused) {
    std::cerr << "qdifc: " << path << " is written in schema "
              << (report.schemas.empty() ? std::string("(none named)") : report.schemas.front()) << ", not "
              << module->schemaName() << "; --any-schema reads it anyway\n";
    return false;
  }
  return true;
}

QdIfcEntityBase* LoadedFile::instance(uint64_t id, const std::string& path) const {
  QdIfcEntityBase* object = model ? model->object(id) : nullptr;
  if (!object || !object->getInstanceType()) {
    std::cerr << "qdifc: " << path << " has no instance #" << id << '\n';
    return nullptr;
  }
  return object;
}

namespace {

void printProblems(const QdIfcLoadReport& report, size_t limit, std::ostream& out) {
  size_t shown = 0;
  for (const QdSpfProblem& p : report.problems) {
    if (shown++ == limit) {
      out << "... and " << report.problems.size() - limit << " more\n";
      break;
    }
    out << report.describe(p) << '\n';
  }
}

}  // namespace

std::string display(const QdIfcVariant& v, int depth) {
  // Strings inside aggregates come as the members' own text, transported form and all.
  if (const QdAnsiString* member = v.ptr<QdAnsiString>()) return display(QdIfcVariant(member->constStr()), depth);
  if (const char* const* text = v.ptr<const char*>()) {
    if (!*text) return "$";
    QdAnsiString s(*text);
    if (s.isUnset()) return "$";
    HsString decoded;
    TextEncodeDecode codec;
    if (!settings().get_useUTF8() && codec.decodeText(s, decoded, TextEncodeDecode::kStepString))
      return "'" + decoded.utf8() + "'";
    return "'" + std::string(*text) + "'";
  }
  QdIfcArray<QdIfcVariant> elements;
  QdIfcAggr* aggregate = nullptr;
  // An inner aggregate of a list of lists comes as a plain aggregate pointer.
  bool isAggregate = v.ptr<QdIfcAggr*>() != nullptr;
  if (isAggregate) aggregate = *v.ptr<QdIfcAggr*>();
  if (isAggregate || (v.type() && v.type()->isAggregate() && v.getValue(aggregate))) {
    if (!aggregate || aggregate->count() == 0) return aggregate && !aggregate->isNil() ? "()" : "$";
    std::string out = "(";
    if (QdIfcAggrConstIterator* it = aggregate->createConstIterator()) {
      QdIfcVariant e;
      bool first = true;
      while (it->next() && it->getValue(e)) {
        out += (first ? "" : ", ") + (depth < 8 ? display(e, depth + 1) : std::string("..."));
        first = false;
      }
      delete it;
    }
    return out + ")";
  }
  HsString text;
  if (v.toString(text, kStringFormatStep)) return text.utf8().empty() ? "$" : text.utf8();
  return v.isEmpty() ? "(none)" : "?";
}

int runShow(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p;
  if (int status = arguments(args, "show", kShowUsage, 2, "give FILE and #ID", p, true); status >= 0) return status;
  uint64_t id = 0;
  if (!parseInstanceId(p.files[1], id)) return usage("show", "#ID must be an instance number such as #12", kShowUsage);
  LoadedFile f;
  f.threads = p.threads;
  if (!f.load(modulePath, p.files[0], p.anySchema, p.schema)) return 1;
  QdIfcEntityBase* object = f.instance(id, p.files[0]);
  if (!object) return 1;
  std::cout << (p.viaProperties ? renderViaProperties(*object, id) : renderInstance(*object, id));
  return 0;
}

std::string renderInstance(const QdIfcEntityBase& object, uint64_t id) {
  const QdIfcEntityType* type = object.getInstanceType();
  std::string out = "#" + std::to_string(id) + " " + type->schemaName() + "\n";
  std::vector<const QdIfcEntityType*> chain;
  for (const QdIfcEntityType* t = type; t; t = t->supertype()) chain.insert(chain.begin(), t);
  for (const QdIfcEntityType* t : chain) {
    for (const QdIfcAttributeDefinition* a : t->attributes()) {
      if (a->asDerivedAttributeDefinition()) continue;
      QdIfcVariant v;
      if (!object.getAttr(QdAnsiString(a->name()), v)) continue;  // redeclared as derived below
      out += std::string("  ") + a->name() + (a->asInverseAttributeDefinition() ? " (inverse)" : "") + " = " +
             display(v) + "\n";
    }
  }
  return out;
}

int runLoad(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p;
  if (int status = arguments(args, "load", kLoadUsage, 1, "give one FILE", p); status >= 0) return status;
  return loadAndSummarise(p.files[0], p.anySchema, modulePath, p.schema, p.threads);
}

int runDemo(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p;
  if (int status = arguments(args, "demo", kDemoUsage, 1, "give OUT", p); status >= 0) return status;
  if (!p.schema.empty()) return usage("demo", "the demo building is of IFC4; it takes no --schema", kDemoUsage);
  {
    QdIfcModuleRegistry registry;
    QdIfcModule* module = hostModule(registry, modulePath, {});
    if (!module) return 1;
    QdIfcModel model(module->schema());
    std::vector<std::string> refused = buildDemo(model);
    for (const std::string& r : refused) std::cerr << "qdifc: demo: the module refused " << r << '\n';
    std::string error;
    if (!qdIfcSaveFile(model, p.files[0], &error)) {
      std::cerr << "qdifc: " << error << '\n';
      return 1;
    }
    std::cout << "wrote " << model.size() << " instances to " << p.files[0] << '\n';
    if (!refused.empty()) return 1;
  }
  return loadAndSummarise(p.files[0], false, modulePath);
}

int loadAndSummarise(const std::string& path, bool anySchema, const std::string& modulePath, const std::string& schema,
                     unsigned threads) {
  LoadedFile f;
  f.threads = threads;
  if (!f.load(modulePath, path, anySchema, schema)) return 1;

  std::vector<std::pair<std::string, uint64_t>> counts = f.report.counts;
  std::stable_sort(counts.begin(), counts.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  std::cout << path << ": " << f.report.records << " instances of " << counts.size() << " types, "
            << f.report.problems.size() << " problems\n";
  for (const auto& [name, count] : counts) std::cout << "  " << count << '\t' << name << '\n';
  struct rusage usage {};
  getrusage(RUSAGE_SELF, &usage);
  char line[160];
  std::snprintf(line, sizeof line, "time %.3f s, %.1f MB/s, %.0f instances/s, peak memory %.1f MB\n", f.seconds,
                f.seconds > 0 ? static_cast<double>(f.report.bytes) / 1e6 / f.seconds : 0.0,
                f.seconds > 0 ? static_cast<double>(f.report.records) / f.seconds : 0.0,
                static_cast<double>(usage.ru_maxrss) / 1024.0);
  std::cout << line;
  std::snprintf(
      line, sizeof line, "model %.1f MB: objects, aggregates and strings %.1f MB, table of instances %.1f MB\n",
      static_cast<double>(f.model->arena().used() + f.model->bookkeepingBytes()) / 1e6,
      static_cast<double>(f.model->arena().used()) / 1e6, static_cast<double>(f.model->bookkeepingBytes()) / 1e6);
  std::cout << line;
  if (!f.report.problems.empty()) printProblems(f.report, 20, std::cout);
  return f.report.problems.empty() ? 0 : 1;
}

int runCheck(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p;
  if (int status = arguments(args, "check", kCheckUsage, 1, "give one FILE", p); status >= 0) return status;
  LoadedFile f;
  f.threads = p.threads;
  if (!f.load(modulePath, p.files[0], p.anySchema, p.schema)) return 1;
  printProblems(f.report, f.report.problems.size(), std::cout);
  // Reading checks the types of references already, with the place in the file.
  const std::vector<QdIfcFinding> findings = qdIfcValidate(*f.model, kAllRules & ~kRuleAdmittedType);
  for (const QdIfcFinding& finding : findings) std::cout << p.files[0] << ": " << qdIfcDescribe(finding) << '\n';
  if (f.report.problems.empty() && findings.empty()) {
    std::cout << p.files[0] << ": no problems\n";
    return 0;
  }
  std::cout << p.files[0] << ": " << f.report.problems.size() << " problems, " << findings.size() << " findings\n";
  return 1;
}

int runConvert(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p;
  if (int status = arguments(args, "convert", kConvertUsage, 2, "give IN and OUT", p); status >= 0) return status;
  LoadedFile f;
  f.threads = p.threads;
  if (!f.load(modulePath, p.files[0], p.anySchema, p.schema)) return 1;
  printProblems(f.report, 20, std::cerr);
  std::string error;
  if (!qdIfcSaveFile(*f.model, p.files[1], &error)) {
    std::cerr << "qdifc: " << error << '\n';
    return 1;
  }
  return f.report.problems.empty() ? 0 : 1;
}

}  // namespace qdhost
