#include "util/quven_debug.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "base/BASE_Termination.h"
#include "util/quven_env.h"
#include "util/quven_output.h"
#include "xrt/xrt_trace.h"

constinit QUVENDebugWords quvenDebugWords;

namespace {

/// A number as text without an allocation: reports are printed when memory has run out, too.
class NumberText {
 public:
  template <class Integer>
  explicit NumberText(Integer value, int base = 10)
      : length(static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, value, base).ptr - digits)) {}
  operator std::string_view() const { return {digits, length}; }

 private:
  char digits[24];
  std::size_t length;
};

const char* orUnknown(const char* text) { return text != nullptr ? text : "???"; }

/// The pieces of a trace line behind its place.
using TraceText = std::array<std::string_view, 5>;

/// Writes a line on a place to the trace, from level 2 on, with the place here in front if the trace shows positions.
void traceLine(const char* function, int line, const char* file, const TraceText& text) {
  XRTTrace& trace = XRTTrace::instance();
  if (quvenDebugWords.quiet != 0 || trace.getLevel() < XRTTRC_BASIC) return;
  if (trace.isComponentEnabled(xrt_component::util) == 0) return;
  const NumberText here(__LINE__);
  const auto ifShown = [shown = trace.getSourceLines() != 0](std::string_view piece) {
    return shown ? piece : std::string_view();
  };
  trace.message(xrt_component::util,
                {ifShown(quvenFileName(__FILE__)), ifShown(":"), ifShown(here), ifShown(": "), quvenFileName(file), ":",
                 NumberText(line), ":", orUnknown(function), ":", text[0], text[1], text[2], text[3], text[4]},
                XRTTRC_BASIC);
}

[[noreturn]] void throwLibraryException(const char* function, int line, const char* file) {
  std::fflush(stdout);
  quvenNoteException(function, line, file);
  BASE_RaiseTermination();
}

void endGuardReport() {
  std::fflush(stdout);
  if (quvenDebugWords.expected == 0 && quvenDebugWords.simulated == 0) quvenDebugWords.error = 1;
}

}  // namespace

const char* quvenFileName(const char* path) {
  const char* name = orUnknown(path);
  for (const char* at = name; *at != '\0'; ++at) {
    if (*at == '/' || *at == '\\') name = at + 1;
  }
  return name;
}

const char* quvenReportHeading() {
  if (quvenDebugWords.simulated != 0) return "\n    Simulated Error";
  if (quvenDebugWords.expected != 0) return "\n    Expected Error";
  return "\n*** ERROR";
}

void quvenReportPieces(std::span<const std::string_view> pieces) {
  if (quvenDebugWords.quiet == 0) quvenWriteOutput(pieces);
}

void quvenReportPieces(std::initializer_list<std::string_view> pieces) {
  quvenReportPieces(std::span(pieces.begin(), pieces.size()));
}

void quvenReportPlace(const char* function, int line, const char* file, std::string_view text) {
  quvenReportPieces({quvenReportHeading(), " in function ", orUnknown(function), " at line ", NumberText(line),
                     " in file ", quvenFileName(file), "\n    ", text, "\n"});
}

void quvenReportPlace(const QUVENEnvHandle& env, std::string_view text) {
  quvenReportPlace(env.getFunction(), env.getLine(), env.getFile(), text);
}

void quvenFatalReport(const char* function, int line, const char* file, std::string_view text) {
  quvenReportPlace(function, line, file, text);
  throwLibraryException(function, line, file);
}

void quvenFatalReport(std::string_view text, const QUVENEnvHandle& env) {
  quvenFatalReport(env.getFunction(), env.getLine(), env.getFile(), text);
}

void quvenAssertionFailed(const char* condition, const char* cause, const char* function, int line, const char* file) {
  const bool hasCause = cause != nullptr;
  traceLine(
      function, line, file,
      {"ASSERTION FAILED (", orUnknown(condition), ")", hasCause ? " PROBABLE CAUSE: " : "", hasCause ? cause : ""});
  quvenReportPieces({quvenReportHeading(), " in function ", orUnknown(function), " at line ", NumberText(line),
                     " in file ", quvenFileName(file), "\n    ", "ASSERTION FAILED (", orUnknown(condition), ")",
                     hasCause ? "\n    PROBABLE CAUSE: " : "", hasCause ? cause : "", "\n"});
  if (quvenDebugWords.simulated == 0) quvenDebugWords.error = 1;
  throwLibraryException(function, line, file);
}

void quvenOrdinaryAssertionFailed(const char* condition, const char* cause, const char* function, int line,
                                  const char* file) {
  quvenDebugWords.simulated = 0;
  quvenAssertionFailed(condition, cause, function, line, file);
}

void quvenSimulateFailure(const char* condition, const char* cause, const QUVENEnvHandle& env) {
  struct Simulation {
    Simulation() { quvenDebugWords.simulated = 1; }
    ~Simulation() { quvenDebugWords.simulated = 0; }
  } simulation;
  quvenAssertionFailed(condition, cause, env.getFunction(), env.getLine(), env.getFile());
}

void quvenGuardReport(std::string_view text) noexcept {
  quvenReportPieces({quvenReportHeading(), text});
  endGuardReport();
}

void quvenGuardReport(std::string_view text, std::string_view intro, const char* function, int line,
                      const char* file) noexcept {
  quvenReportPieces({quvenReportHeading(), text, intro, orUnknown(function), " at line ", NumberText(line), " in file ",
                     quvenFileName(file), "\n"});
  endGuardReport();
}

void quvenThrowLibraryException(const QUVENEnvHandle& env) {
  throwLibraryException(env.getFunction(), env.getLine(), env.getFile());
}

void quvenNoteException(const char* function, int line, const char* file) {
  quvenDebugWords.exceptionThrown = 1;
  traceLine(function, line, file, {"C++ Exception thrown."});
}

void quvenNotImplemented(const QUVENEnvHandle& env) { quvenFatalReport("Function/Feature not yet implemented", env); }

void quvenUnreachable(const QUVENEnvHandle& env) {
  quvenFatalReport("Program control should never reach this point", env);
}

void quvenPrintCallChain(const QUVENEnvHandle& env) {
  for (const QUVENEnvHandle* place = &env; place != nullptr && place->getLine() >= 1; place = place->getCaller()) {
    quvenReportPieces({"\n    ", "Function ", orUnknown(place->getFunction()), ", Line ", NumberText(place->getLine()),
                       ", File ", quvenFileName(place->getFile())});
  }
}

void quvenMemoryTrace(const void* address, std::span<const std::size_t> sizes) {
  static constinit std::uint64_t sequence = 0;
  quvenReportPieces({"\n#mem# addr ", "0x", NumberText(reinterpret_cast<std::uintptr_t>(address), 16), " seq ",
                     NumberText(++sequence)});
  for (const std::size_t size : sizes) quvenReportPieces({" * ", NumberText(size)});
}
