#!/usr/bin/env bash
# The local platform for the console: zarvo-sim (authentication, meeting
# registry, main service), an S3-compatible object store and a NextCloud-like
# WebDAV server, all on 127.0.0.1.
#
#   bash platform/stack.sh start [--fresh] | stop | status
#
# Environment (all optional):
#   ZRV_STACK_DIR      state folder (default <repository>/.stack)
#   ZRV_SIM_BIN        simulator executable; "none" leaves the simulator out
#                      (default: built into <repository>/build-run when needed)
#   ZRV_S3_SERVER      "moto" or "s3rver" (default moto when moto_server is there)
#   ZRV_SIM_PORT, ZRV_S3_PORT, ZRV_DAV_PORT   fixed ports (default: free ones)
#   ZRV_AUTH_PATH, ZRV_MEETING_PATH, ZRV_SERVICE_PATH   service base paths (default empty)
#   ZRV_CONSOLE_VERSION  console version the service offers (update offer), e.g. 9.0.0
#   ZRV_SERVICE_VERSION  the service's own version (bundle gate), e.g. v2.0.29
#   ZRV_TOKEN_LIFETIME, ZRV_REFRESH_LIFETIME, ZRV_S3_KEY_LIFETIME   seconds (session expiry, key renewal)
#   ZRV_MEETING_MINUTES  running time of a started meeting
#   ZRV_STACK_SKIP_INSTALL=1   do not look for missing Debian packages
set -euo pipefail

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
here=$top/platform
state=${ZRV_STACK_DIR:-$top/.stack}
mkdir -p "$state"
state=$(cd "$state" && pwd)
export ZRV_PIDS=$state/pids
logs=$state/logs
ini=$state/zarvo.ini
envfile=$state/stack.env
tools=$top/.stack

# shellcheck source=platform/lib/procs.sh
source "$here/lib/procs.sh"
# shellcheck source=platform/lib/samples.sh
source "$here/lib/samples.sh"

bucket=zarvo
# The one bucket of Amazon S3 accounts; the console fixes its name.
amazon_bucket=bvkzrv
s3_key=zarvo
s3_secret=zarvo-secret
dav_users="cloud:cloud123"
# Stop order: the simulator first, so that it saves its state while the others still run.
services=(sim s3 webdav)

accounts_text() {
  cat <<'EOF'
Accounts (login / password):
  admin / admin123            presenter and administrator, MinIO storage
  groupadmin / group123       presenter and group administrator, MinIO storage (temporary keys)
  presenter / presenter123    presenter, MinIO storage, 1024 MB allowance
  visitor / visitor123        no presenter role (login refused)
  inactive / inactive123      inactive account (login refused)
  cloud / cloud123            presenter, NextCloud storage (WebDAV user cloud / cloud123)
  nostorage / nostorage123    presenter without storage (login refused)
  amazon / amazon123          presenter, Amazon S3 storage (temporary keys, bucket bvkzrv)
  nomode / nomode123          presenter, storage group of an unknown mode ("No Storage Configuration")
  small / small123            presenter, MinIO storage, 5 MB allowance
  trial / trial123            presenter, MinIO storage, trial account with 10 days left
EOF
}

# --- building and installing --------------------------------------------------

install_deps() {
  [ "${ZRV_STACK_SKIP_INSTALL:-0}" = 1 ] && return 0
  bash "$top/scripts/install-deps.sh"
}

