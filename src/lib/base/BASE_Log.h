#ifndef BASE_LOG_H
#define BASE_LOG_H

#include <fstream>
#include <ostream>
#include <string>

/// The log file of the process: one text file, opened once.
///
/// Errors: what goes wrong here is printed by BASE_MlException or BASE_MlExceptionUser and ends the process with
///         status 1.
class Log {
 public:
  /// Opens the file for output.
  /// Errors: "Log file already open"; "Log file: '", the name, "' could not be opened".
  static void Open(const std::string& fileName);

  /// The open stream.
  /// Errors: "called Log::GetStream when stream is not opened".
  static std::ostream& GetStream();

 private:
  Log() = default;
  static Log& instance();

  std::ofstream stream;
};

#endif  // BASE_LOG_H
