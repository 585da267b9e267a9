#ifndef QUVEN_XML_PARSER_H
#define QUVEN_XML_PARSER_H

// The state machine that reads the XML of parameter files into a tag tree, line by line.

#include <string>
#include <string_view>
#include <vector>

#include "control/quven_XML_tag.h"
#include "util/quven_env.h"
#include "util/quven_xaray.h"

/// Where the machine is. Messages print these names.
enum class QUVENXMLState : int {
  IN_ROOT_TAG = 0,             ///< before anything was read
  IN_TAG_CONTENT = 1,          ///< between tags
  START_START_TAG = 2,         ///< at the "<" of a start tag
  TAG_NAME_PARSED = 3,         ///< the name is read
  START_ATTRIBUTES = 4,        ///< expecting an attribute or the end of the tag
  ATTRIBUTE_NAME_PARSED = 5,   ///< after "="
  ATTRIBUTE_VALUE_PARSED = 6,  ///< after the closing quote
  ATTRIBUTES_PARSED = 7,       ///< at "/" or ">"
  START_TAG_PARSED = 8,        ///< at the ">" of a start tag
  START_VALUE = 9,             ///< at the first character of a value
  VALUE_PARSED = 10,           ///< the value is stored
  START_END_TAG = 11,          ///< at the "/" of an end tag
  END_TAG_PARSED = 12,         ///< the tag is closed
  NO_MORE_DATA = 13,           ///< never reached
  ERROR = 14,                  ///< final
};

/// The name of a state, "Unknown State" for a value that is none.
[[nodiscard]] const char* getStateName(QUVENXMLState state);

/// Whether the machine may go from one state to the other.
///
/// Errors: from NO_MORE_DATA the failure "Program control should never reach this point".
[[nodiscard]] bool isAllowedTransition(QUVENXMLState from, QUVENXMLState to, const QUVENEnvHandle& env);

/// Reads lines into the tree below a root tag.
///
/// The text is a small subset of XML: start tags, attributes in double quotes, leaf values, end tags, empty tags and
/// character entities. A tag may span lines, a value does not.
///
/// Errors:   what is wrong with the text is one line on standard output and the state ERROR, which is final. What was
///           read until then stays in the tree.
/// Lifetime: the root outlives the parser, and nobody else adds tags to it meanwhile.
/// Cost:     linear in the text, but for the search among the children of one tag.
class QUVENXMLParser {
 public:
  /// Starts before the text, with the root as the only open tag.
  QUVENXMLParser(QUVENXMLTag& rootTag, const QUVENEnvHandle& env);
  ~QUVENXMLParser();
  QUVENXMLParser(const QUVENXMLParser&) = delete;
  QUVENXMLParser& operator=(const QUVENXMLParser&) = delete;

  /// Goes on in the middle of a text: in a state, with these tags open below the root, the outermost first.
  ///
  /// Errors: a line with what was searched and found, and the failure "Search for non existent tag in tagStack", if the
  ///         names do not lead from child to child.
  void startAt(QUVENXMLState newState, const std::vector<std::string>& names, const QUVENEnvHandle& env);

  /// Reads one line, given without its line end and with blanks for control characters.
  void readLine(std::string_view line, const QUVENEnvHandle& env);

  /// Goes to a state. A transition that is not allowed is a line on standard output and the state ERROR.
  void enter(QUVENXMLState next, const QUVENEnvHandle& env);

  /// Ends the text: true if it was read without an error and every tag is closed. Otherwise the tags that are open are
  /// still on the stack, but for the last one if it has the name of the root.
  [[nodiscard]] bool finish(const QUVENEnvHandle& env);

  QUVENXMLState getState() const { return state; }

  /// The names of the open tags, the root's first.
  const QUVENXaRay<std::string, 0>& getTagStack() const { return tagStack; }

 private:
  QUVENXMLState step(const QUVENEnvHandle& env);
  QUVENXMLState readContent(const QUVENEnvHandle& env);
  QUVENXMLState readTagName(const QUVENEnvHandle& env);
  QUVENXMLState readAttributeName(const QUVENEnvHandle& env);
  QUVENXMLState readAttributeValue(const QUVENEnvHandle& env);
  QUVENXMLState endAttributes(const QUVENEnvHandle& env);
  QUVENXMLState endStartTag();
  QUVENXMLState readValue(const QUVENEnvHandle& env);
  QUVENXMLState readEndTag(const QUVENEnvHandle& env);

  bool restIsBlank();
  bool moveTo(std::string_view characters);
  bool moveBehind(char character);
  bool decodeToken();
  void push(std::string_view name, QUVENXMLTag& tag, const QUVENEnvHandle& env);
  void pop(const QUVENEnvHandle& env);

  QUVENXMLTag& root;
  QUVENEnv& environment;  // of the stack's memory
  QUVENXMLState state = QUVENXMLState::IN_ROOT_TAG;
  QUVENXaRay<std::string, 0> tagStack;
  std::vector<QUVENXMLTag*> openTags;  // the tags of the stack; they stay where they are while they are open, because
                                       // only the innermost gets children
  std::string_view line;               // the line at hand
  std::size_t position = 0;            // in the line; may lie behind its end
  std::string token;
};

#endif  // QUVEN_XML_PARSER_H
