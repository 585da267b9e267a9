#ifndef VESK_GENERATE_GENERATE_OPTIONS_H
#define VESK_GENERATE_GENERATE_OPTIONS_H

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <variant>

#include "generator_settings.h"
#include "loader_params.h"
#include "table_generator.h"

namespace vesk_generate {

/// What the command line asks for.
struct GenerateOptions {
  GeneratorSettings generator;
  std::string output;  ///< where the records go; empty: none are written
  std::uint32_t files = 1;
  bool isCsv = false;                          ///< the records as CSV in place of fixed columns
  double csvBadShare = 0.01;                   ///< share of the rows of CSV that have a mistake
  std::string groupsFile;                      ///< empty: none
  std::string outcomesFile;                    ///< outcomes of the callers; empty: not written
  std::optional<LoaderParamsSettings> params;  ///< to standard output
  std::optional<TableSettings> table;          ///< a table instead of records, to output
  std::string curveFile;                       ///< of the table; empty: none
  bool quiet = false;
};

/// The options, or the exit status when the program has nothing more to do: 0 after --help and --version, 1 after a
/// mistake, which then stands on `err`.
std::variant<GenerateOptions, int> parseGenerateOptions(int argc, const char* const* argv, std::ostream& out,
                                                        std::ostream& err);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_GENERATE_OPTIONS_H
