// The passes of a diffusion analysis over rows in memory. They add in the order of the records, so that every sum has
// the bits of a pass over the file.

#include "simple_algorithm/quven_kept_rows.h"
#include "simple_algorithm/quven_snadata.h"
#include "util/quven_debug.h"

namespace {

constexpr std::size_t lookAhead = 16;

/// Adds what every callee receives. Amounts are by node, from 1.
template <class EnergyOf>
void spread(const QUVENKeptRows& rows, EnergyOf energyOf, double* amounts) {
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const double energy = energyOf(rows.getCaller(row));
    const std::span<const QUVENKeptRows::Node> callees = rows.getContacts(row);
    const double* const shares = rows.getWeights(row).data();
    for (std::size_t i = 0; i < callees.size(); ++i) amounts[callees[i]] += shares[i] * energy;
  }
}

}  // namespace

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
      energiesTravelApart = !rows.getTransport().isAlone();
      if (energiesTravelApart) rowSumsTravel = 0;  // every rank has those of its rows by now
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
    if (energiesTravelApart) agreeOnNodes(rows);
  }
  if (energiesTravelApart) return spreadWithOthers(rows, QUVEN_ENV);
  ivModel1ReceivedEnergyMap.clearTo(calleesOfRows, QUVEN_ENV);
  double* const amounts = ivModel1ReceivedEnergyMap.getValues().data() - 1;  // nodes run from 1
  spread(
      rows, [this](long caller) { return ivModel1PrevFreshEnergies.get(caller); }, amounts);
}

/// Rank 0 tells its nodes. The ranks above it number those of their rows alike, and have the energies of all.
void QUVENSNAData::agreeOnNodes(QUVENKeptRows& rows) {
  const QUVENWorkerTransport& transport = rows.getTransport();
  std::vector<std::uint64_t> subscribers(1, static_cast<std::uint64_t>(nodes.getSize()));
  transport.broadcast(std::span(subscribers));
  subscribers.resize(subscribers.front());
  spreading.resize(subscribers.size());
  received.resize(subscribers.size());
  for (std::size_t i = 0; transport.isMaster() && i < subscribers.size(); ++i) {
    subscribers[i] = nodes.getNode(static_cast<long>(i) + 1);
  }
  transport.broadcast(std::span(subscribers));
  if (transport.isMaster()) return;
  std::vector<QUVENKeptRows::Node> numbers(static_cast<std::size_t>(nodes.getSize()) + 1);
  for (std::size_t i = 0; i < subscribers.size(); ++i) {
    if (i + lookAhead < subscribers.size()) nodes.prefetch(subscribers[i + lookAhead]);
    const long node = nodes.find(subscribers[i]);
    if (node != 0) numbers[static_cast<std::size_t>(node)] = static_cast<QUVENKeptRows::Node>(i + 1);
  }
  rows.renumber(numbers);
}

void QUVENSNAData::spreadWithOthers(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  const QUVENWorkerTransport& transport = rows.getTransport();
  for (std::size_t i = 0; transport.isMaster() && i < spreading.size(); ++i) {
    spreading[i] = ivModel1PrevFreshEnergies.get(static_cast<long>(i) + 1);
  }
  transport.broadcast(std::span(spreading));
  const auto energyOf = [this](long caller) { return spreading[static_cast<std::size_t>(caller - 1)]; };
  if (transport.isMaster()) {
    ivModel1ReceivedEnergyMap.clearTo(calleesOfRows, QUVEN_ENV);
    spread(rows, energyOf, ivModel1ReceivedEnergyMap.getValues().data() - 1);
  } else {
    std::fill(received.begin(), received.end(), 0.0);
    spread(rows, energyOf, received.data() - 1);
    for (double& amount : received) amount *= ivSpreadCoefficient;
  }
  transport.sumAboveMaster(received);
}

/// On rank 0, behind its own pass. Those who have received something are the callees of all rows.
void QUVENSNAData::addEnergiesOfOthers(const QUVENEnvHandle& env) {
  for (long node = 1; node <= nodes.getSize(); ++node) {
    if (!ivNum2InDegreeMap.has(node)) continue;
    ivModel1FreshEnergyMap.at(node, env) += received[static_cast<std::size_t>(node - 1)];
  }
}
