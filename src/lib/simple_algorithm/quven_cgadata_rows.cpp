// The passes of the group analysis over rows in memory.

#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_kept_rows.h"

std::int64_t QUVENCGAData::updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  const bool isTraced = ivVerbosityLvl > sampleTraceLevel;
  if (getState() == BuildingKernel && !isTraced) return ivKernelPtr->updateFromKeptRows(rows, QUVEN_ENV);
  if (!rows.isDecided()) rows.loadTable(isTraced ? "records are traced" : "", QUVEN_ENV);
  if (!rows.isLoaded()) return -1;

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
  for (const QUVENKeptRows::Node contact : rows.getContacts(row)) {
    if (contact == caller || clusters[contact] != cluster || lastRowOf[contact] == row) continue;
    lastRowOf[contact] = row;
    ivCCEdges.append(rows.getSubscriber(caller), env);
    ivCCEdges.append(rows.getSubscriber(contact), env);
  }
}
