#!/usr/bin/env bash
# The main job on data the demo makes itself. Later commands add their steps here.
set -euo pipefail
tool=${1:-build/mirafile}
out=demo-out
rm -rf "$out" && mkdir -p "$out"
echo "== $("$tool" --version)"
echo "== message table"
"$tool" message 7 12
"$tool" message 2 64 7
"$tool" message 0 39 take1.wav take1-48k.wav
echo "== time"
"$tool" time 17982 --from frames --to smpte --fps 29.97df
"$tool" time 00:01:00:00 --from smpte --to samples --rate 48000 --fps 25 --table
echo "== tempo and meter maps"
# 120 bpm, 90 from bar 3; 4/4, 3/4 from bar 5: bar 4 lies beyond the tempo change.
"$tool" map new "$out/song.map" --rate 48000 --tempo '120,3|1|0=90' --meter '4/4,5|1|0=3/4'
"$tool" map show "$out/song.map"
"$tool" time '4|1|0' --from bbt --to samples --map "$out/song.map"
"$tool" time 400000 --from samples --table --map "$out/song.map"
echo "== tone and info"
"$tool" tone "$out/tone.wav" --rate 44100 --bits 16 --channels 2 --seconds 2
"$tool" info "$out/tone.wav"
echo "== convert"
"$tool" convert "$out/tone.wav" -o "$out/tone-48k.wav" --rate 48000 --bits 24
"$tool" info "$out/tone.wav" "$out/tone-48k.wav"
echo "== overview"
"$tool" overview "$out/tone.wav" "$out/tone-48k.wav" --cache "$out/cache"
"$tool" overview "$out/tone.wav" --cache "$out/cache" # the second time from the cache
"$tool" overview "$out/tone-48k.wav" --png "$out/tone.png" --width 800 --height 200
