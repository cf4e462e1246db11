#!/usr/bin/env bash
# Makes every call from twelve threads on five connections, and as many on encrypted ones, for the given minutes, under
# ThreadSanitizer and AddressSanitizer or the named presets, all at once, and checks each answer. Prints the calls made, the wrong
# answers and the sanitizers' reports; the logs are in build/soak. Usage: soak.sh MINUTES [tsan|asan|release]...
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages libgtest-dev libssl-dev
minutes=${1:?how many minutes}
shift
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(tsan asan)

for preset in "${presets[@]}"; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target live_test tarnlite
done

mkdir -p build/soak
test=live_threads.get_their_own_answers_from_every_call_on_a_shared
runs=()
for preset in "${presets[@]}"; do
    for channel in plain encrypted; do
        run=$preset-$channel
        rm -f "build/soak/$run.log" "build/soak/$run.status"
        filter=${test}_connection
        [ $channel = plain ] || filter=${test}_encrypted_connection
        (
            status=0
            SOAK_SECONDS=$((minutes * 60)) timeout $((minutes * 60 + 600)) "build/$preset/tests/live/live_test" \
                --gtest_filter="$filter" >"build/soak/$run.log" 2>&1 || status=$?
            echo "$status" >"build/soak/$run.status"
        ) &
        runs+=("$run")
    done
done
wait

failed=0
for run in "${runs[@]}"; do
    log=build/soak/$run.log
    status=$(cat "build/soak/$run.status")
    calls=$(sed -n 's/^checked calls: //p' "$log")
    wrong=$(grep -c '^.*: Failure$' "$log" || true)
    reports=$(grep -cE '(WARNING|ERROR): (Thread|Address|Leak)Sanitizer|: runtime error:' "$log" || true)
    echo "$run: ${calls:-no} calls, $wrong wrong answers, $reports reports, exit status $status"
    [ "$status" -eq 0 ] && [ "$reports" -eq 0 ] && [ -n "$calls" ] || failed=1
done
exit $failed
