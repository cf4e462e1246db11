#!/usr/bin/env bash
# Builds SQLite for 64-bit Windows, for which Debian has no package, from the sources of Debian's own package and with its compile
# options: DIRECTORY/include/sqlite3.h and DIRECTORY/lib/libsqlite3.a. Does nothing if they exist. Usage: windows_sqlite.sh
# DIRECTORY
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
mkdir -p "$1"
made=$(realpath "$1")
[ ! -f "$made/lib/libsqlite3.a" ] || exit 0
need_packages gcc make tcl gcc-mingw-w64-x86-64-posix

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
unpack_sources sqlite3
sources=$(echo "$work"/sqlite3-*/)

options=$(grep -o -- '-DSQLITE_[A-Z0-9_]*\(=[0-9]*\)\?' "$sources/debian/rules" | tr '\n' ' ')
options+="-DSQLITE_ENABLE_FTS4 -DSQLITE_ENABLE_FTS5 -DSQLITE_ENABLE_MATH_FUNCTIONS" # its configure adds these
make -s -f "$sources/main.mk" TOP="$sources" BCC=gcc NAWK=awk OPTS="$options" sqlite3.c >/dev/null
# shellcheck disable=SC2086
x86_64-w64-mingw32-gcc-posix -O1 -fno-strict-aliasing $options -c sqlite3.c -o sqlite3.o # -O2 takes twice as long
mkdir -p "$made/include" "$made/lib"
cp sqlite3.h "$made/include"
x86_64-w64-mingw32-ar rcs libsqlite3.a sqlite3.o
mv libsqlite3.a "$made/lib"
