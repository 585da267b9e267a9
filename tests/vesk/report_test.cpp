#include "report/report.h"

#include <gmock/gmock.h>

#include <charconv>
#include <regex>
#include <set>

#include "csv/csv_rows.h"
#include "page/html_text.h"
#include "report_case.h"
#include "support/markup_check.h"

namespace vesk {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using vesk_page::MarkupCheck;

constexpr const char* groupsRun = R"({
  "RunParameters": {"Iteration": [{"NumEdgesInGraph": 7}], "Cutoff": 0.00018604},
  "Parameters": {"KernelParams": {"SparsityLevel": 0.5, "Bias": 1}, "MaxClusterSize": 15, "OutputFileName": "x/found"},
  "Defaults": {"KernelParams": {"SparsityLevel": "", "Bias": 1}, "MaxClusterSize": 100, "OutputFileName": ""},
  "Run": {"Version": "2.0.6", "Analysis": "groups", "Dataset": "table.bin", "Ranks": 2,
          "DatasetCard": {"Run": "2026-11-21-1", "Sha256": "0a", "Verified": 1},
          "Start": "2026-11-23T05:06:48Z", "Seconds": 1.5, "Passes": {"Pass": [{"Records": 5}, {"Records": 5}]},
          "Warnings": {"Count": 3, "Warning": ["2202;|A;|b", "5003;|C;|d"]}}
})";

class ReportTest : public ReportCase {
 protected:
  /// All numbers of the CSV files, as the page writes them.
  std::set<std::string> numbersOfCsvFiles() const {
    std::set<std::string> numbers;
    for (const std::string& name : outputs()) {
      if (!name.ends_with(".csv")) continue;
      const std::string text = folder.read(name);
      static const std::regex cell("[^,\n\"; ]+");
      for (auto each = std::sregex_iterator(text.begin(), text.end(), cell); each != std::sregex_iterator(); ++each) {
        const std::string word = each->str();
        numbers.insert(word);
        double value = 0;
        const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error != std::errc{} || stop != word.data() + word.size()) continue;
        numbers.insert(vesk_page::shortNumber(value));
        numbers.insert(vesk_page::countNumber(value));
        const std::string percent = vesk_page::percentText(value);
        numbers.insert(percent.substr(0, percent.find(' ')));
      }
    }
    return numbers;
  }

  /// The numbers in the cells of the tables, in the warnings, and in the texts and tooltips of the pictures, but not
  /// those at the marks of the axes.
  static std::vector<std::string> numbersOfPage(std::string page) {
    page = page.substr(page.find("</style>"));
    page = std::regex_replace(page, std::regex("<text[^>]*>[^<]*</text>"), "");
    page = page.substr(0, page.find("<h2>Files</h2>"));
    page = std::regex_replace(page, std::regex("<p>[^<]*</p>|<h[12]>[^<]*</h[12]>"), "");
    std::string texts = std::regex_replace(page, std::regex("<[^>]*>"), " ");
    static const std::regex number("[^ \n,;()–]*[0-9][^ \n,;()–]*");
    std::vector<std::string> numbers;
    for (auto each = std::sregex_iterator(texts.begin(), texts.end(), number); each != std::sregex_iterator(); ++each) {
      std::string word = each->str();
      if (word.ends_with('.') || word.ends_with(':')) word.pop_back();
      numbers.push_back(word);
    }
    return numbers;
  }
};

TEST_F(ReportTest, EachNumberOfThePageIsInACsvFile) {
  useGroups();
  useEnergy();
  options.seeds = folder.write("seeds", "9\n2\n77\n");
  writeLevels(
      "0.25,1e-17,50,2,5,3,1,12,0.6,0.8333333333,0.123456789,0.75,0\n0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,1\n");
  folder.write("found_changes.csv", "Event,Group\nborn,1\nborn,2\n\"split, 7\",3\n");
  addRun("groups.json", groupsRun);
  const std::string text = page();
  const std::set<std::string> known = numbersOfCsvFiles();
  const std::vector<std::string> shown = numbersOfPage(text);
  EXPECT_GT(shown.size(), 150U);
  for (const std::string& number : shown) EXPECT_TRUE(known.contains(number)) << number;
  // The check itself finds a number that is in no file.
  EXPECT_THAT(numbersOfPage("</style><td>31.5 %</td>"), ElementsAre("31.5"));
  EXPECT_FALSE(known.contains("31.5"));
}

