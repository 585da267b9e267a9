#ifndef QUVEN_SNADATA_H
#define QUVEN_SNADATA_H

// The diffusion analysis: energy spreads over the calling network from seed subscribers.

#include <array>
#include <iosfwd>
#include <limits>
#include <string>
#include <vector>

#include "simple_algorithm/quven_analysis_trace.h"
#include "simple_algorithm/quven_node_table.h"
#include "simple_algorithm/quven_parameters.h"
#include "simple_algorithm/quven_simple_algorithm_data.h"

class QUVENWorkerTransport;

/// Diffusion over the rows of a pair sum dataset.
///
/// Pass 1 sums the weights of each caller and counts degrees, pass 2 sums the weighted degrees, each further pass moves
/// the fresh energy of every caller to its callees by the share of their weights, times the spread coefficient, until
/// the largest change of a total is at most the end condition, or the passes are used up.
/// With LiftColumns a second diffusion runs in the same passes: its seeds are all subscribers of the result, each with
/// an equal part of the energy of the seeds. The first diffusion alone decides when both end.
/// Units:    weights and energies have none; a seed has 1, or its weight, for each time it is named. Weighted degrees
/// sum
///           the weights cut to integers, up to the largest 32-bit one.
/// Memory:   below 100 bytes a node, and 33 more with LiftColumns; nothing a pair over the file, the kept rows
/// otherwise. Errors:   the terminating reports 4602 to 4604 for rows out of order, 4605 for a caller whose weights sum
/// to 0 or to
///           no number, 4606 for an energy that is none.
/// Output:   a CSV file, a row a node in ascending order. It appears under its name when it is complete.
class QUVENSNAData : public QUVENObjectOf<QUVENSNAData, QUVENSimpleAlgorithmAbstractData> {
 public:
  enum State : std::int32_t { ComputeNormalizer = 0, ComputeWeightedInOutDeg = 1, DiffusionIterationModel1 = 2 };

  QUVENSNAData() = default;

  /// All parameters of the analysis.
  static QUVENParameterSections parameterSections();

  /// Reads the parameters below the tag, and the seeds from the file that the text of the parameter file
  /// names. Without a parameter file name, the tag "Seed" names it.
  /// Errors: terminating reports, 2202 for a parameter, 2307 for the seeds.
  void open(const QUVENXMLTag& parameters, const std::string& parameterFileName, const QUVENEnvHandle& env);

  State getState() const { return static_cast<State>(ivState); }
  double getDiffVal() const { return ivDiffVal; }
  std::int32_t getNumIterations() const { return ivModel1NumIterations; }

