// The passes of the group analysis over rows in memory.

#include <algorithm>
#include <functional>
#include <utility>

#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_kept_rows.h"

std::int64_t QUVENCGAData::updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  const bool isTraced = ivVerbosityLvl > sampleTraceLevel;
  if (getState() == BuildingKernel && !isTraced) {
    const std::int64_t numRecords = ivKernelPtr->updateFromKeptRows(rows, QUVEN_ENV);
    requireRowsForLevels(numRecords, QUVEN_ENV);
    rowsInMemory = &rows;
    return numRecords;
  }
  if (!rows.isDecided()) rows.loadTable(isTraced ? "records are traced" : "", QUVEN_ENV);
  if (!rows.isLoaded()) {
    requireRowsForLevels(-1, QUVEN_ENV);
    return -1;
  }

  std::vector<std::int32_t> clusters(static_cast<std::size_t>(rows.getNumNodes()) + 1);
  for (std::int64_t node = 1; node <= rows.getNumNodes(); ++node) {
    const auto place = static_cast<QUVENKeptRows::Node>(node);
    clusters[place] = getCluster(rows.getSubscriber(place));
  }
  std::vector<std::int64_t> lastRowOf(clusters.size(), -1);  // by node: the row that named it last
  std::int64_t numRecords = 0;
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    if (!rows.isOwn(row)) continue;
    numRecords += rows.getNumRecords(row);
    if (getState() == ConnectingIsolatedNodes) {
      connectRow(rows, row, clusters, QUVEN_ENV);
    } else {
      addEdgesOfRow(rows, row, clusters, lastRowOf, QUVEN_ENV);
    }
  }
  return numRecords;
}

void QUVENCGAData::connectRow(const QUVENKeptRows& rows, std::int64_t row, const std::vector<std::int32_t>& clusters,
                              const QUVENEnvHandle& env) {
  const QUVENKeptRows::Node caller = rows.getCaller(row);
  if (clusters[caller] != 0) return;
  ClusterVote vote;
  for (const QUVENKeptRows::Node contact : rows.getContacts(row)) countContact(clusters[contact], vote, env);
  endVote(rows.getSubscriber(caller), vote, env);
}

void QUVENCGAData::addEdgesOfRow(const QUVENKeptRows& rows, std::int64_t row, const std::vector<std::int32_t>& clusters,
                                 std::vector<std::int64_t>& lastRowOf, const QUVENEnvHandle& env) {
  const QUVENKeptRows::Node caller = rows.getCaller(row);
  const std::int32_t cluster = clusters[caller];
  if (!isInSlice(cluster)) return;
  const std::span<const QUVENKeptRows::Node> contacts = rows.getContacts(row);
  // In an ascending row without repeats every contact is new.
  const bool mayRepeat = std::adjacent_find(contacts.begin(), contacts.end(), std::greater_equal<>()) != contacts.end();
  const SampleNumber number = rows.getSubscriber(caller);
  for (const QUVENKeptRows::Node contact : contacts) {
    if (contact == caller || clusters[contact] != cluster) continue;
    if (mayRepeat && std::exchange(lastRowOf[contact], row) == row) continue;
    const long size = ivCCEdges.getSize();
    ivCCEdges.autoExtend(size + 2, env);
    ivCCEdges[size + 1] = number;
    ivCCEdges[size + 2] = rows.getSubscriber(contact);
  }
}
