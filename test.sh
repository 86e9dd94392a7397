#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests: with g++, with clang, and under the address,
# undefined-behaviour and thread sanitizers, and each fuzzer for a few seconds. With arguments, only
# those presets:
#
#   ./test.sh                 everything, as CI does
#   ./test.sh dev             one preset: dev, release, clang, asan, tsan or fuzz
#   ./test.sh hard            kills and crowds, which load the machine and take minutes (dev's build)
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

presets=("$@")
if [ ${#presets[@]} -eq 0 ]; then
  presets=(dev clang asan tsan fuzz)
fi

install_packages "${test_packages[@]}"
for preset in "${presets[@]}"; do
  echo "== $preset: configuring and building"
  tests=ON
  if [ "$preset" = fuzz ]; then
    tests=OFF  # Its tests are the fuzzers.
  fi
  build=${preset/#hard/dev}
  cmake --preset "$build" -DQUENDRIL_BUILD_TESTS=$tests
  cmake --build --preset "$build"
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
