#ifndef QUVEN_DEBUG_H
#define QUVEN_DEBUG_H

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>

class QUVENEnvHandle;

/// The global words of the debug layer. Each is 0 or 1.
struct QUVENDebugWords {
  int error = 0;            ///< a guard or an assertion failed, other than a simulated one
  int simulated = 0;        ///< the next failure is deliberate
  int expected = 0;         ///< reports carry the "expected" heading, and guards leave the error word alone
  int quiet = 0;            ///< no output of this layer
  int memoryFailed = 0;     ///< an XRTMemoryException is on its way or was
  int exceptionThrown = 0;  ///< some exception was thrown
};
extern constinit QUVENDebugWords quvenDebugWords;

/// The name of a file without its directory path.
const char* quvenFileName(const char* path);

/// The heading of a report, chosen by the global words; it begins with a line break and ends without one.
const char* quvenReportHeading();

/// Prints pieces on standard output as one text; nothing when the quiet flag is set. Allocates nothing.
void quvenReportPieces(std::span<const std::string_view> pieces);
void quvenReportPieces(std::initializer_list<std::string_view> pieces);

/// Report of a place: the heading, then " in function F at line L in file X", and the text on a line of its own.
void quvenReportPlace(const char* function, int line, const char* file, std::string_view text);
void quvenReportPlace(const QUVENEnvHandle& env, std::string_view text);

/// Report of a place and a line with the text; then the library exception.
[[noreturn]] void quvenFatalReport(const char* function, int line, const char* file, std::string_view text);
[[noreturn]] void quvenFatalReport(std::string_view text, const QUVENEnvHandle& env);

/// Reports a failed assertion, sets the error word unless the failure is simulated, and throws the library exception.
/// A condition of null prints as "???"; a cause of null prints nothing.
[[noreturn]] void quvenAssertionFailed(const char* condition, const char* cause, const char* function, int line,
                                       const char* file);

/// The same from an ordinary assertion, which is never simulated: it clears the simulated flag first.
[[noreturn]] void quvenOrdinaryAssertionFailed(const char* condition, const char* cause, const char* function, int line,
                                               const char* file);

/// The test hook: a deliberate failure, under the simulated heading and without an effect on the error word.
[[noreturn]] void quvenSimulateFailure(const char* condition, const char* cause, const QUVENEnvHandle& env);

/// Report of a guard, such as a destructor that finds what should be gone: the heading, the text, and the error word
/// unless the failure is expected or simulated. It throws nothing: a guard runs in destructors.
void quvenGuardReport(std::string_view text) noexcept;

/// The same with a place behind the text: "<intro>F at line L in file X".
void quvenGuardReport(std::string_view text, std::string_view intro, const char* function, int line,
                      const char* file) noexcept;

/// The library exception after a report that does not throw.
[[noreturn]] void quvenThrowLibraryException(const QUVENEnvHandle& env);

/// Notes that an exception is thrown at a place: the exception-thrown flag and a trace line at level 2.
void quvenNoteException(const char* function, int line, const char* file);

/// The fatal report "Function/Feature not yet implemented".
[[noreturn]] void quvenNotImplemented(const QUVENEnvHandle& env);

/// The fatal report "Program control should never reach this point".
[[noreturn]] void quvenUnreachable(const QUVENEnvHandle& env);

/// Prints the places of a chain of calls, innermost first; it ends at a place with a line below 1.
void quvenPrintCallChain(const QUVENEnvHandle& env);

/// The memory tracer line: address, running number and the factors of the size in bytes.
void quvenMemoryTrace(const void* address, std::span<const std::size_t> sizes);

/// Asserts a condition that holds unless the program itself is wrong.
#define QUVEN_ASSERT(condition)                        \
  (static_cast<bool>(condition) ? static_cast<void>(0) \
                                : quvenOrdinaryAssertionFailed(#condition, nullptr, __func__, __LINE__, __FILE__))

/// The same with the text of the probable cause.
#define QUVEN_ASSERT_CAUSE(condition, cause)           \
  (static_cast<bool>(condition) ? static_cast<void>(0) \
                                : quvenOrdinaryAssertionFailed(#condition, cause, __func__, __LINE__, __FILE__))

#endif  // QUVEN_DEBUG_H
