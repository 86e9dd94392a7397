#!/usr/bin/env bash
# full.sh [STEP...]: the long figures, all of them or only those named, after ./test.sh has built the
# presets dev and fuzz. Ends with the figures, which are in build/figures.txt too; its status tells
# whether every step passed.
#
#   hard        every call and allocation failing, real errors, kills, crowds, spoilt files, models
#   fuzz        each fuzzer for QUENDRIL_FUZZ_SECONDS, an hour unless that is set
#   coverage    lines and branches that the tests run
#   valgrind    memcheck and helgrind
#   mutations   changes to the sources that the tests must notice
set -uo pipefail
cd "$(dirname "$0")/../.."
source cmake/setup.sh

steps=("$@")
if [ ${#steps[@]} -eq 0 ]; then
  steps=(hard fuzz coverage valgrind mutations)
fi

run_step() {
  case $1 in
    hard) ctest --preset figures ;;
    fuzz) fuzz/run.sh "${QUENDRIL_FUZZ_SECONDS:-3600}" ;;
    coverage) tests/hard/gauges/coverage.py ;;
    valgrind) tests/hard/gauges/valgrind.py ;;
    mutations) python3 tests/hard/mutations/mutations.py --jobs 2 ;;
    *)
      echo "There is no step $1." >&2
      return 2
      ;;
  esac
}

install_packages "${test_packages[@]}" "${gauge_packages[@]}" || exit 1
mkdir -p build
log=$(mktemp)
trap 'rm -f "$log"' EXIT
: > build/figures.txt
result=0
for step in "${steps[@]}"; do
  echo "== full: $step ($(date +%H:%M))"
  run_step "$step" 2>&1 | tee "$log"
  if [ "${PIPESTATUS[0]}" -ne 0 ]; then
    result=1
    echo "FAILED: $step" | tee -a build/figures.txt
  fi
  grep -o 'FIGURE .*' "$log" >> build/figures.txt
done
echo "== full: the figures"
cat build/figures.txt
exit $result
