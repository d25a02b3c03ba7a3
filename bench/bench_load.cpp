// Loading and saving IFC4 files: MB/s, instances/s and resident bytes per instance,
// on the corpus files and on a large file made by repeating a building with its
// instance numbers shifted (about 100 MB). A bare single-pass tokenizer over the same
// bytes is timed in the same run, as the floor that loading is measured against, and
// beside it the record index built alone (what an index-only open or a parallel reader
// starts from).
//
//   bench_load [corpus folder] [target MB]
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/QdSpfRecordIndex.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <malloc.h>
#include <unistd.h>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

size_t residentBytes() {
  std::ifstream statm("/proc/self/statm");
  size_t pages = 0, resident = 0;
  statm >> pages >> resident;
  return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// The tokens of the bytes, counted in one pass: the least any reader has to do.
size_t bareTokens(const std::string& bytes) {
  size_t tokens = 0;
  const char* p = bytes.data();
  const char* end = p + bytes.size();
  while (p < end) {
    char c = *p;
    if (c == ' ' || c == '\n' || c == '\r' || c == '\t') {
      ++p;
      continue;
    }
    ++tokens;
    if (c == '\'') {
      for (++p; p < end; ++p)
        if (*p == '\'' && !(p + 1 < end && p[1] == '\'' && ++p)) break;
      ++p;
    } else if ((c >= '0' && c <= '9') || c == '-' || c == '#' || c == '.' || (c >= 'A' && c <= 'Z')) {
      for (++p; p < end && ((*p >= '0' && *p <= '9') || (*p >= 'A' && *p <= 'Z') || *p == '.' || *p == '_' ||
                            *p == '-' || *p == 'E');
           ++p) {
      }
    } else {
      ++p;
    }
  }
  return tokens;
}

// The DATA records of a file repeated until the text reaches target bytes, each copy's
// instance numbers shifted past the last copy's.
std::string repeated(const std::string& file, size_t target) {
  size_t data = file.find("DATA;");
  size_t endsec = file.rfind("ENDSEC;");
  std::string head = file.substr(0, data + 5) + "\n";
  std::string records = file.substr(data + 5, endsec - data - 5);
  uint64_t maxId = 0;
  for (size_t i = records.find('#'); i != std::string::npos; i = records.find('#', i + 1))
    maxId = std::max<uint64_t>(maxId, std::strtoull(records.c_str() + i + 1, nullptr, 10));
  std::string out = head;
  out.reserve(target + records.size() * 2);
  for (uint64_t copy = 0; out.size() < target; ++copy) {
    const uint64_t shift = copy * maxId;
    bool inString = false;
    for (size_t i = 0; i < records.size(); ++i) {
      char c = records[i];
      if (c == '\'') inString = !inString;
      if (c == '#' && !inString && i + 1 < records.size() && records[i + 1] >= '0' && records[i + 1] <= '9') {
        char* endNumber = nullptr;
        uint64_t id = std::strtoull(records.c_str() + i + 1, &endNumber, 10);
        out += '#';
        out += std::to_string(id + shift);
        i = static_cast<size_t>(endNumber - records.c_str()) - 1;
        continue;
      }
      out += c;
    }
  }
  return out + "ENDSEC;\nEND-ISO-10303-21;\n";
}

void measure(const std::string& name, const std::string& bytes, bool breakdown) {
  const double mb = static_cast<double>(bytes.size()) / 1e6;
  double t0 = now();
  size_t tokens = bareTokens(bytes);
  double tokenizer = now() - t0;

  size_t before = residentBytes();
  size_t heapBefore = mallinfo2().uordblks;
  auto model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
  t0 = now();
  QdIfcLoadReport report = qdIfcLoad(*model, bytes);
  double load = now() - t0;
  size_t loaded = residentBytes();
  size_t heap = mallinfo2().uordblks - heapBefore;

  t0 = now();
  std::string saved = qdIfcSaveText(*model);
  double save = now() - t0;
  const double n = static_cast<double>(model->size());
  // The index alone, once the model is gone, so that the load's memory figures are its own.
  model.reset();
  t0 = now();
  size_t indexed = QdSpfRecordIndex::build(bytes).size();
  double index = now() - t0;
  std::printf(
      "%-44s %8.1f MB %9.0f inst  load %6.1f MB/s %9.0f inst/s  %5.0f B/inst (heap %4.0f)  save %6.1f MB/s  "
      "tokenizer %6.1f MB/s (load = %.1fx)  index alone %6.1f MB/s (%zu records)  problems %zu\n",
      name.c_str(), mb, n, mb / load, n / load, static_cast<double>(loaded - before) / n, static_cast<double>(heap) / n,
      static_cast<double>(saved.size()) / 1e6 / save, mb / tokenizer, load / tokenizer, mb / index, indexed,
      report.problems.size());
  benchmark::DoNotOptimize(tokens);
  if (breakdown) {
    std::vector<std::pair<uint64_t, std::string>> byCount;
    for (const auto& [type, count] : report.counts) byCount.emplace_back(count, type);
    std::sort(byCount.rbegin(), byCount.rend());
    std::printf("  most frequent types:");
    for (size_t i = 0; i < byCount.size() && i < 8; ++i)
      std::printf(" %s %.1f%%", byCount[i].second.c_str(), 100.0 * static_cast<double>(byCount[i].first) / n);
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  // glibc's heap on transparent huge pages, as qdifc runs (see cli/HugePages.h).
  if (!std::getenv("GLIBC_TUNABLES") && !std::getenv("QDIFC_NO_HUGE_PAGES")) {
    setenv("GLIBC_TUNABLES", "glibc.malloc.hugetlb=1", 1);
    execv("/proc/self/exe", argv);
  }
  std::printf("heap pages: %s\n", std::getenv("GLIBC_TUNABLES") ? std::getenv("GLIBC_TUNABLES") : "default");
  fs::path corpus = argc > 1 ? fs::path(argv[1]) : fs::path(QDIFC_BENCH_CORPUS_DIR);
  size_t targetMb = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 100;
  if (!fs::is_directory(corpus / "ifc4")) {
    std::printf("no corpus at %s: nothing to measure\n", corpus.string().c_str());
    return 0;
  }
  if (!qdGetModuleLifeCycleApp()->start()) return 1;
  std::vector<fs::path> files;
  for (const auto& e : fs::directory_iterator(corpus / "ifc4")) files.push_back(e.path());
  std::sort(files.begin(), files.end());
  for (const fs::path& f : files)
    if (fs::file_size(f) > 1000000) measure(f.filename().string(), readFile(f), false);
  std::string big = repeated(readFile(corpus / "ifc4" / "ISSUE_005_haus.ifc"), targetMb * 1000000);
  measure("ISSUE_005_haus.ifc repeated", big, true);
  qdGetModuleLifeCycleApp()->stop();
  return 0;
}
