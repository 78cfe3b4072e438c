#!/usr/bin/env bash
# Makes the reference's page of log lines, docs/log-lines.md, from the list in
# exports/log_lines.inc; with --log-lines it is only printed.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
cd "$REPO"

# The page's frame with the list's tables in it; each action leads to its section.
log_lines_page() {
    sed -nE 's|^SETUP_ACTION\((\w+), (\w+), .*|\1\t[\1](actions/\2.md#\L\1)|p' exports/catalogue.inc |
        awk -F '\t' '
            function links(actions, n, i, name, text) {
                n = split(actions, name, " ")
                for (i = 1; i <= n; ++i) {
                    if (!(name[i] in link)) { print name[i] ": no such action" >"/dev/stderr"; exit 1 }
                    text = text (i > 1 ? ", " : "") link[name[i]]
                }
                return n ? text : "every action"
            }
            function code(patterns) {
                gsub(/[|]/, "\\|", patterns)
                gsub("\036", "`, `", patterns)
                return "`" patterns "`"
            }
            function table_rows(kind, title, text, worth, meaning) {
                while (("bash scripts/log_lines.sh" | getline) > 0) {
                    if ($1 == "section") {
                        printf "%s## %s\n\n%s| line | written by | means | what to do |\n| --- | --- | --- | --- |\n",
                            ended++ ? "\n" : "", $2, $3 == "" ? "" : $3 "\n\n"
                        continue
                    }
                    meaning = ($4 == "Varies" ? "" : $4 ". ") $5
                    gsub(/[|]/, "\\|", meaning)
                    printf "| %s%s | %s | %s | %s |\n", code($2), $1 == "undated" ? " (undated)" : "", links($3), meaning, $6
                }
            }
            NR == FNR { link[$1] = $2; next }
            FNR == 1 { print; print "\n<!-- Made from exports/log_lines.inc and docs/log-lines.md.in by scripts/reference.sh. -->"; next }
            $0 == "@LINES@" { table_rows(); next }
            { while (match($0, /\[\[[A-Za-z0-9]+\]\]/)) {
                  printf "%s%s", substr($0, 1, RSTART - 1), links(substr($0, RSTART + 2, RLENGTH - 4))
                  $0 = substr($0, RSTART + RLENGTH)
              }
              print }
        ' - docs/log-lines.md.in
}

case "${1:-}" in
--log-lines) log_lines_page; exit ;;
'') ;;
*) fail "usage: reference.sh [--log-lines]" ;;
esac

log_lines_page >docs/log-lines.md.new
mv docs/log-lines.md.new docs/log-lines.md
