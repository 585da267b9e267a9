// The passes of a diffusion analysis over rows in memory. They add in the order of the records, so that every sum has
// the bits of a pass over the file.

#include <algorithm>
#include <functional>

#include "simple_algorithm/quven_kept_rows.h"
#include "simple_algorithm/quven_snadata.h"
#include "util/quven_debug.h"

namespace {

constexpr std::size_t lookAhead = 16;
constexpr std::size_t bitsOfWord = 64;

/// In the order of the records, as a pass over them adds.
double sumOf(std::span<const double> weights) {
  double sum = 0;
  for (const double weight : weights) sum += weight;
  return sum;
}

/// Adds what every callee receives. The amount of a node is at node - 1.
template <class EnergyOf>
void spread(const QUVENKeptRows& rows, EnergyOf energyOf, std::span<double> amounts) {
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const double energy = energyOf(rows.getCaller(row));
    const std::span<const QUVENKeptRows::Node> callees = rows.getContacts(row);
    const double* const shares = rows.getWeights(row).data();
    for (std::size_t i = 0; i < callees.size(); ++i) amounts[std::size_t{callees[i]} - 1] += shares[i] * energy;
  }
}

/// The same for two diffusions at once, so that the rows are read from memory once.
template <class EnergyOf, class ExpectedOf>
void spreadBoth(const QUVENKeptRows& rows, EnergyOf energyOf, ExpectedOf expectedOf, std::span<double> amounts,
                std::span<double> expectedAmounts) {
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const double energy = energyOf(rows.getCaller(row));
    const double expected = expectedOf(rows.getCaller(row));
    const std::span<const QUVENKeptRows::Node> callees = rows.getContacts(row);
    const double* const shares = rows.getWeights(row).data();
    for (std::size_t i = 0; i < callees.size(); ++i) {
      const std::size_t place = std::size_t{callees[i]} - 1;
      amounts[place] += shares[i] * energy;
      expectedAmounts[place] += shares[i] * expected;
    }
  }
}

}  // namespace

std::int64_t QUVENSNAData::updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  if (!rows.isDecided()) {
    const bool isTraced = ivVerbosityLvl > recordTraceLevel;
    const bool isKept =
        rows.load(QUVENKeptRows::Form::PairSums, nodes, isTraced ? "records are traced" : "", QUVEN_ENV);
    if (isKept && !rows.getTransport().isAlone()) agreeOnNodes(rows, QUVEN_ENV);
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

/// Enters the nodes of all ranks into the index of rank 0. The ranks above 0 take its numbers for their rows and free
/// their own index, which no later pass reads.
void QUVENSNAData::agreeOnNodes(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  const QUVENWorkerTransport& transport = rows.getTransport();
  const auto prefetch = [this](const std::vector<std::uint64_t>& subscribers, std::size_t i) {
    if (i + lookAhead < subscribers.size()) nodes.prefetch(subscribers[i + lookAhead]);
  };
  const auto listNodes = [this] {
    std::vector<std::uint64_t> subscribers(static_cast<std::size_t>(nodes.getSize()));
    for (std::size_t i = 0; i < subscribers.size(); ++i) subscribers[i] = nodes.getNode(static_cast<long>(i) + 1);
    return subscribers;
  };
  columnsTravelApart = true;
  rowSumsTravel = 0;  // every rank has those of its rows
  std::vector<std::uint64_t> subscribers;
  if (transport.isMaster()) {
    for (int rank = 1; rank < transport.getCount(); ++rank) {
      transport.receive(rank, subscribers);
      for (std::size_t i = 0; i < subscribers.size(); ++i) {
        prefetch(subscribers, i);
        nodes.insert(subscribers[i], env);
      }
    }
    subscribers = listNodes();
  } else {
    transport.send(0, listNodes());
  }
  transport.broadcast(subscribers);
  spreading.resize(subscribers.size());
  received.resize(subscribers.size());
  if (transport.isMaster()) return;
  std::vector<QUVENKeptRows::Node> numbers(static_cast<std::size_t>(nodes.getSize()) + 1);
  for (std::size_t i = 0; i < subscribers.size(); ++i) {
    prefetch(subscribers, i);
    numbers[static_cast<std::size_t>(nodes.find(subscribers[i]))] = static_cast<QUVENKeptRows::Node>(i + 1);
  }
  rows.renumber(numbers);
  nodes.deleteMemory(QUVEN_ENV);
}

/// Adds the columns of the other ranks to that of rank 0. Above rank 0 the column is empty then. A node for which
/// isThere(node, value of the others) holds is in the column afterwards.
template <class T, class IsThere>
void QUVENSNAData::addFromOthers(Column<T>& column, const QUVENWorkerTransport& transport, IsThere isThere,
                                 const QUVENEnvHandle& env) {
  if (transport.isAlone()) return;
  std::vector<T> values(spreading.size());
  const auto nodeOf = [](std::size_t i) { return static_cast<long>(i) + 1; };
  for (std::size_t i = 0; !transport.isMaster() && i < values.size(); ++i) values[i] = column.get(nodeOf(i));
  transport.combineAboveMaster(values, [](T value, T other) {
    addTo(value, other);
    return value;
  });
  if (!transport.isMaster()) return column.clear();
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (isThere(nodeOf(i), values[i])) addTo(column.at(nodeOf(i), env), values[i]);
  }
}

