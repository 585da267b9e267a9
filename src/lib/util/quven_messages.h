#ifndef QUVEN_MESSAGES_H
#define QUVEN_MESSAGES_H

#include <array>
#include <concepts>
#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>

// The numbered catalogue of the older diagnostics.

inline constexpr int firstMessage = 9001;
inline constexpr int lastMessage = 9137;
inline constexpr std::size_t numMessages = lastMessage - firstMessage + 1;
inline constexpr std::size_t maxMessageArgs = 6;

/// One message: the pieces of text that stand before, between and behind its arguments.
struct QUVENMessageRow {
  int code;
  std::array<std::string_view, maxMessageArgs> pieces;  ///< filled from the front

  std::size_t getNumPieces() const;
};

/// The rows in the order of their codes: row k belongs to firstMessage + k.
extern const std::array<QUVENMessageRow, numMessages> quvenMessageTable;

/// An argument of a message: a text or a number.
class QUVENMessageArg {
 public:
  QUVENMessageArg(std::string_view value) : text(value) {}
  QUVENMessageArg(const std::string& value) : text(value) {}
  QUVENMessageArg(const char* value) : text(value) {}
  template <std::integral Integer>
  QUVENMessageArg(Integer value) : text(std::to_string(value)) {}
  QUVENMessageArg(double value);

  const std::string& str() const { return text; }

 private:
  std::string text;
};

/// Writes a message: its pieces and the arguments in turn, each argument behind its piece.
///
/// A message ends in an argument when there are as many arguments as pieces, and in its last piece when there is one
/// argument less.
/// Errors: a code outside the table, or any other number of arguments, is an assertion failure.
void quvenPrintMessage(std::ostream& out, int code, std::initializer_list<QUVENMessageArg> args = {});

/// The severity of a report for a severity of the catalogue: 0 stays 0, 1 becomes 2, 2 becomes 3.
/// Errors: any other severity is an assertion failure.
int quvenConvertSeverity(int severity);

/// Writes a message as a report: converts the severity first, and returns it for the caller to act on.
int quvenReportMessage(std::ostream& out, int severity, int code, std::initializer_list<QUVENMessageArg> args = {});

#endif  // QUVEN_MESSAGES_H
