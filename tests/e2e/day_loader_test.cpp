// The state after some days is that of the loader alone on the accepted lines, byte for byte, for all kinds of runs.

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>

#include "day_case.h"

namespace vesk_e2e {
namespace {

struct Variant {
  const char* name;
  std::string tags;         ///< below the fields; Field5 lies over Callee and Date, Field6 is Callee once more
  std::string recordDates;  ///< none, ymd or ydm
};

std::string operation(int number, const std::string& name, int input, const std::string& more = "") {
  const std::string tag = "Operation" + std::to_string(number);
  return "<" + tag + "><OpName>" + name + "</OpName><Input>" + std::to_string(input) + "</Input>" + more + "</" + tag +
         ">\n";
}

std::string condition(const std::string& name, const std::string& threshold) {
  return "<Condition>" + name + "</Condition><Threshold>" + threshold + "</Threshold>";
}

class DayLoaderTest : public DayCase {
 protected:
  static std::string fields() {
    const std::string more =
        "<Field5><Name>Over</Name><Type>N</Type><Start>7</Start><End>12</End></Field5>\n"
        "<Field6><Name>Again</Name><Type>N</Type><Start>5</Start><End>8</End></Field6>\n";
    return more;
  }

  /// A line of the layout, in one of six with a character that is wrong somewhere.
  std::string randomLine(int day, bool monthFirst) {
    const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
    const std::string dayText = (day < 10 ? "0" : "") + std::to_string(day);
    std::string text =
        line(1 + below(30), below(40) - 2, monthFirst ? "202003" + dayText : "2020" + dayText + "03", below(60) - 2);
    text.pop_back();
    if (below(6) == 0) text[random() % text.size()] = "0123456789 ,\t.-+ex"[random() % 18];
    if (below(30) == 0) text.resize(random() % (text.size() + 1));
    if (below(30) == 0) text += "  more";
    return text;
  }

  /// Numbers of the lines that the last run has refused.
  std::set<std::size_t> refusedLines(const std::string& rejects) const {
    std::istringstream rows(folder.read(rejects));
    std::set<std::size_t> numbers;
    std::string row;
    std::getline(rows, row);
    while (std::getline(rows, row)) {
      if (row.find(",restricted,") == std::string::npos) numbers.insert(std::stoul(row.substr(row.find(',') + 1)));
    }
    return numbers;
  }

  void loadBoth(const Variant& variant, int d) {
    const std::string number = std::to_string(d);
    std::vector<std::string> lines;
    std::string all;
    for (int i = 0; i < 300; ++i) {
      lines.push_back(randomLine(10 + d - static_cast<int>(random() % 3), variant.recordDates != "ydm"));
      all += lines.back() + (d == 2 ? "\r\n" : "\n");
    }
    folder.write("in" + number + "/calls", all);
    std::vector<std::string> more = {"--max-bad", "100%", "--no-check", "--force", "--rejects", "r.csv"};
    if (d == 1) more.insert(more.end(), {"--new", "--record-dates", variant.recordDates});
    const ProgramRun run = day("in" + number, "2020-03-1" + number, more);
    ASSERT_EQ(run.status, 0) << run.err;
    const std::set<std::size_t> refused = refusedLines("r.csv");
    std::string accepted;
    for (std::size_t i = 0; i < lines.size(); ++i) accepted += refused.contains(i + 1) ? "" : lines[i] + "\n";
    ASSERT_GT(refused.size(), 5U);
    ASSERT_GT(accepted.size(), 1000U);
    folder.write("good" + number + "/calls", accepted);
    const std::string format = variant.recordDates == "none" ? "0" : variant.recordDates == "ymd" ? "2" : "1";
    const bool isCsv = variant.tags.find("CSV") != std::string::npos;
    const ProgramRun alone =
        runProgram("vesk-loader",
                   {"datadir", "good" + number, "p.xml", "alone/process",
                    isCsv ? "alone/dataset.csv" : "alone/dataset.bin", format, "20201" + number + "03"},
                   folder.path());
    ASSERT_EQ(alone.status, 0) << alone.out;
    EXPECT_EQ(alone.out.find(" omitted ("), std::string::npos) << "the loader omits an accepted line";
  }

  void expectTheSame() const {
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path("alone"))) {
      const std::string name = entry.path().filename();
      EXPECT_TRUE(folder.read("alone/" + name) == folder.read("st/current/" + name)) << name;
      ++files;
    }
    EXPECT_GE(files, 2U);
  }

  std::mt19937 random{14};
};

TEST_F(DayLoaderTest, AllKindsOfRuns) {
  folder.write("special", "1 2 3 5 8 13");
  const std::string table = "<CyclicTableSize>3</CyclicTableSize><DateField>3</DateField>\n";
  const std::string list = "<SpecialList><File>special</File>";
  const std::string sparse = "<Output>Sparse</Output>\n";
  const std::string multiplicity = "<MultiplicityField>4</MultiplicityField>\n";
  const Variant variants[] = {
      {"horizon 0, conditions, two entries a line",
       table + sparse + "<DateHorizon>0</DateHorizon>" + operation(1, "CyclicAdd", 2, condition("GT", "7")) +
           operation(2, "CyclicAdd", 6, condition("LE", "20")),
       "ymd"},
      {"multiplicities, the key as payload, ydm",
       table + sparse + "<DateHorizon>1</DateHorizon>" + multiplicity + operation(1, "CyclicAdd", 2) +
           operation(2, "CyclicAddPayload", 1) + operation(3, "CyclicAddPayload", 3),
       "ydm"},
      {"exclude, in parts",
       table + sparse + "<NumberOfPartitions>3</NumberOfPartitions>" + list + "<OpName>Exclude</OpName></SpecialList>" +
           operation(1, "CyclicAdd", 2),
       "ymd"},
      {"restrict, the key as callee",
       table + sparse + "<CyclicTableSort>No</CyclicTableSort>" + list + "</SpecialList>" +
           operation(1, "CyclicAdd", 1),
       "none"},
      {"distinct callees with payloads",
       table + sparse + "<CyclicTableDistinct>Yes</CyclicTableDistinct><DateHorizon>3</DateHorizon>" + multiplicity +
           operation(1, "CyclicAdd", 2) + operation(2, "CyclicAddPayload", 4),
       "ymd"},
      {"overlapping fields", table + "<Output>Dense</Output>" + operation(1, "CyclicAdd", 5), "ymd"},
      {"a table as CSV", table + "<Output>CSV</Output>" + operation(1, "CyclicAdd", 2), "ymd"},
      {"pairs with multiplicities", sparse + multiplicity + operation(1, "PairSum", 2), "none"},
      {"sums with conditions",
       sparse + multiplicity + operation(1, "Count", 2, "<Output>2</Output>" + condition("EQ", "5")) +
           operation(2, "Add", 4, "<Output>1</Output>" + condition("GE", "10")) +
           operation(3, "Count", 3, "<Output>3</Output>" + condition("LT", "20200312")),
       "none"},
  };
  for (const Variant& variant : variants) {
    SCOPED_TRACE(variant.name);
    for (const char* name : {"st", "alone"}) std::filesystem::remove_all(folder.path(name));
    std::filesystem::create_directory(folder.path("alone"));
    folder.write("p.xml", layout(fields() + variant.tags));
    for (int d = 1; d <= 3; ++d) {
      ASSERT_NO_FATAL_FAILURE(loadBoth(variant, d));
      expectTheSame();
    }
  }
}

}  // namespace
}  // namespace vesk_e2e
