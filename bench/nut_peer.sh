#!/usr/bin/env bash
# The peer: NUT's own Modbus driver (generic_modbus, Debian's nut-modbus)
# polling simulated units over loopback Modbus TCP, one driver process per
# unit as NUT runs them, plus upsd serving them.
#
#   [INTERVAL=S] [WINDOW=S] [BUILD=DIR] bench/nut_peer.sh UNITS
#
# Each driver reads two states (OL and OB, one input register each) every
# INTERVAL seconds (default 5) from its own unit of one upssim. After every
# driver has connected and one interval more, samples over WINDOW seconds
# (default 60) the CPU of all driver and upsd threads (task/*/schedstat) and
# the bytes the drivers' sockets sent (ss: tcp_info bytes_sent); polls are
# UNITS x WINDOW / INTERVAL, checked against the bytes (12 per request).
# Prints "RESULT peer_us_per_poll=... peer_pss_kib_per_unit=...".
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../scripts/simulator.sh"

interval=${INTERVAL:-5}
window=${WINDOW:-60}
bin=$(readlink -f "${BUILD:-build}")/bin
units=${1:?usage: bench/nut_peer.sh UNITS}
driver=/lib/nut/generic_modbus
upsd=/lib/nut/upsd     # the daemon itself: /sbin/upsd only runs it in the MODE of /etc/nut/nut.conf
[ -x "$driver" ] && [ -x "$upsd" ] || { echo "nut_peer: needs nut-modbus and nut-server" >&2; exit 2; }
[[ $units =~ ^[0-9]+$ ]] && [ "$units" -ge 1 ] && [ "$units" -le 247 ] || { echo "nut_peer: UNITS 1..247" >&2; exit 2; }

work=$(mktemp -d /tmp/nutpeer.XXXXXX)
pids=()
cleanup() {
  local p
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
}
trap cleanup EXIT

start_simulator "$bin" "$work/sim.log" --units "$units" || exit 1
pids+=("$sim_pid")
sim_port=$port
upsd_port=$(free_port)

export NUT_CONFPATH=$work NUT_STATEPATH=$work NUT_ALTPIDPATH=$work
printf 'LISTEN 127.0.0.1 %s\n' "$upsd_port" >"$work/upsd.conf"
: >"$work/upsd.users"
# The battery status register (input register 100) stands in for both
# contacts: the driver's cost is in its reads, not in what they mean.
for i in $(seq 1 "$units"); do
  printf '[u%d]\n driver = generic_modbus\n port = 127.0.0.1:%s\n rio_slave_id = %d\n pollinterval = %d\n' \
    "$i" "$sim_port" "$i" "$interval"
  printf ' OL_addr = 100\n OL_regtype = 2\n OB_addr = 101\n OB_regtype = 2\n\n'
done >"$work/ups.conf"
chmod 0640 "$work"/*.conf "$work/upsd.users"

# Started a little apart: a driver whose first connect times out gives up.
for i in $(seq 1 "$units"); do
  "$driver" -a "u$i" -F -u root >"$work/driver$i.log" 2>&1 &
  pids+=("$!")
  sleep 0.05
done
"$upsd" -F -u root >"$work/upsd.log" 2>&1 &
pids+=("$!")

python3 - "$units" "$interval" "$window" "$sim_port" "$upsd_port" "${pids[@]:1}" <<'PY'
import glob, subprocess, sys, time
units, interval, window, sim_port, upsd_port = map(int, sys.argv[1:6])
pids = [int(p) for p in sys.argv[6:]]

def driver_sockets():
    out = subprocess.run(["ss", "-tinH", "state", "established"], capture_output=True, text=True).stdout
    count = sent = 0
    peer = None
    for line in out.splitlines():
        if not line.startswith(("\t", " ")):
            peer = line.split()[-1].rsplit(":", 1)[-1]
        elif peer == str(sim_port):
            count += 1
            for f in line.split():
                if f.startswith("bytes_sent:"):
                    sent += int(f.split(":")[1])
    return count, sent

def cpu_ns():
    total = 0
    for pid in pids:
        for task in glob.glob(f"/proc/{pid}/task/*/schedstat"):
            try:
                total += int(open(task).read().split()[0])
            except (OSError, ValueError):
                pass
    return total

def pss_kib():
    total = 0
    for pid in pids:
        try:
            for line in open(f"/proc/{pid}/smaps_rollup"):
                if line.startswith("Pss:"):
                    total += int(line.split()[1])
        except OSError:
            pass
    return total

def upsd_units():
    out = subprocess.run(["upsc", "-l", f"127.0.0.1:{upsd_port}"], capture_output=True, text=True).stdout
    return len(out.split())

end = time.monotonic() + 60
while time.monotonic() < end and (driver_sockets()[0] < units or upsd_units() < units):
    time.sleep(0.2)
connected, served = driver_sockets()[0], upsd_units()
if connected < units or served < units:
    sys.exit(f"nut_peer: {connected} of {units} drivers connected, upsd lists {served}")
time.sleep(interval)
c0, (_, b0), t0 = cpu_ns(), driver_sockets(), time.monotonic()
time.sleep(window)
c1, (_, b1), t1 = cpu_ns(), driver_sockets(), time.monotonic()
polls = units * (t1 - t0) / interval
cpu = (c1 - c0) / 1e9
print(f"peer: {units} generic_modbus drivers + upsd, interval {interval} s: CPU {cpu:.2f} s in {t1 - t0:.1f} s "
      f"= {100 * cpu / (t1 - t0):.2f} % of one core; {(b1 - b0) / polls:.1f} bytes sent per poll; "
      f"PSS {pss_kib() / units:.0f} KiB per unit")
print(f"RESULT peer_us_per_poll={cpu * 1e6 / polls:.0f} peer_pss_kib_per_unit={pss_kib() / units:.0f}")
PY
