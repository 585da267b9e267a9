#ifndef VESK_CHECK_TAG_VALUES_H
#define VESK_CHECK_TAG_VALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/parameter_check.h"
#include "check/parameter_text.h"

namespace vesk {

/// The tags of a parameter file and what is found in them.
class TagValues {
 public:
  static constexpr std::size_t None = ParameterTree::None;

  TagValues(const ParameterTree& readTree, std::string fileName) : tree(readTree), name(std::move(fileName)) {}

  const ParameterTag& operator[](std::size_t tag) const { return tree.tags[tag]; }
  std::size_t find(std::size_t parent, const std::string& tagName) const { return tree.find(parent, tagName); }
  /// The names from below LoaderParams on, with "/" between them.
  std::string pathOf(std::size_t tag) const;

  /// A finding about a tag, at its name or at its text.
  void error(std::size_t tag, const std::string& text) { add(true, tree.tags[tag].place, pathOf(tag) + ": " + text); }
  void remark(std::size_t tag, const std::string& text) { add(false, tree.tags[tag].place, pathOf(tag) + ": " + text); }
  void errorInText(std::size_t tag, const std::string& text) {
    add(true, tree.tags[tag].textPlace, pathOf(tag) + ": " + text);
  }
  void errorOfFile(const std::string& text) { add(true, {}, text); }
  void remarkOfFile(const std::string& text) { add(false, {}, text); }
  void errorAt(TextPlace place, const std::string& text) { add(true, place, text); }

  /// The whole number of a tag. A text that is none, or is below `smallest` or above `largest`, is an error.
  /// @return what the loader takes
  std::int32_t integer(std::size_t tag, std::int32_t smallest, std::int32_t largest);

  /// The same for what the file counts from 1: 0-based.
  std::int32_t index(std::size_t tag, std::int32_t largest);

  /// The same for the number of a field; one that is not there is an error.
  std::int32_t fieldIndex(std::size_t tag, std::size_t fieldCount);

  /// The decimal number of a tag, which must be finite.
  double real(std::size_t tag);

  /// Reports a text that is not ASCII; the loader would use another one.
  void refuseForeignText(std::size_t tag);

  std::size_t countFindings() const { return findings.size(); }
  std::vector<ParameterFinding> takeFindings();

 private:
  void add(bool isError, TextPlace place, const std::string& text);

  const ParameterTree& tree;
  std::string name;
  std::vector<ParameterFinding> findings;
};

/// FILE:LINE:COLUMN, or FILE for the whole file.
std::string placed(const std::string& name, TextPlace place);

/// A text in brackets for messages, cut when it is long.
std::string inBrackets(std::string_view text);

}  // namespace vesk

#endif  // VESK_CHECK_TAG_VALUES_H
