#!/usr/bin/env bash
# Installs what is missing, builds with optimisation, and runs the benchmarks: medians, minimum and
# maximum of several repetitions, contenders side by side in one run. Then writes the figures to
# build/bench/results.csv, as Markdown to build/bench/results.md and into docs/performance.md, and the
# plots to docs/plots.
#
#   --quick                     leaves out 100,000 records and more, and the disk; docs/ stays
#   --benchmark_filter=REGEX    cases by WORKLOAD/PLACE/COUNT/CONTENDER; docs/ stays
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
for program in bench-compare bench-unchecked bench-record-operations; do
  "$programs/$program" --csv="$PWD/$results" "$@"
done
if [[ "$*" != *filter* ]]; then
  bench/count-calls.py "$programs/bench-record-operations" "$results" "$@"
fi
bench/tables.py "$results" > build/bench/results.md
if [ $# -eq 0 ]; then
  bench/tables.py "$results" docs/performance.md
  bench/plots.py "$results" docs/plots
fi
echo "The figures are in $results, and as Markdown in build/bench/results.md."
