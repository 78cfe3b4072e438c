# shellcheck shell=bash
# Sourced by the shell tests: checks, and a count of those that failed.
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/engine.sh"

failures=0

# check TITLE COMMAND ...: the command must succeed.
check() {
    local title=$1
    shift
    if "$@"; then
        printf 'ok      %s\n' "$title"
    else
        printf 'FAILED  %s: %s\n' "$title" "$*"
        failures=$((failures + 1))
    fi
}

# has FILE TEXT: the file holds the text. has_line: as a whole line.
has() { grep -qF -- "$2" "$1"; }
has_not() { ! has "$@"; }
has_line() { grep -qxF -- "$2" "$1"; }

finish() {
    [ "$failures" = 0 ] || { printf '%d checks failed\n' "$failures"; exit 1; }
    exit 0
}
