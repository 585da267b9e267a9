#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using Strings = std::vector<std::string>;
using Numbers = std::vector<double>;

/// A record as a reader by eye sees it: words between blanks.
struct Call {
  double caller;
  double callee;
  std::string date;
  double duration;
  int multiplicity;
};

/// The records that no test of the loader gives up, but for their date. Good lines have 50 characters, one word in each
/// of the five columns and a caller from 1 on.
std::vector<Call> goodCalls(const std::string& text) {
  std::vector<Call> calls;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream lineWords(line);
    Strings parts{std::istream_iterator<std::string>(lineWords), {}};
    if (line.size() != 50 || parts.size() != 5) continue;
    const Call call{std::atof(parts[0].c_str()), std::stod(parts[1]), parts[2], std::stod(parts[3]),
                    std::stoi(parts[4])};
    if (call.caller >= 1) calls.push_back(call);
  }
  return calls;
}

/// Records of the generator, through the loader, to the inspector.
class RoundTrip : public LoaderCase {
 protected:
  void generate(const Strings& options) {
    generated = runOther("vesk-generate", options);
    ASSERT_EQ(generated.status, 0) << generated.err;
  }
  /// The parameter file of a run; the loader's arguments are those that go with it.
  void parametersOf(const Strings& options) {
    const ProgramRun run = runOther("vesk-generate", options);
    ASSERT_EQ(run.status, 0) << run.err;
    writeFile("fmt", run.out);
  }
  void load(const std::string& directory, const std::string& stem, const std::string& process) {
    runWith({directory, "fmt", process, stem, "2", "20203001"});
    ASSERT_EQ(result.status, 0) << result.out;
    EXPECT_EQ(result.err, "");
  }
  void expectSound(const Strings& arguments) {
    const ProgramRun run = runOther("vesk-inspect", arguments);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_THAT(run.out, EndsWith("\nchecks: sound\n"));
    EXPECT_EQ(run.err, "");
  }
  int planted(const std::string& kind) const {
    std::istringstream stream(generated.err);
    for (std::string word; stream >> word;) {
      int number = 0;
      if (word == kind && stream >> number) return number;
    }
    ADD_FAILURE() << "no bad lines of the kind " << kind << " in " << generated.err;
    return -1;
  }

  ProgramRun generated;
};

TEST_F(RoundTrip, TheInspectorFindsEveryFileOfEveryRunSound) {
  generate({"-n", "3000", "-c", "150", "--group-count", "5", "--bad", "all=0.1", "-o", "in/calls", "--files", "3"});
  const std::vector<Strings> forms{{"table", "sparse", "--dates", "--payloads", "1"},
                                   {"table", "dense", "--dates", "--payloads", "1"},
                                   {"pairsum", "sparse", "--pair-sum"},
                                   {"sums", "sparse"},
                                   {"sums", "dense"}};
  for (const Strings& form : forms) {
    for (const int partitions : {1, 3}) {
      SCOPED_TRACE(form[0] + " " + form[1] + " in " + std::to_string(partitions));
      parametersOf({"--params", form[0], "--form", form[1], "--partitions", std::to_string(partitions)});
      const std::string stem = form[0] + form[1] + std::to_string(partitions);
      load("in", stem, stem + "process");
      for (int p = 0; p < partitions; ++p) {
        const std::string suffix = partitions == 1 ? std::string() : std::string(".").append(std::to_string(p));
        expectSound({"dataset", stem + suffix});
        Strings process{"process", stem + "process" + suffix};
        process.insert(process.end(), form.begin() + 2, form.end());
        expectSound(process);
        if (form[0] != "table") continue;
        Strings payload{"dataset", stem + suffix + "_payload_1", "--form", form[1]};
        if (form[1] == "dense") payload.insert(payload.end(), {"--columns", "21"});
        expectSound(payload);
      }
    }
  }
}

