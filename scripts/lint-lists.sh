#!/usr/bin/env bash
# The lists and the pages agree: every action has one word for its folder, page, tests
# and tasks, and what is told of it is what the sources hold. Builds nothing.
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
catalogue=$REPO/exports/catalogue.inc
differences=0

# agree TITLE COMMAND ...: the command must succeed.
agree() {
    local title=$1
    shift
    "$@" || { say "not so: $title"; differences=$((differences + 1)); }
}
has() { grep -qF -- "$2" "$1"; }
# same FILE FILE: no line differs.
same() { diff "$1" "$2"; }
# all FILE COMMAND ...: the command succeeds with every line of the file.
all() {
    local lines=$1 line failed=0
    shift
    while read -r line; do "$@" "$line" || { echo "not so: $line"; failed=1; }; done <"$lines"
    return $failed
}
# names WHEN: the actions that run so, sorted.
names() { sed -nE "s/^SETUP_ACTION\((\w+), \w+, ($1), .*/\1/p" "$catalogue" | sort; }
names '\w+' >"$work/all"

# The rooms: an action's word in the catalogue is that of its folder, its page, its
# tests, its line in the README's table, and begins the names of its tasks.
in_rooms() { sed -nE 's/^SETUP_ACTION\((\w+), (\w+), .*/\2 \1/p' "$catalogue" | sort; }
in_folders() {
    grep -roE '^EXPORTED_ACTION\(\w+\)' --include='*.cpp' "$REPO"/{frame,services,web,detect,textfiles,setup} |
        sed -E 's|.*/(\w+)/\w+\.cpp:EXPORTED_ACTION\((\w+)\)|\1 \2|' | sort
}
on_pages() {
    grep -oE '^## \w+$' "$REPO"/docs/actions/*.md |
        sed -E 's|.*/(\w+)\.md:## |\1 |' | grep -F -f "$work/all" | sort
}
agree "each action is in the folder of its room" same <(in_folders) <(in_rooms)
agree "and on its page" same <(on_pages) <(in_rooms)
# The Ids of the schedule whose names are not their actions'.
sed -nE 's/^ACTION_DATA\((\w+), "([A-Za-z][^"]*)", .*/\2 \1/p' "$REPO/exports/action_data.inc" >"$work/entries"
in_tasks() {
    awk 'NR == FNR { entry[$1] = $2; next }
         /^#/ { next }
         { id = $2 in entry ? entry[$2] : $2
           if (id ~ /Rollback$/) { sub(/^Set/, "", id); sub(/Rollback$/, "", id) }
           sub(/Immediate$/, "", id)
           match($1, /^[A-Z][a-z]+/)
           print tolower(substr($1, 1, RLENGTH)), id }' "$work/entries" "$REPO/exports/schedule.txt" | sort -u
}
agree "each is scheduled in tasks of its room's name" same <(in_tasks) <(in_rooms | grep -vw BrowseForVXInstaller)
in_rooms | cut -d ' ' -f 1 | uniq >"$work/rooms"
has_tests() { compgen -G "$REPO/tests/$1/*_test.cpp" >/dev/null; }
agree "each room has its tests" all "$work/rooms" has_tests
in_readme() { grep -qE "^\\| \`(\w+/)?$1/\` \\|" "$REPO/README.md"; }
agree "each room is in the README's table" all "$work/rooms" in_readme

