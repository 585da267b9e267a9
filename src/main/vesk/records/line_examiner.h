#ifndef VESK_RECORDS_LINE_EXAMINER_H
#define VESK_RECORDS_LINE_EXAMINER_H

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "fixed_fields.h"
#include "loader_dates.h"
#include "loader_settings.h"
#include "records/refusal.h"

namespace vesk {

/// What the dates of records mean.
struct RecordDates {
  std::int32_t format = 0;    ///< of the loader: 0 not considered, 1 yyyyddmm, 2 yyyymmdd
  double cutoff = 0.0;        ///< yyyyddmm; 0: no date is too old
  std::uint32_t lastDay = 0;  ///< yyyymmdd, the last one that a record may have; 0: any
};

/// Decides whether a line is loaded. It refuses every line that the loader would omit, and every line of which the
/// loader would read another number than is written.
///
/// Lifetime: keeps a reference to the settings.
class LineExaminer {
 public:
  LineExaminer(const vesk_loader::LoaderSettings& settings, const RecordDates& dates);

  /// The first cause found, or none. Requires: 64 bytes on either side of the line can be read.
  std::optional<Refusal> examine(const vesk_loader::Line& line);

  /// The entries of the last accepted line that the special list leaves out, one an operation. Empty without a list.
  const std::vector<Refusal>& getRestricted() const { return restricted; }

  /// The fields of the last line that was long enough for all of them.
  const vesk_loader::FixedFields& getFields() const { return fields; }

 private:
  // A field whose number the run uses.
  struct UsedField {
    std::size_t field = 0;
    bool isWhole = false;  // an id or a multiplicity
    bool isCaller = false;
    bool isDate = false;      // a day of the calendar
    bool isCount = false;     // a multiplicity that is added up
    bool isReserved = false;  // -1 and -2 are separators beside it in the state
    bool isRestricted = false;
    bool remembersDate = false;
    // Digits in this range need no further look.
    std::uint64_t goodFrom = 1;
    std::uint64_t goodTo = 0;
  };

  UsedField& use(std::int32_t field);
  void planFields();
  std::optional<Refusal> findSpacing(const vesk_loader::Line& line) const;
  static std::optional<Cause> readNumber(const UsedField& used, const vesk_loader::FieldText& field, double& value);
  std::optional<Cause> judge(const UsedField& used, double value);
  std::optional<Cause> judgeDate(double value) const;

  const vesk_loader::LoaderSettings& settings;
  RecordDates dates;
  vesk_loader::CutoffTest cutoff;
  vesk_loader::FixedFields fields;
  std::vector<UsedField> usedFields;
  std::vector<Refusal> restricted;
  // Days come in runs. No number of 16 digits is equal to the first value.
  std::uint64_t lastGoodDate = ~std::uint64_t{0};
};

}  // namespace vesk

#endif  // VESK_RECORDS_LINE_EXAMINER_H
