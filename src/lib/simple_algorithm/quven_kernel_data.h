#ifndef QUVEN_KERNEL_DATA_H
#define QUVEN_KERNEL_DATA_H

// The kernel analysis: which samples of a dataset are alike, and how much.

#include <memory>
#include <string>

#include "simple_algorithm/quven_analysis_trace.h"
#include "simple_algorithm/quven_contact_comparison.h"
#include "simple_algorithm/quven_cutoff_selection.h"
#include "simple_algorithm/quven_kernel_function.h"
#include "simple_algorithm/quven_labeled_matrix.h"
#include "simple_algorithm/quven_online_histogram_data.h"
#include "simple_algorithm/quven_parameters.h"
#include "simple_algorithm/quven_similarity_store.h"
#include "simple_algorithm/quven_simple_algorithm_data.h"
#include "simple_algorithm/quven_sparse_rows.h"
#include "simple_algorithm/quven_sparse_to_dense_data.h"

class QUVENKernelFunctionFriends;

/// A sparse matrix of the similarities of samples.
///
/// Pass 1 loads the samples of each worker's share; a histogram of the values of contacts among them gives the cutoff,
/// below which the wanted share of values falls. Pass 2 compares every sample with the worker's own and keeps the
/// values at or above the cutoff. With several blocks of own samples the two passes take turns.
///
/// With a cutoff from all pairs pass 1 only loads the samples, and pass 2 keeps the value of every pair of two
/// subscribers. Three passes without data select the quantile of these values, which is the cutoff, and one more drops
/// the values below it. A normalizing factor that is the number of callers takes a pass before all others.
/// Shapes:   columns are own samples, rows are all samples in the order of pass 2, both from 1.
/// Memory:   16 bytes per kept value, or per compared pair with a cutoff from all pairs; over the file 8 bytes per
///           contact of own samples and about 50 per own sample, over kept rows those and what QUVENContactComparison
///           takes.
/// Errors:   the terminating reports 2202 to 2204 for parameters, 3503 when there is no value at all for the
///           histogram, 3502 for a pass that does not fit the state.
class QUVENKernelData : public QUVENObjectOf<QUVENKernelData, QUVENSimpleAlgorithmAbstractData> {
 public:
  enum Status : std::int32_t {
    InitKernelObject = 0,
    InputMySamples = 1,
    InputOtherSamples = 2,
    ReadyForQuery = 3,
    CountingCallers = 4,  ///< before InitKernelObject
    SelectingCutoff = 5,  ///< with the next between InputOtherSamples and ReadyForQuery
    DroppingPairs = 6
  };
  enum Mode : std::int32_t { KernelMode = 0, BufferMode = 1 };
  using Vector = QUVENXaRay<double>;
  using SampleNumbers = QUVENXaRay<SampleNumber>;

  QUVENKernelData() = default;

  /// All parameters of the analysis.
  static QUVENParameterSections parameterSections();

  /// Reads the parameters and makes the kernel function. Sections: all that are read from the tag, the kernel's among
  /// them; without them the kernel's alone.
  /// Errors: the terminating reports 2202, 2203 and 2204.
  void open(const QUVENXMLTag& parameters, const QUVENEnvHandle& env);
  void open(const QUVENXMLTag& parameters, QUVENParameterSections sections, const QUVENEnvHandle& env);
  /// Forgets samples, values and the output file; parameters and cutoff stay.
  void reset(const QUVENEnvHandle& env);

  Status getStatus() const { return static_cast<Status>(ivDataStatus); }
  double getSparsityThreshold() const { return ivSparsityThreshold; }
  /// Whether the cutoff is known: after the first pass or, from all pairs, when it is selected.
  bool hasCutoff() const;
  bool usesAllPairs() const { return cutoffFromAllPairs != 0; }
  /// What is known of the compared pairs at the end of a kernel with a cutoff from all pairs.
  struct PairCounts {
    std::uint64_t compared = 0;
    std::uint64_t withCommon = 0;  ///< have a contact in common
    std::uint64_t numValues = 0;   ///< that the level is a share of
    std::uint64_t numBelow = 0;    ///< of these, below the cutoff
    std::uint64_t kept = 0;
    std::uint64_t keptWithoutCommon = 0;
    double normalizingFactor = 0;
  };
  PairCounts getPairCounts() const;
  /// The log line of a cutoff from all pairs, and the warning 5012 when it is in the noise.
  static void reportPairs(const PairCounts& counts, double level, double cutoff, const QUVENEnvHandle& env);
  /// Takes another level than that of the parameters, with a cutoff from all pairs, and leaves the report of the pairs
  /// to the caller. No file of the pairs is written, because the caller may keep fewer of them. Called between open
  /// and the first pass.
  void keepFrom(double level, const QUVENEnvHandle& env);
  const std::string& getOutputFileName() const { return ivOutputFileName; }
  const SampleNumbers& getKernelColSampleNumbers() const { return ivKernelColSampleNumber; }
  const SampleNumbers& getOtherSamplesOrder() const { return ivOtherSamplesOrder; }
  /// The kept values by column and row.
  std::span<const QUVENSimilarityStore::Cell> getKernelValues(const QUVENEnvHandle& env) const {
    return ivSparseKernelMatrix.getCells(QUVEN_ENV);
  }

