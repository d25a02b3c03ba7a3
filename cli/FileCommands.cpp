#include "FileCommands.h"

#include "ModuleLoader.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>

using namespace QD_SDAI;

namespace qdhost {
namespace {

constexpr int kUsageError = 2;

const char* kLoadUsage =
    "usage: qdifc load FILE [--any-schema]\n"
    "\n"
    "Reads FILE into a model and prints the instances per type, the problems found,\n"
    "the time taken, the speed and the peak memory. Exit status 1 if there were problems.\n"
    "  --any-schema   read the records even if FILE_SCHEMA is not IFC4\n";
const char* kCheckUsage =
    "usage: qdifc check FILE [--any-schema]\n"
    "\n"
    "Reads FILE and prints every problem, one a line (file:line: #id: expected ..., found ...).\n"
    "Exit status 1 if there is any.\n";
const char* kConvertUsage =
    "usage: qdifc convert IN OUT [--any-schema]\n"
    "\n"
    "Reads IN and writes the model to OUT. Problems of IN are printed; exit status 1 if\n"
    "there were any or OUT could not be written.\n";

struct Parsed {
  std::vector<std::string> files;
  bool anySchema = false;
  bool help = false;
  std::string error;
};

Parsed parse(const std::vector<std::string>& args) {
  Parsed p;
  for (const std::string& a : args) {
    if (a == "-h" || a == "--help") p.help = true;
    else if (a == "--any-schema") p.anySchema = true;
    else if (!a.empty() && a[0] == '-') p.error = "unknown option " + a;
    else p.files.push_back(a);
  }
  return p;
}

int usage(const std::string& command, const std::string& message, const char* text) {
  std::cerr << "qdifc " << command << ": " << message << "\n\n" << text;
  return kUsageError;
}

// Loads path into model; prints the load's own failures (the module, the file).
bool loadInto(ModuleLoader& module, const std::string& modulePath, std::unique_ptr<QdIfcModel>& model,
              const std::string& path, bool anySchema, QdIfcLoadReport& report, double& seconds) {
  if (!module.load(modulePath)) {
    std::cerr << "qdifc: " << module.error() << '\n';
    return false;
  }
  model = std::make_unique<QdIfcModel>(module.schema());
  QdIfcLoadOptions options;
  options.acceptOtherSchemas = anySchema;
  auto start = std::chrono::steady_clock::now();
  report = qdIfcLoadFile(*model, path, options);
  seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!report.opened) {
    std::cerr << "qdifc: cannot read " << path << '\n';
    return false;
  }
  if (report.schemaRefused) {
    std::cerr << "qdifc: " << path << " is written in schema "
              << (report.schemas.empty() ? std::string("(none named)") : report.schemas.front())
              << ", not IFC4; --any-schema reads it anyway\n";
    return false;
  }
  return true;
}

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

int runLoad(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p = parse(args);
  if (p.help) {
    std::cout << kLoadUsage;
    return 0;
  }
  if (!p.error.empty()) return usage("load", p.error, kLoadUsage);
  if (p.files.size() != 1) return usage("load", "give one FILE", kLoadUsage);
  ModuleLoader module;
  std::unique_ptr<QdIfcModel> model;
  QdIfcLoadReport report;
  double seconds = 0;
  if (!loadInto(module, modulePath, model, p.files[0], p.anySchema, report, seconds)) return 1;

  std::vector<std::pair<std::string, uint64_t>> counts = report.counts;
  std::stable_sort(counts.begin(), counts.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  std::cout << p.files[0] << ": " << report.records << " instances of " << counts.size() << " types, "
            << report.problems.size() << " problems\n";
  for (const auto& [name, count] : counts) std::cout << "  " << count << '\t' << name << '\n';
  struct rusage usage {};
  getrusage(RUSAGE_SELF, &usage);
  char line[160];
  std::snprintf(line, sizeof line, "time %.3f s, %.1f MB/s, %.0f instances/s, peak memory %.1f MB\n", seconds,
                seconds > 0 ? static_cast<double>(report.bytes) / 1e6 / seconds : 0.0,
                seconds > 0 ? static_cast<double>(report.records) / seconds : 0.0,
                static_cast<double>(usage.ru_maxrss) / 1024.0);
  std::cout << line;
  if (!report.problems.empty()) printProblems(report, 20, std::cout);
  return report.problems.empty() ? 0 : 1;
}

int runCheck(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p = parse(args);
  if (p.help) {
    std::cout << kCheckUsage;
    return 0;
  }
  if (!p.error.empty()) return usage("check", p.error, kCheckUsage);
  if (p.files.size() != 1) return usage("check", "give one FILE", kCheckUsage);
  ModuleLoader module;
  std::unique_ptr<QdIfcModel> model;
  QdIfcLoadReport report;
  double seconds = 0;
  if (!loadInto(module, modulePath, model, p.files[0], p.anySchema, report, seconds)) return 1;
  printProblems(report, report.problems.size(), std::cout);
  if (report.problems.empty()) std::cout << p.files[0] << ": no problems\n";
  return report.problems.empty() ? 0 : 1;
}

int runConvert(const std::vector<std::string>& args, const std::string& modulePath) {
  Parsed p = parse(args);
  if (p.help) {
    std::cout << kConvertUsage;
    return 0;
  }
  if (!p.error.empty()) return usage("convert", p.error, kConvertUsage);
  if (p.files.size() != 2) return usage("convert", "give IN and OUT", kConvertUsage);
  ModuleLoader module;
  std::unique_ptr<QdIfcModel> model;
  QdIfcLoadReport report;
  double seconds = 0;
  if (!loadInto(module, modulePath, model, p.files[0], p.anySchema, report, seconds)) return 1;
  printProblems(report, 20, std::cerr);
  std::string error;
  if (!qdIfcSaveFile(*model, p.files[1], &error)) {
    std::cerr << "qdifc: " << error << '\n';
    return 1;
  }
  return report.problems.empty() ? 0 : 1;
}

}  // namespace qdhost
