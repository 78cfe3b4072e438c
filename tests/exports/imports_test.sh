#!/usr/bin/env bash
# The DLL and all programs delivered with it import only functions that Windows XP has, by
# name (windows_xp.txt). A file that imports any other does not load there.
source "$(dirname "$0")/../support/check.sh"

allowed=$(awk '!/^#/ { for (i = 2; i <= NF; i++) print $1, $i }' "$REPO/tests/exports/windows_xp.txt" | LC_ALL=C sort)

# imports FILE: "library function" lines; <none> for a function imported without a name.
imports() {
    i686-w64-mingw32-objdump -p "$1" |
        awk '/^\tDLL Name:/ { library = tolower($3) }
             library && /^\t[0-9a-f]+\t/ { print library, $3 }
             /^There is an export table|^The Export Tables/ { exit }' | LC_ALL=C sort -u
}
lacking() { LC_ALL=C comm -23 <(imports "$1") <(printf '%s\n' "$allowed"); }

cd "$REPO/build/x86" || exit 1
shopt -s extglob
for file in setupactions.dll actionhost.exe !(setupactions|actionhost).@(dll|exe); do
    check "$file has imports to look at" test -n "$(imports "$file")"
    check "$file imports nothing that Windows XP lacks" test -z "$(lacking "$file" | tee /dev/stderr)"
done
finish
