#ifndef VESK_TESTS_GROUPS_CASE_H
#define VESK_TESTS_GROUPS_CASE_H

#include <gmock/gmock.h>

#include <map>

#include "loader_case.h"

namespace vesk_e2e {

/// Runs of vesk-analyze groups and kernel over a dataset "calls.bin" that a test gives as callers with their contacts.
class GroupsCase : public LoaderCase {
 protected:
  using Strings = std::vector<std::string>;
  using Tags = std::map<std::string, std::string>;
  using Contacts = std::map<std::uint64_t, std::vector<std::uint64_t>>;

  GroupsCase() {
    tags = {{"MaxClusterSize", "20"}, {"OutputFileName", "found"}, {"OutputFormat", "CSV"}};
    kernelTags = {{"KernelType", "Friends"}, {"FilterSimilarities", "1"}, {"isSparseData", "1"},
                  {"IsSparseKernel", "1"},   {"SparsityLevel", "0.5"},    {"NormalizingFactor", "100"}};
    writeFile("calls.bin.info", "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  }

  Tags tags;
  Tags kernelTags;

  static std::vector<double> records(const Contacts& contacts) {
    std::vector<double> numbers;
    for (const auto& [caller, list] : contacts) {
      const auto key = static_cast<double>(caller);
      numbers.insert(numbers.end(), {key, 0, static_cast<double>(list.size())});
      double position = 0;
      for (const std::uint64_t contact : list) {
        numbers.insert(numbers.end(), {key, ++position, static_cast<double>(contact)});
      }
      numbers.insert(numbers.end(), {key, position + 1, 0});
    }
    return numbers;
  }
  void dataset(const Contacts& contacts) const { writeNumbers("calls.bin", records(contacts)); }

  /// Cliques 10c+1 to 10c+4 in which everybody names the other three; the first of each also names that of the next.
  static Contacts cliques(std::uint64_t count) {
    Contacts contacts;
    for (std::uint64_t c = 1; c <= count; ++c) {
      for (std::uint64_t i = 1; i <= 4; ++i) {
        for (std::uint64_t j = 1; j <= 4; ++j) {
          if (j != i) contacts[10 * c + i].push_back(10 * c + j);
        }
      }
      contacts[10 * c + 1].push_back(10 * c + 11);
    }
    return contacts;
  }

  void parameterFile() const {
    const auto leaves = [](const Tags& list) {
      std::string text;
      for (const auto& [name, value] : list) text += "<" + name + ">" + value + "</" + name + ">\n";
      return text;
    };
    writeFile("params.xml", "<AnalysisParams>\n" + leaves(tags) + "<KernelParams>\n" + leaves(kernelTags) +
                                "</KernelParams>\n</AnalysisParams>\n");
  }
  /// A run with the parameters of `tags` and `kernelTags`.
  void analyse(const std::string& kind, int workers, const Strings& more = {}) {
    parameterFile();
    Strings arguments{
        "-n", std::to_string(workers), std::string(VESK_BIN_DIR) + "/vesk-analyze", kind, "params.xml", "calls.bin"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    result = runOther(VESK_MPIRUN, arguments);
  }
  void expectGroups(int workers) {
    removeResults();
    analyse("groups", workers);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
  /// A run on one and on two workers that must end with this report and leave no result.
  void expectFailure(const std::string& report, const std::string& kind = "groups") {
    for (const int workers : {1, 2}) {
      SCOPED_TRACE(std::to_string(workers) + " workers: " + report);
      removeResults();
      analyse(kind, workers);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, ::testing::HasSubstr(report));
      EXPECT_FALSE(exists("found_1.clusters.csv"));
      EXPECT_FALSE(exists("found_1.nodes.csv"));
      EXPECT_EQ(partialFiles(), Strings{});
    }
  }
  void removeResults() const {
    for (const char* name : {"found_1.clusters.csv", "found_1.nodes.csv"}) std::filesystem::remove(path(name));
  }
  bool hasBegun() const { return result.out.find("Entering initIteration") != std::string::npos; }

  std::string clusters() const { return content("found_1.clusters.csv"); }
  std::string nodes() const { return content("found_1.nodes.csv"); }
  /// The groups as lists of their members, without their numbers.
  Strings groups() const {
    std::map<std::string, std::string> members;
    std::istringstream lines(nodes());
    std::string node;
    std::getline(lines, node);
    for (std::string group, rest; std::getline(lines, node, ',') && std::getline(lines, group, ',');) {
      std::getline(lines, rest);
      members[group] += node + " ";
    }
    Strings lists;
    for (const auto& [group, list] : members) lists.push_back(list.substr(0, list.size() - 1));
    std::sort(lists.begin(), lists.end());
    return lists;
  }
  Strings partialFiles() const {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
      const std::string name = entry.path().filename().string();
      if (name.find(".partial") != std::string::npos) names.push_back(name);
    }
    return names;
  }

  static std::string clusterHeader() {
    return "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,MaxRankType1,MinRankType1,MaxMinRankRatioType1,"
           "MaxRankLinksType2,MinRankLinksType2,MaxMinRankRatioLinksType2\n";
  }
  static std::string nodeHeader() {
    return "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
           "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
           "GroupLeaderType2Conf\n";
  }
};

}  // namespace vesk_e2e

#endif  // VESK_TESTS_GROUPS_CASE_H
