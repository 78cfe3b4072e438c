#!/usr/bin/env bash
# Builds the sample package: build.sh WIXL STRIP SOURCES BINARIES VERSION PACKAGE [second]
# In the second version the files of SOURCES/second replace those of the first.
# wixl reads the package's files from its working folder.
set -euo pipefail
wixl=$1 strip=$2 sources=$3 binaries=$4 version=$5 package=$6

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$sources"/*.wxs "$sources"/*.wxi "$sources"/*.txt "$binaries/kit/setupactions.wxi" "$binaries/samples.zip" "$work"
cp "$sources"/textfiles/* "$sources"/publishing/* "$sources"/security/*.js "$work"
# -p keeps a program's own time stamp, which the linker leaves empty, so that files in
# both versions have the same bytes.
for binary in "$binaries"/*.dll "$binaries"/{sample_server,stand_in,unzip}.exe; do
    "$strip" -p -o "$work/$(basename "$binary")" "$binary"
done
tables=("$sources"/tables/*.idt)
second=()
if [ "${7:-}" = second ]; then
    cp "$sources"/second/*.txt "$work"
    tables+=("$sources"/second/*.idt)
    second=(-D Second=yes)
fi
cd "$work"
"$wixl" -D Version="$version" "${second[@]}" -o sample.msi sample.wxs
# An existing database file is never overwritten (128); wixl cannot express that.
msibuild sample.msi -q "UPDATE \`Component\` SET \`Attributes\` = 128 WHERE \`Component\` = 'SampleData'"
# The package's own public properties; wixl lists only those of the Upgrade table.
msibuild sample.msi -q \
    "UPDATE \`Property\` SET \`Value\` = 'HOSTCONFIG;SAMPLESERVER;OLDERSAMPLE;NEWERSAMPLE'
     WHERE \`Property\` = 'SecureCustomProperties'"
# The tables that wixl does not write.
"$binaries/kit/import-tables.sh" sample.msi "${tables[@]}" >tables.log
mv sample.msi "$package"
[ ${#second[@]} = 0 ] || exit 0

# The third-party installers next to the package.
redist=$(dirname "$package")/redist/en
mkdir -p "$redist"
for installer in mdac_typ.exe script.exe; do
    cp stand_in.exe "$redist/$installer"
done
