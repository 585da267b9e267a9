#ifndef QUVEN_STRING_MANIP_H
#define QUVEN_STRING_MANIP_H

// The text helpers of the library: the token scanner that the XML parser and the path walk share,
// trimming, lists of numbers, and the character entities of XML. A blank is a blank or a tab, and nothing else.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "util/quven_env.h"
#include "util/quven_xaray.h"

/// What scan_token does with blanks.
enum ScanMode : int {
  ScanDroppingBlanks = 0,  ///< they vanish wherever they stand
  ScanPlain = 1,           ///< they are characters like any other
  ScanWord = 2,            ///< they end the token; while the token passed in is empty they vanish instead
};

/// What scan_token is asked for, and so when its result is true.
enum ScanWant : int {
  WantNothing = 0,  ///< true if the token is empty
  WantToken = 1,    ///< true if the token is not empty
};

/// Reads a token from the line, starting at the position, up to a character of the stop set or to the end of the line.
/// The stop character is not consumed. The token is replaced by what was read, trimmed, whatever the result; the
/// position moves only with a result of true.
///
/// Requires: token is not part of line. A position behind the end of the line reads nothing.
/// Errors:   a mode or a want that is not listed above is the failure "Function/Feature not yet implemented".
/// Cost:     linear in the characters passed.
[[nodiscard]] bool scan_token(std::string_view line, std::size_t& position, int mode, std::string& token,
                              std::string_view stopSet, int want, const QUVENEnvHandle& env);

/// The text without the blanks at its ends.
///
/// Lifetime: a view into the text.
[[nodiscard]] std::string_view trim(std::string_view text);

/// The numbers of a text, which stand between commas or blanks.
///
/// Shapes: the array gets one element more than there are commas, whatever the text holds.
/// Errors: from the first word on that is no number, the elements are 0; an integer that does not fit becomes the
///         nearest that does, and is the last.
void read_number_list(std::string_view text, QUVENXaRay<std::int32_t>& numbers, const QUVENEnvHandle& env);
void read_number_list(std::string_view text, QUVENXaRay<double>& numbers, const QUVENEnvHandle& env);

/// The text with the five characters that mean something to XML (quotes, apostrophe, ampersand, angle brackets)
/// replaced by their named entities; every other character stays.
[[nodiscard]] std::string escape_entities(std::string_view text);

/// Replaces the entities in the token by their characters: the five named ones, decimal and hexadecimal codes.
///
/// The codes follow rules of their own, which parameter files rely on and which are kept on purpose: the first digit
/// must be below 8 (so &#65; is a character and &#97; is not, but &#097; is), a digit may equal the base, and the
/// code must be below 128.
///
/// Errors: the result is false, and the token as it was, for an ampersand without a semicolon behind it, an unknown
///         entity, and a code without digits or against the rules.
[[nodiscard]] bool decode_entities(std::string& token);

#endif  // QUVEN_STRING_MANIP_H
