#!/usr/bin/env bash
# Makes docs/logreport.png, the README's picture: the top of the log report's page on
# an installation from media that lack a redistributable.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
source "$REPO/scripts/sample-machine.sh"

"$REPO/scripts/build.sh" product
"$REPO/scripts/reference.sh"
out=$REPO/build/picture
export WINEPREFIX=$REPO/build/machines/picture
rm -rf "$out"
mkdir -p "$out/media"
cp "$REPO/build/x86/sample.msi" "$out/media"
new_machine "$WINEPREFIX"
map_drive "$WINEPREFIX" p "$out/media"
plant_sample_machine "$WINEPREFIX"
say "installing without the redistributables"
(
    cd "$WINEPREFIX/drive_c"
    timeout 300 "$REPO/scripts/engine-exec" msiexec /i 'P:\sample.msi' INSTALLMODE=Expand EXPANDAPS=1 \
        /qn '/l*v' 'C:\install.log'
) >"$out/output" 2>&1 || true
stop_machine "$WINEPREFIX"
result=0
"$REPO/scripts/logreport" "$WINEPREFIX/drive_c/install.log" --html "$out/install.html" || result=$?
[ "$result" = 1 ] || fail "the installation should have failed; see $WINEPREFIX/drive_c/install.log"
# A window this high ends below the timeline.
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --user-data-dir="$out/profile" \
    --window-size=1000,1250 --screenshot="$REPO/docs/logreport.png" "file://$out/install.html" >>"$out/output" 2>&1
say "made docs/logreport.png ($(stat -c %s "$REPO/docs/logreport.png") bytes)"
