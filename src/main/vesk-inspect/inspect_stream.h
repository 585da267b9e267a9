#ifndef VESK_INSPECT_INSPECT_STREAM_H
#define VESK_INSPECT_INSPECT_STREAM_H

#include <cstddef>
#include <iosfwd>
#include <string>

namespace vesk_inspect {

struct StreamOptions {
  std::string path;
  std::size_t elements = 20;  ///< shown of an array of numbers; 0 shows all
};

/// Prints the objects and the marks of an object stream as indented text.
///
/// Returns whether the stream is whole. Of one that is not, the reader's report stands on standard output, and behind
/// the objects a line with the byte at which the reading stopped. Errors: std::runtime_error for a file that cannot be
/// opened or read.
bool inspectStream(const StreamOptions& options, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_STREAM_H
