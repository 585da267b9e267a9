// Any bytes as a file of labels: they are read, found and written again, or refused in one line that changes nothing.

#include <sstream>

#include "control/quven_table_labels.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
  QUVENTableLabels labels;
  REQUIRE(labels.add("before", 1, "label"));
  const QUVENTableLabels before = labels;
  const std::string mistake = labels.readFrom(text);
  if (!mistake.empty()) {
    REQUIRE(mistake.starts_with("line "));
    REQUIRE(labels == before);
    return 0;
  }
  for (const QUVENTableLabels::Column& column : labels.getColumns()) {
    REQUIRE(!column.name.empty() && !column.labels.empty());
    for (const auto& [code, label] : column.labels) {
      REQUIRE(code <= QUVENTableLabels::LargestCode);
      const double number = static_cast<double>(code);
      REQUIRE(labels.find(column.name, number) == &label);
      REQUIRE(labels.findByText(column.name, QUVENCategoryText(number).get()) == &label);
      REQUIRE(labels.find(column.name, number + 0.5) == nullptr || number + 0.5 == number);
    }
  }
  std::ostringstream out;
  labels.write(out);
  std::istringstream written(out.str());
  QUVENTableLabels again;
  REQUIRE(again.readFrom(written).empty());
  REQUIRE(again == labels);
  return 0;
}
