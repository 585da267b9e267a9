#include "table/join_table.h"

#include <cstdint>
#include <limits>
#include <map>
#include <random>

#include "table_case.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr double missing = -99999.0;

double codeOf(const std::string& text) { return static_cast<double>(quvenCategoryCode(text)); }

class JoinTableTest : public TableCase {
 protected:
  JoinTableTest() {
    writeTable("base", "id Numeric Explanatory\nx Numeric Explanatory\n", {1, 10, 2, 20, 3, 30});
    folder.write("r.csv", "id,a\n1,5\n3,6\n");
  }

  void writeTable(const std::string& name, const std::string& info, const Numbers& values,
                  const std::string& labels = "") const {
    writeNumbers(name, values);
    folder.write(name + ".info", info);
    if (!labels.empty()) folder.write(name + ".labels", "column,code,label\n" + labels);
  }
  /// Runs the join of base to out. A name after "--with" is taken as a file of the folder.
  int join(const Strings& options) {
    Strings arguments = {"table", "join", folder.path("base"), folder.path("out"), "--key", "id"};
    bool isFile = false;
    for (const std::string& option : options) {
      arguments.push_back(isFile ? folder.path(option) : option);
      isFile = option == "--with";
    }
    return run(arguments);
  }
  void expectRefused(const std::string& text, const Strings& options = {"--with", "r.csv"}) {
    for (const char* name : {"out", "out.info", "out.labels"}) std::filesystem::remove(folder.path(name));
    EXPECT_EQ(join(options), 99) << text;
    EXPECT_EQ(errText, "vesk: " + text + "\n");
    expectNoOutput();
  }
  void expectCsvRefused(const std::string& csv, const std::string& text) {
    folder.write("r.csv", csv);
    expectRefused(text);
  }
  std::string info() const { return folder.read("out.info"); }
  std::string labels() const { return folder.read("out.labels"); }
};

TEST_F(JoinTableTest, AddsTheColumnsOfACsvFile) {
  folder.write("r.csv", "a,id,plan\n5,3,basic\n,1,family\n7,9,basic\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, missing, codeOf("family"),  //
                                          2, 20, missing, missing,           //
                                          3, 30, 5, codeOf("basic")));
  EXPECT_EQ(info(),
            "id Numeric Explanatory\nx Numeric Explanatory\na Numeric Explanatory\nplan Categorical Explanatory\n");
  EXPECT_EQ(labels(), "column,code,label\nplan,431232997384381,basic\nplan,477022219841641,family\n");
  EXPECT_EQ(outText,
            "out: 3 records, 4 columns\n"
            "  r.csv: key column id, 3 keys, 2 of them in base and 1 not; 1 records of base have no partner\n"
            "    a: numeric\n"
            "    plan: categorical, 2 categories\n");
  EXPECT_EQ(errText, "");
}

TEST_F(JoinTableTest, TakesTheFirstColumnAsTheKeyIfNoneHasItsName) {
  folder.write("r.csv", "NodeNumber,group\n2,7\n");
  EXPECT_EQ(join({"--with", "r.csv:the_"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, missing, 2, 20, 7, 3, 30, missing));
  EXPECT_THAT(info(), HasSubstr("\nthe_group Numeric"));
  EXPECT_THAT(outText, HasSubstr("r.csv: key column NodeNumber, 1 keys, 1 of them in base and 0 not;"));
}

TEST_F(JoinTableTest, TakesEveryFormOfCsv) {
  folder.write("r.csv", "\xEF\xBB\xBF\"id\",\"my text\"\r\n\"2\",\"a, \"\"b\"\"\nc\"\r\n 1 , NA \r\n\r\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, missing, 2, 20, codeOf("a, \"b\"\nc"), 3, 30, missing));
  EXPECT_THAT(labels(), HasSubstr(",\"a, \"\"b\"\"\nc\"\n"));
  EXPECT_THAT(info(), HasSubstr("\nmy_text Categorical"));
}

