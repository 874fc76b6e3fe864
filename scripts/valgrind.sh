#!/usr/bin/env bash
# The end-to-end suites (ctest label e2e) under valgrind's memcheck: 0 bytes definitely or
# indirectly lost is the goal, with GLib's suppressions and the project's
# (tests/sanitizers/valgrind.supp, each entry with its reason).
# Usage: scripts/valgrind.sh [build directory]   (build/dev by default; configured and built
# with the dev preset when it does not exist). Logs go to <build>/valgrind/<suite>.log.
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build/dev}"
if [ ! -f "$build/CMakeCache.txt" ]; then
  scripts/install-deps.sh valgrind
  cmake --preset dev >/dev/null
  build=build/dev
fi
suites=(tests/e2e/camera_e2e_tests tests/reliability/reliability_fault_tests
        tests/reliability/reliability_input_tests)
cmake --build "$build" --target camera_e2e_tests reliability_fault_tests reliability_input_tests

# The sealed environment of the test suites (tests/CMakeLists.txt), and GLib set up so that
# memcheck sees every allocation: no slice allocator, pointers cleared on free.
export GST_PLUGIN_PATH="$PWD/$build/vcam"
export GST_REGISTRY="$PWD/$build/tests/gst-registry.bin"
export GST_REGISTRY_FORK=no
export ZELT_LOG_LEVEL=error
export G_SLICE=always-malloc
export G_DEBUG=gc-friendly

mkdir -p "$build/valgrind"
status=0
for suite in "${suites[@]}"; do
  name="$(basename "$suite")"
  log="$build/valgrind/$name.log"
  echo "== $name under memcheck" >&2
  # The death test's child (a camera that never delivers) is started without valgrind.
  if ! valgrind --tool=memcheck --leak-check=full --show-leak-kinds=definite,indirect \
      --errors-for-leak-kinds=definite,indirect --error-exitcode=99 --num-callers=40 \
      --suppressions=/usr/share/glib-2.0/valgrind/glib.supp \
      --suppressions=tests/sanitizers/valgrind.supp \
      --log-file="$log" "$build/$suite" --gtest_brief=1; then
    status=1
  fi
  grep -E 'definitely lost:|indirectly lost:|ERROR SUMMARY' "$log" | sed -E 's/^==[0-9]+== +/  /' || true
done
exit "$status"
