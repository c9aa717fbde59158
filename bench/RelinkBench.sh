#!/usr/bin/env bash
# mirafile relink: 1,000 catalogued WAVE files moved (half of them renamed) into a tree of
# 100,000 files, found again.
#
# usage: bench/RelinkBench.sh [MIRAFILE] [OTHERS] [MOVED] [WORKDIR] [RUNS]
#   MIRAFILE  the tool (default build/mirafile)
#   OTHERS    small text files in the searched tree beside the moved ones (default 99000)
#   MOVED     WAVE files catalogued and then moved (default 1000); every second one renamed
#   WORKDIR   where it all goes (default a new folder under /dev/shm, else /tmp); removed at
#             the end
#   RUNS      timed runs of each command (default 3)
# The WAVE files are 0.01 s tones (each with an identity of its own), catalogued from one
# folder, then moved into the tree's folders of 100 files each. Each command runs with
# --dry-run so that every run has the same work, once untimed first (warm caches). Printed:
# the RUNS wall times and their median per command, and the load average.
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL=$(realpath "${1:-build/mirafile}")
OTHERS=${2:-99000}
MOVED=${3:-1000}
base=/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && base=/dev/shm
WORK=${4:-$(mktemp -d "$base/mirafile-relinkbench-XXXXXX")}
RUNS=${5:-3}
[ -x "$TOOL" ] || { echo "no tool at $TOOL" >&2; exit 1; }
trap 'rm -rf "$WORK"' EXIT
export MIRAFILE_DATA_DIR="$WORK/data" MIRAFILE_CATALOG_DIR="$WORK/catalogs"
mkdir -p "$WORK/lib" "$WORK/tree"

"$TOOL" tone "$WORK/seed.wav" --rate 48000 --bits 16 --channels 1 --seconds 0.01
for ((i = 0; i < MOVED; i++)); do
  # Each its own identity: a tone each (the tool gives every file a new one).
  "$TOOL" tone "$(printf '%s/lib/take%04d.wav' "$WORK" "$i")" --rate 48000 --bits 16 \
    --channels 1 --seconds 0.01
done
python3 - "$WORK/tree" "$OTHERS" <<'PY'
import os, sys
root, count = sys.argv[1], int(sys.argv[2])
for i in range(count):
    folder = os.path.join(root, "d%04d" % (i // 100))
    if i % 100 == 0:
        os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "f%06d.txt" % i), "w") as f:
        f.write("x\n")
PY
"$TOOL" catalog create L >/dev/null
"$TOOL" catalog add L "$WORK/lib" >/dev/null
folders=$(( (OTHERS + 99) / 100 ))
for ((i = 0; i < MOVED; i++)); do
  name=$(printf 'take%04d.wav' "$i")
  new=$name
  (( i % 2 )) && new=$(printf 'renamed%04d.wav' "$i")
  mv "$WORK/lib/$name" "$(printf '%s/tree/d%04d/%s' "$WORK" "$(( i * 7 % folders ))" "$new")"
done

now() { date +%s.%N; }
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
for mode in "" "--by-id" "--by-name"; do
  args=(relink L --search "$WORK/tree" --dry-run $mode)
  "$TOOL" "${args[@]}" >"$WORK/out.txt"
  found=$(grep -c ' -> ' "$WORK/out.txt" || true)
  times=()
  for ((r = 0; r < RUNS; r++)); do
    t0=$(now)
    "$TOOL" "${args[@]}" >/dev/null
    t1=$(now)
    times+=("$(echo "$t1 - $t0" | bc -l)")
  done
  printf '%-28s relinked %4d of %d   runs %s  median %.2f s\n' "relink ${mode:-(default)}" \
    "$found" "$MOVED" "$(printf '%.2f ' "${times[@]}")" "$(median "${times[@]}")"
done
echo "load average: $(cut -d" " -f1-3 /proc/loadavg)"
