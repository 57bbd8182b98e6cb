#!/usr/bin/env bash
# Photographs the unit's panel twice and prints, per picture, how many pixels
# differ; exit status 0 when none does.
#   bench/shots_same.sh BUILD          two runs of one build
#   bench/shots_same.sh BUILD OTHER    one run of each build (the first compares)
# The pictures stay in OUT/a and OUT/b (OUT defaults to a new temporary folder).
# The wall clock is pinned with faketime so that the alarm table's "first
# seen" times and the unit's clock read the same in every run; the monotonic
# clock keeps running, as Qt's timers and the simulator's ticks need it to.
set -euo pipefail
first=${1:?usage: $0 BUILD [OTHER_BUILD]}
second=${2:-$first}
out=${OUT:-$(mktemp -d)}
command -v faketime >/dev/null || { echo "$0: faketime is missing (scripts/install-deps.sh test)" >&2; exit 2; }

shoot() {
    mkdir -p "$2"
    QT_QPA_PLATFORM=xcb TZ=UTC FAKETIME_DONT_FAKE_MONOTONIC=1 xvfb-run -a -s "-screen 0 1600x1000x24" \
        faketime -m -f "2024-05-17 10:30:00" "$1/bin/shot_mainview" "$2" >"$2/log" 2>&1 \
        || { cat "$2/log" >&2; exit 1; }
}

# One after the other: a run writes the unit's settings beside the program.
shoot "$first" "$out/a"
shoot "$second" "$out/b"
echo "pictures: $out/a $out/b"
"$first/bin/shot_mainview" --compare "$out/a" "$out/b"
