# Sourced by the benchmarks that time the tool over many small audio files.
#
# bench_write_files WORK COUNT: COUNT 0.1 s WAVE files (24-bit stereo 48 kHz), written once
# by sox as WORK/seed.wav and copied, 500 to a folder: WORK/files/dNNN/takeNNNNN.wav; then
# read once, so that the runs start with a warm page cache.
bench_write_files() {
  local work=$1 count=$2 i dir name
  sox -n -r 48000 -b 24 -c 2 "$work/seed.wav" synth 0.1 sine 440
  for ((i = 0; i < count; i++)); do
    printf -v dir '%s/files/d%03d' "$work" $((i / 500))
    mkdir -p "$dir"
    printf -v name 'take%05d.wav' "$i"
    cp "$work/seed.wav" "$dir/$name"
  done
  cat "$work"/files/*/*.wav >/dev/null
}

# The time now in seconds, and the median of numbers.
now() { date +%s.%N; }
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
