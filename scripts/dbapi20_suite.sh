#!/usr/bin/env bash
# Fetches dbapi20.py, the public compliance suite of the Python DB API 2.0, for the tests of bindings/python. It is taken from
# Debian's source package python-mysqldb. Does nothing if the suite is already there. Usage: dbapi20_suite.sh DIRECTORY
set -euo pipefail
[ $# -eq 1 ] || { sed -n '2,4s/^# //p' "$0" >&2; exit 2; }
[ ! -e "$1/dbapi20.py" ] || exit 0
mkdir -p "$1"
directory=$(realpath "$1")
. "$(dirname "$0")/packages.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
unpack_sources python-mysqldb
install -m 644 python-mysqldb-*/tests/dbapi20.py "$directory"
