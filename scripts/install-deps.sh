#!/usr/bin/env bash
# Installs every Debian package the build and the tests need. Idempotent: packages that are
# already installed are skipped, and apt is only asked when something is missing.
# Usage: scripts/install-deps.sh [extra package...]
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-tools
  gstreamer1.0-plugins-base-apps
  gstreamer1.0-libav gstreamer1.0-plugins-ugly
  libglib2.0-dev libjson-glib-dev
  libboost1.74-dev libboost-log1.74-dev
  libpugixml-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  ffmpeg
  dpkg-dev file lintian
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}" >&2
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
