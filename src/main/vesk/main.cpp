#include <csignal>
#include <iostream>

#include "vesk.h"

int main(int argc, char** argv) {
  // A write that fails is reported by the command that writes.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  return vesk::runVesk(argc, argv, std::cout, std::cerr);
}
