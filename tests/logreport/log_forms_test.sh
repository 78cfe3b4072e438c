#!/usr/bin/env bash
# The report on logs in the forms that installers write: of other products, languages,
# releases of the installer and encodings; cut off, damaged, and no logs at all.
# logs/NAME.log is a log in UTF-8, logs/NAME.txt what is reported of it.
source "$(dirname "$0")/../support/check.sh"

logs=$(dirname "$(realpath "$0")")/logs
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1

# report FILE: what is printed and, in the last line, the exit code.
report() {
    local code=0
    "$REPO/scripts/logreport" "$1" 2>&1 || code=$?
    echo "exit $code"
}
# in_form FORM FILE: the file as Windows writes it, or as older and other programs do.
in_form() {
    case $1 in
    UTF-16) printf '\xff\xfe' && sed 's/$/\r/' "$2" | iconv -f UTF-8 -t UTF-16LE ;;
    UTF-8) printf '\xef\xbb\xbf' && cat "$2" ;;
    ANSI) iconv -f UTF-8 -t CP1252 "$2" ;;
    esac
}
is_reported() { # FORM NAME
    in_form "$1" "$logs/$2.log" >"$2.log"
    diff <(sed "s/, UTF-16;/, $1;/" "$logs/$2.txt") <(report "$2.log")
}
for file in "$logs"/*.log; do
    name=$(basename "$file" .log)
    check "$name, as Windows writes it" is_reported UTF-16 "$name"
done
check "without the carriage returns, in UTF-8" is_reported UTF-8 upgrade
check "in the ANSI code page" is_reported ANSI german

# says TITLE TEXT ...: the last report has each text in its lines.
says() {
    local title=$1 text
    shift
    report input >out
    for text; do check "$title: $text" has out "$text"; done
}

head -n 43 "$logs/upgrade.log" >input
says "cut off in the middle" "no outcome: the log ends before it" \
    "the log's end StartCentral (StartAPSService) had not ended; it began in line 36" \
    "ControlService function exiting (0)" "exit 3"
tail -n +44 "$logs/upgrade.log" >input
says "cut off at its head" "Signals 2.0.0: installation failed and was rolled back (1603)" \
    "First cause: FillDatabase" "exit 1"
head -c 1500 "$logs/upgrade.log" | iconv -t UTF-16LE | head -c 2001 >input
says "half a character at its end, no mark at its head" "UTF-16" "exit 3"

# 10 MB in one line, which begins like a log's; a console's commands in a name.
{
    head -n 46 "$logs/upgrade.log"
    head -c 10000000 /dev/zero | tr '\0' x
    printf '\nCustomAction Strange\033[2J returned actual error code 7\n'
    tail -n 12 "$logs/upgrade.log"
} >input
says "a line of 10 MB" "First cause: Strange?[2J" "exit 1"

# More actions than there is room for; the one that fails is the last.
awk 'BEGIN {
    print "Action start 1:00:00: INSTALL."
    for (i = 0; i < 7000; ++i) {
        print "Action start 1:00:00: Fill" i ".\nsaid " i
        print "Action ended 1:00:01: Fill" i ". Return value 1."
    }
    print "Action start 1:00:02: Last.\nlast words\nAction ended 1:00:02: Last. Return value 3."
    print "Action ended 1:00:02: INSTALL. Return value 3."
}' >input
says "7,000 actions" "First cause: Last" "last words" "2001 actions that this report has no room for" "exit 1"

: >input
says "an empty file" "input is empty" "exit 2"
head -c 100000 "$REPO/build/x86/setupactions.dll" >input
says "a program" "input is not a text" "exit 2"
cp "$REPO/README.md" input
says "another text" "input is not an installer's log" "exit 2"
rm input && mkdir input
says "a folder" "input is a folder" "exit 2"
rmdir input
says "a file that is not there" "input cannot be opened" "exit 2"
check "no secret is shown" eval '! grep -E "rosebud|hush|abcdefgh" "$logs"/*.txt'
finish
