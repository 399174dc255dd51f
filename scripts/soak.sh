#!/usr/bin/env bash
# Long run of the Release console: a virtual X display, the local platform with
# a state folder of its own, the administrator signed in, the main window's
# ten-second poll against meetings whose simulated members join and leave, the
# service log viewer open, and transfers into and out of the store the console
# shows every few minutes. The console's memory and open descriptors are
# sampled into a CSV; the end prints the figures and a verdict.
#
#   bash scripts/soak.sh
#
# Environment (all optional):
#   ZRV_SOAK_MINUTES     length of the run (default 30)
#   ZRV_SOAK_WARMUP      minutes before growth is counted (default 5, at most half the run)
#   ZRV_SOAK_INTERVAL    seconds between two samples (default 10)
#   ZRV_SOAK_TRANSFER    seconds between two transfers (default 180)
#   ZRV_SOAK_MAX_GROWTH  allowed memory growth after warm-up in kB (default 5120)
#   ZRV_SOAK_MAX_FDS     allowed descriptor growth after warm-up (default 5)
#   ZRV_BUILD_DIR        Release build without sanitizers (default build-soak/)
#   ZRV_SOAK_BUILD=0     run what the build folder holds, without building it first
#   ZRV_SOAK_OUT         folder for soak.csv, windows.log, console.log (default <build>/soak)
# Exit status: 0 when the goals hold, 1 when not or when the run broke off.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${ZRV_BUILD_DIR:-$top/build-soak}
minutes=${ZRV_SOAK_MINUTES:-30}
interval=${ZRV_SOAK_INTERVAL:-10}
transfer_every=${ZRV_SOAK_TRANSFER:-180}
max_growth=${ZRV_SOAK_MAX_GROWTH:-5120}
max_fds=${ZRV_SOAK_MAX_FDS:-5}
out=${ZRV_SOAK_OUT:-$build/soak}
user=admin
# Reaches the sign-in on stdin: never on a command line.
password=admin123
duration=$(awk -v m="$minutes" 'BEGIN { printf "%d", m * 60 }')
warmup=$(awk -v m="${ZRV_SOAK_WARMUP:-5}" -v d="$duration" 'BEGIN { w = m * 60; if (w > d / 2) w = d / 2; printf "%d", w }')
# Windows that belong to the run; any other visible one is a box nobody expected.
expected_windows='^(Zarvo Console [0-9]+\.[0-9]+|Service Logfile)$'

log() { echo "soak $(date -u +%H:%M:%S): $*"; }

fail() {
  echo "soak: $*" >&2
  [ -z "${DISPLAY:-}" ] || import -window root "$out/failed.png" 2> /dev/null || true
  xs_tail_logs
  exit 1
}

# Names of the visible windows that are neither the main window nor the viewer.
unexpected_windows() {
  local id name
  for id in $(xdotool search --onlyvisible --name '.' 2> /dev/null); do
    name=$(xdotool getwindowname "$id" 2> /dev/null) || continue
    [[ $name =~ $expected_windows ]] || printf '%s\n' "$name"
  done
}

# One transfer each way through the store the console lists: a new object in
# the administrator's folder, read back whole, and the one before it removed,
# so that the folder changes at every refresh without growing.
transfer() {
  local n=$1 key url
  key="$user/soak/transfer-$n.bin"
  url="$ZRV_S3_URL/$ZRV_S3_BUCKET/$key"
  # Signed with the simulator's key: the store reads without a signature check
  # but refuses a request that carries none.
  local s3=(curl -sf --aws-sigv4 "aws:amz:us-east-1:s3" --user "zarvo:zarvo-secret")
  head -c $((2 * 1024 * 1024 + n)) /dev/urandom > "$work/up.bin"
  "${s3[@]}" -o /dev/null -T "$work/up.bin" "$url" || { log "upload of $key failed"; return 0; }
  "${s3[@]}" -o "$work/down.bin" "$url" || { log "download of $key failed"; return 0; }
  cmp -s "$work/up.bin" "$work/down.bin" || log "download of $key differs from its upload"
  [ "$n" -le 1 ] || "${s3[@]}" -o /dev/null -X DELETE "$ZRV_S3_URL/$ZRV_S3_BUCKET/$user/soak/transfer-$((n - 1)).bin" || true
  transfers=$((transfers + 1))
}

# --- set-up -------------------------------------------------------------------

for tool in Xvfb xdotool import convert tesseract curl; do
  command -v "$tool" > /dev/null || bash "$top/scripts/install-deps.sh"
done

if [ "${ZRV_SOAK_BUILD:-1}" = 1 ]; then
  if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRV_SANITIZE=OFF -DZRV_BUILD_TESTS=OFF > /dev/null
  fi
  log "building zarvo-console and zarvo-sim in $build"
  cmake --build "$build" --target zarvo-console zarvo-sim -j"$(nproc)" > /dev/null
