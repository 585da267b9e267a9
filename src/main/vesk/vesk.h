#ifndef VESK_VESK_H
#define VESK_VESK_H

#include <iosfwd>

namespace vesk {

/// The whole program. The result is the exit status, see Status in command.h.
///
/// Errors: every failure is one line on `err`.
int runVesk(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace vesk

#endif  // VESK_VESK_H
