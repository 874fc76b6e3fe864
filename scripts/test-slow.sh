#!/usr/bin/env bash
# The long tests (label `slow`), left out of scripts/test.sh: 1,000 acquisitions and 100 whole
# plug-in lifetimes with two virtual cameras, checking memory, descriptors and threads.
# Usage: scripts/test-slow.sh [preset]   (dev by default). Takes about a minute and a half.
set -euo pipefail
cd "$(dirname "$0")/.."

preset="${1:-dev}"
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" --label-regex slow --no-tests=error --verbose