TEST_F(ReportTest, ThePageIsOneFileThatEveryBrowserCanShow) {
  useGroups();
  useEnergy();
  options.seeds = folder.write("seeds", "9\n2\n");
  writeLevels("0.25,1e-17,50,2,5,3,1,12,0.6,0.8,0.1,0.75,0\n0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,1\n");
  addRun("groups.json", groupsRun);
  const std::string text = page();
  const MarkupCheck check(text);
  EXPECT_EQ(check.getMistake(), "");
  EXPECT_EQ(check.count("script"), 0);
  EXPECT_EQ(check.count("link"), 0);
  EXPECT_EQ(check.count("img"), 0);
  EXPECT_THAT(text, Not(HasSubstr("http")));
  EXPECT_THAT(text, Not(HasSubstr("url(")));
  EXPECT_EQ(check.count("svg"), 5);
  EXPECT_EQ(check.count("desc"), 5);
  EXPECT_EQ(check.count("caption"), check.count("table"));
  EXPECT_EQ(check.count("h1"), 1);
  EXPECT_EQ(check.count("h3"), 0);
  for (const std::string& role : check.valuesOf("role")) EXPECT_TRUE(role == "img" || role == "region") << role;
}

// By hand: sizes 3 and 2, densities 0.5 and 1, four of five members in the core.
TEST_F(ReportTest, TheNumbersOfTheGroupsAreThoseOfTheFiles) {
  useGroups();
  const std::string text = page();
  EXPECT_EQ(csv("groups"),
            "item,value\ngroups,2\nmembers,5\ncore members,4\nshare of core members,0.8\nsmallest size,2\n"
            "median size,2.5\nmean size,2.5\nlargest size,3\nmean density,0.75\nmedian density,0.75\n");
  EXPECT_EQ(csv("sizes"), "size_from,size_to,groups,members,median_density\n2,2,1,2,1\n3,3,1,3,0.5\n");
  EXPECT_EQ(csv("largest"),
            "group,size,leader_1,confidence_1,leader_2,confidence_2,density,kernel_density,core_share\n"
            "1,3,1,2.5,2,1.5,0.5,0.25,1\n2,2,4,1,4,1,1,1,0.5\n");
  EXPECT_THAT(text, HasSubstr("<title>3 members: 1 group</title>"));
  EXPECT_THAT(text, HasSubstr("<title>Groups</title>"));
}

// By hand: 1 of 9, then 0.5 of 1, 0.25 of 2 and 0.125 of 4 and 5; 3 has none. The sum is 2. The groups have 0.75 and
// 0.25.
TEST_F(ReportTest, TheNumbersOfTheEnergyAreThoseOfTheFile) {
  useGroups();
  useEnergy();
  options.seeds = folder.write("seeds", "9\n2\n77\n9\n");
  page();
  EXPECT_EQ(csv("energy"),
            "item,value\nsubscribers,6\nsubscribers with energy,5\nsum of the energies,2\nlargest energy,1\n"
            "median of those with energy,0.25\n");
  EXPECT_EQ(csv("first"),
            "rank,energy,share,seeds,seed_share\n1,1,0.5,1,0.3333333333333333\n"
            "5,0.125,1,2,0.6666666666666666\n");
  EXPECT_EQ(csv("curve"),
            "rank,energy,share,seeds,seed_share\n1,1,0.5,1,0.3333333333333333\n2,0.5,0.75,1,0.3333333333333333\n"
            "3,0.25,0.875,2,0.6666666666666666\n4,0.125,0.9375,2,0.6666666666666666\n5,0.125,1,2,0.6666666666666666\n");
  // Subscriber 9 has energy, but neither calls nor is called.
  EXPECT_EQ(csv("seeds"),
            "item,value\ndifferent seeds,3\nseeds that call or are called,1\nshare of these seeds,0.3333333333333333\n"
            "seeds with energy,2\nshare of the seeds with energy,0.6666666666666666\n"
            "share of the energy that seeds hold,0.625\n");
  EXPECT_THAT(csv("largest"), HasSubstr(",1,0.75\n2,2,"));
}

