#ifndef QUVEN_PARTITION_FIT_H
#define QUVEN_PARTITION_FIT_H

#include <cstddef>
#include <cstdint>
#include <vector>

/// Finds from the callers in the parts of a dataset how many partitions the loader run had: those whose rule
/// (partition_of_key) gives every caller the part that it is in.
///
/// The rule sees the remainder of a caller's number only, so a second caller with the same remainder adds no evidence.
class QUVENPartitionFit {
 public:
  QUVENPartitionFit();

  /// Takes a caller of a part, from 0.
  void add(std::size_t part, double caller);

  /// The number of partitions of the run, `parts` before any other; 0 if the callers do not tell it. A number other
  /// than `parts` is told only if chance alone gives it with a probability below 2 to the power of -40.
  std::size_t getPartitions(std::size_t parts) const;

  /// Whether chance may leave one of so many parts empty, in more than one dataset of 2 to the power of 40. Callers
  /// whose numbers follow a rule may leave one empty where this is false.
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
