#!/usr/bin/env bash
# Fetches dbapi20.py, the public compliance suite of the Python DB API 2.0, for the tests of bindings/python. It comes out of
# Debian's source package python-mysqldb, through an apt configuration in a temporary directory: apt checks the signature, and
# the machine's own package lists stay as they are. Does nothing when the suite is there.
# Usage: dbapi20_suite.sh DIRECTORY
set -euo pipefail
[ $# -eq 1 ] || { sed -n '2,5s/^# //p' "$0" >&2; exit 2; }
directory=$1
[ ! -e "$directory/dbapi20.py" ] || exit 0

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
echo "deb-src [signed-by=$keyring] http://deb.debian.org/debian bookworm main" >"$work/sources.list"

private_apt() {
    apt-get -qq -o Dir::Etc::sourcelist="$work/sources.list" -o Dir::Etc::sourceparts=- \
        -o Dir::State::lists="$work/lists" -o Dir::Cache="$work/cache" \
        -o APT::Sandbox::User=root "$@" # no other user may enter the temporary directory
}

cd "$work"
private_apt update
private_apt --download-only source python-mysqldb
tar -xf python-mysqldb_*.orig.tar.* --wildcards --no-same-owner --strip-components=2 '*/tests/dbapi20.py'
cd "$OLDPWD"
install -D -m 644 "$work/dbapi20.py" "$directory/dbapi20.py"
