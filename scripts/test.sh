#!/usr/bin/env bash
# Installs what is missing, builds and runs every test; then the whole suite
# again under AddressSanitizer + UndefinedBehaviorSanitizer, the threaded
# tests under ThreadSanitizer, one monitoring run against the simulator under
# valgrind, and the fuzzers for a bounded time each.
#
#   scripts/test.sh           all stages (what CI runs)
#   scripts/test.sh --quick   the normal build and test suite only
#
# FUZZ_SECONDS (default 45) is each fuzzer's run time; VALGRIND_SECONDS
# (default 20) the length of the monitoring run under valgrind.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)

quick=0
case "${1:-}" in
  --quick) quick=1 ;;
  "") ;;
  *) echo "usage: scripts/test.sh [--quick]" >&2; exit 2 ;;
esac

stage_started=$SECONDS
stage() {
  printf '\n==== %s ====\n' "$*"
  stage_started=$SECONDS
}
stage_done() {
  printf '==== done in %ds (total %ds) ====\n' $((SECONDS - stage_started)) "$SECONDS"
}

stage "Build and test (RelWithDebInfo)"
scripts/install-deps.sh test
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs" --timeout 300
stage_done
[ "$quick" = 1 ] && exit 0

stage "AddressSanitizer + UndefinedBehaviorSanitizer: whole suite (build-asan)"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEK5_SANITIZE=address
cmake --build build-asan -j"$jobs"
ctest --test-dir build-asan --output-on-failure -j"$jobs" --timeout 600
stage_done

stage "ThreadSanitizer: threaded tests (build-tsan, label threads)"
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEK5_SANITIZE=thread
# Only what the threaded tests need: each test is the target of its name.
mapfile -t tsan_tests < <(ctest --test-dir build-tsan -L threads -N | sed -n 's/^ *Test *#[0-9]*: *\([^ ]*\)$/\1/p')
if [ "${#tsan_tests[@]}" -eq 0 ]; then
  echo "no test carries the label threads" >&2
  exit 1
fi
cmake --build build-tsan -j"$jobs" --target "${tsan_tests[@]}"
ctest --test-dir build-tsan -L threads --output-on-failure -j"$jobs" --timeout 600
stage_done

stage "valgrind memcheck: upsmon-host --headless against upssim"
scripts/valgrind-run.sh build "${VALGRIND_SECONDS:-20}"
stage_done

stage "Fuzzers: ${FUZZ_SECONDS:-45}s each, then seed and regression replay (build-fuzz)"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEK5_FUZZ=ON
cmake --build build-fuzz -j"$jobs" --target fuzzers
for corpus in "$root"/fuzz/corpus/*/; do
  target=$(basename "$corpus")
  run=$root/build-fuzz/fuzzrun/$target
  # New inputs go to a scratch copy; the repository keeps its small seeds.
  rm -rf "$run/corpus" && mkdir -p "$run/corpus" && cp "$corpus"/* "$run/corpus/"
  inputs=("$run/corpus")
  [ -d "$root/fuzz/regressions/$target" ] && inputs+=("$root/fuzz/regressions/$target")
  echo "-- $target"
  if ! (cd "$run" && QT_QPA_PLATFORM=offscreen "$root/build-fuzz/bin/$target" \
          -max_total_time="${FUZZ_SECONDS:-45}" -timeout=10 -rss_limit_mb=2048 \
          -artifact_prefix="$run/" "${inputs[@]}" >"$run/fuzz.log" 2>&1); then
    tail -n 60 "$run/fuzz.log"
    echo "$target failed; the input is in $run/ (keep it under fuzz/regressions/$target/ once fixed)" >&2
    exit 1
  fi
  grep -E '^Done [0-9]+ runs' "$run/fuzz.log"
done
ctest --test-dir build-fuzz -L fuzz --output-on-failure --timeout 300
stage_done

printf '\nAll stages passed in %ds.\n' "$SECONDS"