TEST_F(JoinTableTest, AddsTheColumnsOfATable) {
  writeTable("right", "plan Categorical Target\nid Numeric LineNumber\ny Numeric Explanatory\n",
             {7, 3, 0.5, missing, 2, 0.25}, "plan,7,seven\ngone,1,x\nid,2,two\n");
  EXPECT_EQ(join({"--with", "right:r_"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, missing, missing, 2, 20, missing, 0.25, 3, 30, 7, 0.5));
  EXPECT_THAT(info(), HasSubstr("\nr_plan Categorical Explanatory\nr_y Numeric Explanatory\n"));
  EXPECT_EQ(labels(), "column,code,label\nr_plan,7,seven\n");
  EXPECT_THAT(outText, HasSubstr("\n    r_plan: categorical, 1 categories\n    r_y: numeric\n"));
  EXPECT_EQ(errText,
            "vesk: right: the target plan is explanatory in the result; --target r_plan makes it the target\n");
}

TEST_F(JoinTableTest, AddsSeveralFilesInTheirOrder) {
  writeTable("right", "id Numeric Explanatory\ny Numeric Explanatory\n", {2, 8});
  EXPECT_EQ(join({"--with", "right", "--with", "r.csv", "--with", "r.csv:more_"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, missing, 5, 5, 2, 20, 8, missing, missing, 3, 30, missing, 6, 6));
  EXPECT_THAT(info(), HasSubstr("\ny Numeric Explanatory\na Numeric Explanatory\nmore_a Numeric Explanatory\n"));
}

TEST_F(JoinTableTest, KeepsTypesPurposesAndLabelsOfTheBase) {
  writeTable("base", "plan Categorical Explanatory\nid Numeric LineNumber\nleft Numeric Target\n", {4, 1, 0, 5, 3, 1},
             "left,0,no\nleft,1,yes\nplan,4,four\ngone,1,x\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_EQ(info(),
            "plan Categorical Explanatory\nid Numeric LineNumber\nleft Numeric Target\na Numeric Explanatory\n");
  EXPECT_EQ(labels(), "column,code,label\nplan,4,four\nleft,0,no\nleft,1,yes\n");
}

TEST_F(JoinTableTest, MakesAColumnTheTarget) {
  writeTable("base", "id Numeric Explanatory\nx Numeric Target\n", {1, 10, 2, 20, 3, 30});
  folder.write("r.csv", "id,left,b\n1,yes,4\n2,,5\n3,no,6\n");
  EXPECT_EQ(join({"--with", "r.csv:r_", "--target", "r_left"}), 0);
  EXPECT_EQ(info(), "id Numeric Explanatory\nx Numeric Explanatory\nr_left Numeric Target\nr_b Numeric Explanatory\n");
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, 1, 4, 2, 20, missing, 5, 3, 30, 0, 6));
  EXPECT_EQ(labels(), "column,code,label\nr_left,0,no\nr_left,1,yes\n");
  EXPECT_THAT(outText, HasSubstr("\n    r_left: target, numeric, 0 and 1 for two texts\n    r_b: numeric\n"));
  EXPECT_EQ(join({"--with", "r.csv:r_", "--target", "r_b"}), 0);
  EXPECT_THAT(info(), HasSubstr("\nr_left Categorical Explanatory\nr_b Numeric Target\n"));
  EXPECT_EQ(join({"--with", "r.csv:r_", "--target", "x"}), 0);
  EXPECT_THAT(info(), HasSubstr("\nx Numeric Target\n"));
  writeTable("right", "id Numeric Explanatory\nt Numeric Target\n", {1, 0, 2, 1});
  EXPECT_EQ(join({"--with", "right", "--target", "t"}), 0);
  EXPECT_THAT(info(), HasSubstr("\nx Numeric Explanatory\nt Numeric Target\n"));
  EXPECT_EQ(errText, "");
}

TEST_F(JoinTableTest, RefusesOtherTargets) {
  folder.write("r.csv", "id,plan\n1,a\n2,b\n3,c\n");
  expectRefused("r.csv: the target plan has more than two texts: 'a', 'b', 'c'",
                {"--with", "r.csv", "--target", "plan"});
  expectRefused("no column of the result has the name of the target who", {"--with", "r.csv", "--target", "who"});
  writeTable("base", "id Numeric Explanatory\nx Categorical Explanatory\n", {1, 10});
  expectRefused("base: the target x is categorical; a target is numeric", {"--with", "r.csv", "--target", "x"});
  writeTable("right", "id Numeric Explanatory\nt Categorical Explanatory\n", {1, 0});
  expectRefused("right: the target t is categorical; a target is numeric", {"--with", "right", "--target", "t"});
  EXPECT_EQ(join({"--with", "r.csv", "--target", "id"}), 1);
  EXPECT_EQ(errText, "vesk: --target: id is the key\n");
}

