#!/usr/bin/env bash
# Builds the library, the development server and the quickstart, and runs the quickstart against the server, over the plain
# and over the enciphered channel.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2086
need_packages $build_packages unicode-data

cmake --preset release -DTARNSQL_BUILD_TESTS=OFF -B build/demo >/dev/null
cmake --build build/demo --target tarnlite quickstart >/dev/null
for channel in plain enciphered; do
    echo "== over the $channel channel"
    settings=
    [ "$channel" = plain ] || settings="use_ssl=on;"
    scripts/with_tarnlite.sh build/demo/tools/tarnlite/tarnlite \
        build/demo/examples/quickstart "$settings{}" /usr/share/unicode/UnicodeData.txt
done
