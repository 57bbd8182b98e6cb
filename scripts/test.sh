#!/usr/bin/env bash
# Installs what is missing, builds and runs every test; then the whole suite
# again under AddressSanitizer + UndefinedBehaviorSanitizer, the threaded
# tests under ThreadSanitizer, one monitoring run against the simulator under
# valgrind, and the fuzzers for a bounded time each.
#
#   scripts/test.sh                all stages (what CI runs)
#   scripts/test.sh --quick        the normal build and test suite only
#   scripts/test.sh --stage NAME   one stage alone: normal, asan, tsan,
#                                  valgrind or fuzz (repeatable)
#
# Each stage configures and builds what it needs incrementally, in its own
# build directory, so a failing stage can be run again by itself.
# FUZZ_SECONDS (default 45) is each fuzzer's run time; VALGRIND_SECONDS
# (default 20) the length of the monitoring run under valgrind.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)
all_stages=(normal asan tsan valgrind fuzz)

usage() {
  echo "usage: scripts/test.sh [--quick | --stage normal|asan|tsan|valgrind|fuzz ...]" >&2
  exit 2
}

stages=()
while [ $# -gt 0 ]; do
  case "$1" in
    --quick) stages+=(normal) ;;
    --stage)
      [ $# -ge 2 ] || usage
      case " ${all_stages[*]} " in *" $2 "*) ;; *) usage ;; esac
      stages+=("$2"); shift ;;
    *) usage ;;
  esac
  shift
done
[ "${#stages[@]}" -gt 0 ] || stages=("${all_stages[@]}")

timings=()
run_stage() {
  local name=$1 title=$2 started=$SECONDS
  printf '\n==== %s ====\n' "$title"
  "stage_$name"
  timings+=("$(printf '%-9s %5ds' "$name" $((SECONDS - started)))")
  printf '==== %s done in %ds (total %ds) ====\n' "$name" $((SECONDS - started)) "$SECONDS"
}

stage_normal() {
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
  cmake --build build -j"$jobs"
  ctest --test-dir build --output-on-failure -j"$jobs" --timeout 300
}

stage_asan() {
  cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEK5_SANITIZE=address
  cmake --build build-asan -j"$jobs"
  ctest --test-dir build-asan --output-on-failure -j"$jobs" --timeout 600
}

stage_tsan() {
  cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEK5_SANITIZE=thread
  # Only what the threaded tests need: each test is the target of its name.
  local tsan_tests
  mapfile -t tsan_tests < <(ctest --test-dir build-tsan -L threads -N | sed -n 's/^ *Test *#[0-9]*: *\([^ ]*\)$/\1/p')
  if [ "${#tsan_tests[@]}" -eq 0 ]; then
    echo "no test carries the label threads" >&2
    exit 1
  fi
  cmake --build build-tsan -j"$jobs" --target "${tsan_tests[@]}"
  ctest --test-dir build-tsan -L threads --output-on-failure -j"$jobs" --timeout 600
}

stage_valgrind() {
  # The run needs the host, the plugin, the driver and the simulator of the
  # normal build; alone, this stage builds just those.
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build build -j"$jobs" --target upsmon-host vek5m_10-30k_Client vek5driver upssim
  scripts/valgrind-run.sh build "${VALGRIND_SECONDS:-20}"
}

stage_fuzz() {
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEK5_FUZZ=ON
  cmake --build build-fuzz -j"$jobs" --target fuzzers
  local corpus target run inputs
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
}

run_stage_titled() {
  case "$1" in
    normal)   run_stage normal "Build and test (RelWithDebInfo, build)" ;;
    asan)     run_stage asan "AddressSanitizer + UndefinedBehaviorSanitizer: whole suite (build-asan)" ;;
    tsan)     run_stage tsan "ThreadSanitizer: threaded tests (build-tsan, label threads)" ;;
    valgrind) run_stage valgrind "valgrind memcheck: upsmon-host --headless against upssim" ;;
    fuzz)     run_stage fuzz "Fuzzers: ${FUZZ_SECONDS:-45}s each, then seed and regression replay (build-fuzz)" ;;
  esac
}

printf '==== Packages ====\n'
scripts/install-deps.sh test
for s in "${stages[@]}"; do
  run_stage_titled "$s"
done

printf '\nStage times:\n'
printf '  %s\n' "${timings[@]}"
printf 'All stages passed (%s) in %ds.\n' "${stages[*]}" "$SECONDS"
