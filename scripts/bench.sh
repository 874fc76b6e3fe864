#!/usr/bin/env bash
# Every benchmark on this machine: installs what they need beyond the test suite (OpenCV for
# the frame-path peer, gnuplot for the plot, valgrind for the instruction counts), builds the
# release preset's benchmark targets, runs them one after another and collects their RESULT
# lines.
# Usage: scripts/bench.sh [--quick] [--docs]
#   --quick  fewer repetitions and frames, 10 s of the scale benchmark (a smoke run)
#   --docs   also copy the stamp plot to docs/performance-stamps.png
# Output in build/release/bench/: <program>.log for each program run once, and one log per run
# of the programs run twice (bench_frame_path_hd_vga.log, bench_frame_path_sizes.log,
# bench_scale_16x1080p.log, bench_scale_4x2160p.log), results.txt (every RESULT line, in
# program order), frame_path.csv, size_frame_path.csv, callgrind.<variant>.<mode>.out* (the
# instruction counts), stamps.csv and stamps.png.
set -euo pipefail
cd "$(dirname "$0")/.."

quick=0
docs=0
for argument in "$@"; do
  case "$argument" in
    --quick) quick=1 ;;
    --docs) docs=1 ;;
    *) echo "usage: scripts/bench.sh [--quick] [--docs]" >&2; exit 2 ;;
  esac
done

scripts/install-deps.sh libopencv-dev gnuplot-nox valgrind

programs=(bench_frame_path bench_stamps bench_scale bench_start bench_micro)
cmake --preset release >/dev/null
cmake --build --preset release --target "${programs[@]}"

out=build/release/bench
results="$out/results.txt"
if [ "$quick" -eq 1 ]; then
  frame_path_args=(--reps=3 --frames-hd=500 --frames-vga=1000)
  sizes_args=(--reps=3 --instructions=0)
  stamps_args=(--frames=150)
  scale_args=(--seconds=10)
  start_args=(--starts=5)
  micro_args=(--benchmark_min_time=0.05 --benchmark_color=false)
else
  frame_path_args=()
  sizes_args=(--reps=15)
  stamps_args=()
  scale_args=()
  start_args=()
  micro_args=(--benchmark_color=false)
fi

# run [--log=NAME] PROGRAM [ARGUMENT...]: one benchmark, its output in $out/NAME.log (NAME:
# the program's own by default; a program run twice gets a name per run) and its RESULT lines
# appended to results.txt.
run() {
  local log=""
  if [[ "$1" == --log=* ]]; then
    log="${1#--log=}"
    shift
  fi
  local program="$1"
  shift
  log="$out/${log:-$program}.log"
  echo "== $program $*"
  "$out/$program" "$@" 2>&1 | tee "$log"
  grep '^RESULT ' "$log" >>"$results"
}

: >"$results"
# OpenCV's GStreamer backend warns once per capture that a live source has no position.
export OPENCV_LOG_LEVEL="${OPENCV_LOG_LEVEL:-ERROR}"
run --log=bench_frame_path_hd_vga bench_frame_path "${frame_path_args[@]}"
# CPU per frame against frame size, beside a bare memcpy of the same size (no peer).
run --log=bench_frame_path_sizes bench_frame_path --modes=480p,720p,1080p,2160p --peer=0 \
  --memcpy=1 --result-prefix=size_ "${sizes_args[@]}"
run bench_stamps "${stamps_args[@]}"
run --log=bench_scale_16x1080p bench_scale --cameras=16 --width=1920 --height=1080 \
  "${scale_args[@]}"
run --log=bench_scale_4x2160p bench_scale --cameras=4 --width=3840 --height=2160 \
  "${scale_args[@]}"
run bench_start "${start_args[@]}"
run bench_micro "${micro_args[@]}"

gnuplot -e "csv='$out/stamps.csv'; png='$out/stamps.png'" bench/plot_stamps.gp
if [ "$docs" -eq 1 ]; then cp "$out/stamps.png" docs/performance-stamps.png; fi

echo "== results ($results)"
cat "$results"
