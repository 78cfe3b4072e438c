#!/usr/bin/env bash
# Prints for each folder of the library how many of its lines the unit tests run:
#   scripts/coverage.sh [PATTERN]   (of the names of rooms; without one, all)
# Builds the preset "coverage", which is not optimised, in build/coverage.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

cd "$REPO"
folder=$REPO/build/coverage
mkdir -p build
say "building (output in build/coverage.log)"
{ cmake --preset coverage && cmake --build --preset coverage; } >build/coverage.log 2>&1 ||
    { tail -n 20 build/coverage.log >&2; fail "the build failed"; }
find "$folder" -name '*.gcda' -delete

# What the program counted it adds at its end to what stands beside its objects, one run
# after the other: the build folder is the drive B: on the machine.
components=${folder//[!\/]/}
export GCOV_PREFIX=B: GCOV_PREFIX_STRIP=${#components}
new_machine "$REPO/build/machines/tests-coverage"
trap 'stop_machine "$REPO/build/machines/tests-coverage"' EXIT
ctest --preset coverage -R "${1:-.}" --output-on-failure ||
    say "the figures are of a run with failed tests"

# gcov prints for each source: File 'PATH', then: Lines executed:PERCENT% of LINES.
find "$folder" -path '*setupactions_code*' -name '*.gcno' -print0 |
    xargs -0 -n 50 i686-w64-mingw32-gcov-posix -n 2>/dev/null |
    awk -v top="$REPO/" '
        /^File / {
            file = substr($0, 7, length($0) - 7)
            if (index(file, top) == 1) file = substr(file, length(top) + 1)
            sub(/^(\.\.\/)+/, "", file)
            counts = file ~ /^[a-z].*\.cpp$/
            folder = file
            sub("/[^/]*$", "", folder)
        }
        /^Lines executed:/ && counts {
            split($0, part, /[:%]|of /)
            lines[folder] += part[4]
            run[folder] += part[2] / 100 * part[4]
            counts = 0
        }
        END {
            for (name in lines) {
                printf "%5.1f %%  %5d lines  %s\n", 100 * run[name] / lines[name], lines[name], name | "sort -k 5"
                all += lines[name]
                ran += run[name]
            }
            close("sort -k 5")
            if (all) printf "%5.1f %%  %5d lines  in all\n", 100 * ran / all, all
        }'
