#!/usr/bin/env bash
# Measures how much of the driver's code the suites run, and fails below 95 % of lines and 85 % of branches.
# The report by file and line goes to build/coverage/report.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages libgtest-dev unicode-data gcovr

cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j"$(nproc)" -E '^install|never_ends_the_process'
mkdir -p build/coverage/report
gcovr --root . --filter src/ --object-directory build/coverage --exclude-throw-branches --exclude-unreachable-branches \
    --html-details build/coverage/report/index.html --print-summary --fail-under-line 95 --fail-under-branch 85
