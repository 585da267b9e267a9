#ifndef VESK_CHECK_INPUT_CHECK_H
#define VESK_CHECK_INPUT_CHECK_H

#include <cstdint>
#include <vector>

#include "check/input_sample.h"
#include "check/parameter_check.h"
#include "records/input_list.h"
#include "records/line_examiner.h"

namespace vesk {

/// What is wrong with the lines of a sample, or worth to be said of them. Errors are what leads to a run that loads
/// nothing or something else than the records say.
std::vector<ParameterFinding> findInSample(const CheckedParameters& parameters, const InputSample& sample,
                                           const RecordDates& dates, double mostRefused = 0.05);

/// The errors in the first lines of the files: a header line, UTF-16, a file that cannot be read, a field that ends
/// before its numbers do, dates of the other form, no line that would be loaded.
///
/// Requires: parameters without errors.
/// @param lines at least 1; they are shared out among the files
std::vector<ParameterFinding> checkInput(const CheckedParameters& parameters, const std::vector<InputFile>& files,
                                         const RecordDates& dates, std::uint64_t lines);

/// The files that have the content of an earlier one of the list, as errors. Reads files of equal size whole.
std::vector<ParameterFinding> findEqualInputs(const std::vector<InputFile>& files);

/// "Field2 (Callee, columns 17-31)"
std::string describeField(const vesk_loader::LoaderSettings& settings, std::size_t field);

}  // namespace vesk

#endif  // VESK_CHECK_INPUT_CHECK_H
