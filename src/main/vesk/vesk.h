#ifndef VESK_VESK_H
#define VESK_VESK_H

#include <iosfwd>

namespace vesk {

/// The whole program. The result is the exit status: 0, 1 when the command line is wrong, 99 when the command failed.
///
/// Errors: every failure is one line on `err`.
int runVesk(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace vesk

#endif  // VESK_VESK_H
