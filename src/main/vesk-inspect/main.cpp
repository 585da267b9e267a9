#include <csignal>
#include <iostream>

#include "inspect.h"

int main(int argc, char** argv) {
  std::signal(SIGXFSZ, SIG_IGN);  // standard output beyond the limit of a file is a failed write and is reported as one
  return vesk_inspect::runInspect(argc, argv, std::cout, std::cerr);
}