TEST_F(RoundTrip, ThePlantedBadLinesAreTheOmittedOnes) {
  generate({"-n", "5000", "-c", "100", "--seed", "11", "--bad", "all=0.2", "-o", "in/calls"});
  const int negative = planted("zero-caller") + planted("negative-caller") + planted("text-caller");
  const int spacing = planted("blank") + planted("inner-blank");
  EXPECT_GT(planted("old-date"), 0);
  parametersOf({"--params", "table"});
  load("in", "out", "none");
  EXPECT_THAT(
      result.out,
      HasSubstr(statistics("calls", 5000, {planted("old-date"), negative, planted("short"), spacing}, noProblems(0)) +
                completed()));
  parametersOf({"--params", "sums"});  // a run that looks at no date keeps the old ones
  load("in", "out", "none");
  EXPECT_THAT(result.out, HasSubstr(statistics("calls", 5000, {0, negative, planted("short"), spacing},
                                               noProblems(0) + noProblems(1) + noProblems(2)) +
                                    completed()));
}

TEST_F(RoundTrip, PairSumsAreThoseOfACountByHand) {
  generate({"-n", "4000", "-c", "50", "--bad", "all=0.1", "-o", "in/calls"});
  std::map<double, std::map<double, double>> weights;
  for (const Call& call : goodCalls(content("in/calls"))) weights[call.caller][call.callee] += call.multiplicity;
  std::size_t width = 0;
  for (const auto& [caller, callees] : weights) width = std::max(width, callees.size());
  Numbers expected;
  for (const auto& [caller, callees] : weights) {
    expected.insert(expected.end(), {caller, 0, static_cast<double>(width)});
    for (const auto& [callee, weight] : callees) expected.insert(expected.end(), {caller, callee, weight});
    expected.insert(expected.end(), {caller, 0, 7788});
  }
  parametersOf({"--params", "pairsum"});
  load("in", "out", "none");
  EXPECT_EQ(numbers("out"), expected);
  EXPECT_EQ(weights.size(), 50U);
}

TEST_F(RoundTrip, SumsAreThoseOfACountByHand) {
  generate({"-n", "4000", "-c", "50", "--bad", "all=0.1", "-o", "in/calls"});
  std::map<double, Numbers> sums;  // calls, seconds, calls of 300 seconds and more
  for (const Call& call : goodCalls(content("in/calls"))) {
    Numbers& row = sums.try_emplace(call.caller, 3, 0.0).first->second;
    row[0] += call.multiplicity;
    row[1] += call.duration;
    if (call.duration >= 300) row[2] += call.multiplicity;
  }
  Numbers expected;
  for (const auto& [caller, row] : sums) expected.insert(expected.end(), {caller, row[0], row[1], row[2]});
  parametersOf({"--params", "sums", "--form", "dense"});
  load("in", "out", "none");
  EXPECT_EQ(numbers("out"), expected);
}

