#!/usr/bin/env bash
# mirafile copy beside cp on the same 1 GiB file, in one run.
#
# usage: bench/CopyBench.sh [MIRAFILE] [WORKDIR] [RUNS]
#   MIRAFILE  the tool of a Release build (default build-rel/mirafile)
#   WORKDIR   where the test file and the copies go (default a new folder under /tmp);
#             removed at the end
#   RUNS      timed runs of each, alternating (default 3)
# The source is made once from /dev/urandom (no zero runs, nothing sparse) and read once
# before timing, so both copiers read it from the page cache; each copy is synced to the
# device (sync -f on the destination's file system) inside the timed command, so that both
# pay for their writes in full. Reports every run and the median of each.
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL=${1:-build-rel/mirafile}
WORK=${2:-$(mktemp -d /tmp/mirafile-copybench-XXXXXX)}
RUNS=${3:-3}
[ -x "$TOOL" ] || { echo "no tool at $TOOL" >&2; exit 1; }
mkdir -p "$WORK"
trap 'rm -rf "$WORK"' EXIT

SRC="$WORK/source.bin"
head -c $((1024 * 1024 * 1024)) /dev/urandom > "$SRC"
cat "$SRC" > /dev/null

now() { date +%s.%N; }
declare -a T_CP T_MF
for ((i = 1; i <= RUNS; i++)); do
  rm -f "$WORK/cp.bin" "$WORK"/mf*.bin
  t0=$(now); cp "$SRC" "$WORK/cp.bin"; sync -f "$WORK/cp.bin"; t1=$(now)
  T_CP+=("$(echo "$t1 - $t0" | bc -l)")
  t0=$(now); "$TOOL" copy "$SRC" "$WORK/mf.bin" >/dev/null; sync -f "$WORK/mf.bin"; t1=$(now)
  T_MF+=("$(echo "$t1 - $t0" | bc -l)")
  cmp -s "$SRC" "$WORK/mf.bin" || { echo "mirafile copy differs from the source" >&2; exit 1; }
  printf 'run %d: cp %.3f s, mirafile copy %.3f s\n' "$i" "${T_CP[-1]}" "${T_MF[-1]}"
done

median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
mcp=$(median "${T_CP[@]}"); mmf=$(median "${T_MF[@]}")
printf 'median of %d: cp %.3f s (%.0f MiB/s), mirafile copy %.3f s (%.0f MiB/s)\n' \
  "$RUNS" "$mcp" "$(echo "1024 / $mcp" | bc -l)" "$mmf" "$(echo "1024 / $mmf" | bc -l)"
