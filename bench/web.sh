#!/usr/bin/env bash
# The web configuration by its rows: 100 and 500 virtual directories against 10.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/engine.sh"

cmake --preset x86 -S "$REPO" >/dev/null
cmake --build "$REPO/build/x86" --target web_bench >/dev/null
export MACHINE=$REPO/build/machines/web-bench
trap 'stop_machine "$MACHINE"' EXIT
new_machine "$MACHINE"
# NAME  10 rows ms (x 1.0)  100 rows ms (x N)  500 rows ms (x N)
times() { "$REPO/scripts/engine-run" "$REPO/build/x86/tests/web_bench.exe" --gtest_brief=1; }
number=' +[0-9.]+ ms \(x +([0-9.]+)\)'
times | tee /dev/stderr | sed -nE "s/^(.*[^ ])$number$number$number.*/\1\t\3\t\4/p" |
    while IFS=$'\t' read -r what hundred five_hundred; do
        printf '%s, 100 rows\t%s\t10 rows\n' "$what" "$hundred"
        printf '%s, 500 rows\t%s\t10 rows\n' "$what" "$five_hundred"
    done
