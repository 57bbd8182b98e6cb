#!/usr/bin/env bash
# The web console under live clients: UNITS simulated units (16) polled every second, CLIENTS
# live streams (100) for SECONDS (60), then the first load in headless Chromium. Needs the
# host, the simulator, chromium, node and npm (see tests/web/browser/run.sh).
#   bench/web_clients.sh [BUILD_DIR]
set -euo pipefail
src=$(dirname "$(readlink -f "$0")")/.. build=$(readlink -f "${1:-build}")
UNITS=${UNITS:-16} MAX_CLIENTS=${MAX_CLIENTS:-250} SCRIPT=$(readlink -f "$src/bench/web_clients.mjs") \
  exec "$src/tests/web/browser/run.sh" "$build/bin" "$src" "$build/tests/web/browser"
