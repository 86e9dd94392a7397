#!/usr/bin/env bash
# packages.sh: makes the Debian packages, then installs them, builds and runs a host against them, found
# by CMake and by pkg-config, and removes them again. The machine itself is left alone: all of it happens
# in a private view of its files. Exit status 77 where that cannot be had.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)

if [ "${1:-}" != inside ]; then
  if [ "$(id -u)" -ne 0 ] || ! unshare --mount true 2> /dev/null; then
    echo "SKIPPED: only root can have a private view of the machine's files"
    exit 77
  fi
  "$root/package.sh"
  exec unshare --mount --propagation private "$0" inside
fi

packages=(libquendril1 libquendril-base1 libquendril-dev libquendril-doc quendril-tools)
files=$(for name in "${packages[@]}"; do echo "$root/build/package/${name}_"*.deb; done)

view=$(mktemp -d)
# Removed only when it is empty: nothing of the machine's that is seen in it may go with it.
trap 'umount -R "$view" && rmdir "$view"' EXIT
mount -t tmpfs tmpfs "$view"
mkdir "$view"/{upper,work,root}
if ! mount -t overlay overlay -o "lowerdir=/,upperdir=$view/upper,workdir=$view/work" "$view/root"; then
  echo "SKIPPED: no overlay of file systems here"
  exit 77
fi
mount --bind /proc "$view/root/proc"
mount --bind /dev "$view/root/dev"
mkdir "$view/root/packages" "$view/root/host"
cp $files "$view/root/packages"
cp "$here/consumer/"* "$view/root/host"

chroot "$view/root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/ sh -eu << 'INSIDE'
dpkg --install /packages/*.deb
cd /host
cmake -S . -B cmake-build > /dev/null
cmake --build cmake-build > /dev/null
./cmake-build/consumer /host/scratch-cmake
echo "A host that CMake built ran."
g++ -std=c++17 main.cpp -o consumer $(pkg-config --cflags --libs quendril-base)
./consumer /host/scratch-pkg-config
echo "A host that pkg-config helped to build ran."
quendril-inspect --version
zgrep -q quendril /usr/share/doc/libquendril-dev/html/index.html*
dpkg --purge quendril-tools libquendril-doc libquendril-dev libquendril1 libquendril-base1
rm -rf /host /packages
INSIDE

left=$(cd "$view/upper" && find usr etc var opt -name '*quendril*' ! -type c 2> /dev/null || true)
if [ -n "$left" ]; then
  echo "FAILED: left behind after the removal:" $left >&2
  exit 1
fi
echo "Nothing was left behind."
