#!/bin/bash
# Runs every fuzz target built in build-fuzz for SECONDS each, from its seeds (fuzz/seeds/NAME)
# and a corpus kept in build-fuzz/corpus-NAME, and prints how many inputs each ran.
#
#   tools/fuzz.sh SECONDS [--keep]
#
# A target that finds something (a crash, a leak, a timeout, an out-of-memory) fails the run;
# its log is shown and the input that did it stays in build-fuzz/findings-NAME/. With --keep
# such inputs are also copied to fuzz/seeds/NAME/, so that every later build replays them as
# regression seeds once they are fixed.
set -uo pipefail
seconds=${1:?usage: tools/fuzz.sh SECONDS [--keep]}
keep=${2:-}
status=0
for target in build-fuzz/*Fuzz; do
    # Only the programs: the corpus and findings folders beside them end in "Fuzz" too.
    [ -f "$target" ] && [ -x "$target" ] || continue
    name=$(basename "$target")
    seeds=fuzz/seeds/$name corpus=build-fuzz/corpus-$name findings=build-fuzz/findings-$name
    log=build-fuzz/$name.log
    mkdir -p "$corpus" "$findings"
    inputs=("$corpus")
    [ -d "$seeds" ] && inputs+=("$seeds")
    if "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -max_len=65536 \
        -artifact_prefix="$findings/" "${inputs[@]}" >"$log" 2>&1; then
        echo "$name: $(grep -E '^Done [0-9]+ runs' "$log" | tail -n 1)"
    else
        echo "$name: FOUND SOMETHING (log $log)"
        tail -n 40 "$log"
        status=1
        if [ "$keep" = "--keep" ]; then
            mkdir -p "$seeds"
            for input in "$findings"/*; do
                [ -f "$input" ] && cp "$input" "$seeds/finding-$(basename "$input")"
            done
        fi
    fi
done
exit $status
