#!/usr/bin/env bash
# Runs every fuzzer for the given number of seconds (default 60) from its corpus. New inputs stay in the build folder.
# A second number starts the random numbers of the fuzzers, so that two runs go the same way as far as they go.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
seed=${2:-0}  # 0: from the clock

scripts/setup.sh
cmake --preset fuzz
cmake --build --preset fuzz --target fuzzers
for fuzzer in build/fuzz/bin/*_fuzz; do
  name=$(basename "$fuzzer" _fuzz)
  found=$PWD/build/fuzz/found/$name
  seeds=$PWD/tests/fuzz/corpus/$name
  mkdir -p "$found"
  echo "fuzzing $name for $seconds s"
  (cd "$found" && "../../bin/${name}_fuzz" -max_total_time="$seconds" -seed="$seed" -timeout=20 -rss_limit_mb=4096 \
    -print_final_stats=0 -verbosity=0 -close_fd_mask=1 . "$seeds")
done
