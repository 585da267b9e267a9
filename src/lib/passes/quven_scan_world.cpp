#include "passes/quven_scan_world.h"

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

long QUVENScanWorld::countValueProducers() const {
  long number = 0;
  for (long i = 1; i <= point->getNumFields(); ++i) number += point->getField(i).hasValueProducer() ? 1 : 0;
  for (const QUVENOwnPtr<QUVENField>& field : names->getOwnedFields()) number += field->hasValueProducer() ? 1 : 0;
  return number;
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
