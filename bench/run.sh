#!/usr/bin/env bash
# Edits of text files against GNU sed and cp on the same files: run.sh [RUNS]
# Prints the best of RUNS (3) for each, and ours as multiples of theirs; then the log
# report (logreport.sh).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/engine.sh"

runs=${1:-3}
cmake --preset x86 -S "$REPO" >/dev/null
cmake --build "$REPO/build/x86" --target textfiles_bench >/dev/null
work=$REPO/build/x86/bench # on the machine's drive B:
mkdir -p "$work"
trap 'rm -rf "$work"' EXIT
cd "$work"
export LC_ALL=C

printf '<!-- block starts -->\r\nkey = 1\r\nkey = 2\r\n<!-- block ends -->\r\n' >block

# make_file MEGABYTES: settings; a placeholder in every 20th line, the merge
# point nine tenths down.
make_file() {
    awk -v bytes=$(($1 * 1024 * 1024)) 'BEGIN {
        ORS = "\r\n"
        for (line = 1; size < bytes; ++line) {
            text = sprintf("setting.%07d.of.the.report.server = value of line %d", line, line)
            if (line % 20 == 0) text = text " %NAME" (line / 20 % 20 + 1) "%"
            if (!done && size > bytes * 0.9) { text = "<merge> <point>"; done = 1 }
            size += length(text) + 2
            print text
        }
    }' >source
}

# best COMMAND ...: runs it on a fresh copy of source; the least of the seconds
# (first word that it prints) with the rest of that line.
best() {
    for ((run = 0; run < runs; ++run)); do
        cp source file
        "$@"
    done | sort -g | head -1
}
timed() {
    local start=$EPOCHREALTIME
    "$@" >/dev/null
    awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.4f\n", b - a }'
}
ours() { "$REPO/scripts/engine-run" "$REPO/build/x86/textfiles_bench.exe" "$1" 'B:\bench\file' "$2"; }

# row NAME MEGABYTES ARGUMENT SED-ARGUMENT ...
row() {
    local name=$1 megabytes=$2 argument=$3 seconds peak sed_seconds cp_seconds
    shift 3
    read -r seconds peak <<<"$(best ours "${name%% *}" "$argument")"
    cp file result
    read -r sed_seconds <<<"$(best timed sed -i "$@" file)"
    cmp -s file result || fail "$name: sed and the engine differ"
    read -r cp_seconds <<<"$(best timed cp source copy)"
    awk -v n="$name" -v m="$megabytes" -v s="$seconds" -v p="$peak" -v d="$sed_seconds" -v c="$cp_seconds" 'BEGIN {
        printf "%-15s %4d MB  %8.3f s  %6d KB  sed x %5.2f  cp x %6.2f\n", n, m, s, p, s / d, s / c }'
}

fills() { for ((i = 1; i <= $1; ++i)); do printf -- '-e\ns/%%NAME%d%%/value %d/\n' "$i" "$i"; done; }
mapfile -t one < <(fills 1)
mapfile -t twenty < <(fills 20)

for megabytes in 1 10 100; do
    make_file "$megabytes"
    row merge "$megabytes" 'B:\bench\block' -e '/merge.*point/Ir block'
    row 'instantiate 1' "$megabytes" 1 "${one[@]}"
    row 'instantiate 20' "$megabytes" 20 "${twenty[@]}"
    sed -i '/merge.*point/Ir block' source
    row unmerge "$megabytes" 'B:\bench\block' -e '/<!-- block starts -->/I,/<!-- block ends -->/Id'
done

"$REPO/bench/logreport.sh" 500 "$runs"
