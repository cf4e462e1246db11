#!/usr/bin/env bash
# Runs the unit and session suites under valgrind's memcheck: no error, no leak.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages libgtest-dev libssl-dev valgrind

cmake --preset release >/dev/null
cmake --build --preset release --target unit_test session_test inner_session_test transfer_test
checked() {
    echo "== $*"
    valgrind --quiet --leak-check=full --show-leak-kinds=definite,indirect,possible --error-exitcode=1 "$@" \
        --gtest_brief=1 >build/memcheck.log 2>&1 || { grep -vE '^(Server|Net|\[EC)' build/memcheck.log; exit 1; }
    tail -1 build/memcheck.log
}
checked build/release/tests/unit/unit_test
checked build/release/tests/session/transfer_test
for channel in plain encrypted; do
    SESSION_CHANNEL=$channel checked build/release/tests/session/session_test
    SESSION_CHANNEL=$channel checked build/release/tests/session/inner_session_test
done
