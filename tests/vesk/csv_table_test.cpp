#include "table/csv_table.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "support/temporary_folder.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr double missing = -99999.0;
constexpr double yes = 491694229043088.0;  // codes, see the tests of the category codes
constexpr double no = 642662776756986.0;

class CsvTableTest : public ::testing::Test {
 protected:
  CsvTableTest() {
    options.input = folder.path("in.csv");
    options.output = folder.path("out.bin");
  }

  CsvTable make(const std::string& csv) {
    folder.write("in.csv", csv);
    return makeCsvTable(options);
  }

  /// What the program would say; nothing is written.
  std::string mistakeOf(const std::string& csv) {
    folder.write("in.csv", csv);
    try {
      makeCsvTable(options);
    } catch (const std::runtime_error& error) {
      expectNothingWritten();
      std::string text = error.what();
      if (const std::size_t place = text.find(options.input); place != std::string::npos) {
        text.replace(place, options.input.size(), "IN");
      }
      return text;
    }
    return "";
  }

  void expectNothingWritten() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      names.push_back(entry.path().filename());
    EXPECT_THAT(names, ElementsAre("in.csv"));
  }

  std::vector<double> numbers() const {
    const std::string bytes = folder.read("out.bin");
    std::vector<double> values(bytes.size() / sizeof(double));
    if (!values.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
  }
  std::string info() const { return folder.read("out.bin.info"); }
  std::string labels() const { return folder.read("out.bin.labels"); }

  TemporaryFolder folder;
  CsvTableOptions options;
};

TEST_F(CsvTableTest, WritesNumbersNamesAndLabels) {
  options.target = "y";
  const CsvTable table = make("x 1,plan,y\n1.5,no,10\n-2,yes,20\n");
  EXPECT_EQ(table.rows, 2U);
  EXPECT_THAT(numbers(), ElementsAre(1.5, no, 10, -2, yes, 20));
  EXPECT_EQ(info(), "x_1 Numeric Explanatory\nplan Categorical Explanatory\ny Numeric Target\n");
  EXPECT_EQ(labels(), "column,code,label\nplan,491694229043088,yes\nplan,642662776756986,no\n");
  EXPECT_THAT(table.remarks, IsEmpty());
}

TEST_F(CsvTableTest, TakesEveryFormOfCsv) {
  make("\xEF\xBB\xBF\"a\", b\r\n\"1\",\"yes\"\r\n 2 ,yes\r\n\r\n");
  EXPECT_THAT(numbers(), ElementsAre(1, yes, 2, yes));
  make("a,b\n1,2\n3,4");
  EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4));
  options.delimiter = ';';
  make("a;b\n1;2,5\n");
  EXPECT_THAT(info(), HasSubstr("b Categorical"));
}

TEST_F(CsvTableTest, MakesEmptyCellsAndGivenTextsMissing) {
  make("a,b\n,yes\nNA,null\nNaN,?\n3,\"\"\n");
  EXPECT_THAT(numbers(), ElementsAre(missing, yes, missing, missing, missing, missing, 3, missing));
  EXPECT_EQ(info(), "a Numeric Explanatory\nb Categorical Explanatory\n");
  options.missing = {"-1"};
  const CsvTable table = make("a,b\n-1,NA\n,1\n");
  EXPECT_THAT(numbers(), ElementsAre(missing, quvenCategoryCode("NA"), missing, 1));
  EXPECT_EQ(table.columns[0].getMissing(), 2U);
}

TEST_F(CsvTableTest, TakesAColumnWithoutValuesForNumeric) {
  make("a,b\n,1\nNA,2\n");
  EXPECT_EQ(info(), "a Numeric Explanatory\nb Numeric Explanatory\n");
  EXPECT_THAT(numbers(), ElementsAre(missing, 1, missing, 2));
}

TEST_F(CsvTableTest, MakesAColumnWithOneTextCategorical) {
  const CsvTable table = make("a,b\n1,2\n1.0,3\n+1,4\n");
  const double one = static_cast<double>(quvenCategoryCode("1.0"));
  const double plus = static_cast<double>(quvenCategoryCode("+1"));
  EXPECT_THAT(numbers(), ElementsAre(1, 2, one, 3, plus, 4));
  EXPECT_THAT(table.remarks,
              ElementsAre("column a is categorical, with 2 cells that are numbers: '+1' in line 4 is not one"));
}

TEST_F(CsvTableTest, TakesTypesFromTheOptions) {
  options.categorical = {"a"};
  options.numeric = {"b"};
  const CsvTable table = make("a,b\n7,2\n07,3\n-99999,4\ninf,5\n");
  EXPECT_EQ(info(), "a Categorical Explanatory\nb Numeric Explanatory\n");
  EXPECT_EQ(numbers()[0], 7);
  EXPECT_EQ(numbers()[2], static_cast<double>(quvenCategoryCode("07")));
  EXPECT_EQ(numbers()[4], static_cast<double>(quvenCategoryCode("-99999")));
  EXPECT_EQ(table.columns[0].countCategories(), 4U);
  EXPECT_THAT(table.remarks, IsEmpty());
}