  void reservedOperation(const QUVENEnvHandle& env) override;
  int beginDataScan(std::int32_t numExplanatoryFields, const QUVENEnvHandle& env) override;
  void update(const QUVENXaRay<double>& dataVec, const QUVENXaRay<double>& targetVec, SampleNumber sampleNumber,
              const QUVENEnvHandle& env) override;
  /// Keeps the rows of this worker's callers from the first pass on, unless records are traced.
  std::int64_t updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) override;
  int endDataScan(const QUVENEnvHandle& env) override;
  int initIteration(const QUVENEnvHandle& env) override;
  int finishIteration(const QUVENEnvHandle& env) override;
  bool isFinished() const override;
  void merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) override;
  void print(std::ostream& out) const override;
  void writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;
  QUVENScanType getScanKind(const QUVENEnvHandle& env) const override;
  double getScanFraction(const QUVENEnvHandle& env) const override;
  int needsMerge() const override;

  /// The columns of the present state stand in the stream as arrays of values and nodes.
  void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

  /// Writes the result file.
  /// Errors: the terminating report 2302 with the file name, when it cannot be opened or written; no file is left then.
  void writeDataOutputFile(const QUVENEnvHandle& env) const;

 private:
  static constexpr std::int32_t recordTraceLevel = 30;
  enum OutputFormat : std::int32_t { Csv = 1, Tagged = 2 };
  enum MatrixState : std::int32_t { OutsideRecord = 0, InsideRecord = 1 };

  template <class T>
  using Column = QUVENNodeColumn<T>;

  /// What a callee gets, on its way there.
  struct Arrival {
    std::uint64_t callee;
    double amount;
    double expected;  // of the diffusion from all subscribers
  };

  /// The columns of one of the two diffusions, and what travels of them with kept rows on several ranks.
  struct Diffusion {
    Column<double>& totals;
    Column<double>& fresh;
    Column<double>& previousFresh;
    Column<double>& receivedEnergies;
    std::vector<double>& spreading;
    std::vector<double>& received;
  };
  Diffusion fromSeeds() {
    return {ivModel1TotalEnergies,
            ivModel1FreshEnergyMap,
            ivModel1PrevFreshEnergies,
            ivModel1ReceivedEnergyMap,
            spreading,
            received};
  }
  Diffusion fromAll() {
    return {expectedTotals, expectedFresh, expectedPrevFresh, expectedReceived, expectedSpreading, expectedArrived};
  }
  bool hasExpected() const { return ivHasExpected != 0; }

  void readSeedFile(const std::string& parameterFileName, const QUVENEnvHandle& env);
  /// After the first pass: logs how many seeds there are and how many of them are in the data.
  void reportSeeds(const QUVENEnvHandle& env);
  /// Checks the order of the rows and returns the matrix state before this one.
  std::int32_t checkMatStateValidity(double x1, double x2, SampleNumber caller, const QUVENEnvHandle& env);
  [[noreturn]] void reportRow(int code, std::string_view text, double x1, double x2, SampleNumber caller,
                              const std::string& more, const QUVENEnvHandle& env) const;
  void beginCaller(SampleNumber caller, const QUVENEnvHandle& env);
  void checkRowSum(double x2, SampleNumber caller, const QUVENEnvHandle& env) const;
  void enqueue(std::uint64_t callee, double amount, double expected, const QUVENEnvHandle& env);
  void settle(const Arrival& arrival, const QUVENEnvHandle& env);
  void settleAll(const QUVENEnvHandle& env);
  static void addTo(std::int32_t& degree, std::int32_t added);
  static void addTo(double& sum, double added) { sum += added; }
  static void addWeight(std::int32_t& degree, double weight);
  // The passes over kept rows.
  void sumRows(const QUVENKeptRows& rows, const QUVENEnvHandle& env);
  void sumWeightedDegrees(const QUVENKeptRows& rows, const QUVENEnvHandle& env);
  void spreadOverRows(QUVENKeptRows& rows, const QUVENEnvHandle& env);
  void agreeOnNodes(QUVENKeptRows& rows, const QUVENEnvHandle& env);
  template <class T, class IsThere>
  void addFromOthers(Column<T>& column, const QUVENWorkerTransport& transport, IsThere isThere,
                     const QUVENEnvHandle& env);
  void spreadWithOthers(QUVENKeptRows& rows, const QUVENEnvHandle& env);
  void addEnergiesOfOthers(const Diffusion& diffusion, const QUVENEnvHandle& env);
  static void beginPass(const Diffusion& diffusion, const QUVENEnvHandle& env);
  void endPass(const Diffusion& diffusion, const QUVENEnvHandle& env);
  void beginExpected(const QUVENEnvHandle& env);
  double advance(const Diffusion& diffusion, long& lost, const QUVENEnvHandle& env);
  void finishDiffusionPass(const QUVENEnvHandle& env);
  double sumOfEnergies() const;
  /// The warning 5008 with both sums if the energies do not sum to those of the seeds. Before the result is written.
  void checkConservation(const QUVENEnvHandle& env) const;
  template <class T>
  void addColumn(Column<T>& column, const QUVENSNAData& other, Column<T> QUVENSNAData::*member,
                 const QUVENEnvHandle& env);
  template <class T>
  void fillColumn(Column<T>& column, QUVENXaRay<T>& values, QUVENXaRay<std::uint64_t>& samples,
                  const QUVENEnvHandle& env);
  void writeCsv(std::ostream& out, const QUVENEnvHandle& env) const;
  void writeTagged(std::ostream& out, const QUVENEnvHandle& env) const;
  bool isInResult(long index) const;
  template <class Action>
  void forEachResultRow(Action action, const QUVENEnvHandle& env) const;

  // In every stream. The arrays carry columns: they are written from the columns, and filled into them after a read.
  QUVEN_MEMBER(ivIsSparse, std::int32_t) = 1;
  QUVEN_MEMBER(ivVerbosityLvl, std::int32_t) = 1;
  QUVEN_MEMBER(ivState, std::int32_t) = ComputeNormalizer;
  QUVEN_MEMBER(ivMatState, std::int32_t) = OutsideRecord;
  QUVEN_MEMBER_IF(false, ivRowSum, QUVENXaRay<double>);
  QUVEN_MEMBER_IF(false, ivRowSumSamples, QUVENXaRay<std::uint64_t>);
  QUVEN_MEMBER(ivSpreadCoefficient, double) = 0.5;
  QUVEN_MEMBER(ivDiffVal, double) = 100000.0;
  QUVEN_MEMBER_IF(false, ivInDegree, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER_IF(false, ivInDegreeSamples, QUVENXaRay<std::uint64_t>);
  QUVEN_MEMBER_IF(false, ivOutDegree, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER_IF(false, ivOutDegreeSamples, QUVENXaRay<std::uint64_t>);
  QUVEN_MEMBER_IF(false, ivWeightedInDegree, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER_IF(false, ivWeightedInDegreeSamples, QUVENXaRay<std::uint64_t>);
  QUVEN_MEMBER_IF(false, ivWeightedOutDegree, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER_IF(false, ivWeightedOutDegreeSamples, QUVENXaRay<std::uint64_t>);
  QUVEN_MEMBER_IF(false, ivModel1FreshEnergies, QUVENXaRay<double>);
  QUVEN_MEMBER_IF(false, ivModel1FreshEnergiesSamples, QUVENXaRay<std::uint64_t>);

  // With LiftColumns only.
  QUVEN_MEMBER_IF(false, ivHasExpected, std::int32_t) = 0;
  QUVEN_MEMBER_IF(false, ivExpectedFresh, QUVENXaRay<double>);
  QUVEN_MEMBER_IF(false, ivExpectedFreshSamples, QUVENXaRay<std::uint64_t>);

  // What a node has. The samples of all columns are the nodes of the one index.
  QUVEN_STATE(nodes, QUVENNodeIndex);
  QUVEN_STATE(ivNum2RowSumMap, Column<double>);
  QUVEN_STATE(ivNum2InDegreeMap, Column<std::int32_t>);
  QUVEN_STATE(ivNum2OutDegreeMap, Column<std::int32_t>);
  QUVEN_STATE(ivNum2WeightedInDegreeMap, Column<std::int32_t>);
  QUVEN_STATE(ivNum2WeightedOutDegreeMap, Column<std::int32_t>);
  QUVEN_STATE(ivModel1TotalEnergies, Column<double>);
  QUVEN_STATE(ivModel1FreshEnergyMap, Column<double>);     // between passes: what spreads in the coming one
  QUVEN_STATE(ivModel1PrevFreshEnergies, Column<double>);  // in a pass and behind it: what spreads in it
  QUVEN_STATE(ivModel1ReceivedEnergyMap, Column<double>);  // in a pass: what nodes have received so far
  QUVEN_STATE(expectedTotals, Column<double>);             // the same four of the diffusion from all subscribers
  QUVEN_STATE(expectedFresh, Column<double>);
  QUVEN_STATE(expectedPrevFresh, Column<double>);
  QUVEN_STATE(expectedReceived, Column<double>);
  QUVEN_STATE(rowSumsTravel, std::int32_t) = 1;  // until the first pass of diffusion has them

  QUVEN_STATE(ivOutputFileName, std::string);
  QUVEN_STATE(ivTagPrefix, std::string);
  QUVEN_STATE(ivSeedFileName, std::string);
  QUVEN_STATE(ivSeedWeights, std::string);
  QUVEN_STATE(ivSeedColumn, std::string);
  QUVEN_STATE(ivSeedWeightColumn, std::string);
  QUVEN_STATE(ivLiftColumns, std::string);
  QUVEN_STATE(ivOutputFormat, std::int32_t) = Csv;
  QUVEN_STATE(ivMaxNumIterations, std::int32_t) = 100;
  QUVEN_STATE(ivEpsilon, double) = 0.01;
  QUVEN_STATE(ivModel1NumIterations, std::int32_t) = 0;

  // The seeds, on rank 0.
  QUVEN_STATE(seedLines, long) = 0;
  QUVEN_STATE(seedsTaken, long) = 0;
  QUVEN_STATE(seedNodes, long) = 0;  // different subscribers; with the next two known after the first pass
  QUVEN_STATE(seedsInData, long) = 0;
  QUVEN_STATE(seedsThatCall, long) = 0;

  // On the master, from the second pass on; NaN in an object that was read from a stream after it.
  QUVEN_STATE(energyOfSeeds, double) = std::numeric_limits<double>::quiet_NaN();

  // The record at hand.
  QUVEN_STATE(expectedCallees, std::int64_t) = 0;
  QUVEN_STATE(recordsSeen, std::int64_t) = 0;
  QUVEN_STATE(calleesSeen, std::int64_t) = 0;
  QUVEN_STATE(currentCaller, std::uint64_t) = 0;
  QUVEN_STATE(callerIndex, long) = 0;
  QUVEN_STATE(callerRowSum, double) = 0;
  QUVEN_STATE(callerFreshEnergy, double) = 0;
  QUVEN_STATE(callerExpectedFresh, double) = 0;

  // Callees are all over the memory: what they get waits here, in its order, while their places are fetched.
  static constexpr std::size_t QueueLength = 32;  // a power of two
  QUVEN_STATE(queue, std::array<Arrival, QueueLength>);
  QUVEN_STATE(queueEnd, std::size_t) = 0;     // where the next one goes; these three only grow
  QUVEN_STATE(queueLooked, std::size_t) = 0;  // up to here the place in the index is known
  QUVEN_STATE(queueStart, std::size_t) = 0;

  QUVEN_STATE(trace, QUVENAnalysisTrace);

  // Only with kept rows. Neither copied nor streamed.
  std::vector<std::uint64_t> calleesOfRows;  // a bit for each node that is a callee in them
  bool weightsAreShares = false;             // of the sum of their row
  // On several ranks columns are arrays by the nodes of rank 0, which travel beside the stream.
  bool columnsTravelApart = false;
  std::vector<double> spreading;
  std::vector<double> received;  // of a rank above 0, or of all of them on rank 0
  std::vector<double> expectedSpreading;
  std::vector<double> expectedArrived;
};

#endif  // QUVEN_SNADATA_H
