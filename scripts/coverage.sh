#!/usr/bin/env bash
# Measures how much of the driver's code the suites run; fails below 95 % of lines or 85 % of branches, or when a branch of the
# receive buffer or the row store is not run. The report by file and line is in build/coverage/report.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages libgtest-dev libssl-dev unicode-data gcovr

cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j"$(nproc)" -E '^install|never_ends_the_process'
mkdir -p build/coverage/report
measure() {
    gcovr --root . --object-directory build/coverage --exclude-throw-branches --exclude-unreachable-branches \
        --exclude-branches-by-pattern '.*\bassert\(.*' --print-summary "$@"
}
measure --filter src/ --html-details build/coverage/report/index.html --fail-under-line 95 --fail-under-branch 85
measure --filter 'src/wire/receive' --filter 'src/reply/row_store' --fail-under-branch 100
