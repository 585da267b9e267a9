#include "control/quven_XML_handler.h"

#include <algorithm>
#include <fstream>
#include <iostream>

#include "control/quven_XML_parser.h"
#include "kernel/quven_string_manip.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENXMLHandler);

namespace {

constexpr int InternalError = 2100;
constexpr int FirstPrintable = 32;  // a byte below it, taken as signed, is a blank to the parser

/// Drops carriage returns, and puts blanks for control characters and for every byte that is not ASCII: a parameter
/// file is read as ASCII text on purpose.
void cleanLine(std::string& line) {
  std::erase(line, '\r');
  std::replace_if(
      line.begin(), line.end(), [](char byte) { return static_cast<signed char>(byte) < FirstPrintable; }, ' ');
}

void printParseError(const QUVENXMLParser& parser, const QUVENXMLTag& root, const QUVENEnvHandle& env) {
  std::cout << "XML Parse error.\nCurrent tag stack: ";
  for (const std::string& name : parser.getTagStack()) std::cout << name << ' ';
  std::cout << "\nCurrent XML partial read: \n";
  root.print(std::cout, 0, QUVEN_ENV);
  std::cout << '\n';
  if (parser.getState() == QUVENXMLState::ERROR) std::cout << "ERROR ecnountered while reading XML file\n";
}

/// The path with its blanks dropped and its entities decoded; false if they do not decode.
bool preparePath(std::string_view path, std::string& prepared, const QUVENEnvHandle& env) {
  std::size_t position = 0;
  const bool found = scan_token(path, position, ScanDroppingBlanks, prepared, "", WantToken, QUVEN_ENV);
  return !found || decode_entities(prepared);  // an empty path is the root
}

}  // namespace

QUVENOwnPtr<QUVENXMLHandler> QUVENXMLHandler::create(const QUVENEnvHandle& env) {
  return quvenMake<QUVENXMLHandler>(QUVEN_ENV);
}

void QUVENXMLHandler::resetTree(const QUVENEnvHandle& env) {
  auto root = quvenMake<QUVENXMLTag>(QUVEN_ENV);
  root->setName(RootName, QUVEN_ENV);
  ivRoot.assign(root.detach(), QUVEN_ENV);
}

QUVENXMLTag& QUVENXMLHandler::getRoot(const QUVENEnvHandle& env) const {
  if (ivRoot == nullptr) quvenFatalReport("QUVENXMLHandler, no tree: resetTree comes first", QUVEN_ENV);
  return *ivRoot;
}

int QUVENXMLHandler::readXMLFile(const std::string& fileName, const QUVENEnvHandle& env) {
  std::ifstream file(fileName);
  if (!file.is_open()) return 0;
  return readXMLStream(file, QUVEN_ENV);
}

int QUVENXMLHandler::readXMLStream(std::istream& stream, const QUVENEnvHandle& env) {
  if (!stream) {
    report_error(InternalError,
                 "QUVENXMLHandler::readXMLFile, bad conversion to std::istream (can result from comatibility issues "
                 "either in code building or between the code build and the target machine)",
                 QUVEN_ENV, true);
  }
  QUVENXMLTag& tree = getRoot(QUVEN_ENV);
  QUVENXMLParser parser(tree, QUVEN_ENV);
  for (std::string line; parser.getState() != QUVENXMLState::ERROR && std::getline(stream, line);) {
    cleanLine(line);
    parser.readLine(line, QUVEN_ENV);
  }
  // A directory opens like a file and fails at its first read, a broken disk at any.
  if (stream.bad()) report_error(InternalError, "QUVENXMLHandler::readXMLFile, bad ifstream", QUVEN_ENV, true);
  if (parser.finish(QUVEN_ENV)) return 1;
  printParseError(parser, tree, QUVEN_ENV);
  return 0;
}

int QUVENXMLHandler::writeXMLFile(const std::string& fileName, const QUVENEnvHandle& env) const {
  const QUVENXMLTag& tree = getRoot(QUVEN_ENV);
  std::ofstream file(fileName);
  if (!file.is_open()) {
    std::cout << "Error: Could not open output file " << fileName << '\n';
    return 0;
  }
  tree.write(file, -1, QUVEN_ENV);
  file.close();
  if (!file) {
    std::cout << "Error: Could not write output file " << fileName << '\n';
    return 0;
  }
  return 1;
}

bool QUVENXMLHandler::hasTag(std::string_view path, const QUVENEnvHandle& env) const {
  std::string prepared;
  return preparePath(path, prepared, QUVEN_ENV) && getRoot(QUVEN_ENV).hasTag(prepared, QUVEN_ENV);
}

const QUVENXMLTag& QUVENXMLHandler::getTag(std::string_view path, const QUVENEnvHandle& env) const {
  std::string prepared;
  if (!preparePath(path, prepared, QUVEN_ENV)) {
    quvenFatalReport("QUVENXMLHandler::getTag, wrong entity in the path [" + prepared + "]", QUVEN_ENV);
  }
  return getRoot(QUVEN_ENV).getTag(prepared, QUVEN_ENV);
}

QUVENXMLTag& QUVENXMLHandler::getTag(std::string_view path, const QUVENEnvHandle& env) {
  return const_cast<QUVENXMLTag&>(static_cast<const QUVENXMLHandler*>(this)->getTag(path, QUVEN_ENV));
}

void QUVENXMLHandler::dumpAndClear(const QUVENEnvHandle& env) {
  QUVENXMLTag& tree = getRoot(QUVEN_ENV);
  tree.print(std::cout, 0, QUVEN_ENV);
  tree.clear(QUVEN_ENV);
  tree.print(std::cout, 0, QUVEN_ENV);
}
