#!/usr/bin/env bash
# Builds the sample package: build.sh WIXL STRIP SOURCES BINARIES VERSION PACKAGE [second]
# The second version has what SOURCES/second holds instead of the first one's.
# wixl reads the files that the package holds from its working folder.
set -euo pipefail
wixl=$1 strip=$2 sources=$3 binaries=$4 version=$5 package=$6

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$sources"/*.wxs "$sources"/*.wxi "$sources"/*.txt "$binaries/kit/setupactions.wxi" "$binaries/samples.zip" "$work"
cp "$sources"/textfiles/* "$sources"/publishing/* "$sources"/security/*.js "$work"
# -p keeps a program's own time stamp, which the linker leaves empty: what both
# versions hold has the same bytes.
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
# A database file that is there stays as it is (never overwrite, 128); wixl has
# no word for it.
msibuild sample.msi -q "UPDATE \`Component\` SET \`Attributes\` = 128 WHERE \`Component\` = 'SampleData'"
# What a user may say of the package's own: wixl names the Upgrade table's properties alone.
msibuild sample.msi -q \
    "UPDATE \`Property\` SET \`Value\` = 'HOSTCONFIG;SAMPLESERVER;OLDERSAMPLE;NEWERSAMPLE'
     WHERE \`Property\` = 'SecureCustomProperties'"
# The tables that wixl does not write itself.
"$binaries/kit/import-tables.sh" sample.msi "${tables[@]}" >tables.log
mv sample.msi "$package"
[ ${#second[@]} = 0 ] || exit 0

# The installers of other makers that lie beside the package.
redist=$(dirname "$package")/redist/en
mkdir -p "$redist"
for installer in mdac_typ.exe script.exe; do
    cp stand_in.exe "$redist/$installer"
done
