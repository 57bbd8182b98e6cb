#!/usr/bin/env bash
# Shows that the Debian package installs a service that starts as shipped:
# builds the .deb with cpack, runs lintian, installs it with dpkg, runs the
# unit's ExecStartPre and ExecStart command lines (read from the installed
# unit) as the unit's user and groups with the package's files alone, the
# state directory made the way systemd makes it, and the package's upssim for
# it to watch; asks the host's NUT server with upsc, stops what it started,
# removes the package and checks that nothing of it is left running or
# installed except its conffiles; purges it at the end.
#
# It installs into this machine: run it as root on a test machine without a
# running systemd (with one, the package would start the service itself).
#
#   bash scripts/package-check.sh [BUILD_DIR]      (default: build)
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2

build=${1:-build}
package=vek5m-10-30k
unit_name=upsmon-host.service
sim_port=1502        # the shipped dev.ini's unit
nut_port=3493        # the shipped param.ini's [nut] listen
failures=0
host_pid=""
sim_pid=""
installed=""
users_file=""
work=$(mktemp -d)

pass() { echo "PASS: $*"; }
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# A step the rest depends on: give up when it failed.
require() { [ "$failures" -eq 0 ] || finish; }
indent() { sed 's/^/    /'; }

stop_pid() {    # SIGTERM, then SIGKILL after 20 s; only processes this script started
  local pid=$1
  [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null || return 0
  kill -TERM "$pid"
  for _ in $(seq 200); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  kill -0 "$pid" 2>/dev/null && kill -KILL "$pid"
  wait "$pid" 2>/dev/null
  return 0
}

finish() {
  stop_pid "$host_pid"
  stop_pid "$sim_pid"
  if [ -n "$installed" ]; then    # given up half-way: leave the machine as found
    rm -f "$users_file"
    dpkg --purge "$package" >/dev/null 2>&1
  fi
  rm -rf "$work"
  if [ "$failures" -eq 0 ]; then echo "package check: PASS"; exit 0; fi
  echo "package check: FAIL ($failures steps)"; exit 1
}
trap 'fail "interrupted"; finish' INT TERM

listening() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

wait_for() {    # SECONDS COMMAND...: until the command succeeds
  local deadline=$((SECONDS + $1)); shift
  until "$@"; do
    [ "$SECONDS" -lt "$deadline" ] || return 1
    sleep 0.5
  done
}

unit_value() { sed -n "s/^$1=//p" "$unit"; }

[ "$(id -u)" -eq 0 ] || { echo "run as root: dpkg installs the package"; exit 2; }
bash scripts/install-deps.sh package >/dev/null || { echo "installing the tools failed"; exit 2; }
if dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qv '^not-installed$'; then
  echo "$package is already on this machine; remove it first (dpkg --purge $package)"; exit 2
fi
for port in $sim_port $nut_port; do
  listening "$port" && { echo "127.0.0.1:$port is taken; the shipped configuration needs it"; exit 2; }
done

# 1. The package.
[ -f "$build/CMakeCache.txt" ] || cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >"$work/cmake.log"
# cpack builds every target first; two jobs at a time here rather than one.
if cmake --build "$build" -j2 >"$work/build.log" 2>&1 && (cd "$build" && cpack -G DEB) >"$work/cpack.log" 2>&1; then
  deb=$(ls -t "$build/${package}"_*.deb | head -n 1)
  pass "cpack built $deb (configured prefix $(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt"))"
else
  tail -n 20 "$work/build.log" "$work/cpack.log" | indent
  fail "building the package"
fi
require

lintian "$deb" >"$work/lintian.log" 2>&1
indent <"$work/lintian.log"
errors=$(grep -c '^E: ' "$work/lintian.log")
warnings=$(grep -c '^W: ' "$work/lintian.log")
[ "$errors" -eq 0 ] && pass "lintian: no errors ($warnings warnings)" || fail "lintian: $errors errors"

# 2. Installed.
installed=yes
if dpkg -i "$deb" >"$work/dpkg-i.log" 2>&1; then pass "dpkg -i"; else indent <"$work/dpkg-i.log"; fail "dpkg -i"; fi
require
mapfile -t files < <(dpkg -L "$package")
mapfile -t conffiles < <(dpkg-query -W -f='${Conffiles}\n' "$package" | awk 'NF { print $1 }')
unit=$(printf '%s\n' "${files[@]}" | grep "/systemd/system/$unit_name\$")
[ -n "$unit" ] && pass "unit $unit" || fail "the package ships no $unit_name"
require

user=$(unit_value User)
group=$(unit_value Group)
groups=$(unit_value SupplementaryGroups | tr ' ' ',')
state=/var/lib/$(unit_value StateDirectory)
mapfile -t unit_env < <(unit_value Environment)
strip() { sed 's/^[-@:+!]*//'; }    # systemd's Exec prefixes
read -ra start_pre <<<"$(unit_value ExecStartPre | strip)"
read -ra start <<<"$(unit_value ExecStart | strip)"
for key in ExecStartPre ExecStart; do
  [ "$key" = ExecStart ] && program=${start[0]} || program=${start_pre[0]}
  if dpkg -S "$program" >/dev/null 2>&1 && [ -x "$program" ]; then
    pass "$key program $program is shipped by the package"
  else
    fail "$key program $program is not a program of the package"
  fi
