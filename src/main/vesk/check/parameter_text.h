#ifndef VESK_CHECK_PARAMETER_TEXT_H
#define VESK_CHECK_PARAMETER_TEXT_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vesk {

/// A place in a text. Lines and columns count from 1; a column is a character of UTF-8. 0: the whole text.
struct TextPlace {
  std::size_t line = 0;
  std::size_t column = 0;
};

/// A tag of a parameter file. It has a text, or tags below it, or neither.
struct ParameterTag {
  std::string name;
  std::string text;             ///< trimmed, entities decoded, blanks for what is not ASCII: as the loader takes it
  bool hasForeignText = false;  ///< the text holds characters that the loader replaces by blanks
  TextPlace place;              ///< of its "<"
  TextPlace textPlace;          ///< of the text, or of the place where one is expected
  std::size_t parent = 0;
  std::vector<std::size_t> children;  ///< indices into ParameterTree::tags, in the order of the text
};

/// The tags of a parameter file. Tag 0 is the document; its only child is the top tag.
struct ParameterTree {
  static constexpr std::size_t None = static_cast<std::size_t>(-1);

  std::vector<ParameterTag> tags;
  std::map<std::pair<std::size_t, std::string>, std::size_t> index;  ///< by parent and name

  /// The index of the child of that name, or None.
  std::size_t find(std::size_t parent, const std::string& name) const;
};

/// What ends the reading of a text.
struct TextMistake {
  TextPlace place;
  std::string text;
};

struct ParameterText {
  ParameterTree tree;                  ///< what was read up to the mistake
  std::optional<TextMistake> mistake;  ///< none: the tree is that of the whole text
};

/// Reads the XML of a parameter file, with places.
///
/// It takes less than the loader's own reader: no attributes, one top tag, names of letters, digits and ".:_-", end
/// tags on one line. A text that it takes has the same tree there. Cost: n log n in the text, whatever its nesting.
ParameterText readParameterText(const std::string& text);

}  // namespace vesk

#endif  // VESK_CHECK_PARAMETER_TEXT_H
