#!/usr/bin/env bash
# Checks the packages that package.sh made, as users get them. Debian packages: no error or warning from lintian, installation by
# dpkg into an empty root with dependencies looked up among this system's packages, removal without a trace, the library's
# symbols. The trees of all packages: no dead link in their pages, an outside program built with CMake, with pkg-config and with a
# plain compiler, shared and static, each example by one command, and tarnsh against tarnlite over both channels; those of the zip
# under Wine, and a program linked the way Microsoft's linker does. The library: the binary interface in packaging/abi. The Python
# module: its tests with the Debian package, with the wheel and built by pip, in clean virtual environments without a package
# index. Usage: check_packages.sh [DIRECTORY [--accept-abi]]
#     DIRECTORY defaults to build/packages; --accept-abi makes the interface of this build the new reference
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages dpkg-dev lintian abigail-tools unzip python3 python3-dev python3-venv wine wine64 \
    g++-mingw-w64-x86-64-posix clang-14 lld-14 llvm-14
export WINEDEBUG=-all LC_ALL=C.UTF-8

repository=$PWD
packages=$(realpath "${1:-build/packages}")
version=$(sed -n 's/^#define TRN_VERSION "\(.*\)"/\1/p' include/tarnsql.h)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "check_packages: $*" >&2
    exit 1
}

built_outside() { # NAME TREE LIBDIR CC CXX EMULATOR CMAKE-ARGUMENT...
    here=$work/$1 tree=$2 libdir=$3 cc=$4 cxx=$5 emulator=$6
    consumer=$PWD/tests/install/consumer
    shift 6
    mkdir -p "$here/plain"
    echo "-- by CMake"
    ctest --build-and-test "$consumer" "$here/cmake" --build-generator Ninja \
        --build-options -Dtarnsql_DIR="$tree/$libdir/cmake/tarnsql" "$@" \
        --test-command ctest --output-on-failure --no-tests=error >"$here/log" 2>&1 || { cat "$here/log"; fail "CMake"; }
    grep 'tests passed' "$here/log"
    echo "-- with pkg-config"
    cmake -DPKG_CONFIG=pkg-config -DCOMPILER="$cc" -DFLAGS= -DPROGRAM="$consumer/consumer.c" -DVERSION="$version" \
        -DTREE="$tree" -DLIBDIR="$libdir" -DBINDIR=bin -DWORK="$here/pkg_config" -DEMULATOR="$emulator" \
        -P tests/install/pkg_config_consumer.cmake
    echo "-- by a plain compiler"
    "$cxx" -I"$tree/include" "$consumer/consumer.c" -o "$here/plain/consumer.exe" -L"$tree/$libdir" -ltarnsql
    [ -z "$emulator" ] || cp "$tree/bin/tarnsql.dll" "$here/plain"
    LD_LIBRARY_PATH=$tree/$libdir $emulator "$here/plain/consumer.exe"
}

