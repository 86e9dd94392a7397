#!/usr/bin/env bash
# format.sh SOURCES: every C++ file is as clang-format leaves it.
set -euo pipefail
cd "$1"
find foundation recordstore catalogue common tools examples fuzz tests bench -name '*.h' -o -name '*.cpp' |
  xargs clang-format-14 --dry-run -Werror
