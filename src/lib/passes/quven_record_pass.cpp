#include "passes/quven_record_pass.h"

#include <algorithm>
#include <string>

#include "kernel/quven_scan_results.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_debug.h"

QUVENScanProtocols::QUVENScanProtocols() {
  static const QUVENModelProtocol models;
  static const QUVENMultiScanProtocol multiScans;
  add(models);
  add(multiScans);
}

const QUVENScanProtocol& QUVENScanProtocols::of(const QUVENDataScan& scan, const QUVENEnvHandle& env) const {
  for (auto protocol = protocols.rbegin(); protocol != protocols.rend(); ++protocol) {
    if (scan.isA((*protocol)->getScanClass()) != 0) return **protocol;
  }
  quvenFatalReport(std::string("A run has no protocol for scans of the class ") + scan.getTypeName().getName(),
                   QUVEN_ENV);
}

QUVENRecordPass::QUVENRecordPass(QUVENScanWorld& scanWorld, const QUVENScanProtocols& protocols,
                                 const QUVENPassSettings& passSettings, const QUVENEnvHandle& env)
    : world(scanWorld), settings(passSettings) {
  addFields();
  for (const QUVENOwnPtr<QUVENDataScan>& scan : world.getScans()) {
    const QUVENScanProtocol& protocol = protocols.of(*scan, QUVEN_ENV);
    if (protocol.isScanning(*scan)) {
      participants.push_back({&protocol, scan.get(), QUVENScanType::NoPass});
    } else if (protocol.canScore(*scan)) {
      scorers.push_back({&protocol, scan.get()});
    }
  }
  hasResults = !results.empty() || !scorers.empty();
}

void QUVENRecordPass::addFields() {
  const auto add = [&](QUVENField& field) {
    if (field.isComputed()) results.push_back(&field);
    if (field.hasValueProducer()) produced.push_back(&field);
    if (gathers(field, settings)) gathering.push_back(&field);
  };
  QUVENDataPoint& point = world.getPoint();
  for (long i = 1; i <= point.getNumFields(); ++i) add(point.getField(i));
  for (const QUVENOwnPtr<QUVENField>& field : world.getNames().getOwnedFields()) add(*field);
}

void QUVENRecordPass::begin(const QUVENEnvHandle& env) {
  for (QUVENField* field : gathering) field->beginDistributionPass(QUVEN_ENV);
  for (const Participant& participant : participants) participant.scan->beginRecords(QUVEN_ENV);
}

void QUVENRecordPass::deal(std::int64_t recordNumber, const QUVENEnvHandle& env) {
  const std::int32_t channel = settings.dealChannel(recordNumber);
  if (channel < 0 || channel > settings.numChannels) {
    quvenFatalReport("Record " + std::to_string(recordNumber) + " was dealt to channel " + std::to_string(channel) +
                         " of " + std::to_string(settings.numChannels),
                     QUVEN_ENV);
  }
  world.getPoint().setChannel(channel);
}

QUVENScanType QUVENRecordPass::getScanType(long participant, bool hasLines, const QUVENEnvHandle& env) const {
  const Participant& asked = participants[static_cast<std::size_t>(participant - 1)];
  return asked.protocol->readingModeOf(asked.scan->getScanType(QUVEN_ENV), hasLines);
}

void QUVENRecordPass::setScanType(long participant, QUVENScanType type) {
  participants[static_cast<std::size_t>(participant - 1)].type = type;
}

void QUVENRecordPass::copyScanTypes(const QUVENRecordPass& other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(participants.size() == other.participants.size());
  for (std::size_t i = 0; i < participants.size(); ++i) participants[i].type = other.participants[i].type;
  chooseScanType(QUVEN_ENV);
}

QUVENScanType QUVENRecordPass::chooseScanType(const QUVENEnvHandle& env) {
  using enum QUVENScanType;
  QUVENScanType common = gathering.empty() ? NoPass : Slice;
  readers.clear();
  for (const Participant& participant : participants) {
    if (participant.type == NoPass) continue;
    if (common != NoPass && common != participant.type) {
      quvenFatalReport("The scans of a run ask for different reading modes in one pass", QUVEN_ENV);
    }
    common = participant.type;
    if (participant.scan->wantsRecords()) readers.push_back(participant.scan);
  }
  return common;
}

