#!/usr/bin/env bash
# What an upgrade does to a machine in use: upgrade-demo.sh [RUN ...]
# Builds everything; installs the sample package on a machine of the engine, makes the
# changes that a customer would make, and installs the sample's second version on copies
# of that machine. The runs:
#   early    a major upgrade that removes the old version before it installs anything
#   late     one that removes it after installing its own files and services
#   minor    a minor update: REINSTALL=ALL REINSTALLMODE=vomus, the same product code
#   failing  a major upgrade that fails after the old version has been removed; shows the
#            customer's things only, since the engine never brings the old files back
#   older    the first version over the second, which must be refused
# After each run, one line per thing: kept, new, gone, doubled, lost, left. Exits 1 when
# something is lost, doubled or left that the reference does not document.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/web_server.sh"
source "$REPO/scripts/sample-machine.sh"

"$REPO/scripts/build.sh" product

machines=$REPO/build/machines
export WINEPREFIX=$machines/upgrade
drive=$WINEPREFIX/drive_c
web=$drive/$SAMPLE_INSTALLED
out=$REPO/build/upgrade-demo
OPTIONS='INSTALLMODE=Expand EXPANDAPS=1 EXPANDEVENT=1 SAMPLESERVER=alpha'

# Each thing is the number of lines of the machine's state that match it. "own" is the
# customer's and "ours" the package's in both versions, each expected once; "off" is what
# the customer switched off; "new" is in the second version only, "old" in the first.
THINGS='own|a clone of the server|HKLM.System.CurrentControlSet.Services.TRNWCentralMS_clone
own|a member of the user group|HKLM.Software.Setupactions Sample Groups.Kestrel NT Users "OFFICE.jane"
own|a line of host.conf outside the block|host.conf: load = own
own|a line of host.conf inside the block|host.conf: load = inside
own|a line of web.config outside the block|web.config:   <!-- own -->
own|a line of web.config inside the block|web.config:     <add key="inside" value="own" />
own|a line of the filled template|server.conf: own      = 1
own|a setting of the virtual directory|/LM/W3SVC/1/ROOT/viewer 3006 .*"own.htm"
own|a line of the services file|services: owntool.*
own|the data source moved elsewhere|HKLM.Software.ODBC.ODBC.INI.Setupactions Sample Data "DBQ".*moved.*
own|a third-party add-in|HKCU.Software.Microsoft.Office.9.0.Excel.Options "OPEN".*charts.*
own|a file among the unpacked ones|Program Files/Setupactions Samples/own.txt
own|a plug-in beside the copied ones|Program Files/Setupactions Sample/win32_x86/plugins/auth/own.dll
own|what the server wrote|Program Files/Setupactions Sample Cache/pages/1.txt
off|the add-in, switched off|HKCU.Software.Microsoft.Office.9.0.Excel.Options "OPEN1"
off|the server, stopped by hand|running: Central Management Server
off|the web server, stopped by hand|running: World Wide Web Publishing Service
ours|the service of the server|HKLM.System.CurrentControlSet.Services.TRNWCentralMS
ours|the user group|HKLM.Software.Setupactions Sample Groups.Kestrel NT Users
ours|the block of host.conf|host.conf: # Setupactions Sample: begin
ours|the section of web.config|web.config: <appSettings>
ours|the block of web.config|web.config: .*Setupactions Sample: begin.*
ours|the filled template|server.conf: server   = alpha
ours|the address of a sample report|sales.url: URL=file:///C:/Program Files/Setupactions Sample/reports/sales.txt
ours|the add-in|HKCU.Software.Microsoft.Office.10.0.Excel.Options "OPEN[0-9]*"
ours|the virtual directory|/LM/W3SVC/1/ROOT/viewer
ours|its exclusion|excluded: viewer
ours|a line of the services file, unchanged|services: kestrelevent.*
ours|the allowed extension|/LM/W3SVC WebSvcExtRestrictionList .*Tarnwick.*
new|the text of a file|readme.txt: .*second version.*
new|a line of the block of host.conf|host.conf: load = suite_news
new|a line of the block of web.config|web.config: .*"25".*
new|the renamed virtual directory|/LM/W3SVC/1/ROOT/webnews
new|its exclusion|excluded: webnews
new|the changed line of the services file|services: kestrelcms\s6401.*
new|the start of a service|HKLM.System.CurrentControlSet.Services.KestrelAPS "Start".*2
new|a feature|Program Files/Setupactions Sample/features/News.txt
old|a line of the block of host.conf|host.conf: load = suite_viewer
old|a line of the block of web.config|web.config: .*"20".*
old|the renamed virtual directory|/LM/W3SVC/1/ROOT/webinfo
old|its exclusion|excluded: webinfo
old|the changed line of the services file|services: kestrelcms\s6400.*'
# What the reference documents, by run and thing; the last is the engine's doing: it
# leaves an existing service as it is.
NAMED='.* own a line of (host.conf|web.config) inside the block
.* off the (web )?server, stopped by hand
.* ours the allowed extension
(early|failing) own a line of (web.config outside the block|the filled template)
(late|minor) old the changed line of the services file
minor new a feature
(late|minor) new the start of a service'
# The differences that the things above account for.
EXPECTED='Setupactions Sample/(readme.txt|features/News.txt|textfiles/)|host/host.conf|drivers/etc/services'
EXPECTED+='|Options "SampleData"'
EXPECTED+='|/ROOT/web(info|news)( |$)|WebSvcExtRestrictionList|KestrelAPS "Start"'

