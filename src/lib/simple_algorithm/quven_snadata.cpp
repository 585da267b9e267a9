#include "simple_algorithm/quven_snadata.h"

#include <cmath>
#include <iostream>
#include <limits>
#include <sstream>

#include "control/quven_file_formats.h"
#include "kernel/quven_sample_number.h"
#include "kernel/quven_worker.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENSNAData);

namespace {

enum Code : int {
  HeaderExpected = 4602,
  CallerChanged = 4603,
  TooManyCallees = 4604,
  RowSumUnusable = 4605,
  EnergyLost = 4606,
  RowSumTooSmall = 5004,
  EnergyNotConserved = 5008
};

/// What rounding may change of the sum of all energies, relative to it. An energy is a sum of at most some million
/// amounts, each rounded to 1.1e-16 of itself, so even roundings that all go one way stay below it.
constexpr double conservationTolerance = 1e-9;

std::int64_t countOf(double value) {
  constexpr double most = 2147483647;
  return value >= most ? static_cast<std::int64_t>(most) : value > -most ? static_cast<std::int64_t>(value) : 0;
}

}  // namespace

/// A degree that does not fit stays at the end of its range: it is never less for one call more.
void QUVENSNAData::addTo(std::int32_t& degree, std::int32_t added) {
  if (!__builtin_add_overflow(degree, added, &degree)) return;
  using Limits = std::numeric_limits<std::int32_t>;
  degree = added > 0 ? Limits::max() : Limits::min();
}

void QUVENSNAData::addWeight(std::int32_t& degree, double weight) {
  addTo(degree, static_cast<std::int32_t>(countOf(weight)));
}

void QUVENSNAData::reservedOperation(const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }

int QUVENSNAData::beginDataScan(std::int32_t, const QUVENEnvHandle&) {
  report_log(1, "Entering beginDataScan");
  return 1;
}

QUVENScanType QUVENSNAData::getScanKind(const QUVENEnvHandle&) const { return QUVENScanType::Lines; }
double QUVENSNAData::getScanFraction(const QUVENEnvHandle&) const { return 1.0; }
int QUVENSNAData::needsMerge() const { return 1; }
void QUVENSNAData::print(std::ostream&) const {}

bool QUVENSNAData::isFinished() const { return ivEpsilon >= ivDiffVal || ivModel1NumIterations >= ivMaxNumIterations; }

void QUVENSNAData::reportRow(int code, std::string_view text, double x1, double x2, SampleNumber caller,
                             const std::string& more, const QUVENEnvHandle& env) const {
  std::ostringstream row;  // in one piece, beside those of the other ranks
  row << "worker: " << quvenWorkerRank() << " ERROR in row " << recordsSeen << ", caller: " << caller
      << ", callee: " << x1 << ", weight: " << x2 << '\n'
      << more;
  std::cerr << row.view() << std::flush;
  report_error(code, std::to_string(recordsSeen), text, QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);  // the report terminates
}

std::int32_t QUVENSNAData::checkMatStateValidity(double x1, double x2, SampleNumber caller, const QUVENEnvHandle& env) {
  ++recordsSeen;
  if (ivMatState == OutsideRecord) {
    if (x1 != 0) {
      reportRow(HeaderExpected, "QUVENSNAData::checkMatStateValidity: Expected to see header", x1, x2, caller, "",
                QUVEN_ENV);
    }
    expectedCallees = countOf(x2);
    calleesSeen = 0;
    currentCaller = caller;
    ivMatState = InsideRecord;
    return OutsideRecord;
  }
  if (caller == currentCaller && x1 == 0 && x2 == sparse_format::pairSumFooterMark) {
    ivMatState = OutsideRecord;
  } else if (caller != currentCaller) {
    reportRow(CallerChanged, "QUVENSNAData::checkMatStateValidity: Caller changed without proper footer", x1, x2,
              caller, "", QUVEN_ENV);
  } else if (++calleesSeen > expectedCallees) {
    reportRow(TooManyCallees, "QUVENSNAData::checkMatStateValidity: number of callees exceeded bound", x1, x2, caller,
              "Expected " + std::to_string(expectedCallees) + " callees\n", QUVEN_ENV);
  }
  return InsideRecord;
}

void QUVENSNAData::beginCaller(SampleNumber caller, const QUVENEnvHandle& env) {
  callerIndex = nodes.insert(caller, QUVEN_ENV);
  if (getState() == ComputeNormalizer) {
    // So that a subscriber without calls is known. A second header of a caller begins its sum anew.
    ivNum2RowSumMap.at(callerIndex, QUVEN_ENV) = 0;
  } else if (getState() == DiffusionIterationModel1) {
    callerRowSum = ivNum2RowSumMap.get(callerIndex);
    callerFreshEnergy = ivModel1PrevFreshEnergies.get(callerIndex);
    if (hasExpected()) callerExpectedFresh = expectedPrevFresh.get(callerIndex);
  }
}

