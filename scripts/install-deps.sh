#!/usr/bin/env bash
# Installs the Debian packages tessfx needs to build, test and run. Safe to run again.
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev qt6-qpa-plugins
  libopenimageio-dev openimageio-tools
  libtbb-dev libcli11-dev nlohmann-json3-dev libhwy-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libopencv-core-dev libopencv-imgproc-dev
  clang libclang-rt-14-dev
  imagemagick xvfb xauth
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
