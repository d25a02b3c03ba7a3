// Loading, index-only opening and saving IFC4 files, as one table beside a bare lexer on
// the same bytes: a large file made by repeating a building with its instance numbers
// shifted (about 100 MB), and the corpus's IFC4 files of more than 2 MB.
//
// Each row is a step run in a process of its own (this program executed again with
// --step), so that the peak resident memory it reads is the step's alone: the file is
// mapped there as a load maps it, and the figures come back as one line on a pipe.
// Timings on a small machine with transparent huge pages are bimodal, so every row is
// run several times, the rows taking turns, and the table gives medians.
//
//   bench_load [corpus folder] [target MB] [runs]
//   bench_load --step lexer|index|load1|load2 FILE     (one step; what the table runs)
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/QdSpfRecordIndex.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

// ---- Targets: the figures each row is held to. ----
constexpr double kIndexTimesLexer = 1.5;    // index-only open, time over the lexer's
constexpr double kIndexOwnPerInst = 40;     // index-only open, the index's own bytes per instance
constexpr double kLoad1TimesLexer = 4.0;    // load on 1 thread, time over the lexer's
constexpr double kLoad2TimesLexer = 2.5;    // load on 2 threads, time over the lexer's
constexpr double kPeakTimesFile = 3.0;      // load, peak resident growth over the file's size
constexpr double kPeakPerInst = 200;        // load, peak resident growth per instance
constexpr double kSaveMegabytesPerS = 400;  // save

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

// VmHWM of /proc/self/status, the process's peak resident bytes (mapped file pages included).
size_t peakResident() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::strtoull(line.c_str() + 6, nullptr, 10) * 1024;
  return 0;
}

// Sets the peak to what is resident now (Linux resets VmHWM on "5" written to
// clear_refs) and returns it: the figure a step's peak is measured from. Where the
// reset is refused the peak so far is returned, and a step's growth is understated,
// never inflated.
size_t resetPeakResident() {
  const int fd = open("/proc/self/clear_refs", O_WRONLY);
  if (fd >= 0) {
    [[maybe_unused]] const ssize_t written = write(fd, "5", 1);
    close(fd);
  }
  return peakResident();
}

