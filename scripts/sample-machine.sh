# Sourced, after engine.sh: what the sample package finds on its machine.

SAMPLE_SOURCES=$REPO/package/sample
SAMPLE_INSTALLED='Program Files/Setupactions Sample'

# plant_sample_machine MACHINE: what other programs had there before.
plant_sample_machine() {
    local drive=$1/drive_c
    mkdir -p "$drive/host"
    cp "$SAMPLE_SOURCES/textfiles/host.conf" "$drive/host/"
    cp "$SAMPLE_SOURCES/found.reg" "$drive/windows/temp/"
    (cd "$drive" && WINEPREFIX=$1 "$REPO/scripts/engine-exec" regedit /S 'C:\windows\temp\found.reg')
}

# fill_sample_cache MACHINE: what the server wrote while it ran.
fill_sample_cache() {
    local cache="$1/drive_c/Program Files/Setupactions Sample Cache"
    mkdir -p "$cache/pages"
    echo "page 1" >"$cache/pages/1.txt"
}
