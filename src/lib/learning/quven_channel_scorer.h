#ifndef QUVEN_CHANNEL_SCORER_H
#define QUVEN_CHANNEL_SCORER_H

#include <cmath>
#include <cstddef>
#include <vector>

#include "kernel/quven_field.h"

/// Linear models of all channels as they score: one table of numbers per segment, with the channels side by side.
///
/// The prediction of a channel is its intercept plus, in the order of the terms, the coefficient times the value of the
/// field; a value that is NaN adds nothing.
/// Shapes:   segments run 1..n in the order in which they were added; channels run 0..C-1.
/// Lifetime: fields are referred to. It is made anew from the models when it is needed, and no stream carries it.
class QUVENChannelScorer {
 public:
  bool isEmpty() const { return segments.empty(); }
  void clear() {
    segments.clear();
    fields.clear();
    numbers.clear();
  }

  /// Adds a segment with these fields, and returns the place of its numbers: the intercepts, the standard deviations,
  /// then the coefficients of each field, C of each.
  template <class Fields>
  double* addSegment(const Fields& segmentFields, long numChannels) {
    channels = numChannels;
    const auto numTerms = static_cast<std::size_t>(segmentFields.getSize());
    segments.push_back({fields.size(), numTerms, numbers.size()});
    for (const QUVENField* field : segmentFields) fields.push_back(field);
    numbers.resize(numbers.size() + (numTerms + 2) * static_cast<std::size_t>(channels));
    room.resize(static_cast<std::size_t>(channels));
    return numbers.data() + segments.back().firstNumber;
  }

  double predict(long segment, long channel) const {
    const Segment& found = at(segment);
    const double* number = numbers.data() + found.firstNumber + channel;
    double prediction = *number;
    number += channels;
    for (std::size_t i = 0; i < found.numTerms; ++i) {
      number += channels;
      const double value = fields[found.firstField + i]->getNumValueOrSingle(channel + 1);
      if (!std::isnan(value)) prediction += value * *number;
    }
    return prediction;
  }
  void predictAll(long segment, double* predictions) {
    const Segment& found = at(segment);
    const double* number = numbers.data() + found.firstNumber;
    const double* before = number;  // the sums without the next term: first the intercepts
    number += channels;
    for (std::size_t i = 0; i < found.numTerms; ++i) {
      number += channels;
      const double* const values = fields[found.firstField + i]->getNumValuesOrSingle(channels, room.data());
      for (long c = 0; c < channels; ++c) {
        const double sum = before[c] + values[c] * number[c];
        predictions[c] = std::isnan(values[c]) ? before[c] : sum;
      }
      before = predictions;
    }
    if (found.numTerms == 0) std::copy(before, before + channels, predictions);
  }
  /// Lifetime: until a segment is added.
  const double* getStdDevs(long segment) const { return numbers.data() + at(segment).firstNumber + channels; }

 private:
  struct Segment {
    std::size_t firstField;
    std::size_t numTerms;
    std::size_t firstNumber;
  };
  const Segment& at(long segment) const { return segments[static_cast<std::size_t>(segment - 1)]; }

  std::vector<Segment> segments;
  std::vector<const QUVENField*> fields;  // of all segments, one per term
  std::vector<double> numbers;
  std::vector<double> room;  // for a field with one value
  long channels = 0;
};

#endif  // QUVEN_CHANNEL_SCORER_H
