#!/usr/bin/env bash
# Builds the library, the development server and the quickstart, and runs the quickstart against the server.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2086
need_packages $build_packages unicode-data

cmake --preset release -DTARNSQL_BUILD_TESTS=OFF -B build/demo >/dev/null
cmake --build build/demo --target tarnlite quickstart >/dev/null
scripts/with_tarnlite.sh build/demo/tools/tarnlite/tarnlite \
    build/demo/examples/quickstart "{}" /usr/share/unicode/UnicodeData.txt
