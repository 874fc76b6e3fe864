#!/usr/bin/env bash
# The whole test suite: installs what is missing, configures, builds and runs ctest.
# Usage: scripts/test.sh [preset]   (dev by default; asan, tsan and release work too)
# Tests labelled `slow` are left out; run them with scripts/test-slow.sh.
set -euo pipefail
cd "$(dirname "$0")/.."

preset="${1:-dev}"
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" --label-exclude slow --no-tests=error -j "$(nproc)"
