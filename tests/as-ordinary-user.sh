#!/usr/bin/env bash
# as-ordinary-user.sh PROGRAM...: when root runs the tests, runs these test programs once more as a user
# without any rights. They and their libraries are copied to where that user may read them.
set -euo pipefail
if [ "$(id -u)" -ne 0 ]; then
  echo "Skipped: the tests are run by an ordinary user already."
  exit 77
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
chmod 755 "$folder"
mkdir -m 1777 "$folder/tmp"
for program in "$@"; do
  cp "$program" "$folder"
  ldd "$program" | sed -n 's/.*=> \(.*libquendril[^ ]*\) .*/\1/p' | xargs cp -t "$folder"
done
result=0
for program in "$@"; do
  echo "== $(basename "$program")"
  # Home and temporary files in a place of its own; nobody's rights, and no way to get others.
  env LD_LIBRARY_PATH="$folder" TMPDIR="$folder/tmp" HOME=/nonexistent \
    setpriv --reuid=65534 --regid=65534 --clear-groups --no-new-privs \
    "$folder/$(basename "$program")" --gtest_brief=1 || result=1
done
exit $result
