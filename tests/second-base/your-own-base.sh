#!/usr/bin/env bash
# your-own-base.sh SOURCES: runs the commands of docs/your-own-base.md, in a scratch folder, and looks at
# what comes of them.
set -euo pipefail
cd "$1"
page=docs/your-own-base.md
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

sed -n '/^```sh$/,/^```$/{/^```/d;p}' "$page" > "$folder/commands"
grep -q 'build=\$PWD/build/own-base$' "$folder/commands" || fail "the page builds somewhere else"
sed -i "s#\$PWD/build/own-base\$#$folder/build#" "$folder/commands"
(
  # Where the page makes scratch folders.
  export TMPDIR=$folder CMAKE_GENERATOR=Ninja
  bash -euo pipefail "$folder/commands"
) > "$folder/log" 2>&1 || fail "the page's commands: $(tail -n 20 "$folder/log")"
[ "$(tail -n 1 "$folder/log")" = /etc/hostname ] || fail "the host printed: $(tail -n 3 "$folder/log")"

installed=$folder/build/installed
[ ! -e "$installed"/lib/libquendril-base.so ] || fail "the embedded base was installed"
cmp "$installed/include/quendril/foundation/IdentObj.h" tests/second-base/base/foundation/IdentObj.h ||
  fail "the headers of the embedded base were installed"

mkdir -p "$folder/part/foundation"
cp tests/second-base/base/foundation/IPC.h "$folder/part/foundation"
if cmake -S . -B "$folder/other" -DQUENDRIL_BASE="$folder/part" > "$folder/log" 2>&1; then
  fail "a base without all headers was taken"
fi
grep -q "foundation/CTOODateTime.h" "$folder/log" || fail "the missing header is not named: $(cat "$folder/log")"

# Every header that is asked for is on the page.
for header in foundation/*.h; do
  grep -q "\`${header#foundation/}\`" "$page" || fail "$header is not on the page"
done
echo "The page's commands do what it says."
