#!/usr/bin/env bash
# The log report's page, opened in a browser without a window.
source "$(dirname "$0")/../support/check.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
command -v chromium >/dev/null || fail "chromium is not there; run: scripts/setup.sh"

# browse ADDRESS: the page as it stands when its script has run, in $work/dom; what the
# browser complains of, also a script or request that the page does not allow, in
# $work/console.
browse() {
    timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-background-networking \
        --user-data-dir="$work/profile" --enable-logging=stderr --dump-dom "file://$work/$1" \
        2>"$work/log" | tr -d '\n' | sed 's/<details/\n&/g; s/<li/\n&/g; s/<script/\n&/g' >"$work/dom"
    grep -F CONSOLE "$work/log" >"$work/console"
    [ -s "$work/dom" ]
}
quiet() { [ ! -s "$work/console" ] || { cat "$work/console"; return 1; }; }
shows() { grep -qE ">$1 actions</small>" "$work/dom"; }
hides() { grep -F "id=\"$1\"" "$work/dom" | grep -qF ' hidden'; }

# A failed installation whose values are markup and script.
evil='"></td><img src=x onerror=alert(1)><script>document.title=1</script>'
cat >"$work/install.log" <<END
=== Verbose logging started: 11/22/2026  6:52:10  Build type: SHIP UNICODE 5.00  Calling process: msiexec.exe ===
MSI (s) (08:58) [06:52:10:000]: Command Line: SAMPLE=$evil
Action start 6:52:10: INSTALL.
Action start 6:52:11: GetMachineName.
MSI (s) (08!58) [06:52:11:100]: PROPERTY CHANGE: Adding MACHINENAME property. Its value is '$evil'.
Action ended 6:52:11: GetMachineName. Return value 1.
Action start 6:52:12: CheckSQLInstalled.
11/22/2026, 6:52:12: CheckSQLInstalled: MSDE may be installed Instance($evil) Service()
Action ended 6:52:12: CheckSQLInstalled. Return value 1.
Action start 6:52:13: CreateNTUserGroup.
11/22/2026, 6:52:13: Failure(CreateNTUserGroup): Couldn't create the Kestrel NT User Group, error $evil
CustomAction CreateNTUserGroup returned actual error code 1603 (note this may not be 100% accurate)
Action ended 6:52:13: CreateNTUserGroup. Return value 3.
Action ended 6:52:14: INSTALL. Return value 3.
Property(S): ProductName = $evil
MSI (s) (08:58) [06:52:14:000]: Product: $evil -- Installation failed.
MSI (s) (08:58) [06:52:14:000]: MainEngineThread is returning 1603
=== Verbose logging stopped: 11/22/2026  6:52:14 ===
END
"$REPO/scripts/logreport" "$work/install.log" --html "$work/report.html" --reference "$REPO/build/reference/" \
    >"$work/out" 2>&1
check "the installation failed" [ $? = 1 ]
browse report.html
check "the page's own script runs" shows '3 of 3'
check "the first cause is told, with what to do" has "$work/dom" 'Create the group by hand.'
check "values are text" has "$work/dom" '&lt;script&gt;document.title=1&lt;/script&gt;'
check "none of them becomes an element" [ "$(grep -cE '<img|<script>document' "$work/dom")" = 0 ]
check "nothing runs or is asked for that is not the page's" quiet
check "the title stays" has "$work/dom" '<title>Report on L:\install.log</title>'
browse 'report.html#only-bad'
check "only the bad news" shows '1 of 3'
check "the others are hidden" hides a0-1
browse 'report.html#filter=msde'
check "a line's word finds its action" shows '1 of 3'
check "which is opened" [ "$(grep -cE 'class="action" id="[^"]*" open' "$work/dom")" = 1 ]
browse 'report.html#filter=%'
check "an address that is none does no harm" quiet
grep -ohE 'href="[^"#]*#[^"]*"' "$work/report.html" | grep -F /reference/ | sed -E 's/href="(.*)#(.*)"/\1 \2/' |
    sort -u >"$work/links"
while read -r page anchor; do check "the reference has $anchor" has "$page" "id=\"$anchor\""; done <"$work/links"

grep -vE 'actual error code|-- Installation failed' "$work/install.log" |
    sed 's/Return value 3/Return value 1/; s/returning 1603/returning 0/' >"$work/well.log"
"$REPO/scripts/logreport" "$work/well.log" --html "$work/report.html" >"$work/out" 2>&1
check "without the failure it succeeds" [ $? = 0 ]
sed '/id="tools"/q' "$work/report.html" >"$work/head"
check "and tells its bad news at the top" has "$work/head" 'Create the group by hand.'

# 500,000 lines, of which the page holds a part.
awk 'BEGIN { print "=== Logging started: 11/22/2026  6:00:00 ===\nAction start 6:00:00: INSTALL."
    for (i = 0; i < 50000; ++i) {
        name = i % 10 ? "Action" i : "DetectWantedSoftware"
        time = sprintf("%d:%02d:%02d", 6 + i / 7200, i / 120 % 60, i / 2 % 60)
        printf "Action start %s: %s.\n", time, name
        for (j = 0; j < 8; ++j) printf "11/22/2026, %s: Could not Find File \047C:\\%d\\%d\047\n", time, i, j
        printf "Action ended %s: %s. Return value 1.\n", time, name
    }
    print "Action ended 13:00:00: INSTALL. Return value 1." }' >"$work/long.log"
"$REPO/scripts/logreport" "$work/long.log" --html "$work/report.html" >"$work/out" 2>&1
check "a long log gives a page of some megabytes" [ "$(stat -c %s "$work/report.html")" -lt 16000000 ]
browse report.html
check "which opens" shows '[0-9]* of [0-9]*'
check "without complaint" quiet
"$REPO/scripts/logreport" "$work/install.log" --html "$work/no/report.html" >"$work/out" 2>&1
check "a page that cannot be written is told" [ "$? $(grep -c 'cannot be written' "$work/out")" = '2 1' ]
finish
