#!/usr/bin/env bash
# A fleet on one machine, watched by a real Prometheus: HOSTS upsmon-host
# processes of UNITS units each, every host with simulators of its own on
# loopback, one Prometheus scraping all hosts with docs/alerts.yml. When every
# unit reports, the mains of one unit fail through its simulator's control
# socket; the run measures how long until UpsOnBattery fires for that unit,
# checks it fires for no other, and reports Prometheus's own CPU and memory.
#
#   [HOSTS=4] [UNITS=250] [INTERVAL=5] [SCRAPE=5] [SETTLE=120] bench/fleet.sh [BUILD_DIR]
#
# A simulator serves at most 125 units (addresses stop at 247), so a host of
# 250 units reads two. SETTLE is how long Prometheus scrapes the steady fleet
# before its CPU and memory are read. Exit 0 when the alert fired for the right
# unit only, within the rule's `for` + two scrape intervals of the flag's first
# scrape; 1 otherwise; 2 when something is missing.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=$(readlink -f "${1:-$src/build}")
bin=$build/bin
. "$src/scripts/simulator.sh"

hosts=${HOSTS:-4} units=${UNITS:-250} interval=${INTERVAL:-5} scrape=${SCRAPE:-5} settle=${SETTLE:-120}
per_sim=125
for f in upsmon-host upssim libvek5m_10-30k_Client.so libvek5m_10-30k.so; do
  [ -e "$bin/$f" ] || { echo "fleet: $bin/$f is not built" >&2; exit 2; }
done
command -v prometheus >/dev/null || { echo "fleet: prometheus is not installed" >&2; exit 2; }
for_secs=$(sed -n '/alert: UpsOnBattery/,/for:/s/.*for: *\([0-9]*\)s.*/\1/p' "$src/docs/alerts.yml")
[ -n "$for_secs" ] || { echo "fleet: no 'for' of UpsOnBattery in docs/alerts.yml" >&2; exit 2; }

work=$(mktemp -d /tmp/fleet.XXXXXX)
pids=()
stop_all() {
  local p
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  for p in "${pids[@]}"; do wait "$p" 2>/dev/null || true; done
}
trap stop_all EXIT
wait_for() {   # SECONDS COMMAND...: polls until the command succeeds
  local limit=$1; shift
  for _ in $(seq $((limit * 2))); do "$@" && return 0; sleep 0.5; done; return 1
}
cpu_ticks() { local s; s=$(cat "/proc/$1/stat") && echo "${s##*) }" | awk '{print $12 + $13}'; }

# Hosts: s<H>u<NNN> are host H's units; sim_<H>_<S> serves a slice of them.
targets=()
for h in $(seq 1 "$hosts"); do
  app=$work/host$h db=$work/host$h/PVMX/drovaPanel/db
  mkdir -p "$db"
  cp "$bin/upsmon-host" "$bin/libvek5m_10-30k_Client.so" "$bin/libvek5m_10-30k.so" "$app/"
  : >"$db/dev.ini"
  names=()
  for s in $(seq 0 $(((units - 1) / per_sim))); do
    first=$((s * per_sim + 1)) count=$((units - s * per_sim))
    [ "$count" -le "$per_sim" ] || count=$per_sim
    start_simulator "$bin" "$work/sim_${h}_$s.log" --units "$count" --control "$work/sim_${h}_$s.sock" || exit 1
    pids+=("$sim_pid")
    for a in $(seq 1 "$count"); do
      name=$(printf 's%du%03d' "$h" $((first + a - 1)))
      names+=("$name")
      printf '[%s]\ncommType=1\nipAddr=127.0.0.1\nport=%s\naddr=%d\ninterval=%d\nretries=3\n\n' \
        "$name" "$port" "$a" "$interval" >>"$db/dev.ini"
    done
  done
  printf 'Language=0\n\n[host]\nunits=%s\nanswerTimeout=60\npollMode=interval\nmaxAge=%d\n\n[metrics]\nlisten=127.0.0.1:0\n' \
    "$(IFS=,; echo "${names[*]}")" $((3 * interval + 15)) >"$db/param.ini"
  (cd "$app" && exec ./upsmon-host --headless --nut-listen off) >"$work/host$h.log" 2>&1 &
  pids+=("$!")
  eval "host_pid_$h=$!"
done
for h in $(seq 1 "$hosts"); do
  address() { sed -n 's|.*metrics on http://\([0-9.:]*\)/metrics.*|\1|p' "$work/host$h.log" | head -1; }
  serving() { [ -n "$(address)" ]; }
  wait_for 60 serving || { echo "fleet: host $h serves no metrics"; tail "$work/host$h.log"; exit 1; }
  targets+=("\"$(address)\"")
done

prom_port=$(free_port)
cat >"$work/prometheus.yml" <<YML
global: {scrape_interval: ${scrape}s, evaluation_interval: ${scrape}s}
rule_files: ["$src/docs/alerts.yml"]
scrape_configs:
  - job_name: upsmon
    static_configs: [{targets: [$(IFS=,; echo "${targets[*]}")]}]
YML
prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/data" \
  --web.listen-address="127.0.0.1:$prom_port" >"$work/prometheus.log" 2>&1 &