# Every public name in a source that reads properties is in the list of those that
# the actions read, or is none that they read: a feature, a value, one only set; or
# the installer passes it by itself (ALLUSERS).
unread='APS|CCM|CMS|COMSDK|DBQ|MSDE|QRPE|EXPAND|TRUE|URL|SI_HAS_PROMPT|INSTALLSTATE_\w+|\w+SVC'
unread+='|D091AB6861C27274A831EF6925253B94'
unread+='|ALLUSERS|ASPDOTNET_\w+|CURRENT_SQL_SERVICE|DATABASEDSN_EXISTS|FOUNDUPGRADE|FRONTPAGEPATH\..*|HASWEBSERVER'
unread+='|IEVERSION'
unread+='|INPUT_MSDE_PASSWORD|JAVA_HOME|MSOLAPVERSION|MSSQL\..*|NSPLUGINPATH|NT_(USER|PASSWORD)'
unread+='|SQL_AUTHENTICATION_INSTALLED'
unread+='|SQL_(CONTINUE|VALIDATED|VX8_NONEXIST)|VALIDCOMPUTERNAME|VX_MSDE_CONFLICT'
read_properties() {
    grep -rlE '(PropertyText|GetPropertyString|LoggedProperty|MsiGetPropertyA|AddProperty|MsiEvaluateConditionA)\(' \
        --include='*.cpp' "$REPO"/{frame,services,web,detect,textfiles,setup} | xargs cat | sed 's://.*::' |
        grep -oE '"[A-Z][A-Z0-9_]+(\.[0-9A-F_]{36})?"' | tr -d '"' | sort -u | grep -vxE "$unread"
}
properties=$REPO/exports/properties.inc
agree "the properties that actions read are listed" same <(read_properties) \
    <(sed -nE 's/^(SECURE|SERVER)_PROPERTY\("([^"]+)".*/\2/p' "$properties" | sort)
tasks() { awk '!/^#/ { sub(/\..*/, ".…", $2); print $1, $2 }' "$REPO/exports/schedule.txt" | sort; }
told_tasks() {
    sed -nE 's/^\| `Schedule(\w+)` \| ([^|]*) \|.*/\1 \2/p' "$REPO/package/kit/README.md" | tr -d '`,' |
        awk '{ for (i = 2; i <= NF; ++i) print $1, $i }' | sort
}
agree "the tasks are told to the package's author" same <(tasks) <(told_tasks)
left_by() { sed -nE "s/^(TAKEN_BACK|STAYS)\((\w+), .*/\2/p" "$REPO/exports/rollback.inc" | sort; }
told_left() {
    sed -n '/^## What a failed/,/^## By task/p' "$REPO/docs/actions.md" |
        sed -nE 's/^\| ([A-Z][^|]*) \|.*/\1/p' | tr -d ',' | tr ' ' '\n' | sort
}
agree "what a failed installation leaves of each deferred action is listed" same <(left_by) <(names 'Deferred|Both')
agree "and told in the reference" same <(told_left) <(left_by)

# The index's rows, as the catalogue and the files of the reference have it.
index_rows() {
    local name room when purpose
    sed -nE 's/^SETUP_ACTION\((\w+), (\w+), (\w+), "(.*)"\)$/\1|\2|\3|\4/p' "$catalogue" |
        while IFS='|' read -r name room when purpose; do
            printf '| [%s](actions/%s.md#%s) | %s | %s |\n' "$name" "$room" "${name,,}" "${when,,}" "$purpose"
        done
}
index=$REPO/docs/actions.md
agree "the index lists the actions" same <(sed '1,/^## By name/d' "$index" | grep '^| \[') <(index_rows)
sed '/^## By name/,$d' "$index" | grep -oE '\[\w+\]' | tr -d '[]' | sort -u >"$work/tasks"
agree "each action is part of a task" same <(grep -xF -f "$work/all" "$work/tasks") "$work/all"