TEST_F(ReportTest, TheRunsAreShownWithTheirChangedParametersAndWarnings) {
  useGroups();
  addRun("groups.json", groupsRun);
  const std::string text = page();
  EXPECT_THAT(csv("run1"), HasSubstr("command,vesk-analyze groups\ndataset,table.bin\n"
                                     "loader run of the dataset,2026-11-21-1\nSHA-256 of the card,0a\n"
                                     "hashes of the dataset,compared with the card\nranks,2\n"
                                     "start (UTC),2026-11-23T05:06:48Z\nseconds,1.5\npasses,2\nversion,2.0.6\n"));
  EXPECT_EQ(
      csv("parameters1"),
      "parameter,value,default\nKernelParams/SparsityLevel,0.5,\nMaxClusterSize,15,100\nOutputFileName,x/found,\n");
  EXPECT_EQ(csv("counts1"), "item,value\nIteration/1/NumEdgesInGraph,7\nCutoff,0.00018604\n");
  EXPECT_EQ(csv("warnings"),
            "run,warning\ngroups,\"2202, A, b\"\ngroups,\"5003, C, d\"\n"
            "groups,\"the run had more warnings, which are in its log only\"\n");
  EXPECT_THAT(text, HasSubstr("<li>groups: 2202, A, b</li>"));
  EXPECT_THAT(text, HasSubstr("<h1>Groups of table.bin</h1>"));
}

TEST_F(ReportTest, LevelsAndChangesAreFoundByThemselves) {
  useGroups();
  EXPECT_THAT(page(), Not(HasSubstr("Sparsity levels")));
  writeLevels("0.25,1e-17,50,2,5,3,1,12,0.6,0.8,0.1,0.75,0\n0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,1\n");
  folder.write("found_changes.csv", "Event,Group\ngone,1\nborn,2\ngone,3\n");
  const std::string text = page();
  EXPECT_THAT(text, HasSubstr("The run went on with level 0.5, modularity 0.5."));
  EXPECT_THAT(text, HasSubstr("<title>level 0.5, chosen: coverage 0.7</title>"));
  EXPECT_THAT(csv("levels"), HasSubstr("\n0.5,chosen,0.5,0.7,2,4,3,0,0.8,0.5,10,40,0.01\n"));
  EXPECT_EQ(csv("changes"), "event,count\nborn,1\ngone,2\n");
  EXPECT_THAT(text, HasSubstr("leader1 and leader2 the groups with another leader"));
}

TEST_F(ReportTest, LevelsAreShownWithoutGroups) {
  useGroups();
  writeLevels("0.25,1e-17,50,2,5,3,1,12,0.6,0.8,0.1,0.75,0\n0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,0\n");
  std::filesystem::remove(folder.path("found_1.nodes.csv"));
  EXPECT_THAT(refusal(), HasSubstr("3 found_1.nodes.csv: cannot open the file"));
  std::filesystem::remove(folder.path("found_1.clusters.csv"));
  const std::string text = page();
  EXPECT_EQ(MarkupCheck(text).getMistake(), "");
  EXPECT_EQ(MarkupCheck(text).count("svg"), 1);
  EXPECT_THAT(text, HasSubstr("<h1>Groups</h1>"));
  EXPECT_THAT(text, Not(HasSubstr("class=\"line chosen\"")));
  std::filesystem::remove(folder.path("found_levels.csv"));
  for (const std::string& name : outputs()) std::filesystem::remove(folder.path(name));
  EXPECT_THAT(refusal(), HasSubstr("3 found_1.clusters.csv: cannot open the file"));
}

