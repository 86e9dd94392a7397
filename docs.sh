#!/usr/bin/env bash
# Installs what is missing and builds the documentation site: build/docs/html/index.html.
set -euo pipefail
cd "$(dirname "$0")"
source cmake/setup.sh

install_packages "${docs_packages[@]}"
docs/site/build.py . build/docs
