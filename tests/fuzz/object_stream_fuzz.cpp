// Reads any bytes as objects, one after another. Reading may end in a report and in nothing else; what was read is
// written, read again, copied and moved, with the same bytes each time; and the environment gets every byte back.

#include <string>

#include "fuzz_support.h"
#include "object_examples.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_stream_values.h"

namespace {

std::string imageOf(const QUVENObject* object, std::int32_t mode, QUVENEnv* env) {
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, mode);
  quvenWriteObject(writer, object, QUVEN_ENV);
  REQUIRE(writer.isOk() && writer.getDepth() == 0);
  std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
  QUVEN_DELETE(blob);
  return bytes;
}

/// Infinite numbers are largest ones since they were read, so that nothing changes any more.
void checkObject(const QUVENObject* object, QUVENEnv* env) {
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::ScanResults}) {
    const std::string bytes = imageOf(object, mode, env);
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENOwnPtr<QUVENObject> again(QUVEN_ENV);
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, again, QUVENObject::typeName(), QUVEN_ENV);
    REQUIRE(blob.getRemaining() == 0);
    REQUIRE(imageOf(again.get(), mode, env) == bytes);
    QUVEN_DELETE(again);
  }
  if (object == nullptr) return;
  const std::string bytes = imageOf(object, QUVENObjWriter::Save, env);
  auto copy = quvenNewCopy(*object, QUVEN_ENV);
  REQUIRE(imageOf(copy.get(), QUVENObjWriter::Save, env) == bytes);
  QUVENOwnPtr<QUVENObject> target(QUVEN_ENV);
  object->makeNewObject(target, QUVEN_ENV);
  target->transferFromPrimitive(copy.get(), QUVEN_ENV);
  REQUIRE(imageOf(target.get(), QUVENObjWriter::Save, env) == bytes);
  QUVEN_DELETE(copy);
  QUVEN_DELETE(target);
}

/// Reads objects until the end or a report.
void readAll(QUVENBlobIO& blob, QUVENEnv* env) {
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  try {
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    while (blob.getRemaining() > 0) {
      reader.takeKeyword();
      quvenReadObject(reader, object, QUVENObject::typeName(), QUVEN_ENV);
      REQUIRE(reader.getDepth() == 0);
      checkObject(object.get(), env);
      QUVEN_DELETE(object);
    }
  } catch (int payload) {
    REQUIRE(payload == 0);
    REQUIRE(quvenDebugWords.exceptionThrown == 1);
  }
  QUVEN_DELETE(object);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quvenDebugWords = QUVENDebugWords();
  quvenDebugWords.quiet = 1;
  QUVENEnv environment;
  environment.activate();
  QUVENViewBlobIO blob({reinterpret_cast<const char*>(data), size});
  readAll(blob, &environment);
  REQUIRE(environment.getBytesInUse() == 0);
  return 0;
}
