#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests: with g++, with clang under the address and
# undefined-behaviour sanitizers, with g++ under the thread sanitizer, each fuzzer for a minute; and
# compares what the main operations cost with what is recorded.
#
#   ./test.sh                 everything, as CI does: about 20 minutes on two cores from nothing
#   ./test.sh dev             one preset or several: dev, release, clang, asan, tsan, fuzz,
#                             bench
#   ./test.sh full            everything, and the long figures of docs/testing.md: hours
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

presets=("$@")
if [ ${#presets[@]} -eq 0 ]; then
  presets=(dev asan tsan fuzz bench)
elif [ "$*" = full ]; then
  presets=(dev release clang asan tsan fuzz bench)
fi

packages=("${test_packages[@]}")
if [[ " ${presets[*]} " == *" bench "* ]]; then
  packages+=("${bench_packages[@]}")
fi
install_packages "${packages[@]}"
for preset in "${presets[@]}"; do
  echo "== $preset: configuring and building"
  tests=ON
  if [ "$preset" = fuzz ] || [ "$preset" = bench ]; then
    tests=OFF  # Their tests are the fuzzers, and the comparison.
  fi
  cmake --preset "$preset" -DQUENDRIL_BUILD_TESTS=$tests
  cmake --build --preset "$preset"
done
for preset in "${presets[@]}"; do
  echo "== $preset: testing"
  run=()
  # With address space randomisation the thread sanitizer's memory map may collide. Some containers
  # do not allow to go without; then it has to do with it.
  if [ "$preset" = tsan ] && setarch "$(uname -m)" -R true 2> /dev/null; then
    run=(setarch "$(uname -m)" -R)
  fi
  "${run[@]}" ctest --preset "$preset"
done
if [ "$*" = full ]; then
  tests/hard/full.sh
fi
