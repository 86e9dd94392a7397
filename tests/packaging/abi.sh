#!/usr/bin/env bash
# abi.sh compare|record LIBRARY...: whether a host that was built against the recorded version of each
# library can run on this one. Symbols that are new harm nobody; one that is gone, a class of another
# size, members or virtual functions in another order do.
#
# `record` writes tests/packaging/abi/NAME.abi.xz anew: for a new major version, or to take in what was
# added.
set -euo pipefail
mode=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# What is in headers that are installed, with paths as from the root.
describe() {
  local layers=() layer
  for layer in foundation recordstore catalogue common; do
    layers+=(--headers-dir "$root/$layer")
  done
  abidw --no-show-locs --no-corpus-path --no-comp-dir-path --drop-private-types "${layers[@]}" "$1" |
    sed "s|$root/||g"
}

for library in "$@"; do
  name=$(basename "$library" | sed 's/\.so.*//')
  record=$here/abi/$name.abi.xz
  if [ "$mode" = record ]; then
    mkdir -p "$here/abi"
    describe "$library" | xz -9 > "$record"
    continue
  fi
  xz -dc "$record" > "$folder/$name.abi"
  if ! abidiff --no-added-syms "$folder/$name.abi" "$library"; then
    echo "FAILED: $name breaks hosts that are built. On purpose? A new major version, then: $0 record" >&2
    exit 1
  fi
  # The comparison must see a class that has grown.
  class=$(sed -n "s/.*<class-decl name='\(ContainerInfo\|CTOOString\)' size-in-bits='\([0-9]*\)'.*/\1 \2/p" \
    "$folder/$name.abi" | head -1)
  sed "s/\(name='${class% *}' size-in-bits='\)${class#* }'/\1$((${class#* } + 64))'/" \
    "$folder/$name.abi" > "$folder/other.abi"
  if abidiff --no-added-syms "$folder/other.abi" "$library" > /dev/null; then
    echo "FAILED: a ${class% *} that has shrunk was not noticed in $name" >&2
    exit 1
  fi
  echo "$name is what hosts were built against."
done
