#!/usr/bin/env bash
# Screenshots of the console for the README: a virtual X display, the local
# platform with a state folder of its own, the built console signed in as the
# presenter, and one PNG per picture in docs/screenshots/.
#
#   bash scripts/screenshots.sh [picture ...]      (default: all, in order)
#
# Each picture is a function shot_<name> below that brings the console where
# it should be and calls `take <name> <window>`; add a function and its name
# to `pictures` for a new one. Pictures follow each other in one session, so
# a later one may rely on the state an earlier one left.
# Environment: ZRV_BUILD_DIR (default build-run/, a Release build without
# tests; ZRV_SHOT_NO_BUILD=1 takes its binaries as they are), ZRV_SHOT_USER /
# ZRV_SHOT_PASSWORD (presenter / presenter123).
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${ZRV_BUILD_DIR:-$top/build-run}
out=$top/docs/screenshots
user=${ZRV_SHOT_USER:-presenter}
# Reaches the sign-in on stdin: never on a command line.
password=${ZRV_SHOT_PASSWORD:-presenter123}
pictures=(login main-window meeting-editor meeting-create storage-assets asset-bundles
  spawn-points s3-transfer export service-log banlist nextcloud)
# Buttons only an administrator has; their pictures are taken in a second
# session signed in as admin. The NextCloud page shows only for a user whose
# storage is there, so it gets a session of its own.
admin_pictures=" export service-log banlist "
cloud_pictures=" nextcloud "
[ $# -eq 0 ] || pictures=("$@")
if [ -z "${ZRV_SHOT_SESSION:-}" ]; then
  own=() admin=() cloud=()
  for p in "${pictures[@]}"; do
    case $admin_pictures in *" $p "*) admin+=("$p"); continue ;; esac
    case $cloud_pictures in *" $p "*) cloud+=("$p") ;; *) own+=("$p") ;; esac
  done
  if [ ${#admin[@]} -gt 0 ] || [ ${#cloud[@]} -gt 0 ]; then
    [ ${#own[@]} -eq 0 ] || ZRV_SHOT_SESSION=1 bash "$0" "${own[@]}"
    [ ${#admin[@]} -eq 0 ] ||
      ZRV_SHOT_SESSION=1 ZRV_SHOT_USER=admin ZRV_SHOT_PASSWORD=admin123 bash "$0" "${admin[@]}"
    [ ${#cloud[@]} -eq 0 ] ||
      ZRV_SHOT_SESSION=1 ZRV_SHOT_USER=cloud ZRV_SHOT_PASSWORD=cloud123 bash "$0" "${cloud[@]}"
    exit 0
  fi
fi

# --- the pictures -------------------------------------------------------------

shot_login() {
  take login "$(wait_window '^Login$')"
}

shot_main-window() {
  signed_in_session
  local main
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  # The meetings arrive a moment after the window does; the running meeting
  # (second row) is selected so that its members show.
  wait_for 20 window_settled "$main" || true
  click_in "$main" 300 164
  wait_for 10 window_settled "$main" || true
  take main-window "$main"
}

shot_meeting-editor() {
  local main editor
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  # The running meeting's row, then Modify (Alt+M) opens the editor with it.
  click_in "$main" 300 164
  xdotool key alt+m
  editor=$(wait_window '^Modify a Meeting$')
  take meeting-editor "$editor"
  xdotool windowfocus --sync "$editor" key Escape
}

shot_meeting-create() {
  local main editor
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  xdotool windowfocus --sync "$main" key alt+c
  editor=$(wait_window '^Create a new Meeting$')
  xdotool windowfocus --sync "$editor" type --delay 15 "Quarterly Review"
  take meeting-create "$editor"
  xdotool windowfocus --sync "$editor" key Escape
}

shot_storage-assets() {
  local main
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  # The running meeting for its components, the models folder, its second file.
  click_in "$main" 300 164
  click_in "$main" 90 512
  wait_for 20 window_settled "$main" || true
  click_in "$main" 300 476
  wait_for 10 window_settled "$main" || true
  take storage-assets "$main"
}

shot_asset-bundles() {
  local main
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  click_in "$main" 300 164
  click_in "$main" 106 379
  wait_for 20 window_settled "$main" || true
  # The presenter's own bundle, ready for Add.
  click_in "$main" 100 479
  wait_for 10 window_settled "$main" || true
  take asset-bundles "$main"
}

shot_spawn-points() {
  local main points editor xy
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  wait_for 20 window_settled "$main" || true
  click_in "$main" 300 164
  click_button "$main" "Spawn Points"
  points=$(wait_window '^Manage Spawn Points')
  wait_for 20 window_settled "$points" || true
  # The second point (the first is the start): two rows under the Title heading.
  xy=$(text_at "$points" Title) || fail "no spawn point table"
  # shellcheck disable=SC2086  # two numbers
  set -- $xy
  click_in "$points" "$1" $(($2 + 57))
  click_button "$points" Modify
  editor=$(wait_window '^Create/Edit Spawn Point$')
  wait_for 10 window_settled "$editor" || true
  take spawn-points "$editor"
  xdotool windowfocus --sync "$editor" key Escape
  xdotool windowfocus --sync "$points" key Escape
}

shot_s3-transfer() {
  local main chooser
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  wait_for 20 window_settled "$main" || true
  # Zeros in a sparse file: large enough to be still on its way for the picture.
  truncate -s 300M "$work/hall-scan.fbx"
  # The dock first: the buttons find their places in the window it leaves.
  # Queue sits at the right edge, left of the user menu; tesseract misses its
  # word now and then, so its place comes from the window's width.
  local width
  width=$(xdotool getwindowgeometry --shell "$main" | sed -n 's/^WIDTH=//p')
  click_in "$main" $((width - 151)) 52
  wait_for 10 window_settled "$main" || true
  # The storage opens with a meeting selected; an earlier picture may have
  # left another tab in front of the S3 page. Upload with a folder.
  click_in "$main" 300 164
  click_in "$main" 26 306
  wait_for 10 window_settled "$main" || true
  click_button "$main" docs
  wait_for 10 window_settled "$main" || true
  click_button "$main" Upload
  chooser=$(wait_window '^Select files to Upload$')
  xdotool windowfocus --sync "$chooser" type --delay 15 "$work/hall-scan.fbx"
  xdotool key Return
  # shellcheck disable=SC2317  # called through wait_for
  chooser_gone() { ! has_window '^Select files to Upload$'; }
  wait_for 10 chooser_gone || fail "the file chooser stayed open"
  sleep 1
  take s3-transfer "$main"
}

shot_nextcloud() {
  local main xy
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  wait_for 20 window_settled "$main" || true
  # The storage opens with a meeting selected: this user's only one.
  click_in "$main" 300 143
  wait_for 20 window_settled "$main" || true
  # shellcheck disable=SC2086  # two numbers
  xy=$(text_at "$main" NextCloud) && click_in "$main" $xy
  wait_for 20 window_settled "$main" || true
  # The page asks for its server itself: the local one, as the cloud user.
  local dav
  dav=$(sed -n 's|^ *WebDAV *\(http://[^/ ]*\)/remote.php.*|\1|p' "$xs_logs/stack.log" | head -n 1)
  [ -n "$dav" ] || fail "no WebDAV address in the platform's log"
  click_in "$main" 140 422
  xdotool type --delay 15 "$dav"
  click_in "$main" 308 422
  xdotool type --delay 15 cloud
  click_in "$main" 476 422
  printf '%s' cloud123 | xdotool type --delay 15 --file -
  click_in "$main" 23 422
  wait_for 20 window_settled "$main" || true
  # A folder with files in it, when tesseract finds it.
  # shellcheck disable=SC2086  # two numbers
  xy=$(text_at "$main" Handouts) && click_in "$main" $xy
  wait_for 20 window_settled "$main" || true
  take nextcloud "$main"
}

# Administrator pictures: the meetings list holds every meeting, so the
# buttons sit elsewhere than in the presenter's window.
shot_export() {
  local main dialog
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  wait_for 20 window_settled "$main" || true
  click_in "$main" 300 164
  wait_for 10 window_settled "$main" || true
  click_button "$main" Export 450
  dialog=$(wait_window '^Export Meeting')
  take export "$dialog"
  xdotool windowfocus --sync "$dialog" key Escape
}

shot_service-log() {
  local main viewer
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  # Tesseract splits this column's captions over lines; "Service" below the
  # status line is the button.
  click_button "$main" Service 0 150
  viewer=$(wait_window '^Service Logfile$')
  wait_for 20 window_settled "$viewer" || true
  take service-log "$viewer"
  xdotool windowfocus --sync "$viewer" key Escape
}

shot_banlist() {
  local main dialog
  signed_in_session
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  click_button "$main" Banlist
  dialog=$(wait_window '^Banlist$')
  wait_for 20 window_settled "$dialog" || true
  take banlist "$dialog"
  xdotool windowfocus --sync "$dialog" key Escape
}

# --- helpers ------------------------------------------------------------------

# Clicks the button captioned $2 (places as for text_at).
click_button() { click_text "$@" || fail "no button '$2' in the window"; }

# Lets the window settle: the same picture twice in a row, a moment apart.
window_settled() {
  import -window "$1" "$work/a.png" 2> /dev/null
  sleep 0.5
  import -window "$1" "$work/b.png" 2> /dev/null
  [ "$(compare -metric AE "$work/a.png" "$work/b.png" null: 2>&1 || true)" = 0 ]
}

# The first picture shows the login window; the others sign in when they need to.
signed_in=0
signed_in_session() {
  [ "$signed_in" = 0 ] || return 0
  sign_in "$user" <<< "$password"
  signed_in=1
}

take() {
  mkdir -p "$out"
  import -window "$2" "$out/$1.png"
  echo "docs/screenshots/$1.png"
}

fail() {
  echo "screenshots: $*" >&2
  [ -z "${ZRV_SHOT_FAIL_PNG:-}" ] || import -window root "$ZRV_SHOT_FAIL_PNG" 2> /dev/null || true
  xs_tail_logs
  exit 1
}

# --- set-up -------------------------------------------------------------------

for tool in Xvfb xdotool import compare; do
  command -v "$tool" > /dev/null || bash "$top/scripts/install-deps.sh"
done

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRV_SANITIZE=OFF -DZRV_BUILD_TESTS=OFF > /dev/null
fi
if [ "${ZRV_SHOT_NO_BUILD:-0}" != 1 ]; then
  echo "Building zarvo-console and zarvo-sim in $build ..."
  cmake --build "$build" --target zarvo-console zarvo-sim -j"$(nproc)" > /dev/null
fi
console=$(find "$build/app" -name zarvo-console -type f -perm -u+x -print -quit)
sim=$build/sim/zarvo-sim

xs_screen=1280x800
# shellcheck source=scripts/lib/xsession.sh
. "$top/scripts/lib/xsession.sh"
xs_display || fail "Xvfb did not start"
xs_stack
console_start

for picture in "${pictures[@]}"; do
  declare -F "shot_$picture" > /dev/null || fail "no picture named $picture (have: ${pictures[*]})"
  "shot_$picture"
  kill -0 "$console_pid" 2> /dev/null || fail "the console ended during $picture"
done