prom_pid=$!
pids+=("$prom_pid")
query() {   # QUERY: prints the result vector as "labels value" lines
  curl -sfG "http://127.0.0.1:$prom_port/api/v1/query" --data-urlencode "query=$1" 2>/dev/null | python3 -c '
import json, sys
try:
    result = json.load(sys.stdin)["data"]["result"]
except ValueError:
    sys.exit(1)
for r in result:
    print(r["metric"].get("unit", ""), r["value"][1])'
}
total=$((hosts * units))
reporting() { [ "$(query 'count(ups_comm_state{state="ok"} == 1)' | awk '{print $NF}')" = "$total" ]; }
started=$SECONDS
wait_for 600 reporting || { echo "fleet: not all $total units report: $(query 'count(ups_comm_state{state="ok"} == 1)')"; exit 1; }
echo "fleet: $hosts hosts x $units units = $total units at interval $interval s, all reporting after $((SECONDS - started)) s"

# Prometheus steady: CPU over SETTLE seconds, memory at the end.
ticks=$(getconf CLK_TCK)
c0=$(cpu_ticks "$prom_pid") t0=$(date +%s.%N)
declare -A h0
for h in $(seq 1 "$hosts"); do eval "p=\$host_pid_$h"; h0[$h]=$(cpu_ticks "$p"); done
sleep "$settle"
c1=$(cpu_ticks "$prom_pid") t1=$(date +%s.%N)
series=$(query 'count({__name__=~".+"})' | awk '{print $NF}')
awk -v c0="$c0" -v c1="$c1" -v t0="$t0" -v t1="$t1" -v k="$ticks" -v s="$series" \
  'BEGIN { printf "prometheus: %.2f %% of one core over %.0f s, %s series\n", 100 * (c1 - c0) / k / (t1 - t0), t1 - t0, s }'
grep -E '^(VmRSS|VmHWM)' "/proc/$prom_pid/status" | tr -s ' \t' ' ' | sed 's/^/prometheus: /'
for h in $(seq 1 "$hosts"); do
  eval "p=\$host_pid_$h"
  awk -v c0="${h0[$h]}" -v c1="$(cpu_ticks "$p")" -v t0="$t0" -v t1="$(date +%s.%N)" -v k="$ticks" -v h="$h" \
    -v m="$(awk '/^VmHWM/ {print $2}' "/proc/$p/status")" \
    'BEGIN { printf "host %d: %.2f %% of one core, VmHWM %d kB\n", h, 100 * (c1 - c0) / k / (t1 - t0), m }'
done

# Mains fail on one unit in the middle of the fleet.
victim_host=$(((hosts + 1) / 2)) victim_addr=$(((units < per_sim ? units : per_sim) / 2))
victim=$(printf 's%du%03d' "$victim_host" "$victim_addr")
answer=$(python3 - "$work/sim_${victim_host}_0.sock" "$victim_addr" <<'PY'
import socket, sys
s = socket.socket(socket.AF_UNIX); s.connect(sys.argv[1])
s.sendall(f"mains {sys.argv[2]} off\n".encode()); print(s.recv(200).decode().strip())
PY
)
[ "${answer%% *}" = OK ] || { echo "fleet: simulator refused: $answer"; exit 1; }
failed=$(date +%s.%N)
flag_at= fire_at=
while [ -z "$fire_at" ] && awk -v f="$failed" -v n="$(date +%s.%N)" 'BEGIN { exit !(n - f < 300) }'; do
  now=$(date +%s.%N)
  [ -n "$flag_at" ] || { [ -n "$(query "ups_status{unit=\"$victim\",flag=\"OB\"} == 1")" ] && flag_at=$now; }
  [ -n "$(query "ALERTS{alertname=\"UpsOnBattery\",alertstate=\"firing\",unit=\"$victim\"}")" ] && fire_at=$now
  sleep 0.25
done
[ -n "$fire_at" ] || { echo "fleet: UpsOnBattery never fired for $victim"; exit 1; }
sleep $((2 * scrape))
firing=$(query 'ALERTS{alertname="UpsOnBattery"}' | awk '{print $1}' | sort -u | paste -sd' ')
awk -v f="$failed" -v s="$flag_at" -v a="$fire_at" -v v="$victim" -v w="$for_secs" -v sc="$scrape" 'BEGIN {
  printf "alert: mains off on %s; on-battery flag in Prometheus after %.1f s, UpsOnBattery firing after %.1f s (%.1f s after the flag; bound: for %d s + 2 x %d s scrape = %d s)\n",
         v, s - f, a - f, a - s, w, sc, w + 2 * sc }'
echo "alert: UpsOnBattery for: ${firing:-none}"
ok=1
[ "$firing" = "$victim" ] || { echo "fleet: FAIL: the alert fired for other units"; ok=0; }
awk -v s="$flag_at" -v a="$fire_at" -v w="$for_secs" -v sc="$scrape" 'BEGIN { exit !(a - s <= w + 2 * sc) }' \
  || { echo "fleet: FAIL: the alert came later than its bound"; ok=0; }
[ "$ok" = 1 ] && echo "fleet: PASS" || exit 1
