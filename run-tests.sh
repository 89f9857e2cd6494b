#!/usr/bin/env bash
# Installs what is missing, configures, builds and runs every test.
# usage: bash run-tests.sh [build dir] [extra CMake arguments...]
set -euo pipefail
cd "$(dirname "$0")"
# Open3D's Python module reads the PLY files in the stereo tool's tests.
bash cmake/install-deps.sh python3-open3d
build=${1:-build}
[ $# -gt 0 ] && shift
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release "$@"
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
