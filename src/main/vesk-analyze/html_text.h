#ifndef VESK_ANALYZE_HTML_TEXT_H
#define VESK_ANALYZE_HTML_TEXT_H

// Texts and numbers of a page of HTML.

#include <string>
#include <string_view>

namespace vesk_analyze {

/// A text that a page can show: valid UTF-8 without control characters.
///
/// Tab, carriage return and line feed become blanks. Each other control character, byte that is not UTF-8, and
/// character that turns the direction of the text around it becomes U+FFFD.
std::string cleanText(std::string_view text);

/// A clean text of at most that many characters: of a longer one the first two thirds, "…" and the last third.
/// Requires: numCharacters >= 1.
std::string shortenedText(std::string_view clean, std::size_t numCharacters);

/// A text for the content of an element or for an attribute in double quotes: cleaned, with & < > " ' escaped.
std::string htmlText(std::string_view text);

/// A number for people: 5 significant digits, 6 from 10000 on; "none" for NaN and for the largest negative double,
/// which quality numbers have in place of a result; "infinite", "-infinite".
std::string shortNumber(double value);

/// The same for a number of records, which has all of its digits.
std::string countNumber(double value);

/// A share as a percentage, with the sign %.
std::string percentText(double share);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_HTML_TEXT_H
