// qdifc count: what a file holds, from its record index alone. The file is mapped, its
// records indexed in one pass (QdSpfRecordIndex: number, type name, byte range), and
// no instance is made: instances per type, the records of one type, or the text of one
// record. The type names are given in the spelling of the schema the header names,
// where a module of it is found, else as the file spells them.
#include "CountCommand.h"

#include "CommandSupport.h"

#include <QdIfcCore/Dictionary.h>
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
    "usage: qdifc count FILE [#ID | --type NAME]\n"
    "  instances per type, from the file's record index alone (no instance is made)\n"
    "  #ID          the text of that record\n"
    "  --type NAME  the numbers of the records of that type (not of its subtypes)\n";

}  // namespace

int runCount(const std::vector<std::string>& args, const std::string& modulePath) {
  std::string file, typeName;
  uint64_t id = 0;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--help" || a == "-h") {
      std::cout << kCountUsage;
      return 0;
    }
    if (a == "--type") {
      if (i + 1 >= args.size()) return usage("count", "--type needs a type name", kCountUsage);
      typeName = args[++i];
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

  const QdSpfMappedFile mapped(file);
  if (!mapped.opened()) {
    std::cerr << "qdifc: cannot read " << file << '\n';
    return 1;
  }
  const auto start = std::chrono::steady_clock::now();
  const QdSpfRecordIndex index = QdSpfRecordIndex::build(mapped.bytes());
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  if (id) {
    for (const QdSpfRecordIndex::Record& r : index.records())
      if (r.id == id) {
        std::cout << mapped.bytes().substr(r.begin, r.length) << '\n';
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
  } else if (QdIfcModule* m = qdIfcChooseModule(mapped.bytes(), registry).module) {
    schema = m->schema();
  }
  auto spelling = [&](std::string_view name) -> std::string {
    const QdIfcEntityType* t = schema ? schema->findEntityType(name) : nullptr;
    return t ? t->schemaName() : std::string(name);
  };

  if (!typeName.empty()) {
    uint64_t n = 0;
    for (const QdSpfRecordIndex::Record& r : index.records()) {
      const std::string_view name = index.typeName(r);
      if (name.size() == typeName.size() && strncasecmp(name.data(), typeName.data(), name.size()) == 0) {
        std::cout << '#' << r.id << '\n';
        ++n;
      }
    }
    if (n == 0) std::cerr << "qdifc: " << file << " has no record of type " << typeName << '\n';
    return n ? 0 : 1;
  }

  std::vector<uint64_t> perType(index.typeNames().size(), 0);
  for (const QdSpfRecordIndex::Record& r : index.records()) ++perType[r.type];
  std::vector<std::pair<std::string, uint64_t>> counts;
  for (size_t t = 0; t < perType.size(); ++t)
    if (perType[t]) counts.emplace_back(t ? spelling(index.typeNames()[t]) : std::string("(no type name)"), perType[t]);
  std::sort(counts.begin(), counts.end(), [](const auto& a, const auto& b) {
    return a.second != b.second ? a.second > b.second : a.first < b.first;
  });
  std::cout << file << ": " << index.size() << " records of " << counts.size() << " types, " << index.problems().size()
            << " problems in the index\n";
  for (const auto& [name, count] : counts) std::cout << "  " << count << '\t' << name << '\n';
  const double mb = static_cast<double>(mapped.bytes().size()) / 1e6;
  const double indexBytes = static_cast<double>(index.records().capacity() * sizeof(QdSpfRecordIndex::Record));
  char line[200];
  std::snprintf(line, sizeof line, "index %.3f s, %.1f MB/s, %.1f bytes per record\n", seconds,
                seconds > 0 ? mb / seconds : 0.0, index.size() ? indexBytes / static_cast<double>(index.size()) : 0.0);
  std::cout << line;
  return 0;
}

}  // namespace qdhost
