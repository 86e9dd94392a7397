#!/usr/bin/env bash
# Installs what is missing, builds with optimisation, and runs the benchmarks: medians, minimum and
# maximum of several repetitions, contenders side by side in one run. Arguments go to the programs
# (--benchmark_filter=REGEX).
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

install_packages "${bench_packages[@]}"
cmake --preset bench
cmake --build --preset bench
build/bench/bench/bench-edit "$@"
