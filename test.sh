#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests: with g++, with clang, and under the address,
# undefined-behaviour and thread sanitizers. With arguments, only those presets:
#
#   ./test.sh                 everything, as CI does
#   ./test.sh dev             one preset: dev, release, clang, asan or tsan
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

presets=("$@")
if [ ${#presets[@]} -eq 0 ]; then
  presets=(dev clang asan tsan)
fi

install_packages "${test_packages[@]}"
for preset in "${presets[@]}"; do
  echo "== $preset: configuring and building"
  cmake --preset "$preset"
  cmake --build --preset "$preset"
done
for preset in "${presets[@]}"; do
  echo "== $preset: testing"
  # Without address space randomisation, with which the thread sanitizer's memory map may collide.
  setarch "$(uname -m)" -R ctest --preset "$preset"
done
