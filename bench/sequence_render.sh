#!/usr/bin/env bash
# Renders 100 frames of a 1920 x 1080 PNG sequence with "Color add" (30, -20, 5) and times
# the whole command, beside oiiotool and vips doing the same work on the same files: read
# each frame, add the three offsets clamped to 0..255, write it as PNG at deflate level 1
# (tessfx's own choice for renders; the others are given it too). Runs alternate between
# the three, RUNS times (default 3); the table shows each command's median wall time.
# Needs openimageio-tools and libvips-tools (scripts/install-bench-deps.sh).
#
#   bench/sequence_render.sh [TESSFX] [FRAMES]     (default build/tessfx, 100)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
tessfx="${1:-$root/build/tessfx}"
frames="${2:-100}"
runs="${RUNS:-3}"
for tool in oiiotool vips; do
  command -v "$tool" >/dev/null || { echo "$tool is missing: run scripts/install-bench-deps.sh" >&2; exit 69; }
done
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/in"
# Four pictures of the test scene (slow to draw), repeated: every frame is still read,
# changed and written on its own.
"$tessfx" new "$work/source.tsa" --size 1920x1080 --frames 4 --pattern scene >/dev/null
"$tessfx" convert "$work/source.tsa" "$work/s.####.png" --first 1 >/dev/null
for ((i = 1; i <= frames; ++i)); do
  cp "$work/s.000$(((i - 1) % 4 + 1)).png" "$work/in/f.$(printf %04d "$i").png"
done
rm "$work/source.tsa" "$work"/s.*.png

run_tessfx() { "$tessfx" render "$work/in/f.0001.png" -o "$work/out/f.####.png" --effect "Color add" --values 30,-20,5 >/dev/null 2>&1; }
run_oiiotool() {
  oiiotool --frames "1-$frames" "$work/in/f.#.png" --addc 0.117647,-0.078431,0.019608 \
    --attrib png:compressionLevel 1 -o "$work/out/f.#.png"
}
run_vips() {
  local i
  for i in $(seq -f %04g 1 "$frames"); do
    vips linear "$work/in/f.$i.png" "$work/out/f.$i.png[compression=1]" "1 1 1" "30 -20 5" --uchar
  done
}

declare -A times
for ((r = 0; r < runs; ++r)); do
  for tool in tessfx oiiotool vips; do
    rm -rf "$work/out" && mkdir "$work/out"
    start=$(date +%s.%N)
    "run_$tool"
    end=$(date +%s.%N)
    [ "$(ls "$work/out" | wc -l)" -eq "$frames" ] || { echo "$tool wrote $(ls "$work/out" | wc -l) files" >&2; exit 70; }
    times[$tool]+="$(echo "$end - $start" | bc) "
  done
done
median() { tr ' ' '\n' | grep -v '^$' | sort -n | awk '{a[NR] = $1} END {print a[int((NR + 1) / 2)]}'; }
printf '%-10s %12s   %s\n' command "median s" "runs (s)"
for tool in tessfx oiiotool vips; do
  printf '%-10s %12.2f   %s\n' "$tool" "$(echo "${times[$tool]}" | median)" "${times[$tool]}"
done
