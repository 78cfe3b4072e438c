#!/usr/bin/env bash
# Checks the sources without running them: their format, the include arrows
# between the folders, what other compilers say of them, and static analysis.
#   scripts/lint.sh [--deep]   (all paths through the functions, which takes minutes)
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
    pattern="#include \"($folder${allowed:+|${allowed// /|}})/"
    wrong+=$(grep -rn '^#include "' --include='*.cpp' --include='*.h' "$folder" | grep -v -E ":$pattern" || true)
done <<<"$arrows"
[ -z "$wrong" ] || { printf '%s\n' "$wrong" >&2; fail "the includes above run against the folders' arrows"; }

say "comparing the lists and the pages"
scripts/lint-lists.sh || exit 1

# A script that is run begins with #!, one that is only sourced with its shell.
say "checking the scripts"
mapfile -t scripts < <(git ls-files -z --cached --others --exclude-standard |
    xargs -0 awk 'FNR == 1 && /^#!.*sh$|^# shellcheck shell=/ { print FILENAME }')
shellcheck "${scripts[@]}" || fail "shellcheck found the faults above"
for script in "${scripts[@]}"; do
    case $(head -c 2 "$script") in
    '#!') [ -x "$script" ] || fail "$script is run, but not executable" ;;
    *) [ ! -x "$script" ] || fail "$script is only sourced, but executable" ;;
    esac
done

wide=$(git ls-files -z --cached --others --exclude-standard '*.cpp' '*.h' '*.cmake' '*CMakeLists.txt' '*.awk' '*.sh' |
    xargs -0 awk 'length > 120 { print FILENAME ":" FNR ": " length " columns" }')
[ -z "$wide" ] || { printf '%s\n' "$wide" >&2; fail "the lines above are wider than 120 columns"; }

# What passed an analysis leaves a mark named after the sum of everything that the
# analysis depends on, and is not analysed again while that sum stays the same, in no
# clone on this machine.
marks=${XDG_CACHE_HOME:-$HOME/.cache}/setupactions/lint
mkdir -p "$marks"
find "$marks" -type f -mtime +30 -delete
passed() { [ -e "$marks/$1" ] && touch "$marks/$1"; }
sum() { sha256sum | cut -d' ' -f1; }
tools=$(
    cppcheck --version
    clang-tidy --version
    dpkg-query -W '*mingw-w64*'
)

