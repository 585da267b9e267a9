#include "control/quven_XML_parser.h"

#include <initializer_list>
#include <iostream>
#include <utility>

#include "kernel/quven_string_manip.h"
#include "util/quven_debug.h"

using State = QUVENXMLState;

namespace {

constexpr std::string_view Blanks = " \t";
constexpr const char* StackBroken = "Search for non existent tag in tagStack";

void printLine(std::initializer_list<std::string_view> pieces) {
  for (const std::string_view piece : pieces) std::cout << piece;
  std::cout << '\n';
}

/// Prints what is wrong with the text.
State fail(std::initializer_list<std::string_view> pieces) {
  printLine(pieces);
  return State::ERROR;
}

struct Transition {
  State from;
  State to;
};

constexpr Transition AllowedTransitions[] = {
    {State::IN_ROOT_TAG, State::IN_TAG_CONTENT},
    {State::START_TAG_PARSED, State::IN_TAG_CONTENT},
    {State::VALUE_PARSED, State::IN_TAG_CONTENT},
    {State::START_END_TAG, State::IN_TAG_CONTENT},
    {State::END_TAG_PARSED, State::IN_TAG_CONTENT},
    {State::IN_TAG_CONTENT, State::START_START_TAG},
    {State::IN_TAG_CONTENT, State::START_VALUE},
    {State::IN_TAG_CONTENT, State::START_END_TAG},
    {State::START_START_TAG, State::TAG_NAME_PARSED},
    {State::TAG_NAME_PARSED, State::START_ATTRIBUTES},
    {State::TAG_NAME_PARSED, State::END_TAG_PARSED},
    {State::START_ATTRIBUTES, State::ATTRIBUTES_PARSED},
    {State::START_ATTRIBUTES, State::ATTRIBUTE_NAME_PARSED},
    {State::ATTRIBUTE_NAME_PARSED, State::ATTRIBUTE_VALUE_PARSED},
    {State::ATTRIBUTE_VALUE_PARSED, State::START_ATTRIBUTES},
    {State::ATTRIBUTES_PARSED, State::START_TAG_PARSED},
    {State::ATTRIBUTES_PARSED, State::END_TAG_PARSED},
    {State::START_VALUE, State::VALUE_PARSED},
};

}  // namespace

const char* getStateName(QUVENXMLState state) {
  switch (state) {
    case State::IN_ROOT_TAG:
      return "IN_ROOT_TAG";
    case State::IN_TAG_CONTENT:
      return "IN_TAG_CONTENT";
    case State::START_START_TAG:
      return "START_START_TAG";
    case State::TAG_NAME_PARSED:
      return "TAG_NAME_PARSED";
    case State::START_ATTRIBUTES:
      return "START_ATTRIBUTES";
    case State::ATTRIBUTE_NAME_PARSED:
      return "ATTRIBUTE_NAME_PARSED";
    case State::ATTRIBUTE_VALUE_PARSED:
      return "ATTRIBUTE_VALUE_PARSED";
    case State::ATTRIBUTES_PARSED:
      return "ATTRIBUTES_PARSED";
    case State::START_TAG_PARSED:
      return "START_TAG_PARSED";
    case State::START_VALUE:
      return "START_VALUE";
    case State::VALUE_PARSED:
      return "VALUE_PARSED";
    case State::START_END_TAG:
      return "START_END_TAG";
    case State::END_TAG_PARSED:
      return "END_TAG_PARSED";
    case State::NO_MORE_DATA:
      return "NO_MORE_DATA";
    case State::ERROR:
      return "ERROR";
  }
  return "Unknown State";
}

bool isAllowedTransition(QUVENXMLState from, QUVENXMLState to, const QUVENEnvHandle& env) {
  if (from == State::NO_MORE_DATA) quvenUnreachable(QUVEN_ENV);
  for (const Transition& allowed : AllowedTransitions) {
    if (allowed.from == from && allowed.to == to) return true;
  }
  return false;
}

QUVENXMLParser::QUVENXMLParser(QUVENXMLTag& rootTag, const QUVENEnvHandle& env)
    : root(rootTag), environment(env.resolve()) {
  push(root.getName(), root, QUVEN_ENV);
}

QUVENXMLParser::~QUVENXMLParser() {
  QUVENEnv& env = environment;
  tagStack.deleteMemory(QUVEN_ENV);
}

void QUVENXMLParser::push(std::string_view name, QUVENXMLTag& tag, const QUVENEnvHandle& env) {
  // The charged array last: a constructor that fails behind it would have to give it back.
  openTags.push_back(&tag);
  tagStack.append(std::string(name), QUVEN_ENV);
}

void QUVENXMLParser::pop(const QUVENEnvHandle& env) {
  tagStack.setSize(tagStack.getSize() - 1, QUVEN_ENV);
  openTags.pop_back();
}

