#ifndef VESK_TESTS_REPORT_CASE_H
#define VESK_TESTS_REPORT_CASE_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "command.h"
#include "report/report.h"
#include "support/temporary_folder.h"

namespace vesk {

/// Results of small runs: two groups of the subscribers 1 to 5, and energies of six subscribers.
class ReportCase : public ::testing::Test {
 protected:
  static constexpr const char* clustersHeader =
      "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,MaxRankType1\n";
  static constexpr const char* nodesHeader =
      "NodeNumber,GroupNumber,IsCoreNode,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
      "GroupLeaderType2Conf\n";
  static constexpr const char* energyHeader =
      "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n";
  static constexpr const char* levelsHeader =
      "Level,Cutoff,KeptPairs,Groups,Members,Largest,FullGroups,CallsInside,CallsInsideShare,Coverage,Modularity,"
      "MeanDensity,Chosen\n";

  ReportCase() {
    writeClusters("1,3,0.5,0.25,1,0.4\n2,2,1,1,0.5,0.5\n");
    writeNodes("1,1,1,1,2.5,0,0\n2,1,1,0,0,1,1.5\n3,1,1,0,0,0,0\n4,2,1,1,1,1,1\n5,2,0,0,0,0,0\n");
    writeEnergy("1,0.5,1,1,2,1\n2,0.25,1,0,10,1\n3,0,1,1,0,1\n4,0.125,1,1,1,1\n5,0.125,1,1,1,1\n9,1,0,0,0,0\n");
    options.output = folder.path("page.html");
  }

  void writeClusters(const std::string& rows) { folder.write("found_1.clusters.csv", clustersHeader + rows); }
  void writeNodes(const std::string& rows) { folder.write("found_1.nodes.csv", nodesHeader + rows); }
  void writeEnergy(const std::string& rows) { folder.write("energy.csv", energyHeader + rows); }
  void writeLevels(const std::string& rows) { folder.write("found_levels.csv", levelsHeader + rows); }
  void useGroups() { options.groups = folder.path("found"); }
  void useEnergy() { options.energy = folder.path("energy.csv"); }
  void addRun(const std::string& name, const std::string& json) { options.runs.push_back(folder.write(name, json)); }

  /// Makes the report and returns the page.
  std::string page() {
    makeReport(options);
    return folder.read("page.html");
  }
  std::string csv(const std::string& table) const { return folder.read("page." + table + ".csv"); }

  /// The status and the text of the failure, with "" for the folder; empty if there is none. No output may exist then.
  std::string refusal() {
    try {
      makeReport(options);
    } catch (const CommandFailure& failure) {
      EXPECT_TRUE(outputs().empty()) << outputs().front();
      std::string text = failure.what();
      const std::string where = folder.path("");
      for (std::size_t place = text.find(where); place != std::string::npos; place = text.find(where)) {
        text.erase(place, where.size());
      }
      return std::to_string(static_cast<int>(failure.getStatus())) + " " + text;
    }
    return "";
  }

  std::vector<std::string> outputs() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with("page.")) names.push_back(name);
    }
    return names;
  }

  TemporaryFolder folder;
  ReportOptions options;
};

}  // namespace vesk

#endif  // VESK_TESTS_REPORT_CASE_H
