#!/usr/bin/env bash
# The demo: the sample package installed, repaired, changed and removed by the
# real installer, which calls the DLL in its own processes. The demo itself fails
# when an action fails or when something stays; what is looked at here is what it
# kept: the machine as it was installed, its logs and its snapshots.
source "$(dirname "$0")/support/check.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/sample-machine.sh"

out=$REPO/build/demo
export WINEPREFIX=$REPO/build/machines/demo
work=$(mktemp -d)
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT

check "the demo runs through" "$REPO/scripts/demo.sh"
cd "$out/installed" || exit 1
install=$work/install.log repair=$work/repair.log change=$work/change.log remove=$work/remove.log
for run in install repair change remove; do tr -d '\r' <"$out/$run.log" >"$work/$run.log"; done
web=$SAMPLE_INSTALLED
text() { tr -d '\r' <"$1"; }
lines_of() { grep -c -F -- "$2" "$1"; }

check "a silent run leaves out only what shows a window" \
    test "$(awk '/\(not run\)/ { print $1 }' "$out/actions.txt" | xargs)" = "BrowseForVXInstaller LaunchDotNetAdminPortal LaunchJavaAdminPortal"
check "what an action changed is told" grep -q '^StartAPSService  *ok  *ok  *ok  *- .* starts TRNWCentralMS$' "$out/actions.txt"
check "a deferred action logs the data it was handed" has "$install" "ReportSampleData: SAMPLESERVER is alpha"
check "also the path of an installed file" has "$install" 'ReportSampleData: readme is C:\Program Files\Setupactions Sample\readme.txt'
check "GetPid told which process runs the actions" grep -q 'ReportSampleData: MSIEXECPID is [0-9]' "$install"
check "the chosen server roles are installed, no other" \
    eval 'test -f "$web/features/APS.txt" -a -f "$web/features/EventServer.txt" -a ! -e "$web/features/CacheServer.txt" -a ! -e "$web/features/MSDE.txt"'
check "a launch condition that does not hold is told" has "$install" "No port is set for the server alpha; it will listen on its usual one."
check "one that holds is not" has_not "$install" "The server needs Windows NT."
check "ASP.NET is found" has "$install" \
    "SetASPDotNetDllPath: ISAPI DLL is 'C:\\aspnet\\aspnet_isapi.dll', IIS Reg is 'C:\\aspnet\\aspnet_regiis.exe'"
check "a redirected directory's file is in the folder of the registry" test -f "Program Files/Common Files/suite_shared.txt"
check "each call of the redirection takes its own rows" test "$(lines_of "$install" 'call 1-') $(lines_of "$install" 'call 2-')" = "5 1"
check "a shortcut leads to the server" grep -q '^URL=http://alpha/suite/desktoplaunch/en/' "$web/launchpad.url"
check "a shortcut's address may be empty" grep -q $'^URL=\r$' "$web/home.url"
check "the ASP.NET launch page is the default page" \
    has "$web/Web Content/Enterprise11/desktoplaunch/en/default.htm" "ASP.NET launch page"
check "the archive is unpacked" grep -q '^january,12' "Program Files/Setupactions Samples/reports by month/sales.csv"
check "the missing data access components are installed" has "$install" "stand-in for mdac_typ.exe: /q:a"
check "the driver, too" has "$install" "stand-in for NotesSQL302c.exe: -s -a"
check "the script host is there already" has_not "$install" "stand-in for script.exe"

check "the virtual directories are there, with their values" \
    grep -q '^+ /LM/W3SVC/1/ROOT/viewer/admin AppRoot' "$out/install.changes"
check "extensions are mapped" has_line metabase.txt '    .rpt,C:\Program Files\Setupactions Sample\xazISAPI.dll,1'
check "to MIME types too" has_line metabase.txt '    .rpx,application/x-report'
check "the ISAPI DLL is allowed" has_line metabase.txt '    1,C:\Program Files\Setupactions Sample\xazISAPI.dll,1,,Tarnwick Lumo'
check "nothing is there of a component left out" has_not metabase.txt connector
check "nor of earlier versions" eval 'has_not metabase.txt suite9 && has_not metabase.txt Kestrel'
check "SharePoint is told" \
    grep -q '^"C:.sharepoint.bin.stsadm.exe" -o addpath -url http://[^/]*/viewer/ -type exclusion' sharepoint/bin/stsadm.log
check "the web service is started again" has "$install" "StartService. Service: W3SVC Return Value: 1."

block=$(text "$SAMPLE_SOURCES/textfiles/host_block.txt")
check "the block is merged before its line of the other program's file" \
    test "$(text host/host.conf)" = "$(text "$SAMPLE_SOURCES/textfiles/host.conf" | awk -v block="$block" '/^# end of modules/ { print block } { print }')"
check "the web.config gets a section with the block" \
    test "$(text "$web/textfiles/web.config" | sed -n '/<appSettings>/,/<.appSettings>/p' | sed '1d;$d')" = "$(text "$SAMPLE_SOURCES/textfiles/app_settings.txt")"