# Prints the simulator's executable, building it when its sources are newer; empty when there is none.
sim_binary() {
  if [ -n "${ZRV_SIM_BIN:-}" ]; then
    [ "$ZRV_SIM_BIN" = none ] || echo "$ZRV_SIM_BIN"
    return 0
  fi
  [ -f "$top/sim/CMakeLists.txt" ] || { echo "simulator sources not found, starting without it" >&2; return 0; }
  local build=$top/build-run bin=$top/build-run/sim/zarvo-sim
  # The stamp marks the last build that went through; make leaves the binary's
  # time alone when a change did not touch it.
  local stamp=$build/sim/.stack-built
  if [ -x "$bin" ] && [ -f "$stamp" ] && [ -z "$(find "$top/sim" "$top/CMakeLists.txt" -newer "$stamp" -print -quit)" ]; then
    echo "$bin"
    return 0
  fi
  echo "Building zarvo-sim in $build ..." >&2
  mkdir -p "$logs"
  if { [ -f "$build/CMakeCache.txt" ] ||
       cmake -S "$top" -B "$build" -DZRV_SANITIZE=OFF -DZRV_BUILD_TESTS=OFF -DCMAKE_BUILD_TYPE=Release; } \
     >> "$logs/build.log" 2>&1 &&
     cmake --build "$build" --target zarvo-sim -j"$(nproc)" >> "$logs/build.log" 2>&1; then
    touch "$stamp"
    echo "$bin"
  else
    echo "zarvo-sim did not build (see $logs/build.log), starting without it" >&2
  fi
}

# Prints the command of the npm fallback store, installing it into $tools on first use.
s3rver_command() {
  local bin=$tools/node_modules/.bin/s3rver
  if [ ! -x "$bin" ]; then
    command -v npm > /dev/null || bash "$top/scripts/install-deps.sh" "$here/deb-packages-s3rver.txt" >&2
    echo "Installing s3rver into $tools ..." >&2
    npm install --prefix "$tools" --no-audit --no-fund --silent s3rver@3 >&2
  fi
  echo "$bin"
}

# --- services -----------------------------------------------------------------

start_s3() {
  local port=$1 kind=${ZRV_S3_SERVER:-}
  [ -n "$kind" ] || { command -v moto_server > /dev/null && kind=moto || kind=s3rver; }
  case $kind in
    moto)
      proc_start s3 "$logs/s3.log" moto_server -H 127.0.0.1 -p "$port" ;;
    s3rver)
      local bin
      bin=$(s3rver_command)
      rm -rf "$state/s3rver"; mkdir -p "$state/s3rver"
      # s3rver 3 needs the legacy OpenSSL provider on Node 20.
      NODE_OPTIONS=--openssl-legacy-provider proc_start s3 "$logs/s3.log" \
        "$bin" -d "$state/s3rver" -a 127.0.0.1 -p "$port" ;;
    *)
      echo "ZRV_S3_SERVER must be moto or s3rver" >&2; return 1 ;;
  esac
  echo "$kind" > "$state/s3.kind"
}

