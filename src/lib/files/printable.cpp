#include "files/printable.h"

namespace vesk_files {

std::string printable(std::string_view text) {
  constexpr std::size_t mostBytes = 300;
  constexpr char digits[] = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    if (result.size() >= mostBytes) return result + "...";
    const auto code = static_cast<unsigned char>(c);
    if (code >= 32 && code != 127) {
      result += c;
    } else {
      result += "\\x";
      result += digits[code >> 4];
      result += digits[code & 15];
    }
  }
  return result;
}

}  // namespace vesk_files