rm -rf "$out"
mkdir -p "$out/media"
trap 'stop_machine "$WINEPREFIX"' EXIT

# change PACKAGE QUERY
change() { msibuild "$out/media/$1.msi" -q "$2"; }
product_code() { msiinfo export "$out/media/$1.msi" Property | tr -d '\r' | sed -n 's/^ProductCode\t//p'; }
make_packages() {
    local name
    cp -r "$REPO"/build/x86/{sample.msi,redist} "$out/media"
    for name in early late minor; do cp "$REPO/build/x86/second.msi" "$out/media/$name.msi"; done
    # Windows, unlike the engine, tells the old version of the upgrade and keeps a file
    # that was changed since it was installed.
    for name in early late; do
        change $name "UPDATE Upgrade SET Remove = 'ALL UPGRADINGPRODUCTCODE=$(product_code $name)'
                      WHERE ActionProperty = 'OLDERSAMPLE'"
    done
    for name in late minor; do
        change $name "UPDATE Component SET Attributes = 128 WHERE Component = 'SampleReports'"
        change $name "UPDATE Component SET Attributes = 128 WHERE Component = 'ServerConfiguration'"
    done
    change late "UPDATE InstallExecuteSequence SET Sequence = 5820 WHERE Action = 'RemoveExistingProducts'"
    change late "INSERT INTO InstallExecuteSequence (Action, Condition, Sequence)
                 VALUES ('InstallExecuteAgain', 'OLDERSAMPLE', 5810)"
    change late "UPDATE InstallExecuteSequence SET Condition = 'NOT Installed AND NOT OLDERSAMPLE'
                 WHERE Action = 'UpdateSampleReportsURLs'"
    change minor "UPDATE Property SET Value = '$(product_code sample)' WHERE Property = 'ProductCode'"
}

