#!/usr/bin/env bash
# Prints exports/log_lines.inc for other scripts, a row a line, its fields between tabs:
# "section", title, text; "line" or "undated", patterns, actions, worth, meaning, remedy.
# Several patterns of a row have the character 036 (octal) between them.
set -euo pipefail
{
    printf '#define LOG_SECTION(title, text) @section; title; text\n'
    printf '#define %s(a, b, c, d, e) @%s; a; b; c; d; e\n' LOG_LINE line UNDATED_LINE undated
    cat "$(dirname "${BASH_SOURCE[0]}")/../exports/log_lines.inc"
} | clang -E -P -x c - | tr '\n' ' ' | sed 's/@\(section\|line\|undated\);/\n&/g' | awk '
    # What stands outside of literals is the row'"'"'s kind, its worth and the semicolons.
    /^@/ {
        row = ""
        while (match($0, /"(\\.|[^"\\])*"/)) {
            outside = substr($0, 1, RSTART - 1)
            text = substr($0, RSTART + 1, RLENGTH - 2)
            $0 = substr($0, RSTART + RLENGTH)
            gsub(/[ @]/, "", outside)
            gsub(/;/, "\t", outside)
            gsub(/\\\\/, "\001", text)
            gsub(/\\n/, "\036", text)
            gsub(/\\"/, "\"", text)
            gsub(/\001/, "\\", text)
            row = row outside text
        }
        print row
    }'
