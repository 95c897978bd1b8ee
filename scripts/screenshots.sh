#!/usr/bin/env bash
# Pictures of the editor for the README, made under a virtual X server:
# - editor.png: `tessfx demo` picks an effect, keys it at the first and last frame and
#   previews the middle frame;
# - the tour (keys.png, scrub.png, ease-menu.png, ease.png, search.png, typed-value.png,
#   render.png, rendered.png, undo.png): `tessfx demo --tour` walks through a first session
#   with the windows' own widgets and pictures each step.
# - keying.png: the editor keying a generated green-screen sequence over a swap image.
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

# The window keying a green-screen sequence over the swap image: the plate in the host
# window, the keyed frame in the tool window's preview. The swap image is a drawn landscape.
mkdir -p "$scratch/plate"
"$bin" new "$scratch/plate/plate.####.png" --size 640x360 --frames 24 --pattern greenscreen >/dev/null
convert -size 640x360 gradient:'#2a5aa8'-'#f4c08a' \
  \( -size 640x360 xc:none -fill '#fff3d2' -draw 'circle 470,120 470,158' -blur 0x4 \) -composite \
  -fill '#5b7f3a' -draw "path 'M 0,250 Q 120,205 260,235 T 520,225 T 640,240 L 640,360 L 0,360 Z'" \
  -fill '#3e6428' -draw "path 'M 0,300 Q 180,255 360,290 T 640,280 L 640,360 L 0,360 Z'" "$scratch/backdrop.png"
rm -rf "$scratch/config" "$scratch/temp"
TESSFX_DATA_DIR="$scratch/data" TESSFX_CONFIG_DIR="$scratch/config" TESSFX_TEMP_DIR="$scratch/temp" \
  xvfb-run -a -s "-screen 0 1600x1000x24" "$bin" edit "$scratch/plate/plate.0007.png" --swap "$scratch/backdrop.png" \
  --effect Greenscreen --values 0,105,24 --screenshot "$out/keying.png"
echo "wrote $out/keying.png"
