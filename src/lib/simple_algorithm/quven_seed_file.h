#ifndef QUVEN_SEED_FILE_H
#define QUVEN_SEED_FILE_H

// The seed subscribers of a diffusion analysis.

#include <cstdint>
#include <string>
#include <vector>

#include "util/quven_env.h"

/// How a seed file is read.
struct QUVENSeedForm {
  bool hasWeights = false;   ///< a second number of a line, or a cell of weightColumn, is the energy of the seed
  std::string column;        ///< CSV with a header: the heading of the seeds; empty: one seed per line
  std::string weightColumn;  ///< CSV: the heading of the energies; empty: each seed has 1
};

struct QUVENSeed {
  std::uint64_t number;
  double energy;  ///< at the start; finite, above 0
};

/// Finds the name of the seed file in the text of a parameter file: between the first "<Seed>" of a line and the
/// "</Seed>" behind it, with entities decoded and blanks around it dropped. False, with a line on standard output,
/// without one.
[[nodiscard]] bool FindSeedFileNameInParamFile(const std::string& parameterFileName, std::string& seedFileName);

/// Reads the seeds, one number per line, in the order of the file, and returns the number of lines.
///
/// A line of up to 10 characters is an unsigned number with its base by its prefix, a longer one is decimal. A UTF-8
/// byte order mark before the first line is passed over. With weights a number after the seed is its energy; blanks,
/// and one comma or semicolon, are between them. Without a second number a seed has 1. CSV: the delimiter is the one of
/// comma, semicolon and tab that the header has most of, comma if it has none. A seed is a decimal number from 1 up; an
/// empty cell of a weight is 1. Warnings: 5003 with the number of a line that is no number, or 0, or has a weight that
/// is not finite or not above 0,
///           and is skipped; 5010 for a number that is not read
///           as a decimal, or is skipped for a digit 8 or 9 behind a leading zero. Each comes at most 20 times; then
///           5011 has the count of the others. 5009 if there is no seed.
/// Errors:   the terminating report 2307 when the file cannot be read, and for CSV without such a column or with a bad
///           row, after a line with the file, the line and the column; in a strict environment that of the warnings
///           5009 and, if the number has another value as a decimal, 5010; also 5003 for lines that are no number,
///           except empty ones and a first line without a digit.
long quvenReadSeeds(const std::string& seedFileName, const QUVENSeedForm& form, std::vector<QUVENSeed>& seeds,
                    const QUVENEnvHandle& env);

/// The same with the file that the text of a parameter file names. Errors: 2307 too when it names none.
long quvenReadSeedFile(const std::string& parameterFileName, const QUVENSeedForm& form, std::vector<QUVENSeed>& seeds,
                       const QUVENEnvHandle& env);

#endif  // QUVEN_SEED_FILE_H
