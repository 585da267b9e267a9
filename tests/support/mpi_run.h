#ifndef TESTS_SUPPORT_MPI_RUN_H
#define TESTS_SUPPORT_MPI_RUN_H

#include <mpi.h>

#include <cstdlib>

/// Starts MPI for the rest of the process, once; it is finalised at the exit.
inline void startMpi() {
  int initialised = 0;
  MPI_Initialized(&initialised);
  if (initialised != 0) return;
  MPI_Init(nullptr, nullptr);
  std::atexit([] { MPI_Finalize(); });
}

#endif  // TESTS_SUPPORT_MPI_RUN_H
