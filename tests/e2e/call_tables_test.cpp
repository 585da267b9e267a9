// From calls to a table: the sums of the loader in partitions, the groups and energies of vesk-analyze and a CSV file
// of outcomes are joined to one table. The test counts the calls and reads the files itself to compare.

#include <sstream>

#include "groups_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;

constexpr double missing = -99999.0;

class CallTables : public GroupsCase {
 protected:
  using Rows = std::map<double, std::vector<double>>;

  struct Call {
    std::uint64_t caller;
    std::uint64_t callee;
    std::uint64_t seconds;
  };

  CallTables() {
    std::uint64_t seconds = 7;
    for (const auto& [caller, list] : cliques(12)) {
      for (const std::uint64_t contact : list) {
        for (std::uint64_t i = 0; i <= contact % 3; ++i) {
          seconds = (seconds * 31 + 17) % 997;
          calls.push_back({caller, contact, seconds});
        }
      }
    }
  }

  void load(const std::string& operations, const std::string& output) {
    Strings lines;
    for (const Call& call : calls) {
      std::ostringstream line;
      for (const std::uint64_t field : {call.caller, call.callee, call.seconds}) {
        line.width(5);
        line << field;
      }
      lines.push_back(line.str());
    }
    LoaderCase::records("a", lines);
    parameters("fields 1-5 6-10 11-15; Key 1; Output Sparse; " + operations);
    outputFile = output;
    LoaderCase::run();
    ASSERT_EQ(result.status, 0) << result.out;
  }
  ProgramRun table(const Strings& arguments) {
    Strings all{"table"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runOther("vesk", all);
  }
  /// The rows of a CSV file of numbers by their first cell.
  Rows csvRows(const std::string& name) const {
    Rows rows;
    std::istringstream text(content(name));
    std::string line;
    std::getline(text, line);
    while (std::getline(text, line)) {
      std::istringstream cells(line);
      std::vector<double> numbers;
      for (std::string cell; std::getline(cells, cell, ',');) numbers.push_back(std::stod(cell));
      rows[numbers.front()].assign(numbers.begin() + 1, numbers.end());
    }
    return rows;
  }

  std::vector<Call> calls;
};

TEST_F(CallTables, HaveTheValuesOfTheCallsAndTheFiles) {
  // The sums of each caller. Output 1 is never written.
  load("op Count 2 1; op Count 2 2; op Add 3 3; op Count 3 4 GE 500; NumberOfPartitions 3", "sums");
  ASSERT_TRUE(exists("sums.2"));
  const ProgramRun rows = table({"rows", "sums", "month", "--columns", "3:long,1:calls,2:seconds"});
  ASSERT_EQ(rows.status, 0) << rows.err;

  // Groups, energies and outcomes.
  Contacts contacts;
  for (const auto& [caller, list] : cliques(12)) contacts[caller] = list;
  contacts.erase(44);
  dataset(contacts);
  expectGroups(1);
  ASSERT_TRUE(exists("found_1.nodes.csv"));
  load("op PairSum 2", "pairs");
  writeFile("seeds", "11\n22\n");
  writeFile("diffusion.xml",
            "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n</AnalysisParams>\n");
  ASSERT_EQ(runOther("vesk-analyze", {"diffusion", "diffusion.xml", "pairs"}).status, 0);
  writeFile("known.csv", "caller,left\r\n11,yes\r\n12,no\r\n999,yes\r\n");

  const ProgramRun join = table({"join", "month", "all", "--key", "caller", "--with", "found_1.nodes.csv:group_",
                                 "--with", "energy.csv:energy_", "--with", "known.csv", "--target", "left"});
  ASSERT_EQ(join.status, 0) << join.err;
  EXPECT_EQ(join.err, "");
  EXPECT_THAT(join.out, HasSubstr("  found_1.nodes.csv: key column NodeNumber, "));
  EXPECT_THAT(join.out, HasSubstr("  energy.csv: key column Number, "));
  EXPECT_THAT(join.out, HasSubstr("  known.csv: key column caller, 3 keys, 2 of them in month and 1 not; 46 records of "
                                  "month have no partner\n    left: target, numeric, 0 and 1 for two texts\n"));

  std::map<double, std::vector<double>> expected;
  for (const Call& call : calls) {
    std::vector<double>& sums = expected[static_cast<double>(call.caller)];
    sums.resize(3);
    if (call.seconds >= 500) ++sums[0];
    ++sums[1];
    sums[2] += static_cast<double>(call.seconds);
  }
  const Rows groups = csvRows("found_1.nodes.csv");
  const Rows energies = csvRows("energy.csv");
  ASSERT_GT(groups.size(), 30U);
  ASSERT_EQ(energies.at(11).size(), 5U);
  std::vector<double> all;
  for (const auto& [caller, sums] : expected) {
    all.push_back(caller);
    all.insert(all.end(), sums.begin(), sums.end());
    const auto add = [&all, caller](const Rows& side) {
      const auto found = side.find(caller);
      const std::vector<double> none(side.begin()->second.size(), missing);
      const std::vector<double>& cells = found == side.end() ? none : found->second;
      all.insert(all.end(), cells.begin(), cells.end());
    };
    add(groups);
    add(energies);
    all.push_back(caller == 11 ? 1 : caller == 12 ? 0 : missing);
  }
  EXPECT_EQ(numbers("all"), all);
  EXPECT_EQ(content("all.labels"), "column,code,label\nleft,0,no\nleft,1,yes\n");
  const ProgramRun shown = runOther("vesk-inspect", {"dataset", "all"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.out, HasSubstr("checks: sound"));
}

TEST_F(CallTables, AreTheSameForAnyNumberOfPartitions) {
  load("op Count 2 2; op Add 3 3", "one");
  load("op Count 2 2; op Add 3 3; NumberOfPartitions 7", "seven");
  for (const std::string name : {"one", "seven"}) {
    const ProgramRun run = table({"rows", name, name + ".table", "--columns", "1:calls,2:seconds"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, name +
                           ".table: 48 records, 3 columns\n  caller: the key\n  calls: position 1, 48 callers have it\n"
                           "  seconds: position 2, 48 callers have it\n");
  }
  EXPECT_EQ(content("one.table"), content("seven.table"));
}

TEST_F(CallTables, AreNotMadeOfContacts) {
  const auto refusal = [this](const std::string& name) {
    const ProgramRun run = table({"rows", name, "month", "--columns", "1:calls"});
    EXPECT_EQ(run.status, 99) << name;
    EXPECT_FALSE(exists("month"));
    return run.err;
  };
  const std::string text = ", the width: the file holds a table of contacts, not sums\n";
  for (const std::string size : {"1", "4", "1000"}) {
    load("CyclicTableSize " + size + "; op CyclicAdd 2; op CyclicAddPayload 3", "one");
    EXPECT_THAT(refusal("one"), HasSubstr(text)) << size;
    EXPECT_THAT(refusal("one_payload_1"), HasSubstr(text)) << size;
    load("CyclicTableSize " + size + "; op CyclicAdd 2; NumberOfPartitions 3", "three");
    for (const std::string name : {"three", "three.0", "three.1", "three.2"}) {
      EXPECT_THAT(refusal(name), HasSubstr(text)) << name << size;
    }
  }
  load("op PairSum 2", "pairs");
  EXPECT_EQ(refusal("pairs"), "vesk: pairs: the file holds pair sums, not sums at positions\n");
  writeFile("known.csv", "caller,left\n11,1\n");
  EXPECT_EQ(table({"join", "pairs", "month", "--key", "Col1", "--with", "known.csv"}).err,
            "vesk: pairs.info describes a sparse dataset, not a table; vesk table rows makes a table of sums\n");
}

TEST_F(CallTables, OfSumsWithGapsAreAccepted) {
  load("op Count 2 1; op Add 3 7; op Count 3 9 GE 100000", "sums");
  EXPECT_EQ(table({"rows", "sums", "month", "--columns", "6:seconds"}).status, 0);
  load("op Count 2 1", "sums");
  EXPECT_EQ(table({"rows", "sums", "month", "--columns", "1:calls"}).err,
            "vesk: no caller has position 1, column calls\n");
}

TEST_F(CallTables, LeaveNoFileOnAFullDisk) {
  load("op Count 2 2; op Add 3 3", "sums");
  limits.fileBytes = 1000;  // of 1152 bytes
  EXPECT_EQ(table({"rows", "sums", "month", "--columns", "1:calls,2:seconds"}).err,
            "vesk: cannot write month: File too large\n");
  limits.fileBytes = RLIM_INFINITY;
  EXPECT_EQ(table({"rows", "sums", "month", "--columns", "1:calls,2:seconds"}).status, 0);
  writeFile("known.csv", "caller,left\n11,1\n12,0\n");
  const Strings before = files();
  limits.fileBytes = 1000;
  const ProgramRun run = table({"join", "month", "all", "--key", "caller", "--with", "known.csv"});
  EXPECT_EQ(run.status, 99);
  EXPECT_EQ(run.err, "vesk: cannot write all: File too large\n");
  EXPECT_EQ(files(), before);
}

}  // namespace
}  // namespace vesk_e2e