  int beginDataScan(std::int32_t numExplanatoryFields, const QUVENEnvHandle& env) override;
  void update(const Vector& dataVec, const Vector& targetVec, SampleNumber sampleNumber,
              const QUVENEnvHandle& env) override;
  /// Compares kept rows, if the kernel function works on lists of contacts and pairs are filtered by them.
  std::int64_t updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) override;
  int endDataScan(const QUVENEnvHandle& env) override;
  int initIteration(const QUVENEnvHandle& env) override;
  int finishIteration(const QUVENEnvHandle& env) override;
  /// The rounds in which the cutoff is selected, and the one that drops pairs.
  int updateWithoutDataScan(const QUVENEnvHandle& env) override;
  bool isFinished() const override { return getStatus() == ReadyForQuery; }
  void merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) override;
  void print(std::ostream& out) const override;
  /// The keys of the kernel function, as leaves of the tag, and the cutoff once it is known.
  void writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;
  /// The keys of the kernel function alone.
  void writeFunctionToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const;
  QUVENScanType getScanKind(const QUVENEnvHandle& env) const override;
  int needsMerge() const override { return 1; }

  /// Fills the histogram with the kernel values of own samples among each other.
  virtual void buildSelfKernelValuesHistogram(const QUVENEnvHandle& env);
  /// Writes the kept values, a line each of column sample, row sample and value, to this worker's file.
  virtual void writeSparseKernelValues(const QUVENEnvHandle& env) const;
  virtual void setKernelValue(std::int32_t column, std::int32_t row, double value, const QUVENEnvHandle& env);
  /// A kept value, or 0.
  virtual double getKernelValue(std::int32_t column, std::int32_t row, const QUVENEnvHandle& env) const;
  /// The row of an own sample: a number for each position up to the highest seen.
  virtual void getSparseRow(SampleNumber sampleNumber, Vector& row, const QUVENEnvHandle& env) const;

 private:
  bool hasSparseData() const { return ivIsSparseData != 0; }
  bool hasSparseKernel() const { return ivIsSparseKernel != 0; }
  bool hasSeveralBlocks() const { return ivNumberOfComputeIterations > 1; }
  bool isFirstBlock() const { return !hasSeveralBlocks() || ivCurComputeIteration == 1; }

  void addMySample(const Vector& x, const Vector& target, SampleNumber sample, const QUVENEnvHandle& env);
  void compareOtherSample(const Vector& x, const Vector& target, SampleNumber sample, const QUVENEnvHandle& env);
  void compareWithMySample(long position, const Vector& x, SampleNumber sample, std::int32_t row,
                           const QUVENEnvHandle& env);
  std::int32_t rowOfOtherSample(SampleNumber sample, const Vector& target, const QUVENEnvHandle& env);
  void replaceMySample(const Vector& x, const Vector& target, SampleNumber sample, const QUVENEnvHandle& env);
  void makeMatrices(const QUVENEnvHandle& env);
  /// The function, if it works on lists of contacts without filler and on nothing else.
  const QUVENKernelFunctionFriends* contactFunction() const;
  /// The row of an own sample by its position.
  const Vector& rowOfMySample(long position, Vector& scratch, const QUVENEnvHandle& env) const;
  const Vector& contactsOfMySample(long position, Vector& scratch, const QUVENEnvHandle& env) const;
  /// The value of an own sample and a vector, in this order or the other.
  double valueWith(long position, const Vector& x, SampleNumber sample, const QUVENEnvHandle& env);
  /// Why the passes go over the file; empty if kept rows do.
  std::string getReasonForFile() const;
  void takeContacts(const Vector& x, const QUVENEnvHandle& env);
  void addContactsToHistogram(QUVENOnlineHistogramData& histogram, const QUVENEnvHandle& env);
  void addRandomPairsToHistogram(QUVENOnlineHistogramData& histogram, const QUVENEnvHandle& env);
  void setCutoff(const QUVENEnvHandle& env);
  void warnOfNoise(const QUVENEnvHandle& env) const;
  void warnOfUnusedAmong(const QUVENEnvHandle& env) const;

  // The cutoff from all pairs.
  /// The whole object is sent only before the pass that loads the samples.
  bool travelsWhole() const { return ivDataStatus == InitKernelObject || ivDataStatus == CountingCallers; }
  const QUVENKernelFunctionFriends& friendsFunction() const;
  void takePair(std::int32_t column, std::int32_t row, double value, bool hasCommon, const QUVENEnvHandle& env);
  void beginSelection(const QUVENEnvHandle& env);
  void addPairsToSelection();
  void dropPairs(const QUVENEnvHandle& env);
  void mergeAllPairs(const QUVENKernelData& other);
  void endRoundOfSelection(const QUVENEnvHandle& env);
  void endCountingCallers(const QUVENEnvHandle& env);
  [[noreturn]] void reportNoValues(const QUVENEnvHandle& env) const;

  // In every stream.
  QUVEN_MEMBER(ivDataStatus, std::int32_t) = InitKernelObject;
  QUVEN_MEMBER(ivKernelVerbosityLvl, std::int32_t) = 1;
  QUVEN_MEMBER(ivKernelMode, std::int32_t) = KernelMode;
  QUVEN_MEMBER(ivIsSparseKernel, std::int32_t) = 1;
  QUVEN_MEMBER(ivSparsityLevel, double) = 0;
  QUVEN_MEMBER(ivKernelHistogramLocations, Vector);
  QUVEN_MEMBER(ivKernelHistogramCounts, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER(ivSparsityThreshold, double) = 0;
  QUVEN_MEMBER(ivIsSparseData, std::int32_t) = 1;
  QUVEN_MEMBER(ivSparseDataPtr, QUVENOwnPtr<QUVENSparseToDenseData>);
  QUVEN_MEMBER(ivOutputFileName, std::string);
  QUVEN_MEMBER(ivFilterSimilarities, std::int32_t) = 1;
  QUVEN_MEMBER(ivNumberOfComputeIterations, std::int32_t) = 1;
  QUVEN_MEMBER(ivCurComputeIteration, std::int32_t) = 1;
  // Before the first pass. What is learned in a pass stays with its worker.
  QUVEN_MEMBER_IF(travelsWhole(), ivSamplesNum, std::int32_t) = 0;
  QUVEN_MEMBER_IF(travelsWhole(), ivAllSamplesNum, std::int32_t) = 0;
  QUVEN_MEMBER_IF(travelsWhole(), ivFirstKernelCol, std::int32_t) = 0;
  QUVEN_MEMBER_IF(travelsWhole(), ivKernelFunctionPtr, QUVENOwnPtr<QUVENKernelFunction>);
  QUVEN_MEMBER_IF(travelsWhole(), ivSamplesOrder, SampleNumbers);
  QUVEN_MEMBER_IF(travelsWhole(), ivOtherSamplesOrder, SampleNumbers);
  QUVEN_MEMBER_IF(travelsWhole(), ivMyInputMatrixPtr, QUVENOwnPtr<QUVENLabeledMatrix>);
  QUVEN_MEMBER_IF(travelsWhole(), ivMyTargetMatrixPtr, QUVENOwnPtr<QUVENLabeledMatrix>);
  QUVEN_MEMBER_IF(travelsWhole(), ivOtherTargetMatrixPtr, QUVENOwnPtr<QUVENLabeledMatrix>);
  QUVEN_MEMBER_IF(travelsWhole(), ivKernelMatrixPtr, QUVENOwnPtr<QUVENLabeledMatrix>);
  QUVEN_MEMBER_IF(travelsWhole(), ivSamplesCounter, std::int32_t) = 0;

  QUVEN_MEMBER_IF(ivDataStatus == CountingCallers, numCallers, std::uint64_t) = 0;
  // With a cutoff from all pairs.
  QUVEN_MEMBER_IF(usesAllPairs(), cutoffFromAllPairs, std::int32_t) = 0;
  QUVEN_MEMBER_IF(usesAllPairs(), cutoffAmongCommon, std::int32_t) = 0;  // else among all pairs
  QUVEN_MEMBER_IF(usesAllPairs(), selection, QUVENOwnPtr<QUVENCutoffSelection>);
  QUVEN_MEMBER_IF(usesAllPairs(), numCompared, std::uint64_t) = 0;
  QUVEN_MEMBER_IF(usesAllPairs(), numWithCommon, std::uint64_t) = 0;
  QUVEN_MEMBER_IF(usesAllPairs(), numKept, std::uint64_t) = 0;
  QUVEN_MEMBER_IF(usesAllPairs(), numKeptWithoutCommon, std::uint64_t) = 0;

  QUVEN_STATE(reportsPairs, std::int32_t) = 1;
  QUVEN_STATE(ivColumnNum, double) = 0;
  QUVEN_STATE(ivSparseInputMatrix, QUVENSparseRows);
  QUVEN_STATE(ivSparseKernelMatrix, QUVENSimilarityStore);
  QUVEN_STATE(otherSamples, QUVENNodeIndex);  // with the next: the rows of other samples in later blocks
  QUVEN_STATE(ivOtherSamplesMap, QUVENNodeColumn<std::int32_t>);
  QUVEN_STATE(ivKernelColSampleNumber, SampleNumbers);
  QUVEN_STATE(rowsOfMySamples, QUVENXaRay<std::int32_t>);  // the index of a sample's row by its position

  // The record at hand.
  QUVEN_STATE(assembledRow, Vector);
  QUVEN_STATE(contacts, Vector);  // of a row, without filler
  QUVEN_STATE(scratchRow, Vector);
  QUVEN_STATE(candidates, QUVENXaRay<std::int32_t>);
  QUVEN_STATE(lastCaller, SampleNumber) = 0;  // while callers are counted

  QUVEN_STATE(trace, QUVENAnalysisTrace){"TraceKernel"};

  // Only with kept rows, from the first pass to the end of the second. Neither copied nor streamed.
  std::unique_ptr<QUVENContactComparison> comparison;
};

#endif  // QUVEN_KERNEL_DATA_H
