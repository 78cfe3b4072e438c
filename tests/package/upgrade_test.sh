#!/usr/bin/env bash
# A customer's machine after upgrades of the sample package: nothing is lost, doubled or
# left except what the reference documents.
source "$(dirname "$0")/../support/check.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
check "upgrades and an update keep what is the customer's" eval \
    '"$REPO/scripts/upgrade-demo.sh" early late minor older >"$work/out"'
for run in early late minor; do
    for line in 'kept     own   a clone of the server' 'kept     off   the add-in, switched off' \
        'gone     old   the renamed virtual directory'; do
        check "$run: ${line##* }" has_line "$work/out" "$(printf '%-8s %s' "$run" "$line")"
    done
done
finish
