#ifndef TESTS_E2E_BOOSTED_CASE_H
#define TESTS_E2E_BOOSTED_CASE_H

#include <algorithm>

#include "train_case.h"

namespace vesk_e2e {

/// A table with a structure for every part of a boosted model.
class BoostedTrain : public TrainCase {
 protected:
  enum class Target { Number, Class, Count };

  /// The target depends on a curve of x, a step of z, groups of a category, a product, and on whether x is missing.
  /// Some targets are missing as well.
  void writeTable(Target target, int records = 1500) {
    std::vector<double> values;
    for (int i = 0; i < records; ++i) {
      const double x = 2 * draw();
      const double z = 3 * draw();
      const int group = 1 + i * 7 % 5;
      const bool hasX = i % 9 != 0;
      double f = std::sin(2 * x) + (z > 1 ? 1 : 0) + (group == 2 || group == 4 ? 0.8 : 0) + 0.3 * x * z;
      if (!hasX) f = 1.5;
      const double noise = draw();
      double y = f + 0.3 * noise;
      if (target == Target::Class) y = f + noise > 1 ? 1 : 0;
      if (target == Target::Count) y = std::floor(std::max(0.0, 0.4 * f + noise));
      values.insert(values.end(), {hasX ? x : missing, z, static_cast<double>(group), i % 31 == 0 ? missing : y,
                                   1 + std::fabs(draw())});
    }
    table("t.bin",
          {{"x", "Numeric", "Explanatory"},
           {"z", "Numeric", "Explanatory"},
           {"group", "Categorical", "Explanatory"},
           {"y", "Numeric", "Target"},
           {"w", "Numeric", "Explanatory"}},
          values);
  }
  void expectTrained(const Strings& settings, int ranks = 1) {
    Strings all = {"UnseenValues=Root"};
    all.insert(all.end(), settings.begin(), settings.end());
    train("t.bin", "m", all, ranks);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
  void expectScored(const Strings& options) {
    Strings arguments = {"score", "m.model", "t.bin", "p.csv"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    analyse(arguments);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
  static double number(const CsvColumns& columns, const std::string& name, std::size_t row) {
    return std::stod(columns.at(name).at(row));
  }
  static long countKept(const CsvColumns& stages) {
    return std::count(stages.at("kept").begin(), stages.at("kept").end(), "1");
  }
};

/// The loss of a record, as the training reports it.
inline double lossOf(const std::string& name, double y, double prediction) {
  const double margin = (y == 0 ? -1 : y) * prediction;
  if (name.starts_with("Logistic")) return std::log(1 + std::exp(-2 * margin));
  if (name.starts_with("Poisson")) return std::exp(prediction) - y * prediction;
  if (name == "SupportVector") return std::max(0.0, 1 - margin);
  return (y - prediction) * (y - prediction);
}

/// The value that score writes in the column Predicted_.
inline double onTargetScale(const std::string& name, double prediction) {
  if (name.starts_with("Poisson")) return std::exp(prediction);
  if (name.starts_with("Logistic") || name == "SupportVector") return prediction > 0 ? 1 : 0;
  return prediction;
}

}  // namespace vesk_e2e

#endif  // TESTS_E2E_BOOSTED_CASE_H
