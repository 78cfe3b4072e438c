#!/usr/bin/env bash
# Builds and runs every check: format, static analysis, tests on the engine.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

"$REPO/scripts/build.sh"
cd "$REPO"
"$REPO/scripts/lint.sh"

say "running the tests"
for machine in "$REPO"/build/machines/*/; do stop_machine "${machine%/}"; done
new_machine "$REPO/build/machines/tests"
WINEPREFIX=$REPO/build/machines/tests keep_machine
trap 'stop_machine "$REPO/build/machines/tests"' EXIT
ctest --preset x86 -j "$(nproc)"