TEST_F(JoinTableTest, JoinsARowToEveryRecordWithItsKey) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  writeTable("base", "x Numeric Explanatory\nid Numeric Explanatory\n",
             {10, 3, 20, missing, 30, 3, 40, 1.5, 50, 1e300, 60, nan, 70, 0, 80, -0.0});
  folder.write("r.csv", "id,a\n3,7\n0,8\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  const Numbers result = numbers("out");
  Numbers added;
  for (std::size_t i = 2; i < result.size(); i += 3) added.push_back(result[i]);
  EXPECT_THAT(added, ElementsAre(7, missing, 7, missing, missing, missing, 8, 8));
  EXPECT_THAT(outText, HasSubstr("\n  1 records of base have no key\n"));
  EXPECT_THAT(outText, HasSubstr("2 keys, 2 of them in base and 0 not; 4 records of base have no partner\n"));
}

TEST_F(JoinTableTest, TakesEveryExactKey) {
  writeTable("base", "id Numeric Explanatory\n", {9007199254740991.0, -9007199254740991.0, 9007199254740990.0, -1});
  folder.write("r.csv", "id,a\n-9007199254740991,1\n9007199254740990,2\n9007199254740991,3\n-1,4\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(9007199254740991.0, 3, -9007199254740991.0, 1, 9007199254740990.0, 2, -1, 4));
}

TEST_F(JoinTableTest, TakesTablesInParts) {
  for (const char* name : {"base", "base.info"}) std::filesystem::remove(folder.path(name));
  writeNumbers("base.0", {1, 10});
  writeNumbers("base.1", {});
  writeNumbers("base.2", {2, 20, 3, 30});
  folder.write("base.0.info", "id Numeric Explanatory\nx Numeric Explanatory\n");
  writeNumbers("right.0", {3, 0.5});
  writeNumbers("right.1", {1, 0.25});
  folder.write("right.info", "id Numeric Explanatory\ny Numeric Explanatory\n");
  EXPECT_EQ(join({"--with", "right"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, 0.25, 2, 20, missing, 3, 30, 0.5));
  writeNumbers("right.1", {3, 0.25});
  expectRefused("right.1, record 1: the key 3 is there a second time, first in row 1", {"--with", "right"});
  std::filesystem::remove(folder.path("base.1"));
  expectRefused("base.1: a part of the dataset is missing", {"--with", "right"});
}

TEST_F(JoinTableTest, CutsThePrefixAtTheLastColonOnly) {
  folder.write("a:b.csv", "id,a\n1,5\n");
  EXPECT_EQ(join({"--with", "a:b.csv"}), 0);
  EXPECT_EQ(join({"--with", "a:b.csv:p_"}), 0);
  EXPECT_THAT(info(), HasSubstr("\np_a Numeric"));
  folder.write("x:y/r.csv", "id,a\n1,5\n");
  EXPECT_EQ(join({"--with", "x:y/r.csv"}), 0);
  EXPECT_EQ(join({"--with", "r.csv:"}), 99);
  EXPECT_EQ(errText, "vesk: cannot open r.csv:: No such file or directory\n");
  EXPECT_EQ(run({"table", "join", "base", "out", "--key", "id", "--with", ":p"}), 1);
  EXPECT_EQ(errText, "vesk: --with: [:p] has no file\n");
}

TEST_F(JoinTableTest, ReadsAFileWithoutADescriptionAsCsv) {
  folder.write("known", "id,a\n1,5\n");
  EXPECT_EQ(join({"--with", "known"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(1, 10, 5, 2, 20, missing, 3, 30, missing));
  folder.write("r.csv.info", "id Numeric Explanatory\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  expectRefused("cannot open gone: No such file or directory", {"--with", "gone"});
}

TEST_F(JoinTableTest, RefusesANameThatIsTaken) {
  folder.write("r.csv", "id,x\n1,5\n");
  expectRefused("r.csv: the name x is taken by a column of base; a prefix makes another name: --with r.csv:PREFIX");
  folder.write("s.csv", "n,id\n1,5\n");
  expectRefused("s.csv: the name n is taken by a column of s.csv; a prefix makes another name: --with s.csv:PREFIX",
                {"--with", "s.csv", "--with", "s.csv"});
  expectRefused("r.csv: the name px is taken by a column of r.csv; a prefix makes another name: --with r.csv:PREFIX",
                {"--with", "r.csv:p", "--with", "r.csv:p"});
  folder.write("r.csv", "id," + std::string(976, 'n') + "\n1,5\n");
  EXPECT_EQ(join({"--with", "r.csv:p"}), 99);
  EXPECT_THAT(errText, HasSubstr("...' has more than 976 bytes\n"));
}

TEST_F(JoinTableTest, RefusesKeysOfACsvFileThatAreNotValid) {
  const std::string text = " is no key; a key must be a whole number below 2^53";
  expectCsvRefused("id,a\n1,5\n,6\n", "r.csv, line 3: '' of column id" + text);
  expectCsvRefused("id,a\nNA,5\n", "r.csv, line 2: 'NA' of column id" + text);
  expectCsvRefused("id,a\n1,5\nx,6\ny,7\n", "r.csv, line 3: 'x' of column id" + text);
  expectCsvRefused("id,a\n1.5,5\n", "r.csv, line 2: '1.5' of column id" + text);
  expectCsvRefused("id,a\n9007199254740992,5\n", "r.csv, line 2: '9007199254740992' of column id" + text);
  expectCsvRefused("id,a\n-99999,5\n", "r.csv, line 2: '-99999' of column id" + text);
  expectCsvRefused("id,a\ninf,5\n", "r.csv, line 2: 'inf' of column id" + text);
  expectCsvRefused("id,a\n1,inf\n,5\n", "r.csv, line 2: 'inf' of column a is not a finite number");
}

TEST_F(JoinTableTest, RefusesKeysThatAreThereTwice) {
  expectCsvRefused("id,a\n1,5\n\"2\",\"6\n\"\n3,7\n2.0,8\n",
                   "r.csv, line 6: the key '2.0' is there a second time, first in line 3");
  writeTable("right", "y Numeric Explanatory\nid Numeric Explanatory\n", {5, 1, 6, 2, 7, 1});
  expectRefused("right, record 3: the key 1 is there a second time, first in row 1", {"--with", "right"});
}

TEST_F(JoinTableTest, RefusesKeysOfATableThatAreNotValid) {
  const std::string text = " is no key; a key must be a whole number below 2^53";
  const std::string info = "id Numeric Explanatory\ny Numeric Explanatory\n";
  writeTable("right", info, {1, 5, missing, 6});
  expectRefused("right, record 2: -99999 of column id" + text, {"--with", "right"});
  writeTable("right", info, {1.5, 5});
  expectRefused("right, record 1: 1.5 of column id" + text, {"--with", "right"});
  writeTable("right", info, {9007199254740992.0, 5});
  expectRefused("right, record 1: 9007199254740992 of column id" + text, {"--with", "right"});
  writeTable("right", info, {});
  expectRefused("right has no rows", {"--with", "right"});
  folder.write("right", "0123456789abcdefX");
  expectRefused("right has 1 bytes after its last whole record, number 1", {"--with", "right"});
  writeTable("right", "who Numeric Explanatory\ny Numeric Explanatory\n", {1, 5});
  expectRefused("right has no column id", {"--with", "right"});
  writeTable("right", "id Categorical Explanatory\ny Numeric Explanatory\n", {1, 5});
  expectRefused("column id is categorical in right and numeric in base", {"--with", "right"});
}

TEST_F(JoinTableTest, RefusesAFileWithoutACommonKey) {
  expectCsvRefused("a,id2\n10,1\n20,2\n", "r.csv: no key of column a is in column id of base");
  folder.write("s.csv", "id,b\n1,1\n");
  EXPECT_EQ(join({"--with", "s.csv", "--with", "r.csv"}), 99);
  expectNoOutput();
}

TEST_F(JoinTableTest, RefusesOtherCsvFiles) {
  expectCsvRefused("", "r.csv is empty");
  expectCsvRefused("id,a\n", "r.csv has no rows");
  expectCsvRefused("id\n1\n", "r.csv has one column; it is cut at ','");
  expectCsvRefused("id,a\n1\n", "r.csv, line 2: 1 cells, not 2");
  expectCsvRefused("id,a\n1,\"5\n", "r.csv, line 2: a quote that is not closed");
  folder.write("dir.csv/x", "");
  expectRefused("dir.csv is not a regular file; a table is read twice", {"--with", "dir.csv"});
}

TEST_F(JoinTableTest, RefusesOtherBases) {
  writeTable("base", "id Numeric Explanatory\nx Numeric Explanatory\n", {});
  expectRefused("base has no records");
  folder.write("base", "1");
  expectRefused("base has 1 bytes after its last whole record, number 0");
  std::filesystem::remove(folder.path("base"));
  expectRefused("cannot open base: No such file or directory");
  writeTable("base", "no Numeric Explanatory\nx Numeric Explanatory\n", {1, 2});
  expectRefused("base has no column id");
  writeTable("base", "id Numeric Explanatory\nid Numeric Explanatory\n", {1, 2});
  expectRefused("base.info has two columns id");
  writeTable("base", "id Numeric Other\n", {1, 2});
  expectRefused("base.info: Unknown attribute purpose");
  writeTable("base", "", {1, 2});
  expectRefused("base.info has no columns");
  std::filesystem::remove(folder.path("base.info"));
  expectRefused("base has no description base.info");
  writeTable("base", "id Numeric Explanatory\n", {1}, "id,x,y\n");
  expectRefused("base.labels: line 2: 'x' is no code of a category");
  writeTable("base", "Col1 Numeric LineNumber\nid Numeric Explanatory\nCol3 Numeric Explanatory\n", {1, 0, 2, 1, 3, 0});
  expectRefused("base.info describes a sparse dataset, not a table; vesk table rows makes a table of sums");
}

TEST_F(JoinTableTest, WarnsOfNumbersOfTheBaseThatAreNotKeys) {
  writeTable("base", "id Numeric Explanatory\n", {1, missing, 9007199254740992.0, 1.5});
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_EQ(
      errText,
      "vesk: base, record 3: 9007199254740992 of column id is no key, the first of 2; a key must be a whole number "
      "below 2^53\n");
  EXPECT_THAT(outText, HasSubstr("  1 records of base have no key\n"));
}

TEST_F(JoinTableTest, WarnsOfKeysWithAnExponent) {
  writeTable("base", "id Numeric Explanatory\n", {491512345678, 491512000000, 7});
  folder.write("r.csv", "id,a\n7,1\n4.91512E+11,2\n8e0,1e3\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_EQ(errText,
            "vesk: r.csv: 2 keys of column id have an exponent, first '4.91512E+11' in line 3; if the program that "
            "wrote them rounded them, they are the keys of others\n");
  EXPECT_THAT(numbers("out"), ElementsAre(491512345678, missing, 491512000000, 2, 7, 1));
  folder.write("r.csv", "id,a\n7,1e3\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_EQ(errText, "");
}

TEST_F(JoinTableTest, RefusesAnOutputThatIsAnInput) {
  writeTable("right", "id Numeric Explanatory\ny Numeric Explanatory\n", {1, 5}, "y,5,five\n");
  folder.write("s.info", folder.read("r.csv"));
  for (const std::string output : {"base", "right", "r.csv", "s"}) {
    EXPECT_EQ(run({"table", "join", folder.path("base"), folder.path(output), "--key", "id", "--with",
                   folder.path("right"), "--with", folder.path("r.csv"), "--with", folder.path("s.info")}),
              99);
    EXPECT_EQ(errText,
              "vesk: the output " + output + (output == "s" ? ".info" : "") + " would take the place of the input\n");
  }
  EXPECT_EQ(numbers("base").size(), 6U);
}

// Two texts with the same code, found by a search over 100 million texts.
TEST_F(JoinTableTest, FindsCategoricalKeysByTheirTexts) {
  const std::string first = "thnsbqhxniwm";
  const std::string second = "vzsvryizhrzh";
  const std::string code = std::to_string(quvenCategoryCode(first));
  const std::string info = "id Categorical Explanatory\n";
  writeTable("base", info, {codeOf(first), 7, codeOf("07"), missing},
             "id," + code + "," + first + "\nid,7,7\nid," + std::to_string(quvenCategoryCode("07")) + ",07\n");
  folder.write("r.csv", "id,a\n7,1\n07,2\n7.0,3\n" + first + ",4\n");
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  EXPECT_THAT(numbers("out"), ElementsAre(codeOf(first), 4, 7, 1, codeOf("07"), 2, missing, missing));
  EXPECT_THAT(outText, HasSubstr("4 keys, 3 of them in base and 1 not; 1 records of base have no partner"));

  const std::string clash =
      "the texts '" + first + "' and '" + second + "' of column id have the same code " + code + "; change one of them";
  expectCsvRefused("id,a\n7,1\n" + second + ",2\n", "r.csv, line 3: " + clash);
  expectCsvRefused("id,a\n7,1\n,2\n", "r.csv, line 3: '' of column id is no key");
  expectCsvRefused("id,a\nx,1\n7,1\nx,2\n", "r.csv, line 4: the key 'x' is there a second time, first in line 2");

  const Numbers rows = {codeOf(first), 5};
  const std::string rightInfo = info + "y Numeric Explanatory\n";
  writeTable("right", rightInfo, rows, "id," + code + "," + first + "\n");
  EXPECT_EQ(join({"--with", "right"}), 0);
  EXPECT_THAT(labels(), Not(HasSubstr("y,")));
  writeTable("right", rightInfo, rows, "id," + code + "," + second + "\n");
  expectRefused(
      "right, record 1: the code " + code + " of column id means '" + second + "', and '" + first + "' in base",
      {"--with", "right"});
  writeTable("right", rightInfo, rows, "y,5,five\n");
  expectRefused("right, record 1: the key " + code + " has no label", {"--with", "right"});

  writeTable("base", info, {7, codeOf(first)}, "id,7,7\n");
  expectCsvRefused("id,a\n7,1\n" + second + ",2\n", "base, record 2: the key " + code + " has no label");
  expectCsvRefused("id,a\n" + first + ",1\n" + second + ",2\n",
                   "r.csv, line 3: the key '" + second + "' has the same code as '" + first + "' in line 2");
}

TEST_F(JoinTableTest, FindsTheRowsOfManyKeys) {
  std::mt19937_64 random(3);
  std::map<double, double> expected;
  std::string csv = "id,a\n";
  for (int i = 0; i < 5000; ++i) {
    // Keys that differ in their low bits, in their high bits and in sign.
    const auto step = static_cast<std::int64_t>(random() % 4000);
    const std::int64_t key = (i % 3 == 0 ? 1 : i % 3 == 1 ? std::int64_t{1} << 40 : -7) * step;
    const double value = static_cast<double>(i);
    if (!expected.emplace(static_cast<double>(key), value).second) continue;
    csv += std::to_string(key) + "," + std::to_string(i) + "\n";
  }
  Numbers base;
  for (std::int64_t key = -28000; key < 4000; ++key) base.push_back(static_cast<double>(key));
  for (std::int64_t key = 0; key < 4000; ++key) base.push_back(static_cast<double>(key << 40));
  writeTable("base", "id Numeric Explanatory\n", base);
  folder.write("r.csv", csv);
  EXPECT_EQ(join({"--with", "r.csv"}), 0);
  const Numbers result = numbers("out");
  ASSERT_EQ(result.size(), 2 * base.size());
  for (std::size_t i = 0; i < base.size(); ++i) {
    const auto found = expected.find(base[i]);
    ASSERT_EQ(result[2 * i], base[i]);
    ASSERT_EQ(result[2 * i + 1], found == expected.end() ? missing : found->second) << base[i];
  }
}

TEST_F(JoinTableTest, PrintsTheWarningsOfACsvFile) {
  folder.write("r.csv", "id,a,7\n1,5,1\n2,x,1\n");
  EXPECT_EQ(join({"--with", "r.csv:r_"}), 0);
  EXPECT_EQ(errText,
            "vesk: r.csv: a column has the number 7 for a name; the first row must have the names\n"
            "vesk: r.csv: column r_a is categorical, with 1 cells that are numbers: 'x' in line 3 is not one\n");
}

TEST_F(JoinTableTest, NeedsAKeyAndAFile) {
  EXPECT_EQ(join({}), 1);
  EXPECT_EQ(errText, "vesk: --with is required\n");
  EXPECT_EQ(run({"table", "join", "base", "out", "--with", "r.csv"}), 1);
  EXPECT_EQ(errText, "vesk: --key is required\n");
  EXPECT_EQ(run({"table", "join", "base", "out", "--with", "r.csv", "--key", ""}), 1);
  EXPECT_EQ(errText, "vesk: --key: [] is no name\n");
}

}  // namespace
}  // namespace vesk