void QUVENXMLParser::startAt(QUVENXMLState newState, const std::vector<std::string>& names, const QUVENEnvHandle& env) {
  while (!openTags.empty()) pop(QUVEN_ENV);
  push(root.getName(), root, QUVEN_ENV);
  std::string path = root.getName();
  for (const std::string& name : names) {
    QUVENXMLTag& parent = *openTags.back();
    path.append("/").append(name);
    if (!parent.hasChild(name, QUVEN_ENV)) {
      const long level = tagStack.getSize();  // that of the root is 0
      printLine({"Searched: tagStack[", std::to_string(level + 1), "] = [", name, "] at level ", std::to_string(level),
                 " of [", path, "]. Found [", parent.getName(), "]"});
      quvenFatalReport(StackBroken, QUVEN_ENV);
    }
    push(name, parent.getChild(name, QUVEN_ENV), QUVEN_ENV);
  }
  state = newState;
}

bool QUVENXMLParser::finish(const QUVENEnvHandle& env) {
  if (state == State::ERROR || openTags.empty()) return false;
  if (tagStack[tagStack.getSize()] != root.getName()) return false;
  pop(QUVEN_ENV);
  return openTags.empty();
}

void QUVENXMLParser::readLine(std::string_view text, const QUVENEnvHandle& env) {
  line = text;
  position = 0;
  token.clear();
  while (state != State::ERROR && !restIsBlank()) {
    enter(step(QUVEN_ENV), QUVEN_ENV);
  }
}

void QUVENXMLParser::enter(QUVENXMLState next, const QUVENEnvHandle& env) {
  const State last = std::exchange(state, next);
  if (next == State::ERROR || isAllowedTransition(last, next, QUVEN_ENV)) return;
  state = fail({"Failed on transition from [", getStateName(last), "] to [", getStateName(next), "]"});
}

QUVENXMLState QUVENXMLParser::step(const QUVENEnvHandle& env) {
  switch (state) {
    case State::IN_ROOT_TAG:
    case State::VALUE_PARSED:
    case State::END_TAG_PARSED:
      return State::IN_TAG_CONTENT;
    case State::IN_TAG_CONTENT:
      return readContent(QUVEN_ENV);
    case State::START_START_TAG:
      return readTagName(QUVEN_ENV);
    case State::TAG_NAME_PARSED:
    case State::ATTRIBUTE_VALUE_PARSED:
      return State::START_ATTRIBUTES;
    case State::START_ATTRIBUTES:
      return moveTo("/>") ? State::ATTRIBUTES_PARSED : readAttributeName(QUVEN_ENV);
    case State::ATTRIBUTE_NAME_PARSED:
      return readAttributeValue(QUVEN_ENV);
    case State::ATTRIBUTES_PARSED:
      return endAttributes(QUVEN_ENV);
    case State::START_TAG_PARSED:
      return moveBehind('>') ? State::IN_TAG_CONTENT : fail({"Syntax error in start tag"});
    case State::START_VALUE:
      return readValue(QUVEN_ENV);
    case State::START_END_TAG:
      return readEndTag(QUVEN_ENV);
    case State::NO_MORE_DATA:
    case State::ERROR:
      break;
  }
  quvenUnreachable(QUVEN_ENV);
}

/// The test at the head of every step. It also fills the token with the rest of the line, of which one character is
/// enough: the machine asks no more than whether the token is empty.
bool QUVENXMLParser::restIsBlank() {
  const std::size_t first = line.find_first_not_of(Blanks, position);
  if (first == std::string_view::npos) return true;
  token = line[first];
  return false;
}

/// Moves to the next character that is not blank if it is one of these, and nowhere otherwise.
bool QUVENXMLParser::moveTo(std::string_view characters) {
  const std::size_t next = line.find_first_not_of(Blanks, position);
  if (next == std::string_view::npos || characters.find(line[next]) == std::string_view::npos) return false;
  position = next;
  return true;
}

bool QUVENXMLParser::moveBehind(char character) {
  if (!moveTo({&character, 1})) return false;
  ++position;
  return true;
}

/// Replaces the entities in the token. The result is trimmed, as all that the tree stores is, so that a name on the
/// stack is the name in the tree.
bool QUVENXMLParser::decodeToken() {
  if (!decode_entities(token)) {
    printLine({"Could not preprocess [", token, "]"});
    return false;
  }
  token = std::string(trim(token));
  return true;
}

QUVENXMLState QUVENXMLParser::readContent(const QUVENEnvHandle&) {
  if (!moveTo("<")) return State::START_VALUE;
  const std::size_t opening = position++;
  if (moveTo("/")) return State::START_END_TAG;
  position = opening;
  return State::START_START_TAG;
}

