#ifndef VESK_ANALYZE_OUTPUT_CHECK_H
#define VESK_ANALYZE_OUTPUT_CHECK_H

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "analysis_kind.h"

namespace vesk_analyze {

/// Checks before a long run whether each file can be written. Existing files stay unchanged.
/// Errors: the terminating report 2302 with the name and the words of the analysis.
void checkOutputsBefore(std::span<const OutputFile> files, const char* words, const QUVENEnvHandle& env);

/// Checks that no output overwrites an input or another output. Devices and pipes may be named more than once.
/// Errors: the terminating report 2302 with the name of the first that does.
void checkOutputsDiffer(std::span<const OutputFile> files, std::span<const std::string> inputs,
                        const QUVENEnvHandle& env);

/// Checks after a run that the files exist.
/// Errors: the terminating report 2302 with the name of the first that has not.
void checkOutputsAfter(std::span<const OutputFile> files, const std::string& failedFile, const QUVENEnvHandle& env);

/// The files of a run. They are checked before the first pass: an output must not overwrite an input or the results of
/// another analysis.
struct RunFiles {
  std::vector<OutputFile> outputs = {};
  std::string results = {};              ///< the file of --results, empty for none
  std::string resultsJson = {};          ///< the file of --results-json, empty for none
  std::string timings = {};              ///< the file of --timings=json, empty for none
  std::vector<std::string> inputs = {};  ///< everything that is read

  void addInputs(const std::vector<std::string>& files) { inputs.insert(inputs.end(), files.begin(), files.end()); }
  /// Errors: as for checkOutputsBefore.
  void checkWritable(const char* words, const QUVENEnvHandle& env) const;
  /// Errors: as for checkOutputsDiffer.
  void checkNames(const QUVENEnvHandle& env) const;
};

inline constexpr const char* outputUnwritable = "vesk-analyze: Unable to write output file";
inline constexpr const char* resultsUnwritable = "vesk-analyze: Unable to write results file";
inline constexpr const char* timingsUnwritable = "vesk-analyze: Unable to write timings file";

struct WrittenOutput {
  std::string path;
  std::function<void(std::ostream& out)> write;
};

/// Writes files under temporary names and renames them when all of them are complete, so that a full disk does not
/// leave a mixture with files of an earlier run.
/// Errors: the terminating report 2302 with the name of the first that is not complete.
void writeOutputs(std::span<const WrittenOutput> outputs, const QUVENEnvHandle& env);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_OUTPUT_CHECK_H
