#!/usr/bin/env bash
# Runs the ThreadSanitizer stage RUNS times in a row (default 30), by default
# while stress-ng keeps every core busy, and prints per run: the stage's exit
# status, the sanitizer reports in every test's output (passing tests too)
# and whether the canary's deliberate race was reported. Exits 1 unless every
# run passed with no report and the canary reported each time.
#
#   scripts/tsan-loop.sh [RUNS]        STRESS=0 for a quiet machine
set -uo pipefail
cd "$(dirname "$0")/.."
runs=${1:-30}
logs=build-tsan/loop
mkdir -p "$logs"

if [ "${STRESS:-1}" = 1 ]; then
  stress-ng --cpu "$(nproc)" --timeout 0 --quiet &
  stress=$!
  trap 'kill "$stress" 2>/dev/null; wait "$stress" 2>/dev/null' EXIT
  echo "load: stress-ng --cpu $(nproc) (pid $stress)"
fi

failed=0 reports=0 canaries=0
for i in $(seq 1 "$runs"); do
  started=$SECONDS
  bash scripts/test.sh --stage tsan >"$logs/run-$i.log" 2>&1
  status=$?
  # Every test's whole output, including those that passed.
  all=build-tsan/Testing/Temporary/LastTest.log
  found=$(grep -c 'WARNING: ThreadSanitizer' "$all" 2>/dev/null)
  canary=$(grep -c 'canary: the race in racingWrite was reported' "$all" 2>/dev/null)
  [ "$status" = 0 ] || failed=$((failed + 1))
  reports=$((reports + found))
  [ "$canary" -ge 1 ] && canaries=$((canaries + 1))
  printf 'run %2d: exit %d, %ds, sanitizer reports %d, canary reported %s\n' \
    "$i" "$status" $((SECONDS - started)) "$found" "$([ "$canary" -ge 1 ] && echo yes || echo NO)"
  [ "$status" = 0 ] || grep -E 'Failed|WARNING: ThreadSanitizer' "$logs/run-$i.log" | head -5
done
echo "$runs runs: $failed failed, $reports sanitizer reports, canary reported in $canaries of $runs"
[ "$failed" = 0 ] && [ "$reports" = 0 ] && [ "$canaries" = "$runs" ]
