#ifndef VESK_PAGE_HTML_TEXT_H
#define VESK_PAGE_HTML_TEXT_H

// Texts and numbers for an HTML page.

#include <string>
#include <string_view>

namespace vesk_page {

/// A text that a page can show: valid UTF-8 without control characters.
///
/// Tab, carriage return and line feed become blanks. Each other control character, each byte that is not UTF-8, and
/// each character that changes the direction of the surrounding text becomes U+FFFD.
std::string cleanText(std::string_view text);

/// Shortens a clean text to numCharacters characters: the first two thirds, "…" and the last third. A text that is not
/// longer is returned unchanged.
/// Requires: numCharacters >= 1.
std::string shortenedText(std::string_view clean, std::size_t numCharacters);

/// A text for the content of an element or for an attribute in double quotes: cleaned, with & < > " ' escaped.
std::string htmlText(std::string_view text);

/// A number to read: 5 significant digits, 6 from 10000 on; "none" for NaN and for the lowest double, the value of a
/// quality number that cannot be computed; "infinite", "-infinite".
std::string shortNumber(double value);

/// The same for a number of records, with all of its digits.
std::string countNumber(double value);

/// A share as a percentage, with the sign %.
std::string percentText(double share);

}  // namespace vesk_page

#endif  // VESK_PAGE_HTML_TEXT_H
