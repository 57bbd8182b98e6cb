#!/usr/bin/env bash
# Installs the Debian packages that a task needs, when any is missing.
#   scripts/install-deps.sh run    build and run the monitor
#   scripts/install-deps.sh test   build and run every test
#   scripts/install-deps.sh package   build and check the Debian package
set -euo pipefail

build=(cmake make g++ pkg-config qtbase5-dev qtbase5-dev-tools libhidapi-dev libudev-dev libmodbus-dev prometheus-cpp-dev libcivetweb-dev)
run=(xauth)
test=(socat mbpoll xvfb xauth faketime qttools5-dev-tools binutils clang libclang-rt-14-dev valgrind libbenchmark-dev nut-client prometheus curl stress-ng openssl iproute2 chromium)
package=(dpkg-dev file lintian nut-client)

case "${1:-}" in
  run)  wanted=("${build[@]}" "${run[@]}") ;;
  test) wanted=("${build[@]}" "${test[@]}")
        # The browser test installs playwright-core with npm; a node from elsewhere will do.
        command -v npm >/dev/null || wanted+=(nodejs npm) ;;
  package) wanted=("${build[@]}" "${package[@]}") ;;
  *) echo "usage: $0 run|test|package" >&2; exit 2 ;;
esac

missing=()
for p in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$p")
done

if [ "${#missing[@]}" -eq 0 ]; then
  echo "Packages: all ${#wanted[@]} present, none installed"
  exit 0
fi
echo "Packages: installing ${#missing[@]} of ${#wanted[@]}: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${missing[@]}"
echo "Packages: installed ${#missing[@]}:"
dpkg-query -W -f='  ${Package} ${Version}\n' "${missing[@]}"
