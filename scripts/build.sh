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
# Shows how far the build is: on one line of a terminal, elsewhere every ten seconds.
show_progress() {
    local line last=$SECONDS
    while IFS= read -r line; do
        [[ $line =~ ^\[[0-9]+/[0-9]+\] ]] || continue
        if [ -t 1 ]; then
            printf '\r[build] %s ' "${BASH_REMATCH[0]}"
        elif [ $((SECONDS - last)) -ge 10 ]; then
            say "${BASH_REMATCH[0]}"
            last=$SECONDS
        fi
    done
    [ ! -t 1 ] || printf '\r\033[K'
}

# One build at a time: tests that show the demos build, too.
exec 8>build/build.lock
flock 8
say "building (output in $log)"
build() {
    # Afterwards the build reads the project anew by itself when that changed.
    [ -f build/x86/build.ninja ] || cmake --preset x86
    cmake --build --preset x86-all "${targets[@]}"
}
if ! build 2>&1 8>&- | tee "$log" | show_progress; then
    grep -E -A3 'error|Error|FAILED' "$log" | head -n 40 >&2 || tail -n 20 "$log" >&2
    fail "the build failed; the whole output is in $log"
fi
