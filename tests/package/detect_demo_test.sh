#!/usr/bin/env bash
# The demo of detection: it finds everything, and tells when it does not.
source "$(dirname "$0")/../support/check.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
demo() { "$REPO/scripts/detect-demo.sh" "$@" >"$work/out" 2>&1; }

check "everything planted is found" demo
check "and shown" has "$work/out" 'changed  JAVA_HOME: (not set) -> "C:\j2sdk1.4.2_06\"'
check "nothing is missed" has_not "$work/out" "MISSED"

grep -v -i -e SYBASE -e '1.4.2_06\]' "$REPO/package/sample/machine.reg" >"$work/less.reg"
check "a machine without two things fails" eval '! demo "$work/less.reg"'
check "the first is named" has "$work/out" 'MISSED   HASSYBASECLIENT: "", expected 1'
check "and counted, with the folder that hangs on it" has "$work/out" "3 properties were not found as planted"

finish
