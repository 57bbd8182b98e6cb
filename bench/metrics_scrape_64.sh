#!/usr/bin/env bash
# CPU and size of one /metrics scrape of a real upsmon-host monitoring many
# simulated units over loopback Modbus TCP.
#
#   bench/metrics_scrape_64.sh [UNITS [SCRAPES [BUILD_DIR]]]
#
# Defaults: 64 units, 300 scrapes, ./build. Once every unit communicates, the
# host's CPU (utime+stime of /proc/<pid>/stat) is taken over a quiet period
# and over a period of back-to-back scrapes of the same length; the
# difference over the number of scrapes is the CPU of one scrape.
set -euo pipefail
. "$(dirname "$0")/../scripts/host-bench.sh"

units=${1:-64}
scrapes=${2:-300}
host_bench_setup metrics-bench "${3:-build}" "$units"
printf '[host]\nunits=%s\n\n[metrics]\nlisten=127.0.0.1:0\n' "$names" >"$db/param.ini"
write_units 5
(cd "$app" && exec ./upsmon-host --headless) >"$work/host.log" 2>&1 &
host_pid=$!

url=
for _ in $(seq 100); do
  url=$(sed -n 's|.*metrics on \(http://[0-9.:]*/metrics\).*|\1|p' "$work/host.log")
  [ -n "$url" ] && break
  sleep 0.2
done
[ -n "$url" ] || { echo "bench: the host serves no metrics" >&2; cat "$work/host.log" >&2; exit 1; }
for _ in $(seq 120); do
  ok=$(curl -sf "$url" | grep -c 'ups_comm_state{.*state="ok"} 1' || true)
  [ "$ok" -ge "$units" ] && break
  sleep 1
done
echo "units communicating: $ok of $units"

ticks=$(getconf CLK_TCK)
# As curl asks, and gzip-compressed as Prometheus asks (Accept-Encoding: gzip).
for mode in plain gzip; do
  opts=(-sf -o "$work/scrape.$mode")
  [ "$mode" = gzip ] && opts+=(-H 'Accept-Encoding: gzip')
  start=$(date +%s.%N); c0=$(host_cpu_ticks)
  for _ in $(seq "$scrapes"); do curl "${opts[@]}" "$url"; done
  end=$(date +%s.%N); c1=$(host_cpu_ticks)
  busy=$(echo "$end - $start" | bc)
  sleep "$busy"
  c2=$(host_cpu_ticks)
  bytes=$(wc -c <"$work/scrape.$mode")
  awk -v m="$mode" -v c0="$c0" -v c1="$c1" -v c2="$c2" -v t="$ticks" -v n="$scrapes" -v w="$busy" -v b="$bytes" 'BEGIN {
    printf "%s: %d scrapes in %.1f s: host CPU %.2f s; the same time without scrapes: %.2f s\n", m, n, w, (c1 - c0) / t, (c2 - c1) / t
    printf "%s: one scrape %.2f ms host CPU, %d bytes\n", m, 1000 * ((c1 - c0) - (c2 - c1)) / t / n, b
  }'
done
echo "series: $(grep -vc '^#' "$work/scrape.plain")"
echo "work dir: $work"
