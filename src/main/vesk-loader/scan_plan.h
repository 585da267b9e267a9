#ifndef SCAN_PLAN_H
#define SCAN_PLAN_H

// The settings of a run in the form that the scan uses line by line.

#include <cstdint>
#include <string>
#include <vector>

#include "loader_settings.h"
#include "operations.h"

namespace vesk_loader {

enum class Comparison { Always, EQ, LE, GE, GT, LT };

/// The condition of an operation; any other name than the five always holds.
struct Condition {
  Comparison comparison = Comparison::Always;
  double threshold = -1.0;

  static Condition fromSettings(const std::string& name, double threshold);

  bool holds(double value) const {
    switch (comparison) {
      case Comparison::EQ:
        return value == threshold;
      case Comparison::LE:
        return value <= threshold;
      case Comparison::GE:
        return value >= threshold;
      case Comparison::GT:
        return value > threshold;
      case Comparison::LT:
        return value < threshold;
      case Comparison::Always:
        break;
    }
    return true;
  }
};

struct PlannedOperation {
  Operation row;         ///< of the table of operations
  std::int32_t index;    ///< among the operations of the parameter file, 0-based
  std::int32_t input;    ///< field
  std::uint32_t output;  ///< position in the row of sums
  Condition condition;
  std::uint32_t value = 0;  ///< plain run: index among valueInputs of the input
};

/// What the scan of one run does with a line.
struct ScanPlan {
  explicit ScanPlan(const LoaderSettings& settings);

  bool tableRun = false;
  bool fieldsExist = false;                  ///< every field that the settings name is one of the line's
  std::vector<PlannedOperation> operations;  ///< those that this kind of run carries out, in order
  std::uint32_t sumCount = 0;                ///< sums that a row of a plain run has at least

  bool outputsAreDistinct = true;  ///< no two operations add to the same sum

  /// Plain run: the fields whose values the operations use, each once. A Count that always counts uses none.
  std::vector<std::int32_t> valueInputs;
  std::int32_t keyField;
  std::int32_t dateField;
  std::int32_t multiplicityField;  ///< 0 is none as well
  bool usesMultiplicity = false;   ///< an operation uses the value

 private:
  bool allFieldsExist(const LoaderSettings& settings) const;
  std::uint32_t indexOfInput(std::int32_t field);
};

}  // namespace vesk_loader

#endif  // SCAN_PLAN_H
