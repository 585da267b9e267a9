#ifndef VESK_GENERATE_TABLE_GENERATOR_H
#define VESK_GENERATE_TABLE_GENERATOR_H

#include <cstdint>
#include <span>
#include <string>

#include "random.h"

namespace vesk_generate {

/// What a table is to look like; the same settings give the same bytes.
struct TableSettings {
  std::uint64_t rows = 10000;
  std::uint64_t seed = 1;
  double noise = 5.0;          ///< standard deviation of what is added to the target
  double missingShare = 0.02;  ///< share of the cells of tenure, calls and plan that are missing
  bool hasSignals = false;     ///< effects that a linear model cannot have
};

/// Errors: std::invalid_argument with a text that names the setting.
void checkTableSettings(const TableSettings& settings);

/// A point of the planted curve. Units: months, and thousandths of the target.
struct CurvePoint {
  std::int64_t tenure;
  std::int64_t value;
};

/// Makes the rows of a CSV table of subscribers with planted effects on the column `spend`:
///
///   spend = curve(tenure) + 0.03 minutes + effect(plan) + noise
///
/// tenure   months, 0.0 to 120.0 in tenths. Its curve is linear between the points of plantedCurve; a row without
/// tenure
///          has a level of its own.
/// minutes  0 to 1000, with the slope 0.03.
/// calls    0 to 200, without effect.
/// plan     six texts in three groups of two, with the effects -6, 0 and 6; a row without plan has the effect 0.
/// region   twelve texts, without effect.
/// With signals there is a further column, and spend has two further terms, step(calls) + 0.01 minutes rate:
///
/// calls    the step is 0 up to 120 calls, 12 above them, and -15 in a row without calls.
/// rate     0.0 to 10.0 in tenths.
///
/// All values but the noise are drawn evenly and independently. The noise is a sum of twelve even draws, nearly normal.
/// Missing cells are `NA` in columns of numbers and empty in columns of texts.
class TableGenerator {
 public:
  /// The names of the columns, the target last, with the line feed.
  static constexpr const char* header = "tenure,minutes,calls,plan,region,spend\n";
  static constexpr const char* headerWithSignals = "tenure,minutes,calls,rate,plan,region,spend\n";

  explicit TableGenerator(const TableSettings& settings);

  const char* getHeader() const { return hasSignals ? headerWithSignals : header; }
  /// Appends a row to the text.
  void addRow(std::string& text);

 private:
  std::int64_t drawNoise();

  Xoshiro256 random;
  std::int64_t noise;  // thousandths
  std::uint64_t missingThreshold;
  bool hasSignals;
};

/// The points of the planted curve by rising tenure.
std::span<const CurvePoint> plantedCurve();

/// The planted curve as CSV, `x,y`: the points, with the mean of spend over all rows of that tenure.
std::string plantedCurveText();

}  // namespace vesk_generate

#endif  // VESK_GENERATE_TABLE_GENERATOR_H
