// The page of vesk report, made of the results of the programs themselves.

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/markup_check.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using Strings = std::vector<std::string>;

class ReportRun : public ::testing::Test {
 protected:
  ProgramRun run(const std::string& program, const Strings& arguments) {
    return runProgram(program, arguments, folder.path());
  }
  void runWell(const std::string& program, const Strings& arguments) {
    const ProgramRun result = run(program, arguments);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
  /// The value of an item in a CSV file of items.
  std::string valueOf(const std::string& file, const std::string& item) const {
    std::istringstream lines(folder.read(file));
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(item + ",")) return line.substr(item.size() + 1);
    }
    return "";
  }
  long rowsOf(const std::string& file) const {
    const std::string text = folder.read(file);
    return std::count(text.begin(), text.end(), '\n') - 1;
  }

  TemporaryFolder folder;
};

TEST_F(ReportRun, MakesAPageOfTheResultsOfTheAnalyses) {
  runWell("vesk-generate", {"-n", "20000", "-c", "600", "--group-count", "40", "--csv", "-q", "-o", "calls.csv"});
  runWell("vesk", {"convert", "calls.csv", "-o", "calls", "--caller", "caller", "--callee", "callee", "--time", "start",
                   "--count", "calls", "--ids", "ids.map"});
  runWell("vesk-loader", {"datafile", "./calls", "calls.xml", "none", "table.bin", "2", "20203001"});
  runWell("vesk-loader", {"datafile", "./calls", "calls.pairs.xml", "none", "pairs.bin", "0"});
  folder.write("seeds.txt", "+4915100000001\n\"+49 151 0000 0007\"\n+4915100000003\n");
  runWell("vesk", {"ids", "ids.map", "--to-numbers", "seeds.txt", "--no-header", "--column", "1", "-o", "seeds"});
  runWell("vesk-analyze", {"diffusion", "-", "pairs.bin", "--set", "Seed=seeds", "--set", "OutputFileName=energy.csv",
                           "--results-json", "diffusion.json"});
  folder.write(
      "groups.xml",
      "<AnalysisParams><OutputFileName>found</OutputFileName><OutputFormat>CSV</OutputFormat><Mistake>1</Mistake>"
      "<MaxClusterSize>15</MaxClusterSize><KernelParams><KernelType>Friends</KernelType>"
      "<FilterSimilarities>1</FilterSimilarities><isSparseData>1</isSparseData><IsSparseKernel>1</IsSparseKernel>"
      "<SparsityLevel>0.7</SparsityLevel><NormalizingFactor>600</NormalizingFactor></KernelParams></AnalysisParams>\n");
  runWell("vesk-analyze", {"groups", "groups.xml", "table.bin", "--levels", "auto", "--results-json", "groups.json"});
  const ProgramRun report =
      run("vesk", {"report", "--groups", "found", "--energy", "energy.csv", "--seeds", "seeds.txt", "--ids", "ids.map",
                   "--run", "groups.json", "--run", "diffusion.json", "-o", "page.html"});
  ASSERT_EQ(report.status, 0) << report.err;
  EXPECT_EQ(report.err, "");
  EXPECT_THAT(report.out,
              ::testing::MatchesRegex("page.html: a page with [0-9]+ tables, each in a CSV file beside it\n"));
  const std::string page = folder.read("page.html");
  EXPECT_EQ(vesk_page::MarkupCheck(page).getMistake(), "");
  EXPECT_THAT(page, HasSubstr("<h1>Groups and diffusion of table.bin</h1>"));
  EXPECT_THAT(page, HasSubstr("Mistake, vesk-analyze: unknown parameter is ignored</li>"));
  // The numbers are those of the results.
  EXPECT_EQ(valueOf("page.groups.csv", "groups"), std::to_string(rowsOf("found_1.clusters.csv")));
  EXPECT_EQ(valueOf("page.groups.csv", "members"), std::to_string(rowsOf("found_1.nodes.csv")));
  EXPECT_EQ(valueOf("page.energy.csv", "subscribers"), std::to_string(rowsOf("energy.csv")));
  EXPECT_EQ(valueOf("page.seeds.csv", "seeds that call or are called"), "3");
  const nlohmann::json groups = nlohmann::json::parse(folder.read("groups.json"));
  EXPECT_EQ(std::stod(valueOf("page.run1.csv", "seconds")), groups["Run"]["Seconds"].get<double>());
  EXPECT_EQ(std::stod(valueOf("page.counts1.csv", "Cutoff")), groups["RunParameters"]["Cutoff"].get<double>());
  EXPECT_THAT(folder.read("page.parameters1.csv"), HasSubstr("KernelParams/NormalizingFactor,600,50000000\n"));
  EXPECT_THAT(folder.read("page.parameters2.csv"), HasSubstr("\nSeed,seeds,\n"));
  EXPECT_EQ(rowsOf("page.levels.csv"), rowsOf("found_levels.csv"));
  EXPECT_THAT(page, HasSubstr("The run went on with level "));
  // Leaders are the texts of the map.
  EXPECT_THAT(folder.read("page.largest.csv"), HasSubstr(",+49"));
  EXPECT_EQ(rowsOf("page.largest.csv"), std::min(20L, rowsOf("found_1.clusters.csv")));
  const std::filesystem::path html(folder.path("page.html"));
  EXPECT_EQ(std::filesystem::status(html).permissions() & std::filesystem::perms::others_all,
            std::filesystem::perms::none);
}

