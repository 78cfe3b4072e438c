# shellcheck shell=bash disable=SC2034
# Sourced by the other scripts: where the engine lives and how a machine on it
# is made and entered. Sets no shell option.

REPO=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# Raise the number when setup.sh makes something else of the engine.
ENGINE_HOME=${SETUPACTIONS_ENGINE:-${XDG_CACHE_HOME:-$HOME/.cache}/setupactions/engine-1}
ENGINE_WINE=$ENGINE_HOME/wine
ENGINE_TEMPLATE=$ENGINE_HOME/template

export WINEARCH=win32
export WINELOADER=$ENGINE_WINE/usr/lib/wine/wine
export WINESERVER=$ENGINE_WINE/usr/lib/wine/wineserver32
export WINEDEBUG=${WINEDEBUG:--all}
export DISPLAY=

say() { printf '[%s] %s\n' "$(basename "$0" .sh)" "$*"; }
fail() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# new_machine DIR: a fresh machine (prefix) in DIR, replacing one that is there.
# Large files are hard links to the template's; what programs write in place is copied.
new_machine() {
    local dir=$1
    [ ! -d "$dir" ] || { stop_machine "$dir"; rm -rf "$dir"; }
    mkdir -p "$(dirname "$dir")"
    cp -al "$ENGINE_TEMPLATE" "$dir"
    (cd "$ENGINE_TEMPLATE" && find . -type f \( -name '*.reg' -o -name '*.ini' -o -path '*/drivers/etc/*' \) -print0) |
        while IFS= read -r -d '' file; do
            cp --remove-destination -p "$ENGINE_TEMPLATE/$file" "$dir/$file"
        done
}

# copy_machine FROM DIR: a machine in DIR like the stopped one in FROM, replacing one
# that is there. What both share with the template stays shared.
copy_machine() {
    local from=$1 dir=$2 own
    [ ! -d "$dir" ] || { stop_machine "$dir"; rm -rf "$dir"; }
    own=$(mktemp)
    (cd "$from" && find . -type f -links 1 -print0) >"$own"
    cp -al "$from" "$dir"
    (cd "$from" && xargs -0 cp -p --remove-destination --parents -t "$dir") <"$own"
    rm "$own"
}

# map_drive MACHINE LETTER DIR: lets the machine see DIR as a drive.
map_drive() { ln -sfn "$3" "$1/dosdevices/$2:"; }

# stop_machine DIR: ends every program of the machine.
stop_machine() { WINEPREFIX=$1 "$WINESERVER" -k 2>/dev/null || true; }

# start_machine: starts $WINEPREFIX. What runs in its background must not hold
# the caller's output open, or a reader of it would wait for its end.
start_machine() { "$WINELOADER" cmd /c exit >/dev/null 2>&1 </dev/null; }

# keep_machine: starts $WINEPREFIX and keeps it running until stop_machine.
keep_machine() {
    "$WINESERVER" -p
    start_machine
}

# machine_runs: true when $WINEPREFIX runs. Its server keeps the name of the folder with
# its socket in the machine, and takes the socket away at its end.
machine_runs() {
    local folder place
    folder=$(cat "$WINEPREFIX/wineserver" 2>/dev/null) && place=$(stat -c '%d %i' "$WINEPREFIX") || return
    # shellcheck disable=SC2086,SC2183 # two numbers
    [ -S "/tmp/$folder/server-$(printf '%x-%x' $place)/socket" ]
}

# run_on_engine PROGRAM [ARGUMENT ...]: runs a Windows program on $WINEPREFIX, and ends
# when its output is written. The engine's complaint about a font library that nothing
# here needs is left out.
run_on_engine() {
    machine_runs || start_machine
    {
        {
            "$WINELOADER" "$@" 2>&3 3>&- | tr -d '\r' >&4
            exit "${PIPESTATUS[0]}"
        } 3>&1 | {
            grep --line-buffered -v -e FreeType -e '^use TrueType fonts' -e '^or equal to 2.0.5' \
                -e 'freetype.org' >&2 || true
        }
        return "${PIPESTATUS[0]}"
    } 4>&1
}
