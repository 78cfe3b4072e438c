#!/usr/bin/env bash
# Runs actions on hostile machines for so many seconds (60), each made from a seed,
# up to the first that goes wrong; or one again, from its seed:
#   scripts/fuzz.sh [SECONDS]
#   scripts/fuzz.sh 0 SEED
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

program=$REPO/build/x86/tests/unit_tests.exe
[ -f "$program" ] || fail "the fuzzer is not built yet; run: scripts/build.sh"
export FUZZ_SECONDS=${1:-60} FUZZ_SEED=${2:-}
log=$(mktemp)
trap 'rm -f "$log"' EXIT
timeout $((FUZZ_SECONDS + 60)) "$REPO/scripts/engine-run" "$program" exports/fuzz --gtest_brief=1 >"$log"
code=$?
last=$(grep '^seed ' "$log" | tail -1)
say "$(grep -c '^seed ' "$log") machines"
[ $code = 0 ] || { grep -v '^seed ' "$log"; fail "again: scripts/fuzz.sh 0 ${last#seed }"; }
