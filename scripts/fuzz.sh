#!/usr/bin/env bash
# Runs every fuzz target: first over its corpus, then on generated inputs, for some seconds each (30, or as given; 0: corpus
# only). New inputs go to build/fuzz/found, failures to build/fuzz/failures. Usage: fuzz.sh [SECONDS]
#        fuzz.sh minimize     rebuilds the corpus: the fewest inputs, old or found, with the same coverage
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages clang cmake ninja-build

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
targets=(login encrypted_login results statements lobs conn_string binds)
# No single allocation is larger than twice what has arrived plus 1 MiB; inputs are small.
limits=(-malloc_limit_mb=2 -rss_limit_mb=2048 -timeout=10 -max_len=4096)
mkdir -p build/fuzz/failures/
for target in "${targets[@]}"; do
    program=build/fuzz/fuzz/fuzz_$target
    corpus=fuzz/corpus/$target
    found=build/fuzz/found/$target
    mkdir -p "$found"
    if [ "${1:-}" = minimize ]; then
        rm -rf build/fuzz/fewest
        mkdir build/fuzz/fewest
        "$program" -set_cover_merge=1 -use_counters=0 -max_len=600 build/fuzz/fewest "$corpus" "$found" 2>&1 | tail -1
        rm -r "$corpus"
        mv build/fuzz/fewest "$corpus"
        continue
    fi
    echo "== $target: its corpus of $(find "$corpus" -type f | wc -l) inputs"
    "$program" "${limits[@]}" -runs=0 "$corpus" >build/fuzz/log 2>&1 || { cat build/fuzz/log; exit 1; }
    [ "${1:-30}" -gt 0 ] || continue
    "$program" "${limits[@]}" -max_total_time="${1:-30}" -artifact_prefix=build/fuzz/failures/ -print_final_stats=1 \
        "$found" "$corpus" >build/fuzz/log 2>&1 || { tail -100 build/fuzz/log; exit 1; }
    grep -E "^(Done|stat::number_of_executed_units|stat::peak_rss_mb)" build/fuzz/log
done
