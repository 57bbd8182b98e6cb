#!/usr/bin/env bash
# Soak: one upsmon-host --headless monitoring many simulated units over
# loopback Modbus TCP, at several sizes in one run, against a reference
# measured in the same run.
#
#   [INTERVAL=S] [WINDOW=S] [PER_SIM=N] [SHOW_DATA=1|0] [REFERENCE=1|0] [PEER=1|0] [BUILD=DIR] \
#       [POLL_MODE=interval|timer] bench/soak_units.sh UNITS...
#
# Defaults: pollMode=interval, interval 5 s, a 60 s measuring window, at most 200 units per
# simulator (an address stops at 247), --show-data on (each data report is a
# line: the cycles are counted from them), reference on, ./build. Without
# --show-data the cycles are counted from the bytes the host's sockets sent
# (ss: tcp_info bytes_sent), 48 per cycle (four Modbus TCP requests of 12 bytes;
# a --show-data run prints the bytes per report it saw).
#
# Reference (REFERENCE=1): the collector's own cycle (bench_client_cycle
# BM_CycleSteady, CPU, median of 5) and a full read over loopback TCP
# (bench_tcp_read, the driver's Query, median of 1000); the budget per
# unit-cycle is 3 x the cycle + 1 x the read.
#
# Peer (PEER=1): for each UNITS up to 247, first NUT's generic_modbus on the
# same units, interval and window (bench/nut_peer.sh); the host's CPU per
# unit-cycle is then also given as a ratio to the peer's CPU per poll.
#
# For each UNITS: starts ceil(UNITS / PER_SIM) upssim processes, gives the host
# one dev.ini group per unit (pollMode=interval, the NUT server and the web
# console on free ports, one --command to the first unit), starts it and checks:
#   start:   every unit communicating (1040) within 120 s;
#   command: the --command is "queued" and then "confirmed"; the time between
#            the two lines as they come out (the poller was asleep);
#   poll:    over the window (which starts one interval after the last unit
#            answered) the cycles per unit are 1 / interval (pollMode=interval), no losses
#            (1041), no STALE;
#   stop:    SIGTERM ends the host with status 0 within 3 s (host/README.md).
# and measures over the window, from /proc/PID: CPU of all threads
# (task/*/schedstat) per unit-cycle, voluntary context switches (task/*/status)
# per unit per second, VmHWM and threads. Exit status 1 if a check fails.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../scripts/simulator.sh"

