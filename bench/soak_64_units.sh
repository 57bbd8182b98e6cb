#!/usr/bin/env bash
# Soak: one upsmon-host --headless monitoring many simulated units over
# loopback Modbus TCP, for a bounded time.
#
#   [POLL_MODE=interval|timer] [INTERVAL=S] bench/soak_64_units.sh [DURATION_SECONDS [UNITS [BUILD_DIR]]]
#
# Defaults: 180 s, 64 units, ./build, pollMode=interval, interval 1 s. The units are served by one upssim on a
# free port of 127.0.0.1 (addresses 1..UNITS). Measured every 5 s from
# /proc/<host pid>: CPU (utime+stime) and memory (VmRSS, VmHWM). From the
# host's JSON event lines: data reports (type 2007) per second in all and per
# unit, communication losses (1041), and per unit the longest gap between two
# data reports (1 s resolution: the event times are whole seconds).
set -euo pipefail
. "$(dirname "$0")/../scripts/host-bench.sh"

poll_mode=${POLL_MODE:-interval}
interval=${INTERVAL:-1}
duration=${1:-180}
units=${2:-64}
if [ "$duration" -lt 10 ] || [ "$duration" -gt 3600 ] || [ "$units" -lt 1 ] || [ "$units" -gt 247 ]; then
  echo "soak: duration 10..3600 s, units 1..247" >&2
  exit 2
fi

host_bench_setup soak "${3:-build}" "$units"
printf 'Language=0\n\n[host]\nunits=%s\nlogInterval=60\nanswerTimeout=30\npollMode=%s\nmaxAge=%d\n' \
  "$names" "$poll_mode" $((3 * interval + 15)) >"$db/param.ini"
write_units "$interval"

cd "$app"
./upsmon-host --headless --json --show-data --duration "$duration" \
  --datalog "$work/datalog.csv" >"$work/events.jsonl" 2>"$work/host.err" &
host_pid=$!

ticks=$(getconf CLK_TCK)
: >"$work/samples.txt"
sample() {
  local cpu status
  cpu=$(host_cpu_ticks) || return 1
  status=$(cat "/proc/$host_pid/status" 2>/dev/null) || return 1
  echo "$(date +%s.%N) $cpu \
$(echo "$status" | awk '/^VmRSS/ {print $2}') $(echo "$status" | awk '/^VmHWM/ {print $2}') \
$(echo "$status" | awk '/^Threads/ {print $2}')" >>"$work/samples.txt"
}
sample
while kill -0 "$host_pid" 2>/dev/null; do
  sleep 5
  sample || break
done
set +e
wait "$host_pid"
status=$?
set -e
host_pid=

echo "soak: $units units, ${duration} s, pollMode=$poll_mode, interval $interval s, host exit status $status, work dir $work"
awk -v ticks="$ticks" -v dur="$duration" '
  NR == 1 { t0 = $1; c0 = $2; rss0 = $3 }
  { t1 = $1; c1 = $2; rss = $3; hwm = $4; thr = $5; if ($3 > peak) peak = $3 }
  NR == 2 { rss5 = $3 }
  END {
    printf "cpu: %.1f s over %.1f s wall = %.1f %% of one core\n", (c1 - c0) / ticks, t1 - t0, 100 * (c1 - c0) / ticks / (t1 - t0)
    printf "memory: VmRSS after 5 s %d kB, at end %d kB, VmHWM %d kB, threads %d\n", rss5, rss, hwm, thr
  }' "$work/samples.txt"
python3 - "$work/events.jsonl" "$units" "$interval" <<'PY'
import json, sys, datetime, collections
path, units, interval = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
data = collections.defaultdict(list)
lost = collections.Counter()
restored = collections.Counter()
other = 0
for line in open(path, encoding="utf-8"):
    try:
        e = json.loads(line)
    except ValueError:
        continue
    t = datetime.datetime.strptime(e["time"], "%Y-%m-%d %H:%M:%S").timestamp()
    if e.get("type") == 2007:
        data[e["unit"]].append(t)
    elif e.get("type") == 1041:
        lost[e["unit"]] += 1
    elif e.get("type") == 1040:
        restored[e["unit"]] += 1
    else:
        other += 1
allt = sorted(t for ts in data.values() for t in ts)
if not allt:
    print("no data reports"); sys.exit(1)
span = allt[-1] - allt[0] - 1
inner = sum(1 for t in allt if allt[0] < t < allt[-1])
print(f"units reporting: {len(data)} of {units}; communicating (1040): {sum(restored.values())}, lost (1041): {sum(lost.values())}")
print(f"data reports (2007): {len(allt)}, {inner / span:.1f}/s in all, {inner / span / units:.2f}/s per unit")
gaps = {u: max((b - a for a, b in zip(ts, ts[1:])), default=0) for u, ts in data.items()}
first = {u: ts[0] - allt[0] for u, ts in data.items()}
worst = max(gaps, key=gaps.get)
late = sum(1 for ts in data.values() for a, b in zip(ts, ts[1:]) if b - a > interval + 1)
print(f"longest gap between two reports of one unit: {gaps[worst]:.0f} s ({worst}); gaps over {interval + 1} s: {late}")
print(f"first report after the first unit's: up to {max(first.values()):.0f} s; other events: {other}")
PY
