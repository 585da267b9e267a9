#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;

class TopRun : public ::testing::Test {
 protected:
  ProgramRun run(const std::string& program, const Strings& arguments) {
    return runProgram(program, arguments, folder.path());
  }
  static Strings linesOf(const std::string& text) {
    Strings lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }

  TemporaryFolder folder;
};

// From a CSV file to the list, by the programs that a user runs. The ids of the list are those of the CSV file, and the
// order is that of the energies.
TEST_F(TopRun, MakesAListOfACsvFile) {
  ASSERT_EQ(run("vesk-generate", {"-n", "20000", "-c", "600", "--group-count", "40", "--csv", "-q", "-o", "calls.csv"})
                .status,
            0);
  const ProgramRun converted = run("vesk", {"convert", "calls.csv", "-o", "calls", "--caller", "caller", "--callee",
                                            "callee", "--time", "start", "--count", "calls", "--ids", "ids.map"});
  ASSERT_EQ(converted.status, 0) << converted.err;
  ASSERT_EQ(run("vesk-loader", {"datafile", "./calls", "calls.xml", "none", "table.bin", "2", "20203001"}).status, 0);
  ASSERT_EQ(run("vesk-loader", {"datafile", "./calls", "calls.pairs.xml", "none", "pairs.bin", "0"}).status, 0);
  folder.write("seeds.txt", "+4915100000001\n\"+49 151 0000 0007\"\n+4915100000003\n");
  ASSERT_EQ(run("vesk", {"ids", "ids.map", "--to-numbers", "seeds.txt", "--no-header", "--column", "1", "-o", "seeds"})
                .status,
            0);
  ASSERT_EQ(run("vesk-analyze", {"diffusion", "-", "pairs.bin", "--strict", "--set", "Seed=seeds", "--set",
                                 "OutputFileName=energy.csv"})
                .status,
            0);
  folder.write(
      "groups.xml",
      "<AnalysisParams><OutputFileName>found</OutputFileName><OutputFormat>CSV</OutputFormat>"
      "<MaxClusterSize>15</MaxClusterSize><KernelParams><KernelType>Friends</KernelType>"
      "<FilterSimilarities>1</FilterSimilarities><isSparseData>1</isSparseData><IsSparseKernel>1</IsSparseKernel>"
      "<SparsityLevel>0.7</SparsityLevel><NormalizingFactor>600</NormalizingFactor></KernelParams></AnalysisParams>\n");
  ASSERT_EQ(run("vesk-analyze", {"groups", "groups.xml", "table.bin"}).status, 0);
  const ProgramRun top =
      run("vesk", {"top", "energy.csv", "--groups", "found_1.nodes.csv", "--seeds", "seeds.txt", "--dataset",
                   "pairs.bin", "--ids", "ids.map", "-n", "50", "--per-group", "3", "-o", "list.csv"});
  ASSERT_EQ(top.status, 0) << top.err;
  EXPECT_EQ(top.err, "");
  EXPECT_THAT(top.out, StartsWith("list.csv: 50 of 600 subscribers; 3 of 3 seeds are among them\n"));
  const Strings lines = linesOf(folder.read("list.csv"));
  ASSERT_EQ(lines.size(), 51U);
  double previous = 1e9;
  std::map<std::string, int> members;
  int contacts = 0;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    Strings cells;
    std::istringstream stream(lines[i]);
    for (std::string cell; std::getline(stream, cell, ',');) cells.push_back(cell);
    ASSERT_EQ(cells.size(), 8U) << lines[i];
    EXPECT_THAT(cells[1], StartsWith("+49"));
    EXPECT_NE(cells[1], "+4915100000001");
    EXPECT_LE(std::stod(cells[2]), previous);
    previous = std::stod(cells[2]);
    if (!cells[4].empty()) {
      EXPECT_LE(++members[cells[4]], 3);
    }
    contacts += std::stoi(cells[7]);
  }
  EXPECT_GT(members.size(), 3U);
  EXPECT_GT(contacts, 10);
}

TEST_F(TopRun, AHyphenIsStandardOutput) {
  folder.write("energy.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n1,0.5,1\n2,0.25,2\n");
  const ProgramRun plain = run("vesk", {"top", "energy.csv"});
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_THAT(plain.out, StartsWith("rank,id,energy,lift"));
  EXPECT_EQ(run("vesk", {"top", "energy.csv", "-o", "-"}).out, plain.out);
  EXPECT_FALSE(folder.has("-"));
  EXPECT_EQ(run("vesk", {"convert", "energy.csv", "-o", "-", "--caller", "1", "--callee", "2"}).status, 1);
  EXPECT_FALSE(folder.has("-"));
}

