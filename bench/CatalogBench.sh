#!/usr/bin/env bash
# Indexing audio files into a catalog (mirafile catalog add) beside the script a user would
# write without one: find and soxi, each file's properties into a text file. Warm page cache.
#
# usage: bench/CatalogBench.sh [MIRAFILE] [COUNT] [WORKDIR] [RUNS] [EARLIER]
#   MIRAFILE  the tool (default build-rel/mirafile)
#   COUNT     audio files (default 10000): 0.1 s WAVE files, 24-bit stereo 48 kHz, written
#             once by sox and copied, 500 to a folder
#   WORKDIR   where the files go (default a new folder under /tmp); removed at the end
#   RUNS      timed runs of each command (default 3)
#   EARLIER   another build of the tool, timed the same way beside it (a before and after);
#             the libmirafile.so in its folder is the one it runs with
# Each mirafile run adds to a new catalog. Files per second are COUNT over the median.
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL=$(realpath "${1:-build-rel/mirafile}")
COUNT=${2:-10000}
WORK=${3:-$(mktemp -d /tmp/mirafile-catalogbench-XXXXXX)}
RUNS=${4:-3}
EARLIER=${5:+$(realpath "$5")}
[ -x "$TOOL" ] || { echo "no tool at $TOOL" >&2; exit 1; }
[ -z "$EARLIER" ] || [ -x "$EARLIER" ] || { echo "no tool at $EARLIER" >&2; exit 1; }
mkdir -p "$WORK"
trap 'rm -rf "$WORK"' EXIT
export MIRAFILE_DATA_DIR="$WORK/data" MIRAFILE_CATALOG_DIR="$WORK/catalogs"

. bench/BenchFiles.sh
bench_write_files "$WORK" "$COUNT"

run() {
  case "$1" in
    soxi) find "$WORK/files" -name '*.wav' -print0 | xargs -0 soxi >"$WORK/soxi.txt" ;;
    mf) "$TOOL" catalog create "run$2" >/dev/null && "$TOOL" catalog add "run$2" "$WORK/files" >/dev/null ;;
    earlier) (export LD_LIBRARY_PATH="$(dirname "$EARLIER")${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
      "$EARLIER" catalog create "earlier$2" >/dev/null && "$EARLIER" catalog add "earlier$2" "$WORK/files" >/dev/null) ;;
  esac
}
printf '%-28s %-32s %-10s %s\n' command "runs (s)" median files/s
for cmd in soxi ${EARLIER:+earlier} mf; do
  times=()
  for ((r = 1; r <= RUNS; r++)); do
    start=$(now); run "$cmd" "$r"; end=$(now)
    times+=("$(echo "$end - $start" | bc -l)")
  done
  m=$(median "${times[@]}")
  case "$cmd" in
    soxi) label="find + soxi" ;;
    earlier) label="catalog add (earlier)" ;;
    *) label="mirafile catalog add" ;;
  esac
  printf '%-28s %-32s %-10.3f %.0f\n' "$label" "$(printf '%.3f ' "${times[@]}")" "$m" "$(echo "$COUNT / $m" | bc -l)"
done
# The catalog must hold every file as written.
n=$(sqlite3 "$MIRAFILE_CATALOG_DIR/run1.mfcatalog" \
    "SELECT count(*) FROM Asset WHERE AudioFileSampleRate = 48000 AND AudioFileBitDepth = 24 AND AudioFileNumChannels = 2")
[ "$n" -eq "$COUNT" ] || { echo "the catalog holds $n of $COUNT files as written" >&2; exit 1; }
# An earlier build must have made the same catalog, row for row.
if [ -n "$EARLIER" ]; then
  rows() { sqlite3 "$MIRAFILE_CATALOG_DIR/$1.mfcatalog" "SELECT * FROM Asset WHERE ID > 1 ORDER BY ID" | md5sum; }
  [ "$(rows run1)" = "$(rows earlier1)" ] || { echo "the two builds made different catalogs" >&2; exit 1; }
fi
