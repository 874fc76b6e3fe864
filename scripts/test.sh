#!/usr/bin/env bash
# The whole test suite: installs what is missing, then for each preset configures, builds and
# runs ctest. Tests labelled `slow` are left out; run them with scripts/test-slow.sh.
# Usage: scripts/test.sh [preset...]
#   without a preset: dev, asan (AddressSanitizer + UndefinedBehaviorSanitizer, halting on the
#   first error) and tsan (ThreadSanitizer), one after the other, as CI runs it;
#   with presets: only those (dev, release, asan, tsan).
# The sanitizers' suppressions are in tests/sanitizers/, each entry with its reason.
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
if [ ${#presets[@]} -eq 0 ]; then presets=(dev asan tsan); fi

scripts/install-deps.sh
for preset in "${presets[@]}"; do
  echo "== $preset: configure, build, test" >&2
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset" --label-exclude slow --no-tests=error -j "$(nproc)"
done
