#!/usr/bin/env bash
# Measures diffusion and groups on networks of several sizes and on several numbers of ranks. Prints one line per run:
# what the run took, with the passes, the peak memory and the bytes read that --timings=json has of each rank.
#
# Usage: scripts/measure_scale.sh [SUBSCRIBERS...]         (default 10000 30000 90000)
# Environment:
#   BIN         folder of the programs              (build/release/bin)
#   RANKS       numbers of ranks                    ("1 2 4")
#   CALLS       records per subscriber              (20)
#   TABLE_SIZE  contacts of a subscriber at most, in the dataset of groups (100)
#   OPTIONS     more options of vesk-analyze, such as "--memory 0"
set -euo pipefail
cd "$(dirname "$0")/.."

bin=$(realpath "${BIN:-build/release/bin}")
ranks=${RANKS:-1 2 4}
calls=${CALLS:-20}
table_size=${TABLE_SIZE:-100}
read -r -a options <<< "${OPTIONS:-}"
sizes=("$@")
[ $# -gt 0 ] || sizes=(10000 30000 90000)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# Runs a command whose output is only of interest when it fails.
quiet() {
  "$@" > log 2>&1 || {
    cat log >&2
    echo "measure_scale.sh: failed: $*" >&2
    exit 1
  }
}

# Makes calls and the datasets pairsum.bin and table.bin. Activity and popularity fall like rank^-0.75; four of five
# subscribers are in communities of 20 to 60.
make_network() {
  local subscribers=$1
  rm -rf calls pairsum.bin* table.bin*
  mkdir calls
  quiet "$bin/vesk-generate" -n $((subscribers * calls)) -c "$subscribers" --activity-exponent 0.75 \
    --popularity-exponent 0.75 --group-count $((subscribers / 75 + 1)) --group-size 20-60 -o calls/records
  quiet "$bin/vesk-loader" calls pairsum.xml none pairsum.bin 0
  quiet "$bin/vesk-loader" calls table.xml none table.bin 2 20203001
}

# Subscribers with a row, and pairs, of a dataset.
count_rows() {
  "$bin/vesk-inspect" dataset "$1" --rows 0 | awk '$1 == "callers" { rows = $2 } $1 == "entries" { pairs = $2 + 0 }
    END { print rows, pairs }'
}

# Prints the line of a run from the timings of all ranks: the longest time, CPU seconds in all, the largest peak, bytes in all.
print_run() {
  awk -v analysis="$1" -v size="$2" -v ranks="$3" -v wall="$4" '
    function number(name, text) {
      if (!match(text, "\"" name "\": [0-9.e+-]+")) { print "no " name " in: " text > "/dev/stderr"; exit 1 }
      return substr(text, RSTART + length(name) + 4, RLENGTH - length(name) - 4) + 0
    }
    /^    [{]"rank": / {
      found++
      cpu += number("cpuSeconds", $0)
      if (number("peakMemoryBytes", $0) > peak) peak = number("peakMemoryBytes", $0)
      if (number("seconds", $0) > seconds) seconds = number("seconds", $0)
    }
    /^     "all": [{]/ { bytes += number("bytesRead", $0) }
    /^      [{]"pass": / { if (found == 1) passes++ }
    END {
      if (found != ranks) { print found + 0 " ranks in the timings of " ranks > "/dev/stderr"; exit 1 }
      split(size, counts, " ")
      printf "%-10s %12d %12d %6d %7d %10.3f %10.3f %10.3f %14.1f %12.1f\n", analysis, counts[1], counts[2], ranks,
             passes, wall, seconds, cpu, peak / 1048576, bytes / 1048576
    }' timings.json
}

# Runs an analysis on some ranks and prints its line.
measure() {
  local analysis=$1 dataset=$2 size=$3 count=$4
  local begin end
  begin=$(date +%s.%N)
  quiet mpirun -n "$count" "$bin/vesk-analyze" "$analysis" "$analysis.xml" "$dataset" --timings=json timings.json \
    "${options[@]}"
  end=$(date +%s.%N)
  print_run "$analysis" "$size" "$count" "$(awk -v a="$begin" -v b="$end" 'BEGIN { printf "%.3f", b - a }')"
}

"$bin/vesk-generate" --params pairsum > pairsum.xml
"$bin/vesk-generate" --params table --table-size "$table_size" > table.xml
cat > diffusion.xml <<'XML'
<AnalysisParams>
<Seed>seeds</Seed>
<OutputFileName>energy.csv</OutputFileName>
<EndConditionValue>1e-300</EndConditionValue>
<MaxNumIterations>20</MaxNumIterations>
</AnalysisParams>
XML
seq 1 100 > seeds

printf '%-10s %12s %12s %6s %7s %10s %10s %10s %14s %12s\n' analysis subscribers pairs ranks passes "wall s" "run s" \
  "CPU s" "peak MB a rank" "MB read"
for subscribers in "${sizes[@]}"; do
  make_network "$subscribers"
  cat > groups.xml <<XML
<AnalysisParams>
<OutputFileName>found</OutputFileName>
<OutputFormat>CSV</OutputFormat>
<MaxClusterSize>100</MaxClusterSize>
<KernelParams>
<KernelType>Friends</KernelType>
<FilterSimilarities>1</FilterSimilarities>
<isSparseData>1</isSparseData>
<IsSparseKernel>1</IsSparseKernel>
<SparsityLevel>0.5</SparsityLevel>
<NormalizingFactor>$subscribers</NormalizingFactor>
</KernelParams>
</AnalysisParams>
XML
  for analysis in diffusion groups; do
    dataset=pairsum.bin
    [ "$analysis" = diffusion ] || dataset=table.bin
    size=$(count_rows "$dataset")
    for count in $ranks; do measure "$analysis" "$dataset" "$size" "$count"; done
  done
done
