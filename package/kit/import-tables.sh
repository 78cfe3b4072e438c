#!/usr/bin/env bash
# Adds the library's tables to a package: import-tables.sh PACKAGE.msi [TABLE ...]
# Without names: every table in tables/. A table that the package has stays as
# it is. Needs msibuild and msiinfo (msitools).
set -euo pipefail

[ $# -ge 1 ] || { echo "usage: import-tables.sh PACKAGE.msi [TABLE ...]" >&2; exit 2; }
package=$1
shift
folder=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/tables
[ -f "$package" ] || { echo "import-tables: no package $package" >&2; exit 1; }
if [ $# = 0 ]; then
    for file in "$folder"/*.idt; do set -- "$@" "$(basename "$file" .idt)"; done
fi
for table in "$@"; do
    [ -f "$folder/$table.idt" ] || { echo "import-tables: no table $table; there are: $(cd "$folder" && echo *.idt)" >&2; exit 1; }
done
present=$(msiinfo tables "$package")
for table in "$@"; do
    if grep -qxF -- "$table" <<<"$present"; then
        echo "$table: already in the package"
    else
        msibuild "$package" -i "$folder/$table.idt"
        echo "$table: added"
    fi
done
