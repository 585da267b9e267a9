// The passes of a diffusion analysis over rows in memory. They add in the order of the records, so that every sum has
// the bits of a pass over the file.

#include "simple_algorithm/quven_kept_rows.h"
#include "simple_algorithm/quven_snadata.h"
#include "util/quven_debug.h"

std::int64_t QUVENSNAData::updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  if (!rows.isDecided()) {
    const bool isTraced = ivVerbosityLvl > recordTraceLevel;
    rows.load(QUVENKeptRows::Form::PairSums, nodes, isTraced ? "records are traced" : "", QUVEN_ENV);
  }
  if (!rows.isLoaded()) return -1;
  switch (getState()) {
    case ComputeNormalizer:
      sumRows(rows, QUVEN_ENV);
      break;
    case ComputeWeightedInOutDeg:
      sumWeightedDegrees(rows, QUVEN_ENV);
      break;
    case DiffusionIterationModel1:
      spreadOverRows(rows, QUVEN_ENV);
      break;
    default:
      quvenNotImplemented(QUVEN_ENV);
  }
  return rows.getNumRecords();
}

void QUVENSNAData::sumRows(const QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const long caller = rows.getCaller(row);
    double& sum = ivNum2RowSumMap.at(caller, env);
    for (const double weight : rows.getWeights(row)) sum += weight;
    const std::span<const QUVENKeptRows::Node> callees = rows.getContacts(row);
    if (!callees.empty()) ivNum2OutDegreeMap.at(caller, env) = static_cast<std::int32_t>(callees.size());
    for (const QUVENKeptRows::Node callee : callees) ++ivNum2InDegreeMap.at(callee, env);
  }
  calleesOfRows.assign(ivNum2InDegreeMap.getPresence().begin(), ivNum2InDegreeMap.getPresence().end());
  weightsAreShares = false;
}

void QUVENSNAData::sumWeightedDegrees(const QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const std::span<const QUVENKeptRows::Node> callees = rows.getContacts(row);
    const std::span<const double> weights = rows.getWeights(row);
    if (callees.empty()) continue;
    std::int32_t& out = ivNum2WeightedOutDegreeMap.at(rows.getCaller(row), env);
    for (std::size_t i = 0; i < callees.size(); ++i) {
      addWeight(out, weights[i]);
      addWeight(ivNum2WeightedInDegreeMap.at(callees[i], env), weights[i]);
    }
  }
}

void QUVENSNAData::spreadOverRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  if (!weightsAreShares) {
    for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
      const double sum = ivNum2RowSumMap.get(rows.getCaller(row));
      for (double& weight : rows.getWeights(row)) weight /= sum;
    }
    weightsAreShares = true;
  }
  ivModel1ReceivedEnergyMap.clearTo(calleesOfRows, QUVEN_ENV);
  double* const received = ivModel1ReceivedEnergyMap.getValues().data() - 1;  // nodes run from 1
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const double energy = ivModel1PrevFreshEnergies.get(rows.getCaller(row));
    const std::span<const QUVENKeptRows::Node> callees = rows.getContacts(row);
    const double* const shares = std::as_const(rows).getWeights(row).data();
    for (std::size_t i = 0; i < callees.size(); ++i) received[callees[i]] += shares[i] * energy;
  }
}
