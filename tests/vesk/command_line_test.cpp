#include <gmock/gmock.h>

#include <sstream>

#include "support/temporary_folder.h"
#include "vesk.h"

namespace vesk {
namespace {

using ::testing::HasSubstr;
using Strings = std::vector<std::string>;

class VeskCommandLine : public ::testing::Test {
 protected:
  int run(const Strings& arguments) {
    std::vector<const char*> argv = {"vesk"};
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    std::ostringstream out;
    std::ostringstream err;
    const int status = runVesk(static_cast<int>(argv.size()), argv.data(), out, err);
    outText = out.str();
    errText = err.str();
    return status;
  }
  int runCsv(const Strings& options) {
    Strings arguments = {"table", "csv", folder.path("in.csv"), folder.path("out")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments);
  }
  /// A wrong command line is one line, and nothing is written.
  void expectWrong(const Strings& options, const std::string& text) {
    EXPECT_EQ(runCsv(options), 1) << text;
    EXPECT_EQ(errText, "vesk: " + text + "\n");
    EXPECT_EQ(outText, "");
    EXPECT_FALSE(folder.has("out"));
  }

  TemporaryFolder folder;
  std::string outText;
  std::string errText;
};

TEST_F(VeskCommandLine, HasHelpAndVersion) {
  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_EQ(outText, "vesk 2.0.6\n");
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_THAT(outText, HasSubstr("table"));
  EXPECT_EQ(run({"table", "csv", "--help"}), 0);
  EXPECT_THAT(outText, HasSubstr("--no-header"));
  EXPECT_EQ(errText, "");
}

TEST_F(VeskCommandLine, WantsACommand) {
  for (const Strings& arguments : {Strings{},
                                   {"table"},
                                   {"tables"},
                                   {"table", "xml"},
                                   {"table", "csv"},
                                   {"table", "csv", "in"},
                                   {"table", "csv", "in", "out", "more"},
                                   {"table", "csv", "in", "out", "--wrong"}}) {
    EXPECT_EQ(run(arguments), 1);
    EXPECT_EQ(errText.substr(0, 6), "vesk: ");
    EXPECT_EQ(errText.find('\n'), errText.size() - 1);
  }
}

TEST_F(VeskCommandLine, NamesWhatItDoesNotKnow) {
  const auto error = [&](const Strings& arguments) {
    EXPECT_EQ(run(arguments), 1);
    return errText;
  };
  EXPECT_EQ(error({"dya", "p.xml", "in", "st"}), "vesk: there is no command [dya]; did you mean day?\n");
  EXPECT_EQ(error({"conjure", "--with", "x"}), "vesk: there is no command [conjure]; see --help\n");
  EXPECT_EQ(error({"table", "cvs", "in", "out"}), "vesk: table: there is no command [cvs]; did you mean csv?\n");
  EXPECT_EQ(error({"convert", "in", "-o", "out", "--caler", "a", "--callee", "b"}),
            "vesk: convert: there is no option [--caler]; did you mean --caller?\n");
  EXPECT_EQ(error({"table", "csv", "in", "out", "--targte=x"}),
            "vesk: table csv: there is no option [--targte=x]; did you mean --target?\n");
  EXPECT_EQ(error({"top", "e.csv", "--zzzz"}), "vesk: top: there is no option [--zzzz]; see --help\n");
  EXPECT_EQ(error({"top", "e.csv", "more\n"}), "vesk: top: one argument too many: [more\\x0A]; see --help\n");
  EXPECT_EQ(error({"top"}), "vesk: ENERGY is required\n");
}

TEST_F(VeskCommandLine, NumbersHaveNoSigns) {
  for (const Strings& arguments :
       {Strings{"check", "p", "in", "--lines", "-3"},
        {"check", "p", "in", "--lines", "0"},
        {"top", "e", "-n", "-3"},
        {"convert", "in", "-o", "out", "--caller", "1", "--callee", "2", "--rejects", "r", "--rejects-max", "-3"}}) {
    EXPECT_EQ(run(arguments), 1);
    EXPECT_THAT(errText, HasSubstr("] is no whole number of at least "));
  }
}

TEST_F(VeskCommandLine, TellsWhatATableBecame) {
  folder.write("in.csv", "x,plan,y\n1,no,a\n2,,b\n07x,yes,a\n");
  EXPECT_EQ(runCsv({"--target", "y"}), 0);
  EXPECT_EQ(outText, folder.path("out") +
                         ": 3 records, 3 columns\n"
                         "  x: categorical, 3 categories\n"
                         "  plan: categorical, 2 categories, 1 missing\n"
                         "  y: target, numeric, 0 and 1 for two texts\n");
  EXPECT_EQ(errText, "vesk: column x is categorical, with 2 cells that are numbers: '07x' in line 4 is not one\n");
}

TEST_F(VeskCommandLine, TakesListsAndNamesAsTheFileHasThem) {
  folder.write("in.csv", "day mins;\"a,b\";c;d;e\n1;2;3;-1;5\n2;x y;3;4;\"no, none\"\n");
  EXPECT_EQ(runCsv({"--delimiter", ";", "--drop", "c,\"a,b\"", "--numeric", "day mins", "--categorical", "day_mins_2"}),
            99);
  EXPECT_THAT(errText, HasSubstr("in.csv has no column day_mins_2\n"));
  EXPECT_EQ(runCsv({"--delimiter=;", "--drop", "c,\"a,b\"", "--numeric", "day mins", "--missing", "-1, \"no, none\""}),
            0);
  EXPECT_EQ(folder.read("out.info"), "day_mins Numeric Explanatory\nd Numeric Explanatory\ne Numeric Explanatory\n");
}

TEST_F(VeskCommandLine, TakesAnEmptyListOfMissingTexts) {
  folder.write("in.csv", "a,b\nNA,1\n,2\n");
  EXPECT_EQ(runCsv({"--missing", ""}), 0);
  EXPECT_THAT(outText, HasSubstr("a: categorical, 1 categories, 1 missing\n"));
}

TEST_F(VeskCommandLine, TakesOtherDelimiters) {
  folder.write("in.csv", "a\tb\n1\t2\n");
  EXPECT_EQ(runCsv({"--delimiter", "tab"}), 0);
  EXPECT_EQ(runCsv({"--delimiter", "\t"}), 0);
  folder.write("in.csv", "a|b\n1|2\n");
  EXPECT_EQ(runCsv({"--delimiter", "|", "--no-header"}), 0);
  EXPECT_EQ(folder.read("out.info"), "C1 Categorical Explanatory\nC2 Categorical Explanatory\n");
}

TEST_F(VeskCommandLine, RefusesOptionsThatContradict) {
  folder.write("in.csv", "a,b\n1,2\n");
  expectWrong({"--target", "a", "--drop", "b,a"}, "--target: a is in --drop too");
  expectWrong({"--target", "a", "--categorical", "a"}, "--target: a is in --categorical too");
  expectWrong({"--numeric", "a b", "--categorical", "a_b"}, "--categorical: a_b is in --numeric too");
  expectWrong({"--drop", "a", "--categorical", "a"}, "--categorical: a is in --drop too");
  expectWrong({"--drop", "a", "--numeric", "a"}, "--numeric: a is in --drop too");
}

TEST_F(VeskCommandLine, RefusesTextsThatAreNoNames) {
  folder.write("in.csv", "a,b\n1,2\n");
  expectWrong({"--drop", "a,,b"}, "--drop: [a,,b] has an empty name");
  expectWrong({"--drop", "\"a"}, "--drop: [\"a] is no list");
  expectWrong({"--target", ""}, "--target: [] is no name");
  for (const std::string text : {"", "a", "\"", ",,", "."}) {
    expectWrong({"--delimiter", text}, "--delimiter: [" + text + "] is none of , ; | : # ~ ^ & / ! blank, tab");
  }
}

TEST_F(VeskCommandLine, EndsWithOneLineWhenATableIsWrong) {
  folder.write("in.csv", "a,b\n1\n");
  EXPECT_EQ(runCsv({}), 99);
  EXPECT_EQ(errText, "vesk: " + folder.path("in.csv") + ", line 2: 1 cells, not 2\n");
  EXPECT_EQ(outText, "");
  EXPECT_FALSE(folder.has("out"));
}

}  // namespace
}  // namespace vesk
