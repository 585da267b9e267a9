#ifndef QUVEN_PASS_SETTINGS_H
#define QUVEN_PASS_SETTINGS_H

#include <cstdint>
#include <functional>

/// How the passes of a run are made. The same on every rank, but for outputCacheBytes.
struct QUVENPassSettings {
  /// Gives the channel of a record, 0..numChannels, by its number in the dataset, from 0.
  using DealChannel = std::function<std::int32_t(std::int64_t recordNumber)>;

  /// Channels of the environment, which scans take over when they are made.
  std::int32_t numChannels = 1;
  /// Null: every record has channel 0.
  DealChannel dealChannel = nullptr;
  /// Whether a record takes part in passes, by its number in the dataset, from 0. Null: every record does. A pass that
  /// writes rows always takes all records.
  std::function<bool(std::int64_t recordNumber)> takesRecord = nullptr;
  /// Fixed slices of the records that a pass is gathered in; the results are the same bytes on any number of ranks
  /// then. A scan may keep nothing from slice to slice that its stream does not carry. 0: each rank gathers its own
  /// share.
  std::int32_t numSlices = 0;
  /// Passes in which a field that has a distribution is shown its values: 1 for bins with the statistics of the sample,
  /// 2 for exact ones.
  std::int32_t distributionPasses = 2;
  /// The number, from 1, of the pass from which on models are told that it is the last; 0 for none. Passes for
  /// distributions count, passes that write rows do not.
  std::int32_t lastPass = 0;
  /// What this rank may use to keep the outputs of finished models from pass to pass; 0 for none. The results do not
  /// depend on it.
  std::int64_t outputCacheBytes = 0;
  /// The channel whose results finished models give each record; 0 for those of all channels. The values of other
  /// channels are absent or NaN then.
  std::int32_t scoredChannel = 0;
};

#endif  // QUVEN_PASS_SETTINGS_H
