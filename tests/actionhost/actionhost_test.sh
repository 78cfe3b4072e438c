#!/usr/bin/env bash
# The host as a person runs it: scripts/actionhost on Linux paths.
source "$(dirname "$0")/../support/check.sh"

work=$(mktemp -d)
trap 'stop_machine "$MACHINE"; rm -rf "$work"' EXIT
export MACHINE=$REPO/build/machines/actionhost-test
new_machine "$MACHINE"
sample=$REPO/build/x86/sample.msi
cp "$sample" "$work/a package.msi"

# host ARGUMENT ...: runs the host; leaves $work/out and the exit code in $code.
host() { "$REPO/scripts/actionhost" "$@" >"$work/out" 2>&1; code=$?; }
exits() { [ "$code" = "$1" ]; }

host "$work/a package.msi" GetPid
check "an action that succeeds exits 0" exits 0
check "the result is named" has_line "$work/out" "result  0 (ERROR_SUCCESS)"
check "a changed property is shown" has "$work/out" 'changed  MSIEXECPID: (not set) -> "'
check "nothing else is shown as changed" [ "$(grep -c '^changed' "$work/out")" = 1 ]

host "$sample" ReportSampleData --dll "$REPO/build/x86/sampleactions.dll" --data 'SAMPLESERVER=beta;readme=C:\x'
check "action data reaches an action that looks deferred" has "$work/out" "ReportSampleData: SAMPLESERVER is beta"
check "a deferred action says so" has_line "$work/out" "action  ReportSampleData (deferred)"

host "$sample" MsiCheckStsadmLogFile
check "a message that ends the installation is shown" has_line "$work/out" \
    "fatal exit  The web parts could not be installed."

host "$sample" HandOverSampleData SAMPLESERVER=gamma --cost --dll "$REPO/build/x86/sampleactions.dll"
check "properties and costing are seen by the action" \
    has "$work/out" 'SAMPLESERVER=gamma;readme=C:\Program Files\Setupactions Sample\readme.txt"'

host "$sample" ReportSampleData --dll "$REPO/build/x86/sampleactions.dll" --data 'broken'
check "an exception that leaves the action exits 1" exits 1
check "and is told" has "$work/out" "result  none"

host --list
check "the list exits 0" exits 0
check "the list holds every action" [ "$(wc -l <"$work/out")" = \
    "$(grep -c '^SETUP_ACTION(' "$REPO/exports/catalogue.inc")" ]

host "$sample" NoSuchAction
check "an unknown action exits 2" exits 2
check "with one line" [ "$(wc -l <"$work/out")" = 1 ]
check "that names it" has "$work/out" "no action NoSuchAction"
host "$work/missing.msi" GetPid
check "a missing package exits 2" exits 2
check "with one line that names it" has "$work/out" "cannot open the package $work/missing.msi"
echo "not a package" >"$work/text.msi"
host "$work/text.msi" GetPid
check "an unreadable package exits 2" exits 2
# complains COMPLAINT ARGUMENT ...: arguments that are refused in one line.
complains() {
    host "${@:2}"
    check "$1: exits 2" exits 2
    check "$1: in one line" [ "$(wc -l <"$work/out")" = 1 ]
    check "$1: that says so" has "$work/out" "$1"
}
complains "no action given" "$sample"
complains "is not of the form PROPERTY=value" "$sample" GetPid NOVALUE
complains "is not of the form PROPERTY=value" "$sample" GetPid =value
complains "data needs a value" "$sample" GetPid --data
complains "unknown option --speed" "$sample" GetPid --speed
complains "list takes no package" --list "$sample"
complains "check takes a package and no action" "$sample" GetPid --check
complains "json goes with --check" "$sample" GetPid --json
complains "no action GetPdi" --explain GetPdi
complains "explain takes an action, or comes after a package" --explain GetPid "$sample"
host "$sample" GetPid --dll "$work/missing.dll"
check "a missing library exits 2" exits 2

host --help
check "help is given, and no failure" eval 'exits 0 && has "$work/out" "--list [--dll FILE]"'

host "$sample" --check
check "the sample package passes the check" exits 0
check "with its rows read" grep -qE \
    '^checked  [1-9][0-9]+ rows that call the library, [1-9][0-9]* of them in the execute sequence: 0 findings$' \
    "$work/out"
"$REPO/build/x86/kit/import-tables.sh" "$work/a package.msi" >"$work/import"
host "$work/a package.msi" --check
check "also with every table of the kit" exits 0
msibuild "$work/a package.msi" -q "UPDATE CustomAction SET Target = 'GetPdi' WHERE Action = 'GetPid'"
msibuild "$work/a package.msi" -q "UPDATE CustomAction SET Type = 1 WHERE Action = 'StartAPSService'"
msibuild "$work/a package.msi" -q "DELETE FROM InstallExecuteSequence WHERE Action = 'SetCopyHTMLViewerData'"
msibuild "$work/a package.msi" -q 'DROP TABLE KestrelRedirection'
columns='Directory_ CHAR(72) NOT NULL, RegKey CHAR(255), RegValue CHAR(255) PRIMARY KEY Directory_'
msibuild "$work/a package.msi" -q "CREATE TABLE KestrelRedirection ($columns)"
host "$work/a package.msi" --check
check "a broken package exits 1" exits 1
check "with one line for each fault" [ "$(grep -c '^found  ' "$work/out")" = 4 ]
check "a misspelt entry" has_line "$work/out" \
    "found  action GetPid: GetPdi is no action of the library: did you mean GetPid?"
check "a deferred action that is scheduled immediate" has "$work/out" \
    "found  action StartAPSService: StartAPSService runs deferred only"
check "a deferred action without its data" has "$work/out" "found  action CopyHTMLViewerToPFCD: gets no action data"
check "a missing column" has "$work/out" "found  table KestrelRedirection: has no column CallNumber"
host "$work/a package.msi" --check --json
check "for a build server the same, as JSON" eval 'exits 1 && python3 -c "
import json, sys
report = json.load(open(sys.argv[1]))
places = [finding[\"where\"] for finding in report[\"findings\"]]
assert len(places) == 4 and \"table KestrelRedirection\" in places" "$work/out"'
host "$work/text.msi" --check
check "what is no package exits 2" exits 2

host "$sample" --explain
check "a package is explained" eval 'exits 0 && has "$work/out" "        SPSNAME is \"http://central\""'
host --explain StartAPSService
check "so is an action" has "$work/out" 'Sets / changes: starts the service "TRNWCentralMS"'

finish
