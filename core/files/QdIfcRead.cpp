#include <QdIfcCore/QdIfcRead.h>

#include <QdIfcCore/QdIfcModuleRegistry.h>

namespace QD_SDAI {

namespace {

// The module for a header's names (read by header() only when no schema is forced).
template <class ReadHeader>
QdIfcModuleChoice choose(QdIfcModuleRegistry& registry, const QdIfcReadOptions& options, ReadHeader readHeader) {
  QdIfcModuleChoice c;
  if (!options.schema.empty()) {
    c.module = registry.module(options.schema, &c.error);
    return c;
  }
  QdSpfFileSchema header = readHeader();
  c.opened = header.opened;
  if (!c.opened) {
    c.error = header.problem;
    return c;
  }
  c.schemas = header.names;
  std::vector<std::string> named;
  for (const std::string& name : header.names)
    if (!name.empty()) named.push_back(name);
  for (const std::string& name : named)
    if (registry.available(name)) {
      c.module = registry.module(name, &c.error);
      return c;
    }
  if (named.empty() || options.load.acceptOtherSchemas) {
    c.module = registry.module(options.fallbackSchema, &c.error);
    return c;
  }
  c.noModule = true;
  c.error = registry.missingMessage(named);
  return c;
}

// The result of a choice without a module: a file not read, or one whose schemas have
// none (one problem at its start, which names them).
QdIfcReadResult withoutModule(const QdIfcModuleChoice& c, const std::string& path) {
  QdIfcReadResult r;
  r.error = c.error;
  r.report.file = path;
  r.report.schemas = c.schemas;
  if (!c.opened) {
    r.report.opened = false;
    QdSpfProblem p;
    p.expected = "a readable file";
    p.found = "none at " + path;
    r.report.problems.push_back(p);
  } else if (c.noModule) {
    r.report.schemaRefused = true;
    QdSpfProblem p;
    p.line = 1;
    p.expected = "a schema there is a module for";
    for (const std::string& s : c.schemas) p.found += (p.found.empty() ? "" : ", ") + s;
    r.report.problems.push_back(p);
  }
  return r;
}

}  // namespace

QdIfcModuleChoice qdIfcChooseModule(std::string_view bytes, QdIfcModuleRegistry& registry,
                                    const QdIfcReadOptions& options) {
  return choose(registry, options, [&] { return qdIfcReadFileSchema(bytes); });
}

QdIfcModuleChoice qdIfcChooseModuleForFile(const std::string& path, QdIfcModuleRegistry& registry,
                                           const QdIfcReadOptions& options) {
  return choose(registry, options, [&] { return qdIfcReadFileSchemaOfFile(path); });
}

QdIfcReadResult qdIfcRead(std::string_view bytes, QdIfcModuleRegistry& registry, const QdIfcReadOptions& options) {
  QdIfcModuleChoice c = qdIfcChooseModule(bytes, registry, options);
  if (!c.module) return withoutModule(c, {});
  QdIfcReadResult r;
  r.module = c.module;
  r.model = std::make_unique<QdIfcModel>(c.module->schema());
  r.report = qdIfcLoad(*r.model, bytes, options.load);
  return r;
}

QdIfcReadResult qdIfcReadFile(const std::string& path, QdIfcModuleRegistry& registry, const QdIfcReadOptions& options) {
  QdIfcModuleChoice c = qdIfcChooseModuleForFile(path, registry, options);
  if (!c.module) return withoutModule(c, path);
  QdIfcReadResult r;
  r.module = c.module;
  r.model = std::make_unique<QdIfcModel>(c.module->schema());
  r.report = qdIfcLoadFile(*r.model, path, options.load);
  if (!r.report.opened) r.error = "cannot read " + path;
  return r;
}

}  // namespace QD_SDAI
