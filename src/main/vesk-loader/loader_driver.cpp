#include "loader_driver.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "input_file_reader.h"
#include "loader_common.h"
#include "loader_dates.h"
#include "loader_tables.h"
#include "operations.h"
#include "output_files.h"
#include "process_file.h"
#include "record_scan.h"

namespace vesk_loader {

namespace {

constexpr int errorStatus = 99;
constexpr char pathSeparator = '/';

constexpr const char* usage =
    "Usage: binary ['datadir' | 'datafile' | ''] [inputdir | inputfile] inputfileformat processfilename outputfilename "
    "inputfiledateformat (0/1/2 where 1=yyyyddmm 2=yyyymmdd 0=date not considered) "
    "[startdate(yyyyddmm)] "
    "[-v 0/1/2 (verbosity level)]";

// The name of a partition's file.
std::string partition_name(const std::string& name, std::int32_t partition, std::int32_t partitions) {
  return partitions == 1 ? name : name + "." + std::to_string(partition);
}

LoaderTables load_tables(const LoaderSettings& settings, const CommandLine& line, const std::string& processFile) {
  LoaderTables tables;
  if (line.processFileInUse) {
    if (read_process_file(processFile, settings, tables) != 0) return tables;
    print_line("Process file does not present, so creating a new one...");
  }
  return LoaderTables::create(settings);
}

double drop_before_cutoff(const LoaderSettings& settings, const CommandLine& line, LoaderTables& tables) {
  if (settings.dateHorizon == -1 || settings.dateField == -1 || line.dateFormat == 0) return 0.0;
  const double cutoffDate = compute_cutoff_date(line.startDate, static_cast<std::uint32_t>(settings.dateHorizon));
  print_line(format_text("Everything before %lld will be dropped ", static_cast<long long>(cutoffDate)));
  if (drop_old_entries(tables, cutoffDate, static_cast<std::uint32_t>(line.dateFormat)) == 0) {
    report_error(1301, "Failure when dropping old entries ");
  }
  return cutoffDate;
}

void run_partition(const LoaderSettings& settings, const CommandLine& line, std::int32_t partition) {
  const std::int32_t partitions = settings.numberOfPartitions;
  if (partitions > 1) print_line(format_text("--- VESK loader: Starting partition %d", partition));
  print_line(line.processFile);
  const std::string processFile = partition_name(line.processFile, partition, partitions);
  const std::string outputFile = partition_name(line.outputFile, partition, partitions);
  print_line("current output file full name = " + outputFile);

  LoaderTables tables = load_tables(settings, line, processFile);
  ScanScope scope;
  scope.cutoffDate = drop_before_cutoff(settings, line, tables);
  scope.dateFormat = line.dateFormat;
  scope.partition = static_cast<std::uint32_t>(partition);
  scope.partitions = static_cast<std::uint32_t>(partitions);
  if (update_process_file(line.inputDirectory, line.singleFile, tables, settings, scope) == 0) {
    report_error(1302, "Error updating process file ");
  }
  if (line.processFileInUse && write_process_file(processFile, tables) == 0) {
    report_error(1303, "Error writing process file ");
  }
  if (write_pml_file(outputFile, tables, settings) == 0) report_error(1304, "Error writing pml file ");
}

void run_all(const std::vector<std::string>& arguments) {
  const CommandLine line = read_arguments(arguments);
  LoaderSettings settings;
  if (read_input_file_format(line.parameterFile, settings) == 0) {
    report_error(1150, "Error while reading input format file");
  }
  if (settings.outputFormat != OutputFormat::Binary) {
    report_warning("only BINARY format is supported by GA and DA, use other formats for debug only!");
  }
  const std::string text = settings_text(settings, line);
  if (settings.keyField == -1) report_error(1104, "Key field not specified");
  report_log(2, text);
  check_settings(settings);
  for (std::int32_t partition = 0; partition < settings.numberOfPartitions; ++partition) {
    run_partition(settings, line, partition);
  }
  print_scan_statistics(scan_statistics());
  report_log(0, "VESK loader completed succesfully.");
}

const char* format_name(OutputFormat format) {
  switch (format) {
    case OutputFormat::Binary:
      return "Binary";
    case OutputFormat::XML:
      return "XML";
    case OutputFormat::CSV:
      return "CSV";
  }
  return "Unknown";
}

}  // namespace

void parse_file_name(const std::string& path, std::string& directory, std::string& fileName) {
  const std::size_t separator = path.rfind(pathSeparator);
  if (separator == std::string::npos || separator == 0 || separator + 1 == path.size()) {
    report_error(1101, "parse_file_name: a valid full path name should be given in case of a single file input\n");
  }
  directory = path.substr(0, separator);
  fileName = path.substr(separator + 1);
}

void read_input(const std::string& mode, const std::string& input, CommandLine& line) {
  if (mode == "datadir") {
    line.inputDirectory = input;
    print_line("using input directory " + line.inputDirectory);
  } else if (mode == "datafile") {
    parse_file_name(input, line.inputDirectory, line.singleFile);
    line.singleInput = true;
    print_line("using single cdr file input " + line.inputDirectory + pathSeparator + line.singleFile);
  } else {
    report_error(1001, "vesk-loader: internal problem occured in parsing input file name");
  }
}

CommandLine read_arguments(const std::vector<std::string>& arguments) {
  report_log(0, std::string("vesk-loader version is ") + loaderVersion);
  const std::size_t count = arguments.size();
  std::size_t effectiveCount = count;
  const bool tooFew = count < 6;
  if (!tooFew && arguments[count - 2] == "-v") {
    setVerbosity(std::atoi(arguments[count - 1].c_str()));
    effectiveCount -= 2;
  }
  const bool modeWord = count > 1 && (arguments[1] == "datadir" || arguments[1] == "datafile");
  if (modeWord) --effectiveCount;
  if (tooFew || effectiveCount < 6 || effectiveCount > 7) {
    print_line(usage);
    report_error_and_exit(1102, "illegal command line arguments");
  }

  CommandLine line;
  std::size_t next = 1;
  if (modeWord) {
    const std::string& mode = arguments[next++];
    read_input(mode, arguments[next++], line);
  } else {
    line.inputDirectory = arguments[next++];
  }
  line.parameterFile = arguments[next++];
  line.processFile = arguments[next++];
  line.processFileInUse = line.processFile != "none";
  line.outputFile = arguments[next++];
  line.dateFormat = std::atoi(arguments[next++].c_str());
  if (line.dateFormat < 0 || line.dateFormat > 2) {
    report_error(1103, format_text("illegal date format %d", line.dateFormat));
  }
  line.startDate = effectiveCount == 7 ? std::atof(arguments[next].c_str()) : current_start_date();
  if (line.startDate == 0.0) report_warning("Start date is zero, possibly an input error");
  return line;
}

std::string settings_text(const LoaderSettings& settings, const CommandLine& line) {
  std::string text = "VESK loader settings information:\n";
  for (std::size_t i = 0; i < settings.fieldNames.size(); ++i) {
    text += settings.fieldNames[i] + " " + settings.fieldTypes[i] +
            format_text(" %d %d\n", settings.fieldStarts[i], settings.fieldEnds[i]);
  }
  text += format_text("Cyclic table size %d\n", settings.cyclicTableSize);
  text += std::string("Sort cyclic table ? ") + (settings.sortCyclicTable ? "Yes" : "No") + "\n";
  if (settings.distinctCyclicTable) text += "Distinct cyclic table ? Yes\n";
  text += format_text("Key %d\n", settings.keyField);
  text += format_text("Sparse %d\n", settings.sparse);
  if (!line.processFileInUse) text += "No process file will be used.\n";
  text += std::string("Output format: ") + format_name(settings.outputFormat) + "\n";
  text += format_text("Date %d\n", settings.dateField);
  text += format_text("Date Horizon %d\n", settings.dateHorizon);
  // Far beyond any date there is no integer to show; the nearest 64-bit one stands for it.
  constexpr double limit = 9.2e18;
  text += format_text("Start Date %lld\n", line.startDate != line.startDate
                                               ? 0LL
                                               : static_cast<long long>(std::clamp(line.startDate, -limit, limit)));
  text += format_text("Verbosity level %d\n", verbosity());
  // The very first field is no multiplicity field, here and in the scan. On purpose.
  if (settings.multiplicityField >= 1) {
    text += format_text("Multiplicity field =  %d (ignored in add operations)\n", settings.multiplicityField);
  } else {
    text += "No multiplicity field\n";
  }
  for (std::size_t i = 0; i < settings.operationNames.size(); ++i) {
    text += settings.operationNames[i] +
            format_text(" %d %d ", settings.operationInputs[i], settings.operationOutputs[i]) +
            settings.operationConditions[i] + format_text(" %g\n", settings.operationThresholds[i]);
  }
  if (settings.numberOfPartitions == 1) {
    text += "All data will be processed into one file\n";
  } else {
    text += format_text("Data will be paritioned into %d files\n", settings.numberOfPartitions);
  }
  return text;
}

void check_settings(const LoaderSettings& settings) {
  if (settings.cyclicTableSize >= 1) {
    for (const std::string& name : settings.operationNames) {
      OperationKind kind{};
      if (!find_operation(name, kind) || describe(kind).run != RunKind::Table) {
        report_error(1105, "Table and non table oeration cannot be interleaved");
      }
    }
  }
  if (settings.pairSumFlag == 0) return;
  if (settings.cyclicTableSize != 0 || settings.operationNames.size() != 1) {
    report_error(1106, "PairSum must be a sole operation");
  }
  const bool dense = settings.outputFormat == OutputFormat::Binary && settings.sparse == 0;
  if (settings.outputFormat == OutputFormat::CSV || dense) {
    report_error(1106, "Pairsum is supported in sparse binary and XML formats only");
  }
  if (!settings.payloadInputs.empty()) report_error(1105, "Payloads are not allowed with Pairsum");
}

int run_loader(int argc, const char* const* argv) {
  try {
    run_all(std::vector<std::string>(argv, argv + argc));
    return 0;
  } catch (...) {
    report_log(2, "Ill termination of VESK loader");
    std::fflush(stdout);
    ::_exit(errorStatus);
  }
}

}  // namespace vesk_loader
