#ifndef QUVEN_SEED_FILE_H
#define QUVEN_SEED_FILE_H

// The seed subscribers of a diffusion analysis.

#include <cstdint>
#include <string>

#include "util/quven_env.h"
#include "util/quven_xaray.h"

/// Finds the name of the seed file in the text of a parameter file: between the first "<Seed>" of a line and the
/// "</Seed>" behind it, with entities decoded and blanks around it dropped. False, with a line on standard output,
/// without one.
[[nodiscard]] bool FindSeedFileNameInParamFile(const std::string& parameterFileName, std::string& seedFileName);

/// Reads the seeds, one number per line, in the order of the file, and returns the number of lines.
///
/// A line of up to 10 characters is an unsigned number with its base by its prefix, a longer one is decimal. A UTF-8
/// byte order mark before the first line is passed over.
/// Warnings: 5003 with the number of a line that is no number, or 0, and is skipped; 5010 for a number that is not read
///           as a decimal, or is skipped for a digit 8 or 9 behind a leading zero. Each comes at most 20 times; then
///           5011 has the count of the others. 5009 if there is no seed.
/// Errors:   the terminating report 2307 when the file cannot be read; in a strict environment that of the warnings
///           5009 and, if the number has another value as a decimal, 5010; also 5003 for lines that are no number,
///           except empty ones and a first line without a digit.
long quvenReadSeeds(const std::string& seedFileName, QUVENXaRay<std::uint64_t>& seeds, const QUVENEnvHandle& env);

/// The same with the file that the text of a parameter file names. Errors: 2307 too when it names none.
long quvenReadSeedFile(const std::string& parameterFileName, QUVENXaRay<std::uint64_t>& seeds,
                       const QUVENEnvHandle& env);

#endif  // QUVEN_SEED_FILE_H
