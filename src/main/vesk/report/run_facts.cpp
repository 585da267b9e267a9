#include "report/run_facts.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "command.h"
#include "csv/csv_input.h"

namespace vesk {

namespace {

using Json = nlohmann::ordered_json;

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

std::string readText(const std::string& file) {
  constexpr std::size_t mostBytes = std::size_t{64} << 20;
  constexpr std::size_t blockBytes = std::size_t{1} << 16;
  CsvInput input(file);
  std::string text;
  std::string block(blockBytes, '\0');
  while (const std::size_t size = input.read(block.data(), block.size())) {
    text.append(block, 0, size);
    if (text.size() > mostBytes) refuse(file + " is too large for the results of a run");
  }
  return text;
}

/// Reads the members that the page shows.
class RunReader {
 public:
  explicit RunReader(const std::string& path) { facts.file = path; }

  RunFacts read() {
    const Json results = parse();
    const Json& run = objectOf(results, "Run", true);
    facts.analysis = textOf(run, "Analysis");
    facts.dataset = textOf(run, "Dataset");
    readItems(run);
    for (const Leaf& leaf : leavesOf(objectOf(results, "RunParameters", false))) {
      facts.counted.push_back({leaf.path, cellOf(*leaf.value)});
    }
    readParameters(objectOf(results, "Parameters", false), objectOf(results, "Defaults", false));
    readWarnings(run);
    return std::move(facts);
  }

 private:
  Json parse() const {
    const std::string text = readText(facts.file);
    try {
      Json results = Json::parse(text, [this](int depth, Json::parse_event_t, const Json&) {
        if (depth > mostLevels) refuse(facts.file + ": more than " + std::to_string(mostLevels) + " levels" + origin);
        return true;
      });
      if (results.is_object()) return results;
    } catch (const Json::parse_error& error) {
      const std::size_t place = std::min<std::size_t>(error.byte, text.size());
      const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n');
      refuse(facts.file + ", line " + std::to_string(line) + ": no JSON" + origin);
    } catch (const Json::exception&) {
      refuse(facts.file + ": no JSON that can be read" + origin);
    }
    refuse(facts.file + " is no JSON object" + origin);
  }

  [[noreturn]] void refuseMember(const std::string& name, const std::string& kind) const {
    refuse(facts.file + " has no " + kind + " " + name + origin);
  }

  const Json& objectOf(const Json& parent, const char* name, bool isRequired) const {
    static const Json none = Json::object();
    const auto member = parent.find(name);
    if (member == parent.end() && !isRequired) return none;
    if (member == parent.end() || !member->is_object()) refuseMember(name, "object");
    return *member;
  }

  std::string textOf(const Json& parent, const char* name) const {
    const auto member = parent.find(name);
    if (member == parent.end() || !member->is_string()) refuseMember(name, "text");
    return member->get<std::string>();
  }

  static ReportCell cellOf(const Json& value) {
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= std::uint64_t{1} << 53) {
      return ReportCell::count(value.get<std::uint64_t>());
    }
    if (value.is_number()) return ReportCell::number(value.get<double>());
    return ReportCell::text(value.is_string() ? value.get<std::string>() : value.dump());
  }

  struct Leaf {
    std::string path;
    const Json* value;
  };

  /// Adds the leaves below a member by their paths; elements of an array have their numbers from 1.
  static void addLeaves(const Json& parent, const std::string& path, std::vector<Leaf>& leaves) {
    std::size_t number = 0;
    for (const auto& member : parent.items()) {
      const std::string name = parent.is_array() ? std::to_string(++number) : member.key();
      const std::string itsPath = path.empty() ? name : path + "/" + name;
      if (member.value().is_structured()) {
        addLeaves(member.value(), itsPath, leaves);
      } else {
        leaves.push_back({itsPath, &member.value()});
      }
    }
  }

  static std::vector<Leaf> leavesOf(const Json& parent) {
    std::vector<Leaf> leaves;
    addLeaves(parent, "", leaves);
    return leaves;
  }

  void readItems(const Json& run) {
    const auto add = [&](const char* name, const Json& parent, const char* member) {
      if (const auto value = parent.find(member); value != parent.end() && value->is_primitive()) {
        facts.items.push_back({name, cellOf(*value)});
      }
    };
    facts.items.push_back({"command", ReportCell::text("vesk-analyze " + facts.analysis)});
    add("dataset", run, "Dataset");
    const Json& card = objectOf(run, "DatasetCard", false);
    add("loader run of the dataset", card, "Run");
    add("SHA-256 of the card", card, "Sha256");
    if (const auto verified = card.find("Verified"); verified != card.end()) {
      const char* words = *verified == 1 ? "compared with the card" : "not compared";
      facts.items.push_back({"hashes of the dataset", ReportCell::text(words)});
    }
    add("ranks", run, "Ranks");
    add("start (UTC)", run, "Start");
    add("seconds", run, "Seconds");
    const Json& passes = objectOf(run, "Passes", false);
    if (const auto list = passes.find("Pass"); list != passes.end()) {
      facts.items.push_back({"passes", ReportCell::count(list->size())});
    }
    add("version", run, "Version");
    facts.items.push_back({"results file", ReportCell::text(facts.file)});
  }

  void readParameters(const Json& parameters, const Json& defaults) {
    std::map<std::string, const Json*> defaultOf;
    for (const Leaf& leaf : leavesOf(defaults)) defaultOf.emplace(leaf.path, leaf.value);
    for (const Leaf& leaf : leavesOf(parameters)) {
      if (leaf.path == "OutputFileName" && leaf.value->is_string()) facts.outputName = leaf.value->get<std::string>();
      if (leaf.path == "MaxClusterSize" && leaf.value->is_number_unsigned()) {
        facts.maxClusterSize = leaf.value->get<std::uint64_t>();
      }
      const auto itsDefault = defaultOf.find(leaf.path);
      if (itsDefault == defaultOf.end()) {
        facts.changed.push_back({leaf.path, cellOf(*leaf.value), {}});
      } else if (*itsDefault->second != *leaf.value) {
        facts.changed.push_back({leaf.path, cellOf(*leaf.value), cellOf(*itsDefault->second)});
      }
    }
  }

  void readWarnings(const Json& run) {
    const Json& warnings = objectOf(run, "Warnings", false);
    if (const auto count = warnings.find("Count"); count != warnings.end() && count->is_number_unsigned()) {
      facts.warningCount = count->get<std::uint64_t>();
    }
    const auto texts = warnings.find("Warning");
    if (texts == warnings.end()) return;
    if (!texts->is_array()) refuseMember("Warning", "list");
    for (const Json& text : *texts) {
      if (!text.is_string()) refuseMember("Warning", "list of texts");
      facts.warnings.push_back(text.get<std::string>());
    }
  }

  static constexpr int mostLevels = 50;
  static constexpr const char* origin = "; it must be the file of vesk-analyze --results-json";

  RunFacts facts;
};

}  // namespace

RunFacts readRunFacts(const std::string& file) { return RunReader(file).read(); }

}  // namespace vesk
