#ifndef VESK_INSPECT_INSPECT_H
#define VESK_INSPECT_INSPECT_H

#include <iosfwd>

namespace vesk_inspect {

/// The whole program: parses, prints what is in the file. The result is the exit status: 0 when the file is sound, 1
/// when it is not, and 1 with one line on `err` when it cannot be read or the command line is wrong.
int runInspect(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_H
