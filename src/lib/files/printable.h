#ifndef VESK_FILES_PRINTABLE_H
#define VESK_FILES_PRINTABLE_H

#include <algorithm>
#include <string>
#include <string_view>

namespace vesk_files {

/// A text for a message of one line: each control character is a question mark, and of a text of more than 200 bytes
/// only the first are kept.
inline std::string printable(std::string_view text) {
  constexpr std::size_t mostBytes = 200;
  std::string line(text.substr(0, mostBytes));
  std::replace_if(
      line.begin(), line.end(), [](char c) { return (c >= '\0' && c < ' ') || c == '\x7F'; }, '?');
  if (text.size() > mostBytes) line += "...";
  return line;
}

}  // namespace vesk_files

#endif  // VESK_FILES_PRINTABLE_H
