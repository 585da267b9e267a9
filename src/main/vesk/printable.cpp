#include "printable.h"

namespace vesk {

std::string printable(std::string_view text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
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

}  // namespace vesk