# Both stores forget their content when they stop, so each start fills them anew.
seed_s3() {
  local url=$1 samples=$state/samples/s3-buckets code name
  for name in "$bucket" "$amazon_bucket"; do
    code=$(curl -s -o "$logs/s3-seed.log" -w '%{http_code}' -X PUT "$url/$name") || true
    # 409: the bucket is there already.
    case $code in 200|409) ;; *) echo "S3 store: creating bucket $name answered $code" >&2; return 1 ;; esac
  done
  if [ ! -d "$samples" ]; then
    # Made aside and moved in whole, so an interrupted start leaves no half set.
    rm -rf "$samples.part"; samples_s3 "$samples.part"; mv "$samples.part" "$samples"
  fi
  # One folder per bucket; below it, the path is the key.
  local args=() file key
  while IFS= read -r -d '' file; do
    key=${file#"$samples"/}
    args+=(-T "$file" "$url/${key%%/*}/$(urlencode_path "${key#*/}")")
  done < <(find "$samples" -type f -print0 | sort -z)
  # One curl for all files keeps one connection open.
  curl -sf -o /dev/null "${args[@]}" || { echo "S3 store: uploading the sample files failed" >&2; return 1; }
}

urlencode_path() {
  local s=$1 out="" c i
  for ((i = 0; i < ${#s}; i++)); do
    c=${s:i:1}
    case $c in [A-Za-z0-9/._~-]) out+=$c ;; *) out+=$(printf '%%%02X' "'$c") ;; esac
  done
  echo "$out"
}

start_webdav() {
  local port=$1 root=$state/webdav
  if [ ! -d "$root/cloud" ]; then
    rm -rf "$root/cloud.part"; samples_webdav "$root/cloud.part"; mv "$root/cloud.part" "$root/cloud"
  fi
  ZRV_DAV_ROOT=$root ZRV_DAV_USERS=$dav_users proc_start webdav "$logs/webdav.log" \
    php -d display_errors=stderr -d log_errors=0 -S "127.0.0.1:$port" "$here/webdav/router.php"
}

# Starts the simulator and prints the port it listens on.
start_sim() {
  local bin=$1 port=$2 s3_url=$3 dav_url=$4
  # Versions and lifetimes pass through from the environment, so that the update offer, the
  # bundle gate, session expiry and key renewal can be tried on the stack.
  local extra=() pair var
  for pair in ZRV_CONSOLE_VERSION:--console-version ZRV_SERVICE_VERSION:--service-version \
              ZRV_TOKEN_LIFETIME:--token-lifetime ZRV_REFRESH_LIFETIME:--refresh-lifetime \
              ZRV_S3_KEY_LIFETIME:--s3-key-lifetime ZRV_MEETING_MINUTES:--meeting-minutes; do
    var=${pair%%:*}
    [ -n "${!var:-}" ] && extra+=("${pair#*:}" "${!var}")
  done
  proc_start sim "$logs/sim.log" "$bin" --port "$port" --state "$state/sim-state.json" \
    --auth-base "${ZRV_AUTH_PATH:-}" --meeting-base "${ZRV_MEETING_PATH:-}" --service-base "${ZRV_SERVICE_PATH:-}" \
    --s3-endpoint "$s3_url" --s3-bucket "$bucket" --s3-access-key "$s3_key" --s3-secret-key "$s3_secret" \
    --webdav-url "$dav_url" ${extra[@]+"${extra[@]}"}
  local deadline=$((SECONDS + 20)) line
  while [ $SECONDS -lt $deadline ]; do
    line=$(grep -m1 -o 'zarvo-sim listening on http://127.0.0.1:[0-9]*' "$logs/sim.log" 2>/dev/null) || true
    if [ -n "$line" ]; then
      echo "${line##*:}"
      return 0
    fi
    proc_running sim || { echo "sim: exited during start-up" >&2; tail -n 20 "$logs/sim.log" >&2; return 1; }
    sleep 0.05
  done
  echo "sim: no 'listening' line within 20 s" >&2
  return 1
}

write_ini() {
  local url=$1
  cat > "$ini.tmp" <<EOF
; Local platform of platform/stack.sh; written anew at each start.
[ZRV_MeetingService]
host=$url
path=${ZRV_MEETING_PATH:-}
auth=on

[ZRV_AuthService]
host=$url
path=${ZRV_AUTH_PATH:-}

[ZRV_Service]
host=$url
path=${ZRV_SERVICE_PATH:-}

[ZRV_Console]
inactivitytime=180
restorewindow=true
EOF
  mv "$ini.tmp" "$ini"
}

# launch <name> <start function> <path> <seconds> [port]: starts a service on
# the given port or a free one and prints the port once it answers at <path>.
# A free port can be taken by someone else before the service binds it, so an
# early exit is tried again on another one.
launch() {
  local name=$1 fn=$2 path=$3 secs=$4 fixed=${5:-} port
  for _ in 1 2 3; do
    port=${fixed:-$(free_port)}
    "$fn" "$port" >&2 || return 1
    if wait_ready "$name" "$port" "http://127.0.0.1:$port$path" "$secs"; then
      echo "$port"
      return 0
    fi
    { [ -z "$fixed" ] && ! proc_running "$name"; } || break
    echo "$name: trying another port" >&2
  done
  tail -n 20 "$logs/$name.log" >&2
  return 1
}

any_running() {
  local s
  for s in "${services[@]}"; do proc_running "$s" && return 0; done
  return 1
}

# --- commands -----------------------------------------------------------------

cmd_stop() {
  local s
  for s in "${services[@]}"; do
    if proc_running "$s"; then
      proc_stop "$s" 10
      echo "stopped $s"
    else
      rm -f "$ZRV_PIDS/$s.pid"
    fi
  done
  rm -f "$envfile" "$ini"
}

cmd_status() {
  local s running=0 total=0
  # shellcheck source=/dev/null
  [ -f "$envfile" ] && source "$envfile"
  for s in "${services[@]}"; do
    [ -f "$ZRV_PIDS/$s.pid" ] || continue
    total=$((total + 1))
    if proc_running "$s"; then
      running=$((running + 1))
      printf '%-7s running, pid %s\n' "$s" "$(proc_pid "$s")"
    else
      printf '%-7s not running (recorded pid %s is gone)\n' "$s" "$(proc_pid "$s")"
    fi
  done
  if [ $total -eq 0 ]; then
    echo "stack not running (state in $state)"
    return 3
  fi
  [ -n "${ZRV_SIM_URL:-}" ] && echo "simulator ${ZRV_SIM_URL}"
  [ -n "${ZRV_S3_URL:-}" ] && echo "S3 store  ${ZRV_S3_URL}  bucket ${ZRV_S3_BUCKET}"
  [ -n "${ZRV_DAV_URL:-}" ] && echo "WebDAV    ${ZRV_DAV_URL}/remote.php/dav/files/cloud/"
  [ $running -eq $total ] || return 1
}

cmd_start() {
  if any_running; then
    echo "The stack runs already:"
    cmd_status || true
    return 0
  fi
  cmd_stop > /dev/null
  # The simulator's records name the stores' ports, which change from start to
  # start, and the S3 store keeps nothing, so every start seeds the services anew;
  # only the WebDAV folder lives on unless --fresh.
  [ "${1:-}" = --fresh ] && rm -rf "$state/webdav" "$state/samples"
  rm -f "$state/sim-state.json"
  mkdir -p "$ZRV_PIDS" "$logs"
  local t0=$SECONDS
  install_deps
  local sim_bin
  sim_bin=$(sim_binary)

  # Whatever ends the start early (a failure, Ctrl-C) takes down what it began.
  started=0
  trap '[ $started = 1 ] || { echo "start failed; stopping what was started" >&2; cmd_stop > /dev/null; }' EXIT
  local s3_port dav_port
  dav_port=$(launch webdav start_webdav /status.php 10 "${ZRV_DAV_PORT:-}")
  s3_port=$(launch s3 start_s3 / 30 "${ZRV_S3_PORT:-}")
  local s3_url=http://127.0.0.1:$s3_port dav_url=http://127.0.0.1:$dav_port
  seed_s3 "$s3_url"

  local sim_url=""
  if [ -n "$sim_bin" ]; then
    local sim_port
    sim_port=$(start_sim "$sim_bin" "${ZRV_SIM_PORT:-0}" "$s3_url" "$dav_url")
    sim_url=http://127.0.0.1:$sim_port
    wait_ready sim "$sim_port" "$sim_url/_sim/health" 10
    write_ini "$sim_url"
  fi
  started=1

  cat > "$envfile" <<EOF
ZRV_SIM_URL=$sim_url
ZRV_S3_URL=$s3_url
ZRV_S3_BUCKET=$bucket
ZRV_DAV_URL=$dav_url
EOF
  echo "Local platform is up after $((SECONDS - t0)) s; state in $state"
  if [ -n "$sim_url" ]; then
    echo "  simulator  $sim_url  (auth, meetings and main service; log $logs/sim.log)"
  else
    echo "  simulator  not running: no zarvo-sim, so no console INI either"
  fi
  echo "  S3 store   $s3_url  bucket \"$bucket\", key \"$s3_key\" / \"$s3_secret\" ($(cat "$state/s3.kind"))"
  echo "  WebDAV     $dav_url/remote.php/dav/files/cloud/  user \"cloud\" / \"cloud123\""
  [ -n "$sim_url" ] && echo "  console    zarvo-console -i $ini"
  accounts_text | sed 's/^/  /'
  echo "  Stop with: bash platform/stack.sh stop"
}

case ${1:-} in
  start) shift; cmd_start "$@" ;;
  stop) cmd_stop ;;
  status) cmd_status ;;
  *) echo "usage: $0 start [--fresh] | stop | status" >&2; exit 2 ;;
esac
