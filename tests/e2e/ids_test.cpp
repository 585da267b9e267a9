#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using Strings = std::vector<std::string>;

/// A map with a = 2^52, "b c" and d"e.
class IdsRun : public ::testing::Test {
 protected:
  IdsRun() {
    folder.write("in", "x,y\na,b c\n\"d\"\"e\",a\n");
    EXPECT_EQ(vesk({"convert", "in", "-o", "out", "--caller", "x", "--callee", "y", "--ids", "m"}).status, 0);
  }
  ProgramRun vesk(const Strings& arguments) { return runProgram("vesk", arguments, folder.path()); }

  TemporaryFolder folder;
};

TEST_F(IdsRun, CountsIds) {
  EXPECT_EQ(vesk({"ids", "m"}).out, "m: 3 ids, plain numbers stay themselves\n");
  EXPECT_EQ(vesk({"ids", "missing"}).err, "vesk: missing does not exist, or is empty\n");
  EXPECT_FALSE(folder.has("missing"));
  EXPECT_EQ(vesk({"ids", "in"}).err, "vesk: in is no map of ids: file is not a database\n");
}

TEST_F(IdsRun, PutsTextsBack) {
  folder.write("r.csv",
               "id,value,leader\n4503599627370496,4503599627370497,4503599627370498\n7,\"a,b\",4503599627370497\n");
  const ProgramRun run = vesk({"ids", "m", "--to-text", "r.csv", "--column", "id,3"});
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, "id,value,leader\na,4503599627370497,\"d\"\"e\"\n7,\"a,b\",b c\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-text", "r.csv", "--column", "id", "-o", "t.csv"}).out,
            "t.csv: 2 rows, 1 ids replaced\n");
  EXPECT_EQ(folder.read("t.csv"), "id,value,leader\na,4503599627370497,4503599627370498\n7,\"a,b\",4503599627370497\n");
}

TEST_F(IdsRun, PutsDelimitersInQuotes) {
  folder.write("r.csv", "id;v\n4503599627370498;\"1;2\"\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-text", "r.csv", "--column", "id"}).out, "id;v\n\"d\"\"e\";\"1;2\"\n");
}

TEST_F(IdsRun, TellsNumbersThatTheMapDoesNotHave) {
  folder.write("r.csv", "id\n4503599627370496\n4503599627379999\n");
  const ProgramRun some = vesk({"ids", "m", "--to-text", "r.csv", "--column", "id"});
  EXPECT_EQ(some.status, 0);
  EXPECT_EQ(some.out, "id\na\n4503599627379999\n");
  EXPECT_EQ(some.err, "vesk: 1 numbers from 2^52 on are not in m, such as 4503599627379999 in line 3\n");
  folder.write("r.csv", "id\n4503599627379999\n");
  const ProgramRun none = vesk({"ids", "m", "--to-text", "r.csv", "--column", "id"});
  EXPECT_EQ(none.status, 3);
  EXPECT_THAT(none.err, HasSubstr("m has none of the 1 numbers from 2^52 on in r.csv"));
}

// Tables that keep numbers as doubles write them so; the row would go on without its text.
TEST_F(IdsRun, RefusesNumbersInOtherForms) {
  for (const char* number : {"4.50359962737e+15", "4.50359962737E15", "4503599627370496.0", "04503599627370496"}) {
    folder.write("r.csv", "id\n4503599627370497\n" + std::string(number) + "\n");
    const ProgramRun run = vesk({"ids", "m", "--to-text", "r.csv", "--column", "id", "-o", "t.csv"});
    EXPECT_EQ(run.status, 3) << number;
    EXPECT_EQ(run.err, "vesk: r.csv, line 3: [" + std::string(number) +
                           "] is a number of a map in another form; write it with all its digits and nothing else\n");
    EXPECT_FALSE(folder.has("t.csv"));
  }
  folder.write("r.csv", "id\n4503599627370497\n1e3\n7.5\n+49\n1e16\n\"\"\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-text", "r.csv", "--column", "id"}).status, 0);
}

TEST_F(IdsRun, GivesNumbers) {
  folder.write("seeds", "b c\n12\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-numbers", "seeds", "--no-header", "--column", "1"}).out, "4503599627370497\n12\n");
  folder.write("seeds", "b c\nz\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-numbers", "seeds", "--no-header", "--column", "1"}).err,
            "vesk: seeds, line 2: m does not have [z]\n");
}

TEST_F(IdsRun, RefusesBadInput) {
  folder.write("r.csv", "id,v\n1\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-text", "r.csv", "--column", "id"}).err, "vesk: r.csv, line 2: 1 cells, not 2\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-text", "r.csv", "--column", "x"}).err,
            "vesk: r.csv has no column x; it has id, v\n");
  EXPECT_EQ(vesk({"ids", "m", "--to-text", "r.csv"}).status, 1);
  EXPECT_EQ(vesk({"ids", "m", "--column", "id"}).status, 1);
  EXPECT_EQ(vesk({"ids", "m", "--to-text", "r.csv", "--column", "id", "-o", "m"}).err,
            "vesk: the output m would take the place of m\n");
}

}  // namespace
}  // namespace vesk_e2e
