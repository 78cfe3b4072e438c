#!/usr/bin/env bash
# Builds a package with wixl, whole: build-package.sh [-D NAME=VALUE ...] SOURCE.wxs PACKAGE.msi [FOLDER ...]
# The source finds by their bare names the files beside it and in the FOLDERs, the kit's
# setupactions.wxi, and setupactions.dll, which lies in one of them or above the kit. Each
# FILE.idt among them goes into the package with its rows (see import-tables.sh). Needs
# wixl and msibuild (msitools).
set -euo pipefail
usage() { echo "usage: build-package.sh [-D NAME=VALUE ...] SOURCE.wxs PACKAGE.msi [FOLDER ...]" >&2; exit 2; }
defines=()
while [ "${1:-}" = -D ] && [ $# -ge 2 ]; do
    defines+=(-D "$2")
    shift 2
done
[ $# -ge 2 ] || usage
kit=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source=$(realpath "$1")
package=$(realpath -m "$2")
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# wixl looks for files in its working folder alone.
ln -s "$kit/setupactions.wxi" "$work"
[ ! -f "$kit/../setupactions.dll" ] || ln -s "$(realpath "$kit/../setupactions.dll")" "$work"
for folder in "$(dirname "$source")" "$@"; do
    find "$(realpath "$folder")" -mindepth 1 -maxdepth 1 -exec ln -sfn -t "$work" {} +
done
cd "$work"
wixl "${defines[@]}" -o "$package" "$(basename "$source")"
shopt -s nullglob
bash "$kit/import-tables.sh" "$package" ./*.idt
