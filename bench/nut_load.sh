#!/usr/bin/env bash
# Load on the NUT server: one upsmon-host --headless polling simulated units
# while many NUT clients stay connected and each lists all variables of a
# unit once a second.
#
#   bench/nut_load.sh [CLIENTS [SECONDS [UNITS [BUILD_DIR]]]]
#
# Defaults: 200 clients, 60 s, 8 units, ./build. Prints the host's CPU time
# and share over the load, its peak memory (VmHWM) before and after, and the
# reply times of LIST VAR (median, 99th percentile, longest), measured by the
# clients from the request's first byte to the list's last line.
set -euo pipefail
. "$(dirname "$0")/../scripts/host-bench.sh"

clients=${1:-200}
seconds=${2:-60}
units=${3:-8}
host_bench_setup nutload "${4:-build}" "$units"

nut_port=$(free_port)
printf '[host]\nunits=%s\n[nut]\nlisten=127.0.0.1:%s\nmaxClients=%d\n' "$names" "$nut_port" $((clients + 10)) >"$db/param.ini"
write_units 1

cd "$app"
./upsmon-host --headless >"$work/host.log" 2>&1 &
host_pid=$!
# Until every unit has data to list.
for _ in $(seq 60); do
  ready=$(python3 - "$nut_port" "$units" <<'PY' 2>/dev/null || true
import socket, sys
port, units = int(sys.argv[1]), int(sys.argv[2])
ok = 0
for i in range(1, units + 1):
    s = socket.create_connection(("127.0.0.1", port), timeout=2)
    s.sendall(b"GET VAR U%02d ups.status\n" % i)
    ok += s.recv(4096).startswith(b"VAR ")
    s.close()
print(ok)
PY
)
  [ "$ready" = "$units" ] && break
  sleep 1
done
[ "$ready" = "$units" ] || { echo "nut_load: the units did not all report" >&2; cat "$work/host.log" >&2; exit 1; }

hwm() { awk '/^VmHWM/ {print $2}' "/proc/$host_pid/status"; }
ticks=$(getconf CLK_TCK)
hwm_before=$(hwm)
cpu_before=$(host_cpu_ticks)
t_before=$(date +%s.%N)

python3 - "$nut_port" "$units" "$clients" "$seconds" <<'PY'
import asyncio, statistics, sys, time
port, units, clients, seconds = (int(a) for a in sys.argv[1:5])
times, errors = [], []

async def client(n):
    unit = "U%02d" % (n % units + 1)
    reader, writer = await asyncio.open_connection("127.0.0.1", port)
    end = ("END LIST VAR %s\n" % unit).encode()
    stop = time.monotonic() + seconds
    await asyncio.sleep(n / clients)          # spread the clients over the second
    while time.monotonic() < stop:
        started = time.monotonic()
        writer.write(("LIST VAR %s\n" % unit).encode())
        await writer.drain()
        while True:
            line = await reader.readline()
            if not line or line.startswith(b"ERR"):
                errors.append(line)
                break
            if line == end:
                break
        times.append(time.monotonic() - started)
        await asyncio.sleep(max(0, 1 - (time.monotonic() - started)))
    writer.write(b"LOGOUT\n")
    await writer.drain()
    writer.close()

async def main():
    await asyncio.gather(asyncio.sleep(seconds), *(client(n) for n in range(clients)))

asyncio.run(main())
times.sort()
print("requests %d, errors %d" % (len(times), len(errors)))
if times:
    print("LIST VAR reply: median %.1f ms, p99 %.1f ms, longest %.1f ms" % (
        statistics.median(times) * 1e3, times[int(len(times) * 0.99)] * 1e3, times[-1] * 1e3))
PY

cpu_after=$(host_cpu_ticks)
t_after=$(date +%s.%N)
awk -v c0="$cpu_before" -v c1="$cpu_after" -v t0="$t_before" -v t1="$t_after" -v hz="$ticks" \
  'BEGIN { s = (c1 - c0) / hz; printf "host CPU %.2f s in %.1f s (%.1f %% of one core)\n", s, t1 - t0, 100 * s / (t1 - t0) }'
echo "host peak memory (VmHWM): $hwm_before KiB before the clients, $(hwm) KiB after"
echo "units: $units polled every 1 s; clients: $clients; log: $work"
