#ifndef QUVEN_REPORTS_H
#define QUVEN_REPORTS_H

#include <sstream>
#include <string>
#include <string_view>

#include "util/quven_bool.h"
#include "util/quven_env.h"

// The report lines of the library, on standard output, in the form that the wrapper of the programs reads:
// Log, Warning or Error, the level or code, the text and the end mark, separated by ";|". A text is never escaped. What
// standard output does with the line is ignored. Nothing is allocated, but for the warning list once a warning is
// printed.

/// Prints an Error line and flushes; to terminate, prints "Terminating VESK" and the fatal report
/// "QUVEN Terminating" at report_error, line 44, quven_reports, and throws the library exception.
void report_error(int code, std::string_view text, const QUVENEnvHandle& env, bool terminate);
void report_error(int code, const std::ostringstream& text, const QUVENEnvHandle& env, bool terminate);
/// The same with a parameter in front of the text.
void report_error(int code, std::string_view parameter, std::string_view text, const QUVENEnvHandle& env,
                  bool terminate);

/// Prints an Error line and flushes, where no environment is at hand; with the exit flag set calls exit(1).
void report_error(int code, std::string_view text, bool exitFlag);
void report_error(int code, std::string_view parameter, std::string_view text, bool exitFlag);
/// A parameter and a text without the flag: the text must not pass for a flag that is set.
template <class Character>
void report_error(int code, std::string_view parameter, const Character* text) = delete;

/// Prints a Warning line and adds it to the warning list of the process.
void report_warning(int code, std::string_view text);
void report_warning(int code, std::string_view parameter, std::string_view text);

/// Prints a Log line.
void report_log(int level, std::string_view text);
void report_log(int level, const std::ostringstream& text);

/// Whether the text of a parameter's value reads as its type, "int" or "double".
///
/// An integer has the forms of C with the base by its prefix; an empty value is no integer, but passes as a double.
/// Errors: an illegal value prints a line and gives false. Any other type with a value is the error 2400, and ends the
///         process with status 1; without a value it counts as "double".
[[nodiscard]] bool TestInputStringType(const std::string& value, std::string_view typeName);

#endif  // QUVEN_REPORTS_H
