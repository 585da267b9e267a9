#include "xml_text.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "control/quven_XML_handler.h"

namespace xml_text {
namespace {

void putTag(std::ostream& out, const QUVENXMLTag& tag);

void putChildren(std::ostream& out, const QUVENXMLTag& tag) {
  for (long i = 1; i <= tag.getChildren().getSize(); ++i) {
    if (i > 1) out << ' ';
    putTag(out, tag.getChildren()[i]);
  }
}

void putTag(std::ostream& out, const QUVENXMLTag& tag) {
  const auto& names = tag.getAttributeNames();
  const auto& values = tag.getAttributeValues();
  out << tag.getName();
  for (long i = 1; i <= names.getSize(); ++i) {
    out << (i == 1 ? '(' : ' ') << names[i];
    if (i <= values.getSize()) out << "=\"" << values[i] << '"';
    if (i == names.getSize()) out << ')';
  }
  if (!tag.getValue().empty()) out << '=' << tag.getValue();
  if (tag.isLeaf() && tag.getChildren().isEmpty()) return;
  out << '{';
  putChildren(out, tag);
  out << '}';
}

}  // namespace

std::string notation(const QUVENXMLTag& tag) {
  std::ostringstream out;
  putTag(out, tag);
  return out.str();
}

std::string childrenNotation(const QUVENXMLTag& tag) {
  std::ostringstream out;
  putChildren(out, tag);
  return out.str();
}

void PrintTo(const Parsed& parsed, std::ostream* out) {
  *out << "result " << parsed.result << "\nmessage [" << parsed.message << "]\ntree [" << parsed.tree << "]\ndump ["
       << parsed.dump << "]";
}

Parsed parse(const std::string& text) {
  const TemporaryFolder folder;
  const std::string name = folder.write("text.xml", text);
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  Parsed parsed;
  auto handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  parsed.message = printedBy([&] { parsed.result = handler->readXMLFile(name, QUVEN_ENV); });
  const QUVENXMLTag& root = handler->getTag("", QUVEN_ENV);
  parsed.tree = root.getValue().empty() ? childrenNotation(root) : notation(root);
  QUVEN_DELETE(handler);
  EXPECT_EQ(environment.getBytesInUse(), 0) << text;
  const std::size_t dumpStart = parsed.message.find("XML Parse error.");
  if (dumpStart != std::string::npos) {
    parsed.dump = parsed.message.substr(dumpStart);
    parsed.message.erase(dumpStart == 0 ? 0 : dumpStart - 1);
  }
  return parsed;
}

}  // namespace xml_text
