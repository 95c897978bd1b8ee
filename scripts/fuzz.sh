#!/usr/bin/env bash
# Builds the libFuzzer targets in fuzz/ with clang, AddressSanitizer and UndefinedBehavior-
# Sanitizer in build-fuzz/, writes a seed corpus and runs every target for SECONDS each
# (default 30). Usage: scripts/fuzz.sh [SECONDS]
# The corpus grows in build-fuzz/corpus/NAME across runs; crashing or leaking inputs land in
# build-fuzz/artifacts/. Exits non-zero when any target found something. The readers keep
# what the image library prints to standard error out of the terminal while they run, so
# sanitizer reports go to build-fuzz/NAME.sanitizer.* files (named in the log) instead.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:-30}"
case "$seconds" in '' | *[!0-9]*) echo "usage: $0 [SECONDS]" >&2; exit 64 ;; esac
dir="${TESSFX_FUZZ_DIR:-$root/build-fuzz}"

"$root/scripts/install-deps.sh"
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S "$root" -B "$dir" "${generator[@]}" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link -DTESSFX_SANITIZE=ON -DTESSFX_BUILD_FUZZ=ON \
  -DTESSFX_BUILD_TESTS=OFF -DTESSFX_BUILD_BENCH=OFF -DTESSFX_BUILD_UI=OFF >/dev/null
cmake --build "$dir" --target fuzz_all --parallel "$(nproc)"

seeds="$dir/seeds"
rm -rf "$seeds"
# The seed writer goes through encoders of other libraries (x265 for HEIF) that keep memory
# until exit; only the targets are checked for leaks.
ASAN_OPTIONS=detect_leaks=0 "$dir/fuzz/make_seeds" "$seeds"
# Files as another writer lays them out (larger headers, RLE, 4-bit), when it is installed.
if convert -version 2>/dev/null | grep -q ImageMagick; then
  bmp="$seeds/bmp_reader"
  convert -size 9x5 gradient:red-blue "$bmp/im-24.bmp"
  convert -size 9x5 gradient:red-blue -alpha set -channel A -evaluate set 40% "$bmp/im-32.bmp"
  convert rose: -resize 15x10 -colors 100 -type palette -compress none "BMP3:$bmp/im-8.bmp"
  convert rose: -resize 15x10 -colors 100 -type palette "BMP3:$bmp/im-rle8.bmp"
  convert -size 9x5 gradient:red-blue -colors 8 -type palette "BMP3:$bmp/im-4.bmp"
fi

status=0
mkdir -p "$dir/artifacts"
while read -r name flags; do
  [ -n "$name" ] || continue
  corpus="$dir/corpus/$name"
  mkdir -p "$corpus"
  inputs=("$corpus")
  [ -d "$seeds/$name" ] && inputs+=("$seeds/$name")
  log="$dir/$name.log"
  echo "fuzz_$name: ${seconds}s"
  rm -f "$dir/$name".sanitizer.*
  # shellcheck disable=SC2086  # the flags are separate words
  if ASAN_OPTIONS="log_path=$dir/$name.sanitizer:${ASAN_OPTIONS:-}" UBSAN_OPTIONS="log_path=$dir/$name.sanitizer:${UBSAN_OPTIONS:-}" \
    LSAN_OPTIONS="suppressions=$root/fuzz/lsan.supp:${LSAN_OPTIONS:-}" \
    "$dir/fuzz/fuzz_$name" "${inputs[@]}" $flags -max_total_time="$seconds" -rss_limit_mb=2048 -malloc_limit_mb=512 \
    -timeout=20 -print_final_stats=1 -artifact_prefix="$dir/artifacts/$name-" >"$log" 2>&1; then
    grep -E 'stat::number_of_executed_units|stat::peak_rss_mb' "$log" | sed 's/^/  /'
  else
    status=1
    echo "  FAILED (log: $log)"
    grep -E -A25 '^==[0-9]+==|runtime error|ERROR: libFuzzer' "$log" "$dir/$name".sanitizer.* 2>/dev/null | head -40 | sed 's/^/  /'
  fi
done <"$dir/fuzz/targets.txt"
exit $status
