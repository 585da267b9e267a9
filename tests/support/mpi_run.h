#ifndef TESTS_SUPPORT_MPI_RUN_H
#define TESTS_SUPPORT_MPI_RUN_H

#include <mpi.h>
#if __has_include(<sanitizer/lsan_interface.h>)
#include <sanitizer/lsan_interface.h>
#endif

#include <cstdlib>

#ifdef __SANITIZE_ADDRESS__
#define TESTS_LOOK_FOR_LEAKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TESTS_LOOK_FOR_LEAKS
#endif
#endif

/// While it lives, what is allocated is no leak: for the start of MPI, which leaks in every program, an empty one too.
class LeaksOfOthers {
 public:
#ifdef TESTS_LOOK_FOR_LEAKS
  LeaksOfOthers() { __lsan_disable(); }
  ~LeaksOfOthers() { __lsan_enable(); }
#else
  LeaksOfOthers() = default;
  ~LeaksOfOthers() {}
#endif
  LeaksOfOthers(const LeaksOfOthers&) = delete;
  LeaksOfOthers& operator=(const LeaksOfOthers&) = delete;
};

/// Starts MPI for the rest of the process, once; it is finalised at the exit.
inline void startMpi() {
  int initialised = 0;
  MPI_Initialized(&initialised);
  if (initialised != 0) return;
  const LeaksOfOthers ignored;
  MPI_Init(nullptr, nullptr);
  std::atexit([] { MPI_Finalize(); });
}

#endif  // TESTS_SUPPORT_MPI_RUN_H
