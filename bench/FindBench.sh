#!/usr/bin/env bash
# mirafile find with three terms beside the find+soxi script a user would write, over one
# folder of audio files, warm.
#
# usage: bench/FindBench.sh [MIRAFILE] [COUNT] [WORKDIR] [RUNS]
#   MIRAFILE  the tool (default build-rel/mirafile)
#   COUNT     audio files in the folder (default 10000): 0.1 s WAVE files written once by sox
#             in four formats (48 kHz 24-bit stereo, 44.1 kHz 16-bit mono, 48 kHz 16-bit mono,
#             96 kHz 24-bit stereo) and copied in turn (each a file of its own)
#   WORKDIR   where the folder goes (default a new folder under /tmp); removed at the end
#   RUNS      timed runs of each command (default 3)
# The query: 48 kHz, two channels, and a name that contains "7". Each command runs once
# untimed first, so the pages are cached; its standard output goes to /dev/null. The two
# must find the same files. Files per second are COUNT over the median.
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL=$(realpath "${1:-build-rel/mirafile}")
COUNT=${2:-10000}
WORK=${3:-$(mktemp -d /tmp/mirafile-findbench-XXXXXX)}
RUNS=${4:-3}
[ -x "$TOOL" ] || { echo "no tool at $TOOL" >&2; exit 1; }
mkdir -p "$WORK/files"
trap 'rm -rf "$WORK"' EXIT
export MIRAFILE_DATA_DIR="$WORK/data"

seeds=("-r 48000 -b 24 -c 2" "-r 44100 -b 16 -c 1" "-r 48000 -b 16 -c 1" "-r 96000 -b 24 -c 2")
for i in 0 1 2 3; do
  # shellcheck disable=SC2086
  sox -n ${seeds[$i]} "$WORK/seed$i.wav" synth 0.1 sine 440
done
for ((i = 0; i < COUNT; i++)); do
  printf -v name 'take%05d.wav' "$i"
  cp "$WORK/seed$((i % 4)).wav" "$WORK/files/$name"
done

now() { date +%s.%N; }
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
declare -A NAMES=([script]="find+soxi script" [mf]="mirafile find" [mfjson]="mirafile find --json")
run() {
  case "$1" in
    script)
      find "$WORK/files" -type f -name '*7*' -name '*.wav' -exec sh -c \
        'for f; do [ "$(soxi -r "$f")" = 48000 ] && [ "$(soxi -c "$f")" = 2 ] && echo "$f"; done; true' \
        sh {} + ;;
    mf) "$TOOL" find "$WORK/files" --where 'AudioFileSampleRate = 48k' \
          --where 'AudioFileNumChannels = 2' --where 'FileName ~ 7' ;;
    mfjson) "$TOOL" find "$WORK/files" --where 'AudioFileSampleRate = 48k' \
              --where 'AudioFileNumChannels = 2' --where 'FileName ~ 7' --json ;;
  esac
}
# The two must agree on what they find.
expected=$(run script | wc -l)
found=$(run mfjson | grep -c '"path"' || true)
[ "$found" -eq "$expected" ] || { echo "mirafile found $found files, the script $expected" >&2; exit 1; }
echo "$COUNT files, $found match"

printf '%-22s %-32s %-10s %s\n' command "runs (s)" "median" "files/s"
for cmd in script mf mfjson; do
  run "$cmd" >/dev/null
  times=()
  for ((r = 1; r <= RUNS; r++)); do
    t0=$(now); run "$cmd" >/dev/null; t1=$(now)
    times+=("$(echo "$t1 - $t0" | bc -l | awk '{printf "%.3f", $1}')")
  done
  m=$(median "${times[@]}")
  printf '%-22s %-32s %-10s %s\n' "${NAMES[$cmd]}" "${times[*]}" "$m" \
    "$(echo "$COUNT / $m" | bc -l | awk '{printf "%.0f", $1}')"
done
