#ifndef VESK_CHECK_CHECK_REPORT_H
#define VESK_CHECK_CHECK_REPORT_H

#include <string>
#include <vector>

#include "check/input_sample.h"
#include "check/parameter_check.h"
#include "records/line_examiner.h"

namespace vesk {

/// What a check has found.
struct CheckResult {
  std::string parameterName;
  std::string inputName;
  CheckedParameters parameters;
  InputSample sample;
  RecordDates dates;
  std::string dayText;                     ///< the day of the cutoff and where it comes from, "" without a cutoff
  std::vector<ParameterFinding> findings;  ///< of parameters and input
};

/// The report of a check in sections, the findings last. Lines have at most 100 columns but for names and line texts.
std::string writeCheckReport(const CheckResult& result);

}  // namespace vesk

#endif  // VESK_CHECK_CHECK_REPORT_H
