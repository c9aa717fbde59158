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
