#!/usr/bin/env bash
# What a support engineer is told of failures made on the engine with the sample
# package: what failed, the line that says so, and what to do.
source "$(dirname "$0")/../support/check.sh"
source "$REPO/scripts/web_server.sh"
source "$REPO/scripts/sample-machine.sh"

out=$REPO/build/log-failures
before=$REPO/build/machines/log-failures-before
export WINEPREFIX=$before
trap 'stop_machine "$WINEPREFIX"' EXIT
rm -rf "$out"
mkdir -p "$out/media"
new_machine "$before"
map_drive "$before" p "$REPO/build/x86"
map_drive "$before" q "$out/media"
plant_web_server
plant_sample_machine "$before"
stop_machine "$before"
WINEPREFIX=$REPO/build/machines/log-failures
drive=$WINEPREFIX/drive_c

# prepare: a fresh machine and package, for a fault.
prepare() {
    copy_machine "$before" "$WINEPREFIX"
    rm -rf "${out:?}"/media/*
    cp -r "$REPO"/build/x86/{sample.msi,redist} "$out/media"
}
query() { msibuild "$out/media/sample.msi" -q "$1"; }

# is_told FAULT EXIT-CODE TEXT ...: installs, and looks for the texts in the report, in
# this order.
is_told() {
    local fault=$1 expected=$2 code=0 from=1 at text
    shift 2
    (cd "$drive" && timeout 200 "$REPO/scripts/engine-exec" msiexec /i 'Q:\sample.msi' /qn '/l*v' 'C:\run.log')
    stop_machine "$WINEPREFIX"
    cp "$drive/run.log" "$out/$fault.log"
    "$REPO/scripts/logreport" "$out/$fault.log" >"$out/$fault.txt" || code=$?
    check "$fault: exit code $expected" [ "$code" = "$expected" ]
    check "$fault: one screen" [ "$(wc -l <"$out/$fault.txt")" -le 30 ]
    for text; do
        at=$(tail -n +"$from" "$out/$fault.txt" | grep -nF -m1 -- "$text" | cut -d: -f1)
        check "$fault: $text" [ -n "$at" ]
        from=$((from + ${at:-1} - 1))
    done
}

prepare
rm -r "$out"/media/redist/*
is_told missing-redistributable 1 'installation failed' 'First cause: CheckMDACInstalled' \
    "Could not Find File 'Q:\\redist\\en\\mdac_typ.exe'" 'mdac_typ.exe is missing beside the package.' \
    'do     Put right what the lines above name, then run the setup again. More: "CheckMDACInstalled"'

prepare
for table in LaunchCondition HalcyonCondition; do
    number=
    [ "$table" = LaunchCondition ] || number="\`Id\`, "
    query "INSERT INTO \`$table\` ($number\`Condition\`, \`Description\`)
        VALUES (${number:+9, }'VersionNT > 9000', 'A newer Windows is needed.')"
done
is_told launch-condition 1 'installation failed' 'First cause: LaunchConditions' 'A newer Windows is needed.' \
    'do     This machine does not meet a condition of the package.'

# Faults that the library goes on after: the installation succeeds, without what failed.
prepare
query "UPDATE \`ServiceInstall\` SET \`StartType\` = 4 WHERE \`ServiceInstall\` = 'CentralServer'"
rm "$drive/metabase.txt"
mkdir "$drive/metabase.txt"
start_machine
(
    cd "$drive" && exec "$REPO/scripts/engine-exec" 'P:\tests\child_program.exe' hold 'C:\host\host.conf' wait
) >/dev/null 2>&1 &
for ((i = 0; i < 50; ++i)); do
    (cd "$drive" && "$REPO/scripts/engine-exec" cmd /c 'type C:\host\host.conf' >/dev/null 2>&1) || break
done
is_told three-faults 0 'installation succeeded' \
    'bad  StartAPSService' 'ntservice Error: StartService function failed' \
    'Disabled, program missing or account without logon.' \
    "do     See the system's event log, put it right and start the service by hand." \
    'bad  ConfigureWebServices' 'IIS4AddVirtualDir' 'do     Repair the package when the web server is well again.' \
    'bad  MergeHost' 'host.conf'
finish
