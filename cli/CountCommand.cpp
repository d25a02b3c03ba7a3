// qdifc count: what a file holds, from its record index alone (QdIfcIndexedFile). The
// file is mapped, its records indexed in one pass (number, type name, byte range), and
// no instance is made: instances per type, the records of one type, or the text of one
// record; with --read, that record made an instance with what it references, and no
// other record read. The type names are given in the spelling of the schema the header
// names, where a module of it is found, else as the file spells them.
#include "CountCommand.h"

#include "CommandSupport.h"
#include "FileCommands.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcIndexedFile.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcRead.h>
#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/QdSpfRecordIndex.h>

#include <strings.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <map>
#include <string_view>

using namespace QD_SDAI;

namespace qdhost {
namespace {

const char* kCountUsage =
    "usage: qdifc count FILE [#ID [--read] | --type NAME]\n"
    "  instances per type, from the file's record index alone (no instance is made)\n"
    "  #ID          the text of that record\n"
    "  #ID --read   that record as an instance, attribute by attribute, read with the\n"
    "               records it references (directly or not) and no others\n"
    "  --type NAME  the numbers of the records of that type (not of its subtypes)\n";

}  // namespace

int runCount(const std::vector<std::string>& args, const std::string& modulePath) {
  std::string file, typeName;
  uint64_t id = 0;
  bool read = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--help" || a == "-h") {
      std::cout << kCountUsage;
      return 0;
    }
    if (a == "--type") {
      if (i + 1 >= args.size()) return usage("count", "--type needs a type name", kCountUsage);
      typeName = args[++i];
    } else if (a == "--read") {
      read = true;
    } else if (!a.empty() && a[0] == '#') {
      if (!parseInstanceId(a, id)) return usage("count", "#ID must be an instance number such as #12", kCountUsage);
    } else if (!a.empty() && a[0] == '-') {
      return usage("count", "unknown option " + a, kCountUsage);
    } else if (file.empty()) {
      file = a;
    } else {
      return usage("count", "give one FILE", kCountUsage);
    }
  }
  if (file.empty()) return usage("count", "give one FILE", kCountUsage);
  if (id && !typeName.empty()) return usage("count", "give #ID or --type, not both", kCountUsage);
  if (read && !id) return usage("count", "--read needs #ID", kCountUsage);

  const auto start = std::chrono::steady_clock::now();
  const QdIfcIndexedFile indexed(file);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!indexed.opened()) {
    std::cerr << "qdifc: cannot read " << file << '\n';
    return 1;
  }

  if (id && !read) {
    if (const QdSpfRecordIndex::Record* r = indexed.find(id)) {
      std::cout << indexed.text(*r) << '\n';
      return 0;
    }
    std::cerr << "qdifc: " << file << " has no record #" << id << '\n';
    return 1;
  }

  // The schema's spelling of each type name, where the header names a schema with a module.
  QdIfcModuleRegistry registry;
  addHostSearchPaths(registry);
  const QdIfcSchema* schema = nullptr;
  if (!modulePath.empty()) {
    if (QdIfcModule* m = hostModule(registry, modulePath, {})) schema = m->schema();
  } else if (QdIfcModule* m = qdIfcChooseModule(indexed.bytes(), registry).module) {
    schema = m->schema();
  }

  if (read) {
    if (!schema) {
      std::cerr << "qdifc: " << file << ": no module for its schema to read #" << id << " with\n";
      return 1;
    }
    QdIfcModel model(schema);
    QdIfcLoadReport report;
    const QdDbObjectId handle = indexed.materialise(model, id, &report);
    if (handle.isNull()) {
      std::cerr << "qdifc: " << file << (indexed.find(id) ? " cannot read #" : " has no record #") << id << '\n';
      for (const QdSpfProblem& p : report.problems) std::cerr << report.describe(p) << '\n';
      return 1;
    }
    std::cout << renderInstance(*handle.openObject(), id);
    std::cout << "read " << model.size() << " of " << indexed.size() << " records\n";
    for (const QdSpfProblem& p : report.problems) std::cout << report.describe(p) << '\n';
    return report.problems.empty() ? 0 : 1;
  }
  auto spelling = [&](std::string_view name) -> std::string {
    const QdIfcEntityType* t = schema ? schema->findEntityType(name) : nullptr;
    return t ? t->schemaName() : std::string(name);
  };

  if (!typeName.empty()) {
    const std::vector<uint64_t> ids = indexed.ofType(typeName);
    for (uint64_t n : ids) std::cout << '#' << n << '\n';
    if (ids.empty()) std::cerr << "qdifc: " << file << " has no record of type " << typeName << '\n';
    return ids.empty() ? 1 : 0;
  }

  std::vector<std::pair<std::string, uint64_t>> counts;
  for (const auto& [name, n] : indexed.counts())
    counts.emplace_back(name.empty() ? std::string("(no type name)") : spelling(name), n);
  std::sort(counts.begin(), counts.end(), [](const auto& a, const auto& b) {
    return a.second != b.second ? a.second > b.second : a.first < b.first;
  });
  const QdSpfRecordIndex& index = indexed.index();
  std::cout << file << ": " << index.size() << " records of " << counts.size() << " types, " << index.problems().size()
            << " problems in the index\n";
  for (const auto& [name, count] : counts) std::cout << "  " << count << '\t' << name << '\n';
  const double mb = static_cast<double>(indexed.bytes().size()) / 1e6;
  const double indexBytes = static_cast<double>(index.records().size() * sizeof(QdSpfRecordIndex::Record));
  char line[200];
  std::snprintf(line, sizeof line, "index %.3f s, %.1f MB/s, %.1f bytes per record\n", seconds,
                seconds > 0 ? mb / seconds : 0.0, index.size() ? indexBytes / static_cast<double>(index.size()) : 0.0);
  std::cout << line;
  return 0;
}

}  // namespace qdhost
