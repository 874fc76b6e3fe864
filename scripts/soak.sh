#!/usr/bin/env bash
# The soak: four virtual cameras acquired for a long time, every frame checked and the
# memory, threads and open files sampled every ten seconds.
# Usage: scripts/soak.sh [MINUTES] [OUT] [record|host]   (30, build/soak, record by default)
#   record: one recording through `zelt-camera record`; then every frame is checked (nothing
#           dropped, no stream error, every camera's frame counter without a gap, no gap in the
#           frames' host time stamps) and the tool's memory compared after the warm-up.
#           Writes OUT/recording (the tool's output), OUT/resources.csv and OUT/summary.txt.
#   host:   the plug-in and the reference host alone, without a recorder
#           (tests/reliability/soak_host.cpp): every frame's sequence number is checked.
#           Writes OUT/host.csv and OUT/summary.txt.
# Both use the release preset; the exit code is 0 when every check held.
set -euo pipefail
cd "$(dirname "$0")/.."

minutes="${1:-30}"
out="${2:-build/soak}"
mode="${3:-record}"
seconds=$((minutes * 60))
scripts/install-deps.sh python3
cmake --preset release >/dev/null

rm -rf "$out"
mkdir -p "$out"
out="$(cd "$out" && pwd)"
# Four small cameras of different formats at 30 frames per second: the soak is about time,
# not bandwidth (a 64 x 48 frame keeps 30 minutes of four cameras near 1.3 GB).
cat >"$out/cameras.json" <<'JSON'
{"cameras": [
  {"name": "Soak YUY2", "device_path": "/dev/zelt-soak0",
   "caps": ["video/x-raw, format=YUY2, width=64, height=48, framerate=30/1, pixel-aspect-ratio=1/1"]},
  {"name": "Soak I420", "device_path": "/dev/zelt-soak1",
   "caps": ["video/x-raw, format=I420, width=64, height=48, framerate=30/1, pixel-aspect-ratio=1/1"]},
  {"name": "Soak NV12", "device_path": "/dev/zelt-soak2",
   "caps": ["video/x-raw, format=NV12, width=64, height=48, framerate=30/1, pixel-aspect-ratio=1/1"]},
  {"name": "Soak RGB", "device_path": "/dev/zelt-soak3",
   "caps": ["video/x-raw, format=RGB, width=64, height=48, framerate=30/1, pixel-aspect-ratio=1/1"]}
]}
JSON

if [ "$mode" = host ]; then
  cmake --build --preset release --target zelt_reliability_soak
  # The sealed environment of the tests: the build tree's virtual cameras, a private registry.
  status=0
  GST_PLUGIN_PATH="$PWD/build/release/vcam" GST_REGISTRY="$out/registry.bin" \
    GST_REGISTRY_FORK=no ZELT_LOG_LEVEL=error \
    build/release/tests/reliability/zelt_reliability_soak "$minutes" "$out/cameras.json" \
    >"$out/host.csv" 2>"$out/host.log" || status=$?
  grep -v -E '^([0-9]|seconds,)' "$out/host.csv" | tee "$out/summary.txt"
  exit "$status"
fi

cmake --build --preset release --target zelt-camera
tool="$PWD/build/release/bin/zelt-camera"
"$tool" --virtual="$out/cameras.json" record --out "$out/recording" --duration "$seconds" \
  >"$out/tool.log" 2>&1 &
pid=$!
echo "seconds,rss_kib,threads,fds" >"$out/resources.csv"
start=$(date +%s)
while kill -0 "$pid" 2>/dev/null; do
  if [ -r "/proc/$pid/status" ]; then
    rss=$(awk '/^VmRSS:/ {print $2}' "/proc/$pid/status" 2>/dev/null || true)
    threads=$(awk '/^Threads:/ {print $2}' "/proc/$pid/status" 2>/dev/null || true)
    fds=$(ls "/proc/$pid/fd" 2>/dev/null | wc -l || true)
    [ -n "$rss" ] && echo "$(($(date +%s) - start)),$rss,$threads,$fds" >>"$out/resources.csv"
  fi
  sleep 10
done
status=0
wait "$pid" || status=$?
echo "zelt-camera exit code: $status" >>"$out/tool.log"

python3 - "$out" "$seconds" "$status" <<'PY' | tee "$out/summary.txt"
import csv, json, sys
out, seconds, status = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
ok = status == 0
manifest = json.load(open(f"{out}/recording/recording.json"))
frequency = manifest["time_base"]["frequency"]
print(f"recording: {manifest['duration_seconds']:.1f} s, complete {manifest['complete']}, "
      f"exit code {status}")
ok &= manifest["complete"]
for camera in manifest["cameras"]:
    rows = list(csv.DictReader(open(f"{out}/recording/{camera['files']['csv']}")))
    counts = [int(r["frame_counter"]) for r in rows]
    ticks = [int(r["host_ticks"]) for r in rows]
    period = frequency / 30.0
    counter_gaps = sum(1 for a, b in zip(counts, counts[1:]) if b != a + 1)
    stamp_gaps = sum(1 for a, b in zip(ticks, ticks[1:]) if b - a > 1.5 * period)
    expected = manifest["duration_seconds"] * 30.0
    lost = camera["frames_dropped"] + counter_gaps + stamp_gaps + camera["stream_errors"]
    print(f"{camera['name']}: {camera['frames_delivered']} frames delivered, "
          f"{camera['frames_written']} written, {camera['frames_dropped']} dropped, "
          f"{camera['stream_errors']} stream errors, {counter_gaps} counter gaps, "
          f"{stamp_gaps} stamp gaps, {camera['measured_fps']:.4f} fps "
          f"(about {expected:.0f} frames expected)")
    ok &= lost == 0 and abs(camera["frames_delivered"] - expected) <= 3
samples = [r for r in csv.DictReader(open(f"{out}/resources.csv"))]
warm = [r for r in samples if int(r["seconds"]) >= min(120, seconds // 4)]
if warm:
    rss = [int(r["rss_kib"]) for r in warm]
    growth = rss[-1] - rss[0]
    print(f"resident memory after the warm-up: first {rss[0]} KiB, last {rss[-1]} KiB, "
          f"min {min(rss)} KiB, max {max(rss)} KiB, growth {growth} KiB; "
          f"threads {warm[0]['threads']} -> {warm[-1]['threads']}, "
          f"open files {warm[0]['fds']} -> {warm[-1]['fds']}")
    ok &= growth < 1024
print("soak:", "passed" if ok else "FAILED")
sys.exit(0 if ok else 1)
PY
