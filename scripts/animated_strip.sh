#!/usr/bin/env bash
# The README's strip of animated effects: "Snowfall", "Old film" and "Perlin noise" rendered
# with `tessfx render` over the built-in demo animation at their defaults, four frames each,
# laid out with ImageMagick.
# Usage: scripts/animated_strip.sh [BUILD_DIR]   (default: build)
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
bin="$build/tessfx"
out="$here/docs/animated-effects.png"
[[ -x "$bin" ]] || { echo "no $bin: build first" >&2; exit 1; }
command -v convert >/dev/null || { echo "ImageMagick missing: scripts/install-deps.sh" >&2; exit 1; }
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
export TESSFX_DATA_DIR="$scratch/data" TESSFX_CONFIG_DIR="$scratch/config" TESSFX_TEMP_DIR="$scratch/temp"
# `tessfx demo` makes the demo animation on first use; headless it also renders one effect.
"$bin" demo --headless --output "$scratch/demo" >/dev/null
demo="$scratch/data/demo.tsa"
frames=(0 8 16 24)
panel=240x135
font=(-font DejaVu-Sans -fill white -gravity center)
rows=()
for effect in "Snowfall" "Old film" "Perlin noise"; do
  name="${effect// /_}"
  "$bin" render "$demo" -o "$scratch/$name.tsa" --effect "$effect" >/dev/null
  "$bin" convert "$scratch/$name.tsa" "$scratch/$name.%04d.png" --first 0 >/dev/null
  cells=(\( -size 110x135 xc:'#202020' "${font[@]}" -pointsize 13 -annotate +0+0 "$effect" \))
  for f in "${frames[@]}"; do cells+=(\( "$scratch/$name.$(printf %04d "$f").png" -resize "$panel" +repage \)); done
  convert "${cells[@]}" +append +repage "$scratch/row_$name.png"
  rows+=("$scratch/row_$name.png")
done
header=(\( -size 110x18 xc:'#202020' \))
for f in "${frames[@]}"; do
  header+=(\( -size 240x18 xc:'#202020' "${font[@]}" -fill '#c0c0c0' -pointsize 11 -annotate +0+0 "frame $f" \))
done
convert "${header[@]}" +append +repage "$scratch/header.png"
convert "$scratch/header.png" "${rows[@]}" -append +repage -depth 8 -colors 256 "PNG8:$out"
echo "wrote $out"