TEST_F(CsvTableTest, RefusesATextInANumericColumn) {
  options.numeric = {"b"};
  EXPECT_EQ(mistakeOf("a,b\n1,2\nx,3\n4,\"y\"\n"), "IN, line 4: 'y' of column b is not a number");
}

TEST_F(CsvTableTest, DropsColumns) {
  options.drop = {"phone_number", "b"};
  make("a,phone number,b,c\n1,2,x,4\n");
  EXPECT_EQ(info(), "a Numeric Explanatory\nc Numeric Explanatory\n");
  EXPECT_THAT(numbers(), ElementsAre(1, 4));
}

TEST_F(CsvTableTest, NamesColumnsByPlaceWithoutAHeader) {
  options.hasHeader = false;
  options.target = "C2";
  EXPECT_EQ(make("1,2\n3,4\n").rows, 2U);
  EXPECT_EQ(info(), "C1 Numeric Explanatory\nC2 Numeric Target\n");
  EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4));
}

TEST_F(CsvTableTest, RemarksOnNumbersForNames) {
  EXPECT_THAT(make("a,0.5\n1,2\n").remarks,
              ElementsAre("a column has the number 0.5 for a name; if the first row is a record, use --no-header"));
}

TEST_F(CsvTableTest, MakesATargetOfTwoTextsNumeric) {
  options.target = "y";
  make("x,y\n1,TRUE\n2,\n3,FALSE\n");
  EXPECT_EQ(info(), "x Numeric Explanatory\ny Numeric Target\n");
  EXPECT_EQ(labels(), "column,code,label\ny,0,FALSE\ny,1,TRUE\n");
  EXPECT_THAT(numbers(), ElementsAre(1, 1, 2, missing, 3, 0));
  make("x,y\n1,0\n2,yes\n3,0\n");
  EXPECT_EQ(labels(), "column,code,label\ny,0,0\ny,1,yes\n");
}

TEST_F(CsvTableTest, RefusesATargetOfOtherTexts) {
  options.target = "y";
  EXPECT_EQ(mistakeOf("x,y\n1,c\n2,a\n3,b\n4,d\n"), "IN: the target y has more than two texts: 'a', 'b', 'c'");
  EXPECT_EQ(mistakeOf("x,y\n1,1\n2,2\n3,b\n"), "IN: the target y has more than two texts: '1', '2', 'b'");
  EXPECT_EQ(mistakeOf("x,y\n1,a\n2,NA\n"), "IN: the target y has the one text 'a'; a target of texts has two");
  options.numeric = {"y"};
  EXPECT_EQ(mistakeOf("x,y\n1,a\n2,b\n"), "IN, line 2: 'a' of column y is not a number");
}

TEST_F(CsvTableTest, RefusesTheNumberOfAMissingValue) {
  const std::string text = " means a missing value in a dataset; name it in --missing if it is one";
  EXPECT_EQ(mistakeOf("a,b\n1,2\n3,-99999\n-99999.0,4\n"), "IN, line 3: '-99999' of column b" + text);
  EXPECT_EQ(mistakeOf("a,b\n1,2\n-9.9999e4,4\n"), "IN, line 3: '-9.9999e4' of column a" + text);
  options.missing = {"-99999"};
  make("a,b\n1,-99999\n");
  EXPECT_THAT(numbers(), ElementsAre(1, missing));
}

TEST_F(CsvTableTest, RefusesNumbersThatAreNotFinite) {
  for (const std::string text : {"inf", "-Infinity", "nan", "1e999"}) {
    EXPECT_EQ(mistakeOf("a,b\n1,2\n" + text + ",3\n"), "IN, line 3: '" + text + "' of column a is not a finite number");
  }
  make("a,b\nNan,1\nKim,2\n");
  EXPECT_THAT(info(), HasSubstr("a Categorical"));
}

// Found by a search over 100 million texts.
TEST_F(CsvTableTest, RefusesTwoTextsWithOneCode) {
  const std::string first = "thnsbqhxniwm";
  const std::string second = "vzsvryizhrzh";
  const std::string code = std::to_string(quvenCategoryCode(first));
  EXPECT_EQ(mistakeOf("a,b\n" + first + ",1\nx,2\n" + second + ",3\n"),
            "IN, line 4: the texts '" + first + "' and '" + second + "' of column a have the same code " + code +
                "; change one of them");
  make("a,b\n" + first + "," + second + "\n");  // in two columns they are no trouble
  EXPECT_EQ(numbers()[0], numbers()[1]);
}

