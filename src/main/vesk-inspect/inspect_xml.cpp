#include "inspect_xml.h"

#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>

#include "control/quven_XML_handler.h"

namespace vesk_inspect {

namespace {

/// The parser says nothing about a file that it cannot open.
void checkReadable(const std::string& path) {
  if (!std::ifstream(path).is_open()) throw std::runtime_error("cannot open " + path);
  std::error_code unknown;  // then the parser finds out
  if (std::filesystem::is_directory(path, unknown)) throw std::runtime_error(path + " is a directory");
}

}  // namespace

int inspectXml(const std::string& path, std::ostream& out) {
  checkReadable(path);
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  auto handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  const bool wellFormed = handler->readXMLFile(path, QUVEN_ENV) == 1;
  if (wellFormed) handler->getTag("", QUVEN_ENV).write(out, -1, QUVEN_ENV);
  QUVEN_DELETE(handler);
  return wellFormed ? 0 : 1;
}

}  // namespace vesk_inspect
