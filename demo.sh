#!/usr/bin/env bash
# Installs what is missing, builds, and runs the example host on a machine-wide catalogue of its own, in
# a scratch folder that goes away again. Needs no rights but those to install packages.
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

install_packages "${build_packages[@]}"
echo "== building"
cmake --preset release -DQUENDRIL_BUILD_TESTS=OFF
cmake --build --preset release
echo "== running the example host"
build/release/examples/quendril-example-host
