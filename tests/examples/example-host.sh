#!/usr/bin/env bash
# Runs the example host as its users do: the demonstration, and its listing and dump of files that are
# good, missing, empty, cut and hostile.
set -euo pipefail
host=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# expect STATUS TEXT ARGUMENT...: the exit status, and a text somewhere in the output.
expect() {
  local wanted=$1 text=$2 status=0 output
  shift 2
  output=$("$host" "$@" 2>&1) || status=$?
  [ "$status" -eq "$wanted" ] || fail "$* ended with $status, not $wanted: $output"
  [[ "$output" == *"$text"* ]] || fail "$* did not print '$text': $output"
}

# record_file BYTES...: the arguments, as printf takes them, become the file.
record_file() {
  printf "$1" > "$folder/file"
}

mkdir "$folder/scratch"
TMPDIR="$folder/scratch" expect 0 "All as expected." 
[ -z "$(ls -A "$folder/scratch")" ] || fail "the demonstration left something behind"

words='\0\0\0\0\1\0\0\0\0\0\0\0'
# One record of 22 bytes: the path "/a" and nothing else.
record='\026\0\0\0\002\0\0\0/a\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0'

record_file "$words$record"
expect 0 "/a" "$folder/file"
expect 0 'path "/a"' --dump "$folder/file"
[ "$(stat -c %s "$folder/file")" -eq 38 ] || fail "the listing changed the file"

# A file that was never cleaned is listed as it is and not cleaned.
record_file '\0\0\0\0\0\0\0\0\0\0\0\0'"$record"
expect 0 "(container is gone)" "$folder/file"
[ "$(stat -c %s "$folder/file")" -eq 38 ] || fail "the listing cleaned the file"

record_file "$words"'\377\377\377\377abc'
expect 1 "status 134" "$folder/file"
expect 1 "DAMAGED" --dump "$folder/file"
record_file "$words$record"'\005\0'
expect 1 "/a" "$folder/file"
record_file 'abc'
expect 1 "status 5" "$folder/file"
expect 1 "DAMAGED" --dump "$folder/file"
record_file "$words"'\003\0\0\0abc'
expect 1 "no container record" "$folder/file"
record_file ''
expect 1 "status 4" "$folder/file"
expect 0 "empty" --dump "$folder/file"
expect 1 "status 4" "$folder/missing"
expect 1 "cannot be read" --dump "$folder/missing"
expect 1 "Is a directory" "$folder"

expect 0 "usage:" --help
expect 2 "usage:" --nonsense
expect 2 "usage:" one two three four
if "$host" > /dev/full 2> /dev/null; then
  fail "output that was lost is called success"
fi
echo "The example host does what it says."
