#!/usr/bin/env bash
# The detection demo finds everything, and reports what it misses.
source "$(dirname "$0")/../support/check.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
demo() { "$REPO/scripts/detect-demo.sh" "$@" >"$work/out" 2>&1; }

check "everything planted is found" demo
check "and it is shown" has "$work/out" 'changed  JAVA_HOME: (not set) -> "C:\j2sdk1.4.2_06\"'
check "nothing is missed" has_not "$work/out" "MISSED"

grep -v -i -e SYBASE -e '1.4.2_06\]' "$REPO/package/sample/machine.reg" >"$work/less.reg"
check "it fails on a machine that lacks two things" eval '! demo "$work/less.reg"'
check "the first is reported" has "$work/out" 'MISSED   HASSYBASECLIENT: "", expected 1'
check "and both are counted, with the folder that depends on one" has "$work/out" \
    "3 properties were not found as planted"

finish
