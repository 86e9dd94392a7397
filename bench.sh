#!/usr/bin/env bash
# Installs what is missing, builds with optimisation, and runs the benchmarks: medians, minimum and
# maximum of several repetitions, contenders side by side in one run.
#
#   --quick                     leaves out 100,000 records and more, and the disk
#   --benchmark_filter=REGEX    cases by WORKLOAD/PLACE/COUNT/CONTENDER
#   --record                    no times: writes what the main operations cost to bench/recorded.txt,
#                               with which ./test.sh compares
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

install_packages "${bench_packages[@]}"
cmake --preset bench
cmake --build --preset bench
programs=build/bench/bench
if [ "$*" = --record ]; then
  bench/recorded.py record "$programs/bench-recorded"
  cat bench/recorded.txt
  exit 0
fi
results=build/bench/results.csv
rm -f "$results"
"$programs/bench-compare" --csv="$results" "$@"
