#ifndef VESK_CHECK_INPUT_SAMPLE_H
#define VESK_CHECK_INPUT_SAMPLE_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "check/date_forms.h"
#include "check/field_samples.h"
#include "files/input_bytes.h"
#include "loader_settings.h"  // of vesk-loader
#include "records/input_list.h"
#include "records/line_examiner.h"

namespace vesk {

/// What is seen of one record file.
struct FileSample {
  InputFile file;
  vesk_files::Compression compression = vesk_files::Compression::None;
  std::uint64_t lines = 0;         ///< read
  std::uint64_t contentBytes = 0;  ///< of these lines with their ends
  std::uint64_t storedBytes = 0;   ///< of the file that were read for them
  std::uint64_t accepted = 0;
  bool isWhole = false;           ///< the file has no more lines
  bool hasMark = false;           ///< a UTF-8 byte order mark
  std::uint64_t returns = 0;      ///< lines that end with CR LF
  bool lacksEnd = false;          ///< the last line has no line end
  std::uint64_t lineCommas = 0;   ///< lines with at least two commas or semicolons, or with a tab
  std::string header;             ///< the first line, if it is a header
  std::uint64_t numberLines = 0;  ///< lines with a number in two fields
  std::string failure;            ///< why the reading ended before
};

/// The first line that was refused for one cause.
struct RefusedExample {
  std::string file;
  std::uint64_t line = 0;
  std::size_t field = Refusal::WholeLine;
  std::string text;  ///< of the field, or the start of the line
};

/// What one operation would do with the accepted lines.
struct OperationSample {
  std::uint64_t done = 0;        ///< lines that it takes
  std::uint64_t notHolding = 0;  ///< lines whose condition does not hold
  std::uint64_t restricted = 0;  ///< lines that the special list leaves out
  double sum = 0.0;              ///< what Add and Count would add
};

/// What is seen of the first lines of an input.
struct InputSample {
  std::vector<FileSample> files;
  std::uint64_t lines = 0;
  std::uint64_t accepted = 0;
  std::array<std::uint64_t, CauseCount> refused{};
  std::array<RefusedExample, CauseCount> examples;
  std::vector<FieldSamples> fields;
  DateCounts dates;
  std::uint64_t beforeCutoff = 0;             ///< lines
  std::vector<OperationSample> operations;    ///< as the operations of the settings
  std::uint64_t multiplicity = 0;             ///< of the accepted lines in all
  std::unordered_set<std::uint64_t> callers;  ///< bits of their numbers
  std::unordered_set<std::uint64_t> pairs;    ///< of a pair sum run: hashes of caller and callee
  std::vector<std::string> firstLines;        ///< up to three that are loaded, else the first ones
  bool canExamine = false;                    ///< the settings say enough to tell which lines are loaded
};

/// Whether every field that the settings name exists, so that lines can be examined.
bool canExamineLines(const vesk_loader::LoaderSettings& settings);

/// Reads the first lines of the files, which are shared out among them. Fields that no line can have are passed over.
/// A file that cannot be read is a failure of its FileSample.
/// @param lines at least 1
InputSample sampleInput(const vesk_loader::LoaderSettings& settings, const std::vector<InputFile>& files,
                        const RecordDates& dates, std::uint64_t lines);

}  // namespace vesk

#endif  // VESK_CHECK_INPUT_SAMPLE_H
