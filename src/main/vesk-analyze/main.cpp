#include <mpi.h>
#include <sys/ioctl.h>
#include <unistd.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <sstream>
#include <thread>

#include "analyze.h"
#include "kernel/quven_worker.h"

namespace {

constexpr int wrongCommandLine = 1;
constexpr int failedRun = 99;

/// Waits until the launcher has read what this worker wrote: it forwards nothing more once the run is aborted.
void waitForReader(int descriptor) {
  using std::chrono::milliseconds;
  constexpr milliseconds step(5);
  constexpr milliseconds patience(2000);
  if (::isatty(descriptor) != 0) return;  // nothing is between it and the reader
  int unread = 0;
  for (milliseconds waited(0); waited < patience; waited += step) {
    if (::ioctl(descriptor, FIONREAD, &unread) != 0 || unread == 0) return;
    std::this_thread::sleep_for(step);
  }
}

/// What a worker says when it cannot go on; the report lines of the library have been printed then.
int fail(const char* text) {
  std::cout.flush();
  std::fflush(stdout);
  if (text != nullptr) {
    std::ostringstream line;  // in one piece, beside those of the other workers
    line << "vesk-analyze: worker " << quvenWorkerRank() << ": " << text << '\n';
    std::cerr << line.view() << std::flush;
  }
  if (quvenWorkerCount() > 1) {
    constexpr std::chrono::milliseconds timeToForward(200);  // what the launcher has read
    waitForReader(STDOUT_FILENO);
    waitForReader(STDERR_FILENO);
    std::this_thread::sleep_for(timeToForward);
    // The other workers wait for this one, and have to end with it.
    MPI_Abort(MPI_COMM_WORLD, failedRun);
  }
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

/// MPI leaks at its start, in an empty program too; a sanitizer is to look for what is ours.
void startMpi(int& argc, char**& argv) {
#ifdef __SANITIZE_ADDRESS__
  __lsan_disable();
#endif
  MPI_Init(&argc, &argv);
#ifdef __SANITIZE_ADDRESS__
  __lsan_enable();
#endif
}

/// MPI starts with standard output unbuffered, and each piece of a line would be a write of its own. The launcher
/// forwards each write as it comes: only lines in one write stay whole beside those of other ranks.
void bufferLines() {
  static char buffer[65536];
  std::setvbuf(stdout, buffer, _IOLBF, sizeof buffer);
}

}  // namespace

int main(int argc, char** argv) {
  // A write that fails is the business of the step that wrote, which reports it.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  startMpi(argc, argv);
  bufferLines();
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
