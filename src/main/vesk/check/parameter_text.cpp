#include "check/parameter_text.h"

#include <string_view>
#include <utility>

#include "kernel/quven_string_manip.h"

namespace vesk {

namespace {

constexpr std::size_t largestText = std::size_t{1} << 20;

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == ':' ||
         c == '_' || c == '-';
}

bool isForeign(char c) { return static_cast<signed char>(c) < ' '; }

/// Walks over the text as the loader's reader sees it: carriage returns are dropped, control characters and bytes that
/// are not ASCII are blanks. The line feed stays.
class Cursor {
 public:
  explicit Cursor(std::string_view wholeText) : text(wholeText) { passReturns(); }

  bool atEnd() const { return position == text.size(); }
  bool atLineEnd() const { return atEnd() || text[position] == '\n'; }
  /// The current character; '\n' at the end of the text.
  char peek() const {
    if (atLineEnd()) return '\n';
    return isForeign(text[position]) ? ' ' : text[position];
  }
  bool isOnForeign() const { return !atLineEnd() && text[position] != '\t' && isForeign(text[position]); }
  TextPlace getPlace() const { return {line, column}; }

  void advance() {
    const bool endsLine = text[position] == '\n';
    ++position;
    if (endsLine) {
      ++line;
      column = 1;
    } else if (position == text.size() || !isContinuation(text[position])) {
      ++column;
    }
    passReturns();
  }

  void passBlanks() {
    while (!atLineEnd() && peek() == ' ') advance();
  }
  void passSpace() {
    while (!atEnd() && (peek() == ' ' || peek() == '\n')) advance();
  }
  bool startsWith(std::string_view start) const { return text.substr(position).starts_with(start); }

 private:
  static bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }
  void passReturns() {
    while (position < text.size() && text[position] == '\r') ++position;
  }

  std::string_view text;
  std::size_t position = 0;
  std::size_t line = 1;
  std::size_t column = 1;
};

[[noreturn]] void fail(TextPlace place, std::string text) { throw TextMistake{place, std::move(text)}; }

class TextReader {
 public:
  TextReader(const std::string& text, ParameterTree& readTree) : cursor(text), tree(readTree) {
    tree.tags.emplace_back();
  }

  void readAll() {
    for (cursor.passSpace(); !cursor.atEnd(); cursor.passSpace()) {
      if (cursor.peek() == '<') {
        readTag();
      } else {
        readValue();
      }
    }
    if (open != 0) fail(current().place, "the tag <" + current().name + "> is not closed");
    if (tree.tags.size() == 1) fail({1, 1}, "the text holds no tag");
  }

 private:
  ParameterTag& current() { return tree.tags[open]; }
  std::string ofLine(const ParameterTag& tag) const {
    return "<" + tag.name + "> of line " + std::to_string(tag.place.line);
  }

  void readTag() {
    refuseMarkup();
    const TextPlace place = cursor.getPlace();
    cursor.advance();
    const TextPlace behind = cursor.getPlace();
    cursor.passBlanks();
    if (cursor.peek() == '/') {
      cursor.advance();
      cursor.passBlanks();
      readEndTag(place);
      return;
    }
    const bool isBlank = cursor.getPlace().column != behind.column;
    if (isBlank || !isNameCharacter(cursor.peek())) fail(place, "a tag's name is expected after <");
    readStartTag(place);
  }

  void refuseMarkup() const {
    const TextPlace place = cursor.getPlace();
    if (cursor.startsWith("<!--")) fail(place, "a comment; the loader reads none");
    if (cursor.startsWith("<?")) fail(place, "a prolog or processing instruction; the loader reads none");
    if (cursor.startsWith("<!")) fail(place, "a declaration; the loader reads none");
  }

  std::string readName() {
    std::string name;
    for (; isNameCharacter(cursor.peek()); cursor.advance()) name += cursor.peek();
    return name;
  }

