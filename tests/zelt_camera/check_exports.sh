#!/usr/bin/env bash
# The camera plug-in library exports exactly its two entry points.
set -euo pipefail
module="$1"
symbols=$(nm -D --defined-only "$module" | awk '{print $3}' | sort)
expected=$'ZELT_getPluginDllName\nZELT_getPluginFactory'
if [ "$symbols" != "$expected" ]; then
  echo "unexpected exported symbols of $module:" >&2
  echo "$symbols" >&2
  exit 1
fi
echo "exports: $(echo $symbols)"
