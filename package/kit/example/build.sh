#!/usr/bin/env bash
# Builds the example: build.sh SETUPACTIONS.DLL PROGRAM.exe PACKAGE.msi, where the
# program is one that runs as a service. Needs wixl and msibuild (msitools).
set -euo pipefail
[ $# = 3 ] || { echo "usage: build.sh SETUPACTIONS.DLL PROGRAM.exe PACKAGE.msi" >&2; exit 2; }
example=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$example"/*.wxs "$example"/*.html "$example/../setupactions.wxi" "$work"
cp "$1" "$work/setupactions.dll"
cp "$2" "$work/report_server.exe"
package=$(realpath -m "$3")
(cd "$work" && wixl -o "$package" report_pages.wxs)
bash "$example/../import-tables.sh" "$package" "$example"/*.idt
