#!/usr/bin/env bash
# The sample package on a fresh machine: installed and removed by the real
# installer, which calls the DLL in its own processes.
source "$(dirname "$0")/support/check.sh"
source "$REPO/scripts/snapshot.sh"

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

take_snapshot "$WINEPREFIX" "$work/before"
check "the package installs" installer install.log /i 'P:\sample.msi' SAMPLESERVER=alpha INSTALLMODE=Expand EXPANDAPS=1 EXPANDEVENT=1
check "its file is there" test -f "Program Files/Setupactions Sample/readme.txt"
check "a deferred action logs the data it was handed" has "$work/install.log" "ReportSampleData: SAMPLESERVER is alpha"
check "also the path of an installed file" \
    has "$work/install.log" 'ReportSampleData: readme is C:\Program Files\Setupactions Sample\readme.txt'
check "GetPid told which process runs the actions" grep -q 'ReportSampleData: MSIEXECPID is [0-9]' "$work/install.log"
check "the chosen server roles are installed" \
    test -f "Program Files/Setupactions Sample/features/APS.txt" -a -f "Program Files/Setupactions Sample/features/EventServer.txt"
check "the roles that were not chosen are not" test ! -e "Program Files/Setupactions Sample/features/CacheServer.txt"
check "a chosen role keeps the database engine away" test ! -e "Program Files/Setupactions Sample/features/MSDE.txt"
check "the viewer is copied by its action" test -f "Program Files/Common Files/htmlviewer/en/viewer.txt"
check "the server is started" has "$work/install.log" "Expected Service Status SERVICE_RUNNING reached"
samples="Program Files/Setupactions Samples"
check "the archive is unpacked" grep -q '^january,12' "$samples/reports by month/sales.csv"
check "the tool's command line is logged" has "$work/install.log" \
    'unzip.exe" -qqo "C:\Program Files\Setupactions Sample\samples.zip" -d "C:\Program Files\Setupactions Samples"). Return value 0'
rm -r "$samples/reports by month"
echo "worn out" >"$samples/about.txt"
check "the package is repaired" installer repair.log /i 'P:\sample.msi' REINSTALL=ALL REINSTALLMODE=amus
check "a repair unpacks again" test -f "$samples/reports by month/sales.csv"
check "over what is there" has "$samples/about.txt" "Sample reports"
echo "of the user" >"$samples/reports by month/own.txt"
"$REPO/scripts/engine-exec" sc create TRNWCentralMS_clone \
    binPath= 'C:\Program Files\Setupactions Sample\sample_server.exe' >/dev/null
check "the package is removed" installer remove.log /x 'P:\sample.msi'
check "the server is stopped before" has "$work/remove.log" "Expected Service Status SERVICE_STOPPED reached"
check "a clone of the server goes with it" grep -q ': TRNWCentralMS_clone$' "$work/remove.log"
take_snapshot "$WINEPREFIX" "$work/after"
show_difference "$work/before" "$work/after" >"$work/left"
cat "$work/left"
check "nothing stays on the machine" test ! -s "$work/left"

finish
