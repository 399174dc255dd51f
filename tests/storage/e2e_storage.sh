#!/usr/bin/env bash
# The built console end to end with its storage: a virtual X display, the
# local platform, the presenter signing in, a 100 MB file uploaded through the
# S3 page's own file dialog, seen in the file table, and downloaded back
# byte for byte. Widgets are found on screen by their words (tesseract).
#
#   e2e_storage.sh <zarvo-console> <zarvo-sim>
#
# Exit 77 (skipped) only when the X server cannot start. Screenshots are left
# in $ZRV_BINARY_DIR/tests/storage/.
set -euo pipefail

console=$1
sim=$2
top=${ZRV_SOURCE_DIR:?}
shot_dir=${ZRV_BINARY_DIR:-$PWD}/tests/storage
user=presenter
password=presenter123

work=$(mktemp -d)
xvfb_pid=""
console_pid=""
stack_up=0

cleanup() {
  local code=$?
  trap - EXIT
  [ -z "$console_pid" ] || kill "$console_pid" 2>/dev/null || true
  [ "$stack_up" = 0 ] || ZRV_STACK_DIR=$work/stack timeout 60 bash "$top/platform/stack.sh" stop > /dev/null 2>&1 || true
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2>/dev/null || true
  rm -rf "$work"
  exit "$code"
}
trap cleanup EXIT

fail() {
  echo "FAIL: $*" >&2
  mkdir -p "$shot_dir"
  import -window root "$shot_dir/e2e-storage-failed.png" 2> /dev/null || true
  for f in console.log stack.log; do
    [ -f "$work/$f" ] && { echo "--- $f" >&2; tail -n 30 "$work/$f" >&2; }
  done
  exit 1
}

wait_for() {
  local limit=$1
  shift
  local end=$((SECONDS + limit))
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.3
  done
}

for tool in xdotool import convert tesseract curl cmp; do
  command -v "$tool" > /dev/null || fail "$tool is missing (scripts/deb-packages.txt)"
done
if ! command -v Xvfb > /dev/null; then
  echo "SKIP: Xvfb is not installed"
  exit 77
fi
mkfifo "$work/displayfd"
Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3> "$work/displayfd" > "$work/xvfb.log" 2>&1 &
xvfb_pid=$!
display=""
read -r -t 15 display < "$work/displayfd" || true
if [ -z "$display" ] || ! kill -0 "$xvfb_pid" 2> /dev/null; then
  echo "SKIP: Xvfb could not start: $(tail -n 3 "$work/xvfb.log" | tr '\n' ' ')"
  exit 77
fi
export DISPLAY=:$display
# A caller may have asked for the offscreen platform; this console must draw on the X server.
export QT_QPA_PLATFORM=xcb

ZRV_STACK_DIR=$work/stack ZRV_SIM_BIN=$sim ZRV_STACK_SKIP_INSTALL=1 \
  timeout 90 bash "$top/platform/stack.sh" start > "$work/stack.log" 2>&1 || fail "the local platform did not start"
stack_up=1
# shellcheck disable=SC1091
. "$work/stack/stack.env"

# The file to move: 100 MB that are not all alike.
mkdir -p "$work/files"
head -c 104857600 /dev/urandom > "$work/files/e2e-upload.fbx"

XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work HOME=$work ASAN_OPTIONS=detect_leaks=0 \
  "$console" -i "$work/stack/zarvo.ini" > "$work/console.log" 2>&1 &
console_pid=$!

find_window() { xdotool search --name "$1" 2> /dev/null | head -n 1; }
login_window() { find_window '^Login$'; }
has_login_window() { [ -n "$(login_window)" ]; }
wait_for 60 has_login_window || fail "no login window"
xdotool windowfocus --sync "$(login_window)"
xdotool type --delay 15 "$user"
xdotool key Tab
printf '%s' "$password" | xdotool type --delay 15 --file -
xdotool key Return
no_login_window() { ! has_login_window; }
wait_for 30 no_login_window || fail "the login window stayed open"

main=$(find_window '^Zarvo Console [0-9]+\.[0-9]+$')
[ -n "$main" ] || fail "no main window"
xdotool windowmove --sync "$main" 0 0 windowsize --sync "$main" 1600 1000 || true

# Reads the screen into words with their places (tesseract's tsv, at twice the size).
read_words() {
  import -window root "$work/screen.png" 2> /dev/null &&
    convert "$work/screen.png" -resize 200% -colorspace Gray "$work/ocr.png" &&
    tesseract "$work/ocr.png" "$work/words" tsv > /dev/null 2>&1
}
# Prints "x y" of the middle of the first word equal to $1 (below y=$2 when given).
word_at() {
  awk -F'\t' -v w="$1" -v below="${2:-0}" 'NR > 1 && $12 == w && $8 / 2 >= below {
      printf "%d %d\n", ($7 + $9 / 2) / 2, ($8 + $10 / 2) / 2; exit }' "$work/words.tsv"
}
shows() { read_words && [ -n "$(word_at "$1" "${2:-0}")" ]; }
click_word() {
  local at
  at=$(word_at "$1" "${2:-0}")
  [ -n "$at" ] || return 1
  # shellcheck disable=SC2086
  xdotool mousemove --sync $at click 1
}

# The file area opens with a meeting.
wait_for 40 shows Weekly || fail "the presenter's meetings did not show"
click_word Weekly || fail "cannot click the meeting"
wait_for 20 shows 'presenter/' || fail "the S3 page shows no folder of the presenter"
click_word 'presenter/' || fail "cannot click the folder"
wait_for 20 shows readme.txt || fail "the folder's files did not show"

click_word Upload || fail "no Upload button"
dialog_open() { [ -n "$(find_window '^Select files to Upload$')" ]; }
wait_for 20 dialog_open || fail "no file dialog for the upload"
xdotool windowfocus --sync "$(find_window '^Select files to Upload$')"
xdotool type --delay 10 "$work/files/e2e-upload.fbx"
xdotool key Return

uploaded() {
  curl -sf "$ZRV_S3_URL/$ZRV_S3_BUCKET/presenter/e2e-upload.fbx" -o "$work/stored.bin" &&
    cmp -s "$work/stored.bin" "$work/files/e2e-upload.fbx"
}
wait_for 180 uploaded || fail "the upload did not reach the store whole"
wait_for 30 shows e2e-upload.fbx || fail "the uploaded file does not show in the table"
mkdir -p "$shot_dir"
cp "$work/screen.png" "$shot_dir/e2e-storage-uploaded.png"

click_word e2e-upload.fbx || fail "cannot select the uploaded file"
# Download is greyed out until a file is selected: read the screen again.
wait_for 20 shows Download || fail "no Download button"
click_word Download || fail "cannot click Download"
save_open() { [ -n "$(find_window '^Save File As$')" ]; }
wait_for 20 save_open || fail "no save dialog for the download"
xdotool windowfocus --sync "$(find_window '^Save File As$')"
xdotool key ctrl+a
xdotool type --delay 10 "$work/files/back.fbx"
xdotool key Return
downloaded() { cmp -s "$work/files/back.fbx" "$work/files/e2e-upload.fbx"; }
wait_for 180 downloaded || fail "the download did not come back byte for byte"

for title in 'Upload Error' 'An error has occurred' 'S3 Error' 'Overwrite?'; do
  [ -z "$(find_window "^$title\$")" ] || fail "a box \"$title\" is open"
done
echo "PASS: 100 MB uploaded through the S3 page, shown in its folder, downloaded back identical"
