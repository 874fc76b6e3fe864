#!/usr/bin/env bash
# A bounded libFuzzer run of one fuzz target (ASan + UBSan), on a copy of its seed corpus.
# Usage: scripts/fuzz.sh [seconds] [target] [runs]   (60 seconds and parse_caps by default)
#   runs: stop after this many executions (libFuzzer -runs) if the time is not up first.
# Targets: parse_caps, fourcc_from_string, channel_items.
# The build goes to build/fuzz (clang++, ZELT_FUZZ_ENGINE=libfuzzer; ZELT_FUZZ_BUILD names
# another directory); the working corpus and any crash reproducer go to <build>/runs/<target>/.
# The seed corpus in the repository is left untouched. The last lines printed are libFuzzer's
# final statistics.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-60}"
target="${2:-parse_caps}"
runs="${3:--1}"
build="${ZELT_FUZZ_BUILD:-build/fuzz}"
run="$build/runs/$target"

# libFuzzer ships with Debian's clang runtime package.
scripts/install-deps.sh clang libclang-rt-dev

cmake -S . -B "$build" -G Ninja \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DZELT_SANITIZE=address,undefined \
  -DZELT_FUZZ_ENGINE=libfuzzer \
  -DZELT_BUILD_TESTS=OFF -DZELT_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target "${target}_fuzz"

rm -rf "$run"
mkdir -p "$run/corpus" "$run/artifacts"
cp -a "fuzz/corpus/$target/." "$run/corpus/"

export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1"
# GStreamer keeps its registry and type system until the process ends (channel_items).
export LSAN_OPTIONS="suppressions=$PWD/tests/sanitizers/lsan.supp:print_suppressions=0:fast_unwind_on_malloc=0"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
set +e
"$build/fuzz/${target}_fuzz" "$run/corpus" \
  -max_total_time="$seconds" -runs="$runs" -print_final_stats=1 -artifact_prefix="$run/artifacts/" \
  >"$run/fuzz.log" 2>&1
status=$?
set -e
if [ "$status" -ne 0 ]; then
  tail -n 80 "$run/fuzz.log"
else
  grep -E '^(INFO: seed|#[0-9]+[[:space:]]+(INITED|DONE)|Done [0-9]+ runs|stat::)' "$run/fuzz.log" || true
fi
echo "log: $run/fuzz.log"
exit "$status"
