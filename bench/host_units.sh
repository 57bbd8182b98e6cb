#!/bin/bash
# N units in one host: the simulator serves units 1..N on one loopback TCP
# port, upsmon-host --headless polls each every INTERVAL seconds for
# DURATION seconds. Prints the host's CPU time, its peak resident memory and
# the number of data reports (unit-cycles), from which the caller divides.
#   bench/host_units.sh BUILD_DIR UNITS [DURATION] [INTERVAL]
# PLUGIN=path picks another collector plugin (to compare two builds).
# The host reads its configuration next to its program: this writes
# BUILD_DIR/bin/PVMX/drovaPanel/db/{param,dev}.ini (replacing them).
set -eu
bin=$(cd "${1:?usage: host_units.sh BUILD_DIR UNITS [DURATION] [INTERVAL]}" && pwd)/bin
units=${2:?units}
duration=${3:-60}
interval=${4:-1}
work=$(mktemp -d)
trap 'kill $sim 2>/dev/null || true; [ -n "${KEEP:-}" ] || rm -rf "$work"' EXIT

"$bin/upssim" --tcp 127.0.0.1:0 --units "$units" --speed 0 > "$work/sim.out" 2>&1 &
sim=$!
for _ in $(seq 50); do
    port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$work/sim.out")
    [ -n "$port" ] && break
    sleep 0.1
done
[ -n "$port" ] || { echo "simulator did not start" >&2; cat "$work/sim.out" >&2; exit 1; }

db="$bin/PVMX/drovaPanel/db"
mkdir -p "$db"
names=$(seq -s, -f 'U%g' 1 "$units")
printf '[General]\nLanguage=0\n\n[host]\nunits=%s\nlogInterval=60\nanswerTimeout=30\n' "$names" > "$db/param.ini"
: > "$db/dev.ini"
for i in $(seq 1 "$units"); do
    printf '[U%d]\ncommType=1\nipAddr=127.0.0.1\nport=%d\naddr=%d\ninterval=%d\nretries=5\n\n' \
        "$i" "$port" "$i" "$interval" >> "$db/dev.ini"
done

cd "$bin"
/usr/bin/time -f '%U %S %M' -o "$work/time" ./upsmon-host --headless --json --show-data \
    --duration "$duration" ${PLUGIN:+--plugin "$PLUGIN" --driver "$bin/libvek5m_10-30k.so"} > "$work/events" 2> "$work/host.err" || true
reports=$(grep -c '"data"' "$work/events" || true)
read -r user sys rss < <(tail -n 1 "$work/time")
echo "work: $work" >&2
echo "$units units, $duration s, interval $interval s: host CPU ${user} s user + ${sys} s system," \
     "peak RSS ${rss} KiB, $reports data reports"