size_t heapInUse() {
  struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

// Bytes a model holds outside glibc's heap, which mallinfo2 cannot see: its arena maps
// its blocks directly. What the arena handed out counts, not the blocks' unused ends.
size_t modelBytesOutsideHeap(const QdIfcModel& model) { return model.arena().used(); }

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// The tokens of the bytes, counted in one pass: the least any reader has to do.
size_t bareTokens(std::string_view bytes) {
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
std::string repeated(const std::string& file, size_t target, int* copies) {
  size_t data = file.find("DATA;");
  size_t endsec = file.rfind("ENDSEC;");
  std::string head = file.substr(0, data + 5) + "\n";
  std::string records = file.substr(data + 5, endsec - data - 5);
  uint64_t maxId = 0;
  for (size_t i = records.find('#'); i != std::string::npos; i = records.find('#', i + 1))
    maxId = std::max<uint64_t>(maxId, std::strtoull(records.c_str() + i + 1, nullptr, 10));
  std::string out = head;
  out.reserve(target + records.size() * 2);
  *copies = 0;
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
    ++*copies;
  }
  return out + "ENDSEC;\nEND-ISO-10303-21;\n";
}

// ---- One step, in a process of its own. ----
//
// Prints one line of "key=value" figures: seconds (the step), instances, base (resident
// bytes before the step), peak (the peak resident bytes after it), own (heap growth with
// the result alive), problems, and for the 1-thread load saveSeconds and savedBytes.
int runStep(const std::string& step, const std::string& path) {
  const bool load = step == "load1" || step == "load2";
  if (step != "lexer" && step != "index" && !load) {
    std::fprintf(stderr, "bench_load: unknown step %s\n", step.c_str());
    return 2;
  }
  std::unique_ptr<QdIfcModel> model;
  if (load) {
    if (!qdGetModuleLifeCycleApp()->start()) return 1;
    model = std::make_unique<QdIfcModel>(qdifcGetSchemaPointer());
  }
  const size_t heapBefore = heapInUse();
  const size_t base = resetPeakResident();
  double seconds = 0, saveSeconds = 0;
  size_t instances = 0, own = 0, peak = 0, problems = 0, savedBytes = 0, tokens = 0;

  if (step == "lexer") {
    const double t0 = now();
    const QdSpfMappedFile mapped(path);
    tokens = bareTokens(mapped.bytes());
    seconds = now() - t0;
    benchmark::DoNotOptimize(tokens);
    peak = peakResident();
  } else if (step == "index") {
    // As an index-only open does it (qdifc count): map, index, count per type.
    const double t0 = now();
    const QdSpfMappedFile mapped(path);
    const QdSpfRecordIndex index = QdSpfRecordIndex::build(mapped.bytes());
    std::vector<uint64_t> perType(index.typeNames().size(), 0);
    for (const QdSpfRecordIndex::Record& r : index.records()) ++perType[r.type];
    seconds = now() - t0;
    benchmark::DoNotOptimize(perType.data());
    peak = peakResident();
    own = heapInUse() - heapBefore;
    instances = index.size();
    problems = index.problems().size();
  } else {
    QdIfcLoadOptions options;
    options.threads = step == "load1" ? 1 : 2;
    const double t0 = now();
    const QdIfcLoadReport report = qdIfcLoadFile(*model, path, options);
    seconds = now() - t0;
    peak = peakResident();
    own = heapInUse() - heapBefore + modelBytesOutsideHeap(*model);
    instances = model->size();
    problems = report.problems.size() + (report.opened ? 0 : 1);
    if (step == "load1") {
      // The save is timed here, once the load's memory is read.
      const double s0 = now();
      const std::string saved = qdIfcSaveText(*model);
      saveSeconds = now() - s0;
      savedBytes = saved.size();
    }
  }
  std::printf("seconds=%.9g instances=%zu base=%zu peak=%zu own=%zu problems=%zu saveSeconds=%.9g savedBytes=%zu\n",
              seconds, instances, base, peak, own, problems, saveSeconds, savedBytes);
  std::fflush(stdout);
  // No teardown: freeing a large model is not what is measured, and takes a while.
  _exit(0);
}

using Figures = std::map<std::string, double>;

double get(const Figures& f, const char* key) {
  auto it = f.find(key);
  return it == f.end() ? 0 : it->second;
}

// Runs one step in a fresh process (this program again) and reads its line of figures;
// empty if it failed.
Figures spawnStep(const std::string& step, const std::string& path) {
  int fds[2];
  if (pipe(fds) != 0) return {};
  const pid_t pid = fork();
  if (pid < 0) {
    close(fds[0]);
    close(fds[1]);
    return {};
  }
  if (pid == 0) {
    dup2(fds[1], STDOUT_FILENO);
    close(fds[0]);
    close(fds[1]);
    std::vector<char*> args = {const_cast<char*>("bench_load"), const_cast<char*>("--step"),
                               const_cast<char*>(step.c_str()), const_cast<char*>(path.c_str()), nullptr};
    execv("/proc/self/exe", args.data());
    _exit(127);
  }
  close(fds[1]);
  std::string out;
  char buffer[512];
  for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;) out.append(buffer, static_cast<size_t>(n));
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return {};
  Figures f;
  for (size_t i = 0; i < out.size();) {
    size_t eq = out.find('=', i);
    size_t endValue = out.find_first_of(" \n", eq);
    if (eq == std::string::npos || endValue == std::string::npos) break;
    f[out.substr(i, eq - i)] = std::strtod(out.c_str() + eq + 1, nullptr);
    i = endValue + 1;
  }
  return f.count("seconds") ? f : Figures{};
}

double median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// The medians of each figure of a step's runs.
Figures medians(const std::vector<Figures>& runs) {
  std::map<std::string, std::vector<double>> all;
  for (const Figures& f : runs)
    for (const auto& [k, v] : f) all[k].push_back(v);
  Figures m;
  for (const auto& [k, v] : all) m[k] = median(v);
  return m;
}

