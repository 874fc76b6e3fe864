#!/usr/bin/env bash
# The main job: installs what is missing, builds the tool in the release preset, and records a
# few seconds from the attached cameras, or from one virtual camera when none is attached.
# Ends by printing where the recording is.
# Usage: scripts/record.sh [SECONDS]   (3 by default)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-3}"
scripts/install-deps.sh
cmake --preset release >/dev/null
# The tool and what it loads (the camera plug-in, the virtual cameras); the tests are left to
# scripts/test.sh.
cmake --build --preset release --target zelt-camera

tool=build/release/bin/zelt-camera
out="recordings/$(date +%Y%m%d-%H%M%S)"
source_options=()
if ! "$tool" list --json 2>/dev/null | grep -q '"id":'; then
  echo "No camera attached: recording from a virtual camera." >&2
  source_options=(--virtual)
fi

status=0
"$tool" ${source_options[@]+"${source_options[@]}"} record --duration "$seconds" --out "$out" \
  || status=$?
echo "Recording: $PWD/$out"
exit "$status"
