#include <mpi.h>

#include <cstdio>
#include <exception>
#include <iostream>

#include "analyze.h"
#include "kernel/quven_worker.h"

namespace {

constexpr int wrongCommandLine = 1;
constexpr int failedRun = 99;

/// What a worker says when it cannot go on; the report lines of the library have been printed then.
int fail(const char* text) {
  std::cout.flush();
  std::fflush(stdout);
  if (text != nullptr) std::cerr << "vesk-analyze: worker " << quvenWorkerRank() << ": " << text << std::endl;
  // The other workers wait for this one, and have to end with it.
  if (quvenWorkerCount() > 1) MPI_Abort(MPI_COMM_WORLD, failedRun);
  return failedRun;
}

int run(const vesk_analyze::AnalyzeOptions& options) {
  try {
    vesk_analyze::runAnalysis(options, std::cerr);
    return 0;
  } catch (int) {  // the library exception, behind its report
    return fail(nullptr);
  } catch (const std::exception& error) {
    return fail(error.what());
  } catch (...) {
    return fail("unknown exception");
  }
}

}  // namespace

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  const bool isMaster = quvenWorkerRank() == 0;
  vesk_analyze::AnalyzeOptions options;
  std::ostream silent(nullptr);
  int status = 0;
  switch (vesk_analyze::readCommandLine(argc, argv, options, isMaster ? std::cout : silent,
                                        isMaster ? std::cerr : silent)) {
    case vesk_analyze::CommandLine::Done:
      break;
    case vesk_analyze::CommandLine::Wrong:
      status = wrongCommandLine;
      break;
    case vesk_analyze::CommandLine::Run:
      status = run(options);
      break;
  }
  std::cout.flush();
  MPI_Finalize();
  return status;
}
