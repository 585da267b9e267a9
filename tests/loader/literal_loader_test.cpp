// The literal loader against results worked out by hand: it is trusted by the comparison, so it has to earn it.

#include "literal_loader.h"

#include <cmath>
#include <limits>

#include "literal_cases.h"
#include "literal_comparison.h"
#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

std::string bytesOf(const Doubles& numbers) {
  return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(double)};
}

class LiteralLoaderTest : public ::testing::Test {
 protected:
  LiteralLoader& scan(const std::string& bytes) {
    loader.emplace(settings, special, 1);
    loader->updateMap("calls", bytes, scope);
    return *loader;
  }
  const FileStatistics& statistics() { return loader->statistics.back(); }
  bool ends(const std::string& bytes) {
    try {
      scan(bytes);
    } catch (const LiteralTermination&) {
      return true;
    }
    return false;
  }

  LoaderSettings settings = tableSettings(3);
  std::set<double> special;
  ScanScope scope{0.0, 2, 0, 1};
  std::optional<LiteralLoader> loader;
};

TEST_F(LiteralLoaderTest, KeepsTheLatestEntries) {
  settings.dateField = 2;
  settings.payloadInputs = {3};
  scan(record("1", "1") + record("1", "2", "20200102", "7") + record("1", "3") + record("1", "4"));
  EXPECT_EQ(loader->tables.keys[1], (Doubles{2, 3, 4}));
  EXPECT_EQ(loader->tables.dates[1], (Doubles{20200102, 20200101, 20200101}));
  EXPECT_EQ(loader->tables.payloads[1], (std::vector<Doubles>{{7, 1, 1}}));
  EXPECT_EQ(statistics().linesScanned, 4U);
}

TEST_F(LiteralLoaderTest, CountsEveryKindOfBadLine) {
  settings.dateField = 2;
  scope.cutoffDate = 20200201;  // 2 January 2020
  scan(record("1", "5", "20200102") + record("0", "5", "20200102") + record("1", "5", "20200101") + "   1\n" +
       record("1 1", "5") + record("1", "") + "\n" + record("1", "6", "20200103"));
  EXPECT_EQ(loader->tables.keys[1], (Doubles{5, 6}));
  EXPECT_EQ(statistics().negativeCallers, 1U);
  EXPECT_EQ(statistics().date, 1U);
  EXPECT_EQ(statistics().parsing, 2U);  // the short one and the empty one
  EXPECT_EQ(statistics().spacing, 2U);
  EXPECT_EQ(statistics().linesOmitted, 6U);
  EXPECT_EQ(statistics().linesScanned, 8U);
}

TEST_F(LiteralLoaderTest, SpellsItsReports) {
  scan(record("0", "5"));
  EXPECT_EQ(loader->out,
            logLine(0, ">>> VESK loader: staring update_map, file = calls") +
                logLine(1, ">>> VESK loader: updating map, file = calls, partition = 0") +
                logLine(1, "Line length = 20") + logLine(1, "negative caller ID, line number 1\n") +
                logLine(1, "cdr file scan completed: 1 lines are scanned\n>>> VESK loader: update map is done."));
  loader->out.clear();
  loader->printScanStatistics();
  EXPECT_EQ(loader->out, warningLine(1372, "1;|Warning: The total omitted lines count is 1") +
                             logLine(1,
                                     "Stats for file: calls\n1 lines are scanned, 1 omitted (0 date, 1 negative "
                                     "callers, 0 parsing, 0 space in the middle)\n  operation 0: 0 problem cdrs, 0 "
                                     "restricted numbers "));
}

