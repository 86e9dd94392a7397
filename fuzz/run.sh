#!/usr/bin/env bash
# run.sh [SECONDS [TARGET...]]: runs the fuzzers, all or those named, for that long each: first the kept
# inputs, then new ones from a fixed seed. Without SECONDS, or for "default", QUENDRIL_FUZZ_SECONDS or
# 60; for 0 the kept inputs alone.
#
# The programs are those of `cmake --preset fuzz`, or in the folder QUENDRIL_FUZZ_BUILD. What is found
# stays there as found-TARGET-...; new inputs that only reach further are thrown away.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${QUENDRIL_FUZZ_BUILD:-$here/../build/fuzz/fuzz}
seconds=${1:-default}
if [ "$seconds" = default ]; then
  seconds=${QUENDRIL_FUZZ_SECONDS:-60}
fi
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for folder in "$here"/corpus/*/; do
    targets+=("$(basename "$folder")")
  done
fi

# Files of the fuzzers lie in memory, where that is possible.
if [ -w /dev/shm ]; then
  export TMPDIR=/dev/shm
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export TMPDIR=$folder

result=0
for target in "${targets[@]}"; do
  limit=(-max_total_time="$seconds")
  if [ "$seconds" = 0 ]; then
    limit=(-runs=0)
  fi
  mkdir "$folder/new-$target"
  log=$folder/$target.log
  if "$build/fuzz-$target" -seed=1 -timeout=10 -rss_limit_mb=1024 -max_len=4096 -print_final_stats=1 \
    -artifact_prefix="$build/found-$target-" "${limit[@]}" \
    "$folder/new-$target" "$here/corpus/$target" > "$log" 2>&1; then
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    echo "FIGURE fuzz $target: $executions executions, $(ls "$here/corpus/$target" | wc -l) inputs kept"
  else
    result=1
    cat "$log"
    echo "FAILED: fuzz $target"
  fi
done
exit $result