TEST_F(ReportTest, AChosenLevelOfOtherGroupsIsDoubted) {
  useGroups();
  writeLevels("0.5,0.01,40,2,5,3,0,10,0.5,0.7,0.5,0.8,1\n");
  EXPECT_TRUE(makeReport(options).remarks.empty());
  writeLevels("0.5,0.01,40,3,5,3,0,10,0.5,0.7,0.5,0.8,1\n");
  EXPECT_THAT(makeReport(options).remarks,
              ElementsAre("the chosen level of " + folder.path("found_levels.csv") +
                          " has 3 groups with 5 members, and the run 2 with 5; they may be of different runs"));
}

TEST_F(ReportTest, ResultsWithoutGroupsOrEnergyAreShown) {
  writeClusters("");
  writeNodes("");
  writeEnergy("1,0,1,1,1,1\n");
  useGroups();
  useEnergy();
  const std::string text = page();
  EXPECT_EQ(MarkupCheck(text).getMistake(), "");
  EXPECT_THAT(text, HasSubstr("The run found no group."));
  EXPECT_THAT(text, HasSubstr("No subscriber has energy."));
  EXPECT_EQ(MarkupCheck(text).count("svg"), 0);
  writeEnergy("");
  EXPECT_EQ(MarkupCheck(page()).getMistake(), "");
}

TEST_F(ReportTest, TextsFromDataAreEscaped) {
  const std::string hostile = "a\"b'</script><script>alert(1)</script>&amp;\n\xff\x01";
  const std::string jsonHostile = R"("a\"b'</script><script>alert(1)</script>&amp;\n\u0001\u202e")";
  useGroups();
  useEnergy();
  options.title = hostile;
  writeLevels("0.25,1e-17,50,2,5,3,1,12,0.6,0.8,0.1,0.75,0\n");
  folder.write("found_changes.csv", "Event\n\"</table><b>&x\"\n");
  const std::string name = "run</desc>&\"'.json";
  addRun(name, "{\"Parameters\": {" + jsonHostile + ": " + jsonHostile + "}, \"RunParameters\": {" + jsonHostile +
                   ": [" + jsonHostile + ", null, true]}, \"Run\": {\"Analysis\": " + jsonHostile + ", \"Dataset\": " +
                   jsonHostile + ", \"Warnings\": {\"Count\": 1, \"Warning\": [" + jsonHostile + "]}}}");
  const std::string text = page();
  const MarkupCheck check(text);
  EXPECT_EQ(check.getMistake(), "");
  EXPECT_EQ(check.count("script"), 0);
  EXPECT_EQ(check.count("b"), 0);
  EXPECT_THAT(text, HasSubstr("<h1>a&quot;b&#39;&lt;/script&gt;&lt;script&gt;alert(1)&lt;/script&gt;&amp;amp; "
                              "\xEF\xBF\xBD\xEF\xBF\xBD</h1>"));
  EXPECT_THAT(text, HasSubstr("&lt;/table&gt;&lt;b&gt;&amp;x"));
  EXPECT_THAT(text, HasSubstr("run&lt;/desc&gt;&amp;&quot;&#39;.json"));
}

TEST_F(ReportTest, ChangesOfOtherGroupsAreDoubted) {
  useGroups();
  folder.write("found_changes.csv", "Event\nkept\nborn\ngone\nmoved\n");
  EXPECT_TRUE(makeReport(options).remarks.empty());
  folder.write("found_changes.csv", "Event\nkept\nborn\nborn\n");
  EXPECT_THAT(makeReport(options).remarks,
              ElementsAre(folder.path("found_changes.csv") +
                          " has events of 3 groups, and the run has 2 groups; they may be of different runs"));
}

