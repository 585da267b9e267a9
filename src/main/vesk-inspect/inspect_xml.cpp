#include "inspect_xml.h"

#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>

#include "control/quven_XML_handler.h"
#include "util/quven_bin_obj_writer.h"

namespace vesk_inspect {

namespace {

/// The parser says nothing about a file that it cannot open.
void checkReadable(const std::string& path) {
  if (!std::ifstream(path).is_open()) throw std::runtime_error("cannot open " + path);
  std::error_code unknown;  // then the parser finds out
  if (std::filesystem::is_directory(path, unknown)) throw std::runtime_error(path + " is a directory");
}

void saveStream(const QUVENXMLHandler& handler, const XmlOptions& options, const QUVENEnvHandle& env) {
  std::error_code different;  // files that are not there are no equal ones
  if (std::filesystem::equivalent(options.path, options.streamPath, different)) {
    throw std::runtime_error("the stream would replace " + options.path);
  }
  QUVENFileBlobIO file(options.streamPath, QUVENFileBlobIO::Mode::Write);
  if (file.getStatus() == QUVENBlobIO::Good) {
    QUVENBinObjWriter writer(file, QUVENObjWriter::Save);
    quvenWriteObject(writer, handler, QUVEN_ENV);
  }
  if (!file.close()) throw std::runtime_error("cannot write " + options.streamPath + ": " + file.getErrorText());
}

}  // namespace

int inspectXml(const XmlOptions& options, std::ostream& out) {
  checkReadable(options.path);
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  auto handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  const bool wellFormed = handler->readXMLFile(options.path, QUVEN_ENV) == 1;
  if (wellFormed) handler->getTag("", QUVEN_ENV).write(out, -1, QUVEN_ENV);
  if (wellFormed && !options.streamPath.empty()) saveStream(*handler, options, QUVEN_ENV);
  QUVEN_DELETE(handler);
  return wellFormed ? 0 : 1;
}

}  // namespace vesk_inspect
