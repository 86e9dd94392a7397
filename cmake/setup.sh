# Sourced by demo.sh, docs.sh and test.sh: installs Debian packages that are missing, and says so.

# install_packages PACKAGE...
install_packages() {
  local package missing=()
  if ! command -v dpkg-query > /dev/null; then
    echo "This machine has no dpkg; make sure of what these Debian packages give: $*"
    return 0
  fi
  for package in "$@"; do
    if ! dpkg-query -W -f '${db:Status-Status}\n' "$package" 2> /dev/null | grep -qx installed; then
      missing+=("$package")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    echo "All packages are there: $*"
    return 0
  fi
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo > /dev/null; then
      echo "Missing packages, and neither root's rights nor sudo to install them. Please run as root:" >&2
      echo "  apt-get install ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}"
  "${as_root[@]}" apt-get update -q
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}"
}

build_packages=(cmake g++ ninja-build libboost-thread-dev libcli11-dev libfmt-dev nlohmann-json3-dev)
docs_packages=(doxygen doxygen-awesome-css graphviz groff mandoc python3)
package_packages=("${build_packages[@]}" "${docs_packages[@]}" debhelper dpkg-dev fakeroot lintian)
bench_packages=("${build_packages[@]}" libbenchmark-dev libsqlite3-dev liblmdb-dev libtdb-dev
  libgdbm-dev gnuplot-nox python3 strace valgrind util-linux)
test_packages=("${package_packages[@]}" libgtest-dev libgmock-dev clang-14 clang-format-14 clang-tidy-14
  cppcheck gdb libclang-rt-14-dev librapidcheck-dev binutils python3 python3-kaitaistruct
  python3-yaml util-linux abigail-tools pkgconf xz-utils)
# For the gauges of tests/hard/gauges, beside those of the tests.
gauge_packages=(llvm-14 valgrind)
# For a shell to work in (.devcontainer): all of them, and what a working copy wants.
shell_packages=("${test_packages[@]}" "${bench_packages[@]}" "${gauge_packages[@]}" ca-certificates git less)