TEST_F(LiteralLoaderTest, DropsATailWithoutALineFeedAndFailsAtALongLine) {
  scan(record("1", "2") + "   1   3202001010001");
  EXPECT_EQ(loader->tables.keys[1], (Doubles{2}));
  EXPECT_FALSE(ends(std::string(9999, ' ') + "\n" + std::string(9999, ' ')));
  EXPECT_TRUE(ends("\n" + std::string(10000, ' ') + "\n"));
  EXPECT_NE(loader->out.find(logLine(2, "Vesk Loader, update_map: reading failure in line 3") +
                             errorLine(1351, "3;|update map: Unexpected error occured: last line read = 3")),
            std::string::npos);
  EXPECT_TRUE(ends(std::string(10000, ' ')));
}

TEST_F(LiteralLoaderTest, SumsAndCounts) {
  settings = plainSettings();
  settings.multiplicityField = 3;
  addOperation(settings, "Add", 1, 0, "GT", 2);
  addOperation(settings, "Count", 1, 2);
  scan(record("4", "2", "1", "3") + record("4", "5.5", "1", "0"));
  EXPECT_EQ(loader->tables.keys[4], (Doubles{5.5, 0, 4}));
  loader->writePmlFile("out");
  EXPECT_EQ(loader->files["out"], bytesOf({4, 0, 3, 4, 1, 0, 4, 2, 4, 4, 4, 0}));
}

TEST_F(LiteralLoaderTest, AddsPairsAndMarksTheirFile) {
  settings = pairSumSettings();
  settings.multiplicityField = 3;
  scan(record("4", "9", "1", "3") + record("4", "5") + record("4", "9", "1", "2"));
  loader->writeProcessFile("process");
  EXPECT_EQ(loader->files["process"], bytesOf({4, 5, 1, 9, 5, -2, -1}));
  loader->writePmlFile("out");
  EXPECT_EQ(loader->files["out"], bytesOf({4, 0, 2, 4, 5, 1, 4, 9, 5, 4, 0, 7788}));
}

TEST_F(LiteralLoaderTest, ReadsWhatItWroteAndDropsWhatIsOld) {
  settings.dateField = 2;
  settings.payloadInputs = {3};
  scan(record("8", "1", "20200101", "5") + record("8", "2", "20200301", "6"));
  loader->writeProcessFile("process");
  EXPECT_EQ(loader->files["process"], bytesOf({8, 1, 20200101, 2, 20200301, -2, 5, 6, -2, -1}));
  EXPECT_TRUE(loader->readProcessFile("process"));
  EXPECT_EQ(loader->processRecords, 1U);
  loader->dropOldEntries(20200103, 2);  // 1 March 2020
  EXPECT_EQ(loader->tables.keys[8], (Doubles{2}));
  EXPECT_EQ(loader->tables.payloads[8], (std::vector<Doubles>{{6}}));
  EXPECT_FALSE(loader->readProcessFile("other"));
}

TEST_F(LiteralLoaderTest, WritesTheFormsForPeople) {
  settings.payloadInputs = {3};
  settings.outputFormat = OutputFormat::CSV;
  scan(record("8", "3", "1", "5") + record("8", "2", "1", "6"));
  loader->writePmlFile("out");
  EXPECT_EQ(loader->files["out"], "8, 2, 6, 3, 5, 0.0, 0.0\n");
  settings.outputFormat = OutputFormat::XML;
  settings.tagPrefix = "x:";
  settings.outputNamespace = "n";
  scan(record("8", "3", "1", "5"));
  loader->writePmlFile("out");
  EXPECT_EQ(loader->files["out"],
            "<x:Loader-Output n>\n\n<x:Row>\n\t<x:Key> 8 </x:Key>\n\t<x:Col>\n\t\t<x:Index> 1 </x:Index>\n"
            "\t\t<x:Value> 3 </x:Value>\n\t\t<x:Payload>\n\t\t\t<x:Index> 1 </x:Index>\n\t\t\t<x:Value> 5 </x:Value>\n"
            "\t\t</x:Payload>\n\t</x:Col>\n</x:Row>\n\n</x:Loader-Output>\n");
}

