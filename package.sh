#!/usr/bin/env bash
# Installs what is missing, makes the Debian packages in build/package, and has lintian look at them.
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

install_packages "${package_packages[@]}"
version=$(dpkg-parsechangelog -S Version)
source=build/package/quendril-$version
rm -rf build/package
mkdir -p "$source"
echo "== copying the sources"
tar -c --exclude=./build --exclude=./.git . | tar -x -C "$source"
echo "== building the packages"
(cd "$source" && dpkg-buildpackage --build=binary --no-sign)
echo "== looking at the packages"
lintian --allow-root --fail-on error,warning --info build/package/*.changes
ls -l build/package/*.deb
