#!/usr/bin/env bash
# Makes build/release/setupactions-VERSION.zip from the commit: the DLL, its
# symbols, the host, the log report, the authoring kit, the reference as Markdown and
# as HTML, and the sums of them all.
# The same commit gives the same bytes; with --check the release is made once
# more, from a copy of the commit in another folder, and compared.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
cd "$REPO"

check=
case "${1:-}" in
'') ;;
--check) check=1 ;;
*) fail "usage: release.sh [--check]" ;;
esac
command -v zip >/dev/null || fail "zip is not there; run: scripts/setup.sh"
[ -z "$(git status --porcelain)" ] || fail "the release is made from a commit; commit or put away what git status shows"
version=$(sed -nE 's/^project\(setupactions VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || fail "CMakeLists.txt names no version"

name=setupactions-$version
out=$REPO/build/release
build=$out/x86
content=$out/$name
archive=$out/$name.zip
rm -rf "$content" "$archive"
mkdir -p "$out"

say "building $name (output in $out/build.log)"
# The sources' folder must not show in the symbols.
if ! { cmake --preset x86 -B "$build" -DBUILD_TESTING=OFF "-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$REPO=." &&
    cmake --build "$build" --target setupactions actionhost logreport kit; } >"$out/build.log" 2>&1; then
    tail -n 20 "$out/build.log" >&2
    fail "the build failed"
fi

say "collecting"
mkdir -p "$content/docs"
# -p keeps the programs' own time stamp, which the linker leaves empty.
objcopy() { i686-w64-mingw32-objcopy -p "$@"; }
(
    cd "$content"
    objcopy --only-keep-debug "$build/setupactions.dll" setupactions.debug
    objcopy --strip-all --add-gnu-debuglink=setupactions.debug "$build/setupactions.dll" setupactions.dll
    objcopy --strip-all "$build/actionhost.exe" actionhost.exe
    objcopy --strip-all "$build/logreport.exe" logreport.exe
)
# The installer writes the DLL anew for every action that runs.
limit=600000
size=$(stat -c %s "$content/setupactions.dll")
[ "$size" -le $limit ] || fail "setupactions.dll has $size bytes, more than $limit; see scripts/size.sh"
cp -r "$build/kit" "$content/kit"
cp -r docs/log-lines.md docs/security.md docs/actions "$content/docs"
sed "1a\\\nOf setupactions.dll, version $version." docs/actions.md >"$content/docs/actions.md"
scripts/reference.sh
cp -r build/reference/. "$content/docs"
sed -i "s|^<h1 .*|&\n<p>Of setupactions.dll, version $version.</p>|" "$content/docs/actions.html"
sums() { find . -type f ! -name SHA256SUMS | sed 's|^\./||' | LC_ALL=C sort | tr '\n' '\0' | xargs -0 sha256sum; }
(cd "$content" && sums >SHA256SUMS)

# Times, modes and order come from the commit alone.
find "$content" -type f -exec chmod 644 {} + -exec touch -d "@$(git log -1 --format=%ct)" {} +
find "$content" -name '*.sh' -exec chmod 755 {} +
(cd "$out" && find "$name" -type f | LC_ALL=C sort | TZ=UTC zip -q -X -9 -@ "$archive")
say "made $archive (setupactions.dll: $size bytes)"
say "sha256 $(sha256sum "$archive" | cut -d' ' -f1)"

[ -n "$check" ] || exit 0
say "making it once more, elsewhere"
again=$(mktemp -d)
trap 'rm -rf "$again"' EXIT
git clone -q --no-hardlinks "$REPO" "$again/copy"
git -C "$again/copy" checkout -q "$(git rev-parse HEAD)"
"$again/copy/scripts/release.sh"
cmp "$archive" "$again/copy/build/release/$name.zip" || fail "the two archives differ"
say "the same bytes"
