#!/usr/bin/env bash
# The web console in Chromium through playwright-core (console.mjs), the host polling simulated units.
#   run.sh BIN_DIR SOURCE_DIR [NODE_DIR (playwright-core's)]; exit 77: no browser.
# SCRIPT=FILE another node script (shots.mjs, bench/web_clients.mjs), UNITS=N (2), MAX_CLIENTS=N (16).
set -euo pipefail
bin=$(readlink -f "$1") src=$(readlink -f "$2") here=$(dirname "$(readlink -f "$0")")
modules=$(readlink -f "${3:-$bin/../tests/web/browser}")
. "$src/scripts/simulator.sh"
for f in upsmon-host upssim libvek5m_10-30k_Client.so libvek5m_10-30k.so; do
  [ -e "$bin/$f" ] || { echo "SKIP: $f not built"; exit 77; }
done
chrome=${CHROMIUM:-$(command -v chromium || true)}
[ -x "$chrome" ] && command -v node >/dev/null && command -v npm >/dev/null \
  || { echo "SKIP: needs chromium, node and npm (scripts/install-deps.sh test)"; exit 77; }

# playwright-core into the build tree, from the lock file; nothing is fetched once it is there.
mkdir -p "$modules"
cp "$here/package.json" "$here/package-lock.json" "$modules/"
if ! cmp -s "$here/package-lock.json" "$modules/node_modules/.package-lock.json.installed" 2>/dev/null; then
  npm ci --prefix "$modules" --prefer-offline --no-audit --no-fund --ignore-scripts >"$modules/npm.log" 2>&1 \
    || { cat "$modules/npm.log"; echo "SKIP: playwright-core cannot be installed (offline?)"; exit 77; }
  cp "$here/package-lock.json" "$modules/node_modules/.package-lock.json.installed"
fi

work=$(mktemp -d /tmp/web-browser.XXXXXX)
trap 'set +e; [ -n "${host_pid:-}" ] && kill "$host_pid" && wait "$host_pid"; [ -n "${sim_pid:-}" ] && kill "$sim_pid" && wait "$sim_pid"; rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; tail -n 30 "$work/host.log" "$work/sim.log"; exit 1; }

app=$work/app db=$work/app/PVMX/drovaPanel/db && mkdir -p "$db"
cp "$bin/upsmon-host" "$bin/libvek5m_10-30k_Client.so" "$bin/libvek5m_10-30k.so" "$app/"
units=${UNITS:-2}
: >"$work/sim.log" && : >"$work/host.log"   # there before the background programs open them
start_simulator "$bin" "$work/sim.log" --units "$units" --control "$work/sim.sock" || fail "no simulator"
names=$(seq -s, -f 'UPS%g' "$units")
printf '[host]\nunits=%s\n[nut]\nlisten=off\n[web]\nlisten=127.0.0.1:0\nmaxClients=%s\n' "$names" "${MAX_CLIENTS:-16}" >"$db/param.ini"
for i in $(seq "$units"); do
  printf '[UPS%s]\ncommType=1\nipAddr=127.0.0.1\nport=%s\naddr=%s\ninterval=1\nretries=3\n' "$i" "$port" "$i"
done >"$db/dev.ini"
(umask 077 && printf '[admin]\n password = adminpw\n instcmds = ALL\n actions = SET\n' >"$db/upsd.users")
(cd "$app" && exec ./upsmon-host --headless) >"$work/host.log" 2>&1 &
host_pid=$!
for _ in $(seq 300); do
  url=$(sed -n 's|.*web console on \(http://[0-9.:]*/\).*|\1|p' "$work/host.log")
  [ -n "$url" ] && break
  kill -0 "$host_pid" 2>/dev/null || fail "the host stopped"
  sleep 0.1
done
[ -n "$url" ] || fail "no web console"

export CONSOLE_URL=$url CONTROL=$work/sim.sock CHROMIUM=$chrome HOST_LOG=$work/host.log HOST_PID=$host_pid
export MODULES=$modules
cd "$here" && node "${SCRIPT:-console.mjs}" || fail "the browser's checks"
