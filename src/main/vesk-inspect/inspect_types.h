#ifndef VESK_INSPECT_INSPECT_TYPES_H
#define VESK_INSPECT_INSPECT_TYPES_H

#include <iosfwd>
#include <string>

namespace vesk_inspect {

/// Prints the types that a stream can name: index, name and base, and the members with the codes of their keywords.
/// With a name, only that type and its bases.
///
/// Errors: std::runtime_error for a name that is not registered.
void inspectTypes(const std::string& name, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_TYPES_H
