#include "util/quven_element_frame.h"

#include "util/quven_bin_obj_writer.h"

QUVENElementFrame::QUVENElementFrame(std::string_view typeName, std::span<const QUVENKeyword> keywords) {
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  const auto takeBytes = [&](std::string& bytes) {
    bytes.assign(blob.getBytes().begin(), blob.getBytes().end());
    blob.clear();
  };
  writer.beginObjectType(typeName, QUVEN_ENV);
  writer.writeKeyword(keywords[0], QUVEN_ENV);
  takeBytes(head);
  writer.writeKeyword(keywords[1], QUVEN_ENV);
  takeBytes(middle);
  writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
  takeBytes(tail);
  blob.deleteMemory(QUVEN_ENV);
}
