#!/usr/bin/env bash
# What a failed installation leaves behind: rollback-demo.sh [STEP ...]
# Builds everything; installs the sample package on fresh machines of the engine and
# makes it fail right after each of the library's deferred actions in turn (or only
# the given ones), then makes its removal fail in the same way. Each line counts what
# differs from before (files and their contents, registry, services and whether they
# run, the web server's store): what the library left; what it left as documented;
# and what is left even when the library's deferred actions do nothing, because the
# engine does not undo all of its own work. Exits 1 when the library leaves something
# that the reference does not document.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/web_server.sh"
source "$REPO/scripts/sample-machine.sh"

"$REPO/scripts/build.sh" product

machines=$REPO/build/machines
export WINEPREFIX=$machines/rollback
out=$REPO/build/rollback-demo
OPTIONS='INSTALLMODE=Expand EXPANDAPS=1 EXPANDEVENT=1 SAMPLESERVER=alpha'
# What cannot be undone, as the reference documents.
NAMED='^- running: Central Management Server'
# The engine may create a deleted service again, as the package defines it.
NAMED+='|^[-~] HKLM.System.CurrentControlSet.Services.(TRNWCentralMS|KestrelAPS|MSSQLServer)( |$)'
# The engine's own services, which come and go.
ENGINE_SERVICES='Winedevice|Remote Procedure Call|Windows Installer'
rm -rf "$out"
mkdir -p "$out/media"
cp -r "$REPO"/build/x86/{sample.msi,redist} "$out/media"
trap 'stop_machine "$WINEPREFIX"' EXIT
table() { msiinfo export "$1" "$2" | tr -d '\r'; }

# steps PACKAGE: "NUMBER ACTION KIND" of each row of the execute sequence; ours are
# the library's deferred rows.
steps() {
    awk -F '\t' 'FNR <= 3 { next }
        FILENAME ~ /CustomAction/ {
            deferred = $3 == "setupactions" && int($2 / 1024) % 2
            kind[$1] = !deferred ? "other" : int($2 / 256) % 4 ? "undo" : "ours"
            next
        }
        { print $3, $1, $1 in kind ? kind[$1] : "standard" }' \
        "$out/CustomAction" "$out/InstallExecuteSequence" | sort -n
}

# fail_after STEP PACKAGE [ENGINE]: makes the package fail right after the step;
# with a third argument, the library's deferred actions do not run in it. Sequence
# numbers are doubled to make room. At InstallExecute the engine, unlike Windows,
# forgets the rollback rows before it.
fail_after() {
    awk -F '\t' -v OFS='\t' -v step="$1" -v engine="${3:-}" '
        NR == FNR { if ($1 != "") kind[$2] = $3; number[$2] = $1; next }
        FNR > 3 { $3 *= 2 }
        $1 == "FailSample" { $3 = 2 * number[step] + 1 }
        $1 == "InstallExecute" || engine && (kind[$1] == "ours" || kind[$1] == "undo") { $2 = "0" }
        { print $0 "\r" }' FS=' ' "$out/steps" FS='\t' "$out/InstallExecuteSequence" >"$out/InstallExecuteSequence.idt"
    msibuild "$2" -i "$out/InstallExecuteSequence.idt"
}

# look FILE: takes a snapshot, with the services that are running.
look() {
    (cd "$WINEPREFIX/drive_c" && "$REPO/scripts/engine-exec" net start) | grep -v -E "$ENGINE_SERVICES" >"$out/running"
    take_snapshot "$WINEPREFIX" "$1"
    sed -n 's/^    \(.*\)/running: \1\ty/p' "$out/running" | sort >"$1.running"
}