check "the template is filled" \
    test "$(text "$web/textfiles/server.conf" | sed -n 's/^\(server\|pages\|language\) *= //p' | tr '\n' ' ')" = "alpha aspnet_client/1_1_4322 en "
check "the sample reports' shortcuts lead to the installed files" \
    test "$(text "$web/reports/en/sales.url" | grep '^URL=')" = "URL=file:///C:/Program Files/Setupactions Sample/reports/sales.txt"
for value in '9.0\Excel\Options "OPEN1"' '10.0\Excel\Options "OPEN"'; do
    check "the add-in is registered with Excel ${value%%\\*}" has "$out/install.changes" "+ HKCU\\Software\\Microsoft\\Office\\$value"
done
check "the web parts go in by the tool" has "$web/sharepoint/InstallSharePointWebPartLog.txt" \
    'stand-in for stsadm.exe: -o addwppack -url http://central -globalinstall -force -filename C:\Program Files\Setupactions Sample\sharepoint\Enterprise.Sharepoint.CAB'

plug_in=plugins/auth/secWindowsNT/secWindowsNT.dll
check "the user group is made by the plug-in" has "$out/install.changes" '+ HKLM\Software\Setupactions Sample Groups\Kestrel NT Users'
check "and mapped by the script" test "$(text "$web/info/scripts/mapped_groups.txt")" = "Kestrel NT Users"
check "the plug-in is copied for the server" cmp "$web/info/$plug_in" "$web/win32_x86/$plug_in"
check "the publishing utility is told the server" has "$web/publishing/PublishUtil.properties" "CMS=central"
check "and run" has "$web/publishing/published.txt" 'PublishUtil "C:\Program Files\Setupactions Sample\publishing\PublishUtil.properties"'
services=windows/system32/drivers/etc/services
check "the installed servers' network services are added, nothing else" \
    test "$(diff "$ENGINE_TEMPLATE/drive_c/$services" "$services" | tr -d '\r' | grep -o '^[<>] [a-z]*' | sort)" = $'> kestrelcms\n> kestrelevent'
check "the data source's directory is that of the earlier database file" \
    eval 'test "$(cat olddata/sample.mdb)" = "entered earlier" -a ! -e "$web/data/sample.mdb"'

# The ISAPI DLL's entry of the server's list, one more at each run, and what the
# installer registers of itself, are no difference.
others() { grep -v -E -e 'Tarnwick Lumo( #[0-9])?$' -e "${INSTALLERS_OWN/^/^. }" "$out/$1.changes"; }
check "the repair puts everything back" test -z "$(others repair)"
check "it undoes and redoes only what asks for it" \
    eval 'has "$repair" "Removing web virtual dir webinfo" && has_not "$repair" "Removing web virtual dir viewer"'
check "the change of features changes what belongs to them, nothing else" \
    test "$(others change | grep -v '/ROOT/connector ')" = "+ Program Files/Setupactions Sample/connector.url
- Program Files/Setupactions Sample/features/EventServer.txt
~ windows/system32/drivers/etc/services
+ /LM/W3SVC/1/ROOT/connector"
check "with the feature goes the line of its network service" has "$change" 'drivers\etc\services written'
check "the server runs after it" has "$change" "QueryServiceStatus: Service: TRNWCentralMS: CheckPoint: 0, State: SERVICE_RUNNING, Hint: 0"
check "the server is stopped before the removal" has "$remove" "Expected Service Status SERVICE_STOPPED reached"
check "a clone of the server goes with it" grep -q ': TRNWCentralMS_clone$' "$remove"
check "the plug-in deletes its group" has "$remove" "DeleteNTUserGroup returned success"
cd "$WINEPREFIX/drive_c" || exit 1
check "the web part is removed" has "$(find users -name UnInstallSharePointWebPartLog.txt)" 'stand-in for stsadm.exe: -o deletewppack'
check "SharePoint is told again" grep -q -- '-o deletepath .*/viewer/' sharepoint/bin/stsadm.log
check "no hand-off file stays" test -z "$(find . -name 'qx*.tmp')"

# msiexec ARGUMENT ...: a silent run; its log is left in $work/run.log.
msiexec() {
    timeout 120 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' 'C:\run.log'
    local result=$?
    tr -d '\r' <run.log >"$work/run.log"
    return $result
}
fails() { ! "$@"; }
check "a server is not added without the repository's user" fails msiexec /i 'P:\sample.msi' INSTALLMODE=Expand EXPANDAPS=1 DATABASEUID=
take_snapshot "$WINEPREFIX" "$work/refused"
check "nothing is installed then" test -z "$(show_difference "$out/remove" "$work/refused" files services web-server)"
# Of a repair the engine rolls nothing back.
check "an installation fails half way" fails msiexec /i 'P:\sample.msi' SAMPLEFAILS=1
check "after it stopped the web server" has "$work/run.log" "StopService: Service: W3SVC Return value true."
check "which runs all the same" eval '"$REPO/scripts/engine-exec" sc query W3SVC | grep -q RUNNING'
check "no hand-off file stays then, either" test -z "$(find . -name 'qx*.tmp')"

finish