struct Target {
  std::string what;
  bool met;
};

struct Row {
  std::string name;
  std::string seconds = "-", mbps = "-", instps = "-", timesLexer = "-", peakPerInst = "-", ownPerInst = "-",
              peakPerFile = "-";
  std::vector<Target> targets;
};

std::string fmt(const char* format, double v) {
  char s[64];
  std::snprintf(s, sizeof s, format, v);
  return s;
}

// 1637213 as "1,637,213".
std::string grouped(double v) {
  std::string digits = fmt("%.0f", v), out;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i && (digits.size() - i) % 3 == 0) out += ',';
    out += digits[i];
  }
  return out;
}

std::string perSecond(double v) {
  return v >= 1e6 ? fmt("%.2f M", v / 1e6) : v >= 1e3 ? fmt("%.1f k", v / 1e3) : fmt("%.0f", v);
}

// Milliseconds to three figures or so: "1443", "134", "2.31".
std::string milliseconds(double seconds) {
  const double ms = seconds * 1e3;
  return fmt(ms >= 100 ? "%.0f" : ms >= 10 ? "%.1f" : "%.2f", ms);
}

// "median (least-most)" of one figure of a step's runs, given in seconds, in milliseconds.
std::string spread(const std::vector<Figures>& runs, const char* key) {
  std::vector<double> v;
  v.reserve(runs.size());
  for (const Figures& f : runs) v.push_back(get(f, key));
  if (v.empty()) return "-";
  const auto [least, most] = std::minmax_element(v.begin(), v.end());
  return milliseconds(median(v)) + " (" + milliseconds(*least) + "-" + milliseconds(*most) + ")";
}

// The columns of the table, header and rows alike.
constexpr const char* kColumns = "  %-16s %21s %8s %9s %8s %12s %11s %10s";

void printHeader() {
  std::printf(kColumns, "", "ms (least-most)", "MB/s", "inst/s", "x lexer", "peak B/inst", "own B/inst", "peak/file");
  std::printf("  target\n");
}

void printRow(const Row& r) {
  std::printf(kColumns, r.name.c_str(), r.seconds.c_str(), r.mbps.c_str(), r.instps.c_str(), r.timesLexer.c_str(),
              r.peakPerInst.c_str(), r.ownPerInst.c_str(), r.peakPerFile.c_str());
  if (r.targets.empty()) std::printf("\n");
  for (size_t i = 0; i < r.targets.size(); ++i) {
    if (i) std::printf(kColumns, "", "", "", "", "", "", "", "");
    std::printf("  %-22s %s\n", r.targets[i].what.c_str(), r.targets[i].met ? "met" : "NOT MET");
  }
}

