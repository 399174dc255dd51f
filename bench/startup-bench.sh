#!/usr/bin/env bash
# Start-up benchmark: the time from starting zarvo-console to its login window
# on the screen, on a virtual X display against zarvo-sim; a bare Qt dialog is
# measured in the same run as the floor.
#   bench/startup-bench.sh [runs]        (default 15; median, min and max)
# Builds without sanitizers in ZRV_BENCH_BUILD_DIR (default build-bench/).
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${ZRV_BENCH_BUILD_DIR:-$top/build-bench}
runs=${1:-15}

command -v Xvfb > /dev/null || bash "$top/scripts/install-deps.sh"
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRV_SANITIZE=OFF \
        -DZRV_BUILD_BENCH=ON -DZRV_BUILD_TESTS=OFF > /dev/null
fi
cmake -DZRV_BUILD_BENCH=ON "$build" > /dev/null
cmake --build "$build" --target zrv-startup-bench -j2 > /dev/null

work=$(mktemp -d)
xvfb_pid=""
cleanup() {
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2> /dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# The X server picks a free display itself and tells its number on a pipe.
mkfifo "$work/displayfd"
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3> "$work/displayfd" > "$work/xvfb.log" 2>&1 &
xvfb_pid=$!
display=""
read -r -t 15 display < "$work/displayfd" || { echo "Xvfb did not start" >&2; exit 1; }

DISPLAY=:$display XDG_RUNTIME_DIR=$work "$build/bench/zrv-startup-bench" \
  "$(find "$build/app" -name zarvo-console -type f -perm -u+x -print -quit)" "$runs"
