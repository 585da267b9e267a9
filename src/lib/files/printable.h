#ifndef VESK_FILES_PRINTABLE_H
#define VESK_FILES_PRINTABLE_H

#include <string>
#include <string_view>

namespace vesk_files {

/// A name or a text from data for one line of a message: control characters become \xNN, bytes above 127 stay. Of a
/// text of more than 1000 bytes the first are kept, and "..." follows.
std::string printable(std::string_view text);

}  // namespace vesk_files

#endif  // VESK_FILES_PRINTABLE_H