/// At the footer of a caller: energy that is shared out by such a sum would be no number, and spread from there.
void QUVENSNAData::checkRowSum(double x2, SampleNumber caller, const QUVENEnvHandle& env) const {
  const double sum = ivNum2RowSumMap.get(callerIndex);
  const bool isUsable = (std::isfinite(sum) && sum != 0) || sum < std::numeric_limits<double>::lowest();
  if (isUsable || ivNum2OutDegreeMap.get(callerIndex) == 0) return;
  std::ostringstream text;
  text << "QUVENSNAData::update: the weights of caller " << caller << " have no usable sum, but " << sum;
  reportRow(RowSumUnusable, text.str(), 0, x2, caller, "", QUVEN_ENV);
}

void QUVENSNAData::update(const QUVENXaRay<double>& dataVec, const QUVENXaRay<double>& targetVec,
                          SampleNumber sampleNumber, const QUVENEnvHandle& env) {
  if (trace.sample(recordTraceLevel, ivVerbosityLvl)) {
    quvenTraceRecord("QUVENSNAData", "ivState", ivState, dataVec, targetVec, sampleNumber);
  }
  const double callee = dataVec[1];
  const double weight = dataVec[2];
  if (checkMatStateValidity(callee, weight, sampleNumber, env) == OutsideRecord) return beginCaller(sampleNumber, env);
  if (callee == 0) {
    if (ivMatState == OutsideRecord && getState() == ComputeNormalizer) checkRowSum(weight, sampleNumber, env);
    return;
  }
  const std::uint64_t node = quvenSampleNumber(callee);
  switch (getState()) {
    case ComputeNormalizer:
      ivNum2RowSumMap.at(callerIndex, env) += weight;
      ++ivNum2OutDegreeMap.at(callerIndex, env);
      return enqueue(node, 1, 0, env);
    case ComputeWeightedInOutDeg:
      addWeight(ivNum2WeightedOutDegreeMap.at(callerIndex, env), weight);
      return enqueue(node, weight, 0, env);
    case DiffusionIterationModel1:
      if (callerRowSum < std::numeric_limits<double>::lowest()) {
        report_warning(RowSumTooSmall, "Warning: Row sum smaller than min real value");
      }
      return enqueue(node, weight / callerRowSum * callerFreshEnergy,
                     hasExpected() ? weight / callerRowSum * callerExpectedFresh : 0, env);
  }
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENSNAData::enqueue(std::uint64_t callee, double amount, double expected, const QUVENEnvHandle& env) {
  constexpr std::size_t mask = QueueLength - 1;
  nodes.prefetch(callee);
  if (queueEnd - queueStart == QueueLength) settle(queue[queueStart++ & mask], env);
  queue[queueEnd++ & mask] = {callee, amount, expected};
  if (queueEnd - queueLooked <= QueueLength / 2) return;
  const long index = nodes.prefetchNode(queue[queueLooked++ & mask].callee);
  if (getState() == DiffusionIterationModel1) {
    ivModel1ReceivedEnergyMap.prefetch(index);
  } else if (getState() == ComputeNormalizer) {
    ivNum2InDegreeMap.prefetch(index);
  } else {
    ivNum2WeightedInDegreeMap.prefetch(index);
  }
}

void QUVENSNAData::settle(const Arrival& arrival, const QUVENEnvHandle& env) {
  const long index = nodes.insert(arrival.callee, env);
  if (getState() == DiffusionIterationModel1) {
    ivModel1ReceivedEnergyMap.at(index, env) += arrival.amount;
    if (hasExpected()) expectedReceived.at(index, env) += arrival.expected;
  } else if (getState() == ComputeNormalizer) {
    ++ivNum2InDegreeMap.at(index, env);
  } else {
    addWeight(ivNum2WeightedInDegreeMap.at(index, env), arrival.amount);
  }
}

void QUVENSNAData::settleAll(const QUVENEnvHandle& env) {
  while (queueStart != queueEnd) settle(queue[queueStart++ & (QueueLength - 1)], env);
  queueLooked = queueEnd;
}

void QUVENSNAData::beginPass(const Diffusion& diffusion, const QUVENEnvHandle& env) {
  diffusion.previousFresh.swap(diffusion.fresh);
  // Reuses the memory of the energy that spread in the pass before for what is received in this one.
  diffusion.receivedEnergies.deleteMemory(QUVEN_ENV);
  diffusion.receivedEnergies.swap(diffusion.fresh);
  diffusion.receivedEnergies.clear();
}

void QUVENSNAData::endPass(const Diffusion& diffusion, const QUVENEnvHandle& env) {
  diffusion.fresh.deleteMemory(QUVEN_ENV);
  diffusion.fresh.swap(diffusion.receivedEnergies);
  diffusion.fresh.scale(ivSpreadCoefficient);
  if (columnsTravelApart && quvenWorkerRank() == 0) addEnergiesOfOthers(diffusion, QUVEN_ENV);
}

int QUVENSNAData::initIteration(const QUVENEnvHandle& env) {
  ivMatState = OutsideRecord;
  recordsSeen = 0;
  currentCaller = 0;
  queueStart = queueLooked = queueEnd;  // a pass that was broken off leaves nothing to this one
  switch (getState()) {
    case ComputeNormalizer:
      ivNum2RowSumMap.clear();
      ivNum2InDegreeMap.clear();
      ivNum2OutDegreeMap.clear();
      return 1;
    case ComputeWeightedInOutDeg:
      ivNum2WeightedInDegreeMap.clear();
      ivNum2WeightedOutDegreeMap.clear();
      return 1;
    case DiffusionIterationModel1:
      rowSumsTravel = 0;
      ++ivModel1NumIterations;
      beginPass(fromSeeds(), QUVEN_ENV);
      if (hasExpected()) beginPass(fromAll(), QUVEN_ENV);
      return 1;
  }
  quvenNotImplemented(QUVEN_ENV);
}

int QUVENSNAData::finishIteration(const QUVENEnvHandle& env) {
  constexpr const char* method = "QUVENSNAData::finishIteration";
  if (ivMatState != OutsideRecord) {
    reportRow(CallerChanged, "QUVENSNAData::finishIteration: the data end without the footer of a caller", 0, 0,
              currentCaller, "", QUVEN_ENV);
  }
  settleAll(QUVEN_ENV);
  switch (getState()) {
    case ComputeNormalizer:
      trace.progress("Finished an iteration of computing normalizer", method, ivModel1NumIterations);
      return 1;
    case ComputeWeightedInOutDeg:
      trace.progress("Finished an iteration of computing weighted in/out degree", method, ivModel1NumIterations);
      return 1;
    case DiffusionIterationModel1:
      endPass(fromSeeds(), QUVEN_ENV);
      if (hasExpected()) endPass(fromAll(), QUVEN_ENV);
      trace.progress("Finished an iteration of diffusion model 1", method, ivModel1NumIterations);
      return 1;
  }
  quvenNotImplemented(QUVEN_ENV);
}

template <class T>
void QUVENSNAData::addColumn(Column<T>& column, const QUVENSNAData& other, Column<T> QUVENSNAData::*member,
                             const QUVENEnvHandle& env) {
  const Column<T>& added = other.*member;
  for (long i = 1; i <= other.nodes.getSize(); ++i) {
    if (added.has(i)) addTo(column.at(nodes.insert(other.nodes.getNode(i), QUVEN_ENV), QUVEN_ENV), added.get(i));
  }
}

void QUVENSNAData::merge(QUVENSimpleAlgorithmAbstractData* otherData, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(otherData->isA(typeName()));
  const auto& other = static_cast<const QUVENSNAData&>(*otherData);
  const auto addMember = [&](auto member) { addColumn(this->*member, other, member, QUVEN_ENV); };
  switch (getState()) {
    case ComputeNormalizer:
      addMember(&QUVENSNAData::ivNum2RowSumMap);
      addMember(&QUVENSNAData::ivNum2InDegreeMap);
      addMember(&QUVENSNAData::ivNum2OutDegreeMap);
      return;
    case ComputeWeightedInOutDeg:
      addMember(&QUVENSNAData::ivNum2WeightedInDegreeMap);
      addMember(&QUVENSNAData::ivNum2WeightedOutDegreeMap);
      return;
    case DiffusionIterationModel1:
      addMember(&QUVENSNAData::ivModel1FreshEnergyMap);
      if (hasExpected()) addMember(&QUVENSNAData::expectedFresh);
      return;
  }
  quvenNotImplemented(QUVEN_ENV);
}

/// Adds what has been received to the totals and returns the largest change of one. `lost` becomes, of the nodes whose
/// energy is no number, the one with the lowest subscriber.
double QUVENSNAData::advance(const Diffusion& diffusion, long& lost, const QUVENEnvHandle& env) {
  double largest = 0;
  for (long i = 1; i <= nodes.getSize(); ++i) {
    // A node passes on only what it can give: one without callees keeps all that it has.
    const bool passesOn = ivNum2OutDegreeMap.get(i) >= 1;
    if (!diffusion.totals.has(i) && !diffusion.fresh.has(i) && !passesOn) continue;
    double& total = diffusion.totals.at(i, QUVEN_ENV);
    const double previous = total;
    double next = previous + diffusion.fresh.get(i);
    if (passesOn) next -= ivSpreadCoefficient * diffusion.previousFresh.get(i);
    if (!std::isfinite(next) && (lost == 0 || nodes.getNode(i) < nodes.getNode(lost))) lost = i;
    largest = std::max(largest, std::fabs(next - previous));
    total = next;
  }
  return largest;
}

/// After the second pass: all subscribers of the result are seeds, with the energy of the seeds in equal parts.
void QUVENSNAData::beginExpected(const QUVENEnvHandle& env) {
  long subscribers = 0;
  for (long i = 1; i <= nodes.getSize(); ++i) subscribers += isInResult(i) ? 1 : 0;
  for (long i = 1; i <= nodes.getSize(); ++i) {
    if (!isInResult(i)) continue;
    const double part = energyOfSeeds / static_cast<double>(subscribers);
    expectedTotals.at(i, QUVEN_ENV) = part;
    expectedFresh.at(i, QUVEN_ENV) = part;
  }
}

void QUVENSNAData::finishDiffusionPass(const QUVENEnvHandle& env) {
  long lost = 0;
  long lostExpected = 0;  // is no error: the result has an empty cell then
  ivDiffVal = advance(fromSeeds(), lost, QUVEN_ENV);
  if (hasExpected()) advance(fromAll(), lostExpected, QUVEN_ENV);
  if (lost != 0) {
    report_error(EnergyLost, std::to_string(nodes.getNode(lost)),
                 "QUVENSNAData::endDataScan: the energy of a subscriber is no number", QUVEN_ENV, true);
  }
  std::ostringstream text;
  text << "Diffusion Model 1, Iteration " << ivModel1NumIterations << " diffVal = " << ivDiffVal;
  report_log(1, text);
  const bool goesOn = ivDiffVal > ivEpsilon && ivModel1NumIterations < ivMaxNumIterations;
  trace.progress(goesOn ? "Finished an iteration of diffusion model 1" : "Finished diffusion iteration model 1",
                 "QUVENSNAData::endDataScan", ivModel1NumIterations);
}

double QUVENSNAData::sumOfEnergies() const {
  long double sum = 0;  // the tolerance is for the energies; their sum must not use it up
  for (long i = 1; i <= nodes.getSize(); ++i) sum += ivModel1TotalEnergies.get(i);
  return static_cast<double>(sum);
}

/// All that a caller passes on arrives, since its shares sum to 1; a subscriber without callees keeps all. Shares do
/// not sum to 1 when the rows of a caller are in two places of the dataset: the sum of the weights is that of the last
/// place only.
void QUVENSNAData::checkConservation(const QUVENEnvHandle& env) const {
  if (std::isnan(energyOfSeeds)) return;
  double scale = energyOfSeeds;  // with weights of both signs energies may be much larger than their sum
  for (long i = 1; i <= nodes.getSize(); ++i) scale = std::max(scale, std::fabs(ivModel1TotalEnergies.get(i)));
  const double sum = sumOfEnergies();
  if (std::fabs(sum - energyOfSeeds) <= conservationTolerance * scale) return;
  std::ostringstream text;
  text.precision(12);
  text << "QUVENSNAData::endDataScan: the energies of all subscribers sum to " << sum << ", those of the seeds to "
       << energyOfSeeds << "; the rows of a caller are in two places of the dataset, or its weights are too large";
  report_doubt(EnergyNotConserved, ivOutputFileName, text.view(), QUVEN_ENV);
}

int QUVENSNAData::endDataScan(const QUVENEnvHandle& env) {
  constexpr const char* method = "QUVENSNAData::endDataScan";
  switch (getState()) {
    case ComputeNormalizer:
      reportSeeds(QUVEN_ENV);
      ivState = ComputeWeightedInOutDeg;
      trace.progress("Finished computing normalizer", method, ivModel1NumIterations);
      break;
    case ComputeWeightedInOutDeg:
      ivState = DiffusionIterationModel1;
      energyOfSeeds = sumOfEnergies();
      if (hasExpected()) beginExpected(QUVEN_ENV);
      trace.progress("Finished computing weighted in/out degree", method, ivModel1NumIterations);
      break;
    case DiffusionIterationModel1:
      finishDiffusionPass(QUVEN_ENV);
      break;
    default:
      quvenNotImplemented(QUVEN_ENV);
  }
  if (!isFinished()) return 0;
  checkConservation(QUVEN_ENV);
  writeDataOutputFile(QUVEN_ENV);
  report_log(0, "SNA Terminated Successfully");
  std::cout.flush();
  return 1;
}
