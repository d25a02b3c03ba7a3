// Every sample file of each edition read with that edition's module and written again,
// held against the committed expectation corpus_<edition>.txt: its instances per type,
// every problem (offset, line, instance, expected, found), every finding of the
// schema's rules, and the size and hash of the text the writer gives; the written text
// read again gives the same text. A change of the reader, the writer, the rules or a
// module's data that alters any of them shows here, file by file.
// QDIFC_UPDATE_EXPECTATIONS=1 writes the files anew from this build (then read the diff
// before committing it).
#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>
#include <QdIfcCore/QdIfcValidate.h>
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

struct Edition {
  const char* schema;
  const char* module;
  std::vector<const char*> folders;  // of the corpus
  const char* expectations;          // beside this file
};

const Edition kEditions[] = {
    {"IFC4", QDIFC_TEST_MODULE_PATH, {"ifc4", "lexical"}, "corpus_ifc4.txt"},
    {"IFC2X3", QDIFC_TEST_IFC2X3_PATH, {"ifc2x3"}, "corpus_ifc2x3.txt"},
    {"IFC4X3_ADD2", QDIFC_TEST_IFC4X3_PATH, {"ifc4x3"}, "corpus_ifc4x3.txt"},
};

// 64-bit FNV-1a: enough to tell two written texts apart, and stable across builds.
uint64_t fnv1a(const std::string& text) {
  uint64_t h = 0xcbf29ce484222325ull;
  for (unsigned char c : text) h = (h ^ c) * 0x100000001b3ull;
  return h;
}

// What one file gives: a block of lines headed by its folder and name; with the whole
// written text instead of its hash when whole is set.
std::string describe(QdIfcSchema* schema, const fs::path& file, unsigned threads = 1, bool whole = false) {
  QdIfcModel model(schema);
  QdIfcLoadOptions options;
  options.acceptOtherSchemas = true;  // the lexical files declare IFC2X3 and are read as IFC4
  options.threads = threads;
  QdIfcLoadReport report = qdIfcLoadFile(model, file.string(), options);
  std::ostringstream out;
  out << "file " << file.parent_path().filename().string() << "/" << file.filename().string() << "\n";
  for (const auto& [type, n] : report.counts) out << "  count " << type << " " << n << "\n";
  for (const QdSpfProblem& p : report.problems)
    out << "  problem @" << p.offset << " line " << p.line << " #" << p.instance << ": expected " << p.expected
        << ", found " << p.found << "\n";
  for (const QdIfcFinding& f : qdIfcValidate(model)) out << "  finding " << qdIfcDescribe(f) << "\n";
  const std::string written = qdIfcSaveText(model);
  char hash[17];
  std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(fnv1a(written)));
  out << "  written " << written.size() << " bytes " << hash << "\n";
  if (whole) out << written;

  // What was written reads back to the same text: the writer claims nothing it did not read.
  QdIfcModel again(schema);
  qdIfcLoad(again, written, options);
  if (qdIfcSaveText(again) != written) out << "  written text reads back to another text\n";
  return out.str();
}

std::vector<fs::path> sampleFiles(const Edition& e) {
  std::vector<fs::path> files;
  for (const char* folder : e.folders) {
    if (!fs::is_directory(kCorpus / folder)) continue;
    for (const auto& entry : fs::directory_iterator(kCorpus / folder))
      if (entry.path().extension() == ".ifc") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// The committed blocks, by their "file ..." heading.
std::vector<std::pair<std::string, std::string>> committedBlocks(const fs::path& path) {
  std::ifstream in(path);
  std::vector<std::pair<std::string, std::string>> blocks;
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("file ", 0) == 0) blocks.emplace_back(line, "");
    if (!blocks.empty()) blocks.back().second += line + "\n";
  }
  return blocks;
}

class CorpusExpectations : public ::testing::TestWithParam<Edition> {};

}  // namespace

TEST_P(CorpusExpectations, EveryFileReadsAndWritesAsCommitted) {
  const Edition& e = GetParam();
  const std::vector<fs::path> files = sampleFiles(e);
  if (files.empty()) GTEST_SKIP() << "no sample files of " << e.schema << " at " << kCorpus;
  QdIfcModule module;
  ASSERT_TRUE(module.load(e.module)) << module.error();
  ASSERT_STREQ(module.schema()->name(), e.schema);

  const fs::path expectations = fs::path(QDIFC_TEST_SOURCE_DIR) / "editions" / e.expectations;
  if (const char* update = std::getenv("QDIFC_UPDATE_EXPECTATIONS"); update && std::string(update) == "1") {
    std::ofstream out(expectations);
    for (const fs::path& f : files) out << describe(module.schema(), f);
    GTEST_SKIP() << "wrote " << expectations;
  }
  const auto blocks = committedBlocks(expectations);
  ASSERT_FALSE(blocks.empty()) << "no expectations at " << expectations;
  size_t matched = 0;
  for (const fs::path& f : files) {
    const std::string now = describe(module.schema(), f);
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

INSTANTIATE_TEST_SUITE_P(Editions, CorpusExpectations, ::testing::ValuesIn(kEditions),
                         [](const auto& info) { return std::string(info.param.schema); });

// The parallel reader gives the serial reader's model, file by file: the same instances
// per type, every attribute written back byte for byte, the same problems in the same
// order with the same offsets, lines and texts, the same findings (inverses included).
TEST_P(CorpusExpectations, ReadingWithSeveralThreadsGivesTheSameModel) {
  const Edition& e = GetParam();
  const std::vector<fs::path> files = sampleFiles(e);
  if (files.empty()) GTEST_SKIP() << "no sample files of " << e.schema << " at " << kCorpus;
  QdIfcModule module;
  ASSERT_TRUE(module.load(e.module)) << module.error();
  for (const fs::path& f : files) {
    const std::string serial = describe(module.schema(), f, 1, true);
    for (unsigned threads : {2u, 3u}) {
      const std::string parallel = describe(module.schema(), f, threads, true);
      if (parallel != serial) {
        // The first line that differs, not the whole of two long texts.
        size_t at = 0;
        while (at < serial.size() && at < parallel.size() && serial[at] == parallel[at]) ++at;
        const size_t line = serial.rfind('\n', at) == std::string::npos ? 0 : serial.rfind('\n', at) + 1;
        ADD_FAILURE() << f << " with " << threads
                      << " threads differs at:\n  serial:   " << serial.substr(line, serial.find('\n', at) - line)
                      << "\n  parallel: " << parallel.substr(line, parallel.find('\n', at) - line);
      }
    }
  }
}
