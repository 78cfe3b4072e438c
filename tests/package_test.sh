#!/usr/bin/env bash
# The sample package on a fresh machine: installed and removed by the real
# installer, which calls the DLL in its own processes.
source "$(dirname "$0")/support/check.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/web_server.sh"

work=$(mktemp -d)
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT
export WINEPREFIX=$REPO/build/machines/package-test
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$REPO/build/x86"
cd "$WINEPREFIX/drive_c" || exit 1

# installer LOG ARGUMENT ...: a silent msiexec; the log is left in $work/LOG.
installer() {
    local log=$1
    shift
    timeout 120 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' "C:\\$log" || return 1
    tr -d '\r' <"$log" >"$work/$log"
}

# The machine has ASP.NET, or what the sample package takes for it.
mkdir aspnet
touch aspnet/aspnet_regiis.exe
aspnet='HKLM\SOFTWARE\Microsoft\ASP.NET\1.1.4322.0'
for value in 'DllFullPath C:\aspnet\aspnet_isapi.dll' 'Path C:\aspnet'; do
    "$REPO/scripts/engine-exec" reg add "$aspnet" /v "${value%% *}" /d "${value#* }" >"$work/reg.log"
done

check "the machine gets a web server" plant_web_server
# The server's configuration, without its layout and without the entries of the
# ISAPI DLL, which a removal never takes out of the server's list.
configuration() { grep -v -e '^;' -e '^$' -e 'Tarnwick Lumo$' metabase.txt; }
configuration | sed '/Kestrel\]/,$d' >"$work/server.txt" # they stand last

take_snapshot "$WINEPREFIX" "$work/before"
check "the package installs" installer install.log /i 'P:\sample.msi' SAMPLESERVER=alpha INSTALLMODE=Expand EXPANDAPS=1 EXPANDEVENT=1
check "its file is there" test -f "Program Files/Setupactions Sample/readme.txt"
check "a deferred action logs the data it was handed" has "$work/install.log" "ReportSampleData: SAMPLESERVER is alpha"
check "also the path of an installed file" \
    has "$work/install.log" 'ReportSampleData: readme is C:\Program Files\Setupactions Sample\readme.txt'
check "GetPid told which process runs the actions" grep -q 'ReportSampleData: MSIEXECPID is [0-9]' "$work/install.log"
check "the machine's software is looked at" has "$work/install.log" "CheckJavaSDKVersion: No Java SDK detected"
check "the chosen server roles are installed" \
    test -f "Program Files/Setupactions Sample/features/APS.txt" -a -f "Program Files/Setupactions Sample/features/EventServer.txt"
check "the roles that were not chosen are not" test ! -e "Program Files/Setupactions Sample/features/CacheServer.txt"
check "a chosen role keeps the database engine away" test ! -e "Program Files/Setupactions Sample/features/MSDE.txt"
check "the viewer is copied by its action" test -f "Program Files/Common Files/htmlviewer/en/viewer.txt"
check "the server is started" has "$work/install.log" "Expected Service Status SERVICE_RUNNING reached"
web="Program Files/Setupactions Sample"
pages="$web/Web Content/Enterprise11/desktoplaunch/en"
check "a launch condition that does not hold is told" \
    has "$work/install.log" "No port is set for the server alpha; it will listen on its usual one."
check "so is one without a condition" has "$work/install.log" "This is a demonstration; do not use it in production."
check "one that holds is not" has_not "$work/install.log" "The server needs Windows NT."
check "ASP.NET is found" has "$work/install.log" \
    "SetASPDotNetDllPath: ISAPI DLL is 'C:\\aspnet\\aspnet_isapi.dll', IIS Reg is 'C:\\aspnet\\aspnet_regiis.exe'"
check "a redirected directory's file is in the folder of the registry" test -f "Program Files/Common Files/suite_shared.txt"
check "each call of the redirection takes its own rows" \
    test "$(grep -c 'KestrelRedirection - call 1-' "$work/install.log") $(grep -c 'KestrelRedirection - call 2-' "$work/install.log")" = "5 1"
