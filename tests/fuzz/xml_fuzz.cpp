// Reads any bytes as an XML file, and checks what holds for every text: the shape of the tree, that bytes without a
// meaning have none, that the environment gets every byte back, and that a tree which was written reads back.

#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

#include "control/quven_XML_handler.h"
#include "fuzz_support.h"
#include "kernel/quven_string_manip.h"

namespace {

bool isPrintable(std::string_view text) {
  for (const char byte : text) {
    if (static_cast<signed char>(byte) < 32) return false;
  }
  return true;
}

/// Texts that the written form keeps: no line ends, and for names no blanks and none of the characters that end them.
bool isKept(std::string_view name, std::string_view ends) {
  return isPrintable(name) && name.find_first_of(" \t") == std::string_view::npos &&
         name.find_first_of(ends) == std::string_view::npos;
}

void checkNames(const std::set<std::string>& names, long count) { REQUIRE(static_cast<long>(names.size()) == count); }

/// Checks one tag of a tree that was read without an error. True if the written form keeps it.
bool checkTag(const QUVENXMLTag& tag) {
  const auto& names = tag.getAttributeNames();
  const auto& values = tag.getAttributeValues();
  REQUIRE(tag.isLeaf() == tag.getChildren().isEmpty());
  REQUIRE(tag.isLeaf() || tag.getValue().empty());
  REQUIRE(trim(tag.getName()) == tag.getName() && !tag.getName().empty());
  REQUIRE(trim(tag.getValue()) == tag.getValue());
  REQUIRE(names.getSize() == values.getSize());
  bool kept = isKept(tag.getName(), "/") && isPrintable(tag.getValue());
  std::set<std::string> seen;
  for (long i = 1; i <= names.getSize(); ++i) {
    REQUIRE(trim(names[i]) == names[i] && !names[i].empty());
    REQUIRE(trim(values[i]) == values[i]);
    kept = kept && isKept(names[i], "=") && names[i].front() != '/' && isPrintable(values[i]) && !values[i].empty();
    seen.insert(names[i]);
  }
  checkNames(seen, names.getSize());
  seen.clear();
  for (const QUVENXMLTag& child : tag.getChildren()) seen.insert(child.getName());
  checkNames(seen, tag.getChildren().getSize());
  return kept;
}

/// Checks all tags below the root. A fuzz input is too short for a tree that a recursive walk could not take.
bool checkTree(const QUVENXMLTag& tag) {
  bool kept = true;
  for (const QUVENXMLTag& child : tag.getChildren()) {
    kept = checkTag(child) && kept;
    kept = checkTree(child) && kept;
  }
  return kept;
}

struct Outcome {
  int result;
  std::string listing;
  std::string written;
  bool kept;  // whether the written form keeps the whole tree
};

Outcome read(const std::string& text, QUVENEnv* env) {
  auto handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  std::istringstream stream(text);
  Outcome outcome;
  outcome.result = handler->readXMLStream(stream, QUVEN_ENV);
  const QUVENXMLTag& root = handler->getTag("", QUVEN_ENV);
  std::ostringstream listing;
  root.print(listing, 0, QUVEN_ENV);
  outcome.listing = listing.str();
  std::ostringstream written;
  root.write(written, -1, QUVEN_ENV);
  outcome.written = written.str();
  outcome.kept = outcome.result == 1 && checkTree(root) && root.getValue().empty();
  QUVEN_DELETE(handler);
  return outcome;
}

/// The text without the bytes that mean nothing, and with blanks for those that mean no more than a blank.
std::string meaningOf(std::string_view text) {
  std::string meaning;
  for (const char byte : text) {
    if (byte == '\r') continue;
    meaning += static_cast<signed char>(byte) < 32 && byte != '\n' ? '\t' : byte;
  }
  return meaning;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;

  const Outcome outcome = read(text, env);
  REQUIRE(environment.getBytesInUse() == 0);

  const Outcome plain = read(meaningOf(text), env);
  REQUIRE(plain.result == outcome.result && plain.listing == outcome.listing);

  if (outcome.kept) {
    const Outcome again = read(outcome.written, env);
    REQUIRE(again.result == 1);
    // A branch stays a branch and a leaf a leaf, so the listings differ in nothing. Only the root of a tree without
    // children is a leaf in both.
    REQUIRE(again.listing == outcome.listing);
    REQUIRE(again.written == outcome.written);
  }

  std::string token = text;
  if (decode_entities(token)) {
    std::string twice = escape_entities(token);
    REQUIRE(decode_entities(twice) && twice == token);
  } else {
    REQUIRE(token == text);
  }
  return 0;
}
