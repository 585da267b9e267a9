// Any bytes as the description of a dataset: it is read as its lines say, or ends in one of four reports that change
// nothing.

#include <set>
#include <sstream>
#include <string_view>

#include "control/quven_dataset_info.h"
#include "fuzz_support.h"

namespace {

using dataset_info::Column;

bool endsWith(const std::string& text, std::string_view end) { return std::string_view(text).ends_with(end); }

const std::set<std::string> reports = {"Unknown attribute type \n", "Unknown attribute purpose \n",
                                       "A line of the input info file has more than three words",
                                       "A line of the input info file is longer than 1000 characters"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::vector<Column> before = {{"before", 1, 1}};
  std::vector<Column> columns = before;
  bool terminated = false;
  std::string out;
  {
    std::istringstream stream(text);
    const StdoutCapture capture;
    try {
      REQUIRE(dataset_info::read(stream, columns, QUVEN_ENV));
    } catch (int payload) {
      REQUIRE(payload == 0);
      terminated = true;
    }
    out = capture.text();
  }

  if (terminated) {
    bool isKnown = false;
    for (const std::string& report : reports) isKnown = isKnown || endsWith(out, "\n    " + report + "\n");
    REQUIRE(isKnown);
    REQUIRE(columns == before);
    return 0;
  }
  REQUIRE(out.empty());

  // Written out again, the columns read back; and there is one for every line with something in it.
  std::string again;
  for (const Column& column : columns) {
    REQUIRE(column.type == 1 || column.type == 2);
    REQUIRE(column.purpose >= 1 && column.purpose <= 3);
    constexpr const char* purposes[] = {"", "Explanatory", "Target", "LineNumber"};
    again += column.name + (column.type == 1 ? " Numeric " : " Categorical ") + purposes[column.purpose] + "\n";
  }
  std::istringstream written(again);
  std::vector<Column> read;
  REQUIRE(dataset_info::read(written, read, QUVEN_ENV) && read == columns);
  std::istringstream lines(text);
  std::size_t filled = 0;
  for (std::string line; std::getline(lines, line);) {
    REQUIRE(line.size() <= 1000);
    filled += line.find_first_not_of(" \t\n\v\f\r") != std::string::npos ? 1 : 0;
  }
  REQUIRE(filled == columns.size());
  return 0;
}