void QUVENSNAData::sumRows(const QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const long caller = rows.getCaller(row);
    ivNum2RowSumMap.at(caller, env) = sumOf(rows.getWeights(row));
    const std::span<const QUVENKeptRows::Node> callees = rows.getContacts(row);
    if (!callees.empty()) ivNum2OutDegreeMap.at(caller, env) = static_cast<std::int32_t>(callees.size());
    for (const QUVENKeptRows::Node callee : callees) ++ivNum2InDegreeMap.at(callee, env);
  }
  calleesOfRows.assign(ivNum2InDegreeMap.getPresence().begin(), ivNum2InDegreeMap.getPresence().end());
  weightsAreShares = false;

  const QUVENWorkerTransport& transport = rows.getTransport();
  std::vector<std::uint64_t> callers((spreading.size() + bitsOfWord - 1) / bitsOfWord);
  const std::span<const std::uint64_t> own = ivNum2RowSumMap.getPresence();
  std::copy_n(own.begin(), std::min(own.size(), callers.size()), callers.begin());
  transport.combineAboveMaster(callers, std::bit_or<>());
  const auto isCaller = [&](long node, double) {
    const auto place = static_cast<std::size_t>(node - 1);
    return (callers[place / bitsOfWord] >> (place % bitsOfWord) & 1) != 0;
  };
  const auto hasDegree = [](long, std::int32_t degree) { return degree != 0; };
  addFromOthers(ivNum2RowSumMap, transport, isCaller, QUVEN_ENV);
  addFromOthers(ivNum2OutDegreeMap, transport, hasDegree, QUVEN_ENV);
  addFromOthers(ivNum2InDegreeMap, transport, hasDegree, QUVEN_ENV);
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
  const QUVENWorkerTransport& transport = rows.getTransport();
  const auto calls = [this](long node, std::int32_t) { return ivNum2OutDegreeMap.has(node); };
  const auto isCalled = [this](long node, std::int32_t) { return ivNum2InDegreeMap.has(node); };
  addFromOthers(ivNum2WeightedOutDegreeMap, transport, calls, QUVEN_ENV);
  addFromOthers(ivNum2WeightedInDegreeMap, transport, isCalled, QUVEN_ENV);
}

void QUVENSNAData::spreadOverRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  if (!weightsAreShares) {
    for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
      const std::span<double> weights = rows.getWeights(row);
      const double sum = sumOf(weights);
      for (double& weight : weights) weight /= sum;
    }
    weightsAreShares = true;
  }
  if (columnsTravelApart) return spreadWithOthers(rows, QUVEN_ENV);
  ivModel1ReceivedEnergyMap.clearTo(calleesOfRows, QUVEN_ENV);
  const auto energyOf = [this](long caller) { return ivModel1PrevFreshEnergies.get(caller); };
  if (!hasExpected()) return spread(rows, energyOf, ivModel1ReceivedEnergyMap.getValues());
  expectedReceived.clearTo(calleesOfRows, QUVEN_ENV);
  const auto expectedOf = [this](long caller) { return expectedPrevFresh.get(caller); };
  spreadBoth(rows, energyOf, expectedOf, ivModel1ReceivedEnergyMap.getValues(), expectedReceived.getValues());
}

void QUVENSNAData::spreadWithOthers(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  const QUVENWorkerTransport& transport = rows.getTransport();
  // Brings the fresh energies to all ranks and returns where those of this rank's callees go.
  const auto prepare = [&](const Diffusion& diffusion) -> std::span<double> {
    diffusion.spreading.resize(spreading.size());
    diffusion.received.resize(received.size());
    for (std::size_t i = 0; transport.isMaster() && i < spreading.size(); ++i) {
      diffusion.spreading[i] = diffusion.previousFresh.get(static_cast<long>(i) + 1);
    }
    transport.broadcast(diffusion.spreading);
    if (transport.isMaster()) {
      diffusion.receivedEnergies.clearTo(calleesOfRows, QUVEN_ENV);
      return diffusion.receivedEnergies.getValues();
    }
    std::fill(diffusion.received.begin(), diffusion.received.end(), 0.0);
    return diffusion.received;
  };
  const auto combine = [&](const Diffusion& diffusion) {
    if (!transport.isMaster()) {
      for (double& amount : diffusion.received) amount *= ivSpreadCoefficient;
    }
    transport.combineAboveMaster(diffusion.received, std::plus<>());
  };
  const auto energyOf = [this](long caller) { return spreading[static_cast<std::size_t>(caller - 1)]; };
  const auto expectedOf = [this](long caller) { return expectedSpreading[static_cast<std::size_t>(caller - 1)]; };
  const std::span<double> amounts = prepare(fromSeeds());
  if (hasExpected()) {
    spreadBoth(rows, energyOf, expectedOf, amounts, prepare(fromAll()));
    combine(fromSeeds());
    combine(fromAll());
  } else {
    spread(rows, energyOf, amounts);
    combine(fromSeeds());
  }
}

/// Called on rank 0 after its own rows have been spread. The nodes that receive energy are the callees of all ranks.
void QUVENSNAData::addEnergiesOfOthers(const Diffusion& diffusion, const QUVENEnvHandle& env) {
  for (long node = 1; node <= nodes.getSize(); ++node) {
    if (!ivNum2InDegreeMap.has(node)) continue;
    diffusion.fresh.at(node, env) += diffusion.received[static_cast<std::size_t>(node - 1)];
  }
}
