#!/usr/bin/env bash
# Resynchronising a volume database (mirafile index over a folder indexed before) beside
# indexing the same folder afresh, with 1% of the files rewritten in between. Warm page cache.
#
# usage: bench/IndexBench.sh [MIRAFILE] [COUNT] [WORKDIR] [RUNS]
#   MIRAFILE  the tool (default build-rel/mirafile)
#   COUNT     audio files (default 10000): 0.1 s WAVE files, 24-bit stereo 48 kHz, written
#             once by sox and copied, 500 to a folder
#   WORKDIR   where the files go (default a new folder under /tmp); removed at the end
#   RUNS      timed runs of each (default 3)
# A fresh run indexes into a data folder of its own (no database yet). A resync run first
# rewrites COUNT/100 files (another length), then indexes into the database the fresh runs
# made; its counts must show exactly those files changed and the rest unchanged.
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL=$(realpath "${1:-build-rel/mirafile}")
COUNT=${2:-10000}
WORK=${3:-$(mktemp -d /tmp/mirafile-indexbench-XXXXXX)}
RUNS=${4:-3}
[ -x "$TOOL" ] || { echo "no tool at $TOOL" >&2; exit 1; }
mkdir -p "$WORK"
trap 'rm -rf "$WORK"' EXIT

. bench/BenchFiles.sh
bench_write_files "$WORK" "$COUNT"
sox -n -r 48000 -b 24 -c 2 "$WORK/seed2.wav" synth 0.2 sine 440

# Rewrites every hundredth file of round $1 (a different one each round).
rewrite() {
  for ((i = $1; i < COUNT; i += 100)); do
    printf -v path '%s/files/d%03d/take%05d.wav' "$WORK" $((i / 500)) "$i"
    cp "$WORK/seed2.wav" "$path"
  done
}
printf '%-34s %-32s %s\n' command "runs (s)" median
fresh=()
for ((r = 1; r <= RUNS; r++)); do
  start=$(now)
  MIRAFILE_DATA_DIR="$WORK/data$r" "$TOOL" index "$WORK/files" >/dev/null
  end=$(now)
  fresh+=("$(echo "$end - $start" | bc -l)")
done
printf '%-34s %-32s %.3f\n' "mirafile index (fresh)" "$(printf '%.3f ' "${fresh[@]}")" "$(median "${fresh[@]}")"
resync=()
changed=$(( (COUNT + 99) / 100 ))
for ((r = 1; r <= RUNS; r++)); do
  rewrite "$r"
  cat "$WORK"/files/*/*.wav >/dev/null
  start=$(now)
  out=$(MIRAFILE_DATA_DIR="$WORK/data1" "$TOOL" index "$WORK/files" --json)
  end=$(now)
  resync+=("$(echo "$end - $start" | bc -l)")
  echo "$out" | grep -q "\"changed\": $changed, \"unchanged\": $((COUNT - changed))," ||
    { echo "unexpected counts: $out" >&2; exit 1; }
done
printf '%-34s %-32s %.3f\n' "mirafile index (resync, 1% changed)" "$(printf '%.3f ' "${resync[@]}")" "$(median "${resync[@]}")"
echo "fresh / resync: $(echo "$(median "${fresh[@]}") / $(median "${resync[@]}")" | bc -l | xargs printf '%.1f')"
