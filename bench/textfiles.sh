#!/usr/bin/env bash
# Edits of text files against GNU sed on the same files: textfiles.sh [RUNS]
# Both results must be equal byte by byte. The best of RUNS (5) of each, taken in turn.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/engine.sh"

runs=${1:-5}
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

# ours OPERATION ARGUMENT: seconds and peak kilobytes of an edit of "file", by the program itself.
ours() { "$REPO/scripts/engine-run" "$REPO/build/x86/textfiles_bench.exe" "$1" 'B:\bench\file' "$2"; }
seds() {
    local start=$EPOCHREALTIME
    sed -i "$@" file
    awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.4f\n", b - a }'
}

# compare NAME OPERATION ARGUMENT SED-ARGUMENT ...: a line for a file of 100 MB, and one for
# the memory that it takes beside one of 1 MB.
compare() {
    local name=$1 operation=$2 argument=$3 run
    shift 3
    cp source.1 file
    ours "$operation" "$argument" >small
    rm -f our_times sed_times
    for ((run = 0; run < runs; ++run)); do
        cp source.100 file
        ours "$operation" "$argument" >>our_times
        mv file result
        cp source.100 file
        seds "$@" >>sed_times
        cmp -s file result || fail "$name: sed and the library differ"
    done
    awk -v name="$name" '
        FILENAME == "small" { small = $2 }
        FILENAME == "our_times" { if (!ours || $1 < ours) ours = $1; if ($2 > peak) peak = $2 }
        FILENAME == "sed_times" { if (!seds || $1 < seds) seds = $1 }
        END {
            printf "%s, 100 MB\t%.2f\tsed -i\n", name, ours / seds
            printf "%s, memory\t%.2f\tthe same for 1 MB\n", name, peak / small
        }' small our_times sed_times
}

fills() { for ((i = 1; i <= $1; ++i)); do printf -- '-e\ns/%%NAME%d%%/value %d/\n' "$i" "$i"; done; }
mapfile -t one < <(fills 1)
mapfile -t twenty < <(fills 20)

for megabytes in 1 100; do
    make_file "$megabytes"
    mv source "source.$megabytes"
done
compare "merge a block" merge 'B:\bench\block' -e '/merge.*point/Ir block'
compare "fill 1 placeholder" instantiate 1 "${one[@]}"
compare "fill 20 placeholders" instantiate 20 "${twenty[@]}"
for megabytes in 1 100; do sed -i '/merge.*point/Ir block' "source.$megabytes"; done
compare "take a block out" unmerge 'B:\bench\block' -e '/<!-- block starts -->/I,/<!-- block ends -->/Id'
