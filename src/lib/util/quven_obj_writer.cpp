#include "util/quven_obj_writer.h"

#include <string>

#include "util/quven_debug.h"
#include "util/quven_object.h"

QUVENObjWriter::~QUVENObjWriter() = default;

void QUVENObjWriter::writeNumbers(std::span<const std::int8_t> values, const QUVENEnvHandle& env) {
  for (const std::int8_t value : values) writeSignedByte(value, QUVEN_ENV);
}

void QUVENObjWriter::writeNumbers(std::span<const std::uint8_t> values, const QUVENEnvHandle& env) {
  for (const std::uint8_t value : values) writeUnsignedByte(value, QUVEN_ENV);
}

void QUVENObjWriter::writeNumbers(std::span<const std::int64_t> values, const QUVENEnvHandle& env) {
  for (const std::int64_t value : values) writeSignedVarint(value, QUVEN_ENV);
}

void QUVENObjWriter::writeNumbers(std::span<const std::uint64_t> values, const QUVENEnvHandle& env) {
  for (const std::uint64_t value : values) writeUnsignedVarint(value, QUVEN_ENV);
}

void QUVENObjWriter::writeNumbers(std::span<const double> values, const QUVENEnvHandle& env) {
  for (const double value : values) writeDouble(value, QUVEN_ENV);
}

void QUVENObjWriter::raiseDepth(const QUVENEnvHandle& env) {
  if (depth >= quvenMaxObjectDepth) {
    quvenFatalReport("Objects nested deeper than " + std::to_string(quvenMaxObjectDepth) + " levels", QUVEN_ENV);
  }
  ++depth;
}

void quvenWriteObject(QUVENObjWriter& writer, const QUVENObject& object, const QUVENEnvHandle& env) {
  writer.raiseDepth(QUVEN_ENV);
  writer.beginObjectType(object.getTypeName().getName(), QUVEN_ENV);
  object.writePrimitive(writer, QUVEN_ENV);
  writer.beginItem(QUVEN_ENV);
  writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
  writer.lowerDepth();
}

void quvenWriteObject(QUVENObjWriter& writer, const QUVENObject* object, const QUVENEnvHandle& env) {
  if (object != nullptr) return quvenWriteObject(writer, *object, QUVEN_ENV);
  writer.beginObjectType("", QUVEN_ENV);
}
