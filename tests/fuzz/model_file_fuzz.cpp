// Any bytes as a model file: score writes a row for each record of a small table, with all columns that it knows, or
// the run ends in a report.

#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "scoring_run.h"
#include "support/mpi_run.h"
#include "util/quven_env_aux.h"

namespace {

constexpr int Records = 5;

const FuzzFolder& folder() {
  static const FuzzFolder instance;
  return instance;
}

/// The columns of the seeds, and one more.
void writeTable() {
  constexpr double missing = -99999.0;
  constexpr double values[Records][5] = {{1.5, 1, 2.5, 7, 10},
                                         {97, 3, -1, 8, 20},
                                         {missing, missing, missing, missing, missing},
                                         {50, 1000, 1e300, 9, 30},
                                         {-1e300, 2, 0, 10, 40}};
  std::string bytes(sizeof values, '\0');
  std::memcpy(bytes.data(), values, sizeof values);
  folder().write("table", bytes);
  folder().write("table.info",
                 "x Numeric Explanatory\nc Categorical Explanatory\nz Numeric Explanatory\nother Numeric Explanatory\n"
                 "y Numeric Target\n");
}

void score(const vesk_analyze::AnalyzeOptions& options, QUVENEnv& environment) {
  QUVENEnv* env = &environment;
  const QUVENWorkerTransport transport(MPI_COMM_SELF);
  vesk_analyze::ScoringRun run(options, transport, QUVEN_ENV);
  const auto release = [&] { run.release(QUVEN_ENV); };
  try {
    run.open(QUVEN_ENV);
    run.work(QUVEN_ENV);
    run.finish(QUVEN_ENV);
  } catch (...) {
    release();
    throw;
  }
  release();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isReady = [] {
    startMpi();
    writeTable();
    return true;
  }();
  REQUIRE(isReady);
  quvenDebugWords = QUVENDebugWords();
  vesk_analyze::AnalyzeOptions options;
  options.dataset = folder().path("table");
  options.modelFile = folder().write("model", {data, size});
  options.outputFile = folder().path("predictions.csv");
  options.writesChannels = size % 2 == 0;  // otherwise only channel 1 is scored
  options.writesStages = true;
  options.numReasons = 2;
  std::filesystem::remove(options.outputFile);

  bool isRefused = false;
  std::string out;
  {
    QUVENEnv environment;
    environment.activate();
    QUVENEnv* env = &environment;
    const StdoutCapture capture;
    try {
      score(options, environment);
    } catch (int payload) {
      REQUIRE(payload == 0);
      isRefused = true;
    }
    environment.getAux().deleteMemory(QUVEN_ENV);
    REQUIRE(environment.getBytesInUse() == 0);
    out = capture.text();
  }
  QUVENWarningList::get().clear();
  REQUIRE(!isRefused || !out.empty());
  REQUIRE(isRefused != std::filesystem::exists(options.outputFile));
  if (isRefused) return 0;
  std::ifstream predictions(options.outputFile);
  int lines = 0;
  for (std::string line; std::getline(predictions, line); ++lines) REQUIRE(!line.empty());
  REQUIRE(lines == Records + 1);
  return 0;
}
