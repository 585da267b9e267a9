#ifndef VESK_PRINTABLE_H
#define VESK_PRINTABLE_H

#include <string>
#include <string_view>

namespace vesk {

/// A name or a text from data for one line of a message: control characters become \xNN. Bytes above 127 stay.
std::string printable(std::string_view text);

}  // namespace vesk

#endif  // VESK_PRINTABLE_H
