#!/usr/bin/env bash
# Runs the benchmarks: run.sh [NAME ...]
# Each is a script NAME.sh beside this one that prints lines of three fields, with tabs
# between them: what was measured, a ratio, and to what. With names the lines of these
# alone are shown; without, those of all are written to docs/performance.md.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/engine.sh"

here=$REPO/bench
page=$REPO/docs/performance.md
names=("$@")
if [ $# = 0 ]; then
    for script in "$here"/*.sh; do
        name=$(basename "$script" .sh)
        [ "$name" = run ] || names+=("$name")
    done
fi

cmake --preset x86 -S "$REPO" >/dev/null
lines=$(mktemp)
trap 'rm -f "$lines"' EXIT
for name in "${names[@]}"; do
    say "$name" >&2
    "$here/$name.sh" | while IFS= read -r line; do
        printf '%s\t%s\n' "$name" "$line"
    done | tee -a "$lines"
done
# Another form would make a row that says something else.
! grep -nvE $'^[^\t]+\t[^\t]+\t[0-9]+([.][0-9]+)?\t[^\t]+$' "$lines" ||
    fail "the lines above have not three fields"
[ $# = 0 ] || exit 0

processor=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1)
memory=$(awk '/^MemTotal/ { printf "%.0f", $2 / 1024 / 1024 }' /proc/meminfo)
cat >"$page" <<EOF
# Performance

Written by \`bench/run.sh\`, from one run; what each benchmark does and what limits it is in
[bench/README.md](../bench/README.md). A ratio is the best time (or, where the row says so, the
memory or size) of the library, divided by that of what it is compared with on the same machine.

- Date: $(date -u +%Y-%m-%d)
- Machine: $(nproc) × ${processor:-unknown processor}, $memory GB of memory, $(uname -sr)
- Load during the run: $(cut -d ' ' -f 1-3 /proc/loadavg) (averages of 1, 5 and 15 minutes at its end)

| benchmark | what | ratio | compared with |
| --- | --- | --- | --- |
EOF
awk -F '\t' '{ printf "| `%s` | %s | %s | %s |\n", $1, $2, $3, $4 }' "$lines" >>"$page"
say "written: docs/performance.md"
