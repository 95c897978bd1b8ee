#!/usr/bin/env bash
# Pictures of the editor for the README, made under a virtual X server:
# - editor.png: `tessfx demo` picks an effect, keys it at the first and last frame and
#   previews the middle frame;
# - the tour (keys.png, scrub.png, ease-menu.png, ease.png, search.png, typed-value.png,
#   render.png, rendered.png, undo.png): `tessfx demo --tour` walks through a first session
#   with the windows' own widgets and pictures each step.
# Usage: scripts/screenshots.sh [BUILD_DIR]   (default: build)
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
bin="$build/tessfx"
out="$here/docs/screenshots"
[[ -x "$bin" ]] || { echo "no $bin: build first" >&2; exit 1; }
command -v xvfb-run >/dev/null || { echo "xvfb-run missing: scripts/install-deps.sh" >&2; exit 1; }
mkdir -p "$out"
# A private data and settings folder, so the pictures show the default colours, options and
# window placement whatever the user has saved.
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
run() {
  local name="$1"
  shift
  rm -rf "$scratch/config" "$scratch/temp"
  TESSFX_DATA_DIR="$scratch/data" TESSFX_CONFIG_DIR="$scratch/config" TESSFX_TEMP_DIR="$scratch/temp" \
    xvfb-run -a -s "-screen 0 1600x1000x24" "$bin" demo "$@"
  echo "made $name"
}
run editor.png --screenshot "$out/editor.png" --effect "Color add"
run "the tour" --tour "$out"
