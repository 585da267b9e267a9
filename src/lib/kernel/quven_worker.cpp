#include "kernel/quven_worker.h"

#include <mpi.h>

bool quvenIsMpiRunning() {
  int initialised = 0;
  int finalised = 0;
  MPI_Initialized(&initialised);
  MPI_Finalized(&finalised);
  return initialised != 0 && finalised == 0;
}

int quvenWorkerRank() {
  int rank = 0;
  if (quvenIsMpiRunning()) MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  return rank;
}

int quvenWorkerCount() {
  int count = 1;
  if (quvenIsMpiRunning()) MPI_Comm_size(MPI_COMM_WORLD, &count);
  return count;
}
