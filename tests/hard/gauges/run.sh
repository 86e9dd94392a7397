#!/usr/bin/env bash
# run.sh: installs what the gauges need, and runs them: what the tests reach, and what memcheck and
# helgrind say about the test programs. Takes about an hour.
set -euo pipefail
cd "$(dirname "$0")/../../.."
source cmake/setup.sh
install_packages "${test_packages[@]}" "${gauge_packages[@]}"
result=0
tests/hard/gauges/coverage.py || result=1
tests/hard/gauges/valgrind.py || result=1
exit $result
