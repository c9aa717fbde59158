#!/usr/bin/env bash
# mirafile convert beside sox and ffmpeg, and a same-format copy beside cp, in one run on the
# same 10-minute stereo 44100 Hz 16-bit file, and a WAVE to AIFF conversion at the same rate
# and depth (only the byte order changes) beside sox doing the same; then the peak resident
# memory of a 1-minute and a 60-minute conversion.
#
# usage: bench/convert_vs_tools.sh [MIRAFILE] [WORKDIR] [RUNS]
#   MIRAFILE  the tool of a Release build (default build-rel/mirafile)
#   WORKDIR   where the files go (default a new folder under /tmp); removed at the end
#   RUNS      timed runs of each command (default 3), interleaved; the median is reported
#   ONLY      an extended regular expression: time only the commands whose names match it
#             (default all); goals whose commands did not run, and the memory check, are
#             left out
# Every command reads the same source from the page cache (it is read once first) and
# writes a new file in WORKDIR; each output is synced (fsync of that file) inside the timed
# command, so that all pay for their writes alike. Conversions are 44100 Hz 16-bit to
# 48000 Hz 24-bit.
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL=${1:-build-rel/mirafile}
WORK=${2:-$(mktemp -d /tmp/mirafile-convbench-XXXXXX)}
RUNS=${3:-3}
ONLY=${4:-}
[ -x "$TOOL" ] || { echo "no tool at $TOOL" >&2; exit 1; }
command -v sox >/dev/null || { echo "sox is missing" >&2; exit 1; }
command -v ffmpeg >/dev/null || { echo "ffmpeg is missing" >&2; exit 1; }
mkdir -p "$WORK"
trap 'rm -rf "$WORK"' EXIT

SRC="$WORK/in.wav"
"$TOOL" tone "$SRC" --rate 44100 --bits 16 --channels 2 --seconds 600 >/dev/null
cat "$SRC" >/dev/null

now() { date +%s.%N; }
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

# add NAME OUTPUT COMMAND...: a command to time. The runs are interleaved (run 1 of every
# command, then run 2, ...), so that a machine whose speed drifts (a shared host) weighs on
# every command alike; the median of each command's runs goes into RESULT[NAME].
declare -A RESULT CMD OUT TIMES
declare -a ORDER
add() {
  local name=$1 out=$2; shift 2
  [[ -z "$ONLY" || "$name" =~ $ONLY ]] || return 0
  ORDER+=("$name")
  OUT[$name]=$out
  CMD[$name]=$(printf '%q ' "$@")
}

for q in fastest low good better best tweak; do
  add "mirafile --quality $q" "$WORK/mf-$q.wav" \
    "$TOOL" convert "$SRC" -o "$WORK/mf-$q.wav" --rate 48000 --bits 24 --quality "$q"
done
add "sox rate -h" "$WORK/sox-h.wav" sox "$SRC" -b 24 "$WORK/sox-h.wav" rate -h 48000
add "sox rate -v" "$WORK/sox-v.wav" sox "$SRC" -b 24 "$WORK/sox-v.wav" rate -v 48000
add "ffmpeg (default resampler)" "$WORK/ff.wav" \
  ffmpeg -nostdin -y -loglevel error -i "$SRC" -ar 48000 -c:a pcm_s24le "$WORK/ff.wav"
add "mirafile convert (same format)" "$WORK/copy.wav" "$TOOL" convert "$SRC" -o "$WORK/copy.wav"
add "cp" "$WORK/cp.wav" cp "$SRC" "$WORK/cp.wav"
add "mirafile convert to AIFF" "$WORK/mf.aif" "$TOOL" convert "$SRC" -o "$WORK/mf.aif"
add "sox to AIFF" "$WORK/sox.aif" sox "$SRC" "$WORK/sox.aif"

echo "== 10-minute stereo 44100 Hz 16-bit -> 48000 Hz 24-bit, a same-format copy, and to AIFF"
echo "   ($RUNS interleaved runs of each, median; every output synced inside its time)"
for ((i = 1; i <= RUNS; i++)); do
  for name in "${ORDER[@]}"; do
    out=${OUT[$name]}
    rm -f "$out" "${out%.wav}".*.wav
    t0=$(now); eval "${CMD[$name]}" >/dev/null 2>&1; sync "$out"; t1=$(now)
    TIMES[$name]+="$(echo "$t1 - $t0" | bc -l) "
  done
done
for name in "${ORDER[@]}"; do
  # shellcheck disable=SC2086
  RESULT[$name]=$(median ${TIMES[$name]})
  printf '%-34s %8.3f s   (runs: %s)\n' "$name" "${RESULT[$name]}" "${TIMES[$name]}"
done
"$TOOL" convert "$SRC" -o "$WORK/check.wav" --rate 48000 --bits 24 >/dev/null
[ "$(soxi -s "$WORK/check.wav")" = 28800000 ] || { echo "wrong length" >&2; exit 1; }
"$TOOL" convert "$SRC" -o "$WORK/check.aif" >/dev/null
cmp <(sox "$SRC" -t raw -) <(sox "$WORK/check.aif" -t raw -) || { echo "AIFF samples differ" >&2; exit 1; }

ratio() { echo "$1 / $2" | bc -l; }
# goal LABEL NAME1 NAME2 LIMIT: the ratio of two medians, when both commands ran.
goal() {
  [[ -n "${RESULT[$2]:-}" && -n "${RESULT[$3]:-}" ]] || return 0
  printf '%-23s %.2f (goal: at most %s)\n' "$1" "$(ratio "${RESULT[$2]}" "${RESULT[$3]}")" "$4"
}
echo "== goals"
goal "good / ffmpeg default:" "mirafile --quality good" "ffmpeg (default resampler)" 1.00
goal "better / sox rate -h:" "mirafile --quality better" "sox rate -h" 1.00
goal "copy / cp:" "mirafile convert (same format)" "cp" 1.20
goal "to AIFF / sox to AIFF:" "mirafile convert to AIFF" "sox to AIFF" 1.00
rm -f "$WORK"/*.wav "$WORK"/*.aif
[ -z "$ONLY" ] || exit 0 # the memory check belongs to a whole run

echo "== peak resident memory, 44100 Hz 16-bit stereo -> 48000 Hz 24-bit at quality good"
declare -A RSS
for minutes in 1 60; do
  "$TOOL" tone "$WORK/m$minutes.wav" --rate 44100 --bits 16 --channels 2 \
    --seconds $((minutes * 60)) >/dev/null
  /usr/bin/time -f '%M' -o "$WORK/rss" "$TOOL" convert "$WORK/m$minutes.wav" \
    -o "$WORK/m$minutes-48k.wav" --rate 48000 --bits 24 --quality good >/dev/null
  RSS[$minutes]=$(cat "$WORK/rss")
  printf '%2d minutes: %6d KiB\n' "$minutes" "${RSS[$minutes]}"
  rm -f "$WORK/m$minutes.wav" "$WORK/m$minutes-48k.wav"
done
printf 'difference: %d KiB (goal: below 4096 KiB)\n' $((RSS[60] - RSS[1]))
