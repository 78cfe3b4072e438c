#!/usr/bin/env bash
# Builds and runs every check: format, static analysis, tests on the engine.
#   scripts/test.sh [PATTERN]   (of the tests' names, such as a room; without one, all)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

"$REPO/scripts/setup.sh"
cd "$REPO"
mkdir -p build
cmake --preset x86 >build/build.log 2>&1 || { tail -n 20 build/build.log >&2; fail "cmake could not read the project"; }

# The sources are checked while the tests wait for their machines.
say "checking the sources meanwhile (output in build/lint.log)"
setsid nice "$REPO/scripts/lint.sh" >build/lint.log 2>&1 &
lint=$!
trap 'kill -- -"$lint" 2>/dev/null || true' EXIT

"$REPO/scripts/build.sh"
say "running the tests"
for machine in "$REPO"/build/machines/*/; do stop_machine "${machine%/}"; done
for machine in tests sweep fuzz; do new_machine "$REPO/build/machines/$machine"; done
tests=0
# More tests than processors: a good part of their time is waiting.
ctest --preset x86 -j $(($(nproc) * 3 / 2)) -R "${1:-.}" || tests=$?
say "waiting for the sources' check"
wait "$lint" || { cat build/lint.log >&2; fail "the sources' check failed"; }
exit "$tests"
