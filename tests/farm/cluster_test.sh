#!/usr/bin/env bash
# The farm on a real Slurm cluster: the one-node cluster of scripts/slurm-local.sh.
#  1. 40 frames in 4 chunks render frame for frame the same bytes as one process, for a
#     keyed effect, effects that vary with time or read other frames, and "Ghost" when
#     this build has it.
#  2. A task cancelled part-way leaves its chunk short; `farm resume` submits that chunk
#     only, and its task renders only the frames that are missing: the others' files are
#     not written again.
# Skipped, with one message, only where the cluster's daemons cannot start (no root, no
# packages, a machine that is part of another cluster).
# Usage: tests/farm/cluster_test.sh [path/to/tessfx]
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
tessfx="$(realpath "${1:-$root/build/tessfx}")"
passed=0
failed=0

work="$(mktemp -d "${TMPDIR:-/tmp}/tessfx-farm-test.XXXXXX")"
export TESSFX_FARM_DIR="$work/records" TESSFX_TEMP_DIR="$work/tmp" TESSFX_CONFIG_DIR="$work/config"
was_up=0
"$root/scripts/slurm-local.sh" status >/dev/null 2>&1 && was_up=1
cleanup() {
  local jobs
  jobs="$(ls "$TESSFX_FARM_DIR" 2>/dev/null | sed -n 's/\.json$//p' | tr '\n' ' ' || true)"
  [ -n "$jobs" ] && scancel $jobs >/dev/null 2>&1 || true
  [ "$was_up" -eq 1 ] || "$root/scripts/slurm-local.sh" stop >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT

set +e
start_output="$("$root/scripts/slurm-local.sh" start 2>&1)"
start_code=$?
set -e
if [ "$start_code" -eq 69 ]; then
  echo "farm cluster test SKIPPED: the Slurm daemons cannot start here: $(printf '%s\n' "$start_output" | grep 'slurm-local:' | tail -1)"
  exit 0
elif [ "$start_code" -ne 0 ]; then
  printf '%s\n' "$start_output" >&2
  echo "farm cluster test FAILED: scripts/slurm-local.sh start exited $start_code" >&2
  exit 1
fi

check() {  # name, then a command that must succeed
  local name="$1"
  shift
  if "$@"; then
    passed=$((passed + 1))
    echo "[  OK  ] $name"
  else
    failed=$((failed + 1))
    echo "[FAILED] $name" >&2
  fi
}

# Every frame of sequence $1 is the same file as in sequence $2 (patterns with ####).
same_frames() {
  local a="$1" b="$2" n file ok=0
  for n in $(seq -f '%04g' "$3" "$4"); do
    file="${a/\#\#\#\#/$n}"
    if ! cmp -s "$file" "${b/\#\#\#\#/$n}"; then
      echo "  frame $n differs or is missing: $file" >&2
      ok=1
    fi
  done
  return $ok
}

wait_for() {  # job: waits until no task is pending or running; the status goes to the log
  timeout 900 "$tessfx" farm status "$1" --wait --interval 1 >"$work/status-$1.txt" 2>&1
}

cd "$work"
"$tessfx" new in.tsa --size 320x240 --frames 40 --pattern scene >/dev/null
"$tessfx" new swap.tsa --size 320x240 --frames 40 --pattern circles >/dev/null

# ---- 1. A farm render is the one-process render, frame for frame ----
declare -A effect_args=(
  [keyed]='--effect "Gaussian blur" --key 0:2,255 --key 20:40,128 --key 39:64,255 --spline'
  [noise]='--effect "Color noise" --key 0:0 --key 39:255'
  [jitter]='--effect "Jitter"'
  [flicker]='--effect "Reduce flicker"'
  [mirage]='--effect "Mirage"'
  [swap]='--effect "Mix buffers" --values 128 --swap swap.tsa'
)
if "$tessfx" effects | grep -E '^ +Ghost ' | grep -vq 'not implemented'; then
  effect_args[ghost]='--effect "Ghost" --values 6'
fi
declare -A jobs=()
for name in "${!effect_args[@]}"; do
  mkdir -p "one-$name" "farm-$name"
  eval "args=(${effect_args[$name]})"
  "$tessfx" render in.tsa "${args[@]}" -o "one-$name/f.####.png" -q
  jobs[$name]="$("$tessfx" farm submit in.tsa "${args[@]}" -o "farm-$name/f.####.png" --chunk 10 -q)"
done
for name in "${!jobs[@]}"; do
  check "farm render ($name, job ${jobs[$name]}) ends with every frame" wait_for "${jobs[$name]}"
  check "farm render ($name) has 4 chunks done" grep -q '^tasks: 0 pending, 0 running, 4 done, 0 failed; frames present: 40 of 40$' "$work/status-${jobs[$name]}.txt"
  check "farm render ($name) equals the one-process render frame for frame" same_frames "farm-$name/f.####.png" "one-$name/f.####.png" 0 39
done
check "collect finds every frame and assembles the animation" \
  "$tessfx" farm collect "farm-keyed/f.####.png" -o collected.tsa -q
mkdir -p collected
"$tessfx" convert collected.tsa "collected/f.####.png" -q
check "the collected animation holds the frames in order" same_frames "collected/f.####.png" "one-keyed/f.####.png" 0 39

# ---- 2. A cancelled task, and a resume that renders only what is missing ----
# Large frames, a slow effect and one core per task, so that a task renders for seconds;
# its progress goes to its log every 0.1 s.
"$tessfx" new big.tsa --size 2560x1440 --frames 40 --pattern scene >/dev/null
mkdir -p one-big farm-big
big=(--effect "Zoom blur" --key 0:50,50,40,100 --key 39:30,60,100,100)
"$tessfx" render big.tsa "${big[@]}" -o one-big/f.####.png -q
job="$(TESSFX_PROGRESS_INTERVAL=0.1 "$tessfx" farm submit big.tsa "${big[@]}" -o farm-big/f.####.png --chunk 10 -q)"
# Cancel chunk 1 when its log shows a few of its frames rendered.
log="farm-big/.tessfx-farm/${job}_1.log"
deadline=$((SECONDS + 300))
until grep -Eq 'rendering: [3-9]/10' "$log" 2>/dev/null; do
  [ $SECONDS -lt $deadline ] || break
  sleep 0.05
done
scancel "${job}_1"
set +e
wait_for "$job"
set -e
present_before="$(cd farm-big && ls f.00[1][0-9].png 2>/dev/null | wc -l)"
check "the cancelled chunk shows as failed with frames missing" grep -Eq '^  chunk 1 .*failed \(CANCELLED' "$work/status-$job.txt"
check "the cancelled chunk stopped part-way ($present_before of 10 frames written)" test "$present_before" -lt 10
check "the other chunks are done" grep -q '^tasks: 0 pending, 0 running, 3 done, 1 failed' "$work/status-$job.txt"
stat -c '%n %i %Y.%y' farm-big/f.*.png >before.txt
resumed="$("$tessfx" farm resume "$job" 2>resume.txt)"
check "resume submits chunk 1 alone" grep -q "for chunk 1 of job $job: $((10 - present_before)) frame" resume.txt
check "the resumed render ends with every frame" wait_for "$resumed"
check "farm status of the first job sees the render whole" \
  sh -c "'$tessfx' farm status '$job' | grep -q '^tasks: 0 pending, 0 running, 4 done, 0 failed; frames present: 40 of 40\$'"
check "the resumed task rendered only the missing frames" \
  grep -q "$((10 - present_before)) frames\? rendered" "farm-big/.tessfx-farm/${resumed}_1.log"
stat -c '%n %i %Y.%y' $(cut -d' ' -f1 before.txt) >after.txt
check "no frame present before the resume was written again" cmp -s before.txt after.txt
check "the resumed render equals the one-process render frame for frame" same_frames farm-big/f.####.png one-big/f.####.png 0 39
check "resume with every frame present submits nothing" sh -c "'$tessfx' farm resume '$job' 2>&1 | grep -q 'nothing to resume'"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
