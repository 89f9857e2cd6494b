#!/usr/bin/env bash
# Installs what is missing, configures, builds and runs every test.
# usage: bash run-tests.sh [build dir] [extra CMake arguments...]
set -euo pipefail
cd "$(dirname "$0")"
bash cmake/install-deps.sh
build=${1:-build}
[ $# -gt 0 ] && shift
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release "$@"
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
