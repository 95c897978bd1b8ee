#!/usr/bin/env bash
# Installs what the comparison scripts in bench/ run beside tessfx (oiiotool, vips), on top
# of scripts/install-deps.sh. Not needed to build or test. Safe to run again.
set -euo pipefail
"$(dirname "$0")/install-deps.sh"
packages=(openimageio-tools libvips-tools bc)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
