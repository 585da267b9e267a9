// vesk export of what the loader writes.

#include <gmock/gmock.h>

#include <charconv>
#include <sstream>

#include "card_case.h"

namespace vesk_e2e {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using vesk_files::DatasetKind;

class Export : public CardCase {
 protected:
  using Strings = std::vector<std::string>;

  Export() { outputFile = "d.bin"; }

  std::string exported(const Strings& options = {}, const std::string& dataset = "d.bin") {
    Strings arguments{"export", dataset};
    arguments.insert(arguments.end(), options.begin(), options.end());
    result = runOther("vesk", arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
  /// The triples of entries of a dataset in one file.
  std::vector<std::vector<double>> entries(const std::string& name) const {
    std::vector<std::vector<double>> all;
    const std::vector<double> triples = numbers(name);
    for (std::size_t i = 0; i < triples.size(); i += 3) {
      const bool isHeader = i == 0 || triples[i] != triples[i - 3];
      const bool isFooter = i + 3 == triples.size() || triples[i] != triples[i + 3];
      if (!isHeader && !isFooter) all.push_back({triples[i], triples[i + 1], triples[i + 2]});
    }
    return all;
  }
  /// The numbers of the lines after the first, at the places that are named.
  static std::vector<std::vector<double>> cellsOf(const std::string& csv) {
    std::vector<std::vector<double>> all;
    std::istringstream lines(csv);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
      all.emplace_back();
      const char* at = line.data();
      while (at < line.data() + line.size()) {
        const auto [end, error] = std::from_chars(at, line.data() + line.size(), all.back().emplace_back());
        EXPECT_EQ(error, std::errc()) << line;
        at = end + 1;
      }
    }
    return all;
  }
};

TEST_F(Export, OfPairSumsHasEveryPair) {
  load("Output Sparse; op PairSum 2");
  const std::string csv = exported();
  EXPECT_THAT(csv, StartsWith("caller,callee,weight\n1,2,1\n1,3,1\n1,4,1\n2,1,1\n"));
  EXPECT_EQ(cellsOf(csv), entries("d.bin"));
  EXPECT_EQ(cellsOf(csv).size(), 600U);
}

TEST_F(Export, OfATableHasEveryContact) {
  load("Output Sparse; CyclicTableSize 5; op CyclicAdd 2; op CyclicAddPayload 2");
  std::vector<std::vector<double>> contacts = entries("d.bin");
  for (std::vector<double>& entry : contacts) entry.erase(entry.begin() + 1);
  EXPECT_EQ(cellsOf(exported()), contacts);
  EXPECT_EQ(cellsOf(exported({}, "d.bin_payload_1")), entries("d.bin_payload_1"));
  EXPECT_THAT(exported({"--wide"}), StartsWith("caller,callee_1,callee_2,callee_3\n1,2,3,4\n2,1,3,4\n"));
}

TEST_F(Export, OfSumsHasThePositionsOfTheOutput) {
  load("Output Sparse; op Count 2 2; op Add 2 4");
  EXPECT_THAT(exported(), StartsWith("caller,position,value\n1,1,3\n1,2,0\n1,3,9\n2,1,3\n"));
  EXPECT_EQ(cellsOf(exported()), entries("d.bin"));
  EXPECT_THAT(exported({"--wide"}), StartsWith("caller,value_1,value_2,value_3\n1,3,0,9\n2,3,0,8\n"));
}

TEST_F(Export, OfDenseRecordsIsTheirNumbers) {
  load("Output Dense; CyclicTableSize 4; op CyclicAdd 2");
  EXPECT_THAT(exported(), StartsWith("Col0,Col1,Col2,Col3,Col4\n1,2,3,4,0\n2,1,3,4,0\n"));
}

TEST_F(Export, OfPartsHasAllCallersWithTheCard) {
  load("Output Sparse; op PairSum 2");
  std::vector<std::vector<double>> whole = cellsOf(exported());
  std::filesystem::remove(path("d.bin"));
  std::filesystem::remove(path("d.bin.info"));
  load("Output Sparse; op PairSum 2; NumberOfPartitions 3");
  writeCardOf("d.bin", DatasetKind::PairSum, 3);
  std::vector<std::vector<double>> parts = cellsOf(exported({"--verify"}));
  EXPECT_NE(parts, whole);
  std::sort(parts.begin(), parts.end());
  EXPECT_EQ(parts, whole);
  changeBit("d.bin.2");
  result = runOther("vesk", {"export", "d.bin", "--verify"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, StartsWith("vesk: d.bin.2: the SHA-256 of the file is not that of its card; "));
}

TEST_F(Export, OfALargeDatasetNeedsLittleMemory) {
  std::vector<double> triples;
  for (int caller = 1; caller <= 400'000; ++caller) {
    const double key = caller;
    triples.insert(triples.end(), {key, 0, 3, key, 7, 1, key, 8, 1, key, 9, 1, key, 0, 7788});
  }
  writeNumbers("d.bin", triples);
  writeFile("d.bin.info", "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
#ifndef __SANITIZE_ADDRESS__
  limits.memoryBytes = rlim_t{40} << 20;  // the file has 48 MB
#endif
  for (const char* form : {"--wide", "--tsv"}) {
    result = runOther("vesk", {"export", "d.bin", "-o", "out.csv", form});
    EXPECT_EQ(result.status, 0) << result.err;
  }
  EXPECT_THAT(content("out.csv"), EndsWith("\n400000\t8\t1\n400000\t9\t1\n"));
}

TEST_F(Export, ThatFailsLeavesNoOutput) {
  load("Output Sparse; op PairSum 2");
  limits.fileBytes = 1000;
  result = runOther("vesk", {"export", "d.bin", "-o", "out.csv"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.err, StartsWith("vesk: cannot write out.csv"));
  EXPECT_THAT(files(), ::testing::Not(::testing::Contains(HasSubstr("out.csv"))));
  limits = {};
  limits.brokenPipe = true;
  result = runOther("vesk", {"export", "d.bin"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.err, StartsWith("vesk: cannot write standard output"));
}

}  // namespace
}  // namespace vesk_e2e
