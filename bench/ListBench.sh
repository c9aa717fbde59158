#!/usr/bin/env bash
# mirafile ls beside ls -l and soxi over one folder of audio files, cold and warm.
#
# usage: bench/ListBench.sh [MIRAFILE] [COUNT] [WORKDIR] [RUNS]
#   MIRAFILE  the tool (default build-rel/mirafile)
#   COUNT     audio files in the folder (default 10000): 0.1 s WAVE files, 24-bit stereo
#             48 kHz, written once by sox and copied (each a file of its own)
#   WORKDIR   where the folder goes (default a new folder under /tmp); removed at the end
#   RUNS      timed runs of each command in each state (default 3)
# Cold: before each run every file's pages are dropped from the page cache
# (posix_fadvise DONTNEED, file by file), so the run reads headers from the device.
# Warm: the same command again right after, with the pages cached. Each command's
# standard output goes to /dev/null; the files per second are COUNT over the median.
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL=$(realpath "${1:-build-rel/mirafile}")
COUNT=${2:-10000}
WORK=${3:-$(mktemp -d /tmp/mirafile-listbench-XXXXXX)}
RUNS=${4:-3}
[ -x "$TOOL" ] || { echo "no tool at $TOOL" >&2; exit 1; }
mkdir -p "$WORK/files"
trap 'rm -rf "$WORK"' EXIT
export MIRAFILE_DATA_DIR="$WORK/data"

sox -n -r 48000 -b 24 -c 2 "$WORK/seed.wav" synth 0.1 sine 440
for ((i = 0; i < COUNT; i++)); do printf -v name 'take%05d.wav' "$i"; cp "$WORK/seed.wav" "$WORK/files/$name"; done

drop() {
  python3 - "$WORK/files" <<'PY'
import os, sys
d = sys.argv[1]
for n in os.listdir(d):
    fd = os.open(os.path.join(d, n), os.O_RDONLY)
    os.posix_fadvise(fd, 0, 0, os.POSIX_FADV_DONTNEED)
    os.close(fd)
PY
}
now() { date +%s.%N; }
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

declare -A NAMES=([ls]="ls -l" [soxi]="soxi" [mf]="mirafile ls" [mfjson]="mirafile ls --json")
run() {
  case "$1" in
    ls) ls -l "$WORK/files" ;;
    soxi) soxi "$WORK"/files/*.wav ;;
    mf) "$TOOL" ls "$WORK/files" ;;
    mfjson) "$TOOL" ls "$WORK/files" --json ;;
  esac >/dev/null
}
# The rows must agree: every file listed by mirafile as 48 kHz, 24-bit, 2 channels.
rows=$("$TOOL" ls "$WORK/files" --json --columns AudioFileSampleRate,AudioFileBitDepth,AudioFileNumChannels |
       grep -c '"AudioFileSampleRate": 48000, "AudioFileBitDepth": 24, "AudioFileNumChannels": 2')
[ "$rows" -eq "$COUNT" ] || { echo "mirafile listed $rows of $COUNT files as written" >&2; exit 1; }

printf '%-20s %-6s %-32s %-10s %s\n' command state "runs (s)" "median" "files/s"
for cmd in ls soxi mf mfjson; do
  for state in cold warm; do
    times=()
    for ((r = 1; r <= RUNS; r++)); do
      [ "$state" = cold ] && drop
      [ "$state" = warm ] && run "$cmd"
      t0=$(now); run "$cmd"; t1=$(now)
      times+=("$(echo "$t1 - $t0" | bc -l | awk '{printf "%.3f", $1}')")
    done
    m=$(median "${times[@]}")
    printf '%-20s %-6s %-32s %-10s %s\n' "${NAMES[$cmd]}" "$state" "${times[*]}" "$m" \
      "$(echo "$COUNT / $m" | bc -l | awk '{printf "%.0f", $1}')"
  done
done
