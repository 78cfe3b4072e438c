#!/usr/bin/env bash
# Sets up all that building, testing and the demo need on a Debian 12 machine:
# packages by apt, and the private 32-bit Wine that serves as installer engine.
# Idempotent: what is there stays; a second run takes less than a second.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"

PACKAGES=(
    cmake ninja-build g++-mingw-w64-i686-posix libz-mingw-w64-dev   # building
    wixl msitools zip                                              # packages
    libc6-i386 lib32gcc-s1 libz-mingw-w64                          # the engine runs on these
    googletest clang clang-format clang-tidy cppcheck shellcheck python3   # tests
    cmark-gfm chromium                                             # the reference's and the report's pages
)
# The engine itself. No font library on purpose: none is needed without a
# display, and with one the engine does not start.
ENGINE_PACKAGES=(libwine wine32)

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; return; fi
    command -v sudo >/dev/null || fail "installing packages needs root: run this script as root, or install sudo"
    sudo "$@"
}

install_packages() {
    local missing=() name
    for name in "${PACKAGES[@]}"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || missing+=("$name")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    say "installing packages: ${missing[*]}"
    local log; log=$(mktemp)
    if ! { as_root apt-get update && as_root env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
        tail -n 5 "$log" >&2
        fail "apt could not install the packages (whole output: $log); check the network and the package sources," \
            "then run this script again"
    fi
    rm -f "$log"
}

# Downloads the 32-bit packages with an apt state of its own, so that the
# system's own architectures stay as they are, and unpacks them side by side.
unpack_wine() {
    local into=$1 state=$1/apt name
    local apt=(apt-get -oAPT::Architecture=i386 -oAPT::Architectures=i386
        -oDir::State::Lists="$state/lists" -oDir::Cache="$state/cache" -oDir::State::status=/dev/null
        -oAPT::Sandbox::User=)
    mkdir -p "$state/lists/partial" "$state/cache/archives/partial"
    say "downloading the 32-bit engine (about 100 MB)"
    # The index of one suite may be unreachable while the others suffice: the
    # download below is the measure, not this exit status.
    "${apt[@]}" update >"$state/update.log" 2>&1 || true
    while sleep 10; do say "$(du -sm "$state" | cut -f 1) MB so far"; done &
    local progress=$! result=0
    (cd "$state" && "${apt[@]}" download "${ENGINE_PACKAGES[@]}") >"$state/download.log" 2>&1 || result=$?
    kill "$progress"
    [ $result = 0 ] || {
        cat "$state/update.log" "$state/download.log" | grep -E '^(E|W):' | head -n 3 >&2 || true
        fail "the engine's packages could not be downloaded; check the network and run this script again"
    }
    say "unpacking the engine"
    for name in "$state"/*.deb; do
        dpkg -x "$name" "$into" || fail "the downloaded package $(basename "$name") is damaged; run this script again"
    done
    rm -rf "$state"

    # What the package's own post-install step would do: zlib as a built-in DLL.
    local zlib=/usr/i686-w64-mingw32/lib/zlib1.dll
    { head -c 64 "$zlib"; printf 'Wine builtin DLL'; head -c 16 /dev/zero; tail -c +97 "$zlib"; } \
        >"$into/usr/lib/i386-linux-gnu/wine/i386-windows/zlib1.dll"
    # The loader starts the "wineserver" beside it; Debian's is a script for /usr.
    ln -sf wineserver32 "$into/usr/lib/wine/wineserver"
}

# Makes the prefix that every machine of a run is copied from.
make_template() {
    export WINEPREFIX=$1
    mkdir -p "$WINEPREFIX"
    say "creating the template machine"
    WINEDLLOVERRIDES="mscoree,mshtml=" timeout 120 "$WINELOADER" wineboot -i >"$1.log" 2>&1 \
        || fail "the engine did not start (output: $1.log); is this an x86-64 kernel that runs 32-bit programs?"
    # Windows can then be created without a display.
    timeout 60 "$WINELOADER" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >>"$1.log" 2>&1
    # A fault ends the program that raised it; no debugger waits for a person.
    timeout 60 "$WINELOADER" reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
        /v Auto /d 0 /f >>"$1.log" 2>&1
    "$WINESERVER" -w
    # Nothing in the machine may lead to the real home or root folder.
    rm -f "$WINEPREFIX"/dosdevices/z: "$WINEPREFIX"/dosdevices/[d-y]:*
    local link
    find "$WINEPREFIX/drive_c/users" -type l | while read -r link; do
        rm "$link"
        mkdir "$link"
    done
    rm -f "$1.log"
}

install_engine() {
    mkdir -p "$ENGINE_HOME"
    exec 9>"$ENGINE_HOME/lock"
    flock 9
    rm -rf "$ENGINE_HOME"/*.partial*
    # Each stage is made under another name and moved into place when it is whole.
    if [ ! -d "$ENGINE_WINE" ]; then
        unpack_wine "$ENGINE_WINE.partial"
        mv "$ENGINE_WINE.partial" "$ENGINE_WINE"
    fi
    if [ ! -d "$ENGINE_TEMPLATE" ]; then
        make_template "$ENGINE_TEMPLATE.partial" 9>&-
        mv "$ENGINE_TEMPLATE.partial" "$ENGINE_TEMPLATE"
    fi
    exec 9>&-
}

[ "$(uname -sm)" = "Linux x86_64" ] || fail "the engine needs Linux on x86-64; this is $(uname -sm)"
command -v apt-get >/dev/null ||
    fail "this script needs Debian's apt-get; on another system install the packages listed in it by hand"
install_packages
install_engine
