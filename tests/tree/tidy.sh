#!/usr/bin/env bash
# tidy.sh SOURCES BUILD: clang-tidy has nothing to say about the libraries, the tool and the example host.
set -euo pipefail
cd "$1"
# One file a run: over several, its analysis of variable arguments finds faults that are none.
find foundation recordstore catalogue common tools examples -name '*.cpp' |
  xargs -P "$(nproc)" -n 1 clang-tidy-14 -p "$2" --quiet
