#!/usr/bin/env bash
# Measures the driver: everything, reported in build/bench/report.md with charts, or only what continuous integration guards.
# Usage: bench.sh          the whole measurement, about twenty minutes; the machine should be idle otherwise
#        bench.sh cpp      tarnsql.hpp against the C calls that it replaces: time and instructions
#        bench.sh python   the Python module against psycopg2 and sqlite3; also part of the whole measurement
#        bench.sh shell    tarnsh's CSV and tables against psql's: CPU time of the clients, and tarnsh's memory in each format
#        bench.sh guard    instructions per row against bench/instructions.json, and one quick run of every benchmark
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

# shellcheck disable=SC2086
need_packages $build_packages libbenchmark-dev libpq-dev libmariadb-dev valgrind
cmake --preset bench >/dev/null
cmake --build --preset bench
measured=build/bench/measured
mkdir -p "$measured"

beside_python() {
    need_packages python3-dev python3-psycopg2 postgresql
    cmake --preset release >/dev/null
    cmake --build --preset release --target tarnsql tarnlite tarnsql_python_core
    python3 bench/python/run.py --build build/release --json "$measured/python.json"
}

beside_psql() {
    need_packages postgresql time
    cmake --preset release >/dev/null
    cmake --build --preset release --target tarnsh tarnlite
    python3 bench/shell/run.py --tools build/release/tools --json "$measured/shell.json" \
        --formats table box csv tsv list json html markdown vertical
}

case "${1:-all}" in
cpp)
    python3 bench/run_parts.py --build build/bench --only cpp
    python3 bench/cpp_instructions.py --build build/bench
    ;;
python)
    beside_python
    ;;
shell)
    beside_psql
    ;;
all)
    need_packages python3-matplotlib
    python3 bench/end_to_end/run.py --build build/bench --json "$measured/end_to_end.json" \
        --instructions --in-library --growth
    python3 bench/run_parts.py --build build/bench --json "$measured/parts.json"
    python3 bench/cpp_instructions.py --build build/bench --json "$measured/parts.json"
    beside_python
    beside_psql
    /usr/bin/python3 bench/report.py --end-to-end "$measured/end_to_end.json" --parts "$measured/parts.json" \
        --limits docs/performance.md --report build/bench/report.md
    echo build/bench/report.md
    ;;
guard)
    python3 bench/end_to_end/run.py --build build/bench --rows 1000 --runs 1 --json "$measured/guard.json" --in-library
    python3 bench/guard.py "$measured/guard.json" bench/instructions.json
    python3 bench/run_parts.py --build build/bench --json "$measured/quick.json" --quick >/dev/null
    ;;
*)
    echo "usage: bench.sh [cpp|python|shell|guard]" >&2
    exit 2
    ;;
esac
