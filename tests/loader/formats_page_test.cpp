// The blocks of docs/formats.md are what the loader writes.

#include <cctype>
#include <map>
#include <sstream>

#include "input_file_reader.h"
#include "loader_fixture.h"
#include "output_files.h"
#include "process_file.h"
#include "record_scan.h"

namespace vesk_loader::testing {
namespace {

// The fenced blocks of the page by what stands behind the fence.
std::map<std::string, std::string> page_blocks() {
  std::ifstream page(std::string(VESK_SOURCE_DIR) + "/docs/formats.md");
  std::map<std::string, std::string> blocks;
  std::string name;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.rfind("```", 0) == 0) {
      inside = !inside;
      if (inside) name = line.substr(3);
    } else if (inside) {
      blocks[name] += line + "\n";
    }
  }
  return blocks;
}

// Lines of an offset, bytes, and a note behind four blanks. The offsets must be right too.
std::string bytes_of(const std::string& dump) {
  std::string bytes;
  std::istringstream lines(dump);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_EQ(std::stoul(line.substr(0, 4), nullptr, 16), bytes.size()) << line;
    std::istringstream numbers(line.substr(4, line.find("    ") - 4));
    for (std::string number; numbers >> number;) bytes += static_cast<char>(std::stoi(number, nullptr, 16));
  }
  return bytes;
}

class FormatsPage : public LoaderTest {
 protected:
  FormatsPage() : blocks(page_blocks()) {
    folder.write("in/calls", blocks.at("records"));
    table = tableSettings(3);
    table.dateField = 2;
    table.payloadInputs = {3};
  }

  // The output of a run over the records of the page.
  std::string output(const LoaderSettings& settings) {
    capturedRun([&] {
      LoaderTables tables = LoaderTables::create(settings);
      update_process_file(folder.path("in"), "", tables, settings, {0.0, 2, 0, 1});
      write_process_file(folder.path("process"), tables);
      write_pml_file(folder.path("out"), tables, settings);
    });
    return folder.read("out");
  }

  std::map<std::string, std::string> blocks;
  LoaderSettings table;
};

TEST_F(FormatsPage, ShowsTheProcessFile) {
  output(table);
  EXPECT_EQ(folder.read("process"), bytes_of(blocks.at("hex process")));
}

TEST_F(FormatsPage, ShowsTheSparseDatasetAndItsDescription) {
  EXPECT_EQ(output(table), bytes_of(blocks.at("hex sparse")));
  EXPECT_EQ(folder.read("out.info"), blocks.at("text sparse.info"));
  EXPECT_EQ(output(pairSumSettings()), bytes_of(blocks.at("hex pairsum")));
}

TEST_F(FormatsPage, ShowsTheDenseDatasetAndItsDescription) {
  table.sparse = 0;
  EXPECT_EQ(output(table), bytes_of(blocks.at("hex dense")));
  EXPECT_EQ(folder.read("out.info"), blocks.at("text dense.info"));
}

TEST_F(FormatsPage, ShowsTheFormsForPeople) {
  table.outputFormat = OutputFormat::XML;
  EXPECT_EQ(output(table), blocks.at("text xml"));
  table.outputFormat = OutputFormat::CSV;
  EXPECT_EQ(output(table), blocks.at("text csv"));
}

}  // namespace
}  // namespace vesk_loader::testing
