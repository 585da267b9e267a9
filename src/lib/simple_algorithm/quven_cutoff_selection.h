#ifndef QUVEN_CUTOFF_SELECTION_H
#define QUVEN_CUTOFF_SELECTION_H

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// Selects the exact quantile of values that are spread over workers. The order of the values and their share among
/// the workers do not matter.
///
/// The bits of a double, read as an unsigned integer with the sign turned, ascend with the values. A round counts the
/// values by the next 16 bits among those that begin with the bits found so far; after 4 rounds all bits are known. In
/// each round every worker adds all of its values, the counts of all workers are merged, and rank 0 ends the round.
/// With n values and the level q the quantile is the value at place floor(n q), from 0 in ascending order.
///
/// Shapes: values that are no number are left out; -0 is 0.
/// Memory: 512 KB for the counts.
/// Source: Knuth, The Art of Computer Programming, vol. 3, 5.2.5, radix sorting from the first digit on.
class QUVENCutoffSelection : public QUVENObjectOf<QUVENCutoffSelection, QUVENObject> {
 public:
  QUVENCutoffSelection() = default;

  /// Begins the first round. The level is above 0 and below 1.
  void begin(double level, const QUVENEnvHandle& env);
  /// Forgets the counts of this worker. Called on every worker before it adds its values.
  void beginRound(const QUVENEnvHandle& env);
  void add(double value) {
    if (value != value) return;
    const std::uint64_t key = keyOf(value);
    const std::int32_t shift = bitsOfDigit * (numDigits - 1 - digit);
    if (digit != 0 && (key >> (shift + bitsOfDigit)) != prefix) return;
    ++counts.begin()[(key >> shift) & (numBuckets - 1)];
  }
  /// Adds the counts of another worker.
  void merge(const QUVENCutoffSelection& other);
  /// Ends a round. Returns whether the quantile is found; false also without any value.
  bool endRound();

  bool isFound() const { return digit == numDigits; }
  /// Requires: isFound.
  double getCutoff() const;
  /// The number of all values, after the first round.
  std::uint64_t getNumValues() const { return numValues; }
  /// How many of them are below the quantile. Requires: isFound.
  std::uint64_t getNumBelow() const { return numBelow; }

 private:
  static constexpr std::int32_t bitsOfDigit = 16;
  static constexpr std::int32_t numDigits = 4;
  static constexpr std::uint64_t numBuckets = std::uint64_t{1} << bitsOfDigit;

  static std::uint64_t keyOf(double value);

  QUVEN_MEMBER(level, double) = 0;
  QUVEN_MEMBER(digit, std::int32_t) = 0;    // that the round counts
  QUVEN_MEMBER(prefix, std::uint64_t) = 0;  // the digits before it
  QUVEN_MEMBER(place, std::uint64_t) = 0;   // of the quantile among the values with the prefix
  QUVEN_MEMBER(numValues, std::uint64_t) = 0;
  QUVEN_MEMBER(numBelow, std::uint64_t) = 0;        // the values below all those with the prefix
  QUVEN_MEMBER(counts, QUVENXaRay<std::uint64_t>);  // by digit
};

#endif  // QUVEN_CUTOFF_SELECTION_H
