#ifndef QUVEN_DOUBT_H
#define QUVEN_DOUBT_H

#include <string_view>

#include "util/quven_env.h"

/// Prints a Warning line which means that the result is not what the user asked for. In a strict environment this ends
/// the run.
///
/// Errors: if the environment is strict, the terminating report 4608 with the code of the warning.
void report_doubt(int code, std::string_view parameter, std::string_view text, const QUVENEnvHandle& env);

/// Ends the run in a strict environment, where a Warning line of this code has been printed.
///
/// Errors: as report_doubt.
void end_strict_run(int code, const QUVENEnvHandle& env);

#endif  // QUVEN_DOUBT_H
