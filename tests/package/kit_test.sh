#!/usr/bin/env bash
# The kit has what the lists say, and its tables can be added to a package.
source "$(dirname "$0")/../support/check.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
build=$REPO/build/x86
kit=$build/kit
catalogue=$REPO/exports/catalogue.inc

# same FILE FILE: no line differs.
same() { diff "$1" "$2"; }
# names WHEN: the actions that run at this time, sorted.
names() { sed -nE "s/^SETUP_ACTION\((\w+), \w+, ($1), .*/\1/p" "$catalogue" | sort; }
names '\w+' >"$work/all"
# entries PATTERN: the entry points of the kit's matching rows, sorted, once each.
entries() { grep '<CustomAction ' "$kit/setupactions.wxi" | grep -E "$1" | sed -E 's/.* DllEntry="(\w+)".*/\1/' | sort \
    -u; }

check "the catalogue has each action once" [ -z "$(uniq -d "$work/all")" ]
check "the definition file exports the catalogue" \
    same <(sed -nE 's/^ +(\w+)=.*/\1/p' "$build/definitions/gnu/setupactions.def" | sort) "$work/all"
check "the kit has deferred rows for what runs deferred" same <(entries 'Execute="deferred" Impersonate="no"') \
    <(names 'Deferred|Both')
