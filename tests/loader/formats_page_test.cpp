// The blocks of docs/formats.md are what the loader writes.

#include <cctype>
#include <map>
#include <sstream>

#include "input_file_reader.h"
#include "loader_fixture.h"
#include "output_files.h"
#include "process_file.h"
#include "record_scan.h"
#include "support/formats_page.h"

namespace vesk_loader::testing {
namespace {

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
