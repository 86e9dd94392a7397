#!/usr/bin/env bash
# man-page.sh PAGE PROGRAM: the page has no faults, and names each command and option of the program.
set -euo pipefail
page=$1 program=$2

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

if command -v mandoc > /dev/null; then
  mandoc -T lint -W style "$page" || fail "mandoc has something to say"
fi
if command -v groff > /dev/null; then
  said=$(groff -ww -mandoc -Tutf8 -z "$page" 2>&1)
  [ -z "$said" ] || fail "groff says: $said"
fi

commands=$("$program" --help | sed -n '/^Subcommands:/,$ s/^  \([a-z]*\) .*/\1/p')
[ "$(echo "$commands" | wc -w)" -ge 12 ] || fail "the program's help names only: $commands"
for command in $commands; do
  grep -q "^\.It Cm $command\b" "$page" || fail "the page does not tell what $command does"
  for option in $("$program" "$command" --help | grep -o -- '[ ,]--[a-z-]*' | sed 's/^.--//' | sort -u); do
    grep -q "Fl Fl $option\b" "$page" || fail "the page does not tell of --$option"
  done
done
echo "The page fits the program."