our_files() { git ls-files -z --cached --others --exclude-standard '*.cpp' '*.h' '*.inc'; }
# For every source its sum and those of all our files that it includes.
declare -A content
while read -r name sums; do content[$name]=$sums; done < <(
    our_files | xargs -0 sha256sum |
        awk -v never_the_same="$(date +%N)" '
            FILENAME == "-" { sum[$2] = $1; next }
            {
                file = $0; sub(/:.*/, "", file)
                sub(/^[^"]*"/, ""); sub(/".*/, "")
                includes[file] = includes[file] " " $0
            }
            function collect(file,    names, count, i) {
                if (seen[file] == turn) return
                seen[file] = turn
                sums = sums " " (file in sum ? sum[file] : never_the_same)
                count = split(includes[file], names)
                for (i = 1; i <= count; i++) collect(names[i])
            }
            END { for (file in sum) { turn = file; sums = ""; collect(file); print file sums } }
        ' - <(our_files | xargs -0 grep -H '^ *# *include *"')
)

say "analysing the sources"
# shellcheck disable=SC2054 # the commas are cppcheck's
cppcheck=(cppcheck --platform=win32A --std=c++17 --language=c++ --enable=warning,performance,portability
    --inline-suppr --error-exitcode=1 --quiet --library=windows --library=googletest --suppress=missingIncludeSystem
    # A replaced function finds its test's objects through a pointer outside of it.
    '--suppress=danglingLifetime:tests/*' -I . -D_WIN32 -D__stdcall= -DWINAPI= -U_MSC_VER)
settings=$(printf '%s\n' "$tools" "${cppcheck[@]}")
mark=$({ echo "$settings"; for name in "${sources[@]}"; do echo "$name ${content[$name]}"; done; } | sum)
if ! passed "$mark"; then
    # The folder knows what each source was like when it passed, but not all options.
    folder=build/cppcheck/$(sum <<<"$settings")
    [ -d "$folder" ] || rm -rf build/cppcheck
    mkdir -p "$folder"
    log=build/cppcheck.log
    if ! "${cppcheck[@]}" --cppcheck-build-dir="$folder" -j "$(nproc)" "${sources[@]}" >"$log" 2>&1; then
        cat "$log" >&2
        fail "cppcheck found the faults above"
    fi
    touch "$marks/$mark"
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
        -D_X86_ '-D__buildmemorybarrier()={}' \
        -DWIN32_LEAN_AND_MEAN -DWINVER=0x0501 -D_WIN32_WINNT=0x0501 -D_WIN32_MSI=300 -std=c++17 \
        -fcxx-exceptions -fexceptions -Wall -Wextra -Werror -I . -x c++ -c "$@"
}
as_microsoft frame/faults.cpp -o "$other/faults.obj" || fail "the guard is not for Microsoft's compiler"
as_microsoft - -o "$other/actions.obj" <<'EOF' || fail "the entries are not for Microsoft's compiler"
#include "exports/action.h"
#define SETUP_ACTION(Name, Room, When, Purpose) EXPORTED_ACTION(Name) { return ERROR_SUCCESS; }
#include "exports/catalogue.inc"
EOF
defined() { i686-w64-mingw32-nm --defined-only "$other/actions.obj" | awk '$2 == "T" { print $3 }' | sort; }
exported() { sed -nE 's/^ +[^=]+=([^ ]+) PRIVATE$/\1/p' build/x86/definitions/msvc/setupactions.def | sort; }
diff <(defined) <(exported) ||
    fail "the module-definition file for Microsoft's linker does not name the actions as its compiler does"

# clang-tidy reads as clang does, whose warnings count as errors.
say "analysing the product's sources in depth"
library=$(i686-w64-mingw32-g++-posix -print-file-name=include/c++)
tidy=(clang-tidy --quiet --extra-arg=--target=i686-w64-mingw32 --extra-arg=-Wpedantic
    --extra-arg=-isystem"$library" --extra-arg=-isystem"$library/i686-w64-mingw32")
# Of a function's paths a ninth of the usual number of steps: the rest takes most of the
# time, and has found nothing more.
[ "${1:-}" = --deep ] ||
    tidy+=(--extra-arg=-Xclang --extra-arg=-analyzer-config --extra-arg=-Xclang --extra-arg=max-nodes=25000)
# Each source by itself, without what only GCC knows.
cmake --preset x86 -B build/lint -DUNITY=OFF >build/lint.cmake.log || fail "cmake failed; see build/lint.cmake.log"
sed -i "s| -Winvalid-pch -include [^ ]*/cmake_pch.hxx||; s| -fno-ipa-[a-z]*||g; s| -Wno-subobject-linkage||
    s|$REPO/build/lint|$REPO/build/x86|g" build/lint/compile_commands.json
# The same in every clone.
commands=$(sed "s|$REPO|.|g" build/lint/compile_commands.json)

# options NAME: those of the compiler for a source.
options() {
    grep -B1 "^  \"file\": \"./$1\"" <<<"$commands" | sed -nE 's/^  "command": "[^ ]+ (.*) -o .*/\1/p' | head -n 1
}

# tidy_together FOLDER NAME MARK ...: analyses sources of a folder, with their marks. Most
# of the time goes to the headers that they share, so they are read as one, each under its
# own name; where that finds anything or cannot be compiled, one by one.
tidy_together() {
    local folder=$1 names=() marked=() i
    shift
    while [ $# -gt 0 ]; do
        names+=("$1")
        marked+=("$2")
        shift 2
    done
    if [ ${#names[@]} -gt 1 ]; then
        local together=build/lint/${folder//\//_}.cpp flags more
        read -ra flags <<<"$(options "${names[0]}")"
        for i in "${names[@]}"; do
            read -ra more <<<"$(options "$i" | tr ' ' '\n' | grep '^-[ID]' | xargs)"
            flags+=("${more[@]}")
            printf '#line 1 "%s/%s"\n' "$REPO" "$i"
            cat "$i"
        done >"$together"
        if "${tidy[@]}" "$together" -- "${flags[@]}" >/dev/null 2>&1; then
            touch "${marked[@]}"
            return
        fi
    fi
    local log=build/lint/${folder//\//_}.log result=0
    for i in "${!names[@]}"; do
        if "${tidy[@]}" -p build/lint "${names[i]}" 2>"$log"; then touch "${marked[i]}"; else
            cat "$log" >&2
            result=1
        fi
    done
    return $result
}
changed=() folders=()
for name in "${sources[@]}"; do
    case $name in *.h | tests/*) continue ;; esac
    mark=$({ printf '%s\n' "$tools" "${tidy[@]}" "${content[$name]}" "$(options "$name")"; cat .clang-tidy; } | sum)
    passed "$mark" && continue
    case $name in
    package/* | tools/*) folder=$(dirname "$name") ;; # a program each
    *) folder=${name%%/*} ;;
    esac
    changed+=("$folder $name $marks/$mark")
    folders+=("$folder")
done
say "${#changed[@]} of them changed since they last passed"
mapfile -t folders < <(printf '%s\n' "${folders[@]}" | sort | uniq -c | sort -rn | awk '{ print $2 }')
# One job for each folder, the largest first.
running=0 result=0
for folder in "${folders[@]}"; do
    [ "$running" -lt "$(nproc)" ] || { wait -n || result=1; running=$((running - 1)); }
    # shellcheck disable=SC2046 # names and marks are words
    tidy_together "$folder" $(printf '%s\n' "${changed[@]}" | sed -n "s|^$folder ||p") &
    running=$((running + 1))
done
while [ "$running" -gt 0 ]; do
    wait -n || result=1
    running=$((running - 1))
done
[ "$result" = 0 ] || fail "clang-tidy found the faults above"
