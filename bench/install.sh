#!/usr/bin/env bash
# The sample's installation against the same package with a DLL of empty actions:
# install.sh [RUNS]. The best of RUNS (3) of each, in turn, each on a fresh machine; and how
# much of the difference is waiting for programs that actions must run and for services.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/engine.sh"
source "$REPO/scripts/web_server.sh"
source "$REPO/scripts/sample-machine.sh"

runs=${1:-3}
build=$REPO/build/x86
cmake --build "$build" --target product empty_actions >/dev/null
planted=$REPO/build/machines/bench-planted
export WINEPREFIX=$planted
work=$(mktemp -d)
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work" "$planted" "$REPO/build/machines/bench"' EXIT

# The empty package beside the sample, whose redistributables it installs.
cp "$build/sample.msi" "$build/empty.msi"
msibuild "$build/empty.msi" -a Binary.setupactions "$build/empty_actions.dll"

# The calls of the actions that wait: a line of the trace for each and one for its end.
WAITING='KERNEL32.Sleep;KERNEL32.CreateProcessA'
{
    new_machine "$planted"
    map_drive "$planted" p "$build"
    plant_web_server
    plant_sample_machine "$planted"
    plant_older_add_on "$planted"
    (cd "$planted/drive_c" && "$REPO/scripts/engine-exec" reg add 'HKCU\Software\Wine\Debug' \
        /v RelayInclude /d "$WAITING" /f)
    "$WINESERVER" -w
} >"$work/planting" 2>&1 || fail "the machine could not be made: $(tail -3 "$work/planting")"

# install PACKAGE [CHANNELS]: on a new machine; prints the seconds. The trace is in $work.
install() {
    local start
    export WINEPREFIX=$REPO/build/machines/bench
    copy_machine "$planted" "$WINEPREFIX"
    keep_machine
    cd "$WINEPREFIX/drive_c"
    start=$EPOCHREALTIME
    WINEDEBUG=-all${2:-} timeout 300 "$WINELOADER" msiexec /i "P:\\$1.msi" INSTALLMODE=Expand EXPANDAPS=1 \
        EXPANDEVENT=1 SAMPLESERVER=alpha /qn >"$work/trace" 2>&1 || fail "$1.msi could not be installed"
    awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.3f\n", b - a }'
    cd "$REPO"
    stop_machine "$WINEPREFIX"
}
for ((run = 0; run < runs; ++run)); do
    install sample >>"$work/sample"
    install empty >>"$work/empty"
done
install sample ,+timestamp,+pid,+relay >/dev/null

# The actions run in the process that starts programs.
waited=$(tr -d '\r' <"$work/trace" | awk -F: '
    $4 ~ /^Call KERNEL32.CreateProcessA/ { actions[$2] = 1 }
    $4 ~ /^Call KERNEL32.(CreateProcessA|Sleep)/ { start[$2 $3] = $1 }
    $4 ~ /^Ret  KERNEL32.(CreateProcessA|Sleep)/ && $2 $3 in start { waited[$2] += $1 - start[$2 $3] }
    END { for (process in actions) sum += waited[process]; print sum }')
least() { sort -g "$work/$1" | head -1; }
awk -v sample="$(least sample)" -v empty="$(least empty)" -v waited="$waited" 'BEGIN {
    printf "the sample'\''s installation\t%.2f\tthe same with a DLL of empty actions\n", sample / empty
    printf "of it, waiting for outside programs and services\t%.2f\twhat the actions add\n", waited / (sample - empty)
}'
