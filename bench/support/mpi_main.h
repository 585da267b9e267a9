#ifndef BENCH_SUPPORT_MPI_MAIN_H
#define BENCH_SUPPORT_MPI_MAIN_H

#include <benchmark/benchmark.h>
#include <mpi.h>

/// The main function of a benchmark program whose datasets are read through MPI.
inline int runBenchmarksWithMpi(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  MPI_Finalize();
  return 0;
}

#endif  // BENCH_SUPPORT_MPI_MAIN_H