check "the kit has immediate rows for what runs immediate" same <(entries 'DllEntry="\w+" />') <(names 'Immediate|Both')
check "no two rows of the kit share an Id" \
    [ -z "$(sed -nE 's/.*<CustomAction Id="([^"]+)".*/\1/p' "$kit/setupactions.wxi" | sort | uniq -d)" ]
ids() { sed -nE 's/.*<CustomAction Id="([^"]+)" .*/\1/p' "$kit/setupactions.wxi" | sort; }
# scheduled PATTERN: of each row of the kit's execute sequence.
scheduled() { sed -n '/<InstallExecuteSequence>/,$p' "$kit/setupactions.wxi" | sed -nE "s/.*<Custom .*$1.*/\1/p" | \
    sort; }
check "the kit schedules each of its rows once, but those for other times" \
    same <(scheduled 'Action="([^"]+)"') \
        <(ids | grep -vx -e AddLumoImmediate -e BrowseForVXInstaller -e CommitWindowsSettings)
check "no two actions have the same number" [ -z "$(scheduled 'Sequence="([0-9]+)"' | uniq -d)" ]
told_components() { sed -nE 's/^\| `Schedule(\w+)` \|.*\| the component .*/\1/p' "$kit/README.md" | sort; }
check "the tasks that want a component say so" same <(told_components) \
    <(grep -v '^#' "$REPO/exports/schedule.txt" | grep '[$]C' | awk '{ print $1 }' | sort -u)

package=$work/'a package.msi'
cp "$build/sample.msi" "$package"
msiinfo export "$package" HalcyonCondition >"$work/rows"
"$kit/import-tables.sh" "$package" >"$work/out" 2>&1
check "the tables are added to a package" [ $? = 0 ]
for file in "$kit"/tables/*.idt; do
    table=$(basename "$file" .idt)
    check "$table is there as described" same <(msiinfo export "$package" "$table" | head -n 3) "$file"
done
check "a table of the package keeps its rows" same <(msiinfo export "$package" HalcyonCondition) "$work/rows"
cp "$package" "$work/before.msi"
for unknown in NoSuchTable "$work/no such.idt"; do
    "$kit/import-tables.sh" "$package" HalcyonCondition "$unknown" >"$work/out" 2>&1
    result=$?
    check "$(basename "$unknown") is refused, by its name" [ "$result $(grep -cF "$unknown" "$work/out")" = "1 1" ]
done
check "before anything changes" cmp "$package" "$work/before.msi"
{ head -n 3 "$work/rows"; printf '7\tNOT Installed\tAnother one.\r\n'; } >"$work/HalcyonCondition.idt"
"$kit/import-tables.sh" "$package" "$work/HalcyonCondition.idt" >"$work/out"
check "a file's rows replace the package's" same <(msiinfo export "$package" HalcyonCondition) \
    "$work/HalcyonCondition.idt"

{ cat "$kit/tables/HalcyonWebMimeType.idt"; printf 'a\t.b\tc\n'; } >"$work/short.idt"
{ cat "$work/HalcyonCondition.idt"; tail -n 1 "$work/HalcyonCondition.idt"; } >"$work/twice.idt"
for fault in 'short.idt, line 4: 3 columns instead of 9' 'twice.idt, line 5: the same key as line 4'; do
    "$kit/import-tables.sh" "$package" "$work/${fault%%,*}" >"$work/out" 2>&1
    check "refused: $fault" has "$work/out" "$fault"
done

# The example is built from the kit as a reader of its page would do it.
check "the example builds" bash "$kit/example/build.sh" "$build/sample_server.exe" "$work/pages.msi" >"$work/out"
rows() { msiinfo export "$work/pages.msi" "$1"; }
check "with rollback and commit actions" test \
    "$(rows CustomAction | awk -F '\t' '$1 !~ /^Set/ && $1 ~ /(Rollback|Commit)$/ { print $2 }' | sort -u | xargs)" = \
    "3329 3585"
order=$(rows InstallExecuteSequence | awk -F '\t' '/APSService|Undo/ { print $3 + 0, $1 }' | sort -n | cut -d ' ' -f 2 |
    xargs)
expected="SetUndoRecordsCommit StopAPSServiceRollback StopAPSService StartAPSServiceRollback StartAPSService"
check "in the order of the actions" test "$order" = "$expected UndoRecordsCommit"
"$REPO/scripts/actionhost" "$work/pages.msi" --check >"$work/out" 2>&1
check "and calls the library as it should" [ $? = 0 ]

# The sources, read as WiX would. One package has every task, its component Server.
sound() { "$REPO/tests/support/wix_source.py" -I "$kit" "$@" >"$work/out" || { cat "$work/out"; false; }; }
wix4=$kit/setupactions-wix4.wxs
order_desk=$kit/example-wix4/order_desk.wxs
schedule=$REPO/exports/schedule.txt
refs=$(awk '!/^#/ && !seen[$1]++ { print "<CustomActionRef Id=\"Schedule" $1 "\" />" }
    !/^#/ && /[$]C/ && !told[$1]++ { print "<WixVariable Id=\"Schedule" $1 "\" Value=\"Server\" />" }' "$schedule" |
    tr -d '\n')
sed "/<CustomActionRef /d; /<WixVariable /d; s|<MediaTemplate .*|&$refs|" "$order_desk" >"$work/every.wxs"
defines=$(awk '!/^#/ && !seen[$1]++ { print "<?define Schedule" $1 " = Server ?>" }' "$schedule" | tr -d '\n')
row='<Row><Data Column="InetShortcut">a.url</Data><Data Column="Component_">Pages</Data></Row>'
table="<CustomTable Id=\"HalcyonInetShortcuts\">$row</CustomTable>"
sed "/<?define /d; s|<?include .*|$defines&<?include setupactions-wix3.wxi ?>$table|" "$kit/example/report_pages.wxs" \
    >"$work/three.wxs"
check "the sample is a source of WiX" sound -I "$REPO/package/sample" -D Version=1.0.0 "$REPO/package/sample/sample.wxs"
check "so are the example" sound "$kit/example/report_pages.wxs"
check "one with every task and tables for WiX 3" sound "$work/three.wxs"
check "the example for WiX 4" sound "$order_desk" "$wix4"
check "and one with every task, in the order of the numbers" sound -n "$kit/setupactions.wxi" "$work/every.wxs" "$wix4"
check "the kit for WiX 4 has the same rows" same \
    <(grep '<CustomAction ' "$wix4" | grep -v 'Id="Schedule' | sed 's/BinaryRef/BinaryKey/; s/^ *//' | sort) \
    <(grep '<CustomAction ' "$kit/setupactions.wxi" | sed 's/^ *//' | sort)
check "scheduled the same" same \
    <(sed -n '/<InstallExecuteSequence>/,/<.Install/p' "$wix4" | sed -nE 's/.*<Custom Action="([^"]+)".*/\1/p' | sort) \
    <(scheduled 'Action="([^"]+)"')
# Each line: an edit of the example or of the kit, and the fault that it makes.
while IFS='|' read -r edit fault; do
    sed "$edit" "$order_desk" >"$work/edited.wxs"
    sed "$edit" "$wix4" >"$work/edited-kit.wxs"
    sound -n "$kit/setupactions.wxi" "$work/edited.wxs" "$work/edited-kit.wxs" >/dev/null
    check "a fault: $edit" has "$work/out" "$fault"
done <<'EOF'
s,v4/wxs,v3/wxs,|no namespace of WiX
s/BinaryRef=/BinaryKey=/|has no attribute BinaryKey
s/Execute="deferred"/Execute="Deferred"/|Execute is Deferred
s/Binary Id="setupactions"/Binary Id="other"/|Binary setupactions is referred to, and nowhere
s/Ref Id="ScheduleServices"/Ref Id="ScheduleService"/|CustomAction ScheduleService is referred to, and nowhere
/<WixVariable Id="Schedule/d|WixVariable ScheduleTextfiles is referred to, and nowhere
s/Value="Configuration"/Value="Configurations"/|no component Configurations
s/Column="Port"/Column="Ports"/|HalcyonIPService has no column Ports
/Column="Protocol"/d|HalcyonIPService: a row without Protocol
s/Value="Server"/Value="Servers"/|HalcyonIPService: no Component Servers
s/<Property Id="MsiMergePoint"/<Property Id="NAMESERVER"/|Property NAMESERVER is there more than once
s/Before="CostInitialize"/After="CostInitialize"/|InstallPubWizAs is After CostInitialize, by its number it is not
s,Condition="NOT Installed" />,>NOT Installed</Custom>,|holds text
EOF

# The script for Windows: the engine runs it up to the package itself.
export WINEPREFIX=$REPO/build/machines/kit-test
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$build"
import_on_windows() {
    (cd "$WINEPREFIX/drive_c" &&
        timeout 60 "$REPO/scripts/engine-exec" cscript //nologo 'P:\kit\import-tables.vbs' "$@" >"$work/out" 2>&1)
    echo "$? $(cat "$work/out")"
}
check "on Windows it wants a package" eval '[[ "$(import_on_windows)" == "2 usage: cscript"* ]]'
check "an existing one" [ "$(import_on_windows 'P:\no.msi')" = '1 import-tables: no package P:\no.msi' ]
check "and existing tables" [ "$(import_on_windows 'P:\sample.msi' HalcyonCondition Nothing)" = \
    '1 import-tables: no table Nothing; see P:\kit\tables' ]
# What the engine's scripting lacks ends the script, after all that it has.
msibuild "$package" -q "UPDATE Property SET Value = 'NAMESERVER' WHERE Property = 'SecureCustomProperties'"
map_drive "$WINEPREFIX" q "$work"
begins() { [[ "$1" == "$2"* ]]; }
said=$(import_on_windows 'Q:\a package.msi' HalcyonCondition | tr -d '\r' | paste -sd /)
end="SecureCustomProperties: names what the actions read/import-tables: the changes cannot be kept: "
check "it reads and changes the package" begins "$said" "1 HalcyonCondition: already in the package/$end"
said=$(import_on_windows 'Q:\a package.msi' 'P:\kit\tables\HalcyonCondition.idt')
check "and tells what is not taken in" begins "$said" "1 import-tables: HalcyonCondition.idt cannot be imported: "

finish
