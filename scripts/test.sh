#!/usr/bin/env bash
# Builds and tests natively; with "all" also under AddressSanitizer and UndefinedBehaviorSanitizer, where threads meet under
# ThreadSanitizer, and cross-built for 64-bit Windows under Wine, as continuous integration does.
# Usage: test.sh [all | release|asan|tsan|windows...]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

export WINEDEBUG=-all

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release)
[ "${presets[*]}" != all ] || presets=(release asan tsan windows)

# shellcheck disable=SC2086
need_packages $build_packages libgtest-dev libssl-dev unicode-data python3 python3-dev python3-numpy python3-pandas python3-pexpect \
    mono-mcs mono-runtime libmono-system-data4.0-cil
case " ${presets[*]} " in
*" windows "*) need_packages g++-mingw-w64-x86-64-posix googletest wine wine64 ;;
esac

# The Windows programs run one at a time, as their preset says: they share one Wine server, so two are no faster, and two that
# start at once in a new Wine prefix corrupt it and hang.
for preset in "${presets[@]}"; do
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    if [ "$preset" = tsan ]; then
        cmake --build --preset tsan --target tarnlite live_test cancel_race_test cpp_test
        ctest --preset tsan -R '^live_threads|cancel_race|^cpp_connection.a_cancel'
    else
        cmake --build --preset "$preset"
        [ "$preset" != release ] || scripts/dbapi20_suite.sh build/release/dbapi20 ||
            echo "no compliance suite: python_dbapi20 will be skipped"
        ctest --preset "$preset"
    fi
done

case " ${presets[*]} " in
*" windows "*)
    echo "== the quickstart for Windows against the development server"
    cmake --preset release >/dev/null
    cmake --build --preset release --target tarnlite >/dev/null
    scripts/with_tarnlite.sh build/release/tools/tarnlite/tarnlite \
        /usr/lib/wine/wine64 build/windows/bin/quickstart.exe "{}" /usr/share/unicode/UnicodeData.txt
    echo "== tarnsh for Windows against the development server"
    shell=$(mktemp)
    printf '#!/bin/sh\nexec /usr/lib/wine/wine64 "%s" "$@"\n' "$PWD/build/windows/bin/tarnsh.exe" >"$shell"
    chmod +x "$shell"
    /usr/bin/python3 -B tests/tarnsh/shell_test.py "$shell" build/release/tools/tarnlite/tarnlite formats
    rm "$shell"
    ;;
esac

[ $# -gt 0 ] || echo 'All well. "scripts/test.sh all" tests with sanitizers and for Windows, too.'
