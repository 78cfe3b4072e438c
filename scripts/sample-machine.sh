# shellcheck shell=bash disable=SC2034
# Sourced, after engine.sh: what the sample package finds on its machine.

SAMPLE_SOURCES=$REPO/package/sample
SAMPLE_INSTALLED='Program Files/Setupactions Sample'

# plant_sample_machine MACHINE: what other programs had there before.
plant_sample_machine() {
    local drive=$1/drive_c
    mkdir -p "$drive"/{host,olddata,older/info,aspnet,portal/bin}
    cp "$REPO/build/x86/stand_in.exe" "$drive/portal/bin/stsadm.exe"
    echo "entered earlier" >"$drive/olddata/sample.mdb"
    echo "of the older release" >"$drive/older/info/about.txt"
    cp "$SAMPLE_SOURCES/textfiles/host.conf" "$drive/host/"
    touch "$drive/aspnet/aspnet_regiis.exe"
    cp "$SAMPLE_SOURCES/found.reg" "$drive/windows/temp/"
    # The script host registers itself when it first runs.
    echo >"$drive/windows/temp/first.js"
    (
        cd "$drive" && export WINEPREFIX=$1
        "$REPO/scripts/engine-exec" regedit /S 'C:\windows\temp\found.reg'
        "$REPO/scripts/engine-exec" wscript //B 'C:\windows\temp\first.js'
    )
}

# fill_sample_cache MACHINE: what the server wrote while it ran.
fill_sample_cache() {
    local cache="$1/drive_c/Program Files/Setupactions Sample Cache"
    mkdir -p "$cache/pages"
    echo "page 1" >"$cache/pages/1.txt"
}

# plant_older_add_on MACHINE: the part of the older release that the package
# deletes, and that does not come back.
plant_older_add_on() {
    for name in secldap.dll secldap.pin; do
        echo "add-on" >"$1/drive_c/older/info/$name"
    done
}
