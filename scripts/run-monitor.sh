#!/usr/bin/env bash
# Builds the project and runs the reference host against a simulated UPS.
#
#   scripts/run-monitor.sh [upsmon-host options...]
#
# The first run writes a configuration for one simulated unit, UPS1, under
# build/bin/PVMX/drovaPanel/db/. Every unit whose dev.ini group has
# "simulator=1" is served by build/bin/upssim, started here on a free port of
# 127.0.0.1 (its "port" key is rewritten to that port) and stopped on exit.
#
# To watch a real unit instead, edit its group in dev.ini: set simulator=0 and
# give its address, e.g. for Modbus TCP
#     commType=1  ipAddr=192.168.1.50  port=502  addr=1
# or for a serial line
#     commType=0  portName=/dev/ttyUSB0  addr=1
# (more units: list them in param.ini [host] units=UPS1,UPS2).
#
# Window mode when $DISPLAY is set, console mode otherwise. Environment:
# SIM_SCENARIO picks the simulator's scenario (default normal).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
. "$root/scripts/simulator.sh"

scripts/install-deps.sh run
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target upsmon-host vek5m_10-30k_Client vek5driver upssim

bin=$root/build/bin
db=$bin/PVMX/drovaPanel/db
mkdir -p "$db"
if [ ! -e "$db/param.ini" ] && [ ! -e "$db/dev.ini" ]; then
  echo "Writing a configuration for one simulated unit to $db"
  cat >"$db/param.ini" <<'INI'
Language=0

[host]
units=UPS1
logInterval=10
answerTimeout=30
INI
  cat >"$db/dev.ini" <<'INI'
[UPS1]
simulator=1
commType=1
ipAddr=127.0.0.1
port=1502
addr=1
interval=2
retries=3
INI
fi

# Prints "name addr" for every group of dev.ini with simulator=1.
simulated_units() {
  awk -F= '
    /^\[.*\]$/ { unit = substr($0, 2, length($0) - 2); next }
    { gsub(/[ \t\r]/, "", $1); gsub(/[ \t\r]/, "", $2) }
    $1 == "simulator" { sim[unit] = $2 }
    $1 == "addr" { addr[unit] = $2 }
    END { for (u in sim) if (sim[u] == "1") print u, (u in addr ? addr[u] : 1) }
  ' "$db/dev.ini"
}

# Sets key=value inside group [unit] of dev.ini.
set_key() {
  local unit=$1 key=$2 value=$3 tmp
  tmp=$(mktemp)
  awk -v unit="$unit" -v key="$key" -v value="$value" -F= '
    /^\[.*\]$/ { if (ingroup && !done) { print key "=" value; done = 1 }
                 ingroup = ($0 == "[" unit "]"); print; next }
    { k = $1; gsub(/[ \t]/, "", k) }
    ingroup && k == key { if (!done) print key "=" value; done = 1; next }
    { print }
    END { if (ingroup && !done) print key "=" value }
  ' "$db/dev.ini" >"$tmp"
  cat "$tmp" >"$db/dev.ini"
  rm -f "$tmp"
}

sim_pid=
sim_log=$(mktemp)
cleanup() {
  if [ -n "$sim_pid" ]; then
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -f "$sim_log"
}
trap cleanup EXIT

units=$(simulated_units)
if [ -n "$units" ]; then
  count=$(echo "$units" | awk 'BEGIN { m = 1 } $2 > m { m = $2 } END { print m }')
  start_simulator "$bin" "$sim_log" --units "$count" --scenario "${SIM_SCENARIO:-normal}" || exit 1
  echo "Simulated UPS on 127.0.0.1:$port (units 1-$count)"
  while read -r unit _; do
    set_key "$unit" port "$port"
    set_key "$unit" ipAddr 127.0.0.1
    set_key "$unit" commType 1
  done <<<"$units"
fi

mode=()
[ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && mode=(--headless)
# The collectors read the history code map relative to the working directory.
cd "$bin"
set +e
./upsmon-host "${mode[@]}" --datalog "$bin/datalog.csv" "$@"
status=$?
set -e
exit $status
