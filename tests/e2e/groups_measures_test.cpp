// The measures of vesk-inspect groups against scikit-learn and networkx, where they are installed.

#include <gmock/gmock.h>

#include <cstdlib>
#include <random>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

// Reads the same files as the program and compares each number that it printed.
constexpr const char* comparison = R"(
import sys
from sklearn.metrics import adjusted_rand_score, normalized_mutual_info_score
import networkx as nx

def labels(path, core_only):
    with open(path) as lines:
        rows = [line.strip().split(",") for line in lines][1:]
    return {int(r[0]): int(r[1]) for r in rows if not core_only or r[2] == "1"}

found = labels("found.csv", sys.argv[1] == "core")
known = {}
for line in open("known.txt"):
    node, group = line.split()
    known[int(node)] = int(group)
both = sorted(set(found) & set(known))
either = sorted(set(found) | set(known))

def whole(groups):
    names = [groups.get(node, ("alone", node)) for node in either]
    numbers = {}
    return [numbers.setdefault(name, len(numbers)) for name in names]

graph = nx.Graph()
for line in open("calls.txt"):
    a, b, weight = line.split()
    a, b, weight = int(a), int(b), float(weight)
    if graph.has_edge(a, b):
        graph[a][b]["weight"] += weight
    else:
        graph.add_edge(a, b, weight=weight)

def modularity(groups):
    members = {}
    for node in graph:
        members.setdefault(groups.get(node, ("alone", node)), set()).add(node)
    return nx.community.modularity(graph, list(members.values()), weight="weight")

expected = {
    "coverage": len(both) / len(known),
    "ARI, missing alone": adjusted_rand_score(whole(known), whole(found)),
    "NMI": normalized_mutual_info_score([known[n] for n in both], [found[n] for n in both]),
    "NMI, missing alone": normalized_mutual_info_score(whole(known), whole(found)),
    "sum of calls": graph.size(weight="weight"),
    "modularity found": modularity(found),
    "modularity known": modularity(known),
}
printed = {}
for line in open("printed.txt"):
    if line[:21].strip() in expected:
        printed[line[:21].strip()] = float(line[21:].split(",")[0])
assert sorted(printed) == sorted(expected), printed
for name, value in expected.items():
    assert abs(printed[name] - value) <= 1e-12 * max(1.0, abs(value)), (name, printed[name], value)
print("equal")
)";

class GroupsMeasures : public LoaderCase {
 protected:
  void SetUp() override {
    for (const std::string name : {"sklearn", "networkx"}) {
      const bool hasModule =
          std::filesystem::exists(python()) && runOther(python(), {"-c", "import " + name}).status == 0;
      if (!hasModule) GTEST_SKIP() << python() << " has no " << name;
    }
  }
  /// The interpreter; VESK_PYTHON names another.
  static std::string python() {
    const char* named = std::getenv("VESK_PYTHON");
    return named == nullptr ? "/usr/bin/python3" : named;
  }

  /// Random groups of up to 300 nodes, of which three of four are in each of the two files.
  void writeGroups() {
    std::string found =
        "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
        "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
        "GroupLeaderType2Conf\n";
    std::string known;
    for (std::uint64_t node = 1; node <= numNodes; ++node) {
      const std::uint64_t group = random() % 12;
      const bool isRight = random() % 3 > 0;
      if (random() % 4 > 0) {
        found += std::to_string(node) + "," + std::to_string(isRight ? group : random() % 15) + "," +
                 std::to_string(random() % 2) + ",0.5,1,0.5,1,1,1,0.5,0.5,0,0,0,0\n";
      }
      if (random() % 4 > 0) known += std::to_string(node) + " " + std::to_string(group) + "\n";
    }
    writeFile("found.csv", found);
    writeFile("known.txt", known);
  }
  /// The calls as text, and as dataset "calls.bin" or in two parts.
  void writeCalls(bool isPairSum, bool inParts) {
    std::string text;
    std::vector<double> parts[2];
    for (std::uint64_t caller = 1; caller <= numNodes; ++caller) {
      const auto key = static_cast<double>(caller);
      std::vector<double>& numbers = parts[inParts && caller % 3 == 0 ? 1 : 0];
      numbers.insert(numbers.end(), {key, 0, 6});
      std::uint64_t callee = 0;
      const std::uint64_t count = random() % 6;
      for (std::uint64_t i = 1; i <= count; ++i) {
        callee += 1 + random() % (numNodes / 6);
        const double weight = isPairSum ? static_cast<double>(1 + random() % 4000) / 10.0 : 1.0;
        text += std::to_string(caller) + " " + std::to_string(callee) + " " + std::to_string(weight) + "\n";
        const auto contact = static_cast<double>(callee);
        const double second = isPairSum ? contact : static_cast<double>(i);
        numbers.insert(numbers.end(), {key, second, isPairSum ? weight : contact});
      }
      numbers.insert(numbers.end(), {key, isPairSum ? 0.0 : 7.0, isPairSum ? 7788.0 : 0.0});
    }
    writeFile("calls.txt", text);
    for (const char* name : {"calls.bin", "calls.bin.0", "calls.bin.1"}) std::filesystem::remove(path(name));
    writeNumbers(inParts ? "calls.bin.0" : "calls.bin", parts[0]);
    if (inParts) writeNumbers("calls.bin.1", parts[1]);
  }
  void expectEqual(bool coreOnly) {
    std::vector<std::string> arguments{"groups", "found.csv", "known.txt", "--full", "--dataset", "calls.bin"};
    if (coreOnly) arguments.push_back("--core");
    result = runOther("vesk-inspect", arguments);
    ASSERT_EQ(result.status, 0) << result.err;
    writeFile("printed.txt", result.out);
    const std::string page = result.out;
    writeFile("compare.py", comparison);
    result = runOther(python(), {"compare.py", coreOnly ? "core" : "all"});
    EXPECT_EQ(result.status, 0) << result.err << page;
    EXPECT_EQ(result.out, "equal\n");
  }

  std::uint64_t numNodes = 300;
  std::mt19937_64 random{20240501};
};

TEST_F(GroupsMeasures, EqualThoseOfOtherLibraries) {
  for (const std::uint64_t nodes : {20U, 90U, 300U}) {
    for (const bool isPairSum : {false, true}) {
      SCOPED_TRACE(std::to_string(nodes) + (isPairSum ? " nodes, pair sum" : " nodes, table"));
      numNodes = nodes;
      writeGroups();
      writeCalls(isPairSum, nodes == 90);
      expectEqual(false);
      expectEqual(true);
    }
  }
}

}  // namespace
}  // namespace vesk_e2e
