#ifndef LOADER_DRIVER_H
#define LOADER_DRIVER_H

// One run of the loader from its command line to its exit status.

#include <string>
#include <vector>

#include "loader_settings.h"

namespace vesk_loader {

/// The version that the program reports first.
inline constexpr const char* loaderVersion = "2.0.6";

/// Runs the loader. Arguments as main gets them, the program's own name first. Returns 0 after a complete run; ends the
/// process with status 1 after wrong arguments and with status 99, without clean-ups, after any other error.
int run_loader(int argc, const char* const* argv);

/// Reads the command line.
/// Errors: 1102 (ends the process), 1101, 1103.
CommandLine read_arguments(const std::vector<std::string>& arguments);

/// Cuts a path at its last separator.
/// Errors: 1101 if there is none, or if it stands first or last.
void parse_file_name(const std::string& path, std::string& directory, std::string& fileName);

/// Takes the input that a mode word stands before.
/// Errors: 1101; 1001 for a word that is no mode word.
void read_input(const std::string& mode, const std::string& input, CommandLine& line);

/// The settings as one text for the log.
std::string settings_text(const LoaderSettings& settings, const CommandLine& line);

/// Tests the settings against each other.
/// Errors: 1105, 1106.
void check_settings(const LoaderSettings& settings);

}  // namespace vesk_loader

#endif  // LOADER_DRIVER_H
