#!/usr/bin/env bash
# Makes the reference's page of log lines, docs/log-lines.md, from the list in
# exports/log_lines.inc, and of all its pages the reference as HTML in build/reference.
# A link that leads nowhere is a fault. With --log-lines the first page is only printed.
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
                    printf "| %s%s | %s | %s | %s |\n",
                        code($2), $1 == "undated" ? " (undated)" : "", links($3), meaning, $6
                }
            }
            NR == FNR { link[$1] = $2; next }
            FNR == 1 {
                print
                print "\n<!-- Made from exports/log_lines.inc and docs/log-lines.md.in by scripts/reference.sh. -->"
                next
            }
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

command -v cmark-gfm >/dev/null || fail "cmark-gfm is not there; run: scripts/setup.sh"
out=build/reference
rm -rf "$out"
mkdir -p "$out/actions"
cp docs/reference.css "$out"
pages=(actions log-lines security)
for file in docs/actions/*.md; do
    file=${file#docs/}
    pages+=("${file%.md}")
done

# A heading's id is what links to it in Markdown say.
body() {
    cmark-gfm -e table "docs/$1.md" | awk '
        match($0, /^<h[1-6]>/) {
            id = tolower($0)
            gsub(/<[^>]*>|&[a-z]+;|[^a-z0-9 _-]/, "", id)
            gsub(/ /, "-", id)
            $0 = substr($0, 1, 3) " id=\"" id "\"" substr($0, 4)
        }
        { gsub(/<table>/, "<div class=\"table\"><table>"); gsub(/<\/table>/, "</table></div>") }
        { while (match($0, /href="[^":]*\.md["#]/))
              $0 = substr($0, 1, RSTART + RLENGTH - 4) "html" substr($0, RSTART + RLENGTH - 1) }
        { print }'
}
title() { sed -n '1s/^# //p' "docs/$1.md"; }
# contents PAGE ROOT: all pages, and below the page itself its sections.
contents() {
    local page
    printf '<ul>\n'
    for page in "${pages[@]}"; do
        if [ "$page" != "$1" ]; then
            printf '<li><a href="%s">%s</a></li>\n' "$2$page.html" "$(title "$page")"
            continue
        fi
        printf '<li><a href="#" aria-current="page">%s</a>\n<ul>\n' "$(title "$page")"
        sed -nE 's|^<h2 (id="([^"]*)")>(.*)</h2>$|<li><a href="#\2">\3</a></li>|p' "$out/body"
        printf '</ul></li>\n'
    done
    printf '</ul>\n'
}
for page in "${pages[@]}"; do
    root=
    [ "${page%/*}" = "$page" ] || root=../
    body "$page" >"$out/body"
    {
        printf '<!DOCTYPE html>\n<html lang="en">\n<head>\n<meta charset="utf-8">\n'
        printf '<title>%s</title>\n' "$(title "$page")"
        printf '<meta name="viewport" content="width=device-width">\n'
        printf '<link rel="stylesheet" href="%sreference.css">\n</head>\n<body>\n' "$root"
        printf '<a class="skip" href="#contents">Contents</a>\n<main>\n'
        cat "$out/body"
        printf '</main>\n<nav id="contents" aria-label="Contents">\n'
        contents "$page" "$root"
        printf '</nav>\n</body>\n</html>\n'
    } >"$out/$page.html"
done
rm "$out/body"

cd "$out"
mapfile -t made < <(printf '%s.html\n' "${pages[@]}")
targets() {
    printf '%s\n' "${made[@]}" reference.css
    grep -oHE ' id="[^"]*"' "${made[@]}" | sed -E 's/: id="(.*)"$/#\1/'
}
linked() {
    grep -oHE ' href="[^"]*"' "${made[@]}" | sed -E 's/: href="/ /; s/"$//' | grep -vE ' (https?:|#$)' |
        sed -E 's/^([^ ]+) #/\1#/; s/^([^ ]+\/)?[^ /]+ /\1/; s|[^/]+/\.\./||'
}
dead=$(comm -13 <(targets | sort -u) <(linked | sort -u))
[ -z "$dead" ] || { printf '%s\n' "$dead" >&2; fail "the reference links to the places above, which are not there"; }
say "made $out/actions.html and $((${#pages[@]} - 1)) pages beside it"