done
wants=/etc/systemd/system/$(unit_value WantedBy).wants/$unit_name
[ -L "$wants" ] && pass "enabled by postinst: $wants" || fail "$unit_name not enabled ($wants missing)"
getent passwd "$user" >/dev/null && getent group "$group" >/dev/null \
  && pass "user $user and group $group exist" || fail "user $user / group $group missing"
require

# The NUT users file as host/README.md has the operator make it.
confdir=$(dirname "$(printf '%s\n' "${conffiles[@]}" | grep '/param.ini$')")
users_file=$confdir/upsd.users
install -m 640 -g "$group" /dev/null "$users_file"
printf '[check]\n    password = check-only\n    instcmds = ALL\n' >"$users_file"
echo "    $(ls -l "$users_file")"

# As systemd makes StateDirectory= for User=/Group=.
install -d -m 0755 -o "$user" -g "$group" "$state"
home=$(getent passwd "$user" | cut -d: -f6)
# The unit's user, groups and environment, from /, as systemd runs it; a
# simple command, so that $! of a background run is the program itself.
as_unit=(env -i -C / PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
         HOME="$home" USER="$user" LOGNAME="$user" "${unit_env[@]}"
         setpriv --reuid="$user" --regid="$group" --groups="${groups:-$group}" --)

# 3. Started as the unit starts it.
if "${as_unit[@]}" "${start_pre[@]}" >"$work/pre.log" 2>&1; then
  pass "ExecStartPre as $user: $(tail -n 1 "$work/pre.log")"
else
  indent <"$work/pre.log"; fail "ExecStartPre as $user"
fi

"$(dirname "${start[0]}")/upssim" >"$work/upssim.log" 2>&1 &
sim_pid=$!
wait_for 30 listening "$sim_port" && pass "upssim of the package serves 127.0.0.1:$sim_port" \
  || { indent <"$work/upssim.log"; fail "upssim did not listen on $sim_port"; }

"${as_unit[@]}" "${start[@]}" >"$work/host.log" 2>&1 &
host_pid=$!
status() { kill -0 "$host_pid" 2>/dev/null && upsc UPS1@127.0.0.1 ups.status >"$work/upsc.log" 2>"$work/upsc.err"; }
if wait_for 90 status; then
  pass "upsc UPS1@127.0.0.1 ups.status: $(cat "$work/upsc.log")"
  upsc UPS1@127.0.0.1 2>/dev/null | grep -E '^(battery.charge|input.L1-N.voltage|ups.load):' | indent
else
  indent <"$work/upsc.err"; tail -n 20 "$work/host.log" | indent
  fail "upsc UPS1@127.0.0.1 had no answer from the host in 90 s"
fi
owner=$(ps -o user= -p "$host_pid" 2>/dev/null)
[ "$owner" = "$user" ] && pass "the host runs as $owner" || fail "the host runs as '${owner:-nobody, it ended}'"

stop_pid "$host_pid"; host_pid=""
stop_pid "$sim_pid"; sim_pid=""
rm -f "$users_file"

# 4. Removed.
if dpkg -r "$package" >"$work/dpkg-r.log" 2>&1; then pass "dpkg -r"; else indent <"$work/dpkg-r.log"; fail "dpkg -r"; fi
left=()
for exe in /proc/[0-9]*/exe; do
  target=$(readlink "$exe" 2>/dev/null) || continue
  printf '%s\n' "${files[@]}" | grep -qxF "${target% (deleted)}" && left+=("${exe//[^0-9]/}:$target")
done
pgrep -u "$user" >/dev/null && left+=("processes of $user: $(pgrep -u "$user" | tr '\n' ' ')")
[ "${#left[@]}" -eq 0 ] && pass "no process of the package is left" || fail "left running: ${left[*]}"

kept=()
for f in "${files[@]}"; do
  [ -d "$f" ] && [ ! -L "$f" ] && continue          # shared directories
  [ -e "$f" ] || [ -L "$f" ] || continue
  printf '%s\n' "${conffiles[@]}" | grep -qxF "$f" || kept+=("$f")
done
removed_status=$(dpkg-query -W -f='${db:Status-Status}' "$package")
[ "${#kept[@]}" -eq 0 ] && [ "$removed_status" = config-files ] \
  && pass "only the conffiles are left ($removed_status: ${conffiles[*]})" \
  || fail "left installed ($removed_status): ${kept[*]}"

# 5. Purged: the conffiles and the service's state go too.
installed=""
if dpkg --purge "$package" >"$work/dpkg-purge.log" 2>&1 && [ ! -e "$confdir" ] && [ ! -e "$state" ] && [ ! -L "$wants" ]; then
  pass "dpkg --purge removes $confdir, $state and the unit's enablement (the system user $user stays)"
else
  indent <"$work/dpkg-purge.log"; fail "dpkg --purge left $(ls -d "$confdir" "$state" "$wants" 2>/dev/null | tr '\n' ' ')"
fi
finish
