#!/usr/bin/env bash
# The lists of actions agree, and the kit's tables go into a package.
source "$(dirname "$0")/../support/check.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
build=$REPO/build/x86
kit=$build/kit
catalogue=$REPO/exports/catalogue.inc

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
names() { sed -nE "s/^SETUP_ACTION\((\w+), ($1), .*/\1/p" "$catalogue" | sort; }
names '\w+' >"$work/all"
# entries PATTERN: the entries of the kit's rows that match, sorted, once each.
entries() { grep '<CustomAction ' "$kit/setupactions.wxi" | grep -E "$1" | sed -E 's/.* DllEntry="(\w+)".*/\1/' | sort -u; }

check "the catalogue has each action once" [ -z "$(uniq -d "$work/all")" ]
check "the definition file exports the catalogue" \
    same <(sed -nE 's/^ +(\w+)=.*/\1/p' "$build/definitions/gnu/setupactions.def" | sort) "$work/all"
check "the kit has deferred rows for what runs deferred" same <(entries 'Execute="deferred" Impersonate="no"') <(names 'Deferred|Both')
check "the kit has immediate rows for what runs immediate" same <(entries 'DllEntry="\w+" />') <(names 'Immediate|Both')
check "no two rows of the kit share an Id" \
    [ -z "$(sed -nE 's/.*<CustomAction Id="([^"]+)".*/\1/p' "$kit/setupactions.wxi" | sort | uniq -d)" ]
ids() { sed -nE 's/.*<CustomAction Id="([^"]+)" .*/\1/p' "$kit/setupactions.wxi" | sort; }
# scheduled PATTERN: of each row of the kit's execute sequence.
scheduled() { sed -n '/<InstallExecuteSequence>/,$p' "$kit/setupactions.wxi" | sed -nE "s/.*<Custom .*$1.*/\1/p" | sort; }
check "the kit schedules each of its rows once, but those for other times" \
    same <(scheduled 'Action="([^"]+)"') <(ids | grep -vx -e AddLumoImmediate -e BrowseForVXInstaller -e CommitWindowsSettings)
check "no two actions have the same number" [ -z "$(scheduled 'Sequence="([0-9]+)"' | uniq -d)" ]
told_components() { sed -nE 's/^\| `Schedule(\w+)` \|.*\| the component .*/\1/p' "$kit/README.md" | sort; }
check "the tasks that want a component say so" same <(told_components) <(grep -v '^#' "$REPO/exports/schedule.txt" | grep '[$]C' | awk '{ print $1 }' | sort -u)

# Every public name in a source that reads properties is in the list of those that
# the actions read, or is none that they read: a feature, a value, one only set; or
# the installer passes it by itself (ALLUSERS).
unread='APS|CCM|CMS|COMSDK|DBQ|MSDE|QRPE|EXPAND|TRUE|URL|SI_HAS_PROMPT|INSTALLSTATE_\w+|\w+SVC|D091AB6861C27274A831EF6925253B94'
unread+='|ALLUSERS|ASPDOTNET_\w+|CURRENT_SQL_SERVICE|DATABASEDSN_EXISTS|FOUNDUPGRADE|FRONTPAGEPATH\..*|HASWEBSERVER|IEVERSION'
unread+='|INPUT_MSDE_PASSWORD|JAVA_HOME|MSOLAPVERSION|MSSQL\..*|NSPLUGINPATH|NT_(USER|PASSWORD)|SQL_AUTHENTICATION_INSTALLED'
unread+='|SQL_(CONTINUE|VALIDATED|VX8_NONEXIST)|VALIDCOMPUTERNAME|VX_MSDE_CONFLICT'
read_properties() {
    grep -rlE '(PropertyText|GetPropertyString|LoggedProperty|MsiGetPropertyA|AddProperty|MsiEvaluateConditionA)\(' \
        --include='*.cpp' "$REPO"/{frame,services,web,detect,textfiles,setup} | xargs cat | sed 's://.*::' |
        grep -oE '"[A-Z][A-Z0-9_]+(\.[0-9A-F_]{36})?"' | tr -d '"' | sort -u | grep -vxE "$unread"
}
properties=$REPO/exports/properties.inc
check "the properties that actions read are listed" same <(read_properties) \
    <(sed -nE 's/^(SECURE|SERVER)_PROPERTY\("([^"]+)".*/\2/p' "$properties" | sort)
tasks() { awk '!/^#/ { sub(/\..*/, ".…", $2); print $1, $2 }' "$REPO/exports/schedule.txt" | sort; }
told_tasks() {
    sed -nE 's/^\| `Schedule(\w+)` \| ([^|]*) \|.*/\1 \2/p' "$kit/README.md" | tr -d '`,' |
        awk '{ for (i = 2; i <= NF; ++i) print $1, $i }' | sort
}
check "the tasks are told to the package's author" same <(tasks) <(told_tasks)
left_by() { sed -nE "s/^(TAKEN_BACK|STAYS)\((\w+), .*/\2/p" "$REPO/exports/rollback.inc" | sort; }
told_left() { sed -n '/^## What a failed/,/^## By task/p' "$REPO/docs/actions.md" | sed -nE 's/^\| ([A-Z][^|]*) \|.*/\1/p' | tr -d ',' | tr ' ' '\n' | sort; }
check "what a failed installation leaves of each deferred action is listed" same <(left_by) <(names 'Deferred|Both')
check "and told in the reference" same <(told_left) <(left_by)
check "each action is described once" \
    same <(grep -hE '^## \w+$' "$REPO"/docs/actions/*.md | sed 's/^## //' | grep -xF -f "$work/all" | sort) "$work/all"

# The index's rows, as the catalogue and the files of the reference have it.
index_rows() {
    local name when purpose file
    sed -nE 's/^SETUP_ACTION\((\w+), (\w+), "(.*)"\)$/\1|\2|\3/p' "$catalogue" |
        while IFS='|' read -r name when purpose; do
            file=$(basename "$(grep -lxF "## $name" "$REPO"/docs/actions/*.md)")
            printf '| [%s](actions/%s#%s) | %s | %s |\n' "$name" "$file" "${name,,}" "${when,,}" "$purpose"
        done
}
# A link FILE.md#ANCHOR leads to a heading of that file.
leads_somewhere() {
    grep -hE '^#+ ' "$REPO/docs/${1%%#*}" | sed -E 's/^#+ //; s/[^A-Za-z0-9 -]//g; s/ /-/g' | grep -qixF "${1#*#}"
}
index=$REPO/docs/actions.md
check "the index lists the actions" same <(sed '1,/^## By name/d' "$index" | grep '^| \[') <(index_rows)
log_lines=$REPO/docs/log-lines.md
grep -ohE '\([a-z/-]+\.md#[^)]+\)' "$index" "$log_lines" | tr -d '()' | sort -u >"$work/links"
check "its links and those of the log's lines lead somewhere" all "$work/links" leads_somewhere
sed '/^## By name/,$d' "$index" | grep -oE '\[\w+\]' | tr -d '[]' | sort -u >"$work/tasks"
check "each action is part of a task" same <(grep -xF -f "$work/all" "$work/tasks") "$work/all"

# The fields of each action's section, on one line.
described_fields() {
    grep -hoE '^## \w+$|^(- )?\*\*(Schedule|Reads|Sets / changes|Partner|On an upgrade|Result|In the log|When it fails)\*\*' \
        "$REPO"/docs/actions/*.md | sed 's/^- //' | tr -d '*' | awk '
            /^## / { if (line) print line; line = $2 ":"; next }
            { line = line " " $0 ";" }
            END { print line }'
}
check "each description has the eight fields in order" same \
    <(described_fields | sort) \
    <(sed 's/$/: Schedule; Reads; Sets \/ changes; Partner; On an upgrade; Result; In the log; When it fails;/' "$work/all")

# The actions whose every row of the schedule has the condition, by their entries.
left_out() { grep -F "$1" "$REPO/exports/schedule.txt" | awk '!/^#/ { sub(/Immediate$/, "", $2); print $2 }' | sort -u; }
told_upgrade() { grep -hE "^## \w+$|\*\*On an upgrade\*\*:? $1" "$REPO"/docs/actions/*.md | awk '/^## / { name = $2; next } { print name }' | sort; }
check "what an old version's removal leaves out is told" same \
    <(told_upgrade 'the removal of the old version leaves it out' | sed 's/^UncompressZipFile$/UnzipFiles.9CED35E4_C9E6_11D3_9833_00A0C9DA4FE9/') \
    <(left_out 'NOT UPGRADINGPRODUCTCODE' | grep -vx -e UncompressZipFile -e '.*Rollback' -e ConfigureWebServices)
check "and what the new one leaves out over it" same <(told_upgrade 'left out over an older version') <(left_out 'AND NOT $U')

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
no_log_text='^(SELECT |SOFTWARE|Software|SYSTEM|System|HKEY_|DRIVER=|\[(CommonFilesFolder|Date)\]|MsiNetAssemblySupport )'
no_log_text+='|`| ORDER BY |^cd /d "| -classpath |com\.tarnwick|^(Plugins Directory|Performance Management)$'
no_log_text+='|^(action data ends in|The (ODBC|database) )'
# Error texts that only the host shows stand in the file left out.
find "$REPO"/{frame,services,web,detect,textfiles,setup} -name '*.cpp' ! -name msi_database.cpp -print0 |
    xargs -0 cat | fixed_pieces | grep -vE "$no_log_text" >"$work/pieces"
check "the sources hold texts of the log" [ "$(wc -l <"$work/pieces")" -gt 300 ]
awk -F ' [|] ' 'NF == 3 { print $1 }' "$log_lines" >"$work/explained"
check "every line of the log is explained" all "$work/pieces" has "$work/explained"
unattributed=$(awk -F ' [|] ' 'NF == 3 && $2 !~ /^(written by|---)$|[]][(]actions[/]/' "$log_lines")
check "and has its action" [ -z "$unattributed" ]

# A fixed Id is the one that the partner's source sets; the properties that hold
# an Id are told to the package's author.
sed -nE 's/^ACTION_DATA\(\w+, "([A-Za-z][^"]*)", .*/\1/p' "$REPO/exports/action_data.inc" | sort -u >"$work/ids"
sed -nE 's/^ACTION_DATA\(\w+, "\[([^"]*)\]", .*/\1/p' "$REPO/exports/action_data.inc" | sort -u >"$work/holders"
sed -nE 's/^ACTION_DATA\(.*, (\w+)\)$/\1/p' "$REPO/exports/action_data.inc" | sort -u >"$work/partners"
in_sources() { grep -rqF --include='*.cpp' "\"$1\"" "$REPO"/{services,setup,web}; }
in_catalogue() { grep -qxF "$1" "$work/all"; }
check "every fixed Id stands in a source" all "$work/ids" in_sources
in_reference() { grep -rqF "\`$1\`" "$REPO/docs/actions"; }
check "every property that holds an Id is described" all "$work/holders" in_reference
check "every partner is an action" all "$work/partners" in_catalogue

package=$work/'a package.msi'
cp "$build/sample.msi" "$package"
msiinfo export "$package" HalcyonCondition >"$work/rows"
"$kit/import-tables.sh" "$package" >"$work/out" 2>&1
check "the tables go into a package" [ $? = 0 ]
for file in "$kit"/tables/*.idt; do
    table=$(basename "$file" .idt)
    check "$table is there as it was described" same <(msiinfo export "$package" "$table" | head -n 3) "$file"
done
check "a table of the package keeps its rows" same <(msiinfo export "$package" HalcyonCondition) "$work/rows"
cp "$package" "$work/before.msi"
for unknown in NoSuchTable "$work/no such.idt"; do
    "$kit/import-tables.sh" "$package" HalcyonCondition "$unknown" >"$work/out" 2>&1
    result=$?
    check "$(basename "$unknown") is refused, by its name" [ "$result $(grep -cF "$unknown" "$work/out")" = "1 1" ]
done
check "before anything is changed" cmp "$package" "$work/before.msi"
{ head -n 3 "$work/rows"; printf '7\tNOT Installed\tAnother one.\r\n'; } >"$work/HalcyonCondition.idt"
"$kit/import-tables.sh" "$package" "$work/HalcyonCondition.idt" >"$work/out"
check "a file's rows replace the package's" same <(msiinfo export "$package" HalcyonCondition) "$work/HalcyonCondition.idt"

{ cat "$kit/tables/HalcyonWebMimeType.idt"; printf 'a\t.b\tc\n'; } >"$work/short.idt"
{ cat "$work/HalcyonCondition.idt"; tail -n 1 "$work/HalcyonCondition.idt"; } >"$work/twice.idt"
for fault in 'short.idt, line 4: 3 columns instead of 9' 'twice.idt, line 5: the same key as line 4'; do
    "$kit/import-tables.sh" "$package" "$work/${fault%%,*}" >"$work/out" 2>&1
    check "refused: $fault" has "$work/out" "$fault"
done

# The example is built from the kit as its reader would do it.
check "the example builds" bash "$kit/example/build.sh" "$build/setupactions.dll" "$build/sample_server.exe" "$work/pages.msi" >"$work/out"
check "with rollback and commit actions" \
    [ "$(msiinfo export "$work/pages.msi" CustomAction | awk -F '\t' '$1 !~ /^Set/ && $1 ~ /(Rollback|Commit)$/ { print $2 }' | sort -u | xargs)" = "3329 3585" ]
check "in the order of the actions" test "$(msiinfo export "$work/pages.msi" InstallExecuteSequence | awk -F '\t' '/APSService|Undo/ { print $3 + 0, $1 }' | sort -n | cut -d ' ' -f 2 | xargs)" = \
    "SetUndoRecordsCommit StopAPSServiceRollback StopAPSService StartAPSServiceRollback StartAPSService UndoRecordsCommit"
"$REPO/scripts/actionhost" "$work/pages.msi" --check >"$work/out" 2>&1
check "and calls the library as it should" [ $? = 0 ]

# The script for Windows: the engine runs it up to the package itself.
export WINEPREFIX=$REPO/build/machines/kit-test
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$build"
import_on_windows() {
    (cd "$WINEPREFIX/drive_c" && timeout 60 "$REPO/scripts/engine-exec" cscript //nologo 'P:\kit\import-tables.vbs' "$@" >"$work/out" 2>&1)
    echo "$? $(cat "$work/out")"
}
check "on Windows it wants a package" eval '[[ "$(import_on_windows)" == "2 usage: cscript"* ]]'
check "that is there" [ "$(import_on_windows 'P:\no.msi')" = '1 import-tables: no package P:\no.msi' ]
check "and tables that are there" [ "$(import_on_windows 'P:\sample.msi' HalcyonCondition Nothing)" = '1 import-tables: no table Nothing; see P:\kit\tables' ]

finish
