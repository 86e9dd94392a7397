#!/usr/bin/env bash
# man-pages.sh FOLDER: neither mandoc nor groff has anything to say about the manual pages, and they
# refer only to each other and to pages that there are.
set -euo pipefail
cd "$1"
for page in *.[1-9]; do
  mandoc -T lint -W warning "$page"
  said=$(groff -ww -mandoc -T utf8 "$page" 2>&1 > /dev/null)
  if [ -n "$said" ]; then
    echo "FAILED: $said" >&2
    exit 1
  fi
done
for named in $(sed -n 's/^\.Xr \([^ ]*\) \([1-9]\).*/\1.\2/p' *.[1-9] | sort -u); do
  case $named in
    quendril* | cont_info*)
      [ -f "$named" ] || { echo "FAILED: there is no page $named" >&2; exit 1; } ;;
  esac
done
echo "$(ls | wc -l) manual pages."