TEST_F(ReportTest, AWrongInputIsNamedWithItsLine) {
  useGroups();
  const auto expect = [&](const std::string& text) { EXPECT_EQ(refusal(), "3 " + text); };
  folder.write("found_1.clusters.csv", "Group,Size\n");
  expect("found_1.clusters.csv has no column GroupNumber; it must be NAME_1.clusters.csv of vesk-analyze groups");
  writeClusters("1,3,0.5,0.25,1\n");
  expect("found_1.clusters.csv, line 2: 5 cells, not 6");
  writeClusters("1,3,0.5,0.25,1,1\n2,2,x,1,0.5,0.5\n");
  expect("found_1.clusters.csv, line 3: Density is no number: [x]");
  writeClusters("1,3,0.5,0.25,1,1\n1,2,1,1,0.5,0.5\n");
  expect("found_1.clusters.csv, line 3: group 1 has a second row");
  writeClusters("1,0,0.5,0.25,1,1\n");
  expect("found_1.clusters.csv, line 2: a group without members");
  writeClusters("1,3,-0.5,0.25,1,1\n");
  expect("found_1.clusters.csv, line 2: Density is below 0");
  writeClusters("1,3,0.5,0.25,1,0.4\n");
  expect("found_1.nodes.csv, line 5: group 2 has no row in found_1.clusters.csv; the two files are of different runs");
  writeClusters("1,4,0.5,0.25,1,0.4\n2,2,1,1,0.5,0.5\n");
  expect(
      "found_1.clusters.csv, line 2: group 1 has the size 4, but 3 rows in found_1.nodes.csv; the two files are of "
      "different runs");
  writeClusters("1,2,0.5,0.25,1,0.4\n");
  writeNodes("1,1,1,0,0,0,0\n2,1,1,0,0,1,1.5\n");
  expect("found_1.clusters.csv, line 2: group 1 has no leader in found_1.nodes.csv");
  writeNodes("1,1,1,1,1,0,0\n2,1,1,1,1,1,1.5\n");
  expect("found_1.nodes.csv, line 3: the group has a second leader of this type");
  writeNodes("1,1,1,1,1,0,0\n1,1,1,0,0,1,1.5\n");
  expect("found_1.nodes.csv has two rows of subscriber 1");
  writeNodes("1,1,2,1,1,0,0\n2,1,1,0,0,1,1.5\n");
  expect("found_1.nodes.csv, line 2: IsCoreNode is neither 0 nor 1: [2]");
  writeNodes("-1,1,1,1,1,0,0\n2,1,1,0,0,1,1.5\n");
  expect("found_1.nodes.csv, line 2: NodeNumber is no whole number up to 2^53: [-1]");
  options.groups = folder.path("none");
  EXPECT_THAT(refusal(), HasSubstr("3 none_1.clusters.csv: cannot open the file"));
}

TEST_F(ReportTest, WrongEnergiesSeedsAndLevelsAreNamedWithTheirLine) {
  useEnergy();
  const auto expect = [&](const std::string& text) { EXPECT_EQ(refusal(), "3 " + text); };
  writeEnergy("1,0.5,1,1,1,1\n2,nan,1,1,1,1\n");
  expect("energy.csv, line 3: DA_DiffusedEnergy is no number: [nan]");
  writeEnergy("2,0.5,1,1,1,1\n1,0.5,1,1,1,1\n2,1,1,1,1,1\n");
  expect("energy.csv has two rows of subscriber 2");
  writeEnergy("7,0.5,1,1,1,1\n");
  useGroups();
  expect("energy.csv has no member of the groups; the two are of different calls");
  options.groups.clear();
  options.seeds = folder.write("seeds", "8\n");
  expect("energy.csv has none of the 1 seeds");
  folder.write("seeds", "7\nx\n");
  expect("seeds, line 2: [x] is no plain number; ids of another form need --ids");
  options.energy.clear();
  options.seeds.clear();
  useGroups();
  writeLevels("0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,1\n0.6,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,1\n");
  expect("found_levels.csv, line 3: a second level is marked as chosen");
  writeLevels("0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,1\n0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,0\n");
  expect("found_levels.csv, line 3: the level has a second row");
  writeLevels("0.5,0.01,40,2,4,3,0,10,0.5,0.7,0.5,0.8,yes\n");
  expect("found_levels.csv, line 2: Chosen is neither 0 nor 1: [yes]");
  folder.write("found_levels.csv", "Level\n0.5\n");
  expect("found_levels.csv has no column Cutoff; it must be NAME_levels.csv of vesk-analyze groups --levels");
}

