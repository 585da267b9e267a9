#include "util/quven_obj_reader.h"

#include <algorithm>
#include <string>

#include "util/quven_debug.h"
#include "util/quven_memory.h"
#include "util/quven_object.h"

QUVENObjReader::~QUVENObjReader() {
  QUVENEnv* env = environment;
  backPointers.deleteMemory(QUVEN_ENV);
}

void QUVENObjReader::reportUnexpectedKeyword(const QUVENEnvHandle& env) {
  quvenFatalReport("Input keyword does not match expected keyword(s)", QUVEN_ENV);
}

void QUVENObjReader::reportUnknownObjectType(const QUVENEnvHandle& env) {
  quvenFatalReport("Input object type does not match known object types", QUVEN_ENV);
}

bool QUVENObjReader::atArrayEnd(const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }

void QUVENObjReader::readNumbers(std::span<std::int8_t> values, const QUVENEnvHandle& env) {
  for (std::int8_t& value : values) value = readSignedByte(QUVEN_ENV);
}

void QUVENObjReader::readNumbers(std::span<std::uint8_t> values, const QUVENEnvHandle& env) {
  for (std::uint8_t& value : values) value = readUnsignedByte(QUVEN_ENV);
}

void QUVENObjReader::readNumbers(std::span<std::int64_t> values, const QUVENEnvHandle& env) {
  for (std::int64_t& value : values) value = readSignedVarint(QUVEN_ENV);
}

void QUVENObjReader::readNumbers(std::span<std::uint64_t> values, const QUVENEnvHandle& env) {
  for (std::uint64_t& value : values) value = readUnsignedVarint(QUVEN_ENV);
}

void QUVENObjReader::readNumbers(std::span<double> values, const QUVENEnvHandle& env) {
  for (double& value : values) value = readDouble(QUVEN_ENV);
}

void QUVENObjReader::checkCount(std::uint64_t, std::uint64_t, const QUVENEnvHandle&) {}

void QUVENObjReader::bufferName(std::string_view name, const QUVENEnvHandle& env) {
  quvenAssignText(bufferedName, name, QUVEN_ENV);
  bufferedKind = NameText;
  bufferState = Buffered;
}

void QUVENObjReader::bufferCode(std::int64_t code) {
  bufferedCode = code;
  bufferedKind = IntegerCode;
  bufferState = Buffered;
}

void QUVENObjReader::bufferLevelAndOrdinal(std::int32_t classLevel, std::int32_t fieldOrdinal) {
  bufferedClassLevel = classLevel;
  bufferedFieldOrdinal = fieldOrdinal;
  bufferedKind = LevelAndOrdinal;
  bufferState = Buffered;
}

std::string_view QUVENObjReader::getBufferedName() const {
  return bufferState == Buffered && bufferedKind == NameText ? std::string_view(bufferedName) : std::string_view();
}

bool QUVENObjReader::isBuffered(const QUVENKeyword& keyword) const {
  switch (bufferedKind) {
    case IntegerCode:  // no code belongs to a name keyword, not even the 0 of a foreign stream
      return bufferedCode == keyword.getCode() && !keyword.isName();
    case LevelAndOrdinal:
      return bufferedClassLevel == keyword.getClassLevel() && bufferedFieldOrdinal == keyword.getFieldOrdinal();
    case FullKeyword:
      return matchedKeyword->getName() == keyword.getName();
    default:
      return bufferedName == keyword.getName();
  }
}

bool QUVENObjReader::keywordMatches(const QUVENKeyword& keyword, const QUVENEnvHandle& env) {
  if (bufferState == NothingBuffered) {
    readNextKeyword(QUVEN_ENV);
    keywordsRead = static_cast<std::int32_t>(static_cast<std::uint32_t>(keywordsRead) + 1);  // a long stream goes round
  }
  if (bufferState == EndOfInput || !isBuffered(keyword)) return false;
  matchedKeyword = &keyword;
  bufferedKind = FullKeyword;
  bufferState = Matched;
  return true;
}

void QUVENObjReader::putBackPointer(const QUVENStringWithHash& name, void* pointer, const QUVENEnvHandle& env) {
  const QUVENEnvHandle own(*environment, env.getFile(), env.getLine(), env.getFunction());
  backPointers.put(name, pointer, own);
}

void QUVENObjReader::beginObjectBody(const QUVENEnvHandle& env) {
  if (objectDepth >= quvenMaxObjectDepth) {
    quvenFatalReport("Syntax Error: Objects nested deeper than " + std::to_string(quvenMaxObjectDepth) + " levels",
                     QUVEN_ENV);
  }
  ++depth;
  ++objectDepth;
  takeKeyword();
}

