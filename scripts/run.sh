#!/usr/bin/env bash
# Sets up, builds and starts tessfx on its built-in demo animation.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" release >/dev/null
exec "$root/build/tessfx" demo "$@"
