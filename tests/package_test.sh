#!/usr/bin/env bash
# The sample package on a fresh machine: installed and removed by the real
# installer, which calls the DLL in its own processes.
source "$(dirname "$0")/support/check.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/web_server.sh"
source "$REPO/scripts/sample-machine.sh"

work=$(mktemp -d)
trap 'stop_machine "$WINEPREFIX"; rm -rf "$work"' EXIT
export WINEPREFIX=$REPO/build/machines/package-test
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$REPO/build/x86"
plant_sample_machine "$WINEPREFIX"
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
services=windows/system32/drivers/etc/services
cp "$services" "$work/services"
plant_older_add_on "$WINEPREFIX"
refused() { ! installer "$@"; }
check "a server is not added without the repository's user" \
    refused refused.log /i 'P:\sample.msi' INSTALLMODE=Expand EXPANDAPS=1 DATABASEUID=
check "nothing is installed then" test ! -e "Program Files/Setupactions Sample"
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
# text FILE: without its carriage returns.
text() { tr -d '\r' <"$1"; }
lines_of() { grep -c -F -- "$2" "$1"; }
block=$(text "$SAMPLE_SOURCES/textfiles/host_block.txt")
settings=$(text "$SAMPLE_SOURCES/textfiles/app_settings.txt")
check "the block is merged before its line of the other program's file" \
    test "$(text host/host.conf)" = "$(text "$SAMPLE_SOURCES/textfiles/host.conf" | awk -v block="$block" '/^# end of modules/ { print block } { print }')"
check "the web.config gets a section with the block" \
    test "$(text "$web/textfiles/web.config" | sed -n '/<appSettings>/,/<.appSettings>/p' | sed '1d;$d')" = "$settings"
check "the template is filled" \
    test "$(text "$web/textfiles/server.conf" | sed -n 's/^\(server\|pages\|language\) *= //p' | tr '\n' ' ')" = "alpha aspnet_client/1_1_4322 en "
check "no placeholder is left" has_not "$web/textfiles/server.conf" "%"
check "the sample reports' shortcuts lead to the installed files" \
    test "$(text "$web/reports/en/sales.url" | grep '^URL=')" = "URL=file:///C:/Program Files/Setupactions Sample/reports/sales.txt"
for release in '9.0 OPEN1' '10.0 OPEN'; do
    "$REPO/scripts/engine-exec" reg query "HKCU\\Software\\Microsoft\\Office\\${release% *}\\Excel\\Options" /v "${release#* }" >"$work/excel"
    check "the add-in is registered with Excel ${release% *}" has "$work/excel" '"C:\Program Files\Setupactions Sample\textfiles\vdptxls.xla"'
done
check "the web parts go in by the tool" has "$web/sharepoint/InstallSharePointWebPartLog.txt" \
    'stand-in for stsadm.exe: -o addwppack -url http://central -globalinstall -force -filename C:\Program Files\Setupactions Sample\sharepoint\Enterprise.Sharepoint.CAB'
check "its success is seen" grep -q 'Found line "Operation completed successfully" in .* at line 3' "$work/install.log"

info="$web/info"
plug_in=plugins/auth/secWindowsNT/secWindowsNT.dll
group='HKLM\Software\Setupactions Sample Groups\Kestrel NT Users'
check "the user group is made by the plug-in" "$REPO/scripts/engine-exec" reg query "$group" >/dev/null
check "and mapped by the script" test "$(text "$info/scripts/mapped_groups.txt")" = "Kestrel NT Users"
check "the plug-in is copied for the server" cmp "$info/$plug_in" "$web/win32_x86/$plug_in"
check "the publishing utility is told the server" has "$web/publishing/PublishUtil.properties" "CMS=central"
check "and the folders" has "$web/publishing/PublishUtil.properties" \
    "UniverseDirectory=C:/Program Files/Setupactions Sample/publishing/universes/"
check "it is run" has "$web/publishing/published.txt" 'PublishUtil "C:\Program Files\Setupactions Sample\publishing\PublishUtil.properties"'
check "the installed server's network service is added, nothing else" \
    test "$(diff "$work/services" "$services" | tr -d '\r' | grep '^[<>]')" = $'> kestrelcms\t6400/tcp\tcms # Sample management server'
check "the data source's directory is that of the earlier database file" \
    has "$work/install.log" 'Setting Directory ODBCDATADIR = C:\olddata'
check "so there is no second one" test -f olddata/sample.mdb -a ! -e "$web/data/sample.mdb"
check "the older release's add-on is deleted, nothing else" test "$(ls older/info)" = about.txt
check "the missing data access components are installed" has "$work/install.log" "stand-in for mdac_typ.exe: /q:a"
check "the driver, too" has "$work/install.log" "stand-in for NotesSQL302c.exe: -s -a"
check "the script host is there already" has_not "$work/install.log" "stand-in for script.exe"
check "a silent installation opens nothing" test "$(grep -c 'Action start.*\(AdminPortal\|BrowseForVX\)' "$work/install.log")" = 0

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
check "a repair changes the package's own text files again" \
    test "$(lines_of "$web/textfiles/web.config" "<appSettings>") $(lines_of "$web/textfiles/web.config" reportsPerPage)" = "1 1"
check "but not the other program's" test "$(lines_of host/host.conf suite_viewer)" = 1
check "a repair finds the database file's folder again" test ! -e "$web/data/sample.mdb"
check "a repair adds no network service twice" test "$(lines_of "$services" kestrelcms)" = 1
check "over what is there" has "$samples/about.txt" "Sample reports"
echo "of the user" >"$samples/reports by month/own.txt"
"$REPO/scripts/engine-exec" sc create TRNWCentralMS_clone \
    binPath= 'C:\Program Files\Setupactions Sample\sample_server.exe' >/dev/null
fill_sample_cache "$WINEPREFIX"
check "the package is removed" installer remove.log /x 'P:\sample.msi'
check "the server is stopped before" has "$work/remove.log" "Expected Service Status SERVICE_STOPPED reached"
check "the web server is as before, less what earlier versions left" \
    diff "$work/server.txt" <(configuration)
check "SharePoint is told again" grep -q -- '-o deletepath .*/viewer/' sharepoint/bin/stsadm.log
check "no hand-off file stays" test -z "$(find "$WINEPREFIX/drive_c" -name 'qx*.tmp')"
check "a clone of the server goes with it" grep -q ': TRNWCentralMS_clone$' "$work/remove.log"
check "so are the network services" cmp "$work/services" "$services"
check "the plug-in deletes its group" has "$work/remove.log" "DeleteNTUserGroup returned success"
check "the other program's file is what it was" cmp "$SAMPLE_SOURCES/textfiles/host.conf" host/host.conf
check "the web parts go out by the tool" \
    has "$(find . -name UnInstallSharePointWebPartLog.txt)" "-o deletewppack -name Enterprise.Sharepoint.Cab -url http://central"
take_snapshot "$WINEPREFIX" "$work/after"
show_difference "$work/before" "$work/after" >"$work/left"
cat "$work/left"
check "nothing stays on the machine" test ! -s "$work/left"

finish
