#ifndef QUVEN_RECORD_BLOCK_H
#define QUVEN_RECORD_BLOCK_H

#include <cmath>
#include <cstddef>
#include <vector>

#include "kernel/quven_field.h"

/// Some records of a pass, looked up for models that share most of their variables. The models then learn the block one
/// after the other, so that the statistics of one model stay in the cache.
///
/// Shapes:   records and channels run from 0. For each record and channel there are the values of the shared
///           variables, the target last, and then the case weight and the inverse variance weight, side by side.
/// Values:   a variable or weight that is NaN is 0.0; a target that is NaN stays so, as does one that is missing.
class QUVENRecordBlock {
 public:
  static constexpr long MostRecords = 128;

  /// The fields of the shared variables, the target last; a weight may be null, which is 1.0.
  void open(std::vector<const QUVENField*> variableFields, const QUVENField* caseWeight, const QUVENField* invVarWeight,
            long numChannels) {
    fields = std::move(variableFields);
    numVariables = static_cast<long>(fields.size());
    fields.push_back(caseWeight);
    fields.push_back(invVarWeight);
    channels = numChannels;
    numRecords = 0;
    values.resize(static_cast<std::size_t>(MostRecords * channels * width()));
    room.resize(static_cast<std::size_t>(channels));
    recordChannels.resize(MostRecords);
  }
  bool isOpen() const { return channels > 0; }
  bool isFull() const { return numRecords == MostRecords; }
  void clear() { numRecords = 0; }

  /// Looks up the present record.
  void add(long recordChannel) {
    recordChannels[static_cast<std::size_t>(numRecords)] = recordChannel;
    double* const first = values.data() + numRecords * channels * width();
    for (long i = 0; i < width(); ++i) {
      const QUVENField* const field = fields[static_cast<std::size_t>(i)];
      const bool isTarget = i == numVariables - 1;
      double* place = first + i;
      if (field == nullptr || (isTarget && (!field->hasValue() || field->isMissing()))) {
        for (long c = 0; c < channels; ++c, place += width()) *place = isTarget ? std::nan("") : 1.0;
        continue;
      }
      const double* const found = field->getNumValuesOrSingle(channels, room.data());
      for (long c = 0; c < channels; ++c, place += width()) {
        *place = isTarget || !std::isnan(found[c]) ? found[c] : 0.0;
      }
    }
    ++numRecords;
  }

  long getNumRecords() const { return numRecords; }
  long getNumVariables() const { return numVariables; }
  long getRecordChannel(long record) const { return recordChannels[static_cast<std::size_t>(record)]; }
  /// The variables, then the two weights.
  const double* at(long record, long channel) const { return values.data() + (record * channels + channel) * width(); }

 private:
  long width() const { return numVariables + 2; }

  std::vector<const QUVENField*> fields;
  std::vector<double> values;
  std::vector<double> room;
  std::vector<long> recordChannels;
  long numVariables = 0;
  long numRecords = 0;
  long channels = 0;
};

/// What a block has of one feature transform.
///
/// Shapes: per record the value of the transform's own field and the segment, each one or one per channel.
struct QUVENBlockOfTransform {
  bool hasOwnVariable = false;  ///< the field is a variable before the shared ones
  long channels = 1;            ///< 1, or those of the run for a field with a value per channel
  std::vector<double> values = {};
  std::vector<std::int32_t> segments = {};
};

#endif  // QUVEN_RECORD_BLOCK_H