texts_hold() { # TREE DOCUMENTS CC CXX LIBDIR
    echo "-- links of the pages: $(python3 tests/docs/check_links.py "$1/share")"
    for example in "$2"/examples/*.c; do
        "$3" -I"$1/include" "$example" -o "$work/example" -L"$1/$5" -ltarnsql
    done
    for example in "$2"/examples/*.cpp; do
        "$4" -std=c++20 -I"$1/include" "$example" -o "$work/example" -L"$1/$5" -ltarnsql
    done
    echo "-- the examples compile"
}

shell_works() { # TARNLITE TARNSH...
    tarnlite=$1
    shift
    for channel in "" ";use_ssl=on"; do
        answer=$(scripts/with_tarnlite.sh "$tarnlite" "$@" "{}$channel" -q --format csv \
            -c "SELECT 'hello' AS greeting, 6 * 7 AS answer" | tr -d '\r')
        [ "$answer" = $'greeting,answer\nhello,42' ] || fail "tarnsh says: $answer"
    done
    echo "-- tarnsh against tarnlite"
}

module_works() { # NAME TARNLITE PYTHON ENVIRONMENT...
    python_name=$1 tarnlite=$2 python=$3
    shift 3
    (cd "$work" && env -u TARNSQL_LIBRARY "$@" TARNSQL_PYTHON=core TARNLITE="$tarnlite" PYTHONDONTWRITEBYTECODE=1 \
        "$python" -m unittest discover -s "$repository/bindings/python/tests") >"$work/log" 2>&1 ||
        { cat "$work/log"; fail "$python_name"; }
    echo "-- the tests of the module, $python_name: $(grep '^Ran ' "$work/log")"
}

# LLVM's linker stands in for Microsoft's: same arguments and formats.
linked_as_by_microsoft() { # TREE
    mkdir "$work/msvc"
    cp "$1/bin/tarnsql.dll" "$work/msvc"
    clang-14 --target=x86_64-pc-windows-msvc -ffreestanding -Wall -Werror -I"$1/include" \
        -c tests/install/consumer/no_runtime.c -o "$work/msvc/no_runtime.obj"
    lld-link-14 /nodefaultlib /entry:main /subsystem:console "$work/msvc/no_runtime.obj" "$1/lib/tarnsql.lib" \
        "/out:$work/msvc/no_runtime.exe"
    "$wine" "$work/msvc/no_runtime.exe" || fail "a program linked with tarnsql.lib"
    diff <(grep '^[A-Za-z]' src/exports.txt | sort) <(sed -n 's/^    //p' "$1/lib/tarnsql.def" | sort) ||
        fail "tarnsql.def is not the list of exports"
    echo "-- linked as by Microsoft's linker"
}

echo "== Debian packages: lintian"
lintian --allow-root --fail-on error,warning "$packages"/*.deb

echo "== Debian packages: installed"
root=$work/root
mkdir -p "$root" "$work/control/debian"
cp -r /var/lib/dpkg "$work/dpkg"
rm -f "$work"/dpkg/lock*
dpkg --admindir="$work/dpkg" --instdir="$root" --force-not-root --force-script-chrootless --no-triggers --log="$work/dpkg.log" \
    --install "$packages"/*.deb >"$work/log" 2>&1 || { cat "$work/log"; fail "dpkg"; }
library=$root/usr/lib/$multiarch/libtarnsql.so.${version%%.*}
built_outside debian "$root/usr" "lib/$multiarch" cc g++ ""
texts_hold "$root/usr" "$root/usr/share/doc/libtarnsql-dev" cc g++ "lib/$multiarch"
LD_LIBRARY_PATH=$root/usr/lib/$multiarch shell_works "$root/usr/bin/tarnlite" "$root/usr/bin/tarnsh"

module_works "Debian package" "$root/usr/bin/tarnlite" /usr/bin/python3 PYTHONPATH="$root/usr/lib/python3/dist-packages" \
    LD_LIBRARY_PATH="$root/usr/lib/$multiarch"

echo "== Debian packages: what a program that uses the library depends on"
printf 'Source: tarnsql\n\nPackage: libtarnsql%s\nArchitecture: any\n' "${version%%.*}" >"$work/control/debian/control"
dpkg-deb -e "$packages"/libtarnsql[0-9]*.deb "$root/DEBIAN"
(
    cd "$work/control"
    dpkg-gensymbols -p"libtarnsql${version%%.*}" -v"$version" -I"$root/DEBIAN/symbols" -e"$library" -O"$work/symbols" -c4 -q
    dpkg-shlibdeps -S"$root" -l"$root/usr/lib/$multiarch" -O -e"$work/debian/plain/consumer.exe" | tee "$work/depends"
)
grep -q "libtarnsql${version%%.*} (>= 1.0.0)" "$work/depends" || fail "the program does not depend on the library's package"

echo "== Debian packages: removed"
mapfile -t names < <(for package in "$packages"/*.deb; do dpkg-deb -f "$package" Package; done)
dpkg --admindir="$work/dpkg" --instdir="$root" --force-not-root --force-script-chrootless --no-triggers --log="$work/dpkg.log" \
    --remove "${names[@]}" >"$work/log" 2>&1 || { cat "$work/log"; fail "dpkg --remove"; }
left=$(dpkg-query --admindir="$work/dpkg" -W -f '${db:Status-Abbrev} ${Package}\n' | grep tarnsql | grep -v '^un' || true)
[ -z "$left" ] || fail "left behind by the removal: $left"

echo "== tar.gz"
mkdir "$work/tar"
tar -xzf "$packages"/tarnsql-*.tar.gz -C "$work/tar" --strip-components=1
built_outside tar_programs "$work/tar" lib cc g++ ""
texts_hold "$work/tar" "$work/tar/share/doc/tarnsql" cc g++ lib
shell_works "$work/tar/bin/tarnlite" "$work/tar/bin/tarnsh"

echo "== Python"
before=$(git status --porcelain --ignored=matching bindings 2>/dev/null || true)
for source in "$packages"/tarnsql-*.whl bindings/python; do
    venv=$work/venv_${source##*/}
    /usr/bin/python3 -m venv "$venv"
    PIP_NO_INDEX=1 PYTHONDONTWRITEBYTECODE=1 "$venv/bin/pip" install --disable-pip-version-check --quiet "$(realpath "$source")"
    libraries=LD_LIBRARY_PATH=$work/tar/lib # for tarnlite, and for a module without its own library
    [ "$source" = bindings/python ] || libraries=LD_LIBRARY_PATH=
    printf '#!/bin/sh\nLD_LIBRARY_PATH=%s exec %s "$@"\n' "$work/tar/lib" "$work/tar/bin/tarnlite" >"$work/tarnlite"
    chmod +x "$work/tarnlite"
    module_works "${source##*/}" "$work/tarnlite" "$venv/bin/python" "$libraries"
done
[ "$before" = "$(git status --porcelain --ignored=matching bindings 2>/dev/null || true)" ] ||
    fail "a build leaves files in the source tree"

echo "== zip"
wine=/usr/lib/wine/wine64
unzip -q "$packages"/tarnsql-*.zip -d "$work/zip"
zip=$(echo "$work"/zip/tarnsql-*)
built_outside zip_programs "$zip" lib x86_64-w64-mingw32-gcc-posix x86_64-w64-mingw32-g++-posix "$wine" \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-w64.cmake"
texts_hold "$zip" "$zip/share/doc/tarnsql" x86_64-w64-mingw32-gcc-posix x86_64-w64-mingw32-g++-posix lib
linked_as_by_microsoft "$zip"
printf '#!/bin/sh\nexec %s %s "$@"\n' "$wine" "$zip/bin/tarnlite.exe" >"$work/tarnlite"
chmod +x "$work/tarnlite"
shell_works "$work/tarnlite" "$wine" "$zip/bin/tarnsh.exe"

echo "== the binary interface"
baseline=packaging/abi/libtarnsql.abi
abidw --exported-interfaces-only --type-id-style hash --no-comp-dir-path --no-corpus-path --no-show-locs \
    --out-file "$work/libtarnsql.abi" "$packages/linux/src/libtarnsql.so.$version"
[ "${2:-}" != --accept-abi ] || cp "$work/libtarnsql.abi" "$baseline"
abidiff "$baseline" "$work/libtarnsql.abi" ||
    fail "not the interface of $baseline; additions that are meant are accepted with --accept-abi"
echo "all packages hold"
