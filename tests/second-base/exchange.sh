#!/usr/bin/env bash
# exchange.sh EMBEDDED SECOND: the program over both bases writes the same bytes, and each reads what
# the other wrote.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
touch "$folder"/{one,two,three,four}

"$1" write "$folder" embedded
"$2" write "$folder" second
for kind in catalogue records; do
  [ -s "$folder/embedded.$kind" ]
  cmp "$folder/embedded.$kind" "$folder/second.$kind"
done
"$1" read "$folder" second > "$folder/by-embedded"
"$2" read "$folder" embedded > "$folder/by-second"
diff "$folder/by-embedded" "$folder/by-second"
[ "$(grep -c "^$folder/" "$folder/by-second")" -eq 3 ] # One, three and four.
[ "$(grep -c '^record ' "$folder/by-second")" -eq 4 ]
echo "Both write the same bytes and read each other's."
