#!/usr/bin/env bash
# The demo: the sample package installed, repaired, changed and removed by the real
# installer, which calls the DLL in its own processes. The demo itself fails when an action
# fails or something is left behind; this test examines what it kept: the machine as
# installed, its logs and its snapshots.
source "$(dirname "$0")/../support/check.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/sample-machine.sh"

out=$REPO/build/demo
export WINEPREFIX=$REPO/build/machines/demo
work=$(mktemp -d)
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT

check "the demo succeeds" "$REPO/scripts/demo.sh"
cd "$out/installed" || exit 1
# shellcheck disable=SC2034 # repair is read by an eval
install=$work/install.log repair=$work/repair.log change=$work/change.log remove=$work/remove.log
for run in install repair change remove; do tr -d '\r' <"$out/$run.log" >"$work/$run.log"; done
web=$SAMPLE_INSTALLED
text() { tr -d '\r' <"$1"; }

check "a silent run leaves out only what shows a window" \
    test "$(awk '/\(not run\)/ { print $1 }' "$out/actions.txt" | xargs)" = \
        "BrowseForVXInstaller LaunchDotNetAdminPortal LaunchJavaAdminPortal"
check "what an action changed is shown" grep -q '^StartAPSService  *ok  *ok  *ok  *- .* starts TRNWCentralMS$' \
    "$out/actions.txt"
check "a deferred action logs the data it was handed" has "$install" "ReportSampleData: SAMPLESERVER is alpha"
check "the chosen server roles are installed, no other" \
    test "$(cd "$web/features" && echo APS.t* EventServer.t* CacheServer.t* MSDE.t*)" = \
    "APS.txt EventServer.txt CacheServer.t* MSDE.t*"
check "a launch condition that does not hold is logged" has "$install" \
    "No port is set for the server alpha; it will listen on its usual one."
check "a redirected directory's file is in the folder of the registry" test -f \
    "Program Files/Common Files/suite_shared.txt"
check "a shortcut points at the server" grep -q '^URL=http://alpha/suite/desktoplaunch/en/' "$web/launchpad.url"
check "the archive is unpacked" grep -q '^january,12' "Program Files/Setupactions Samples/reports by month/sales.csv"
check "the missing data access components are installed" has "$install" "stand-in for mdac_typ.exe: /q:a"

check "the virtual directories are there, with their values" \
    grep -q '^+ /LM/W3SVC/1/ROOT/viewer/admin AppRoot' "$out/install.changes"
check "the ISAPI DLL is allowed" has_line metabase.txt \
    '    1,C:\Program Files\Setupactions Sample\xazISAPI.dll,1,,Tarnwick Lumo'
check "nothing is left of earlier versions" eval 'has_not metabase.txt suite9 && has_not metabase.txt Kestrel'
check "SharePoint is configured" \
    grep -q '^"C:.sharepoint.bin.stsadm.exe" -o addpath -url http://[^/]*/viewer/ -type exclusion' \
        sharepoint/bin/stsadm.log
check "the web service is started again" has "$install" "StartService. Service: W3SVC Return Value: 1."

check "the tool installs the web parts" has "$web/sharepoint/InstallSharePointWebPartLog.txt" \
    'stand-in for stsadm.exe: -o addwppack -url http://central -globalinstall -force -filename C:\Program Files'

check "the plug-in creates the user group" has "$out/install.changes" \
    '+ HKLM\Software\Setupactions Sample Groups\Kestrel NT Users'
check "and the script maps it" test "$(text "$web/info/scripts/mapped_groups.txt")" = "Kestrel NT Users"
check "the publishing utility is run" has "$web/publishing/published.txt" \
    'PublishUtil "C:\Program Files\Setupactions Sample\publishing\PublishUtil.properties"'
services=windows/system32/drivers/etc/services
check "the installed servers' network services are added, nothing else" \
    test "$(diff "$ENGINE_TEMPLATE/drive_c/$services" "$services" | tr -d '\r' | grep -o '^[<>] [a-z]*' | sort)" = \
        $'> kestrelcms\n> kestrelevent'
check "the data source's directory is that of the earlier database file" \
    eval 'test "$(cat olddata/sample.mdb)" = "entered earlier" -a ! -e "$web/data/sample.mdb"'

# The ISAPI DLL's entry in the server's list, one more on each run, and the installer's own
# registration do not count as differences.
others() { grep -v -E -e 'Tarnwick Lumo( #[0-9])?$' -e "${INSTALLERS_OWN/^/^. }" "$out/$1.changes"; }
check "the repair puts everything back" test -z "$(others repair)"
check "it undoes and redoes only what is meant to be" \
    test "$(grep -oE 'Removing web virtual dir (webinfo|viewer)' "$work/repair.log" | sort -u)" = \
    "Removing web virtual dir webinfo"
check "changing the features changes what belongs to them, nothing else" \
    test "$(others change | grep -v '/ROOT/connector ')" = "+ Program Files/Setupactions Sample/connector.url
- Program Files/Setupactions Sample/features/EventServer.txt
~ windows/system32/drivers/etc/services
+ /LM/W3SVC/1/ROOT/connector"
check "the server is running after that" has "$change" \
    "QueryServiceStatus: Service: TRNWCentralMS: CheckPoint: 0, State: SERVICE_RUNNING, Hint: 0"
check "the server is stopped before the removal" has "$remove" "Expected Service Status SERVICE_STOPPED reached"
check "a clone of the server is removed with it" grep -q ': TRNWCentralMS_clone$' "$remove"
check "the plug-in deletes its group" has "$remove" "DeleteNTUserGroup returned success"
cd "$WINEPREFIX/drive_c" || exit 1
check "the web part is removed" has "$(find users -name UnInstallSharePointWebPartLog.txt)" \
    'stand-in for stsadm.exe: -o deletewppack'
check "SharePoint is configured again" grep -q -- '-o deletepath .*/viewer/' sharepoint/bin/stsadm.log
check "no hand-off file is left" test -z "$(find . -name 'qx*.tmp')"

# msiexec ARGUMENT ...: a silent run; its log is left in $work/run.log.
msiexec() {
    timeout 120 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' 'C:\run.log'
    local result=$?
    tr -d '\r' <run.log >"$work/run.log"
    return "$result"
}
fails() { ! "$@"; }
check "a server is not added without the repository's user" fails msiexec /i 'P:\sample.msi' INSTALLMODE=Expand \
    EXPANDAPS=1 DATABASEUID=
take_snapshot "$WINEPREFIX" "$work/refused"
check "nothing is installed in that case" test -z \
    "$(show_difference "$out/remove" "$work/refused" files services web-server)"
# The engine does not roll back a repair.
check "an installation fails halfway" fails msiexec /i 'P:\sample.msi' SAMPLEFAILS=1
check "after it stopped the web server" has "$work/run.log" "StopService: Service: W3SVC Return value true."
check "which is running again" eval '"$REPO/scripts/engine-exec" sc query W3SVC | grep -q RUNNING'
check "no hand-off file is left then, either" test -z "$(find . -name 'qx*.tmp')"

finish