poll_mode=${POLL_MODE:-interval}
interval=${INTERVAL:-5}
window=${WINDOW:-60}
per_sim=${PER_SIM:-200}
show_data=${SHOW_DATA:-1}
build=$(readlink -f "${BUILD:-build}")
bin=$build/bin
[ $# -ge 1 ] || { sed -n '2,/^set -e/p' "$0" | sed '$d; s/^# \{0,1\}//' >&2; exit 2; }
for n in "$@"; do
  [[ $n =~ ^[0-9]+$ ]] && [ "$n" -ge 1 ] && [ "$n" -le 5000 ] || { echo "soak: UNITS 1..5000, not $n" >&2; exit 2; }
done
[ "$per_sim" -ge 1 ] && [ "$per_sim" -le 247 ] || { echo "soak: PER_SIM 1..247" >&2; exit 2; }
for f in upsmon-host upssim libvek5m_10-30k_Client.so libvek5m_10-30k.so; do
  [ -e "$bin/$f" ] || { echo "soak: $bin/$f is not built" >&2; exit 2; }
done

work=$(mktemp -d /tmp/soak.XXXXXX)
sim_pids=()
stop_sims() {
  local p
  for p in "${sim_pids[@]}"; do kill "$p" 2>/dev/null || true; wait "$p" 2>/dev/null || true; done
  sim_pids=()
}
trap stop_sims EXIT

echo "soak: $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg), pollMode=$poll_mode, interval $interval s, window $window s, work dir $work"
ref_cycle_us=0
ref_read_us=0
if [ "${REFERENCE:-1}" = 1 ]; then
  for f in bench_client_cycle bench_tcp_read; do
    [ -x "$bin/$f" ] || { echo "soak: $bin/$f is not built (REFERENCE=0 skips it)" >&2; exit 2; }
  done
  ref_cycle_us=$("$bin/bench_client_cycle" --benchmark_filter='^BM_CycleSteady$' --benchmark_repetitions=5 \
    --benchmark_report_aggregates_only=true --benchmark_format=json 2>/dev/null | python3 -c '
import json, sys
for b in json.load(sys.stdin)["benchmarks"]:
    if b["name"].endswith("_median"):
        scale = {"ns": 1e-3, "us": 1.0, "ms": 1e3}[b["time_unit"]]
        print("%.1f" % (b["cpu_time"] * scale))')
  ref_read_us=$("$bin/bench_tcp_read" 1000 | sed -n 's/^ *driver Query: *\([0-9.]*\) us/\1/p')
  echo "reference: BM_CycleSteady $ref_cycle_us us (CPU, median of 5), full TCP read $ref_read_us us (median of 1000);" \
    "budget per unit-cycle 3 x $ref_cycle_us + $ref_read_us = $(python3 -c "print(f'{3 * $ref_cycle_us + $ref_read_us:.0f}')") us"
fi

status=0
for units in "$@"; do
  run=$work/u$units
  app=$run/app
  db=$app/PVMX/drovaPanel/db
  mkdir -p "$db"
  cp "$bin/upsmon-host" "$bin/libvek5m_10-30k_Client.so" "$bin/libvek5m_10-30k.so" "$app/"
  sims=$(( (units + per_sim - 1) / per_sim ))
  ports=()
  for s in $(seq 0 $((sims - 1))); do
    count=$(( units - s * per_sim < per_sim ? units - s * per_sim : per_sim ))
    start_simulator "$bin" "$run/sim$s.log" --units "$count" || exit 1
    sim_pids+=("$sim_pid")
    ports+=("$port")
  done
  names=$(seq -f 'U%04g' 1 "$units" | paste -sd, -)
  : >"$db/dev.ini"
  for i in $(seq 0 $((units - 1))); do
    printf '[U%04d]\ncommType=1\nipAddr=127.0.0.1\nport=%s\naddr=%d\ninterval=%d\nretries=3\n\n' \
      $((i + 1)) "${ports[$((i / per_sim))]}" $((i % per_sim + 1)) "$interval" >>"$db/dev.ini"
  done
  nut_port=$(free_port)
  web_port=$(free_port)
  printf 'Language=0\n\n[host]\nunits=%s\nlogInterval=60\nanswerTimeout=120\npollMode=%s\nmaxAge=%d\n[nut]\nlisten=127.0.0.1:%s\n[web]\nlisten=127.0.0.1:%s\n' \
    "$names" "$poll_mode" $((3 * interval + 15)) "$nut_port" "$web_port" >"$db/param.ini"
  args=(--headless --json --command U0001:beeper.disable)
  [ "$show_data" = 1 ] && args+=(--show-data)

  peer_us=0
  if [ "${PEER:-0}" = 1 ] && [ "$units" -le 247 ]; then
    echo "== $units units, NUT's generic_modbus"
    peer_out=$(INTERVAL=$interval WINDOW=$window BUILD=$build "$here/nut_peer.sh" "$units") || status=1
    echo "$peer_out"
    peer_us=$(sed -n 's/^RESULT peer_us_per_poll=\([0-9]*\).*/\1/p' <<<"$peer_out")
    peer_us=${peer_us:-0}
  fi
  echo "== $units units, $sims simulator(s)"
  set +e
  (cd "$app" && exec python3 - "$units" "$interval" "$window" "$show_data" "$ref_cycle_us" "$ref_read_us" \
      "$peer_us" "$run" "${ports[*]}" "$poll_mode" ./upsmon-host "${args[@]}") <<'PY'
import glob, json, os, signal, subprocess, sys, threading, time

units, interval, window, show_data = int(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3]), sys.argv[4] == "1"
ref_cycle, ref_read, peer = float(sys.argv[5]), float(sys.argv[6]), float(sys.argv[7])
run, sim_ports, poll_mode, cmd = sys.argv[8], set(sys.argv[9].split()), sys.argv[10], sys.argv[11:]
kBytesPerCycle = 48
failed = []

def check(ok, what):
    print(("ok    " if ok else "FAIL  ") + what)
    if not ok:
        failed.append(what)

lock = threading.Lock()
events = []            # (monotonic time the line came out, event)
err = open(os.path.join(run, "host.err"), "wb")
t_start = time.monotonic()
host = subprocess.Popen(cmd, stdout=subprocess.PIPE, stderr=err)
pid = host.pid

def reader():
    with open(os.path.join(run, "events.jsonl"), "wb") as out:
        for line in host.stdout:
            out.write(line)
            try:
                e = json.loads(line)
            except ValueError:
                continue
            with lock:
                events.append((time.monotonic(), e))
threading.Thread(target=reader, daemon=True).start()

def count(pred):
    with lock:
        return sum(1 for _, e in events if pred(e))

def wait_for(pred, timeout):
    end = time.monotonic() + timeout
    while time.monotonic() < end and host.poll() is None:
        if pred():
            return True
        time.sleep(0.05)
    return pred()

def sent_bytes():
    # The host's connections are those whose peer is a simulator.
    out = subprocess.run(["ss", "-tinH", "state", "established"], capture_output=True, text=True).stdout
    total = 0
    peer = None
    for line in out.splitlines():
        if not line.startswith(("\t", " ")):
            peer = line.split()[-1].rsplit(":", 1)[-1]
        elif peer in sim_ports:
            for field in line.split():
                if field.startswith("bytes_sent:"):
                    total += int(field.split(":")[1])
    return total

def sample():
    cpu_ns = vol = tasks = 0
    for task in glob.glob(f"/proc/{pid}/task/*"):
        try:
            cpu_ns += int(open(task + "/schedstat").read().split()[0])
            for line in open(task + "/status"):
                if line.startswith("voluntary_ctxt_switches"):
                    vol += int(line.split()[1])
            tasks += 1
        except (OSError, ValueError):
            pass
    status = dict(l.split(":", 1) for l in open(f"/proc/{pid}/status"))
    return time.monotonic(), cpu_ns, vol, tasks, int(status["VmHWM"].split()[0]), int(status["VmRSS"].split()[0])

is_report = lambda e: e.get("kind") in ("data", "state") and e.get("type") == 0
answered = wait_for(lambda: count(lambda e: e.get("type") == 1040) >= units, 120)
t_answered = time.monotonic() - t_start
check(answered, f"start: {count(lambda e: e.get('type') == 1040)} of {units} units communicating after {t_answered:.1f} s")

# The command: queued once U0001 answered, while its poller sleeps.
def command_times():
    with lock:
        got = {e["text"].split(":")[0].split(" ", 1)[1]: t for t, e in events
               if e.get("kind") == "command" and e.get("unit") == "U0001"}
    return got.get("queued"), got.get("confirmed")
wait_for(lambda: all(command_times()), 30)
queued, confirmed = command_times()
latency_ms = (confirmed - queued) * 1000 if queued and confirmed else -1
check(latency_ms >= 0, f"command: beeper.disable queued, confirmed {latency_ms:.0f} ms later")

# The window starts one interval after the last unit answered.
time.sleep(interval + 1)
reports0 = count(is_report)
bytes0 = sent_bytes()
t0, cpu0, vol0, _, _, _ = sample()
time.sleep(window)
reports1 = count(is_report)
bytes1 = sent_bytes()
t1, cpu1, vol1, tasks, hwm, rss = sample()
span = t1 - t0
cycles = reports1 - reports0 if show_data else (bytes1 - bytes0) / kBytesPerCycle
lost = count(lambda e: e.get("type") == 1041)
stale = count(lambda e: e.get("notify") == "STALE")
rate = cycles / units / span
cpu_s = (cpu1 - cpu0) / 1e9
per_cycle_us = cpu_s / cycles * 1e6 if cycles else float("inf")
ctx = (vol1 - vol0) / units / span
check(poll_mode != "interval" or abs(rate * interval - 1) < 0.1, f"poll: {cycles:.0f} cycles in {span:.1f} s "
      f"({'data reports' if show_data else 'bytes sent / 48'}), {rate * interval:.3f} per unit and interval; "
      f"{(bytes1 - bytes0) / max(cycles, 1):.1f} bytes sent per cycle")
check(lost == 0 and stale == 0, "poll: no loss, no STALE")

t_term = time.monotonic()
host.send_signal(signal.SIGTERM)
try:
    code = host.wait(timeout=30)
except subprocess.TimeoutExpired:
    host.kill()
    code = host.wait()
stop_s = time.monotonic() - t_term
check(code == 0 and stop_s < 3, f"stop: SIGTERM to exit {stop_s:.2f} s, exit status {code}")

budget = 3 * ref_cycle + ref_read
print(f"cpu: {cpu_s:.2f} s in {span:.1f} s = {100 * cpu_s / span:.2f} % of one core; "
      f"{per_cycle_us:.0f} us per unit-cycle" + (f" = {per_cycle_us / ref_cycle:.1f} x BM_CycleSteady, "
      f"{per_cycle_us / budget:.2f} x budget" if ref_cycle > 0 else ""))
if peer > 0:
    print(f"beside NUT's generic_modbus: {per_cycle_us:.0f} us per unit-cycle (817 points) against {peer:.0f} us "
          f"per poll (its two states): {per_cycle_us / peer:.2f} x")
print(f"context switches: {ctx:.3f} voluntary per unit per second; threads {tasks}; "
      f"VmHWM {hwm} kB ({hwm / 1024:.1f} MB), VmRSS {rss} kB")
print(f"RESULT units={units} cpu_pct={100 * cpu_s / span:.2f} us_per_cycle={per_cycle_us:.0f} "
      f"ratio_cycle={per_cycle_us / ref_cycle if ref_cycle else 0:.2f} ratio_budget={per_cycle_us / budget if budget else 0:.2f} "
      f"ctx_per_unit_s={ctx:.3f} threads={tasks} vmhwm_kb={hwm} start_s={t_answered:.1f} "
      f"command_ms={latency_ms:.0f} stop_s={stop_s:.2f} ratio_peer={per_cycle_us / peer if peer else 0:.2f}")
sys.exit(1 if failed else 0)
PY
  rc=$?
  set -e
  [ "$rc" = 0 ] || status=1
  stop_sims
done
exit "$status"
