#!/usr/bin/env bash
# Makes the packages of this version: Debian packages and a tar.gz for Linux, a zip for 64-bit Windows. The build trees
# stay beside them, for the next time and for check_packages.sh.
# Usage: package.sh [DIRECTORY]    the directory is build/packages otherwise
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages dpkg-dev file g++-mingw-w64-x86-64-posix libgcrypt-mingw-w64-dev

mkdir -p "${1:-build/packages}"
packages=$(realpath "${1:-build/packages}")
rm -f "$packages"/*.deb "$packages"/*.tar.gz "$packages"/*.zip
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp)
export SOURCE_DATE_EPOCH

pack() { # TREE GENERATOR CMAKE-ARGUMENT...
    tree=$packages/$1
    generator=$2
    shift 2
    cmake -S . -B "$tree" -DCMAKE_BUILD_TYPE=Release -DTARNSQL_BUILD_TESTS=OFF -DTARNSQL_BUILD_EXAMPLES=OFF \
        -DCMAKE_CXX_FLAGS="-g -ffile-prefix-map=$PWD=." "$@" >/dev/null
    cmake --build "$tree"
    (cd "$packages" && cpack --config "$tree/CPackConfig.cmake" -G "$generator")
    rm -rf "$packages/_CPack_Packages"
}

# One tree makes both kinds for Linux: only where things are installed differs.
pack linux DEB --preset release -DTARNSQL_DEBIAN=ON -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_INSTALL_LIBDIR="lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
pack linux TGZ --preset release -DTARNSQL_DEBIAN=OFF -DCMAKE_INSTALL_PREFIX=/usr/local -DCMAKE_INSTALL_LIBDIR=lib
scripts/windows_sqlite.sh "$packages/windows_sqlite"
pack windows ZIP --preset windows -DSQLite3_INCLUDE_DIR="$packages/windows_sqlite/include" \
    -DSQLite3_LIBRARY="$packages/windows_sqlite/lib/libsqlite3.a"
ls -l "$packages"/*.deb "$packages"/*.tar.gz "$packages"/*.zip
