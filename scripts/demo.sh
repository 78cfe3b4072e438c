#!/usr/bin/env bash
# Builds everything, installs the sample package on a fresh machine of the
# engine that has a web server, shows what its actions logged and what changed,
# there and on the machine, removes the package again and shows that nothing
# stayed. Exits 1 when something did.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
source "$REPO/scripts/snapshot.sh"
source "$REPO/scripts/web_server.sh"
source "$REPO/scripts/sample-machine.sh"

"$REPO/scripts/build.sh" product

export WINEPREFIX=$REPO/build/machines/demo
out=$REPO/build/demo
rm -rf "$out"
mkdir -p "$out"

say "making a fresh machine"
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$REPO/build/x86"
plant_web_server || fail "the web server's stand-ins were refused"
plant_sample_machine "$WINEPREFIX"

# run_installer TITLE LOG ARGUMENT ...: a silent msiexec with a verbose log;
# shows the lines that actions wrote themselves ("date, time: text").
run_installer() {
    local title=$1 log=$2
    shift 2
    say "$title"
    if ! (cd "$WINEPREFIX/drive_c" && timeout 300 "$REPO/scripts/engine-exec" msiexec "$@" /qn '/l*v' "C:\\$log"); then
        fail "msiexec failed; its log: $WINEPREFIX/drive_c/$log"
    fi
    echo "  what the actions logged (whole log: $WINEPREFIX/drive_c/$log):"
    action_lines "$WINEPREFIX/drive_c/$log"
}

action_lines() {
    local lines
    lines=$(tr -d '\r' <"$1" | grep -E '^[0-9]+/[0-9]+/[0-9]+, [0-9:]+: ' | sed 's/^/    /') || true
    printf '%s\n' "${lines:-    (nothing)}"
}

# The installer's own registration of the package is not the package's work.
# A key that came or went stands for its values.
package_changes() {
    show_difference "$out/before" "$out/installed" |
        grep -v -E '\[Software\\(Classes\\Installer|Microsoft\\Windows\\CurrentVersion\\(Installer|Uninstall))|windows/Installer/' |
        awk '/^  [-+] \[/ { key = $0; sub(/\].*/, "]", key); if (key == $0) new[key] = 1; else if (key in new) next }
             { print }' |
        cut -c1-160
}

show_web_server() {
    echo "  the web server's configuration (C:\metabase.txt):"
    grep -v -e '^;' -e '^$' "$WINEPREFIX/drive_c/metabase.txt" | sed 's/^/    /'
}

# text_changes FOLDER NAME ...: what the actions changed in text files of the
# package or, for host.conf, of another program.
text_changes() {
    local folder=$1 name
    shift
    for name; do
        diff -u --label "$name, original" --label "$name, installed" \
            <(tr -d '\r' <"$SAMPLE_SOURCES/textfiles/$name") <(tr -d '\r' <"$WINEPREFIX/drive_c/$folder/$name") |
            sed 's/^/    /' || true
    done
}

take_snapshot "$WINEPREFIX" "$out/before"
services="$WINEPREFIX/drive_c/windows/system32/drivers/etc/services"
cp "$services" "$out/services"
plant_older_add_on "$WINEPREFIX"
run_installer "installing the sample package, adding the central and the event server" install.log \
    /i 'P:\sample.msi' INSTALLMODE=Expand EXPANDAPS=1 EXPANDEVENT=1
take_snapshot "$WINEPREFIX" "$out/installed"
echo "  what the installation changed:"
package_changes
show_web_server
echo "  what the actions changed in text files:"
text_changes host host.conf
text_changes "$SAMPLE_INSTALLED/textfiles" web.config server.conf
text_changes "$SAMPLE_INSTALLED/reports/en" sales.url stock.url
diff -u --label "services, original" --label "services, installed" \
    <(tr -d '\r' <"$out/services") <(tr -d '\r' <"$services") | sed 's/^/    /' || true
say "the server fills its cache"
fill_sample_cache "$WINEPREFIX"
say "an administrator clones the server: TRNWCentralMS_clone"
(cd "$WINEPREFIX/drive_c" && "$REPO/scripts/engine-exec" sc create TRNWCentralMS_clone \
    binPath= 'C:\Program Files\Setupactions Sample\sample_server.exe' >"$out/clone.log") ||
    fail "the clone could not be made; see $out/clone.log"
run_installer "removing the sample package" remove.log /x 'P:\sample.msi'
show_web_server
echo "  what SharePoint's tool was called with:"
sed 's/^/    /' "$WINEPREFIX/drive_c/sharepoint/bin/stsadm.log"
take_snapshot "$WINEPREFIX" "$out/removed"
left=$(show_difference "$out/before" "$out/removed")
cmp "$SAMPLE_SOURCES/textfiles/host.conf" "$WINEPREFIX/drive_c/host/host.conf" ||
    fail "the other program's configuration is not what it was"
cmp "$out/services" "$services" || fail "the network services are not what they were"
if [ -n "$left" ]; then
    printf '%s\n' "$left"
    fail "the removal left the lines above behind"
fi
say "done: nothing stayed on the machine"
