// The output of several ranks: the launcher forwards what each rank writes as it comes.

#include <regex>

#include "groups_case.h"

namespace vesk_e2e {
namespace {

class WholeLinesRun : public GroupsCase {
 protected:
  WholeLinesRun() {
    writeFile("seeds", "1\n20\n");
    writeFile("diffusion.xml",
              "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n"
              "</AnalysisParams>\n");
    writeFile("pairs.bin.info", content("calls.bin.info"));
  }

  /// The triples of 40 callers, each with three callees; with an error each caller has two callees too many.
  void pairs(bool withError) const {
    std::vector<double> numbers;
    for (int caller = 1; caller <= 40; ++caller) {
      const double key = caller;
      numbers.insert(numbers.end(), {key, 0, withError ? 1.0 : 3.0});
      for (int i = 1; i <= 3; ++i) {
        numbers.insert(numbers.end(), {key, static_cast<double>(caller * i % 60 + 1), 0.5 + i});
      }
      numbers.insert(numbers.end(), {key, 0, 7788});
    }
    writeNumbers("pairs.bin", numbers);
  }

  void diffusion() {
    result = runOther(VESK_MPIRUN, {"-n", "4", std::string(VESK_BIN_DIR) + "/vesk-analyze", "diffusion",
                                    "diffusion.xml", "pairs.bin"});
  }

  /// The first line of the output that does not begin or end where a line does; empty if every line is whole.
  std::string firstTornLine() const {
    static const std::regex whole(
        // A report on one line; those on several lines, progress reports and defaults.
        R"((Log|Warning|Error);\|\d+;\|([^|\n]|\|(?!Log|Warning|Error))*;\|\1End\n)"
        R"(|Log;\|1;\|\n\[Worker:\d, Iteration: \d+, ProgressReport:\d+\]\nMethod name:[\w:]+: [^|;\n]*\n\n;\|LogEnd\n)"
        R"(|Log;\|\d;\|\n\[Worker:\d [^|\n]*\];\|LogEnd\n)"
        R"(|Log;\|1;\|(Defaulting [\w ]+: \d+\n)+;\|LogEnd\n)"
        // Lines that are no reports.
        R"(|buildInitialClusters: [\w ,=.]+\n|Sparse kernel size: \d+\n|cutoff threshold=[-\d.e]+\n)"
        R"(|First bin is full enough for threshold\n|find seed file: \[seeds\]\n)"
        R"(|(Copied|Transfered) exp fields from \d+ to \d+\n|Terminating VESK\n)"
        R"(|\n\*\*\* ERROR in function report_error at line 44 in file quven_reports\n    QUVEN Terminating\n)"
        // The launcher's own, after an abort.
        R"(|\n?=[^\n]*\n|YOUR APPLICATION TERMINATED[^\n]*\n|This typically refers[^\n]*\n|Please see[^\n]*\n)",
        std::regex::optimize);
    const std::string& out = result.out;
    std::smatch found;
    for (auto place = out.begin(); place != out.end(); place += found.length()) {
      if (std::regex_search(place, out.end(), found, whole, std::regex_constants::match_continuous)) continue;
      return {place, std::min(out.end(), place + 300)};
    }
    return "";
  }

  static std::uint64_t numberOf(std::uint64_t node) { return 12 * node + node / 10 % 12; }

  static constexpr int runs = 25;
};

// Each line used to go out in six to nine pieces, and in most runs a piece of another rank came between two of them.
TEST_F(WholeLinesRun, ADiffusionOnFourRanks) {
  pairs(false);
  for (int number = 1; number <= runs; ++number) {
    diffusion();
    ASSERT_EQ(result.status, 0) << result.out << result.err;
    ASSERT_EQ(firstTornLine(), "") << "run " << number;
  }
}

TEST_F(WholeLinesRun, GroupsOnFourRanks) {
  // The members of a clique are alike modulo 12, so that every rank compares whole cliques.
  Contacts network;
  for (const auto& [caller, list] : cliques(12)) {
    for (const std::uint64_t contact : list) network[numberOf(caller)].push_back(numberOf(contact));
  }
  dataset(network);
  for (int number = 1; number <= runs; ++number) {
    expectGroups(4);
    ASSERT_EQ(firstTornLine(), "") << "run " << number;
  }
}

TEST_F(WholeLinesRun, FailuresOnFourRanksAtOnce) {
  pairs(true);
  const std::regex error(R"((^|\n)Error;\|4604;\|\d+;\|QUVENSNAData::checkMatStateValidity: number of callees )"
                         R"(exceeded bound;\|ErrorEnd\n)");
  for (int number = 1; number <= runs; ++number) {
    diffusion();
    ASSERT_EQ(result.status, 99);
    ASSERT_TRUE(std::regex_search(result.out, error)) << result.out;
    ASSERT_EQ(firstTornLine(), "") << "run " << number;
  }
}

}  // namespace
}  // namespace vesk_e2e