# install RUN ARGUMENT ...: a silent msiexec; its log as $out/RUN.log.
install() {
    local run=$1 result=0
    shift
    (cd "$drive" && timeout 300 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' 'C:\run.log') || result=$?
    tr -d '\r' <"$drive/run.log" >"$out/$run.log"
    return $result
}

on_machine() {
    (cd "$drive" && "$REPO/scripts/engine-exec" "$@" >"$out/command.log" 2>&1) ||
        fail "command failed: $*; see $out/command.log"
}

# What a customer changes on the machine.
live_in() {
    on_machine sc create TRNWCentralMS_clone binPath= 'C:\Program Files\Setupactions Sample\sample_server.exe'
    on_machine reg add 'HKLM\Software\Setupactions Sample Groups\Kestrel NT Users' /v 'OFFICE\jane' /d member
    on_machine reg delete 'HKCU\Software\Microsoft\Office\9.0\Excel\Options' /v OPEN1 /f
    mkdir "$drive/moved"
    cp "$drive/olddata/sample.mdb" "$drive/moved/"
    on_machine reg add 'HKLM\Software\ODBC\ODBC.INI\Setupactions Sample Data' /v DBQ /d 'C:\moved\sample.mdb' /f
    stop_machine "$WINEPREFIX"
    sed -i 's/^load = core/&\r\nload = own/; s/^load = suite_reports/&\r\nload = inside/' "$drive/host/host.conf"
    sed -i 's/^  <system.web>/  <!-- own -->\r\n&/; s/^.*"viewer".*/&\n    <add key="inside" value="own" \/>\r/' \
        "$web/textfiles/web.config"
    printf 'own      = 1\r\n' >>"$web/textfiles/server.conf"
    printf 'owntool\t7777/tcp\t# own\r\n' >>"$drive/windows/system32/drivers/etc/services"
    sed -i '/^\[.LM.W3SVC.1.ROOT.viewer\]/a 3006 (3006, file, inherited below) = "own.htm"' "$drive/metabase.txt"
    echo "own" >"$drive/Program Files/Setupactions Samples/own.txt"
    echo "own" >"$web/win32_x86/plugins/auth/own.dll"
    fill_sample_cache "$WINEPREFIX"
}

# look RUN: the machine's state as lines, $out/RUN.state, and its snapshot.
look() {
    local file
    (cd "$drive" && "$REPO/scripts/engine-exec" net start) | sed -n 's/^    /running: /p' >"$out/running"
    take_snapshot "$WINEPREFIX" "$out/$1"
    {
        cat "$out/running" "$out/$1".{files,registry,services,web-server}
        # shellcheck disable=SC2094 # basename reads no file
        for file in "$drive/host/host.conf" "$web"/textfiles/*.conf* "$web"/reports/en/*.url "$web/readme.txt" \
            "$drive/windows/system32/drivers/etc/services"; do
            [ ! -e "$file" ] || tr -d '\r' <"$file" | sed "s@^@$(basename "$file"): @"
        done
        # The paths excluded from SharePoint, which takes each only once.
        awk '{ match($0, /[^\/]+\/ -type/); path = substr($0, RSTART, RLENGTH - 7) }
             / addpath / { excluded[path] = 1 } / deletepath / { delete excluded[path] }
             END { for (path in excluded) print "excluded: " path }' "$drive/sharepoint/bin/stsadm.log"
    } >"$out/$1.state"
}

differences() { show_difference "$out/$1" "$out/$2" | grep -v -E "^. ${INSTALLERS_OWN#^}" || true; }

# judge RUN [KIND]: a line for each thing (or each of that kind) and for each other
# difference; counts what the reference does not document.
unnamed=0
judge() {
    local run=$1 only=${2:-} kind thing pattern count word mark
    while IFS='|' read -r kind thing pattern; do
        [ "${only:-$kind}" = "$kind" ] || continue
        count=$(cut -f 1,2 <"$out/$run.state" | grep -c -x -E "($pattern)(	.*)?" || true)
        case $kind-$count in
        own-1 | ours-1 | off-0) word=kept ;;
        new-1) word=new ;;
        old-0) word=gone ;;
        own-0 | ours-0 | new-0 | off-*) word=lost ;;
        old-*) word=left ;;
        *) word=doubled ;;
        esac
        mark=''
        case $word in
        lost | left | doubled)
            if grep -q -x -E "$(paste -sd '|' <<<"$NAMED")" <<<"$run $kind $thing"; then
                mark=', as documented'
            else
                unnamed=$((unnamed + 1))
            fi
            ;;
        esac
        printf '%-8s %-8s %-5s %s\n' "$run" "$word" "$kind" "$thing$mark"
    done <<<"$THINGS"
    [ -z "$only" ] || return 0
    differences lived "$run" | grep -v -E "$EXPECTED" >"$out/$run.others" || true
    sed "s/^/$run  unexpected difference: /" "$out/$run.others"
    unnamed=$((unnamed + $(wc -l <"$out/$run.others")))
}

# begin: the machine as the customer left it, with services stopped by hand.
begin() {
    copy_machine "$machines/upgrade-lived" "$WINEPREFIX"
    keep_machine
    on_machine net stop W3SVC
    on_machine net stop TRNWCentralMS
}

run() {
    say "$1"
    case $1 in
    early | late)
        begin
        # shellcheck disable=SC2086 # the options are words
        install "$1" /i "Q:\\$1.msi" $OPTIONS || fail "the upgrade failed; see $out/$1.log"
        look "$1"
        judge "$1"
        ;;
    minor)
        begin
        install minor /i 'Q:\minor.msi' REINSTALL=ALL REINSTALLMODE=vomus ||
            fail "the update failed; see $out/minor.log"
        look minor
        judge minor
        ;;
    failing)
        begin
        # shellcheck disable=SC2086 # the options are words
        ! install failing /i 'Q:\early.msi' $OPTIONS SAMPLEFAILS=1603 ||
            fail "the upgrade should have failed, but succeeded"
        grep -q 'FailSample: failing, as asked' "$out/failing.log" ||
            fail "the upgrade failed for another reason; see $out/failing.log"
        look failing
        judge failing own
        ;;
    older)
        copy_machine "$machines/upgrade-fresh" "$WINEPREFIX"
        # shellcheck disable=SC2086 # the options are words
        install second /i 'Q:\early.msi' $OPTIONS || fail "installing the second version failed; see $out/second.log"
        look second
        ! install older /i 'Q:\sample.msi' || fail "the older version should have been refused, but was installed"
        grep -q 'A newer version of the sample is installed' "$out/older.log" ||
            fail "the refusal did not say why; see $out/older.log"
        look older
        differences second older >"$out/older.others"
        [ ! -s "$out/older.others" ] || fail "the older version changed the machine; see $out/older.others"
        printf '%-8s kept           everything\n' older
        ;;
    *) fail "unknown run: $1" ;;
    esac
}

make_packages
say "setting up the machine: installing the first version, then making a customer's changes"
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$REPO/build/x86"
map_drive "$WINEPREFIX" q "$out/media"
plant_web_server || fail "the stand-in web server could not be installed"
plant_sample_machine "$WINEPREFIX"
stop_machine "$WINEPREFIX"
copy_machine "$WINEPREFIX" "$machines/upgrade-fresh"
# shellcheck disable=SC2086 # the options are words
install first /i 'Q:\sample.msi' $OPTIONS || fail "installing the first version failed; see $out/first.log"
live_in
look lived
stop_machine "$WINEPREFIX"
copy_machine "$WINEPREFIX" "$machines/upgrade-lived"

[ $# != 0 ] || set -- early late minor failing older
for name; do run "$name"; done
say "not tested, because the engine does not do it: restoring the old version when an upgrade fails"
[ "$unnamed" = 0 ] || fail "$unnamed things were lost, doubled or left that the reference does not document"
say "done: nothing was lost, doubled or left except what the reference documents"
