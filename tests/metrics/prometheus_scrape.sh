#!/usr/bin/env bash
# upsmon-host's /metrics scraped by a real Prometheus while the simulator's mains fail, and checked by
# promtool. Exit 77: something is missing.
set -euo pipefail
bin=$(readlink -f "$1") src=$(readlink -f "$2")
. "$src/scripts/simulator.sh"
for f in upsmon-host upssim libvek5m_10-30k_Client.so libvek5m_10-30k.so; do [ -e "$bin/$f" ] || exit 77; done
command -v prometheus >/dev/null && command -v promtool >/dev/null || { echo "no Prometheus"; exit 77; }

work=$(mktemp -d /tmp/metrics-prometheus.XXXXXX)
pids=()
trap 'set +e; for p in "${pids[@]}" ${sim_pid:-}; do kill "$p" 2>/dev/null; wait "$p" 2>/dev/null; done; rm -rf "$work"' EXIT
trap 'echo "FAIL: line $LINENO: $BASH_COMMAND"' ERR
fail() { echo "FAIL: $*"; for f in "$work"/*.log; do echo "== $f"; tail -n 20 "$f"; done; exit 1; }
wait_for() {   # SECONDS COMMAND...: polls until the command succeeds
  local limit=$1; shift
  for _ in $(seq $((limit * 2))); do "$@" && return 0; sleep 0.5; done; return 1
}

app=$work/app db=$work/app/PVMX/drovaPanel/db && mkdir -p "$db"
cp "$bin/upsmon-host" "$bin/libvek5m_10-30k_Client.so" "$bin/libvek5m_10-30k.so" "$app/"
start_simulator "$bin" "$work/sim.log" --scenario "$src/simulator/scenarios/mains-failure.scn" || fail "no simulator"
printf '[host]\nunits=UPS1\n\n[metrics]\nlisten=127.0.0.1:0\n' >"$db/param.ini"
printf '[UPS1]\ncommType=1\nipAddr=127.0.0.1\nport=%s\naddr=1\ninterval=1\nretries=3\n' "$port" >"$db/dev.ini"
(cd "$app" && exec ./upsmon-host --headless --command UPS1:beeper.disable) >"$work/host.log" 2>&1 &
pids+=("$!")
metrics_address() { metrics=$(sed -n 's|.*metrics on http://\([0-9.:]*\)/metrics.*|\1|p' "$work/host.log") && [ -n "$metrics" ]; }
wait_for 30 metrics_address || fail "the host does not serve metrics"

prom_port=$(free_port)
cat >"$work/prometheus.yml" <<YML
global: {scrape_interval: 1s, evaluation_interval: 1s}
rule_files: ["$src/docs/alerts.yml"]
scrape_configs:
  - job_name: upsmon
    static_configs: [{targets: ["$metrics"]}]
YML
prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/data" \
  --web.listen-address="127.0.0.1:$prom_port" >"$work/prometheus.log" 2>&1 &
pids+=("$!")
has() {   # QUERY: true when Prometheus has a result for it
  curl -sfG "http://127.0.0.1:$prom_port/api/v1/query" --data-urlencode "query=$1" \
    | python3 -c 'import json, sys; sys.exit(not json.load(sys.stdin)["data"]["result"])' 2>/dev/null
}

wait_for 60 has 'ups_input_volts{unit="UPS1",phase="L1-N"} > 100' || fail "no input voltage of UPS1"
wait_for 90 has 'ups_status{unit="UPS1",flag="OB"} == 1' || fail "UPS1 never on battery"
has 'min_over_time(ups_status{unit="UPS1",flag="OB"}[10m]) == 0' || fail "UPS1 was on battery from the start"
wait_for 90 has 'ALERTS{alertname="UpsOnBattery",alertstate="firing",unit="UPS1"}' || fail "no on-battery alert"
wait_for 30 has 'ups_commands_total{unit="UPS1",command="beeper.disable",outcome="confirmed"} == 1' \
  || fail "no confirmed command counted"
curl -sf "http://$metrics/metrics" >"$work/scrape.txt" || fail "no scrape"
promtool check metrics <"$work/scrape.txt" || fail "promtool check metrics"
echo "PASS"
