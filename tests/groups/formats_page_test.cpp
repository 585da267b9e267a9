// The kernel values file and the result files of docs/formats.md are what the programs read and write.

#include "support/formats_page.h"

#include "literal_kernel.h"
#include "simple_algorithm/quven_kernel_values_file.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"
#include "util/quven_own_ptr.h"

namespace {

TEST(FormatsPage, ShowsAKernelValuesFile) {
  const std::string text = page_blocks().at("text kernelvalues");
  EXPECT_EQ(text, literal::keptText({{101, 102, 0.25}, {7, 5000000000000, 1}}));
  const TemporaryFolder folder;
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENXaRay<std::uint64_t> pairs;
  quvenReadKernelValuesFile(folder.write("values", text), pairs, QUVEN_ENV);
  EXPECT_THAT(std::vector<std::uint64_t>(pairs.begin(), pairs.end()),
              ::testing::ElementsAre(101, 102, 7, 5000000000000));
  QUVEN_DELETE(pairs);
}

TEST(FormatsPage, ShowsTheResultsOfAGroupAnalysis) {
  const TemporaryFolder folder;
  const std::vector<std::vector<double>> rows = {{101, 102}, {102, 103}, {103, 101, 102}};
  std::string bytes;
  const auto record = [&](double caller, double position, double value) {
    for (const double number : {caller, position, value}) {
      bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
  };
  for (const std::vector<double>& row : rows) {
    record(row[0], 0, 2);
    for (std::size_t i = 1; i < row.size(); ++i) record(row[0], static_cast<double>(i), row[i]);
    record(row[0], 3, 0);
  }
  folder.write("calls.bin", bytes);
  folder.write("calls.bin.info", "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  folder.write("values", "101, 102, 1\n103, 102, 1\n");
  folder.write("params.xml",
               "<AnalysisParams>\n<OutputFileName>found</OutputFileName>\n<OutputFormat>CSV</OutputFormat>\n"
               "<MaxClusterSize>9</MaxClusterSize>\n<KernelValuesFileName>values</KernelValuesFileName>\n"
               "<KernelParams>\n<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n"
               "<isSparseData>1</isSparseData>\n<IsSparseKernel>1</IsSparseKernel>\n"
               "<SparsityLevel>0.5</SparsityLevel>\n</KernelParams>\n</AnalysisParams>\n");
  const ProgramRun run =
      runProgram(std::string(VESK_BIN_DIR) + "/vesk-analyze", {"groups", "params.xml", "calls.bin"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_EQ(folder.read("found_1.clusters.csv"), page_blocks().at("text clusters"));
  EXPECT_EQ(folder.read("found_1.nodes.csv"), page_blocks().at("text nodes"));
}

}  // namespace
