#!/usr/bin/env bash
# Pictures of the editor for the README: starts `tessfx demo` under a virtual X server, lets
# it pick an effect, set keys at the first and last frame and preview, and saves the window.
# Usage: scripts/screenshots.sh [BUILD_DIR]   (default: build)
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
bin="$build/tessfx"
out="$here/docs/screenshots"
[[ -x "$bin" ]] || { echo "no $bin: build first" >&2; exit 1; }
command -v xvfb-run >/dev/null || { echo "xvfb-run missing: scripts/install-deps.sh" >&2; exit 1; }
mkdir -p "$out"
# A private data and settings folder, so the pictures show the default colours and window
# placement whatever the user has saved.
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
shoot() {
  local effect="$1" file="$2"
  TESSFX_DATA_DIR="$scratch/data" TESSFX_CONFIG_DIR="$scratch/config" TESSFX_TEMP_DIR="$scratch/temp" \
    xvfb-run -a -s "-screen 0 1600x1000x24" "$bin" demo --screenshot "$out/$file" --effect "$effect"
  echo "wrote $out/$file"
}
shoot "Color add" editor.png
