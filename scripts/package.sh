#!/usr/bin/env bash
# Makes the packages of this version: Debian packages, a tar.gz and a Python wheel for Linux, a zip for 64-bit Windows. The build
# trees are kept next to them, for the next run and for check_packages.sh.
# Usage: package.sh [DIRECTORY]    the directory defaults to build/packages
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages dpkg-dev file python3 python3-dev g++-mingw-w64-x86-64-posix libgcrypt-mingw-w64-dev llvm-14

mkdir -p "${1:-build/packages}"
packages=$(realpath "${1:-build/packages}")
rm -f "$packages"/*.deb "$packages"/*.tar.gz "$packages"/*.zip "$packages"/*.whl
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

# One tree makes both kinds for Linux: only the install locations differ.
pack linux DEB --preset release -DTARNSQL_DEBIAN=ON -DTARNSQL_BUILD_PYTHON=ON -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_INSTALL_LIBDIR="lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
pack linux TGZ --preset release -DTARNSQL_DEBIAN=OFF -DCMAKE_INSTALL_PREFIX=/usr/local -DCMAKE_INSTALL_LIBDIR=lib
# The wheel contains the library and has a generic Linux tag: it needs a C library as recent as Debian 12's, see
# packaging/README.md.
strip --strip-unneeded -o "$packages/linux/libtarnsql.so.1" "$packages/linux/src/libtarnsql.so.1"
strip --strip-unneeded -o "$packages/linux/_core.abi3.so" "$packages/linux/bindings/python/module/tarnsql/_core.abi3.so"
PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 - "$packages" <<'PROGRAM'
import sys
sys.path.insert(0, "bindings/python/backend")
import tarnsql_build
settings = {"core": f"{sys.argv[1]}/linux/_core.abi3.so", "library": f"{sys.argv[1]}/linux/libtarnsql.so.1"}
print(tarnsql_build.build_wheel(sys.argv[1], settings))
PROGRAM
scripts/windows_sqlite.sh "$packages/windows_sqlite"
pack windows ZIP --preset windows -DSQLite3_INCLUDE_DIR="$packages/windows_sqlite/include" \
    -DSQLite3_LIBRARY="$packages/windows_sqlite/lib/libsqlite3.a"
echo "packages:"
ls -1 "$packages"/*.deb "$packages"/*.tar.gz "$packages"/*.whl "$packages"/*.zip
