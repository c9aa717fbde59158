#!/usr/bin/env bash
# Runs every benchmark program of a Release build.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build-rel -DCMAKE_BUILD_TYPE=Release -DMIRAFILE_FUZZ=OFF >/dev/null
cmake --build build-rel -j"$(nproc)"
for b in build-rel/*Bench; do
  [ -x "$b" ] || continue
  echo "== $b"
  "$b" --benchmark_min_time=0.2
done
