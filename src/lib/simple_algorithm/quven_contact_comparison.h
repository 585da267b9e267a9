#ifndef QUVEN_CONTACT_COMPARISON_H
#define QUVEN_CONTACT_COMPARISON_H

// The similarities of subscribers by their contacts, over kept rows.

#include <cstdint>
#include <span>
#include <vector>

#include "simple_algorithm/quven_kept_rows.h"
#include "simple_algorithm/quven_kernel_function_friends.h"
#include "simple_algorithm/quven_online_histogram_data.h"
#include "simple_algorithm/quven_similarity_store.h"

/// Compares rows with the rows of their contacts, as the passes of the kernel do record by record: a row with each own
/// sample among its contacts, in the order in which the contacts first occur in the row.
///
/// The counts of two rows are those of a walk through both that steps in the lower one and ends when one has run out.
/// They do not depend on how they are found, so neither does a similarity.
/// Shapes: own samples are the callers that are dealt to this rank, from 1 in the order of the file.
/// Memory: 8 bytes a compared pair of own samples, 8 a node, 24 an own sample.
/// Cost:   for two ascending rows the shorter one, or its length times the logarithm of the ratio; for others the
///         length of both.
class QUVENContactComparison {
 public:
  /// In how many contacts two rows agreed, and how many of each the walk has passed.
  struct Steps {
    std::size_t common = 0;
    std::size_t inX = 0;
    std::size_t inY = 0;
  };

  /// Both are borrowed. Requires: the nodes of the rows are in order.
  QUVENContactComparison(const QUVENKeptRows& keptRows, const QUVENKernelFunctionFriends& kernelFunction);

  /// The rows of the own samples.
  std::span<const std::int64_t> getOwnRows() const { return ownRows; }
  /// Adds the similarities of the own samples among each other, in the order of the rows, and keeps those of the same
  /// pairs with the two rows exchanged. Returns how many there are.
  std::int64_t addOwnPairs(QUVENOnlineHistogramData& histogram, const QUVENEnvHandle& env);
  /// Puts the similarities of all rows that are at least the cutoff into a store: column is the own sample, row the
  /// number of the row from 1.
  /// Requires: addOwnPairs.
  void collect(double cutoff, QUVENSimilarityStore& store, const QUVENEnvHandle& env);
  /// Calls take(sample, row, value, hasCommon) for each row, from 1, and each own sample among its contacts but for the
  /// row's own caller. The value is that of collect; hasCommon is whether the two have a contact in common.
  template <class Take>
  void forEachPair(Take take) {
    for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
      const std::int32_t caller = sampleOf[rows.getCaller(row)];
      compare(caller != 0 ? samples[static_cast<std::size_t>(caller - 1)] : listOf(rows.getContacts(row)),
              [&](std::int32_t sample, const Steps& steps) {
                if (sample == caller) return;
                take(sample, static_cast<std::int32_t>(row + 1), valueOf(steps.common, steps.inY, steps.inX),
                     steps.common != 0);
              });
    }
  }

 private:
  using Node = QUVENKeptRows::Node;
  using Contacts = std::span<const Node>;
  enum Order : std::uint8_t { Ascending, WithRepeats, Unordered };

  struct Remembered {
    std::uint64_t key;
    double value;
  };

  /// A row in one piece of memory.
  struct List {
    const Node* first;
    std::uint32_t size;
    Order order;

    Contacts getContacts() const { return {first, size}; }
  };

  static List listOf(Contacts contacts);
  void markAndFindCandidates(const List& list);
  template <class Action>
  void compare(const List& list, Action action);
  Steps walk(const List& listX, const List& listY) const;
  Steps walkMarked(Contacts x, Contacts y) const;
  double valueOf(std::size_t common, std::size_t stepsX, std::size_t stepsY);

  const QUVENKeptRows& rows;
  const QUVENKernelFunctionFriends& function;
  std::vector<std::int64_t> ownRows;         // by own sample - 1
  std::vector<std::int32_t> sampleOf;        // by node: the own sample, or 0
  std::vector<List> samples;                 // by own sample - 1
  std::vector<std::uint32_t> marks;          // by node: the last mark that it got
  std::uint32_t lastMark = 0;                // of the current row
  std::vector<std::int32_t> candidates;      // of the current row
  std::vector<double> exchangedValues;       // of the pairs of own samples, in the order of addOwnPairs
  std::vector<Remembered> rememberedValues;  // by a hash of the counts
};

/// Compares a row with each own sample among its contacts. The lists of the samples are scattered in memory, so they
/// are prefetched a few candidates ahead.
template <class Action>
void QUVENContactComparison::compare(const List& list, Action action) {
  constexpr std::size_t listsAhead = 8;
  constexpr std::size_t contactsAhead = 4;
  const auto sampleAt = [&](std::size_t i) -> const List& {
    return samples[static_cast<std::size_t>(candidates[i] - 1)];
  };
  markAndFindCandidates(list);
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (i + listsAhead < candidates.size()) __builtin_prefetch(&sampleAt(i + listsAhead));
    if (i + contactsAhead < candidates.size()) __builtin_prefetch(sampleAt(i + contactsAhead).first);
    action(candidates[i], walk(list, sampleAt(i)));
  }
}

#endif  // QUVEN_CONTACT_COMPARISON_H
