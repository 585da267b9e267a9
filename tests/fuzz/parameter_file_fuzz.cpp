// Any bytes as a parameter file: it is read or refused with its two error lines, and what was read hangs together.

#include <string_view>

#include "fuzz_support.h"
#include "input_file_reader.h"
#include "loader/literal_cases.h"
#include "loader_driver.h"

using namespace vesk_loader;

namespace {

void checkOperations(const LoaderSettings& settings) {
  const std::size_t count = settings.operationNames.size();
  REQUIRE(settings.operationInputs.size() == count && settings.operationOutputs.size() == count);
  REQUIRE(settings.operationConditions.size() == count && settings.operationThresholds.size() == count);
  bool pairSum = false;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& name = settings.operationNames[i];
    const bool sums = name == "Add" || name == "Count";
    REQUIRE(sums || name == "CyclicAdd" || name == "PairSum");
    if (sums) REQUIRE(settings.operationOutputs[i] >= 0);
    if (name == "CyclicAdd") REQUIRE(settings.operationOutputs[i] == -1);
    pairSum = pairSum || name == "PairSum";
  }
  REQUIRE(pairSum == (settings.pairSumFlag == 1));
}

void checkSettings(const LoaderSettings& settings) {
  const std::size_t count = settings.fieldNames.size();
  REQUIRE(settings.fieldTypes.size() == count && settings.fieldStarts.size() == count);
  REQUIRE(settings.fieldEnds.size() == count);
  REQUIRE(settings.numberOfPartitions >= 1 && settings.numberOfPartitions <= 100);
  REQUIRE(settings.sparse == 0 || (settings.sparse == 1 && settings.outputFormat == OutputFormat::Binary));
  REQUIRE(settings.outputFormat == OutputFormat::XML ||
          (settings.tagPrefix.empty() && settings.outputNamespace.empty()));
  checkOperations(settings);
}

bool endsWith(const std::string& text, std::string_view end) { return std::string_view(text).ends_with(end); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (text.find("/dev") != text.npos || text.find("/proc") != text.npos) return 0;  // a special list without an end
  const std::string path = folder.write("parameters", {data, size});

  LoaderSettings settings;
  int result = 0;
  const FuzzRun run = fuzzRun([&] { result = read_input_file_format(path, settings); });
  if (run.terminated) {
    REQUIRE(endsWith(run.out,
                     "Error;|1322;|unexpected error in read_input_file_format;|ErrorEnd\n\n*** ERROR in function "
                     "report_error at line 41 in file loader_common\n    QUVEN Terminating\n"));
    return 0;
  }
  REQUIRE(result == 1);
  REQUIRE(endsWith(run.out, "Log;|0;|>>> VESK loader: read input file format done.;|LogEnd\n"));
  checkSettings(settings);
  const std::string described = settings_text(settings, CommandLine());
  REQUIRE(described.starts_with("VESK loader settings information:\n") && described.ends_with("\n"));
  fuzzRun([&] { check_settings(settings); });
  return 0;
}
