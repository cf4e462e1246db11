#!/usr/bin/env bash
# Builds the library, the development server and the quickstart, and runs the quickstart against the server, over the plain and
# the encrypted channel.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2086
need_packages $build_packages unicode-data

tree=build/release # shared with the tests, if they are built
if [ ! -f "$tree/CMakeCache.txt" ]; then
    tree=build/demo
    cmake --preset release -DTARNSQL_BUILD_TESTS=OFF -B "$tree" >/dev/null
fi
cmake --build "$tree" --target tarnlite quickstart >/dev/null
for channel in plain encrypted; do
    echo "== over the $channel channel"
    settings=
    [ "$channel" = plain ] || settings="use_ssl=on;"
    scripts/with_tarnlite.sh "$tree/tools/tarnlite/tarnlite" \
        "$tree/examples/quickstart" "$settings{}" /usr/share/unicode/UnicodeData.txt
done