fi
console=$(find "$build/app" -name zarvo-console -type f -perm -u+x -print -quit)
sim=$build/sim/zarvo-sim
[ -x "$console" ] && [ -x "$sim" ] || fail "no console or simulator in $build"

mkdir -p "$out"
rm -f "$out/console.log"
xs_screen=1280x800
xs_logs=$out
# shellcheck source=scripts/lib/xsession.sh
. "$top/scripts/lib/xsession.sh"
trap 'exit 1' INT TERM
xs_display || fail "Xvfb did not start"
# Refresh tokens outlive the run, so that no planned sign-in box interrupts
# it; access tokens keep their usual lifetime and are renewed on the way.
xs_stack ZRV_REFRESH_LIFETIME=$((duration + 3600))

# Nobody touches the console during the run, and an inactive console stops
# its poll: the inactivity time is put beyond the run's end.
sed "s/^inactivitytime=.*/inactivitytime=$((duration + 600))/" "$work/stack/zarvo.ini" > "$work/soak.ini"
console_start "$work/soak.ini"
sign_in "$user" <<< "$password"
log "signed in as $user, main window $main"

# A screen-sized window spreads the buttons far enough apart to be read. The
# running meeting is selected so that its members, which the simulator moves,
# are shown and updated by every poll.
xdotool windowmove --sync "$main" 0 0 windowsize --sync "$main" 1260 780 || true
wait_for 40 click_text "$main" "Weekly" || log "the running meeting could not be selected"
# The caption is looked for first; the place it has in a window of this size is the fallback.
if ! wait_for 20 click_text "$main" Service 0 150; then
  click_in "$main" 68 307
fi
viewer_open() { has_window '^Service Logfile$'; }
viewer=open
if wait_for 30 viewer_open; then
  log "service log viewer open"
else
  # A run without the viewer still says something about the rest; the figures name it.
  viewer=missing
  log "the Service Log button opened no viewer; the run goes on without one"
fi

# --- the run ------------------------------------------------------------------

csv=$out/soak.csv
echo "seconds,rss_kb,fds,threads,unexpected_windows" > "$csv"
: > "$out/windows.log"
transfers=0
start=$SECONDS
next_sample=0
next_transfer=$transfer_every
while :; do
  t=$((SECONDS - start))
  [ "$t" -le "$duration" ] || break
  kill -0 "$console_pid" 2> /dev/null || fail "the console ended after $t s"
  if [ "$t" -ge "$next_transfer" ]; then
    transfer $((t / transfer_every))
    next_transfer=$((next_transfer + transfer_every))
  fi
  if [ "$t" -ge "$next_sample" ]; then
    rss=$(awk '/^VmRSS:/ { print $2 }' "/proc/$console_pid/status")
    threads=$(awk '/^Threads:/ { print $2 }' "/proc/$console_pid/status")
    fds=$(find "/proc/$console_pid/fd" -mindepth 1 -maxdepth 1 | wc -l)
    others=$(unexpected_windows | sort -u)
    if [ -n "$others" ]; then
      printf '%s\t%s\n' "$t" "$(echo "$others" | paste -sd '|')" >> "$out/windows.log"
    fi
    echo "$t,$rss,$fds,$threads,$(echo "$others" | grep -c . || true)" >> "$csv"
    next_sample=$((next_sample + interval))
  fi
  sleep 1
done

# --- figures ------------------------------------------------------------------

figures=$(awk -F, -v warm="$warmup" -v maxg="$max_growth" -v maxf="$max_fds" '
  NR == 1 { next }
  first == "" { first = $2; ffd = $3 }
  $1 >= warm && wrss == "" { wrss = $2; wfd = $3; wt = $1 }
  { last = $2; lfd = $3; lt = $1; if ($2 > peak) peak = $2; if ($3 > fpeak) fpeak = $3; boxes += $5 }
  END {
    growth = last - wrss; fgrowth = lfd - wfd
    printf "rss_kb start=%d after_warmup(%ds)=%d end(%ds)=%d peak=%d growth_after_warmup_kb=%d\n", first, wt, wrss, lt, last, peak, growth
    printf "fds start=%d after_warmup=%d end=%d peak=%d growth_after_warmup=%d\n", ffd, wfd, lfd, fpeak, fgrowth
    printf "samples_with_unexpected_windows=%d\n", boxes
    ok = (growth < maxg && fgrowth <= maxf && boxes == 0)
    printf "verdict=%s\n", ok ? "pass" : "fail"
  }' "$csv")
echo "$figures" | tee "$out/figures.txt"
echo "transfers=$transfers log_viewer=$viewer" | tee -a "$out/figures.txt"
[ -s "$out/windows.log" ] && { echo "unexpected windows:"; cat "$out/windows.log"; }
grep -q '^verdict=pass' "$out/figures.txt"
