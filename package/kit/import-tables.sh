#!/usr/bin/env bash
# Adds the library's tables to a package: import-tables.sh PACKAGE.msi [TABLE | FILE.idt ...]
# A TABLE is added without rows, unless the package has it. A FILE.idt (a copy of
# one in tables/ with rows added) is added with its rows and replaces the table
# that the package has. Without names: every table in tables/, without rows.
# Needs msibuild and msiinfo (msitools).
set -euo pipefail

refuse() { echo "import-tables: $*" >&2; exit 1; }

[ $# -ge 1 ] || { echo "usage: import-tables.sh PACKAGE.msi [TABLE | FILE.idt ...]" >&2; exit 2; }
package=$1
shift
folder=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/tables
[ -f "$package" ] || refuse "no package $package"
if [ $# = 0 ]; then
    for file in "$folder"/*.idt; do set -- "$@" "$(basename "$file" .idt)"; done
fi
for name in "$@"; do
    case $name in
    *.idt) [ -f "$name" ] || refuse "no file $name" ;;
    *) [ -f "$folder/$name.idt" ] || refuse "no table $name; there are: $(cd "$folder" && echo *.idt)" ;;
    esac
done
present=$(msiinfo tables "$package")
for name in "$@"; do
    case $name in
    *.idt)
        msibuild "$package" -i "$name" || refuse "$name is not a table in the installer's text form"
        echo "$name: added with its rows"
        ;;
    *)
        if grep -qxF -- "$name" <<<"$present"; then
            echo "$name: already in the package"
        else
            msibuild "$package" -i "$folder/$name.idt"
            echo "$name: added"
        fi
        ;;
    esac
done