fields='Schedule|Reads|Sets / changes|Partner|On an upgrade|Result|In the log|When it fails'
# The fields of each action's section, on one line.
described_fields() {
    grep -hoE '^## \w+$|^(- )?\*\*('"$fields"')\*\*' \
        "$REPO"/docs/actions/*.md | sed 's/^- //' | tr -d '*' | awk '
            /^## / { if (line) print line; line = $2 ":"; next }
            { line = line " " $0 ";" }
            END { print line }'
}
agree "each description has the eight fields in order" same \
    <(described_fields | sort) \
    <(sed "s@\$@: ${fields//|/; };@" "$work/all")

# The actions whose every row of the schedule has the condition, by their entries.
left_out() {
    grep -F "$1" "$REPO/exports/schedule.txt" | awk '!/^#/ { sub(/Immediate$/, "", $2); print $2 }' | sort -u
}
told_upgrade() {
    grep -hE "^## \w+$|\*\*On an upgrade\*\*:? $1" "$REPO"/docs/actions/*.md |
        awk '/^## / { name = $2; next } { print name }' | sort
}
agree "what an old version's removal leaves out is told" same \
    <(told_upgrade 'the removal of the old version leaves it out' |
        sed 's/^UncompressZipFile$/UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9/') \
    <(left_out 'NOT UPGRADINGPRODUCTCODE' | grep -vx -e UncompressZipFile -e '.*Rollback' -e ConfigureWebServices)
agree "and what the new one leaves out over it" same \
    <(told_upgrade 'left out over an older version') <(left_out 'AND NOT $U')

# The fixed pieces of the texts in the sources read, one a line: adjacent literals
# joined, cut at conversions, record fields and line breaks.
fixed_pieces() {
    awk -v RS='\001' '
        function finish(text, n, i, part) {
            if (length(text) >= 12 && text ~ / /) {
                gsub(/\\\\/, "\003", text)
                gsub(/%[-0-9.l]*[a-zA-Z]|\[[0-9]\]|\\[nrt]/, "\002", text)
                gsub(/\\"/, "\"", text)
                gsub(/\003/, "\\", text)
                n = split(text, part, "\002")
                for (i = 1; i <= n; i++) if (length(part[i]) >= 8) print part[i]
            }
        }
        { text = ""
          while (match($0, /\/\/[^\n]*|\047(\\.|[^\047\\])+\047|"(\\.|[^"\\])*"/)) {
              if (substr($0, 1, RSTART - 1) ~ /[^ \n]/) { finish(text); text = "" }
              if (substr($0, RSTART, 1) == "\"") text = text substr($0, RSTART + 1, RLENGTH - 2)
              $0 = substr($0, RSTART + RLENGTH)
          }
          finish(text) }' | sort -u
}
# No texts of the log: queries, registry keys, paths, files' contents, reasons for callers.
no_log_text='^(SELECT |SOFTWARE|Software|SYSTEM|System|HKEY_|DRIVER='
no_log_text+='|\[(CommonFilesFolder|Date)\]|MsiNetAssemblySupport )'
no_log_text+='|`| ORDER BY |^cd /d "| -classpath |com\.tarnwick|^(Plugins Directory|Performance Management)$'
no_log_text+='|^(action data ends in|The (ODBC|database) )'
# Error texts that only the host shows stand in the file left out.
find "$REPO"/{frame,services,web,detect,textfiles,setup} -name '*.cpp' ! -name msi_database.cpp -print0 |
    xargs -0 cat | fixed_pieces | grep -vE "$no_log_text" >"$work/pieces"
agree "the sources hold texts of the log" [ "$(wc -l <"$work/pieces")" -gt 300 ]
"$REPO/scripts/log_lines.sh" | cut -f 2 >"$work/explained"
agree "every line of the log is explained" all "$work/pieces" has "$work/explained"
log_lines_page() { "$REPO/scripts/reference.sh" --log-lines; }
agree "the page of log lines is the list's (else run: scripts/reference.sh)" \
    same "$REPO/docs/log-lines.md" <(log_lines_page)
agree "every link of the reference leads somewhere" "$REPO/scripts/reference.sh"

# A fixed Id is the one that the partner's source sets; the properties that hold
# an Id are told to the package's author.
sed -nE 's/^ACTION_DATA\(\w+, "([A-Za-z][^"]*)", .*/\1/p' "$REPO/exports/action_data.inc" | sort -u >"$work/ids"
sed -nE 's/^ACTION_DATA\(\w+, "\[([^"]*)\]", .*/\1/p' "$REPO/exports/action_data.inc" | sort -u >"$work/holders"
sed -nE 's/^ACTION_DATA\(.*, (\w+)\)$/\1/p' "$REPO/exports/action_data.inc" | sort -u >"$work/partners"
in_sources() { grep -rqF --include='*.cpp' "\"$1\"" "$REPO"/{services,setup,web}; }
in_catalogue() { grep -qxF "$1" "$work/all"; }
agree "every fixed Id stands in a source" all "$work/ids" in_sources
in_reference() { grep -rqF "\`$1\`" "$REPO/docs/actions"; }
agree "every property that holds an Id is described" all "$work/holders" in_reference
agree "every partner is an action" all "$work/partners" in_catalogue


[ $differences = 0 ] || fail "$differences lists or pages differ as shown above"
