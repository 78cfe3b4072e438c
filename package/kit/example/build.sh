#!/usr/bin/env bash
# Builds the example: build.sh PROGRAM.exe PACKAGE.msi, where the program is one that
# runs as a service. Needs wixl and msibuild (msitools).
set -euo pipefail
[ $# = 2 ] || { echo "usage: build.sh PROGRAM.exe PACKAGE.msi" >&2; exit 2; }
example=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
program=$(mktemp -d)
trap 'rm -rf "$program"' EXIT
cp "$1" "$program/report_server.exe"
bash "$example/../build-package.sh" "$example/report_pages.wxs" "$2" "$program"