TEST_F(ReportRun, SaysWhatIsWrongWithTheCommandLine) {
  EXPECT_EQ(run("vesk", {"report", "-o", "p.html"}).status, 1);
  EXPECT_THAT(run("vesk", {"report", "-o", "p.html"}).err, HasSubstr("at least one of --groups and --energy"));
  EXPECT_EQ(run("vesk", {"report", "--energy", "e.csv"}).status, 1);
  folder.write("e.csv", "Number,DA_DiffusedEnergy,InDegree,OutDegree\n1,1,1,1\n");
  for (const char* output : {"", "-"}) {
    const ProgramRun nameless = run("vesk", {"report", "--energy", "e.csv", "-o", output});
    EXPECT_EQ(nameless.status, 1);
    EXPECT_EQ(nameless.err, "vesk: -o: must be the name of a file\n");
    EXPECT_FALSE(folder.has(std::string(output) + ".energy.csv"));
  }
  std::filesystem::remove(folder.path("e.csv"));
  EXPECT_EQ(run("vesk", {"report", "--groups", "g", "--seeds", "s", "-o", "p.html"}).status, 1);
  const ProgramRun missing = run("vesk", {"report", "--energy", "e.csv", "-o", "p.html"});
  EXPECT_EQ(missing.status, 3);
  EXPECT_THAT(missing.err, HasSubstr("vesk: e.csv: cannot open the file"));
  EXPECT_FALSE(folder.has("p.html"));
}

TEST_F(ReportRun, AFailedWriteLeavesTheEarlierPage) {
  folder.write("e.csv", "Number,DA_DiffusedEnergy,InDegree,OutDegree\n1,1,1,1\n2,0.5,1,1\n");
  ASSERT_EQ(run("vesk", {"report", "--energy", "e.csv", "-o", "p.html"}).status, 0);
  const std::string before = folder.read("p.html");
  folder.write("e.csv", "Number,DA_DiffusedEnergy,InDegree,OutDegree\n1,1,1,1\n2,0.5,1,x\n3,x,1,1\n");
  EXPECT_EQ(run("vesk", {"report", "--energy", "e.csv", "-o", "p.html"}).status, 3);
  EXPECT_EQ(folder.read("p.html"), before);
  folder.write("e.csv", "Number,DA_DiffusedEnergy,InDegree,OutDegree\n1,1,1,1\n2,0.25,1,1\n");
  std::filesystem::remove(folder.path("p.energy.csv"));
  std::filesystem::create_directory(folder.path("p.energy.csv"));
  const ProgramRun blocked = run("vesk", {"report", "--energy", "e.csv", "-o", "p.html"});
  EXPECT_EQ(blocked.status, 99);
  EXPECT_EQ(blocked.err, "vesk: p.energy.csv: is not a regular file\n");
  EXPECT_EQ(folder.read("p.html"), before);
}

}  // namespace
}  // namespace vesk_e2e
