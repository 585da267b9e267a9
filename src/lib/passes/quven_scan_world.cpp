#include "passes/quven_scan_world.h"

#include <algorithm>

#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_stream_values.h"

QUVENScanWorld::QUVENScanWorld(const QUVENEnvHandle& env)
    : point(quvenMake<QUVENDataPoint>(QUVEN_ENV)), names(quvenMake<QUVENFieldNameMap>(QUVEN_ENV)) {}

void QUVENScanWorld::registerFields(const QUVENEnvHandle& env) {
  for (long i = 1; i <= point->getNumFields(); ++i) {
    QUVENField& field = point->getField(i);
    if (names->find(field.getName()) != &field) names->addReference(&field, QUVEN_ENV);
  }
}

void QUVENScanWorld::write(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const {
  blob.clear();
  QUVENBinObjWriter writer(blob, QUVENObjWriter::SaveForWorker);
  quvenWriteObject(writer, *point, QUVEN_ENV);
  quvenWriteObject(writer, *names, QUVEN_ENV);
  QUVENStreamValue<Scans>::write(writer, scans, QUVEN_ENV);
  writer.writeSignedVarint(countValueProducers(), QUVEN_ENV);
}

QUVENFieldSet QUVENScanWorld::collectFields() const {
  QUVENFieldSet fields;
  for (long i = 1; i <= point->getNumFields(); ++i) fields.insert(&point->getField(i));
  for (const QUVENOwnPtr<QUVENField>& field : names->getOwnedFields()) fields.insert(field.get());
  return fields;
}

std::vector<QUVENField*> QUVENScanWorld::collectFinalOutputs() const {
  std::vector<QUVENField*> fields;
  for (const QUVENOwnPtr<QUVENDataScan>& scan : scans) scan->collectFinalOutputs(fields);
  return fields;
}

long QUVENScanWorld::countValueProducers() const {
  const QUVENFieldSet fields = collectFields();
  return std::count_if(fields.begin(), fields.end(), [](const QUVENField* field) { return field->hasValueProducer(); });
}

long QUVENScanWorld::read(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) {
  names->setMirror(true);
  blob.rewind();
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  quvenReadObject(reader, *point, QUVEN_ENV);
  registerFields(QUVEN_ENV);
  quvenReadObject(reader, *names, QUVEN_ENV);
  QUVENStreamValue<Scans>::read(reader, scans, QUVEN_ENV);
  return static_cast<long>(reader.readSignedVarint(QUVEN_ENV));
}

void QUVENScanWorld::writePoint(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const {
  blob.clear();
  QUVENBinObjWriter writer(blob, QUVENObjWriter::SaveForWorker);
  quvenWriteObject(writer, *point, QUVEN_ENV);
}

void QUVENScanWorld::readPoint(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) {
  blob.rewind();
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  quvenReadObject(reader, *point, QUVEN_ENV);
  registerFields(QUVEN_ENV);
}

void QUVENScanWorld::release(const QUVENEnvHandle& env) {
  scans.deleteMemory(QUVEN_ENV);
  names.reset(QUVEN_ENV);
  point.reset(QUVEN_ENV);
}
