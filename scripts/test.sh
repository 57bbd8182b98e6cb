#!/usr/bin/env bash
# Installs what is missing, builds incrementally and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh test
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure -j"$(nproc)" --timeout 300