  void readStartTag(TextPlace place) {
    const std::string name = readName();
    if (open == 0 && tree.tags.size() > 1) fail(place, "a second top tag, <" + name + ">; the loader does not read it");
    if (!current().text.empty()) {
      fail(place, "the tag <" + name + "> comes after a text; is the end of " + ofLine(current()) + " missing?");
    }
    if (const std::size_t other = tree.find(open, name); other != ParameterTree::None) {
      fail(place, "a second tag <" + name + "> in the same tag; the first is in line " +
                      std::to_string(tree.tags[other].place.line));
    }
    ParameterTag tag;
    tag.name = name;
    tag.place = place;
    tag.parent = open;
    current().children.push_back(tree.tags.size());
    tree.index[{open, name}] = tree.tags.size();
    open = tree.tags.size();
    tree.tags.push_back(std::move(tag));
    endStartTag(place);
    current().textPlace = cursor.getPlace();
    if (isEmptyTag) open = current().parent;
  }

  void endStartTag(TextPlace place) {
    const std::string name = current().name;
    cursor.passSpace();
    isEmptyTag = cursor.peek() == '/';
    if (isEmptyTag) {
      cursor.advance();
      cursor.passBlanks();
    }
    if (cursor.peek() == '>') {
      cursor.advance();
      return;
    }
    if (isEmptyTag || cursor.atEnd() || cursor.peek() == '<') fail(place, "the tag <" + name + " has no >");
    if (isNameCharacter(cursor.peek())) {
      fail(cursor.getPlace(), "an attribute in the tag <" + name + ">; the loader reads none");
    }
    fail(cursor.getPlace(), "a character that does not belong into the tag <" + name + ">");
  }

  void readEndTag(TextPlace place) {
    const std::string name = readName();
    cursor.passBlanks();
    if (name.empty() || cursor.peek() != '>') fail(place, "an end tag without its name or >");
    if (open == 0) fail(place, "</" + name + "> ends no tag");
    if (name != current().name) fail(place, "</" + name + "> where the end of " + ofLine(current()) + " is expected");
    cursor.advance();
    open = current().parent;
  }

  void readValue() {
    const TextPlace place = cursor.getPlace();
    if (open == 0) fail(place, "a text outside of the tags");
    ParameterTag& tag = current();
    if (!tag.children.empty()) fail(place, "a text between the tags of " + ofLine(tag));
    if (hasText == open) fail(place, "a second line of text in " + ofLine(tag) + "; is its end missing?");
    std::string value;
    for (; !cursor.atLineEnd() && cursor.peek() != '<'; cursor.advance()) {
      tag.hasForeignText = tag.hasForeignText || cursor.isOnForeign();
      value += cursor.peek();
    }
    if (!decode_entities(value))
      fail(place, "an entity in [" + std::string(trim(value)) + "] that the loader cannot read");
    tag.text = trim(value);
    tag.textPlace = place;
    if (tag.text.empty()) fail(place, "a text of blanks in " + ofLine(tag));
    hasText = open;
  }

  Cursor cursor;
  ParameterTree& tree;
  std::size_t open = 0;  // the innermost open tag
  std::size_t hasText = ParameterTree::None;
  bool isEmptyTag = false;
};

bool isWide(std::string_view text) {
  return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF") || text.substr(0, 4).find('\0') != text.npos;
}

}  // namespace

std::size_t ParameterTree::find(std::size_t parent, const std::string& name) const {
  const auto place = index.find({parent, name});
  return place == index.end() ? None : place->second;
}

ParameterText readParameterText(const std::string& text) {
  ParameterText result;
  try {
    if (text.size() > largestText) fail({}, "larger than 1 MiB; this is no parameter file");
    if (isWide(text)) fail({1, 1}, "the text is UTF-16 or binary; save it as plain ASCII or UTF-8");
    TextReader(text, result.tree).readAll();
  } catch (const TextMistake& mistake) {
    result.mistake = mistake;
  }
  return result;
}

}  // namespace vesk
