#!/usr/bin/env bash
# The waveform overview of one long file, by mirafile beside other tools, in one run:
#   read      cat FILE > /dev/null: the bytes only (the limit of any reader here)
#   mirafile  mirafile overview FILE: read, mix to mono, decimate to 256-sample points
#   cached    mirafile overview FILE --cache DIR, the second time: the overview from the cache
#   png       mirafile overview FILE --png OUT --width 1800 --height 140
#   ffmpeg    ffmpeg -i FILE -filter_complex showwavespic -frames:v 1 OUT.png
#   sox       sox FILE -n stat
# The file is ten minutes of 24-bit stereo at 48 kHz (172.8 MB of samples) made by sox, read
# once before timing so that every tool finds it in the page cache. Each tool runs $RUNS
# times (default 5); the median wall time and the largest peak resident memory (from
# /usr/bin/time -v when present) are reported.
#
# Usage: bench/overview_vs_tools.sh [MIRAFILE] [WORKDIR]
#        bench/overview_vs_tools.sh --example MIRAFILE OUT.png   (the picture of the docs)
set -euo pipefail

if [ "${1:-}" = "--example" ]; then
  tool=$2
  out=$3
  dir=$(mktemp -d)
  trap 'rm -rf "$dir"' EXIT
  # Mono: a tone that swells in and out, a burst of noise, and a full-scale blip that clips.
  sox -R -n -r 48000 -b 24 -c 1 "$dir/tone.wav" synth 6 sine 220 fade q 1.5 6 2 tremolo 1.5 40 vol 0.5
  sox -R -n -r 48000 -b 24 -c 1 "$dir/burst.wav" synth 0.35 pinknoise vol 0.6 pad 3.3 2.35
  sox -R -n -r 48000 -b 24 -c 1 "$dir/blip.wav" synth 0.03 square 60 vol 1.0 pad 5.3 0.67
  sox -R -m -v 1 "$dir/tone.wav" -v 1 "$dir/burst.wav" -v 1 "$dir/blip.wav" -b 24 \
    "$dir/example.wav" 2>/dev/null
  "$tool" overview "$dir/example.wav" --png "$out" --width 800 --height 200
  exit 0
fi

tool=${1:-build-rel/mirafile}
work=${2:-$(mktemp -d)}
RUNS=${RUNS:-5}
mkdir -p "$work"
file="$work/ten-minutes.wav"
if [ ! -f "$file" ]; then
  sox -n -r 48000 -b 24 -c 2 "$file" synth 600 pinknoise vol 0.5 sine 440 vol 0.5 2>/dev/null \
    || sox -n -r 48000 -b 24 -c 2 "$file" synth 600 pinknoise vol 0.5
fi
bytes=$(stat -c %s "$file")
cat "$file" > /dev/null

timer=()
[ -x /usr/bin/time ] && timer=(/usr/bin/time -v)

# Runs a command RUNS times; prints "median_seconds peak_kb".
measure() {
  local times=() peak=0
  for _ in $(seq "$RUNS"); do
    local start end kb
    start=$(date +%s.%N)
    if [ ${#timer[@]} -gt 0 ]; then
      "${timer[@]}" bash -c "$1" 2> "$work/time.log" > /dev/null
      kb=$(awk -F: '/Maximum resident/ {gsub(/ /, "", $2); print $2}' "$work/time.log")
    else
      bash -c "$1" > /dev/null 2>&1
      kb=0
    fi
    end=$(date +%s.%N)
    times+=("$(echo "$end - $start" | bc -l)")
    [ "${kb:-0}" -gt "$peak" ] && peak=$kb
  done
  local median
  median=$(printf '%s\n' "${times[@]}" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
  echo "$median $peak"
}

cachedir="$work/cache"
rm -rf "$cachedir"
"$tool" overview "$file" --cache "$cachedir" > /dev/null

printf "file: %s, %d bytes (%s), %d runs each, median wall time\n" "$file" "$bytes" \
  "$(sox --i -d "$file") 24-bit stereo 48 kHz" "$RUNS"
printf "%-10s %10s %12s %10s  %s\n" tool seconds "MB/s" "peak MB" command
row() {
  local name=$1 cmd=$2 result seconds peak
  result=$(measure "$cmd")
  seconds=${result% *}
  peak=${result#* }
  printf "%-10s %10.3f %12.0f %10.1f  %s\n" "$name" "$seconds" \
    "$(echo "$bytes / $seconds / 1000000" | bc -l)" "$(echo "$peak / 1024" | bc -l)" "$cmd"
}
row read "cat '$file' > /dev/null"
row mirafile "'$tool' overview '$file'"
row cached "'$tool' overview '$file' --cache '$cachedir'"
row png "'$tool' overview '$file' --png '$work/mirafile.png' --width 1800 --height 140"
row ffmpeg "ffmpeg -v error -y -i '$file' -filter_complex showwavespic -frames:v 1 '$work/ffmpeg.png'"
row sox "sox '$file' -n stat"
