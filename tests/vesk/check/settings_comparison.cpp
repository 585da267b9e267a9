#include "vesk/check/settings_comparison.h"

#include <tuple>

#include "check/parameter_check.h"
#include "input_file_reader.h"  // of vesk-loader
#include "loader_driver.h"
#include "support/stdout_capture.h"
#include "support/temporary_folder.h"
#include "vesk-common/quven_warning_list.h"

namespace vesk {

namespace {

using vesk_loader::LoaderSettings;

/// Everything but the special list, which has no access to its numbers.
auto members(const LoaderSettings& settings) {
  return std::tie(settings.fieldNames, settings.fieldTypes, settings.fieldStarts, settings.fieldEnds,
                  settings.cyclicTableSize, settings.sortCyclicTable, settings.distinctCyclicTable,
                  settings.specialListFilter, settings.operationNames, settings.operationInputs,
                  settings.operationOutputs, settings.operationConditions, settings.operationThresholds,
                  settings.payloadInputs, settings.sparse, settings.outputFormat, settings.tagPrefix,
                  settings.outputNamespace, settings.keyField, settings.dateField, settings.dateHorizon,
                  settings.multiplicityField, settings.numberOfPartitions, settings.pairSumFlag);
}

}  // namespace

std::string differenceToLoader(const std::string& text) {
  static const TemporaryFolder folder;
  const std::string path = folder.write("params.xml", text);
  LoaderSettings settings;
  bool terminated = false;
  std::string reports;
  {
    const StdoutCapture capture;
    try {
      vesk_loader::read_input_file_format(path, settings);
      vesk_loader::check_settings(settings);
    } catch (int) {
      terminated = true;
    }
    reports = capture.text();
  }
  QUVENWarningList::get().clear();
  if (terminated) return "the loader refuses: " + reports;
  if (settings.keyField == -1) return "the loader has no key";
  const LoaderSettings own = checkParameters(text, "p").settings;
  if (members(own) != members(settings)) {
    return "the settings differ:\n" + settings_text(own, {}) + "\n" + settings_text(settings, {});
  }
  if (own.specialList.size() != settings.specialList.size()) return "the special lists differ";
  return "";
}

}  // namespace vesk
