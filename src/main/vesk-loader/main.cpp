#include <csignal>

#include "loader_driver.h"

int main(int argc, char** argv) {
  // A failed write is the business of the step that writes, and on standard output nobody's: no signal ends the run.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  return vesk_loader::run_loader(argc, argv);
}
