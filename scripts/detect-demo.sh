#!/usr/bin/env bash
# Plants a machine's software (package/sample/machine.reg and the files below)
# on a fresh machine of the engine, runs the detection actions there and shows
# the properties that they set. Exits 1 when they missed something.
#   scripts/detect-demo.sh [REGISTRY_FILE]     another machine, the same expectations
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

build=$REPO/build/x86
registry=$(realpath -e -- "${1:-$REPO/package/sample/machine.reg}") || fail "no such registry file: $1"
[ -f "$build/sample.msi" ] || fail "the sample package is not built yet; run: scripts/build.sh"
[ -d "$ENGINE_TEMPLATE" ] || fail "the engine is not there yet; run: scripts/setup.sh"

# What the registry names, and what is found without it: two libraries on the
# search path, notes.ini in the Windows folder, an old designer.
files='oracle/bin/oci.dll
sybase/dll/libct.dll
windows/system32/libcs.dll
sqllib/bin/db2util.dll
sqllib/bin/db2app.dll
sqllib/bin/db2cli.dll
informix/bin/isqlt07c.dll
windows/system32/isqlt09a.dll
mssql/ntwdblib.dll
j2sdk1.4.2_06/bin/javac.exe
windows/notes.ini
designer/qdw32.exe'

# ACTION PROPERTY VALUE: what each action must set. The value may be a pattern.
expected='DetectWantedSoftware HASIIS4 1
DetectWantedSoftware HASWEBSERVER 1
DetectWantedSoftware HASVB 1
DetectWantedSoftware HASVB6 1
DetectWantedSoftware HASORACLECLIENT 1
DetectWantedSoftware HASSYBASECLIENT 1
DetectWantedSoftware HASDB2CLIENT 1
DetectWantedSoftware HASINFORMIX7CCLIENT 1
DetectWantedSoftware HASINFORMIX9ACLIENT 1
DetectWantedSoftware HASEXCHANGECLIENT 1
DetectWantedSoftware HASMSSQLSERVERCLIENT 1
DetectWantedSoftware IEVERSION 550
DetectWantedSoftware HASIE5 1
DetectWantedSoftware OSSupportSxS 1
DetectWantedSoftware JDKVersionRequirementMet 1
DetectWantedSoftware JAVA_HOME C:\j2sdk1.4.2_06\
DetectWantedSoftware AspNetVersionRequirementMet 1
DetectWantedSoftware ASPNET 1.1.4322.0
DetectWantedSoftware DotNetFrameworkVersionRequirementMet 1
DetectWantedSoftware NSPLUGINPATH C:\Netscape\Plugins
DetectWantedSoftware FRONTPAGEPATH.9885AA60_26D9_11D4_9127_00902741EDC6 c:\program files\*office\Templates\*\webs
DetectWantedSoftware MSOLAPVERSION *.*.*.*
DetectWantedSoftware NtfsDisable8dot3NameCreation 1
DetectWantedSoftware NeedReboot TRUE
GetMachineName MACHINENAME ?*
GetNumberOfProcessors NUMBEROFPROCESSORS [1-9]*
ValidateNAMESERVER NAMESERVER cms01
ValidateNAMESERVER VALIDCOMPUTERNAME 1
GetNotesPath NOTESDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70 C:\notes\
GetNotesPath NOTESINIDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70 C:\windows\
FindUpgradableApp FOUNDUPGRADE 1
InstallPubWizAs ALLUSERS 1'

# What the package or the command line gives each action.
given_to() {
    case $1 in
    DetectWantedSoftware)
        printf '%s\n' JDKMinVersion.1E1AAE88_A8AA_4C35_B05A_ED4AEDC64943=1.4.2_04 \
            ASP.NETMinVersion.C9C3C390_2DD2_4E0B_BB2F_88C28E15CB92=1.1.4322.0 MsiNetAssemblySupport=1.1.4322.573 ;;
    ValidateNAMESERVER) echo 'NAMESERVER=  cms01 ' ;;
    GetNotesPath) printf '%s\n' 'NOTES_5_DIR=C:\notes\' 'NOTESDIR=C:\notes\' ;;
    FindUpgradableApp) printf '%s\n' 'UPGRADEAPPDIR=C:\designer\' UPGRADEAPPNAME=qdw ;;
    InstallPubWizAs) echo ALLUSERS= ;;
    esac
}

export MACHINE=$REPO/build/machines/detect-demo WINEPREFIX=$REPO/build/machines/detect-demo
say "planting $(basename "$registry") on a fresh machine"
new_machine "$MACHINE"
trap 'stop_machine "$MACHINE"' EXIT
keep_machine
for file in $files; do
    mkdir -p "$MACHINE/drive_c/$(dirname "$file")"
    touch "$MACHINE/drive_c/$file"
done
# The library itself stands in for the provider: its version is real.
provider="$MACHINE/drive_c/Program Files/Common Files/System/ole db"
mkdir -p "$provider"
cp "$build/setupactions.dll" "$provider/msolap.dll"
cp "$registry" "$MACHINE/drive_c/machine.reg"
(cd "$MACHINE/drive_c" && "$REPO/scripts/engine-exec" regedit /S 'C:\machine.reg') ||
    fail "the registry file was refused"

missing=0
for action in $(cut -d' ' -f1 <<<"$expected" | uniq); do
    say "$action"
    mapfile -t given < <(given_to "$action")
    out=$("$REPO/scripts/actionhost" "$build/sample.msi" "$action" "${given[@]}" --cost) ||
        fail "$action did not succeed: $out"
    grep '^changed' <<<"$out" || true
    while read -r of property value; do
        [ "$of" = "$action" ] || continue
        found=$(sed -n "s/^changed  $property: .* -> \"\(.*\)\"\$/\1/p" <<<"$out")
        # shellcheck disable=SC2053
        if [[ $found != ${value//\\/\\\\} ]]; then
            printf 'MISSED   %s: "%s", expected %s\n' "$property" "$found" "$value"
            missing=$((missing + 1))
        fi
    done <<<"$expected"
done
[ "$missing" = 0 ] || fail "$missing properties were not found as planted"
say "done: everything planted was found"