TEST_F(ReportTest, AWrongRunFileIsNamed) {
  useGroups();
  const std::string end = "; it must be the file of vesk-analyze --results-json";
  const auto expect = [&](const std::string& json, const std::string& text) {
    options.runs.clear();
    addRun("run.json", json);
    EXPECT_EQ(refusal(), "3 run.json" + text + end);
  };
  expect("{\n\"Run\": {\n", ", line 3: no JSON");
  expect("", ", line 1: no JSON");
  expect("{\"Run\": \"\xff\"}", ", line 1: no JSON");
  expect("[1]", " is no JSON object");
  expect("{}", " has no object Run");
  expect("{\"Run\": 3}", " has no object Run");
  expect("{\"Run\": {}}", " has no text Analysis");
  expect("{\"Run\": {\"Analysis\": \"groups\", \"Dataset\": 3}}", " has no text Dataset");
  expect(R"({"Parameters": 1, "Run": {"Analysis": "groups", "Dataset": "d"}})", " has no object Parameters");
  expect(R"({"Run": {"Analysis": "groups", "Dataset": "d", "Warnings": {"Warning": "w"}}})", " has no list Warning");
  expect(std::string(100000, '['), ": more than 50 levels");
}

TEST_F(ReportTest, RunsOfOtherResultsAreRefusedOrDoubted) {
  useGroups();
  addRun("a.json", R"({"Parameters": {"MaxClusterSize": 2}, "Run": {"Analysis": "groups", "Dataset": "d"}})");
  EXPECT_EQ(
      refusal(),
      "3 found_1.clusters.csv: group 1 has 3 members, more than MaxClusterSize 2 of a.json; they are of different "
      "runs");
  options.runs.clear();
  addRun("a.json", groupsRun);
  addRun("b.json", groupsRun);
  EXPECT_EQ(refusal(), "3 b.json is a second run of groups, beside a.json");
  options.runs.clear();
  addRun("a.json", R"({"Parameters": {"OutputFileName": "other"}, "Run": {"Analysis": "groups", "Dataset": "d"}})");
  EXPECT_THAT(makeReport(options).remarks,
              ElementsAre(folder.path("a.json") + " is of a run with the output name other, and the page shows found"));
  EXPECT_THAT(csv("warnings"), HasSubstr("is of a run with the output name other"));
}

TEST_F(ReportTest, NoOutputTakesThePlaceOfAnInput) {
  useGroups();
  addRun("groups.json", groupsRun);
  for (const char* input : {"found_1.nodes.csv", "./groups.json", "found_levels.csv"}) {
    options.output = folder.path(input);
    EXPECT_THAT(refusal(), HasSubstr("1 the output " + std::string(input) + " would take the place of "));
  }
  // The CSV files of found.html are found.TABLE.csv.
  options.output = folder.path("found.html");
  options.energy = folder.write("found.groups.csv", folder.read("energy.csv"));
  EXPECT_THAT(refusal(), HasSubstr("1 the output found.groups.csv would take the place of found.groups.csv"));
}

TEST_F(ReportTest, TheCsvFilesHaveTheNameOfThePage) {
  EXPECT_EQ(csvFileOf("a/page.html", "groups"), "a/page.groups.csv");
  EXPECT_EQ(csvFileOf("page.htm", "groups"), "page.groups.csv");
  EXPECT_EQ(csvFileOf("a.b/page", "groups"), "a.b/page.groups.csv");
  useGroups();
  const ReportResult result = makeReport(options);
  EXPECT_THAT(result.csvFiles, ElementsAre(folder.path("page.groups.csv"), folder.path("page.sizes.csv"),
                                           folder.path("page.densities.csv"), folder.path("page.largest.csv")));
  EXPECT_THAT(outputs(), Contains("page.largest.csv"));
}

}  // namespace
}  // namespace vesk
