#!/usr/bin/env bash
# Configures and builds tessfx. Usage: scripts/build.sh [release|sanitize] (default release).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
kind="${1:-release}"
case "$kind" in
  release) dir="$root/build"; flags=(-DCMAKE_BUILD_TYPE=Release) ;;
  sanitize) dir="$root/build-sanitize"; flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSFX_SANITIZE=ON -DTESSFX_BUILD_BENCH=OFF) ;;
  *) echo "usage: $0 [release|sanitize]" >&2; exit 64 ;;
esac
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S "$root" -B "$dir" "${generator[@]}" "${flags[@]}" >/dev/null
cmake --build "$dir" --parallel "$(nproc)"
echo "$dir"
