#include "loader_driver.h"

int main(int argc, char** argv) { return vesk_loader::run_loader(argc, argv); }
