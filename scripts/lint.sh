#!/usr/bin/env bash
# Checks what compilers and tests do not: formatting, line length, names, unused things and common mistakes in C++, C#, shell,
# Python and CMake.
# Usage: lint.sh [--fast]    --fast skips clang-tidy, which takes most of the time
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086
need_packages $build_packages libgtest-dev libssl-dev python3-dev clang-format clang-tidy-16 shellcheck flake8 mypy cmake-format

status=0
check() { # NAME COMMAND...
    name=$1
    shift
    if output=$("$@" 2>&1); then
        echo "-- $name"
    else
        printf '%s\n' "$output"
        echo "-- $name: see above"
        status=1
    fi
}
listed() { git ls-files -- "$@"; }
# shellcheck disable=SC2317 # run by check
overlong() { # WIDTH FILE...    fails when a line is longer, except in Markdown tables and where clang-format is off
    perl -CSD -ne 'BEGIN { $width = shift; $bad = 0 }
        $off = 0 if $. == 1;
        $off = 1 if /clang-format off/;
        $off = 0 if /clang-format on/;
        chomp;
        if (length > $width && !$off && !/^\|/) { print "$ARGV:$.: ", length, " columns\n"; $bad = 1 }
        close ARGV if eof;
        END { exit $bad }' "$@"
}

mapfile -t sources < <(listed '*.c' '*.cpp' '*.h' '*.hpp')
mapfile -t shell < <(listed '*.sh' .ci/run packaging/debian/*.postinst packaging/debian/*.prerm)
mapfile -t python < <(listed '*.py')
mapfile -t cmake < <(listed '*CMakeLists.txt' '*.cmake')
mapfile -t csharp < <(listed '*.cs')
mapfile -t markdown < <(listed '*.md')

check "formatting" clang-format --dry-run -Werror "${sources[@]}"
check "line length of C, C++ and C#" overlong 110 "${sources[@]}" "${csharp[@]}"
check "line length of the rest" overlong 140 "${markdown[@]}" "${shell[@]}" "${python[@]}" "${cmake[@]}"
check "shell" shellcheck -x -P SCRIPTDIR "${shell[@]}"
check "Python" flake8 --max-line-length 140 --extend-ignore E203,W503 "${python[@]}"
check "types of the Python module" env MYPYPATH=bindings/python/src mypy --strict --cache-dir build/mypy bindings/python/src/tarnsql
check "indentation of CMake" cmake-lint --suppress-decorations --line-width 140 \
    --disabled-codes C0102 C0103 C0111 C0112 C0113 C0301 C0305 E1120 E1122 E1126 R0912 R0915 W0105 W0106 -- "${cmake[@]}"
if [ "${1:-}" != --fast ]; then
    cmake --preset release >/dev/null
    mkdir -p build/lint # without the flags that only g++ has, and its precompiled headers
    sed -E 's/ -f(no-if-conversion2?|vect-cost-model=[a-z]+)| -Winvalid-pch| -include [^ ]*cmake_pch.hxx//g' \
        build/release/compile_commands.json >build/lint/compile_commands.json
    # shellcheck disable=SC2317 # "check" calls it
    tidy() {
        run-clang-tidy-16 -quiet -clang-tidy-binary clang-tidy-16 -p build/lint -j "$(nproc)" \
            -extra-arg=-Wno-unknown-warning-option -extra-arg=-Wno-sign-conversion "$PWD/(src|tools|bindings)/" 2>&1 |
            sed -E '/^clang-tidy-16 |[0-9]+ warnings? generated\.$/d'
    }
    check "clang-tidy" tidy
fi
exit $status