check "a shortcut leads to the server" grep -q '^URL=http://alpha/suite/desktoplaunch/en/' "$web/launchpad.url"
check "a shortcut's address may be empty" grep -q $'^URL=\r$' "$web/home.url"
check "the shortcut of a component left out is not made" \
    has "$work/install.log" "CreateInetShortcuts: Component 'ConnectorShortcut' not installing, no keypath created."
check "the ASP.NET launch page is the default page" has "$pages/default.htm" "ASP.NET launch page"
check "the plain one is the other" has "$pages/default_dotnet.htm" "Plain launch page"

check "the virtual directories are there" has_line metabase.txt \
    '[/LM/W3SVC/1/ROOT/viewer/admin]'
check "with their values" has_line metabase.txt \
    'Path (3001, file, inherited below) = "C:\Program Files\Setupactions Sample\Web Content"'
check "extensions are mapped" has_line metabase.txt \
    '    .rpt,C:\Program Files\Setupactions Sample\xazISAPI.dll,1'
check "to MIME types too" has_line metabase.txt '    .rpx,application/x-report'
check "the ISAPI DLL is allowed" has_line metabase.txt \
    '    1,C:\Program Files\Setupactions Sample\xazISAPI.dll,1,,Tarnwick Lumo'
check "nothing is there of a component left out" has_not metabase.txt connector
check "those of earlier versions are gone" eval 'has_not metabase.txt suite9 && has_not metabase.txt Kestrel'
check "SharePoint is told" \
    grep -q '^"C:.sharepoint.bin.stsadm.exe" -o addpath -url http://[^/]*/viewer/ -type exclusion' sharepoint/bin/stsadm.log
check "not of a component left out" has_not sharepoint/bin/stsadm.log connector
check "the web service was stopped and is started again" has "$work/install.log" \
    "StartService. Service: W3SVC Return Value: 1."
check "the hand-off file is deleted" test -z "$(find "$WINEPREFIX/drive_c" -name 'qx*.tmp')"

samples="Program Files/Setupactions Samples"
check "the archive is unpacked" grep -q '^january,12' "$samples/reports by month/sales.csv"
check "the tool's command line is logged" has "$work/install.log" \
    'unzip.exe" -qqo "C:\Program Files\Setupactions Sample\samples.zip" -d "C:\Program Files\Setupactions Samples"). Return value 0'
rm -r "$samples/reports by month"
echo "worn out" >"$samples/about.txt"
check "the package is repaired" installer repair.log /i 'P:\sample.msi' REINSTALL=ALL REINSTALLMODE=amus
check "a repair unpacks again" test -f "$samples/reports by month/sales.csv"
check "and undoes and redoes what asks for it" has "$work/repair.log" "Removing web virtual dir webinfo"
check "but nothing else" has_not "$work/repair.log" "Removing web virtual dir viewer"
check "over what is there" has "$samples/about.txt" "Sample reports"
echo "of the user" >"$samples/reports by month/own.txt"
"$REPO/scripts/engine-exec" sc create TRNWCentralMS_clone \
    binPath= 'C:\Program Files\Setupactions Sample\sample_server.exe' >/dev/null
check "the package is removed" installer remove.log /x 'P:\sample.msi'
check "the server is stopped before" has "$work/remove.log" "Expected Service Status SERVICE_STOPPED reached"
check "the web server is as before, less what earlier versions left" \
    diff "$work/server.txt" <(configuration)
check "SharePoint is told again" grep -q -- '-o deletepath .*/viewer/' sharepoint/bin/stsadm.log
check "no hand-off file stays" test -z "$(find "$WINEPREFIX/drive_c" -name 'qx*.tmp')"
check "a clone of the server goes with it" grep -q ': TRNWCentralMS_clone$' "$work/remove.log"
take_snapshot "$WINEPREFIX" "$work/after"
show_difference "$work/before" "$work/after" >"$work/left"
cat "$work/left"
check "nothing stays on the machine" test ! -s "$work/left"

finish