// Measures one file, every step runs times in turn, and prints its part of the table.
// False if a step failed.
bool measure(const std::string& title, const std::string& path, int runs) {
  // How fast a load gets its huge pages was seen to depend on what ran just before it
  // (a load that has just ended leaves many free): each load follows a light step, and
  // the two loads swap places from one run to the next, so that neither row gains by
  // its place.
  const std::vector<std::string> even = {"lexer", "load1", "index", "load2"};
  const std::vector<std::string> odd = {"index", "load2", "lexer", "load1"};
  std::map<std::string, std::vector<Figures>> results;
  for (int run = 0; run < runs; ++run)
    for (const std::string& step : run % 2 ? odd : even) {
      Figures f = spawnStep(step, path);
      if (f.empty()) {
        std::printf("%s: the %s step failed\n", title.c_str(), step.c_str());
        return false;
      }
      f["growth"] = get(f, "peak") - get(f, "base");
      results[step].push_back(f);
    }
  const double bytes = static_cast<double>(fs::file_size(path));
  const double mb = bytes / 1e6;
  const Figures lexer = medians(results["lexer"]);
  const Figures index = medians(results["index"]);
  const Figures load1 = medians(results["load1"]);
  const Figures load2 = medians(results["load2"]);
  const double indexed = get(index, "instances");
  const double instances = get(load1, "instances") > 0 ? get(load1, "instances") : indexed;
  const double lexerSeconds = get(lexer, "seconds");

  // The figures every timed row has: speed, time over the lexer's, peak memory.
  auto timed = [&](const char* name, const char* step, const Figures& f, double n) {
    Row r;
    r.name = name;
    r.seconds = spread(results[step], "seconds");
    const double s = get(f, "seconds");
    r.mbps = fmt("%.1f", mb / s);
    if (n > 0) r.instps = perSecond(n / s);
    r.timesLexer = fmt("%.2f", s / lexerSeconds);
    r.peakPerInst = fmt("%.0f", get(f, "growth") / instances);
    r.peakPerFile = fmt("%.2f", get(f, "growth") / bytes);
    return r;
  };

  std::printf("\n%s: %.1f MB, %s instances, %.0f problems in the load; resident before a load %.1f MB (not counted)\n",
              title.c_str(), mb, grouped(instances).c_str(), get(load1, "problems"), get(load1, "base") / 1e6);
  printHeader();
  printRow(timed("bare lexer", "lexer", lexer, 0));

  Row idx = timed("index-only open", "index", index, indexed);
  idx.ownPerInst = fmt("%.1f", get(index, "own") / indexed);
  idx.targets.push_back(
      {fmt("time <= %.1fx lexer", kIndexTimesLexer), get(index, "seconds") <= kIndexTimesLexer * lexerSeconds});
  idx.targets.push_back({fmt("own <= %.0f B/inst", kIndexOwnPerInst), get(index, "own") <= kIndexOwnPerInst * indexed});
  printRow(idx);

  struct LoadRow {
    const char* name;
    const char* step;
    const Figures& figures;
    double timesLexer;
  };
  for (const LoadRow& l : {LoadRow{"load, 1 thread", "load1", load1, kLoad1TimesLexer},
                           LoadRow{"load, 2 threads", "load2", load2, kLoad2TimesLexer}}) {
    const double n = get(l.figures, "instances");
    Row r = timed(l.name, l.step, l.figures, n);
    r.ownPerInst = fmt("%.0f", get(l.figures, "own") / n);
    const double peak = get(l.figures, "growth");
    r.targets.push_back(
        {fmt("time <= %.1fx lexer", l.timesLexer), get(l.figures, "seconds") <= l.timesLexer * lexerSeconds});
    r.targets.push_back({fmt("peak <= %.0fx file", kPeakTimesFile), peak <= kPeakTimesFile * bytes});
    r.targets.push_back({fmt("peak <= %.0f B/inst", kPeakPerInst), peak <= kPeakPerInst * n});
    printRow(r);
  }

  Row save;
  save.name = "save";
  save.seconds = spread(results["load1"], "saveSeconds");
  const double saveSeconds = get(load1, "saveSeconds");
  const double saveMbps = get(load1, "savedBytes") / 1e6 / saveSeconds;
  save.mbps = fmt("%.1f", saveMbps);
  save.instps = perSecond(get(load1, "instances") / saveSeconds);
  save.targets.push_back({fmt(">= %.0f MB/s", kSaveMegabytesPerS), saveMbps >= kSaveMegabytesPerS});
  printRow(save);
  std::fflush(stdout);
  return true;
}

// The most frequent type names of a file, as shares of its records.
std::string frequentTypes(const std::string& bytes) {
  const QdSpfRecordIndex index = QdSpfRecordIndex::build(bytes);
  std::vector<uint64_t> perType(index.typeNames().size(), 0);
  for (const QdSpfRecordIndex::Record& r : index.records()) ++perType[r.type];
  std::vector<std::pair<uint64_t, size_t>> byCount;
  for (size_t t = 0; t < perType.size(); ++t) byCount.emplace_back(perType[t], t);
  std::sort(byCount.rbegin(), byCount.rend());
  std::string line = "  most frequent types:";
  for (size_t i = 0; i < byCount.size() && i < 8; ++i) {
    line += ' ';
    line += index.typeNames()[byCount[i].second];
    line += fmt(" %.1f%%", 100.0 * static_cast<double>(byCount[i].first) / static_cast<double>(index.size()));
  }
  return line;
}

