#!/usr/bin/env bash
# Adds the library's tables to a package: import-tables.sh PACKAGE.msi [TABLE | FILE.idt ...]
# A TABLE is added without rows, unless the package has it. A FILE.idt (a copy of
# one in tables/ with rows added) is added with its rows and replaces the table
# that the package has. Without names: every table in tables/, without rows.
# The properties of secure-properties.txt are added to SecureCustomProperties. The
# library's rows whose Ids end in Rollback or Commit, which wixl writes as immediate ones,
# are made rollback actions. Needs msibuild and msiinfo (msitools).
set -euo pipefail

refuse() { echo "import-tables: $*" >&2; exit 1; }

# check_rows FILE: refuses a row with more or fewer columns than the table has.
check_rows() {
    local fault
    fault=$(awk -F '\t' -v file="$1" 'NR == 1 { columns = NF } NR == 3 { keys = NF - 1 }
        NR > 3 && NF != columns { print file ", line " NR ": " NF " columns instead of " columns; exit }
        NR > 3 { key = ""; for (k = 1; k <= keys; ++k) key = key $k FS
                 if (key in line) { print file ", line " NR ": the same key as line " line[key]; exit }
                 line[key] = NR }' <(tr -d '\r' <"$1"))
    [ -z "$fault" ] || refuse "$fault"
}

[ $# -ge 1 ] || { echo "usage: import-tables.sh PACKAGE.msi [TABLE | FILE.idt ...]" >&2; exit 2; }
package=$1
shift
kit=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$kit/tables
[ -f "$package" ] || refuse "no package $package"
if [ $# = 0 ]; then
    for file in "$folder"/*.idt; do set -- "$@" "$(basename "$file" .idt)"; done
fi
for name in "$@"; do
    case $name in
    *.idt) [ -f "$name" ] || refuse "no file $name"; check_rows "$name" ;;
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
secure=$(msiinfo export "$package" Property | tr -d '\r' | awk -F '\t' '$1 == "SecureCustomProperties" { print $2 }')
all=$(printf '%s\n' "${secure//;/$'\n'}" "$(cat "$kit/secure-properties.txt")" |
    awk 'NF && !seen[$0]++' | paste -sd ';')
if [ "$all" != "$secure" ]; then
    msibuild "$package" -q "DELETE FROM \`Property\` WHERE \`Property\` = 'SecureCustomProperties'"
    msibuild "$package" -q \
        "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('SecureCustomProperties', '$all')"
    echo "SecureCustomProperties: names what the actions read"
fi
msiinfo export "$package" CustomAction 2>/dev/null | tr -d '\r' |
    awk -F '\t' '$2 != 2049 || $3 != "setupactions" { next }
        $1 ~ /Rollback$/ { print $1, 3329, "rollback" }
        $1 ~ /Commit$/ { print $1, 3585, "commit" }' |
    while read -r action type kind; do
        msibuild "$package" -q "UPDATE \`CustomAction\` SET \`Type\` = $type WHERE \`Action\` = '$action'"
        echo "$action: a $kind action now"
    done
