# shellcheck shell=bash
# Sourced: gives a machine a web server to be configured.

# plant_web_server: puts on $WINEPREFIX, whose drive P: is the build folder, the
# stand-ins of the web server's store (C:\metabase.txt), of its service and of
# SharePoint's tool, and what they are found by. The service runs from the
# machine's next start on.
plant_web_server() {
    local drive=$WINEPREFIX/drive_c
    mkdir -p "$drive/sharepoint/bin" &&
        cp "$REPO/build/x86/stsadm.exe" "$drive/sharepoint/bin" &&
        cp "$REPO"/package/sample/{metabase.txt,web_server.reg} "$drive" || return 1
    (cd "$drive" && "$REPO/scripts/engine-exec" regedit /S 'C:\web_server.reg' &&
        "$REPO/scripts/engine-exec" regsvr32 /s 'P:\metabasestore.dll')
}

# remove_from_web_server MACHINE KEY: takes a key and the keys below it out of the
# configuration of a machine that is stopped.
remove_from_web_server() {
    local file=$1/drive_c/metabase.txt
    awk -v key="[$2" '/^\[/ { gone = index($0, key "]") == 1 || index($0, key "/") == 1 } !gone' "$file" >"$file.new"
    mv "$file.new" "$file"
}