// The large file's temporary copy, removed also when the run is interrupted.
char g_temp[4096];

void removeTempAndExit(int signal) {
  if (g_temp[0]) unlink(g_temp);
  _exit(128 + signal);
}

}  // namespace

int main(int argc, char** argv) {
  // glibc's heap on transparent huge pages, as qdifc runs (see cli/HugePages.h). The
  // steps' processes inherit the setting.
  if (!std::getenv("GLIBC_TUNABLES") && !std::getenv("QDIFC_NO_HUGE_PAGES")) {
    setenv("GLIBC_TUNABLES", "glibc.malloc.hugetlb=1", 1);
    execv("/proc/self/exe", argv);
    unsetenv("GLIBC_TUNABLES");
  }
  if (argc > 1 && std::strcmp(argv[1], "--step") == 0) {
    if (argc != 4) {
      std::fprintf(stderr, "usage: bench_load --step lexer|index|load1|load2 FILE\n");
      return 2;
    }
    return runStep(argv[2], argv[3]);
  }
  fs::path corpus = argc > 1 ? fs::path(argv[1]) : fs::path(QDIFC_BENCH_CORPUS_DIR);
  const size_t targetMb = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 100;
  const int runs = argc > 3 ? std::max(1, std::atoi(argv[3])) : 5;
  if (!fs::is_directory(corpus / "ifc4")) {
    std::printf("bench_load: no corpus at %s: nothing to measure\n", corpus.string().c_str());
    return 0;
  }

  std::printf(
      "Load, index-only open and save beside a bare lexer on the same bytes: medians of %d runs per row, the rows "
      "taking turns, each run in a fresh process on the file mapped from the page cache (heap pages: %s)\n",
      runs, std::getenv("GLIBC_TUNABLES") ? std::getenv("GLIBC_TUNABLES") : "default");
  std::printf(
      "  x lexer: time over the lexer's. peak: growth of the process's peak resident bytes (VmHWM) over the step, the "
      "mapped file's pages included.\n"
      "  own: heap growth with the result alive (mallinfo2 uordblks + hblkhd): the index, or the model alone. save is "
      "timed in the 1-thread load's process.\n");
  // The large file, written to a temporary file so that it is mapped as a real file is.
  const fs::path base = corpus / "ifc4" / "ISSUE_005_haus.ifc";
  int copies = 0;
  std::string big = repeated(readFile(base), targetMb * 1000000, &copies);
  const std::string types = frequentTypes(big);
  std::snprintf(g_temp, sizeof g_temp, "%s", (fs::temp_directory_path() / "bench_load_XXXXXX.ifc").c_str());
  std::signal(SIGINT, removeTempAndExit);
  std::signal(SIGTERM, removeTempAndExit);
  const int fd = mkstemps(g_temp, 4);
  const bool written = fd >= 0 && write(fd, big.data(), big.size()) == static_cast<ssize_t>(big.size());
  if (fd >= 0) close(fd);
  std::string().swap(big);  // the steps' processes have the memory to themselves
  bool ok =
      written && measure(base.filename().string() + " repeated " + std::to_string(copies) + " times", g_temp, runs);
  if (!written) std::printf("bench_load: cannot write %s\n", g_temp);
  if (ok) std::printf("%s\n", types.c_str());
  if (fd >= 0) unlink(g_temp);
  g_temp[0] = 0;

  std::vector<fs::path> files;
  for (const auto& e : fs::directory_iterator(corpus / "ifc4"))
    if (fs::file_size(e.path()) > 2000000) files.push_back(e.path());
  std::sort(files.begin(), files.end());
  for (const fs::path& f : files) ok = measure(f.filename().string(), f.string(), runs) && ok;
  return ok ? 0 : 1;
}
