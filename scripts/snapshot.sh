# Sourced: snapshots of a machine's files and registry, and their differences.

# What the engine itself writes whenever it starts, or keeps as empty frames of
# its own bookkeeping once a first package was there.
ENGINE_OWN_KEYS='^\[(System\\CurrentControlSet\\Control\\Class\\\{4D36E9..-E325|Software\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards)'
ENGINE_EMPTY_FRAMES='^\[Software\\(Classes|Microsoft\\Windows\\CurrentVersion)\\(Installer|Uninstall|Installer\\(Features|Products|UpgradeCodes|UserData\\S-1-5-18\\(Components|Products)))\]$'

# take_snapshot MACHINE FILE: writes FILE.files and FILE.registry, sorted; a
# line per file and per key or value. Temporary files and logs are left out.
# Ends every program of the machine, so that its registry is on disk.
take_snapshot() {
    local machine=$1 file=$2
    stop_machine "$machine"
    (cd "$machine/drive_c" &&
        find . -mindepth 1 -not -path './windows/temp*' -not -path './users/*/Temp/*' -not -name '*.log' \
            -not -path './windows/Installer' -printf '%P\n') |
        sort >"$file.files"
    awk '/^\[/ { key = $0; sub(/\] .*/, "]", key); print key; next }
         /^#|^WINE|^;|^$/ { next }
         { print key " " $0 }' "$machine"/{system,user}.reg |
        sed 's/\\\\/\\/g' | grep -v -E -e "$ENGINE_OWN_KEYS" -e "$ENGINE_EMPTY_FRAMES" | sort >"$file.registry"
}

# show_difference BEFORE AFTER: what came (+) and what went (-).
show_difference() {
    local kind
    for kind in files registry; do
        diff --unchanged-line-format= --old-line-format="  - %L" --new-line-format="  + %L" \
            "$1.$kind" "$2.$kind" || true
    done
}
