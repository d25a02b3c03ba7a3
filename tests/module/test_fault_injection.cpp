// The corpus files damaged on purpose: cut short, single bytes changed, records deleted
// or written twice. Loading never crashes, every problem has a place in the file, and
// every record that ends before the damage is kept with the text it had when the
// intact file was read; a deleted or repeated record changes nothing else. The
// ordinary run spends a few seconds; QDIFC_FAULT_CASES=N gives every file N cases.
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

struct Span {
  uint64_t id;
  size_t begin, end;  // end: past the ';'
};

// The data records of a file, found by their '#' and the ';' outside strings and
// comments that ends them.
std::vector<Span> recordsOf(const std::string& b) {
  std::vector<Span> out;
  size_t start = std::string::npos;
  for (size_t i = b.find("DATA;"); i < b.size(); ++i) {
    if (b[i] == '\'') {
      for (++i; i < b.size() && b[i] != '\''; ++i)
        if (b.compare(i, 3, "\\S\\") == 0) i += 3;
    } else if (b.compare(i, 2, "/*") == 0) {
      i = std::min(b.find("*/", i + 2), b.size()) + 1;
    } else if (b[i] == '#' && start == std::string::npos) {
      start = i;
    } else if (b[i] == ';' && start != std::string::npos) {
      out.push_back({std::strtoull(b.c_str() + start + 1, nullptr, 10), start, i + 1});
      start = std::string::npos;
    }
  }
  return out;
}

class FaultInjection : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qdGetModuleLifeCycleApp()->start()); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }

  // Loads bytes; every problem must lie inside them. Gives each instance's record as
  // the writer writes it, and the number of problems.
  static std::map<uint64_t, std::string> load(const std::string& bytes, size_t* problems = nullptr) {
    QdIfcModel model(qdifcGetSchemaPointer());
    QdIfcLoadOptions options;
    options.acceptOtherSchemas = true;
    QdIfcLoadReport r = qdIfcLoad(model, bytes, options);
    for (const QdSpfProblem& p : r.problems) {
      EXPECT_LE(p.offset, bytes.size()) << r.describe(p);
      EXPECT_GE(p.line, 1u) << r.describe(p);
    }
    if (problems) *problems = r.problems.size();
    std::map<uint64_t, std::string> records;
    const std::string text = qdIfcSaveText(model);
    for (const Span& s : recordsOf(text)) records[s.id] = text.substr(s.begin, s.end - s.begin);
    return records;
  }
};

}  // namespace

TEST_F(FaultInjection, DamagedCorpusFilesKeepWhatCameBeforeTheDamage) {
  const fs::path corpus = QDIFC_TEST_CORPUS_DIR;
  if (!fs::is_directory(corpus / "ifc4")) GTEST_SKIP() << "no corpus at " << corpus;
  const char* cases = std::getenv("QDIFC_FAULT_CASES");
  const size_t perFile = cases ? std::strtoul(cases, nullptr, 10) : 0;
  const char kSharp[] = "'();#,/*\\\"$.=\n";
  auto started = std::chrono::steady_clock::now();
  size_t total = 0;
  for (const char* folder : {"ifc4", "lexical", "other-schemas"}) {
    for (const auto& entry : fs::directory_iterator(corpus / folder)) {
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string intact((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      size_t intactProblems = 0;
      const std::map<uint64_t, std::string> kept = load(intact, &intactProblems);
      const std::vector<Span> spans = recordsOf(intact);
      if (spans.empty()) continue;
      // The ordinary run reads about 2 MB per file, and each file at least once.
      const size_t n = perFile ? perFile : std::clamp<size_t>((2u << 20) / intact.size(), 1, 24);
      std::mt19937_64 random(intact.size());
      for (size_t i = 0; i < n; ++i, ++total) {
        std::string damaged = intact;
        size_t at = random() % intact.size();
        const Span& s = spans[random() % spans.size()];
        const int kind = static_cast<int>(i % 4);
        std::ostringstream what;
        if (kind == 0) {
          damaged.resize(at);
          what << "cut at " << at;
        } else if (kind == 1) {
          damaged[at] = random() % 2 ? kSharp[random() % (sizeof kSharp - 1)] : static_cast<char>(random());
          what << "byte " << at << " made " << int(static_cast<unsigned char>(damaged[at]));
        } else if (kind == 2) {
          damaged.erase(s.begin, s.end - s.begin);
          at = s.begin;
          what << "#" << s.id << " deleted";
        } else {
          damaged.insert(s.end, intact, s.begin, s.end - s.begin);
          at = s.end;
          what << "#" << s.id << " written twice";
        }
        SCOPED_TRACE(entry.path().filename().string() + ": " + what.str());
        size_t problems = 0;
        std::map<uint64_t, std::string> read = load(damaged, &problems);
        if (kind >= 2 && kept.count(s.id)) {
          // A record deleted or repeated: everything else is read as it was.
          std::map<uint64_t, std::string> expected = kept;
          if (kind == 2) expected.erase(s.id);
          EXPECT_EQ(read, expected);
          if (kind == 3) {
            EXPECT_EQ(problems, intactProblems + 1);
          }
          continue;
        }
        for (const Span& before : spans) {
          if (before.end > at) break;
          auto k = kept.find(before.id);
          if (k == kept.end()) continue;
          auto r = read.find(before.id);
          ASSERT_TRUE(r != read.end()) << "#" << before.id << " lost";
          ASSERT_EQ(r->second, k->second);
        }
      }
    }
  }
  std::printf("fault injection: %zu cases in %.1f s\n", total,
              std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
}
