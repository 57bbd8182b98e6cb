#!/usr/bin/env bash
# One monitoring run under valgrind memcheck: upsmon-host, headless, watches
# one unit served by upssim over Modbus TCP for a fixed time, then stops its
# collectors and exits. Fails on any memory error or definite leak.
#
#   scripts/valgrind-run.sh [BUILD_DIR [SECONDS]]     (default: build 20)
#
# The build directory must hold upsmon-host, the plugin, the driver and
# upssim (a normal, uninstrumented build).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
. "$root/scripts/simulator.sh"
build=$(cd "${1:-build}" && pwd)
seconds=${2:-20}
bin=$build/bin

for f in upsmon-host libvek5m_10-30k_Client.so libvek5m_10-30k.so upssim; do
  [ -e "$bin/$f" ] || { echo "valgrind-run: $bin/$f is not built" >&2; exit 1; }
done
command -v valgrind >/dev/null || { echo "valgrind-run: valgrind is not installed" >&2; exit 1; }

# The host reads its configuration beside the program and the collectors
# write relative to the working directory: give the run its own folder.
app=$build/valgrind-run
rm -rf "$app"
mkdir -p "$app/PVMX/drovaPanel/db"
cp "$bin/upsmon-host" "$bin/libvek5m_10-30k_Client.so" "$bin/libvek5m_10-30k.so" "$app/"

sim_log=$app/upssim.log
sim_pid=
trap '[ -z "$sim_pid" ] || { kill "$sim_pid" 2>/dev/null; wait "$sim_pid" 2>/dev/null; } || true' EXIT
start_simulator "$bin" "$sim_log" --scenario normal || exit 1

cat >"$app/PVMX/drovaPanel/db/param.ini" <<'INI'
Language=0

[host]
units=UPS1
logInterval=5
answerTimeout=60
INI
cat >"$app/PVMX/drovaPanel/db/dev.ini" <<INI
[UPS1]
commType=1
ipAddr=127.0.0.1
port=$port
addr=1
interval=1
retries=3
INI

cd "$app"
status=0
QT_QPA_PLATFORM=offscreen valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite \
    --show-leak-kinds=definite --error-exitcode=99 --num-callers=30 \
    --suppressions="$root/tests/valgrind.supp" --log-file="$app/memcheck.log" \
    ./upsmon-host --headless --datalog datalog.csv --duration "$seconds" >"$app/host.log" 2>&1 || status=$?
cat "$app/memcheck.log"
if [ "$status" = 99 ]; then
  echo "valgrind-run: memcheck found errors or definite leaks (see above)" >&2
  exit 1
fi
if [ "$status" != 0 ]; then
  tail -n 40 "$app/host.log"
  echo "valgrind-run: upsmon-host exited with $status" >&2
  exit 1
fi
# The unit must really have been polled, not only connected to.
if ! grep -q 'UPS1' "$app/datalog.csv" 2>/dev/null; then
  tail -n 40 "$app/host.log"
  echo "valgrind-run: no data was logged for UPS1" >&2
  exit 1
fi
echo "valgrind-run: no memory errors, no definite leaks; $(($(wc -l <"$app/datalog.csv") - 1)) data rows logged"
