#ifndef TESTS_E2E_TRAIN_CASE_H
#define TESTS_E2E_TRAIN_CASE_H

#include <cmath>
#include <cstdint>
#include <map>
#include <sstream>

#include "loader_case.h"

namespace vesk_e2e {

/// Tables in the dense form, models that are trained on them, and predictions.
class TrainCase : public LoaderCase {
 protected:
  using Strings = std::vector<std::string>;
  /// A CSV file by its headings.
  using CsvColumns = std::map<std::string, Strings>;

  static constexpr double missing = -99999.0;

  struct Column {
    std::string name;
    std::string type;  ///< "Numeric" or "Categorical"
    std::string purpose;
  };

  /// Writes a table: the values of one record after the other.
  void table(const std::string& name, const std::vector<Column>& columns, const std::vector<double>& values) const {
    writeNumbers(name, values);
    std::string info;
    for (const Column& column : columns) info += column.name + " " + column.type + " " + column.purpose + "\n";
    writeFile(name + ".info", info);
  }

  /// A number from -1 to 1, drawn anew with each call.
  double draw() {
    state = state * 6364136223846793005U + 1442695040888963407U;
    return static_cast<double>(state >> 11) / 4503599627370496.0 - 1.0;
  }

  /// vesk-analyze on this number of ranks.
  void analyse(const Strings& arguments, int ranks = 1) {
    if (ranks == 1) {
      result = runOther("vesk-analyze", arguments);
      return;
    }
    Strings all = {"-n", std::to_string(ranks), std::string(VESK_BIN_DIR) + "/vesk-analyze"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    result = runOther(VESK_MPIRUN, all);
  }
  /// Trains on a table with settings KEY=VALUE; the model is NAME.model, the reports begin with NAME.
  void train(const std::string& dataset, const std::string& name, const Strings& settings, int ranks = 1) {
    Strings arguments = {
        "train", "-", dataset, "--set", "ModelFileName=" + name + ".model", "--set", "OutputFileName=" + name};
    for (const std::string& setting : settings) arguments.insert(arguments.end(), {"--set", setting});
    analyse(arguments, ranks);
  }

  CsvColumns csv(const std::string& name) const {
    std::istringstream lines(content(name));
    CsvColumns columns;
    Strings headings;
    for (std::string line; std::getline(lines, line);) {
      Strings cells;
      std::string cell;
      std::istringstream text(line + ",");
      while (std::getline(text, cell, ',')) cells.push_back(cell);
      if (headings.empty()) {
        headings = cells;
        continue;
      }
      EXPECT_EQ(cells.size(), headings.size()) << line;
      for (std::size_t i = 0; i < headings.size() && i < cells.size(); ++i) columns[headings[i]].push_back(cells[i]);
    }
    return columns;
  }

 private:
  std::uint64_t state = 1;
};

}  // namespace vesk_e2e

#endif  // TESTS_E2E_TRAIN_CASE_H
