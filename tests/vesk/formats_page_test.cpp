// The table of docs/formats.md is what the program writes.

#include "support/formats_page.h"

#include "support/temporary_folder.h"
#include "table/csv_table.h"

TEST(FormatsPage, ShowsATableWithNamedColumns) {
  const auto blocks = page_blocks();
  const TemporaryFolder folder;
  vesk::CsvTableOptions options;
  options.input = folder.write("table.csv", blocks.at("csv table"));
  options.output = folder.path("table.bin");
  options.target = "left";
  EXPECT_EQ(vesk::makeCsvTable(options).rows, 3U);
  EXPECT_EQ(folder.read("table.bin"), bytes_of(blocks.at("hex table")));
  EXPECT_EQ(folder.read("table.bin.info"), blocks.at("text table.info"));
  EXPECT_EQ(folder.read("table.bin.labels"), blocks.at("csv table.labels"));
}
