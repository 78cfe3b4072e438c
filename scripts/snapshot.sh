# shellcheck shell=bash
# Sourced, after engine.sh: snapshots of a machine and their differences.
# Four kinds: files, registry, services, and the web server's configuration.

SNAPSHOT_KINDS='files registry services web-server'

# What the engine itself writes whenever it starts, or keeps as empty frames of
# its own bookkeeping once a first package was there.
ENGINE_OWN_KEYS='^HKLM\\(System\\CurrentControlSet\\Control\\Class\\\{4D36E9..-E325'
ENGINE_OWN_KEYS+='|Software\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards)'
ENGINE_EMPTY_FRAMES='^HK..\\Software\\(Classes|Microsoft\\Windows\\CurrentVersion)\\(Installer|Uninstall'
ENGINE_EMPTY_FRAMES+='|Installer\\(Features|Products|UpgradeCodes|UserData\\S-1-5-18\\(Components|Products)))$'
# The installer's own registration of a package, which is not the package's work.
INSTALLERS_OWN='^HK..\\Software\\(Classes\\Installer|Microsoft\\Windows\\CurrentVersion\\(Installer|Uninstall))'
SERVICE_KEYS='^HKLM\\System\\CurrentControlSet\\Services\\'

# take_snapshot MACHINE FILE: writes FILE.KIND for each kind: sorted, a line per
# thing, its name and behind a tab its state. Temporary files and logs are left
# out. Ends every program of the machine, so that its registry is on disk.
take_snapshot() {
    local machine=$1 file=$2
    stop_machine "$machine"
    (
        cd "$machine/drive_c" || exit 1
        # A file that the machine shares with the template it was made from
        # (see new_machine) is unchanged: it needs no sum.
        local ours=(. -mindepth 1 -not -path './windows/temp*' -not -path './users/*/Temp/*'
            -not -name '*.log' -not -path './windows/Installer*')
        find "${ours[@]}" \( -not -type f -o -links +1 \) -printf '%P\t%y\n'
        find "${ours[@]}" -type f -links 1 -not -name metabase.txt -exec md5sum {} + |
            sed -E 's/^([0-9a-f]+)  \.\/(.*)/\2\t\1/'
    ) | sort >"$file.files"
    awk '# A long value goes on in the next line.
         /\\$/ && !/^\[/ { value = value substr($0, 1, length($0) - 1); next }
         value != "" { $0 = value $0; value = "" }
         /^\[/ { key = $0; sub(/^\[/, "", key); sub(/\] .*/, "", key)
                 key = (FILENAME ~ /system.reg$/ ? "HKLM\\" : "HKCU\\") key; print key; next }
         /^("|@)/ { match($0, /^("([^"\\]|\\.)*"|@)=/)
                    print key " " substr($0, 1, RLENGTH - 1) "\t" substr($0, RLENGTH + 1) }' \
        "$machine"/{system,user}.reg |
        sed 's/\\\\/\\/g' | grep -v -E -e "$ENGINE_OWN_KEYS" -e "$ENGINE_EMPTY_FRAMES" | sort >"$file.all"
    grep -E "$SERVICE_KEYS" "$file.all" >"$file.services"
    grep -v -E "$SERVICE_KEYS" "$file.all" >"$file.registry"
    rm "$file.all"
    tr -d '\r' <"$machine/drive_c/metabase.txt" |
        awk '/^\[/ { key = substr($0, 2, length($0) - 2); print key }
             /^[^;\[ ]/ { name = $0; sub(/ =.*/, "", name); print key " " name "\t" $0 }
             /^ / { row = key " " name $0; print row (rows[row]++ ? " #" rows[row] : "") }' | sort >"$file.web-server"
}

# show_difference BEFORE AFTER [KIND ...]: what came (+), went (-) and is another (~).
show_difference() {
    local before=$1 after=$2 kind
    shift 2
    # shellcheck disable=SC2048 # the kinds are words
    for kind in ${*:-$SNAPSHOT_KINDS}; do
        awk -F '\t' -v OFS='' 'NR == FNR { state[$1] = $2 "."; next }
            !($1 in state) { print "+ ", $1; next }
            { if (state[$1] != $2 ".") print "~ ", $1; delete state[$1] }
            END { for (name in state) print "- ", name }' "$before.$kind" "$after.$kind" | sort -k 2
    done
}

# summarize_difference BEFORE AFTER: the same for people: a line per folder, key
# and service with the number of its changes, or the name of its only one; without
# what the installer itself registers.
summarize_difference() {
    local kind group
    for kind in $SNAPSHOT_KINDS; do
        case $kind in
        files) group='s@^([^/]*/?[^/]*).*@\1@' ;;
        registry) group='s/ (".*|@)$//; s@^([^\\]*(\\[^\\]*){0,3}).*@\1@' ;;
        services) group='s/ (".*|@)$//; s@^. @&\n@; s@\n.*Services\\([^\\]*).*@\1@' ;;
        web-server) group='s@^(. [^ ]*).*@\1@' ;;
        esac
        show_difference "$1" "$2" "$kind" | { grep -v -E "^. ${INSTALLERS_OWN#^}" || true; } |
            sed -E "h; $group; G; s/\n([^\n]*)$/\t\1/" |
            awk -F '\t' -v kind="$kind" '
                $1 != group { show(); group = $1; count = 0 }
                { ++count; name = $2 }
                END { show() }
                function show() {
                    if (count) printf "  %-10s %.136s\n", kind, count == 1 ? name : group " (" count ")"
                }'
    done
}
