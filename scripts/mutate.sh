#!/usr/bin/env bash
# Seeds one-line faults into a copy of the sources, one after another, and reports which of them the suites notice. The lists are
# in tests/mutants, one file per directory of the sources; the copy with its builds is in build/mutants. All of them take hours.
# Usage: mutate.sh [--trusting] [ROOM | ROOM/NAME]...
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages libgtest-dev libssl-dev unicode-data python3 python3-pexpect ccache

export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
export CCACHE_NOHASHDIR=1 CCACHE_BASEDIR=$PWD/build/mutants/tree CCACHE_SLOPPINESS=pch_defines,time_macros
exec nice -n 10 python3 tests/mutants/mutate.py . build/mutants "$@"
