// Any bytes as a parameter file: it is checked, and one without errors gives the settings of the loader's own reader.

#include "check/parameter_check.h"

#include <algorithm>
#include <string_view>

#include "fuzz_support.h"
#include "vesk/check/settings_comparison.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (text.find("/dev") != text.npos || text.find("/proc") != text.npos) return 0;  // a special list that changes
  const vesk::CheckedParameters checked = vesk::checkParameters(text, "p");
  const auto lines = static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1;
  for (const vesk::ParameterFinding& finding : checked.findings) {
    REQUIRE(finding.text.starts_with("p:") && finding.line <= lines);
    REQUIRE((finding.line == 0) == (finding.column == 0));
  }
  if (checked.hasErrors()) return 0;
  const std::string difference = vesk::differenceToLoader(text);
  if (!difference.empty()) std::fprintf(stderr, "%s\n", difference.c_str());
  REQUIRE(difference.empty());
  return 0;
}
