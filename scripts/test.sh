#!/usr/bin/env bash
# Sets up, builds and runs the whole test suite: the release build and the farm test on a
# local cluster, then the same unit tests under AddressSanitizer and UndefinedBehaviorSanitizer.
# Pass --quick to skip the sanitizers.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
quick=0
[ "${1:-}" = "--quick" ] && quick=1
status=0
run_suite() {
  local dir="$1"
  (cd "$dir" && ctest --output-on-failure --parallel "$(nproc)" --timeout 600) || status=1
}
"$root/scripts/build.sh" release >/dev/null
run_suite "$root/build"
# The farm on a one-node Slurm cluster started for the test (skipped where it cannot start).
"$root/tests/farm/cluster_test.sh" "$root/build/tessfx" || status=1
if [ "$quick" -eq 0 ]; then
  "$root/scripts/build.sh" sanitize >/dev/null
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0" run_suite "$root/build-sanitize"
fi
exit $status
