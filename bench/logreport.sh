#!/usr/bin/env bash
# The log report against grep -c . on the same logs: logreport.sh [MEGABYTES [RUNS]]
# The best of RUNS (3) of each, for a verbose log of 500 MB in the ANSI code page and in
# the form of Windows: ours without the program's start on the engine (which is timed too,
# with --help). Seconds and the program's peak memory go to the standard error.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/engine.sh"

megabytes=${1:-500}
runs=${2:-3}
cmake --preset x86 -S "$REPO" >/dev/null
cmake --build "$REPO/build/x86" --target logreport >/dev/null
work=$(mktemp -d "$REPO/build/x86/bench.XXXX")
export WINEPREFIX=$REPO/build/machines/logreport-bench
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT
[ -d "$WINEPREFIX" ] || new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" l "$work"
map_drive "$WINEPREFIX" b "$REPO/build/x86"
keep_machine
"$WINELOADER" 'B:\logreport.exe' --help >/dev/null 2>&1 # the first start takes longer

# What most lines of a verbose log are, with an action in every 500th and a line of the
# library's in every 200th.
awk -v bytes=$((megabytes * 1024 * 1024)) 'BEGIN {
    ORS = "\r\n"
    action = "Action"
    quote = "\047"
    head = "MSI (s) (5C:08) [09:15:01:233]: "
    print "Action start 9:15:01: INSTALL."
    for (i = 1; size < bytes; ++i) {
        if (i % 500 == 0) text = action " start 9:15:01: F" i ".\r\n" action " ended 9:15:01: F" i ". Return value 1."
        else if (i % 200 == 0) text = "3/14/2024, 9:15:01: Attempting to start Service number " i
        else if (i % 20 == 0) text = head "PROPERTY CHANGE: Adding F" i " property. Its value is " quote i quote "."
        else if (i % 5 == 0) text = head "Executing op: RegAddValue(Name=Gauge" i ",Value=a value of some length,)"
        else if (i % 5 == 1) text = head "Note: 1: 2205 2:  3: Patch "
        else if (i % 5 == 2) text = head "File: C:\\Gauges\\gauge" i ".dll;\tTo be installed;\tNo existing file"
        else if (i % 5 == 3) text = head "Component: Gauge" i "; Installed: Absent;   Request: Local;   Action: Local"
        else text = "File: gauge" i ".dll,  Directory: C:\\Program Files\\Gauges\\,  Size: 90112"
        size += length(text) + 2
        print text
    }
    print "Action ended 9:16:01: INSTALL. Return value 1."
}' >"$work/ANSI"
{ printf '\xff\xfe'; head -c $((megabytes * 512 * 1024)) "$work/ANSI" | iconv -f ASCII -t UTF-16LE; } >"$work/UTF-16"

# best COMMAND ...: the least of its seconds.
best() {
    for ((run = 0; run < runs; ++run)); do
        local start=$EPOCHREALTIME
        "$@" >"$work/out" 2>&1 || true # grep would stop early for /dev/null
        awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.3f\n", b - a }'
    done | sort -g | head -1
}
# peak LOG: the program's largest memory in KB, looked at while it reads.
peak() {
    local pid most=0 now
    "$WINELOADER" 'B:\logreport.exe' "L:\\$1" >/dev/null 2>&1 &
    pid=$!
    while kill -0 "$pid" 2>/dev/null; do
        now=$(awk '/^VmHWM/ { print $2 }' "/proc/$pid/status" 2>/dev/null) || break
        most=${now:-$most}
        sleep 0.05
    done
    echo "$most"
}
start=$(best "$WINELOADER" 'B:\logreport.exe' --help)
for form in ANSI UTF-16; do
    seconds=$(best "$WINELOADER" 'B:\logreport.exe' "L:\\$form")
    grep_seconds=$(LC_ALL=C best grep -c . "$work/$form")
    awk -v f="$form" -v m="$megabytes" -v s="$seconds" -v p="$(peak "$form")" -v g="$grep_seconds" \
        -v t="$start" 'BEGIN {
        s -= t
        printf "%s: %.3f s, %.3f s start, %d KB\n", f, s, t, p >"/dev/stderr"
        printf "read a log of %d MB, %s\t%.2f\tgrep -c .\n", m, f, s / g }'
done
