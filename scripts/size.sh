#!/usr/bin/env bash
# Prints what a program is made of: its stripped size, then by the linker's map the
# bytes of each library in it, and of the biggest objects.
#   scripts/size.sh [PROGRAM [OBJECTS]]   (setupactions.dll, 40)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

program=$REPO/build/x86/${1:-setupactions.dll}
[ -f "$program.map" ] || fail "there is no $program.map; run: scripts/build.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
i686-w64-mingw32-strip -o "$work/stripped" "$program"
printf '%8d  %s, stripped\n\n' "$(stat -c %s "$work/stripped")" "$(basename "$program")"
# A line for each piece of a section: its library, its object, its bytes.
awk -v OFS='\t' '
    /^Linker script and memory map/ { inside = 1 }
    !inside { next }
    # The rest of a line whose section has a long name is in the next one.
    /^ \.[^ ]+$/ { name = $0; getline; $0 = name $0 }
    !/^ \.[^ ]+ +0x[0-9a-f]+ +0x[0-9a-f]+ ./ || /^ \.debug/ { next }
    {
        piece = $0
        sub(/^ \.[^ ]+ +[^ ]+ +[^ ]+ +/, "", piece)
        sub(/.*\//, "", piece)
        library = index(piece, ".a(") ? piece : "other objects"
        sub(/\(.*/, "", library)
        print library, piece, hex(substr($3, 3))
    }
    function hex(text,    number, i) {
        for (i = 1; i <= length(text); i++) number = number * 16 + index("0123456789abcdef", substr(text, i, 1)) - 1
        return number
    }' "$program.map" >"$work/pieces"
# sums COLUMN: the bytes of what the column names, the biggest first.
sums() {
    awk -F '\t' -v column="$1" '{ bytes[$column] += $3 }
        END { for (name in bytes) if (bytes[name]) printf "%8d  %s\n", bytes[name], name }' "$work/pieces" | sort -rn
}
sums 1
echo
sums 2 >"$work/objects"
head -n "${2:-40}" "$work/objects"
