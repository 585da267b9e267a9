#include "table/rows_table.h"

#include <limits>
#include <random>

#include "control/quven_partition.h"
#include "table_case.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;

class RowsTableTest : public TableCase {
 protected:
  /// A row as the loader writes it.
  static Numbers row(double key, double width, const Numbers& values) {
    Numbers triples = {key, 0, width};
    double position = 0;
    for (const double value : values) triples.insert(triples.end(), {key, ++position, value});
    triples.insert(triples.end(), {key, width + 1, 0});
    return triples;
  }
  static Numbers join(const std::vector<Numbers>& pieces) {
    Numbers all;
    for (const Numbers& piece : pieces) all.insert(all.end(), piece.begin(), piece.end());
    return all;
  }

  int rows(const Strings& options) {
    Strings arguments = {"table", "rows", folder.path("in"), folder.path("out")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments);
  }
  void expectRefused(const Numbers& triples, const std::string& text) {
    writeNumbers("in", triples);
    expectFailure(text);
  }
  void expectFailure(const std::string& text) {
    EXPECT_EQ(rows({"--columns", "1:a,2:b"}), 99) << text;
    EXPECT_EQ(errText, "vesk: " + text + "\n");
    expectNoOutput();
  }
};

TEST_F(RowsTableTest, MakesARecordOfEachCaller) {
  writeNumbers("in", join({row(3, 4, {21, 2.5, 7}), row(5, 4, {1}), row(8, 4, {})}));
  EXPECT_EQ(rows({"--columns", "3:long_calls,1:calls"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(3, 7, 21, 5, 0, 1, 8, 0, 0));
  EXPECT_EQ(folder.read("out.info"),
            "caller Numeric Explanatory\nlong_calls Numeric Explanatory\ncalls Numeric Explanatory\n");
  EXPECT_EQ(folder.read("out.labels"), "column,code,label\n");
  EXPECT_EQ(outText,
            "out: 3 records, 3 columns\n"
            "  caller: the key\n"
            "  long_calls: position 3, 1 callers have it\n"
            "  calls: position 1, 2 callers have it\n"
            "  1 entries are at other positions\n");
  EXPECT_EQ(errText, "");
}

TEST_F(RowsTableTest, TakesOneRecordOfOneColumn) {
  writeNumbers("in", row(9007199254740991.0, 2, {-0.5}));
  EXPECT_EQ(rows({"--columns", "1:x", "--key", "who calls"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(9007199254740991.0, -0.5));
  EXPECT_EQ(folder.read("out.info"), "who_calls Numeric Explanatory\nx Numeric Explanatory\n");
  EXPECT_EQ(outText, "out: 1 records, 2 columns\n  who_calls: the key\n  x: position 1, 1 callers have it\n");
}

TEST_F(RowsTableTest, ReplacesAnEarlierTable) {
  folder.write("out", "old");
  folder.write("out.labels", "old");
  writeNumbers("in", row(1, 2, {2}));
  EXPECT_EQ(rows({"--columns", "1:x"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 2));
  EXPECT_THAT(files(), ElementsAre("in", "out", "out.info", "out.labels"));
}

// Each part of a loader run has its own width, that of its longest row.
TEST_F(RowsTableTest, MergesPartsByTheirCallers) {
  writeNumbers("in.0", join({row(2, 3, {20}), row(7, 3, {70})}));
  writeNumbers("in.1", {});
  writeNumbers("in.2", join({row(1, 3, {10}), row(3, 3, {30, 31}), row(9, 3, {90})}));
  folder.write("in.0.info", "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  EXPECT_EQ(rows({"--columns", "1:x,2:y"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, 0, 2, 20, 0, 3, 30, 31, 7, 70, 0, 9, 90, 0));
}

TEST_F(RowsTableTest, GivesTheSameBytesForAnyNumberOfParts) {
  std::mt19937 random(1);
  std::vector<Numbers> inOneFile;
  std::vector<Numbers> parts(5);
  for (int key = 1; key <= 20000; ++key) {
    Numbers values(random() % 6);
    for (double& value : values) value = static_cast<double>(random() % 1000) / 8;
    const Numbers triples = row(key, 7, values);
    inOneFile.push_back(triples);
    Numbers& part = parts[random() % parts.size()];
    part.insert(part.end(), triples.begin(), triples.end());
  }
  writeNumbers("in", join(inOneFile));
  ASSERT_EQ(rows({"--columns", "2:a,5:b,1:c"}), 0);
  const std::string expected = folder.read("out");
  const std::string report = outText;
  std::filesystem::remove(folder.path("in"));
  for (std::size_t p = 0; p < parts.size(); ++p) writeNumbers("in." + std::to_string(p), parts[p]);
  EXPECT_EQ(rows({"--columns", "2:a,5:b,1:c"}), 0);
  EXPECT_TRUE(folder.read("out") == expected);
  EXPECT_EQ(outText, report);
}

TEST_F(RowsTableTest, WarnsOfPositionsThatNoCallerHas) {
  writeNumbers("in", row(1, 2, {5}));
  EXPECT_EQ(rows({"--columns", "1:a,9:b"}), 0);
  EXPECT_EQ(errText, "vesk: no caller has position 9, column b\n");
  EXPECT_THAT(numbers("out"), ElementsAre(1, 5, 0));
}

TEST_F(RowsTableTest, WarnsOfSumsThatMeanMissingValues) {
  writeNumbers("in", join({row(1, 3, {-99999, 1}), row(2, 3, {3, -99999}), row(3, 3, {-99999})}));
  EXPECT_EQ(rows({"--columns", "1:a"}), 0);
  EXPECT_EQ(errText, "vesk: column a has 2 sums of -99999, which means a missing value in a dataset\n");
}

TEST_F(RowsTableTest, RefusesRowsThatTheLoaderDoesNotWrite) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  expectRefused({1, 1, 5, 1, 3, 0}, "in, triple 1: the row of key 1 has no header");
  expectRefused({1, 0, 2, 1, 1, 5}, "in, triple 2: the file ends in the row of key 1");
  expectRefused(join({{1, 0, 2, 1, 1, 5}, row(2, 2, {1})}),
                "in, triple 3: the row of key 1 has no footer before key 2");
  expectRefused({1, 0, 2, 2, 3, 0}, "in, triple 2: the row of key 1 has no footer before key 2");
  expectRefused({1, 0, 2, 1, 3, 4}, "in, triple 2: the footer of key 1 has the value 4, not 0");
  expectRefused(join({row(1, 2, {1}), {1, 1, 5}}), "in, triple 4: key 1 goes on after its footer");
  expectRefused({1, 0, 2, 1, 0, 2}, "in, triple 2: key 1 has a second header");
  expectRefused(join({row(1, 2, {}), row(2, 3, {})}), "in, triple 3: key 2 has the width 3, the rows before have 2");
  expectRefused({1, 0, 2.5}, "in, triple 1: the width 2.5 of key 1 is not a whole number");
  expectRefused({1, 0, -1}, "in, triple 1: the width -1 of key 1 is not a whole number");
  expectRefused({1, 0, nan}, "in, triple 1: the width nan of key 1 is not a whole number");
  expectRefused({1, 0, 3, 1, 1, 5, 1, 1, 6, 1, 4, 0}, "in, triple 3: key 1 has position 1 twice");
  expectRefused({1, 0, 3, 1, 2, 5, 1, 1, 6, 1, 4, 0},
                "in, triple 3: position 1 of key 1 comes after position 2; positions ascend");
  expectRefused({1, 0, 3, 1, 1.5, 5, 1, 4, 0}, "in, triple 2: the position 1.5 of key 1 is not a whole number");
  expectRefused({1, 0, 3, 1, -1, 5, 1, 4, 0}, "in, triple 2: the position -1 of key 1 is not a whole number");
  expectRefused({1, 0, 3, 1, nan, 5, 1, 4, 0}, "in, triple 2: the position nan of key 1 is not a whole number");
  expectRefused({1, 0, 3, 1, 5, 5, 1, 4, 0}, "in, triple 2: position 5 of key 1 is beyond the width 3");
  expectRefused({1, 0, 3, 1, 3, nan, 1, 4, 0}, "in, triple 2: the value of key 1 at position 3 is not a finite number");
  expectRefused({1, 0, 3, 1, 3, -inf, 1, 4, 0},
                "in, triple 2: the value of key 1 at position 3 is not a finite number");
}

TEST_F(RowsTableTest, RefusesKeysThatTwoRowsHave) {
  expectRefused(join({row(4, 2, {}), row(4, 2, {})}), "in, triple 3: key 4 has a second row");
  expectRefused(join({row(4, 2, {}), row(3, 2, {})}),
                "in, triple 3: key 3 comes after key 4; the keys of a file ascend");
  std::filesystem::remove(folder.path("in"));
  writeNumbers("in.0", join({row(1, 2, {}), row(6, 2, {})}));
  writeNumbers("in.1", join({row(2, 2, {}), row(6, 2, {})}));
  expectFailure("in.1: key 6 is in in.0, too");
}

TEST_F(RowsTableTest, RefusesKeysThatAreNotExact) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  expectRefused(row(9007199254740992.0, 2, {}),
                "in, triple 1: the key 9007199254740992 is not a whole number below 2^53");
  expectRefused(row(1.5, 2, {}), "in, triple 1: the key 1.5 is not a whole number below 2^53");
  expectRefused({nan, 0, 2, nan, 3, 0}, "in, triple 1: the key nan is not a whole number below 2^53");
  expectRefused(row(-99999, 2, {}), "in, triple 1: the key -99999 means a missing value");
}

TEST_F(RowsTableTest, RefusesPairSums) {
  const std::string text = "in: the file holds pair sums, not sums at positions";
  expectRefused({1, 0, 2, 1, 5, 1, 1, 0, 7788}, text);
  expectRefused({1, 0, 2, 1, 1, 1, 1, 2, 1, 1, 0, 7788}, text);
  expectRefused({1, 0, 2, 1, 3, 4, 1, 4, 1, 1, 0, 7788}, text);
  expectRefused({1, 0, 2, 1, 3, 0, 1, 4, 1, 1, 0, 7788}, text);
  expectRefused({1, 0, 2, 1, 2, 1, 1, 1, 1, 1, 0, 7788}, text);
  Numbers longRow = {1, 0, 100000};
  for (int callee = 200000; callee < 300000; ++callee) {
    longRow.insert(longRow.end(), {1, static_cast<double>(callee), 1});
  }
  longRow.insert(longRow.end(), {1, 0, 7788});
  expectRefused(longRow, text);
}

TEST_F(RowsTableTest, RefusesTablesOfContacts) {
  const std::string text = "the width: the file holds a table of contacts, not sums";
  expectRefused(join({row(1, 3, {7}), row(2, 3, {7, 8, 9})}),
                "in, triple 7: key 2 has an entry at position 3, " + text);
  expectRefused(row(4, 1, {7}), "in, triple 2: key 4 has an entry at position 1, " + text);
  writeNumbers("in", join({row(1, 3, {7}), row(2, 3, {7, 8})}));
  EXPECT_EQ(rows({"--columns", "1:a"}), 0);
}

TEST_F(RowsTableTest, RefusesFilesThatHaveNoRows) {
  expectFailure("cannot open in: No such file or directory");
  expectRefused({}, "in has no rows");
  folder.write("in", bytesOfNumbers(row(1, 2, {4})) + "12345");
  expectFailure("in has 5 bytes after its last whole triple, number 3");
  folder.write("in", "1");
  expectFailure("in has 1 bytes after its last whole triple, number 0");
  writeNumbers("in", row(1, 2, {4}));
  folder.write("in.info", "a Numeric Explanatory\nb Numeric Target\n");
  expectFailure("in.info has 2 columns, not the three of a sparse dataset");
  folder.write("in.info", "a Number Explanatory\n");
  expectFailure("in.info: Unknown attribute type");
}

TEST_F(RowsTableTest, RefusesPartsThatDoNotBelongTogether) {
  writeNumbers("in.0", row(1, 2, {4}));
  writeNumbers("in.2", row(2, 2, {4}));
  expectFailure("in.1: a part of the dataset is missing");
  std::filesystem::rename(folder.path("in.2"), folder.path("in"));
  EXPECT_EQ(rows({"--columns", "1:a"}), 99);
  EXPECT_EQ(errText, "vesk: in.0: a part is beside the single file in; one of them is of another run\n");
}

TEST_F(RowsTableTest, RefusesPartsWithoutTheLastOne) {
  std::vector<Numbers> parts(3);
  for (int key = 1; key <= 300; ++key) {
    const Numbers triples = row(key, 2, {1});
    Numbers& part = parts[partition_of_key(static_cast<std::uint64_t>(key), 3)];
    part.insert(part.end(), triples.begin(), triples.end());
  }
  for (std::size_t p = 0; p < 3; ++p) writeNumbers("in." + std::to_string(p), parts[p]);
  EXPECT_EQ(rows({"--columns", "1:a"}), 0);
  writeNumbers("in.3", row(1000, 2, {1}));
  for (const char* name : {"out", "out.info", "out.labels"}) std::filesystem::remove(folder.path(name));
  expectFailure("in.3: a part is left from another run; the other parts are of a run with 3 partitions");
  std::filesystem::remove(folder.path("in.3"));
  std::filesystem::remove(folder.path("in.2"));
  expectFailure("in.2: a part of the dataset is missing; the other parts are of a run with 3 partitions");
  std::filesystem::remove(folder.path("in.1"));
  expectFailure("in.1: a part of the dataset is missing; the other parts are of a run with 3 partitions");
}

TEST_F(RowsTableTest, RefusesAnOutputThatIsAnInput) {
  const std::string bytes = bytesOfNumbers(row(1, 2, {4}));
  folder.write("in.0", bytes);
  folder.write("in.1.info", bytes);
  for (const std::string output : {"in.0", "./in.0"}) {
    EXPECT_EQ(run({"table", "rows", folder.path("in"), folder.path(output), "--columns", "1:a"}), 99);
    EXPECT_EQ(errText, "vesk: the output " + output + " would take the place of the input\n");
  }
  std::filesystem::rename(folder.path("in.0"), folder.path("x.info"));
  EXPECT_EQ(run({"table", "rows", folder.path("x.info"), folder.path("x"), "--columns", "1:a"}), 99);
  EXPECT_EQ(errText, "vesk: the output x.info would take the place of the input\n");
  EXPECT_EQ(folder.read("x.info"), bytes);
}

TEST_F(RowsTableTest, NamesTheCauseWhenTheOutputCannotBeWritten) {
  writeNumbers("in", row(1, 2, {4}));
  std::filesystem::create_directory(folder.path("out"));
  EXPECT_EQ(rows({"--columns", "1:a"}), 99);
  EXPECT_EQ(errText, "vesk: cannot write out: Is a directory\n");
  EXPECT_THAT(files(), ElementsAre("in", "out"));
}

TEST_F(RowsTableTest, RefusesOtherLists) {
  writeNumbers("in", row(1, 2, {4}));
  const auto expectWrong = [this](const std::string& columns, const std::string& text) {
    EXPECT_EQ(rows({"--columns", columns}), 1) << columns;
    EXPECT_EQ(errText, "vesk: --columns: " + text + "\n");
    expectNoOutput();
  };
  expectWrong("", "[] is no list");
  expectWrong("calls", "[calls] is not POSITION:NAME");
  expectWrong("0:a", "[0] is no position; positions are 1, 2, ...");
  expectWrong("-1:a", "[-1] is no position; positions are 1, 2, ...");
  expectWrong("1.5:a", "[1.5] is no position; positions are 1, 2, ...");
  expectWrong(":a", "[] is no position; positions are 1, 2, ...");
  expectWrong("9007199254740992:a", "[9007199254740992] is no position; positions are 1, 2, ...");
  expectWrong("99999999999999999999:a", "[99999999999999999999] is no position; positions are 1, 2, ...");
  expectWrong("1:", "the name [] is empty");
  expectWrong("1:a,2:", "the name [] is empty");
  expectWrong("1:\x01", "the name [\x01] has a control character");
  expectWrong("1:a,1:b", "position 1 is there twice");
  expectWrong("1:a,2:a", "the name a is there twice");
  expectWrong("1:a b,2:a_b", "the name a_b is there twice");
  expectWrong("1:caller", "the name caller is that of the key; see --key");
  expectWrong("1:" + std::string(977, 'a'), "the name [" + std::string(977, 'a') + "] has more than 976 bytes");
  EXPECT_EQ(rows({}), 1);
  EXPECT_EQ(rows({"--columns", "1:a", "--key", ""}), 1);
  EXPECT_EQ(errText, "vesk: --key: the name [] is empty\n");
  EXPECT_EQ(rows({"--columns", "1:caller", "--key", "id"}), 0);
}

}  // namespace
}  // namespace vesk
