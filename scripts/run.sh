#!/usr/bin/env bash
# Runs the console on the local platform: builds zarvo-console into build-run/,
# starts the stack (platform/stack.sh), runs the console with the stack's INI
# file and stops the stack when the console ends or on Ctrl-C.
# Arguments are passed on to the console. Environment as for platform/stack.sh.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$top/build-run
state=${ZRV_STACK_DIR:-$top/.stack}
stack=$top/platform/stack.sh

[ "${ZRV_STACK_SKIP_INSTALL:-0}" = 1 ] || bash "$top/scripts/install-deps.sh"
export ZRV_STACK_SKIP_INSTALL=1

# Prints the console's executable after building it; empty while the target does not exist yet.
console_binary() {
  if [ ! -f "$build/CMakeCache.txt" ] &&
     ! cmake -S "$top" -B "$build" -DZRV_SANITIZE=OFF -DZRV_BUILD_TESTS=OFF -DCMAKE_BUILD_TYPE=Release >&2; then
    echo "Configuring $build failed; going on without the console." >&2
    return 0
  fi
  # Read the list whole: grep -q would end early and fail the pipe under pipefail.
  local targets
  targets=$(cmake --build "$build" --target help 2>/dev/null) || return 0
  grep -qw 'zarvo-console' <<< "$targets" || return 0
  echo "Building zarvo-console in $build ..." >&2
  cmake --build "$build" --target zarvo-console -j"$(nproc)" >&2
  find "$build" -name zarvo-console -type f -perm -u+x -print -quit
}

console=$(console_binary)

# A stack that ran before this script stays up after it.
own_stack=1
bash "$stack" status > /dev/null 2>&1 && own_stack=0

waiter=""
# shellcheck disable=SC2317  # reached through the traps
stop_stack() {
  trap - EXIT INT TERM
  [ -z "$waiter" ] || kill "$waiter" 2>/dev/null || true
  [ "$own_stack" = 1 ] || return 0
  echo "Stopping the local platform ..."
  bash "$stack" stop
}
trap stop_stack EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

bash "$stack" start

if [ -z "$console" ]; then
  echo
  echo "The console is not built yet: this tree has no zarvo-console target."
  echo "The platform above stays up until Ctrl-C."
  while :; do
    sleep 3600 & waiter=$!
    wait "$waiter" || true
  done
fi

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
  echo "Note: no display (\$DISPLAY is empty); Qt will most likely refuse to open the window." >&2
fi
echo "Starting $console -i $state/zarvo.ini"
status=0
"$console" -i "$state/zarvo.ini" "$@" || status=$?
exit $status