# failing_run NAME ARGUMENT ...: a silent msiexec that must fail at FailSample, its
# log and what it left, as $out/NAME.*.
failing_run() {
    local name=$1 before=$2
    shift 2
    (cd "$WINEPREFIX/drive_c" && timeout 120 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' 'C:\run.log') &&
        fail "$name should have failed, but succeeded"
    tr -d '\r' <"$WINEPREFIX/drive_c/run.log" >"$out/$name.log"
    grep -q 'FailSample: failing, as asked' "$out/$name.log" ||
        fail "$name failed for another reason; see $out/$name.log"
    look "$out/$name"
    # shellcheck disable=SC2086 # the kinds are words
    show_difference "$before" "$out/$name" $SNAPSHOT_KINDS running |
        { grep -v -E "^. ${INSTALLERS_OWN#^}" || true; } | sort >"$out/$name.left"
    rm -f "$out/$name".{files,registry,services,web-server,running}
}

# whole_run RUN ARGUMENT ...: a silent msiexec that must succeed, its log as $out/RUN.log.
whole_run() {
    local run=$1
    shift
    (cd "$WINEPREFIX/drive_c" && "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' 'C:\run.log') ||
        fail "the sample's $run failed without being made to"
    tr -d '\r' <"$WINEPREFIX/drive_c/run.log" >"$out/$run.log"
}

# steps_of RUN [STEP ...]: the library's deferred actions (or the given ones of them)
# that ran in a whole run, in order; for a removal only those before RemoveFiles,
# since the engine does not restore the files that it removed.
steps_of() {
    local run=$1
    shift
    awk -v run="$run" -v wanted=" $* " 'FILENAME ~ /log$/ { if (/^Action start /) ran[$4] = 1; next }
        run == "remove" && $2 == "RemoveFiles" { exit }
        $3 == "ours" && ran[$2 "."] && (wanted == "  " || index(wanted, " " $2 " ")) { print $2 }' \
        "$out/$run.log" "$out/steps"
}

install() { # NAME STEP FAILURE [ENGINE]
    copy_machine "$machines/rollback-before" "$WINEPREFIX"
    fail_after "$2" "$out/media/sample.msi" "${4:-}"
    # shellcheck disable=SC2086 # the options are words
    failing_run "$1" "$out/before" /i 'Q:\sample.msi' $OPTIONS SAMPLEFAILS="$3"
}

remove() { # NAME STEP FAILURE [ENGINE]
    copy_machine "$machines/rollback-installed" "$WINEPREFIX"
    fail_after "$2" "$(echo "$WINEPREFIX"/drive_c/windows/Installer/*.msi)" "${4:-}"
    failing_run "$1" "$out/installed" /x 'Q:\sample.msi' SAMPLEFAILS="$3"
}

# measure RUN STEP [FAILURE]: prints the step's line. The engine's own part is what the
# same failure leaves when the library does nothing; it is measured once for each
# standard action before the step.
unnamed=0
measure() {
    local run=$1 step=$2 failure=${3:-1603} name standard engine
    name=$run-${3:+$3-}${step%%.*}
    standard=$(awk -v step="$step" '$2 == step { exit } $3 == "standard" { last = $2 } END { print last }' "$out/steps")
    engine=$run-engine-$standard
    "$run" "$name" "$step" "$failure"
    [ -e "$out/$engine.left" ] || "$run" "$engine" "$step" 1603 engine
    comm -23 "$out/$name.left" "$out/$engine.left" >"$out/$name.more"
    grep -v -E "$NAMED" "$out/$name.more" >"$out/$name.ours" || true
    grep -E "$NAMED" "$out/$name.more" >"$out/$name.named" || true
    printf '%-8s %-45s %5d %11d %7d\n' "$run" "${3:+$3 after }${step%%.*}" "$(wc -l <"$out/$name.ours")" \
        "$(wc -l <"$out/$name.named")" "$(wc -l <"$out/$engine.left")"
    unnamed=$((unnamed + $(wc -l <"$out/$name.ours")))
}

table "$REPO/build/x86/sample.msi" CustomAction >"$out/CustomAction"
table "$REPO/build/x86/sample.msi" InstallExecuteSequence >"$out/InstallExecuteSequence"
steps >"$out/steps"

say "setting up the machines: one before the installation, one after it"
before=$machines/rollback-before
WINEPREFIX=$before
new_machine "$before"
map_drive "$before" p "$REPO/build/x86"
map_drive "$before" q "$out/media"
plant_web_server || fail "the stand-in web server could not be installed"
plant_sample_machine "$before"
plant_older_add_on "$before"
# What the installation overwrites.
overwritten="$before/drive_c/$SAMPLE_INSTALLED/win32_x86/plugins/auth/secWindowsNT"
mkdir -p "$overwritten"
echo "an older plug-in" >"$overwritten/secWindowsNT.dll"
stop_machine "$before"
WINEPREFIX=$machines/rollback
copy_machine "$before" "$WINEPREFIX"
look "$out/before"
copy_machine "$before" "$WINEPREFIX"
# shellcheck disable=SC2086 # the options are words
whole_run install /i 'Q:\sample.msi' $OPTIONS
fill_sample_cache "$WINEPREFIX"
stop_machine "$WINEPREFIX"
copy_machine "$WINEPREFIX" "$machines/rollback-installed"
look "$out/installed"
copy_machine "$machines/rollback-installed" "$WINEPREFIX"
whole_run remove /x 'Q:\sample.msi'

say "failing after each step in turn; what the library left is in $out/*.ours, with the engine's part in *.left"
printf '%-8s %-45s %5s %11s %7s\n' run "fails after" left documented engine
mapfile -t installing < <(steps_of install "$@")
for step in "${installing[@]}"; do measure install "$step"; done
# A cancelled installation too, if the engine rolls one back.
if [ $# = 0 ]; then
    last=${installing[-1]}
    install cancelled "$last" 1602
    if grep -q 'taking back what is recorded' "$out/cancelled.log"; then
        measure install "$last" 1602
    else
        cancelled='a cancelled installation (1602), '
    fi
fi
mapfile -t removing < <(steps_of remove "$@")
for step in "${removing[@]}"; do measure remove "$step"; done

echo
say "left by the engine itself, without any deferred action of the library:"
for run in install remove; do
    compgen -G "$out/$run-engine-*.left" >/dev/null || continue # none of this run was tried
    sort -u "$out/$run"-engine-*.left >"$out/engine.$run"
    sed -E 's@^(. HK([^\\]*\\){4}[^\\ ]*|. [^/]*/?[^/]*).*@\1@' "$out/engine.$run" | uniq -c |
        awk -v run="$run" '{ count = $1; $1 = ""; print "  " run ":" $0 " (" count ")" }'
done
say "not tested, because the engine does not roll it back: ${cancelled:-}a repair, a removal from RemoveFiles on"
[ "$unnamed" = 0 ] || fail "the library left $unnamed differences that the reference does not document"
say "done: nothing is left except what the engine leaves and the reference documents"
