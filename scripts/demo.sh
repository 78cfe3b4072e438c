#!/usr/bin/env bash
# Builds everything and runs the sample package on a fresh machine of the engine
# that has a web server: installs it, repairs it, changes its features, removes
# it. Shows for each action its results and what it changed, then what each run
# changed on the machine, and writes the log report of each run. Exits 1 when an
# action failed or something was left behind.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/web_server.sh"
source "$REPO/scripts/sample-machine.sh"

"$REPO/scripts/build.sh" product

export WINEPREFIX=$REPO/build/machines/demo
drive=$WINEPREFIX/drive_c
out=$REPO/build/demo
runs=()
# What the removal leaves, and why: old virtual directories do not come back, and
# the library adds its DLL to the server's list on every run and never removes it.
ON_PURPOSE='^(- /LM/W3SVC/1/ROOT/(suite9|Kestrel)|[+] /LM/W3SVC WebSvcExtRestrictionList .*,Tarnwick Lumo)'
rm -rf "$out"
mkdir -p "$out"

# run_installer RUN ARGUMENT ...: a silent msiexec with a verbose log, and a
# snapshot of the machine after it, $out/RUN.*.
run_installer() {
    local run=$1
    shift
    say "$run: msiexec $*"
    (
        cd "$drive" && export WINEDEBUG=-all,trace+msi,trace+file,trace+reg,trace+service,trace+process
        timeout 300 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' "C:\\$run.log" 2>"$out/$run.trace"
    ) || fail "msiexec failed; its log: $drive/$run.log"
    cp "$drive/$run.log" "$out"
    take_snapshot "$WINEPREFIX" "$out/$run"
    runs+=("$run")
}

report() {
    local run files=()
    for run in "${runs[@]}"; do files+=("$out/$run.trace" "$out/$run.log"); done
    awk -v runs="${runs[*]}" "$@" -f "$REPO/scripts/action_report.awk" "$REPO/exports/catalogue.inc" "${files[@]}"
}

# text_changes FOLDER NAME ...: the lines that actions changed in installed text files
# (host.conf is not the package's own).
text_changes() {
    local folder=$1 name
    shift
    for name; do
        diff -u --label "$name, as delivered" --label "$name, installed" \
            <(tr -d '\r' <"$SAMPLE_SOURCES/textfiles/$name") <(tr -d '\r' <"$out/installed/$folder/$name") || true
    done
}

# show_changes TITLE BEFORE AFTER: a summary of what differs between two snapshots; the
# full list goes into a file.
show_changes() {
    echo
    say "$1: $out/$3.changes"
    show_difference "$out/$2" "$out/$3" >"$out/$3.changes"
    summarize_difference "$out/$2" "$out/$3" >"$out/summary"
    [ -s "$out/summary" ] || echo "  no changes"
    cat "$out/summary"
}

say "setting up a fresh machine"
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$REPO/build/x86"
plant_web_server || fail "the stand-in web server could not be installed"
plant_sample_machine "$WINEPREFIX"
take_snapshot "$WINEPREFIX" "$out/before"
plant_older_add_on "$WINEPREFIX"

run_installer install /i 'P:\sample.msi' INSTALLMODE=Expand EXPANDAPS=1 EXPANDEVENT=1 SAMPLESERVER=alpha
mkdir "$out/installed"
(cd "$drive" && find . -type f -links 1 -not -path './windows/Installer/*' -exec cp --parents -t "$out/installed" {} +)
text_changes host host.conf >"$out/text-files.diff"
text_changes "$SAMPLE_INSTALLED/textfiles" web.config server.conf >>"$out/text-files.diff"
text_changes "$SAMPLE_INSTALLED/reports/en" sales.url stock.url >>"$out/text-files.diff"
say "damaging the installation: deleting a page, emptying a configuration file, removing a virtual directory"
rm "$drive/$SAMPLE_INSTALLED/launchpad.url"
: >"$drive/$SAMPLE_INSTALLED/textfiles/server.conf"
remove_from_web_server "$WINEPREFIX" /LM/W3SVC/1/ROOT/viewer
run_installer repair /i 'P:\sample.msi' REINSTALL=ALL REINSTALLMODE=amus
run_installer change /i 'P:\sample.msi' ADDLOCAL=ConnectorPages REMOVE=EventServer
say "the server fills its cache, and an administrator clones it as TRNWCentralMS_clone"
fill_sample_cache "$WINEPREFIX"
(cd "$drive" && "$REPO/scripts/engine-exec" sc create TRNWCentralMS_clone \
    binPath= 'C:\Program Files\Setupactions Sample\sample_server.exe' >"$out/clone.log") ||
    fail "the clone could not be created; see $out/clone.log"
run_installer remove /x 'P:\sample.msi'

echo
report | tee "$out/actions.txt"
report -v whole=1 >"$out/all-changes.txt"
show_changes "what the installation changed" before install
show_changes "what differs after the repair" install repair
show_changes "what changing the features changed" repair change
show_changes "what differs after the removal" before remove
echo
"$REPO/scripts/reference.sh" >"$out/reference.log"
for run in "${runs[@]}"; do
    "$REPO/scripts/logreport" "$out/$run.log" --html "$out/$run.html" ||
        fail "the report on $out/$run.log shows a failure"
done
say "log reports as pages: $out/{install,repair,change,remove}.html"
say "all changes, action by action: $out/all-changes.txt; edits to text files: $out/text-files.diff"
say "installer logs: $out/{install,repair,change,remove}.log; the machine: $drive"
# Results are in columns of 8 after the name; what an action logged follows them.
! grep -E '^.{35}(.{8}){0,3}(failed|ended) ' "$out/actions.txt" || fail "the actions listed above failed"
! grep -v -E "$ON_PURPOSE" "$out/remove.changes" || fail "the removal left behind what is listed above"
say "done: the removal left nothing behind except what the package leaves on purpose"
