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
# Reaches xdotool through a pipe from printf, a builtin: never on a command line.
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
  sign_in
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
  sign_in
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
  sign_in
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  xdotool windowfocus --sync "$main" key alt+c
  editor=$(wait_window '^Create a new Meeting$')
  xdotool windowfocus --sync "$editor" type --delay 15 "Quarterly Review"
  take meeting-create "$editor"
  xdotool windowfocus --sync "$editor" key Escape
}

shot_storage-assets() {
  local main
  sign_in
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
  sign_in
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
  sign_in
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
  sign_in
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
  # The storage opens with a meeting selected; Upload with a folder.
  click_in "$main" 300 164
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
  sign_in
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
  dav=$(sed -n 's|^ *WebDAV *\(http://[^/ ]*\)/remote.php.*|\1|p' "$work/stack.log" | head -n 1)
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
  sign_in
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
  sign_in
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  click_button "$main" "Service Log"
  viewer=$(wait_window '^Service Logfile$')
  wait_for 20 window_settled "$viewer" || true
  take service-log "$viewer"
  xdotool windowfocus --sync "$viewer" key Escape
}

shot_banlist() {
  local main dialog
  sign_in
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  click_button "$main" Banlist
  dialog=$(wait_window '^Banlist$')
  wait_for 20 window_settled "$dialog" || true
  take banlist "$dialog"
  xdotool windowfocus --sync "$dialog" key Escape
}

# --- helpers ------------------------------------------------------------------

# Clicks the button captioned $2 (right of x = $3, if given): its place comes
# from the window's picture, read by tesseract at twice the size, since it
# moves with the buttons a role shows.
click_button() {
  local xy
  xy=$(text_at "$@") || fail "no button '$2' in the window"
  # shellcheck disable=SC2086  # two numbers
  click_in "$1" $xy
}

# Prints the middle of the words $2 in window $1 (right of x = $3, if given).
text_at() {
  local xy
  import -window "$1" "$work/ocr.png" 2> /dev/null
  convert "$work/ocr.png" -resize 200% "$work/ocr2.png"
  xy=$(tesseract "$work/ocr2.png" - tsv 2> /dev/null | awk -F'\t' -v want="$2" -v minx="${3:-0}" '
    BEGIN { n = split(want, w, " ") }
    NR > 1 && $12 != "" && $7 >= 2 * minx {
      words[++k] = $12; left[k] = $7; top[k] = $8; width[k] = $9; height[k] = $10
    }
    END {
      for (i = 1; i + n - 1 <= k; i++) {
        ok = 1
        for (j = 1; j <= n; j++) if (words[i + j - 1] != w[j]) ok = 0
        if (ok) {
          last = i + n - 1
          printf "%d %d\n", (left[i] + left[last] + width[last]) / 4, (top[i] + height[i] / 2) / 2
          exit
        }
      }
    }')
  [ -n "$xy" ] || return 1
  echo "$xy"
}


# Waits up to $1 seconds for the command after it to succeed.
wait_for() {
  local limit=$1
  shift
  local end=$((SECONDS + limit))
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.2
  done
}

find_window() { xdotool search --onlyvisible --name "$1" 2> /dev/null | head -n 1; }
has_window() { [ -n "$(find_window "$1")" ]; }

# Prints the id of the visible window whose title matches $1, waiting for it.
wait_window() {
  wait_for 60 has_window "$1" || fail "no window matching '$1'"
  find_window "$1"
}

# Without a window manager nothing gives a window the focus but us.
click_in() {
  xdotool windowfocus --sync "$1" mousemove --window "$1" "$2" "$3" click 1
}

# Lets the window settle: the same picture twice in a row, a moment apart.
window_settled() {
  import -window "$1" "$work/a.png" 2> /dev/null
  sleep 0.5
  import -window "$1" "$work/b.png" 2> /dev/null
  [ "$(compare -metric AE "$work/a.png" "$work/b.png" null: 2>&1 || true)" = 0 ]
}

signed_in=0
sign_in() {
  [ "$signed_in" = 0 ] || return 0
  local login
  login=$(wait_window '^Login$')
  xdotool windowfocus --sync "$login"
  xdotool type --delay 15 "$user"
  xdotool key Tab
  printf '%s' "$password" | xdotool type --delay 15 --file -
  xdotool key Return
  gone() { ! has_window '^Login$'; }
  wait_for 30 gone || fail "the login window stayed open"
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
  for f in console.log stack.log; do
    [ -f "$work/$f" ] && { echo "--- $f" >&2; tail -n 20 "$work/$f" >&2; }
  done
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

work=$(mktemp -d)
xvfb_pid=""
console_pid=""
stack_up=0
cleanup() {
  local code=$?
  trap - EXIT
  [ -z "$console_pid" ] || kill "$console_pid" 2> /dev/null || true
  [ "$stack_up" = 0 ] || ZRV_STACK_DIR=$work/stack timeout 60 bash "$top/platform/stack.sh" stop > /dev/null 2>&1 || true
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2> /dev/null || true
  rm -rf "$work"
  exit "$code"
}
trap cleanup EXIT

# The X server picks a free display itself and tells its number on a pipe.
mkfifo "$work/displayfd"
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3> "$work/displayfd" > "$work/xvfb.log" 2>&1 &
xvfb_pid=$!
display=""
read -r -t 15 display < "$work/displayfd" || fail "Xvfb did not start"
export DISPLAY=:$display
# A caller may have asked for the offscreen platform; this console must draw on the X server.
export QT_QPA_PLATFORM=xcb

ZRV_STACK_DIR=$work/stack ZRV_SIM_BIN=$sim ZRV_STACK_SKIP_INSTALL=1 \
  timeout 120 bash "$top/platform/stack.sh" start > "$work/stack.log" 2>&1 || fail "the local platform did not start"
stack_up=1

# Window state goes to a folder of this run, not the user's.
XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work \
  "$console" -i "$work/stack/zarvo.ini" > "$work/console.log" 2>&1 &
console_pid=$!

for picture in "${pictures[@]}"; do
  declare -F "shot_$picture" > /dev/null || fail "no picture named $picture (have: ${pictures[*]})"
  "shot_$picture"
  kill -0 "$console_pid" 2> /dev/null || fail "the console ended during $picture"
done
