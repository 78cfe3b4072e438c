#!/usr/bin/env bash
# Checks the sources without running them: their format, the include arrows
# between the folders, what other compilers say of them, and static analysis.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/engine.sh"
cd "$REPO"

mapfile -t sources < <(git ls-files --cached --others --exclude-standard '*.cpp' '*.h')

say "checking the format"
clang-format --dry-run -Werror "${sources[@]}" || fail "run: clang-format -i on the files above"

# A folder includes only itself and what stands after its colon.
say "checking the include arrows"
arrows='exports:frame
frame:
services:frame exports
web:frame services exports
detect:frame exports
textfiles:frame exports
setup:frame exports'
wrong=
while IFS=: read -r folder allowed; do
    [ -d "$folder" ] || continue
    pattern="^#include \"($folder${allowed:+|${allowed// /|}})/"
    wrong+=$(grep -rn '^#include "' --include='*.cpp' --include='*.h' "$folder" | grep -v -E ":$(printf '%s' "$pattern" | sed 's/^\^//')" || true)
done <<<"$arrows"
[ -z "$wrong" ] || { printf '%s\n' "$wrong" >&2; fail "the includes above run against the folders' arrows"; }

say "comparing the lists and the pages"
scripts/lint-lists.sh || exit 1

say "analysing the sources"
mkdir -p build/cppcheck
# A replaced function finds its test's objects through a pointer outside of it.
in_tests=--suppress=danglingLifetime:tests/*
log=build/cppcheck.log
if ! cppcheck --cppcheck-build-dir=build/cppcheck -j "$(nproc)" --platform=win32A --std=c++17 --language=c++ \
    --enable=warning,performance,portability --inline-suppr --error-exitcode=1 --quiet \
    --library=windows --library=googletest --suppress=missingIncludeSystem "$in_tests" \
    -I . -D_WIN32 '-D__stdcall=' '-DWINAPI=' -U_MSC_VER \
    "${sources[@]}" >"$log" 2>&1; then
    cat "$log" >&2
    fail "cppcheck found the faults above"
fi

# What depends on the compiler, as Microsoft's would read it: the guard's own
# branch, every entry's linkage, and the names that its module-definition file
# refers to. The cross compiler's C headers are made to pass: their attributes
# stand where only an old version lets them, one function is assembly.
say "compiling what depends on the compiler for Microsoft's"
other=build/msvc
mkdir -p "$other"
as_microsoft() {
    clang --target=i686-pc-windows-msvc -fms-compatibility-version=11 -isystem /usr/i686-w64-mingw32/include \
        -D_X86_ '-D__buildmemorybarrier()={}' -DWIN32_LEAN_AND_MEAN -DWINVER=0x0501 -D_WIN32_WINNT=0x0501 -D_WIN32_MSI=300 \
        -std=c++17 -fcxx-exceptions -fexceptions -Wall -Wextra -Werror -I . -x c++ -c "$@"
}
as_microsoft frame/faults.cpp -o "$other/faults.obj" || fail "the guard is not for Microsoft's compiler"
as_microsoft - -o "$other/actions.obj" <<'EOF' || fail "the entries are not for Microsoft's compiler"
#include "exports/action.h"
#define SETUP_ACTION(Name, Room, When, Purpose) EXPORTED_ACTION(Name) { return ERROR_SUCCESS; }
#include "exports/catalogue.inc"
EOF
defined() { i686-w64-mingw32-nm --defined-only "$other/actions.obj" | awk '$2 == "T" { print $3 }' | sort; }
exported() { sed -nE 's/^ +[^=]+=([^ ]+) PRIVATE$/\1/p' build/x86/definitions/msvc/setupactions.def | sort; }
diff <(defined) <(exported) || fail "the module-definition file for Microsoft's linker does not name the actions as its compiler does"

# clang-tidy reads one source at a time; one that passed is read again when it
# or any header changed. It reads as clang does, whose warnings count as errors.
say "analysing the product's sources in depth"
library=$(i686-w64-mingw32-g++-posix -print-file-name=include/c++)
stamps=build/tidy
mkdir -p "$stamps"
tidy_one() {
    local stamp
    stamp=$stamps/${1//\//_}
    if [ -e "$stamp" ] && [ "$stamp" -nt "$1" ] && [ "$stamp" -nt .clang-tidy ] &&
        [ -z "$(find exports frame services web detect textfiles setup tools package -name '*.h' -newer "$stamp" -print -quit 2>/dev/null)" ]; then
        return 0
    fi
    clang-tidy -p build/x86 --quiet --extra-arg=--target=i686-w64-mingw32 --extra-arg=-Wpedantic --extra-arg=-isystem"$library" \
        --extra-arg=-isystem"$library/i686-w64-mingw32" "$1" 2>"$stamp.log" || { cat "$stamp.log" >&2; return 1; }
    rm -f "$stamp.log"
    touch "$stamp"
}
export -f tidy_one
export stamps library
printf '%s\n' "${sources[@]}" | grep -E '\.cpp$' | grep -v '^tests/' |
    xargs -P "$(nproc)" -I{} bash -c 'tidy_one {}' || fail "clang-tidy found the faults above"
