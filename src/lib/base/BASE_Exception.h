#ifndef BASE_EXCEPTION_H
#define BASE_EXCEPTION_H

#include <string>
#include <string_view>

/// Printer of an internal error of the graph and array libraries.
///
/// The code calls Throw and then leaves by exit(1); an object of these classes is never thrown.
/// All output goes to standard error.
class BASE_MlException {
 public:
  /// An empty line's break, the message under its heading, and the position.
  virtual void Throw(std::string_view message, std::string_view file, int line);
  /// The position at which an error was caught, and a text.
  virtual void Catch(std::string_view file, int line, std::string_view text);
  /// The same at the last place that catches.
  virtual void FinalCatch(std::string_view file, int line, std::string_view text);
  virtual ~BASE_MlException() = default;

  /// The first debug switch: errors of the user show positions, too. Off at start.
  static void setShowPositions(bool on);
  /// The second debug switch: the text of every position is left out. Off at start.
  static void setSuppressPositions(bool on);
  static bool isDebugging();
};

/// Printer of an error of the user: no positions unless a debug switch is on.
class BASE_MlExceptionUser : public BASE_MlException {
 public:
  void Throw(std::string_view message, std::string_view file, int line) override;
  void Catch(std::string_view file, int line, std::string_view text) override;
  void FinalCatch(std::string_view file, int line, std::string_view text) override;
};

/// A position as it is printed: the file in a column of 50 characters, " : ", the line in a column of 5.
/// A longer file name is cut to "..." and its last 47 characters, from the first "/" among them, if any.
/// Empty while positions are suppressed.
std::string BASE_FormatPosition(std::string_view file, int line);

/// Prints an internal error by BASE_MlException::Throw and ends the process with status 1.
[[noreturn]] void BASE_StopOnInternalError(std::string_view message, std::string_view file, int line);
/// The same for an error of the user, by BASE_MlExceptionUser.
[[noreturn]] void BASE_StopOnUserError(std::string_view message, std::string_view file, int line);

/// Prints "Exception arrived as expected.", for a self-test that provoked one.
void BASE_ReportExpectedException();

#endif  // BASE_EXCEPTION_H
