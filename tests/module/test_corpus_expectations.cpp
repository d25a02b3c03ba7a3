// Every sample file read and written again, held against the committed expectation in
// corpus_expectations.txt: its instances per type, every problem (offset, line,
// instance, expected, found), and the size and hash of the text the writer gives.
// A change of the reader or the writer that alters any of them shows here, file by
// file. QDIFC_UPDATE_EXPECTATIONS=1 writes the file anew from this build (then read
// the diff before committing it).
#include <QdIfc4/Module.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

const fs::path kCorpus = QDIFC_TEST_CORPUS_DIR;
const fs::path kExpectations = fs::path(QDIFC_TEST_SOURCE_DIR) / "module" / "corpus_expectations.txt";

// 64-bit FNV-1a: enough to tell two written texts apart, and stable across builds.
uint64_t fnv1a(const std::string& text) {
  uint64_t h = 0xcbf29ce484222325ull;
  for (unsigned char c : text) h = (h ^ c) * 0x100000001b3ull;
  return h;
}

// What one file gives: a block of lines headed by its folder and name.
std::string describe(const fs::path& file) {
  QdIfcModel model(qdifcGetSchemaPointer());
  QdIfcLoadOptions options;
  options.acceptOtherSchemas = true;  // the lexical files declare IFC2X3
  QdIfcLoadReport report = qdIfcLoadFile(model, file.string(), options);
  std::ostringstream out;
  out << "file " << file.parent_path().filename().string() << "/" << file.filename().string() << "\n";
  for (const auto& [type, n] : report.counts) out << "  count " << type << " " << n << "\n";
  for (const QdSpfProblem& p : report.problems)
    out << "  problem @" << p.offset << " line " << p.line << " #" << p.instance << ": expected " << p.expected
        << ", found " << p.found << "\n";
  const std::string written = qdIfcSaveText(model);
  char hash[17];
  std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(fnv1a(written)));
  out << "  written " << written.size() << " bytes " << hash << "\n";
  return out.str();
}

std::vector<fs::path> sampleFiles() {
  std::vector<fs::path> files;
  for (const char* folder : {"ifc4", "lexical"}) {
    if (!fs::is_directory(kCorpus / folder)) continue;
    for (const auto& entry : fs::directory_iterator(kCorpus / folder))
      if (entry.path().extension() == ".ifc") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// The committed blocks, by their "file ..." heading.
std::vector<std::pair<std::string, std::string>> committedBlocks() {
  std::ifstream in(kExpectations);
  std::vector<std::pair<std::string, std::string>> blocks;
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("file ", 0) == 0) blocks.emplace_back(line, "");
    if (!blocks.empty()) blocks.back().second += line + "\n";
  }
  return blocks;
}

class CorpusExpectations : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qdGetModuleLifeCycleApp()->start()); }
  void TearDown() override { qdGetModuleLifeCycleApp()->stop(); }
};

}  // namespace

TEST_F(CorpusExpectations, EveryFileReadsAndWritesAsCommitted) {
  const std::vector<fs::path> files = sampleFiles();
  if (files.empty()) GTEST_SKIP() << "no sample files at " << kCorpus;
  if (const char* update = std::getenv("QDIFC_UPDATE_EXPECTATIONS"); update && std::string(update) == "1") {
    std::ofstream out(kExpectations);
    for (const fs::path& f : files) out << describe(f);
    GTEST_SKIP() << "wrote " << kExpectations;
  }
  const auto blocks = committedBlocks();
  ASSERT_FALSE(blocks.empty()) << "no expectations at " << kExpectations;
  size_t matched = 0;
  for (const fs::path& f : files) {
    const std::string now = describe(f);
    const std::string heading = now.substr(0, now.find('\n'));
    auto it = std::find_if(blocks.begin(), blocks.end(), [&](const auto& b) { return b.first == heading; });
    if (it == blocks.end()) {
      ADD_FAILURE() << "no expectation for " << heading << "; this build gives:\n" << now;
      continue;
    }
    EXPECT_EQ(now, it->second);
    ++matched;
  }
  EXPECT_EQ(matched, blocks.size()) << "expectations for files the corpus no longer has";
}