double QUVENRecordPass::getSamplingRate(const QUVENEnvHandle& env) const {
  double rate = 0;
  for (const Participant& participant : participants) {
    if (participant.type == QUVENScanType::NoPass) continue;
    rate = std::max(rate, participant.scan->getSamplingRate(QUVEN_ENV));
  }
  return participants.empty() ? 1 : rate;
}

void QUVENRecordPass::updateWithoutRecords(const QUVENEnvHandle& env) {
  for (const Participant& participant : participants) {
    if (participant.type == QUVENScanType::NoPass) participant.scan->updateWithoutDataScan(QUVEN_ENV);
  }
}

void QUVENRecordPass::endWithoutRecords(const QUVENEnvHandle& env) {
  for (const Participant& participant : participants) {
    if (participant.type == QUVENScanType::NoPass) participant.scan->endRecords(QUVEN_ENV);
  }
}

void QUVENRecordPass::dropScansWithoutRecords() {
  std::erase_if(participants, [](const Participant& participant) { return participant.type == QUVENScanType::NoPass; });
}

void QUVENRecordPass::setResults(std::int64_t recordNumber, const QUVENEnvHandle& env) {
  clearResults();
  cachedOutputs.restore(recordNumber, QUVEN_ENV);
  computeResults(QUVEN_ENV);
}

void QUVENRecordPass::clearResults() {
  for (QUVENField* field : results) field->clearValue();
}

void QUVENRecordPass::computeResults(const QUVENEnvHandle& env) {
  QUVENDataPoint& point = world.getPoint();
  for (QUVENField* field : produced) field->computeValue(point, env);
  for (const Scorer& scorer : scorers) scorer.protocol->score(*scorer.scan, settings.scoredChannel, point, env);
}

bool QUVENRecordPass::takeKeptRecords(QUVENKeptRecords& done, const QUVENEnvHandle& env) const {
  const bool needsEachRecord = hasResults || !gathering.empty() || settings.takesRecord || settings.dealChannel;
  return readers.size() == 1 && !needsEachRecord && readers.front()->updateFromKeptRecords(done, QUVEN_ENV);
}

void QUVENRecordPass::end(const QUVENEnvHandle& env) {
  for (const Participant& participant : participants) participant.scan->endRecords(QUVEN_ENV);
}

void QUVENRecordPass::writeResults(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const {
  blob.clear();
  QUVENBinObjWriter writer(blob, QUVENObjWriter::ScanResults);
  const auto write = [&](const QUVENDataScan& scan) {
    quvenWriteScanResults(scan, writer, quvenScanResultKeyword(), QUVEN_ENV);
  };
  for (const QUVENField* field : gathering) write(*field);
  for (const Participant& participant : participants) write(*participant.scan);
}

QUVENSliceResults QUVENRecordPass::takeResults(const QUVENEnvHandle& env) const {
  QUVENSliceResults slice;
  const bool staysHere =
      !participants.empty() && std::all_of(participants.begin(), participants.end(),
                                           [](const auto& p) { return p.scan->changesOnlyItsResults(); });
  if (!staysHere) {
    writeResults(slice.stream, QUVEN_ENV);
    return slice;
  }
  QUVENBinObjWriter writer(slice.stream, QUVENObjWriter::ScanResults);
  for (const QUVENField* field : gathering) {
    quvenWriteScanResults(*field, writer, quvenScanResultKeyword(), QUVEN_ENV);
  }
  slice.world = &world;
  for (const Participant& participant : participants) {
    const std::vector<QUVENDataScan*> scans = quvenCollectScanResults(*participant.scan, QUVEN_ENV);
    slice.scans.insert(slice.scans.end(), scans.begin(), scans.end());
  }
  return slice;
}

void QUVENRecordPass::finish(std::int32_t lastPass, const QUVENEnvHandle& env) {
  for (QUVENField* field : gathering) {
    // An output has no value before its model has finished. Passes until then are none of its distribution's.
    const bool isTooEarly = field->isComputed() && field->getGatheredCount() == 0 && !participants.empty();
    if (!isTooEarly) field->endDistributionPass(QUVEN_ENV);
  }
  for (const Participant& participant : participants) participant.protocol->end(*participant.scan, lastPass, QUVEN_ENV);
}
