#!/usr/bin/env bash
# installed-copy.sh CMAKE BUILD COMPILER SANITIZERS: installs the build into a folder of its own and
# builds a small consumer against that copy alone, with the same compiler; the consumer runs.
set -euo pipefail
cmake=$1 build=$2 compiler=$3 sanitizers=$4
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

flags=
[ -z "$sanitizers" ] || flags="-fsanitize=$sanitizers"
"$cmake" --install "$build" --prefix "$folder/installed" > /dev/null
"$cmake" -G Ninja -S "$here/consumer" -B "$folder/build" -DCMAKE_PREFIX_PATH="$folder/installed" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" > /dev/null
"$cmake" --build "$folder/build"
"$folder/build/consumer" "$folder/scratch"

# The same with what pkg-config says. The libraries are not where the system looks for them.
libraries=$(dirname "$(find "$folder/installed" -name libquendril.so)")
export PKG_CONFIG_PATH=$libraries/pkgconfig
"$compiler" -std=c++17 $flags "$here/consumer/main.cpp" -o "$folder/consumer" \
  $(pkg-config --cflags --libs quendril-base) -Wl,-rpath,"$libraries"
"$folder/consumer" "$folder/scratch-of-pkg-config"
# A host that names nothing of the base library itself, where the linker leaves out what is not named.
echo '#include "catalogue/ContainerInfoList.h"
int main() { return ContainerInfoList().GetFirst() == nullptr ? 0 : 1; }' > "$folder/least.cpp"
"$compiler" -std=c++17 $flags -Wl,--as-needed "$folder/least.cpp" -o "$folder/least" \
  $(pkg-config --cflags --libs quendril-base) -Wl,-rpath,"$libraries"
"$folder/least"

# The tool, where it is built, runs from where it is installed, and its page is beside it.
if [ -e "$folder/installed/bin/quendril-inspect" ]; then
  "$folder/installed/bin/quendril-inspect" --version
  [ -s "$folder/installed/share/man/man1/quendril-inspect.1" ] || { echo "FAILED: no man page" >&2; exit 1; }
fi

# Only what users need is installed.
if find "$folder/installed" -name '*.h' | grep -E '/(embedded|tests|examples)/|(RecordMerge|RecordShift|ScanAgain|BlobReader)\.h'; then
  echo "FAILED: an inner header was installed" >&2
  exit 1
fi
