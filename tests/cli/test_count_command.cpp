// qdifc count: the record index alone gives what a full load gives, instance for
// instance, on every sample file a load reads without problems, of every edition; and
// it finds one record's text and the records of one type.
#include "RunQdifc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const fs::path kCorpus = QDIFC_TEST_CORPUS_DIR;

// The "  N<TAB>Type" lines of load's or count's output, sorted.
std::vector<std::string> countLines(const std::string& out) {
  std::vector<std::string> lines;
  std::istringstream in(out);
  for (std::string line; std::getline(in, line);)
    if (line.size() > 2 && line[0] == ' ' && line.find('\t') != std::string::npos) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace

TEST(CountCommand, TheIndexCountsWhatALoadReads) {
  int compared = 0;
  for (const char* edition : {"ifc4", "ifc2x3", "ifc4x3"}) {
    if (!fs::is_directory(kCorpus / edition)) continue;
    for (const auto& entry : fs::directory_iterator(kCorpus / edition)) {
      const std::string path = entry.path().string();
      const CommandResult load = qdifc("load '" + path + "'");
      if (load.status != 0 || load.out.find(", 0 problems\n") == std::string::npos) continue;
      const CommandResult count = qdifc("count '" + path + "'");
      ASSERT_EQ(count.status, 0) << count.out;
      EXPECT_EQ(countLines(count.out), countLines(load.out)) << path;
      EXPECT_NE(count.out.find(", 0 problems in the index"), std::string::npos) << count.out;
      ++compared;
    }
  }
  if (compared == 0) GTEST_SKIP() << "no sample files at " << kCorpus;
  EXPECT_GE(compared, 20);
}

TEST(CountCommand, FindsOneRecordAndTheRecordsOfAType) {
  const fs::path demo = fs::temp_directory_path() / "qdifc_count_demo.ifc";
  ASSERT_EQ(qdifc("demo '" + demo.string() + "'").status, 0);
  const CommandResult walls = qdifc("count '" + demo.string() + "' --type ifcwall");
  ASSERT_EQ(walls.status, 0) << walls.out;
  ASSERT_EQ(walls.out[0], '#');
  const std::string first = walls.out.substr(0, walls.out.find('\n'));
  const CommandResult record = qdifc("count '" + demo.string() + "' '" + first + "'");
  EXPECT_EQ(record.status, 0);
  EXPECT_EQ(record.out.rfind(first + "=IFCWALL(", 0), 0u) << record.out;
  EXPECT_EQ(record.out.substr(record.out.size() - 3), ");\n");

  // --read: the wall as show prints it, from fewer records than the file has.
  const CommandResult read = qdifc("count '" + demo.string() + "' '" + first + "' --read");
  const CommandResult shown = qdifc("show '" + demo.string() + "' '" + first + "'");
  ASSERT_EQ(read.status, 0) << read.out;
  const std::string attributes = read.out.substr(0, read.out.find("read "));
  // The inverses of the wall link only the records read: compare the forward attributes.
  auto forward = [](const std::string& text) {
    std::string out, line;
    for (std::istringstream in(text); std::getline(in, line);)
      if (line.find("(inverse)") == std::string::npos) out += line + "\n";
    return out;
  };
  EXPECT_EQ(forward(attributes), forward(shown.out));
  const CommandResult counted = qdifc("count '" + demo.string() + "'");
  const size_t records = std::stoul(counted.out.substr(counted.out.find(": ") + 2));
  const size_t took = std::stoul(read.out.substr(read.out.find("read ") + 5));
  EXPECT_GT(took, 1u);
  EXPECT_LT(took, records);
  EXPECT_EQ(qdifc("count '" + demo.string() + "' --read").status, 2);

  EXPECT_EQ(qdifc("count '" + demo.string() + "' '#999999'").status, 1);
  EXPECT_EQ(qdifc("count '" + demo.string() + "' --type IfcNoSuchType").status, 1);
  EXPECT_EQ(qdifc("count '" + demo.string() + "' '#1' --type IfcWall").status, 2);
  EXPECT_EQ(qdifc("count /no/such/file.ifc").status, 1);
  fs::remove(demo);
}
