#ifndef LOADER_SETTINGS_H
#define LOADER_SETTINGS_H

// The settings of one loader run: what the parameter file says and what the command line says.

#include <cstdint>
#include <string>
#include <vector>

#include "special_list.h"

namespace vesk_loader {

enum class OutputFormat : std::int32_t { Binary = 0, XML = 1, CSV = 2 };

enum class SpecialListFilter : std::int32_t { None = 0, Exclude = 1, Restrict = 2 };

/// Filled by read_input_file_format. Field indices are 0-based; -1 means that the tag is absent.
struct LoaderSettings {
  std::vector<std::string> fieldNames;
  std::vector<std::string> fieldTypes;    ///< printed in the settings, no other effect
  std::vector<std::int32_t> fieldStarts;  ///< 0-based first column
  std::vector<std::int32_t> fieldEnds;    ///< 0-based last column, inclusive

  std::int32_t cyclicTableSize = 0;  ///< 0: not a table run
  bool sortCyclicTable = true;
  bool distinctCyclicTable = false;  ///< a callee is in a row once, at the place of its latest call
  SpecialList specialList;
  SpecialListFilter specialListFilter = SpecialListFilter::None;

  // Parallel lists, in the order of the operations; CyclicAddPayload enters payloadInputs only.
  std::vector<std::string> operationNames;
  std::vector<std::int32_t> operationInputs;
  std::vector<std::int32_t> operationOutputs;
  std::vector<std::string> operationConditions;
  std::vector<double> operationThresholds;
  std::vector<std::int32_t> payloadInputs;

  std::int32_t sparse = 0;  ///< 1 for Sparse, 0 for the other forms and without an Output tag
  OutputFormat outputFormat = OutputFormat::Binary;
  std::string tagPrefix;
  std::string outputNamespace;

  std::int32_t keyField = -1;
  std::int32_t dateField = -1;
  std::int32_t dateHorizon = -1;  ///< days
  std::int32_t multiplicityField = -1;
  std::int32_t numberOfPartitions = 1;  ///< 1 to 100
  std::int32_t pairSumFlag = 0;
};

/// What the command line says.
struct CommandLine {
  std::string inputDirectory;
  std::string singleFile;  ///< name of the only file to read; empty without "datafile"
  bool singleInput = false;
  std::string parameterFile;
  std::string processFile;
  std::string outputFile;
  bool processFileInUse = true;
  std::int32_t dateFormat = 0;  ///< 0 not considered, 1 yyyyddmm, 2 yyyymmdd
  double startDate = 0.0;       ///< yyyyddmm
};

/// The verbosity of the process: 1 until the command line changes it.
std::int32_t verbosity();
void setVerbosity(std::int32_t level);

}  // namespace vesk_loader

#endif  // LOADER_SETTINGS_H
