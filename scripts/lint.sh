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
# analysis depends on, and is not analysed again while that sum stays the same. Clones
# may share the marks.
marks=${SETUPACTIONS_LINT_CACHE:-build/tidy}
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
tidy=(clang-tidy -p build/lint --quiet --extra-arg=--target=i686-w64-mingw32 --extra-arg=-Wpedantic
    --extra-arg=-isystem"$library" --extra-arg=-isystem"$library/i686-w64-mingw32")
# Static analysis reads neither GCC's precompiled headers nor its own options.
mkdir -p build/lint
sed 's| -Winvalid-pch -include [^ ]*/cmake_pch.hxx||; s| -fno-ipa-[a-z]*||g' build/x86/compile_commands.json \
    >build/lint/compile_commands.json
commands=$(sed "s|$REPO/||g" build/lint/compile_commands.json)
tidy_one() {
    local name=$1 mark=$2 log
    log=$(mktemp)
    if "${@:3}" "$name" 2>"$log"; then touch "$mark"; else cat "$log" >&2; fi
    rm "$log"
    [ -e "$mark" ]
}
export -f tidy_one
changed=()
for name in "${sources[@]}"; do
    case $name in *.h | tests/*) continue ;; esac
    mark=$({ printf '%s\n' "$tools" "${tidy[@]}" "${content[$name]}"; cat .clang-tidy
        grep -B1 "^  \"file\": \"$name\"" <<<"$commands" || echo "$commands"; } | sum)
    passed "$mark" || changed+=("$name" "$marks/$mark")
done
say "$((${#changed[@]} / 2)) of them changed since they last passed"
[ ${#changed[@]} = 0 ] || printf '%s\n' "${changed[@]}" |
    xargs -P "$(nproc)" -n 2 bash -c 'tidy_one "${@: -2}" "${@:1:$#-2}"' - "${tidy[@]}" ||
    fail "clang-tidy found the faults above"
