#!/usr/bin/env bash
# The kit's schedule: a package made of it alone, with every task, passes the check and
# installs; every ordering fault put into it is found.
source "$(dirname "$0")/../support/check.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/web_server.sh"

work=$(mktemp -d)
export WINEPREFIX=$REPO/build/machines/schedule-test
export MACHINE=$WINEPREFIX
drive=$WINEPREFIX/drive_c
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT
build=$REPO/build/x86

# For tasks that need no component, its name simply means "yes".
{
    echo '<Include xmlns="http://schemas.microsoft.com/wix/2006/wi">'
    awk '!/^#/ && !seen[$1]++ { print "<?define Schedule" $1 " = Files ?>" }' "$REPO/exports/schedule.txt"
    echo '</Include>'
} >"$work/tasks.wxi"
cp "$REPO"/tests/support/kit_package/* "$build"/kit/setupactions.wxi "$build"/setupactions.dll \
    "$build"/sample_server.exe "$work"
echo '  <add key="server" value="alpha" />' >"$work/block.txt"
check "a package with every task builds" eval \
    '(cd "$work" && wixl -o kit.msi package.wxs && "$build/kit/import-tables.sh" kit.msi) >"$work/out" 2>&1'

new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$build"
map_drive "$WINEPREFIX" q "$work"
plant_web_server
mkdir -p "$drive/kit" "$work/redist/en"
cp "$build/stand_in.exe" "$drive/kit/stsadm.exe"
for installer in mdac_typ.exe script.exe; do cp "$build/stand_in.exe" "$work/redist/en/$installer"; done
echo "left" >"$drive/kit/left.txt"
keep_machine

find_faults() { "$REPO/scripts/actionhost" "$1" --check | grep -E '^(found|remark)  ' >"$work/found"; }
find_faults "$work/kit.msi"
check "the check finds nothing" has_not "$work/found" 'found  '
check "and remarks once on the rights of what runs last" test \
    "$(grep -c '^remark  .*started elevated: .*RemoveIPService' "$work/found")" = 1

# Each line: the row that is found faulty, and the change that makes it so.
move() { echo "UPDATE InstallExecuteSequence SET Sequence = $2 WHERE Action = '$1'"; }
on() { echo "UPDATE InstallExecuteSequence SET Condition = '$2' WHERE Action = '$1'"; }
faults="MsiPrepWebConfigFile|$(move MsiPrepWebConfigFile 6637)
UpdateFeatureForAPSConflict|$(move UpdateFeatureForAPSConflict 1015)
SuppressReboot|$(move SuppressReboot 6590)
SetODBCPath|$(on SetODBCPath 'NOT REMOVE="ALL"')
MsiCreateWebPartUnInstallBatchFile|$(on MsiRunCmdlineSilent 'NOT Installed')
BrowseForVXInstaller|INSERT INTO InstallExecuteSequence (Action, Condition, Sequence) VALUES \
    ('BrowseForVXInstaller', 'UILevel=5', 1290)
InstallPubWizAs|$(move InstallPubWizAs 1160)
InstallPubWizAs|DELETE FROM InstallUISequence WHERE Action = 'InstallPubWizAs'
SetExcelAddinInstallRegName|$(on SetExcelAddinInstallRegName 'NOT Installed')
StartAPSService|INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('RemoveExistingProducts', 5915)
SecureCustomProperties|DELETE FROM Property WHERE Property = 'SecureCustomProperties'"
while IFS='|' read -r row query; do
    cp "$work/kit.msi" "$work/fault.msi"
    msibuild "$work/fault.msi" -q "$query"
    find_faults "$work/fault.msi"
    check "one finding: $query" test "$(sed -nE 's/^found  [a-z]+ (\w+):.*/\1/p' "$work/found")" = "$row"
done <<<"$faults"

# run NAME ARGUMENT ...: a silent msiexec; its log is left in $work/NAME.log, what has
# changed on the machine since the previous run in $work/NAME.changes.
before=before
run() {
    local name=$1
    shift
    check "$name" timeout 120 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' "Q:\\$name.log"
    take_snapshot "$WINEPREFIX" "$work/$name"
    show_difference "$work/$before" "$work/$name" | grep -v -E "^. ${INSTALLERS_OWN#^}" >"$work/$name.changes"
    before=$name
}
take_snapshot "$WINEPREFIX" "$work/before"
cd "$drive" || exit 1
run install /i 'Q:\kit.msi'
check "the web.config is prepared before the merge" has 'Program Files/Kit/web.config' 'key="server"'
check "the web part is installed" has windows/temp/InstallSharePointWebPartLog.txt \
    'stand-in for stsadm.exe: -o addwppack'
run repair /i 'Q:\kit.msi' REINSTALL=ALL REINSTALLMODE=amus
check "changes nothing" test ! -s "$work/repair.changes"
run change /i 'Q:\kit.msi' REMOVE=More
check "removes the feature, nothing else" test "$(cat "$work/change.changes")" = '- Program Files/Kit/more.txt'
run remove /x 'Q:\kit.msi'
check "the web part is removed with the package" has "$(find users -name UnInstallSharePointWebPartLog.txt)" \
    'stand-in for stsadm.exe: -o deletewppack'
show_difference "$work/before" "$work/remove" | grep -v -E "^. ${INSTALLERS_OWN#^}" >"$work/left"
check "and everything else, including what DeferredRemoveFile was told to delete" test "$(cat "$work/left")" = \
    '- kit/left.txt'
for name in install repair change remove; do
    check "no action failed: $name" has_not "$work/$name.log" ' crashed'
done

finish
