#!/usr/bin/env bash
# Copying and removing many files against the engine's own programs.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/engine.sh"

cmake --build "$REPO/build/x86" --target files_bench >/dev/null
work=$REPO/build/x86/files-bench # on the machine's drive B:
rm -rf "$work"
trap 'rm -rf "$work"' EXIT
"$REPO/scripts/engine-run" "$REPO/build/x86/files_bench.exe" 'B:\files-bench'
