#include <iostream>

#include "inspect.h"

int main(int argc, char** argv) { return vesk_inspect::runInspect(argc, argv, std::cout, std::cerr); }