TEST_F(CsvTableTest, RefusesRowsOfAnotherWidth) {
  EXPECT_EQ(mistakeOf("a,b\n1,2\n1,2,3\n"), "IN, line 3: 3 cells, not 2");
  EXPECT_EQ(mistakeOf("a,b\n1,2\n\n3,4\n"), "IN, line 3: 1 cells, not 2");
  EXPECT_EQ(mistakeOf("a,b\n\"two\nlines\",2\n3\n"), "IN, line 4: 1 cells, not 2");
}

TEST_F(CsvTableTest, RefusesTablesWithoutContent) {
  EXPECT_EQ(mistakeOf(""), "IN is empty");
  EXPECT_EQ(mistakeOf("\n\n"), "IN is empty");
  EXPECT_EQ(mistakeOf("a,b\n"), "IN has no rows");
  EXPECT_EQ(mistakeOf("a;b\n1;2\n"), "IN has one column; it is cut at ','");
  options.drop = {"a"};
  EXPECT_EQ(mistakeOf("a,b\n1,2\n"), "IN has 1 columns without the dropped ones; a table has two or more");
}

TEST_F(CsvTableTest, RefusesMoreColumnsThanADatasetHas) {
  std::string row = "1";
  for (int i = 1; i < 25000; ++i) row += ",1";
  options.hasHeader = false;
  EXPECT_EQ(mistakeOf(row + ",1\n"), "IN has more than 25000 columns");
  EXPECT_EQ(make(row + "\n").columns.size(), 25000U);
}

TEST_F(CsvTableTest, NamesTheLineOfATextThatIsNoCsv) {
  EXPECT_EQ(mistakeOf("a,b\n1,\"2\n"), "IN, line 2: a quote that is not closed");
  EXPECT_EQ(mistakeOf(std::string("a,b\n1,\0\n", 8)), "IN, line 2: a byte of value 0: this is no text");
  EXPECT_EQ(mistakeOf("a,b\x02\n1,2\n"), "IN: the name of column 2 has a control character");
}

TEST_F(CsvTableTest, NamesColumnsThatTheFileHasNot) {
  const std::string csv = "a,b\n1,2\n";
  options.target = "y";
  EXPECT_EQ(mistakeOf(csv), "IN has no column y");
  options.target.reset();
  for (std::vector<std::string>* list : {&options.categorical, &options.numeric, &options.drop}) {
    *list = {"b", "z"};
    EXPECT_EQ(mistakeOf(csv), "IN has no column z");
    list->clear();
  }
}

TEST_F(CsvTableTest, ReadsRegularFilesOnly) {
  options.input = folder.path();
  EXPECT_THROW(makeCsvTable(options), std::runtime_error);
  options.input = folder.path("in.csv");
  try {
    makeCsvTable(options);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "cannot open " + options.input + ": No such file or directory");
  }
}

TEST_F(CsvTableTest, DoesNotWriteOverItsInput) {
  const std::string csv = "a,b\n1,2\n";
  options.output = options.input;
  EXPECT_EQ(mistakeOf(csv), "the output IN would take the place of the input");
  for (const std::string end : {".info", ".labels"}) {
    std::filesystem::rename(folder.path("in.csv"), folder.path("in.csv" + end));
    options.input = folder.path("in.csv" + end);
    EXPECT_THROW(makeCsvTable(options), std::runtime_error);
    EXPECT_EQ(folder.read("in.csv" + end), csv);
    std::filesystem::rename(options.input, folder.path("in.csv"));
  }
}

TEST_F(CsvTableTest, KeepsEarlierOutputsWhenItFails) {
  make("a,b\n1,2\n");
  folder.write("in.csv", "a,b\n1,2\n3\n");
  EXPECT_THROW(makeCsvTable(options), std::runtime_error);
  EXPECT_THAT(numbers(), ElementsAre(1, 2));
  EXPECT_EQ(info(), "a Numeric Explanatory\nb Numeric Explanatory\n");
}

TEST_F(CsvTableTest, TellsOutputsThatCannotBeWritten) {
  options.output = folder.path("missing/out.bin");
  EXPECT_EQ(mistakeOf("a,b\n1,2\n"), "cannot write " + options.output + ": No such file or directory");
  options.output = folder.path("out.bin");
  std::filesystem::create_directory(folder.path("out.bin.labels"));
  EXPECT_THROW(makeCsvTable(options), std::runtime_error);
  EXPECT_FALSE(folder.has("out.bin"));
  EXPECT_FALSE(folder.has("out.bin.info"));
}

TEST_F(CsvTableTest, WritesTheSameNumbersForRowsInManyBlocks) {
  std::string csv = "a,b,c\n";
  std::vector<double> expected;
  for (int i = 0; i < 20000; ++i) {
    csv += std::to_string(i) + "," + (i % 2 == 0 ? "yes" : "no") + "," + std::to_string(-i) + "\n";
    expected.insert(expected.end(), {static_cast<double>(i), i % 2 == 0 ? yes : no, static_cast<double>(-i)});
  }
  EXPECT_EQ(make(csv).rows, 20000U);
  EXPECT_EQ(numbers(), expected);
}

}  // namespace
}  // namespace vesk
