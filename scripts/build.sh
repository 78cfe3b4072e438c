#!/usr/bin/env bash
# Builds everything (the DLL, the host, the sample package and the tests), or
# the targets given.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

"$REPO/scripts/setup.sh"
cd "$REPO"
log=build/build.log
targets=()
[ $# = 0 ] || targets=(--target "$@")
mkdir -p build
say "building (output in $log)"
if ! { cmake --preset x86 && cmake --build --preset x86-all "${targets[@]}"; } >"$log" 2>&1; then
    grep -E -A3 'error|Error|FAILED' "$log" | head -n 40 >&2 || tail -n 20 "$log" >&2
    fail "the build failed; the whole output is in $log"
fi
