#ifndef VESK_DAY_INPUT_FEED_H
#define VESK_DAY_INPUT_FEED_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "day/ledger.h"
#include "loader_settings.h"
#include "records/input_list.h"
#include "records/line_examiner.h"

namespace vesk {

class RejectFile;

/// What one pass over the input has found.
struct FeedResult {
  std::vector<LedgerInput> inputs;  ///< in the order of the list
  std::uint64_t lines = 0;
  std::uint64_t accepted = 0;
  std::uint64_t restricted = 0;  ///< entries left out by the special list
  std::vector<std::string>
      remarks;  ///< byte order marks, carriage returns, missing line ends, files without a good line
};

/// Reads the input and gives the lines that are to be loaded on, whole, each with a line feed.
class InputFeed {
 public:
  /// Called with the lines, some at a time.
  using Sink = std::function<void(std::string_view)>;
  /// Called now and then with the bytes of the files and the lines that were read so far.
  using Progress = std::function<void(std::uint64_t bytes, std::uint64_t lines)>;

  InputFeed(const std::vector<InputFile>& inputFiles, const vesk_loader::LoaderSettings& loaderSettings,
            const RecordDates& recordDates)
      : files(inputFiles), settings(loaderSettings), dates(recordDates) {}

  /// Reads all files once. `rejects` may be null.
  /// Errors: CommandFailure (Data) for a file that cannot be read as records or that changes; what the functions throw.
  FeedResult run(const Sink& sink, RejectFile* rejects, const Progress& progress) const;

 private:
  LedgerInput feedFile(const InputFile& file, LineExaminer& examiner, const Sink& sink, RejectFile* rejects,
                       const Progress& progress, FeedResult& result) const;

  const std::vector<InputFile>& files;
  const vesk_loader::LoaderSettings& settings;
  const RecordDates& dates;
};

}  // namespace vesk

#endif  // VESK_DAY_INPUT_FEED_H