TEST_F(LiteralLoaderTest, FiltersBySpecialNumbers) {
  special = {5};
  settings.specialListFilter = SpecialListFilter::Restrict;
  scan(record("1", "5") + record("1", "6"));
  EXPECT_EQ(loader->tables.keys[1], (Doubles{5}));
  EXPECT_EQ(statistics().restrictedNumbers, (std::vector<std::int32_t>{1}));
  EXPECT_EQ(statistics().linesOmitted, 0U);
  settings.specialListFilter = SpecialListFilter::Exclude;
  scan(record("1", "5") + record("1", "6"));
  EXPECT_EQ(loader->tables.keys[1], (Doubles{6}));
}

// By hand for n = 3: k = 17 gives 17 * phi = 10.50658, b = floor(3 * 0.50658) = 1, (2 * 17 + 1) mod 3 = 2.
TEST_F(LiteralLoaderTest, SpreadsKeys) {
  EXPECT_EQ(literalPartitionOfKey(0, 3), 0U);
  EXPECT_EQ(literalPartitionOfKey(7919, 3), 0U);
  EXPECT_EQ(literalPartitionOfKey(17, 3), 2U);
  EXPECT_EQ(literalUnsigned(-1.5), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(literalUnsigned(9223372036854777856.0), 9223372036854777856U);
  EXPECT_EQ(literalUnsigned(infinity), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(LiteralLoaderTest, ComparesDatesAsText) {
  EXPECT_FALSE(literalDateIsBefore(20120203, 20120302, 2));  // both 3 February
  EXPECT_TRUE(literalDateIsBefore(20120202, 20120302, 2));
  EXPECT_FALSE(literalDateIsBefore(20120302, 20120302, 1));
  EXPECT_TRUE(literalDateIsBefore(20120202, 20120302, 1));
  EXPECT_FALSE(literalDateIsBefore(20121301, 20120302, 2));  // 1 of month 13
  EXPECT_TRUE(literalDateIsBefore(20113112, 20120101, 1));
  EXPECT_EQ(literalCutoffDate(20120103, 1), 20122902.0);  // 1 March 2012: one day before is 29 February
}

TEST_F(LiteralLoaderTest, SortsByExchangingNeighbours) {
  LiteralRow row = {3, 1, 3, 2};
  EXPECT_EQ(literalSort(row), (std::vector<std::size_t>{1, 3, 0, 2}));
  EXPECT_EQ(row, (Doubles{1, 2, 3, 3}));
  row = {3, std::nan(""), 1};
  EXPECT_EQ(literalSort(row), (std::vector<std::size_t>{0, 1, 2}));  // nothing is greater than its neighbour
}

TEST_F(LiteralLoaderTest, TestsConditions) {
  EXPECT_TRUE(literalCondition("EQ", 2, 2) && literalCondition("LE", 2, 2) && literalCondition("GE", 2, 2));
  EXPECT_FALSE(literalCondition("GT", 2, 2) || literalCondition("LT", 2, 2) || literalCondition("EQ", 1, 2));
  EXPECT_TRUE(literalCondition("XX", std::nan(""), 2));
  EXPECT_FALSE(literalCondition("GE", std::nan(""), 2));
}

// A case in which the two sides cannot agree: one of them is given another special list.
TEST_F(LiteralLoaderTest, IsToldApartFromALoaderThatDoesSomethingElse) {
  const LoaderFolder folder;
  LoaderCase made;
  made.settings = tableSettings(3);
  made.runs.push_back({3, 0.0, true, {{"f0.cdr", record("1", "2")}}});
  EXPECT_EQ(differenceOfSteps(made, folder.path()), "");
  made.settings.specialListFilter = SpecialListFilter::Restrict;  // of numbers that only the literal loader knows
  made.specialNumbers = {2};
  const std::string found = differenceOfSteps(made, folder.path());
  EXPECT_NE(found.find("run 1: "), std::string::npos);
  EXPECT_NE(found.find("differs at byte"), std::string::npos);
}

}  // namespace
}  // namespace vesk_loader::testing
