#!/usr/bin/env bash
# Builds the library, the development server and the quickstart, and runs the quickstart against the server.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2086
need_packages $build_packages unicode-data

cmake --preset release -DTARNSQL_BUILD_TESTS=OFF -B build/demo >/dev/null
cmake --build build/demo --target tarnlite quickstart >/dev/null

work=$(mktemp -d)
build/demo/tools/tarnlite/tarnlite --port 0 --port-file "$work/port" &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; rm -rf "$work"' EXIT
for _ in $(seq 100); do
    [ -s "$work/port" ] && break
    kill -0 "$server" || { echo "tarnlite did not start" >&2; exit 1; }
    sleep 0.05
done

build/demo/examples/quickstart "server=127.0.0.1;port=$(cat "$work/port");db=demo;user=demo;password=demo" \
    /usr/share/unicode/UnicodeData.txt