QUVENXMLState QUVENXMLParser::readTagName(const QUVENEnvHandle& env) {
  ++position;  // the "<"
  // The token is not empty here, so a blank right behind the "<" ends the name before it begins: "< a>" is an error.
  if (!scan_token(line, position, ScanWord, token, "/>", WantToken, QUVEN_ENV)) {
    return fail({"Could not locate end of tag"});
  }
  if (!decodeToken()) return State::ERROR;
  if (token.empty()) return fail({"Could not locate end of tag"});
  if (openTags.empty()) return fail({StackBroken});  // the text closed the root itself

  QUVENXMLTag& parent = *openTags.back();
  if (!parent.getValue().empty()) {
    return fail({"Cannot associate more than one value to [", parent.getName(), "]. Current value is [",
                 parent.getValue(), "]"});
  }
  parent.becomeBranch();
  if (parent.hasChild(token, QUVEN_ENV)) return fail({"Duplicate child tag [", token, "]"});
  push(token, parent.addLeafTag(token, QUVEN_ENV), QUVEN_ENV);
  return State::TAG_NAME_PARSED;
}

QUVENXMLState QUVENXMLParser::readAttributeName(const QUVENEnvHandle& env) {
  if (!scan_token(line, position, ScanDroppingBlanks, token, "=", WantToken, QUVEN_ENV)) {
    return fail({"Attributes chain ended unexpectedly"});
  }
  ++position;  // the "=", or nothing at the end of the line: then the value opens the next line
  if (!decodeToken()) return State::ERROR;
  if (token.empty()) return fail({"Attributes chain ended unexpectedly"});
  QUVENXMLTag& tag = *openTags.back();
  if (tag.hasAttribute(token, QUVEN_ENV)) return fail({"Duplicate attribute [", token, "]"});
  tag.addAttributeName(token, QUVEN_ENV);
  return State::ATTRIBUTE_NAME_PARSED;
}

QUVENXMLState QUVENXMLParser::readAttributeValue(const QUVENEnvHandle& env) {
  if (!moveBehind('"')) {
    return fail({"Attribute value not preceded by \", ", "or attribute name not followed by value at the same line"});
  }
  if (!scan_token(line, position, ScanPlain, token, "\"", WantToken, QUVEN_ENV)) {
    return fail({"Attribute value not followed by \""});
  }
  if (!decodeToken()) return State::ERROR;
  openTags.back()->addAttributeValue(token, QUVEN_ENV);
  ++position;  // the quote; a value that runs into the end of the line is complete without it
  return State::ATTRIBUTE_VALUE_PARSED;
}

QUVENXMLState QUVENXMLParser::endAttributes(const QUVENEnvHandle& env) {
  if (moveBehind('/')) {
    if (!moveBehind('>')) return fail({"Syntax error in empty tag"});
    pop(QUVEN_ENV);
    return State::END_TAG_PARSED;
  }
  return moveTo(">") ? State::START_TAG_PARSED : fail({"Syntax error in start tag"});
}

QUVENXMLState QUVENXMLParser::readValue(const QUVENEnvHandle& env) {
  if (!scan_token(line, position, ScanPlain, token, "<", WantToken, QUVEN_ENV)) {
    return fail({"Syntax error reading value"});
  }
  if (!decodeToken()) return State::ERROR;
  if (openTags.empty()) return fail({StackBroken});
  QUVENXMLTag& tag = *openTags.back();
  if (!tag.isLeaf() || !tag.getValue().empty()) {
    return fail(
        {"Attempting to create a value for a non-leaf, ", "or attempting to create more than one value for a leaf"});
  }
  tag.setValue(token, QUVEN_ENV);
  return State::VALUE_PARSED;
}

QUVENXMLState QUVENXMLParser::readEndTag(const QUVENEnvHandle& env) {
  if (!scan_token(line, position, ScanDroppingBlanks, token, "/", WantNothing, QUVEN_ENV)) {
    return fail({"Expected end tag, got [", token, "]"});
  }
  ++position;  // the "/"
  // The token is empty now, so blanks vanish from the name: "</a >" is the end of <a>.
  if (!scan_token(line, position, ScanWord, token, ">", WantToken, QUVEN_ENV)) {
    return fail({"Syntax error in end tag"});
  }
  if (!decodeToken()) return State::ERROR;
  const std::string_view top = openTags.empty() ? std::string_view() : tagStack[tagStack.getSize()];
  if (openTags.empty() || top != token) {
    return fail({"Closing tag [", token, "] does not match opening tag [", top, "]"});
  }
  pop(QUVEN_ENV);
  return moveBehind('>') ? State::IN_TAG_CONTENT : fail({"Syntax error in end tag"});
}
