# Sourced by the scripts that run the simulator.
#
#   free_port
#
# Prints a loopback TCP port that is free now.
free_port() { python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
#
#   start_simulator BIN_DIR LOG [upssim options...]
#
# Starts BIN_DIR/upssim on a free port of 127.0.0.1 with its output in LOG,
# sets sim_pid and port, and fails with that output when it does not come up.
start_simulator() {
  local bin=$1 log=$2
  shift 2
  "$bin/upssim" --tcp 127.0.0.1:0 "$@" >"$log" 2>&1 &
  sim_pid=$!
  port=
  # Up to 30 s: on a loaded machine the first start of a sanitizer build is slow.
  for _ in $(seq 300); do
    port=$(sed -n 's/^upssim: listening on 127\.0\.0\.1:\([0-9]*\),.*/\1/p' "$log")
    [ -n "$port" ] && return 0
    kill -0 "$sim_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "the simulator did not start:" >&2
  cat "$log" >&2
  return 1
}
