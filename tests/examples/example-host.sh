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
expect 0 "The file is empty" "$folder/file"
expect 0 "The file is empty" --dump "$folder/file"
expect 1 "no file of that name (status 4)" "$folder/missing"
expect 1 "missing: cannot be read: No such file or directory" --dump "$folder/missing"
expect 1 "Is a directory" "$folder"
expect 1 "$folder: cannot be read: Is a directory" --dump "$folder"
mkfifo "$folder/fifo"
expect 1 "fifo" "$folder/fifo"
expect 1 "fifo: cannot be read" --dump "$folder/fifo"

# A damaged record does not hide the next one.
record_file "$words"'\003\0\0\0abc'"$record"
expect 1 "/a" "$folder/file"
expect 1 'path "/a"' --dump "$folder/file"

# What a terminal might act on, or might be taken for something else.
record_file "$words"'\061\0\0\0\035\0\0\0/\033\233\302\233\342\200\256\\"\320\236\320\272\316\261\345\255\227z234567890\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0'
expect 0 '/\x1b\x9b\xc2\x9b\xe2\x80\xae\\\"Окα字z23456' "$folder/file"

# A path that is longer than what is shown of it, and one whose length says so.
record_file "$words"'\170\0\0\0\144\0\0\0'"$(printf 'x%.0s' {1..100})"'\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0'
expect 0 'xxx"...' --dump "$folder/file"
record_file "$words"'\026\0\0\0\377\377\377\177/a\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0'"$record"
expect 1 'record 1 length: 22 bytes' --dump "$folder/file"

# What --add says is what the file holds.
mkdir -p "$folder/host/containers/one"
expect 0 "added $folder/host/containers/one" --add "$folder/host" "$folder/host/containers//one/"
expect 0 "/containers/one" "$folder/host/quendril/cont_info.dat"
expect 1 "not added" --add "$folder/host" "$folder/host/containers/missing"
if [ "$(id -u)" -ne 0 ]; then
  chmod 444 "$folder/host/quendril/cont_info.dat"
  mkdir "$folder/host/containers/two"
  expect 1 "not added" --add "$folder/host" "$folder/host/containers/two"
fi

expect 0 "usage:" --help
expect 2 "usage:" --nonsense
expect 2 "usage:" one two three four
if "$host" > /dev/full 2> /dev/null; then
  fail "output that was lost is called success"
fi
echo "The example host does what it says."
