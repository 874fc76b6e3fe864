#!/usr/bin/env bash
# Builds the Debian packages from an optimised build without tests (the `package` preset),
# checks them with lintian and prints their paths; with --install, installs them with apt,
# which brings in their dependencies:
#   zelt-camera             the camera plug-in and the zelt-camera tool
#   gstreamer1.0-zelt-vcam  the virtual cameras
#   zelt-camera-dev         the host plug-in kit (headers, ConfigItem library, CMake package,
#                           pkg-config module)
# Usage: scripts/package.sh [--install]
set -euo pipefail
cd "$(dirname "$0")/.."

install=0
case "${1:-}" in
  --install) install=1 ;;
  "") ;;
  *) echo "usage: scripts/package.sh [--install]" >&2; exit 2 ;;
esac

scripts/install-deps.sh
cmake --preset package >/dev/null
cmake --build --preset package
rm -f build/package/packages/*.deb
cpack --preset package >/dev/null
debs=("$PWD"/build/package/packages/*.deb)
lintian --fail-on error "${debs[@]}"
printf '%s\n' "${debs[@]}"

if [ "$install" -eq 1 ]; then
  sudo_cmd=()
  if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y "${debs[@]}"
fi
