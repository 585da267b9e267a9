#ifndef VESK_INSPECT_INSPECT_XML_H
#define VESK_INSPECT_INSPECT_XML_H

#include <iosfwd>
#include <string>

namespace vesk_inspect {

struct XmlOptions {
  std::string path;
  std::string streamPath = {};  ///< where to save the tree as an object stream; empty for nowhere
};

/// Reads an XML file of the system, such as a parameter file, and prints it as the system writes one: 0. Of a file that
/// does not parse, what the parser printed on standard output is all that is shown: 1.
///
/// Errors: std::runtime_error with the name of the file when it cannot be opened or is a directory, and when the stream
///         cannot be written. What fails later is reported by the parser or the stream, and ends in the library
///         exception.
[[nodiscard]] int inspectXml(const XmlOptions& options, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_XML_H
