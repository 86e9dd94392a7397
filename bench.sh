#!/usr/bin/env bash
# Installs what is missing, builds with optimisation, and runs the benchmarks: medians, minimum and
# maximum of several repetitions, contenders side by side in one run.
#
#   --quick                     leaves out 100,000 records and more, and the disk
#   --benchmark_filter=REGEX    cases by WORKLOAD/PLACE/COUNT/CONTENDER
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

install_packages "${bench_packages[@]}"
cmake --preset bench
cmake --build --preset bench
results=build/bench/results.csv
rm -f "$results"
build/bench/bench/bench-compare --csv="$results" "$@"
