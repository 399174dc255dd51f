#!/usr/bin/env bash
# Whole test suite from a fresh machine: dependencies, configure, build, ctest.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/install-deps.sh"
build=${ZRV_BUILD_DIR:-$top/build}
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DZRV_SANITIZE=ON
cmake --build "$build" -j"$(nproc)"
export QT_QPA_PLATFORM=offscreen
ctest --test-dir "$build" --output-on-failure -j"$(nproc)" "$@"
