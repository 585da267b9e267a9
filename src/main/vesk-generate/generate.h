#ifndef VESK_GENERATE_GENERATE_H
#define VESK_GENERATE_GENERATE_H

#include <iosfwd>

namespace vesk_generate {

/// The whole program: parses, writes what is asked for, reports. The result is the exit status, 0 or 1.
///
/// Errors: every failure is one line on `err` and the status 1; no file is left that is cut.
int runGenerate(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_GENERATE_H
