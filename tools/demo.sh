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
