# Sourced by the benchmarks that run a real upsmon-host against simulated units.
#
#   host_bench_setup NAME BUILD_DIR UNITS
#     Checks that the host, plugin, driver and simulator are built; makes a
#     work directory and in it a private application directory (the host reads
#     its configuration beside its own file, the collectors write to the
#     working directory); starts one upssim serving units 1..UNITS. Sets work,
#     app, db (where param.ini and dev.ini go), port, names (U01,U02,...),
#     sim_pid and host_pid (set it when the host starts); both processes are
#     stopped on exit.
#   write_units INTERVAL   dev.ini: one group per unit, at its own address
#   host_cpu_ticks         the host's CPU so far (utime + stime), in clock ticks
. "$(dirname "${BASH_SOURCE[0]}")/simulator.sh"

host_bench_setup() {
  local name=$1 build f
  build=$(readlink -f "$2")
  units=$3
  bin=$build/bin
  for f in upsmon-host upssim libvek5m_10-30k_Client.so libvek5m_10-30k.so; do
    [ -e "$bin/$f" ] || { echo "$name: $bin/$f is not built" >&2; exit 2; }
  done
  work=$(mktemp -d "/tmp/$name.XXXXXX")
  sim_pid=
  host_pid=
  trap host_bench_stop EXIT
  app=$work/app
  db=$app/PVMX/drovaPanel/db
  mkdir -p "$db"
  cp "$bin/upsmon-host" "$bin/libvek5m_10-30k_Client.so" "$bin/libvek5m_10-30k.so" "$app/"
  start_simulator "$bin" "$work/sim.log" --units "$units" || exit 1
  names=$(seq -f 'U%02g' 1 "$units" | paste -sd, -)
}

host_bench_stop() {
  local p
  for p in $host_pid $sim_pid; do
    kill "$p" 2>/dev/null || true
    wait "$p" 2>/dev/null || true
  done
}

write_units() {
  local interval=$1 i
  : >"$db/dev.ini"
  for i in $(seq 1 "$units"); do
    printf '[U%02d]\ncommType=1\nipAddr=127.0.0.1\nport=%s\naddr=%d\ninterval=%d\nretries=3\n\n' \
      "$i" "$port" "$i" "$interval" >>"$db/dev.ini"
  done
}

host_cpu_ticks() {
  local stat
  stat=$(cat "/proc/$host_pid/stat" 2>/dev/null) || return 1
  # After the command name's closing parenthesis utime and stime are the 12th and 13th fields.
  echo "${stat##*) }" | awk '{print $12 + $13}'
}
