#ifndef VESK_TESTS_MARKUP_CHECK_H
#define VESK_TESTS_MARKUP_CHECK_H

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vesk_page {

/// Reads a page as XML: balanced tags, attributes in double quotes and once per tag, only the five predefined entities
/// and numeric ones, no control characters, each id once, one root element.
class MarkupCheck {
 public:
  explicit MarkupCheck(std::string_view text) : left(text) { run(); }

  /// Empty for a well-formed page.
  const std::string& getMistake() const { return mistake; }

  /// How many elements have the name.
  long count(std::string_view element) const { return std::count(elements.begin(), elements.end(), element); }

  /// The values of all attributes of the name, in the order of the page.
  std::vector<std::string> valuesOf(std::string_view attribute) const {
    std::vector<std::string> values;
    for (const auto& [name, value] : attributes) {
      if (name == attribute) values.push_back(value);
    }
    return values;
  }

 private:
  static bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
  }

  bool fail(const std::string& text) {
    if (mistake.empty()) mistake = text;
    return false;
  }

  bool take(std::string_view text) {
    if (!left.starts_with(text)) return false;
    left.remove_prefix(text.size());
    return true;
  }

  void skipBlanks() {
    while (!left.empty() && (left.front() == ' ' || left.front() == '\n')) left.remove_prefix(1);
  }

  std::string takeName() {
    const auto end = std::find_if_not(left.begin(), left.end(), isNameCharacter);
    const std::string name(left.begin(), end);
    left.remove_prefix(name.size());
    return name;
  }

  bool checkText(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      if (static_cast<unsigned char>(c) < ' ' && c != '\n') return fail("a control character");
      if (c == '<') return fail("< in a text");
      if (c != '&') continue;
      const std::string_view rest = text.substr(i);
      bool isKnown = false;
      for (const char* entity : {"&amp;", "&lt;", "&gt;", "&quot;", "&#39;"}) isKnown |= rest.starts_with(entity);
      if (!isKnown) return fail("an unknown entity");
    }
    return true;
  }

  bool takeAttributes() {
    std::set<std::string> names;
    while (true) {
      const bool hasBlank = left.starts_with(" ");
      skipBlanks();
      if (left.empty() || left.front() == '>' || left.front() == '/') return true;
      if (!hasBlank) return fail("no blank before an attribute");
      const std::string name = takeName();
      if (name.empty() || !take("=\"")) return fail("an attribute without quotes: " + name);
      const std::size_t end = left.find('"');
      if (end == std::string_view::npos) return fail("a quote that is not closed");
      if (!checkText(left.substr(0, end))) return false;
      if (!names.insert(name).second) return fail("an attribute twice: " + name);
      attributes.emplace_back(name, left.substr(0, end));
      if (name == "id" && !ids.insert(attributes.back().second).second) return fail("an id twice");
      left.remove_prefix(end + 1);
    }
  }

  bool takeTag() {
    if (take("</")) {
      const std::string name = takeName();
      if (open.empty() || open.back() != name) return fail("an end tag without its start: " + name);
      open.pop_back();
      return take(">") || fail("an end tag that is not closed");
    }
    left.remove_prefix(1);
    const std::string name = takeName();
    if (name.empty()) return fail("a tag without a name");
    if (open.empty() && !elements.empty()) return fail("two roots");
    elements.push_back(name);
    if (!takeAttributes()) return false;
    if (take("/>")) return true;
    open.push_back(name);
    return take(">") || fail("a tag that is not closed: " + name);
  }

  void run() {
    if (!take("<!DOCTYPE html>")) fail("no document type");
    while (mistake.empty() && !left.empty()) {
      if (left.front() == '<') {
        takeTag();
        continue;
      }
      const std::string_view text = left.substr(0, left.find('<'));
      checkText(text);
      if (open.empty() && text.find_first_not_of(" \n") != std::string_view::npos) fail("text outside of the root");
      left.remove_prefix(text.size());
    }
    if (!open.empty()) fail("no end of " + open.back());
    if (elements.empty()) fail("no element");
  }

  std::string_view left;
  std::string mistake;
  std::vector<std::string> open;
  std::vector<std::string> elements;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::set<std::string> ids;
};

}  // namespace vesk_page

#endif  // VESK_TESTS_MARKUP_CHECK_H
