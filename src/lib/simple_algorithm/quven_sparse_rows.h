#ifndef QUVEN_SPARSE_ROWS_H
#define QUVEN_SPARSE_ROWS_H

#include <cstdint>
#include <span>

#include "simple_algorithm/quven_node_table.h"

/// The rows of samples: numbers at positions, 0 where none was set.
///
/// Shapes:   positions run from 1; a row ends behind its last number.
/// Memory:   8 bytes a number, 26 to 32 a sample.
/// Lifetime: deleteMemory(env) before it ends.
class QUVENSparseRows {
 public:
  using SampleNumber = std::uint64_t;
  /// The most places of a row: a row takes at most 1 GiB.
  static constexpr std::int32_t MaxPosition = 1 << 27;

  /// The index of a sample, which is entered if it is new.
  long insert(SampleNumber sample, const QUVENEnvHandle& env);
  /// The index of a sample, or 0.
  long find(SampleNumber sample) const { return samples.find(sample); }
  /// Sets a number of a row. Cost: constant where a row is filled from its beginning before the next one starts.
  /// Requires: 1 <= position <= MaxPosition.
  void set(long index, long position, double value, const QUVENEnvHandle& env);

  std::span<const double> getRow(long index) const {
    return {values.begin() + starts[index], static_cast<std::size_t>(lengths[index])};
  }
  /// Whether a row has a 0 before its end.
  bool hasGaps(long index) const { return gaps[index] != 0; }

  void copyFrom(const QUVENSparseRows& other, const QUVENEnvHandle& env);
  void swap(QUVENSparseRows& other) noexcept;
  void deleteMemory(const QUVENEnvHandle& env);

 private:
  void extend(long index, long position, const QUVENEnvHandle& env);

  QUVENNodeIndex samples;
  QUVENXaRay<std::int64_t> starts;
  QUVENXaRay<std::int32_t> lengths;
  QUVENXaRay<std::uint8_t> gaps;
  QUVENXaRay<double> values;
};

#endif  // QUVEN_SPARSE_ROWS_H
