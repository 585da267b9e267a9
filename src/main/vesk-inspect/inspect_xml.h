#ifndef VESK_INSPECT_INSPECT_XML_H
#define VESK_INSPECT_INSPECT_XML_H

#include <iosfwd>
#include <string>

namespace vesk_inspect {

/// Reads an XML file of the system, such as a parameter file, and prints it as the system writes one: 0. Of a file that
/// does not parse, what the parser printed on standard output is all that is shown: 1.
///
/// Errors: std::runtime_error with the name of the file when it cannot be opened or is a directory. What fails later
///         is reported by the parser, and ends in the library exception.
[[nodiscard]] int inspectXml(const std::string& path, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_XML_H
