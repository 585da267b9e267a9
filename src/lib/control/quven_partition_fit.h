#ifndef QUVEN_PARTITION_FIT_H
#define QUVEN_PARTITION_FIT_H

#include <cstddef>
#include <cstdint>
#include <vector>

/// Finds from the callers in the parts of a dataset how many partitions the loader run had: the number for which
/// partition_of_key gives every caller the part that it is in.
///
/// partition_of_key depends only on a remainder of the caller's number, so a second caller with the same remainder adds
/// no evidence.
class QUVENPartitionFit {
 public:
  QUVENPartitionFit();

  /// Adds a caller of a part; parts are numbered from 0.
  void add(std::size_t part, double caller);

  /// The number of partitions of the run; 0 if the callers do not determine it. `parts` is preferred: another number is
  /// returned only if the probability that it fits by chance is below 2 to the power of -40.
  std::size_t getPartitions(std::size_t parts) const;

  /// Whether one of `parts` parts can be empty by chance, with a probability above 2 to the power of -40. If the
  /// numbers of the callers follow a pattern, a part can be empty although this is false.
  bool allowsEmptyPart(std::size_t parts) const;

 private:
  struct Candidate {
    std::uint32_t partitions;
    std::uint64_t remainders = 0;  ///< that were tested
  };

  std::vector<Candidate> candidates;
  std::vector<std::vector<bool>> isTested;  ///< by part and remainder
  std::uint64_t remainders = 0;             ///< different ones, in all parts
};

#endif  // QUVEN_PARTITION_FIT_H
