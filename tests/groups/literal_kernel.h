#ifndef TESTS_GROUPS_LITERAL_KERNEL_H
#define TESTS_GROUPS_LITERAL_KERNEL_H

// The similarities of callers as they are told, worker by worker: the slow twin of the kernel analysis.

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "literal_histogram.h"
#include "literal_rows.h"

namespace literal {

struct KernelParameters {
  double sparsityLevel = 0.5;
  double emptyMarker = 0;
  double normalizingFactor = 50000000;
  bool factorIsCallers = false;  ///< the number of callers in place of the factor
  bool cutoffFromAllPairs = false;
  bool amongCommon = false;  ///< with a cutoff from all pairs: among those with a common contact
  bool filterSimilarities = true;
  std::size_t numBins = 1000;             ///< of the histogram of self-kernel values
  std::function<int()> random = nullptr;  ///< 0 to 32767; needed without filterSimilarities only
};

/// A kept value: the column is a caller of the worker, the row any caller.
struct KernelValue {
  std::uint64_t column;
  std::uint64_t row;
  double value;
  bool operator==(const KernelValue&) const = default;
};

struct KernelResult {
  bool failed = false;  ///< no self-kernel value on any worker; nothing else holds then
  Bins bins;
  double cutoff = 0;
  std::vector<std::vector<KernelValue>> keptByWorker;  ///< by rank; columns, then rows, in order of arrival
  int numCompared = 0;                                 ///< with the next three: of a cutoff from all pairs
  int numWithCommon = 0;
  int numKept = 0;
  int numKeptWithoutCommon = 0;
};

/// Signed mutual information, in bits, of being a contact of the one and being a contact of the other, in a population
/// of n with m11 common contacts.
double mutualInformation(double n, double m11, double m10, double m01);

/// Of two lists of contacts. What stands behind the end of the shorter walk is not counted.
double friends(const Row& x, const Row& y, double emptyMarker, double normalizingFactor);

/// Nothing for no bins.
std::optional<double> cutoffOf(const Bins& bins, double sparsityLevel);

/// The number of callers in the shares of so many workers.
double callersOf(const std::vector<Line>& lines, int numWorkers);

KernelResult runKernel(const std::vector<Line>& lines, const KernelParameters& parameters, int numWorkers);

/// The file of kept values that a worker writes.
std::string keptText(const std::vector<KernelValue>& kept);

/// What one worker of the kernel holds.
class KernelWorker {
 public:
  explicit KernelWorker(KernelParameters theParameters) : parameters(std::move(theParameters)) {}

  void updateMine(const Line& line);
  void setSampleIndex();
  Bins selfKernelValues() const;
  void updateOther(const Line& line, double threshold);
  /// Compares as updateOther does, and keeps every pair of two callers that counts for the cutoff.
  void updateOther(const Line& line, KernelResult& counts, std::vector<double>& values);
  void dropBelow(double threshold, KernelResult& counts);
  std::vector<KernelValue> kept() const;

  /// The row of a sample over all columns seen so far.
  Row sparseRow(std::uint64_t sample) const;
  /// 1-based positions of the samples that a row names, each once, in the order of the row.
  std::vector<int> candidates(const Row& row) const;

 private:
  std::uint64_t sampleAt(int position) const { return samplesOrder[static_cast<std::size_t>(position - 1)]; }
  /// The record that a line completes, as the next other sample; nothing before that.
  std::optional<Record> takeOther(const Line& line);
  /// The own samples that a row is compared with.
  std::vector<int> comparedWith(const Row& x) const;
  double compute(const Row& x, const Row& y) const {
    return friends(x, y, parameters.emptyMarker, parameters.normalizingFactor);
  }
  Bins randomPairs() const;

  KernelParameters parameters;
  std::vector<std::uint64_t> samplesOrder;
  std::vector<std::uint64_t> otherSamplesOrder;
  std::map<std::uint64_t, std::map<double, double>> inputMatrix;
  std::map<std::uint64_t, int> sampleIndex;
  double columnNum = 0;
  SparseToDense sparseData;
  std::map<int, std::map<int, double>> kernelMatrix;
  std::set<std::pair<int, int>> withCommon;  // cells of the matrix whose callers have a common contact
};

}  // namespace literal

#endif  // TESTS_GROUPS_LITERAL_KERNEL_H
