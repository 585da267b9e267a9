#ifndef XML_TEXT_H
#define XML_TEXT_H

// The small language of the XML tests: parse("text") gives the result, what was printed, and the tree in one line.

#include <gtest/gtest.h>

#include <iosfwd>
#include <string>

#include "control/quven_XML_tag.h"
#include "support/temporary_folder.h"

namespace xml_text {

/// A tag in one line: a leaf is its name and, behind "=", its value; a branch has its children in braces; attributes
/// stand in parentheses, one without a value as a name only. A(b="1"){C=2 D}
std::string notation(const QUVENXMLTag& tag);
std::string childrenNotation(const QUVENXMLTag& tag);

/// What action prints on standard output.
template <class Action>
std::string printedBy(Action action) {
  ::testing::internal::CaptureStdout();
  try {
    action();
  } catch (...) {
    ::testing::internal::GetCapturedStdout();
    throw;
  }
  return ::testing::internal::GetCapturedStdout();
}

/// What action prints before it ends by the library exception.
template <class Action>
std::string fatalReportOf(Action action) {
  return printedBy([&] { EXPECT_THROW(action(), int); });
}

struct Parsed {
  int result = -1;
  std::string message;  ///< what was printed before the line "XML Parse error.", without the last line break
  std::string dump;     ///< that line and all behind it
  std::string tree;     ///< the children of the root; the root itself only when it has a value

  bool operator==(const Parsed&) const = default;
};

void PrintTo(const Parsed& parsed, std::ostream* out);

/// Reads the text as a file, and checks that the environment gets back every byte.
Parsed parse(const std::string& text);

}  // namespace xml_text

#endif  // XML_TEXT_H