void QUVENObjReader::readObjectMembers(QUVENObject& object, const QUVENEnvHandle& env) {
  std::int32_t keywordsBefore = keywordsRead;
  while (!keywordMatches(QUVEN_KWD(EndObject), QUVEN_ENV)) {
    object.readPrimitive(*this, QUVEN_ENV);
    // An object that took nothing comes here twice: the test for the end has read the keyword in the first round.
    if (keywordsRead == keywordsBefore) {
      reportUnexpectedKeyword(QUVEN_ENV);
      // A form that goes on behind an unknown keyword cannot go on behind the end of its input.
      if (isAtEnd()) QUVENObjReader::reportUnexpectedKeyword(QUVEN_ENV);
      takeKeyword();
    }
    keywordsBefore = keywordsRead;
  }
  object.postReadPrimitive(*this, QUVEN_ENV);
  --objectDepth;
  --depth;
}

void QUVENObjReader::endArrayElements(const QUVENEnvHandle& env) {
  takeKeyword();
  if (!keywordMatches(QUVEN_KWD(EndArray), QUVEN_ENV)) {
    quvenOrdinaryAssertionFailed("reader.keywordMatches (QUVEN_KWD(EndArray), QUVEN_ENV)",
                                 "Syntax Error: EndArray keyword expected", __func__, __LINE__, __FILE__);
  }
  --depth;
}

namespace {

const QUVENTypeName& knownType(QUVENObjReader& reader, const QUVENStringWithHash& typeName, const QUVENEnvHandle& env) {
  const QUVENTypeName* type = QUVENTypeNameAux::find(typeName);
  if (type == nullptr) {
    reader.reportUnknownObjectType(QUVEN_ENV);
    quvenUnreachable(QUVEN_ENV);  // the report is fatal
  }
  return *type;
}

void checkClass(const QUVENObject& object, const QUVENTypeName& expected, const QUVENEnvHandle& env) {
  if (object.isA(expected) != 0) return;
  quvenFatalReport(std::string("Syntax Error: Object of type ") + object.getTypeName().getName() + " where " +
                       expected.getName() + " is expected",
                   QUVEN_ENV);
}

}  // namespace

void quvenMakeObjectOfType(QUVENObjReader& reader, const QUVENStringWithHash& typeName, QUVENOwnPtrBase& pointer,
                           const QUVENTypeName& expected, const QUVENEnvHandle& env) {
  const QUVENTypeName& type = knownType(reader, typeName, QUVEN_ENV);
  pointer.reset(QUVEN_ENV);
  QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
  type.create(made, QUVEN_ENV);
  QUVENObject* objPtr = made.get();
  QUVEN_ASSERT(objPtr != 0);  // NOLINT(modernize-use-nullptr): the text of the report
  checkClass(*objPtr, expected, QUVEN_ENV);
  pointer.assignObject(made.detach(), QUVEN_ENV);
}

void quvenReadObjectOfType(QUVENObjReader& reader, const QUVENStringWithHash& typeName, QUVENOwnPtrBase& pointer,
                           const QUVENTypeName& expected, const QUVENEnvHandle& env) {
  if (typeName.isEmpty()) return pointer.reset(QUVEN_ENV);
  const QUVENObject* held = pointer.getObject();
  if (held == nullptr || !(held->getTypeName() == knownType(reader, typeName, QUVEN_ENV))) {
    quvenMakeObjectOfType(reader, typeName, pointer, expected, QUVEN_ENV);
  }
  reader.readObjectBody(*pointer.getObject(), QUVEN_ENV);
}

void quvenReadObject(QUVENObjReader& reader, QUVENOwnPtrBase& pointer, const QUVENTypeName& expected,
                     const QUVENEnvHandle& env) {
  quvenReadObjectOfType(reader, reader.readObjectType(QUVEN_ENV), pointer, expected, QUVEN_ENV);
}

void quvenReadObject(QUVENObjReader& reader, QUVENObject& object, const QUVENEnvHandle& env) {
  const QUVENStringWithHash& typeName = reader.readObjectType(QUVEN_ENV);
  if (typeName.isEmpty()) {
    quvenFatalReport(std::string("Syntax Error: No object where ") + object.getTypeName().getName() + " is expected",
                     QUVEN_ENV);
  }
  // Types of one name are one type: the registry is asked about other names only.
  if (!(typeName == std::string_view(object.getTypeName().getName()))) {
    const QUVENTypeName& type = knownType(reader, typeName, QUVEN_ENV);
    quvenFatalReport(std::string("Syntax Error: Object of type ") + type.getName() + " where " +
                         object.getTypeName().getName() + " is expected",
                     QUVEN_ENV);
  }
  reader.readObjectBody(object, QUVEN_ENV);
}