TEST_F(RoundTrip, TablesHoldTheLatestCalleesOfACountByHand) {
  generate({"-n", "4000", "-c", "50", "--bad", "all=0.1", "-o", "in/calls"});
  std::map<double, std::vector<std::pair<double, double>>> tables;
  for (const Call& call : goodCalls(content("in/calls"))) {
    if (call.date == "19000101") continue;
    auto& row = tables[call.caller];
    row.emplace_back(call.callee, call.duration);
    if (row.size() > 20) row.erase(row.begin());
  }
  Numbers callees;
  Numbers durations;
  for (auto& [caller, row] : tables) {
    std::stable_sort(row.begin(), row.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    row.resize(20);
    callees.push_back(caller);
    durations.push_back(caller);
    for (const auto& [callee, duration] : row) {
      callees.push_back(callee);
      durations.push_back(duration);
    }
  }
  parametersOf({"--params", "table", "--form", "dense"});
  load("in", "out", "none");
  EXPECT_EQ(numbers("out"), callees);
  EXPECT_EQ(numbers("out_payload_1"), durations);
}

TEST_F(RoundTrip, TwoRunsThroughTheProcessFileAreOneRunOverBothFiles) {
  generate({"-n", "2000", "-c", "40", "--bad", "all=0.1", "-o", "in/calls", "--files", "2"});
  const std::string first = content("in/calls.1");
  const std::string second = content("in/calls.2");
  for (const std::string day : {"one", "two", "both"}) std::filesystem::create_directory(path(day));
  writeFile("one/calls", first);
  writeFile("two/calls", second);
  writeFile("both/calls", first + second);
  for (const std::string form : {"table", "pairsum", "sums"}) {
    SCOPED_TRACE(form);
    parametersOf({"--params", form});
    load("one", "first", form + ".parts");
    load("two", "parts", form + ".parts");
    load("both", "whole", form + ".whole");
    EXPECT_TRUE(content("parts") == content("whole"));
    EXPECT_TRUE(content(form + ".parts") == content(form + ".whole"));
    EXPECT_FALSE(content("first") == content("whole"));
  }
}

TEST_F(RoundTrip, ThePartitionsTogetherAreTheRunInOnePartition) {
  generate({"-n", "2000", "-c", "200", "-o", "in/calls"});
  parametersOf({"--params", "sums", "--form", "dense"});
  load("in", "whole", "none");
  parametersOf({"--params", "sums", "--form", "dense", "--partitions", "4"});
  load("in", "part", "none");
  std::map<double, Numbers> rows;
  for (int p = 0; p < 4; ++p) {
    const Numbers part = numbers("part." + std::to_string(p));
    ASSERT_EQ(part.size() % 4, 0U);
    EXPECT_GT(part.size(), 0U);
    for (auto at = part.begin(); at != part.end(); at += 4) rows[*at] = Numbers(at, at + 4);
  }
  Numbers joined;
  for (const auto& [key, row] : rows) joined.insert(joined.end(), row.begin(), row.end());
  EXPECT_EQ(joined, numbers("whole"));
}

TEST_F(RoundTrip, TheExampleOfTheGeneratorsHelpWorks) {
  generate({"-n", "2000", "-c", "200", "--group-count", "5", "-o", "in/calls", "--groups", "groups.txt"});
  EXPECT_THAT(generated.err, HasSubstr("last day (yyyyddmm): 20203001"));
  parametersOf({"--params", "table"});
  load("in", "out.bin", "none");
  expectSound({"dataset", "out.bin", "--rows", "30"});
  expectSound({"dataset", "out.bin_payload_1", "--form", "sparse"});
  const ProgramRun xml = runOther("vesk-inspect", {"xml", "fmt"});
  EXPECT_EQ(xml.status, 0);
  writeFile("fmt2", xml.out);
  EXPECT_EQ(runOther("vesk-inspect", {"xml", "fmt2"}).out, xml.out);
  // What the inspector prints is the same parameter file to the loader.
  runWith({"in", "fmt2", "none", "out2.bin", "2", "20203001"});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(content("out2.bin") == content("out.bin"));
}

// The parameter file as it stands in the manual, between the macros of literal text.
TEST_F(RoundTrip, TheExampleOfTheLoadersManualWorks) {
  std::ifstream manual(VESK_SOURCE_DIR "/docs/man/vesk-loader.1");
  std::string file;
  bool inside = false;
  for (std::string line; std::getline(manual, line);) {
    inside = inside || line.find("<LoaderParams>") != std::string::npos;
    if (inside) file += line + "\n";
    if (line.find("</LoaderParams>") != std::string::npos) break;
  }
  ASSERT_TRUE(inside);
  writeFile("fmt", file);
  generate({"-n", "2000", "-c", "200", "-o", "in/calls"});
  for (int day = 1; day <= 2; ++day) {
    load("in", "calls.bin", "calls.process");
    expectSound({"dataset", "calls.bin"});
    expectSound({"process", "calls.process", "--dates", "--payloads", "1"});
  }
  EXPECT_THAT(result.out, HasSubstr("Everything before 20193112 will be dropped \n"));
  EXPECT_EQ(files(), (Strings{"calls.bin", "calls.bin.info", "calls.bin_payload_1", "calls.process"}));
}

}  // namespace
}  // namespace vesk_e2e
