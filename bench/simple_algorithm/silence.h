#ifndef BENCH_SIMPLE_ALGORITHM_SILENCE_H
#define BENCH_SIMPLE_ALGORITHM_SILENCE_H

#include <unistd.h>

#include <cstdio>

/// Standard output is for report lines, which a benchmark does not want among its own.
class Silence {
 public:
  Silence() : file(std::tmpfile()), saved(::dup(1)) {
    std::fflush(stdout);
    ::dup2(::fileno(file), 1);
  }
  ~Silence() {
    std::fflush(stdout);
    ::dup2(saved, 1);
    ::close(saved);
    std::fclose(file);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  std::FILE* file;
  int saved;
};

#endif  // BENCH_SIMPLE_ALGORITHM_SILENCE_H
