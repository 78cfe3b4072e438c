#!/usr/bin/env bash
# Stops in an action under gdb, on the engine, as scripts/actionhost runs it:
#   scripts/debug.sh PACKAGE.msi ACTION [PROPERTY=value ...] [--data TEXT] [--cost]
# DEBUG_COMMANDS names a file of gdb commands to run there instead of a prompt.
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

[ $# -ge 2 ] || fail "usage: debug.sh PACKAGE.msi ACTION [PROPERTY=value ...]"
command -v gdb >/dev/null || fail "gdb is not there; run: apt-get install gdb"
export MACHINE=$REPO/build/machines/debug
new_machine "$MACHINE"
work=$(mktemp -d)
trap 'stop_machine "$MACHINE"; rm -rf "$work"' EXIT
mkfifo "$work/enter"
"$REPO/scripts/actionhost" "$@" --wait <"$work/enter" >"$work/output" 2>&1 &
exec 3>"$work/enter"
for _ in {1..60}; do
    grep -q '^waiting' "$work/output" && break
    kill -0 $! 2>/dev/null || { cat "$work/output"; exit 1; }
    sleep 1
done

IMAGE_BASE=0x10000000 # for which the library is linked
# The library is a part of the host's process, which on Linux is a process like others;
# gdb learns here where it is, and that the engine uses some signals itself.
process=$(pgrep -f '^B:.actionhost.exe .*--wait' | head -n 1)
base=0x$(grep -m 1 -i 'setupactions.dll' "/proc/$process/maps" | cut -d - -f 1)
batch=()
[ -z "${DEBUG_COMMANDS:-}" ] || batch=(-batch -x "$DEBUG_COMMANDS")
gdb -q -p "$process" -iex 'set confirm off' -iex 'set auto-solib-add off' \
    -ex 'handle SIGUSR1 SIGUSR2 SIGSEGV nostop noprint pass' \
    -ex "add-symbol-file $REPO/build/x86/setupactions.dll -o $((base - IMAGE_BASE))" \
    -ex "break ${2}Body" -ex 'shell echo >&3' -ex continue "${batch[@]}"
cat "$work/output"