TEST_F(TopRun, SaysWhatIsMissing) {
  folder.write("e.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n1,1,1\n2,2,1\n");
  folder.write("s", "1\n");
  const ProgramRun run1 = run("vesk", {"top", "e.csv", "--seeds", "s"});
  EXPECT_EQ(run1.status, 0);
  EXPECT_EQ(run1.out, "rank,id,energy,lift,group,leader_1,leader_2,seed_contacts\n1,2,2,2,,,,\n");
  EXPECT_EQ(run1.err,
            "vesk: seed_contacts is empty: --dataset with the pair sums of the diffusion is needed to count them\n");
  EXPECT_EQ(run("vesk", {"top", "e.csv", "--per-group", "3"}).status, 1);
  EXPECT_EQ(run("vesk", {"top", "e.csv", "--dataset", "d"}).status, 1);
  EXPECT_EQ(run("vesk", {"top", "e.csv", "--by", "size"}).status, 1);
  EXPECT_EQ(run("vesk", {"top", "e.csv", "-n", "0"}).status, 1);
  EXPECT_EQ(run("vesk", {"top", "s"}).status, 3);
  EXPECT_EQ(run("vesk", {"top", "e.csv", "--ids", "none"}).err, "vesk: none does not exist, or is empty\n");
  EXPECT_THAT(run("vesk", {"top", "--help"}).out, HasSubstr("Example:\n  vesk top energy.csv --groups"));
}

// A list of files of different runs looks like one of a single run, so each of them is refused.
TEST_F(TopRun, RefusesFilesOfAnotherRun) {
  folder.write("e.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n1,1,1\n2,2,1\n");
  folder.write("s", "1\n");
  const auto refusal = [&](const Strings& options) {
    Strings arguments = {"top", "e.csv", "-o", "list.csv"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProgramRun top = run("vesk", arguments);
    EXPECT_EQ(top.status, 3);
    EXPECT_FALSE(folder.has("list.csv"));
    return top.err;
  };
  folder.write("n.csv", "NodeNumber,GroupNumber,IsGroupLeaderType1,IsGroupLeaderType2\n8,1,1,0\n9,1,0,1\n");
  EXPECT_EQ(refusal({"--groups", "n.csv"}), "vesk: n.csv has no subscriber of e.csv; the two are of different calls\n");
  folder.write("calls", "8 9\n9 8\n");
  folder.write(
      "p.xml",
      "<LoaderParams><Field1><Name>a</Name><Type>Numeric</Type><Start>1</Start><End>1</End></Field1>"
      "<Field2><Name>b</Name><Type>Numeric</Type><Start>3</Start><End>3</End></Field2><Key>1</Key>"
      "<Output>Sparse</Output><Operation1><OpName>PairSum</OpName><Input>2</Input></Operation1></LoaderParams>");
  ASSERT_EQ(run("vesk-loader", {"datafile", "./calls", "p.xml", "none", "pairs.bin", "0"}).status, 0);
  EXPECT_EQ(refusal({"--seeds", "s", "--dataset", "pairs.bin"}),
            "vesk: pairs.bin has none of the seeds; it is not the dataset of e.csv\n");
  folder.write("e.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n1,1,1\n2,2,1\n1,3,1\n");
  EXPECT_EQ(refusal({}), "vesk: e.csv has two rows of subscriber 1\n");
}

TEST_F(TopRun, WritesOverNoFileThatItReads) {
  folder.write("e.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n1,1,1\n2,2,1\n");
  folder.write("s", "1\n");
  for (const char* name : {"d.bin.0", "d.bin.1", "d.bin.info", "d.card.json", "e.csv", "s"}) {
    if (!folder.has(name)) folder.write(name, "kept");
    const std::string before = folder.read(name);
    const ProgramRun top = run("vesk", {"top", "e.csv", "--seeds", "s", "--dataset", "d.bin", "-o", name});
    EXPECT_EQ(top.status, 1) << name;
    EXPECT_EQ(top.err, "vesk: the output " + std::string(name) + " would take the place of " + name + "\n");
    EXPECT_EQ(folder.read(name), before);
  }
  folder.write("m-journal", "kept");
  EXPECT_EQ(run("vesk", {"top", "e.csv", "--ids", "m", "-o", "m-journal"}).err,
            "vesk: the output m-journal would take the place of m-journal\n");
}

TEST_F(TopRun, NamesTheFileThatIsMissing) {
  folder.write("e.csv", "Number,DA_DiffusedEnergy,WeightedInDegree\n1,1,1\n2,2,1\n");
  folder.write("s", "1\n");
  for (const Strings& options : {Strings{"nope"},
                                 {"e.csv", "--groups", "nope"},
                                 {"e.csv", "--seeds", "nope"},
                                 {"e.csv", "--seeds", "s", "--dataset", "nope"}}) {
    Strings arguments = {"top"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProgramRun top = run("vesk", arguments);
    EXPECT_EQ(top.status, 3);
    EXPECT_THAT(top.err, HasSubstr("nope"));
    EXPECT_THAT(top.err, HasSubstr("No such file or directory\n"));
  }
  const ProgramRun rows = run("vesk", {"top", "e.csv", "-n", "-1"});
  EXPECT_EQ(rows.status, 1);
  EXPECT_EQ(rows.err, "vesk: --rows: [-1] is no whole number of at least 1\n");
}

}  // namespace
}  // namespace vesk_e2e
