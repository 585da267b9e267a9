#ifndef VESK_TESTS_DAY_CASE_H
#define VESK_TESTS_DAY_CASE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace vesk_e2e {

/// A folder with a parameter file and the state that `vesk day` makes in it.
class DayCase : public ::testing::Test {
 protected:
  /// Caller in columns 1-4, callee 5-8, date 9-16, seconds 17-20; `more` are further tags.
  static std::string layout(const std::string& more) {
    const auto field = [](int number, const char* name, int start, int end) {
      const std::string tag = "Field" + std::to_string(number);
      return "<" + tag + "><Name>" + name + "</Name><Type>Numeric</Type><Start>" + std::to_string(start) +
             "</Start><End>" + std::to_string(end) + "</End></" + tag + ">\n";
    };
    return "<LoaderParams>\n" + field(1, "Caller", 1, 4) + field(2, "Callee", 5, 8) + field(3, "Date", 9, 16) +
           field(4, "Seconds", 17, 20) + "<Key>1</Key>\n" + more + "</LoaderParams>\n";
  }
  static std::string tableTags(int size = 3, const std::string& more = "") {
    return "<DateField>3</DateField>\n<DateHorizon>30</DateHorizon>\n<CyclicTableSize>" + std::to_string(size) +
           "</CyclicTableSize>\n<Output>Sparse</Output>\n" + more +
           "<Operation1><OpName>CyclicAdd</OpName><Input>2</Input></Operation1>\n";
  }
  static std::string payloadTags() {
    return tableTags(3) + "<Operation2><OpName>CyclicAddPayload</OpName><Input>4</Input></Operation2>\n";
  }
  static std::string pairTags(const std::string& more = "") {
    return "<Output>Sparse</Output>\n" + more + "<Operation1><OpName>PairSum</OpName><Input>2</Input></Operation1>\n";
  }
  static std::string sumTags(const std::string& output = "Sparse") {
    return "<Output>" + output +
           "</Output>\n<Operation1><OpName>Count</OpName><Input>2</Input><Output>2</Output></Operation1>\n"
           "<Operation2><OpName>Add</OpName><Input>4</Input><Output>3</Output></Operation2>\n";
  }

  void SetUp() override { useTable(); }
  void useTable(int size = 3) { folder.write("p.xml", layout(tableTags(size))); }

  /// A line of the layout.
  static std::string line(int caller, int callee, const std::string& date, int seconds) {
    const auto number = [](int value) {
      const std::string text = std::to_string(value);
      return std::string(text.size() < 4 ? 4 - text.size() : 0, ' ') + text;
    };
    return number(caller) + number(callee) + date + number(seconds) + "\n";
  }

  /// Two callers, three calls.
  void writeFirstDay() {
    folder.write("in1/calls", line(1, 5, "20200105", 60) + line(1, 3, "20200106", 30) + line(2, 5, "20200107", 120));
  }
  void writeSecondDay() { folder.write("in2/calls", line(1, 7, "20200108", 10) + line(3, 5, "20200108", 20)); }

  ProgramRun vesk(const std::vector<std::string>& arguments, const ProgramLimits& limits = {}) const {
    return runProgram("vesk", arguments, folder.path(), limits);
  }
  /// `vesk day p.xml INPUT st --date DATE` and more.
  ProgramRun day(const std::string& input, const std::string& date, const std::vector<std::string>& more = {},
                 const ProgramLimits& limits = {}) const {
    std::vector<std::string> arguments = {"day", "p.xml", input, "st", "--date", date};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return vesk(arguments, limits);
  }
  ProgramRun firstDay(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> options = {"--record-dates", "ymd", "--new"};
    options.insert(options.end(), more.begin(), more.end());
    return day("in1", "2020-01-07", options);
  }

  /// What `current` leads to, without "generations/"; "" without a link.
  std::string current() const {
    const std::filesystem::path link = folder.path("st/current");
    return std::filesystem::is_symlink(link) ? std::filesystem::read_symlink(link).filename().string() : "";
  }
  std::string process() const { return folder.read("st/current/process"); }
  std::string dataset() const { return folder.read("st/current/dataset.bin"); }

  /// Names in the folder of the state, in ascending order.
  std::vector<std::string> namesInState() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path("st"))) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  /// Waits until a run has listed its input and has begun to read it.
  void waitForWork() const {
    const auto hasWork = [this] {
      if (!folder.has("st")) return false;
      const std::vector<std::string> names = namesInState();
      return std::any_of(names.begin(), names.end(),
                         [](const std::string& name) { return name.starts_with(".work-"); });
    };
    while (!hasWork()) std::this_thread::yield();
  }

  TemporaryFolder folder;
};

}  // namespace vesk_e2e

#endif  // VESK_TESTS_DAY_CASE_H
