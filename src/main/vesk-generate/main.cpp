#include <csignal>
#include <iostream>

#include "generate.h"

int main(int argc, char** argv) {
  std::signal(SIGXFSZ, SIG_IGN);  // a file beyond the limit is a failed write and is reported as one
  return vesk_generate::runGenerate(argc, argv, std::cout, std::cerr);
}
