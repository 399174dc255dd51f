#!/usr/bin/env bash
# The built console end to end: a virtual X display, the local platform, the
# real zarvo-console on it, a presenter typing name and password into the
# login window, and the main window read back from a screenshot.
#
#   e2e_console.sh <zarvo-console> <zarvo-sim>
#
# Exit 77 (skipped) only when the X server cannot start. The screenshot of the
# main window is left as $ZRV_BINARY_DIR/tests/app/e2e-main-window.png.
set -euo pipefail

console=$1
sim=$2
top=${ZRV_SOURCE_DIR:?}
shot_dir=${ZRV_BINARY_DIR:-$PWD}/tests/app
user=presenter
# Kept in a variable: printf is a builtin, so it reaches xdotool through a pipe
# and never stands on a command line.
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
  for f in console.log stack.log; do
    [ -f "$work/$f" ] && { echo "--- $f" >&2; tail -n 30 "$work/$f" >&2; }
  done
  exit 1
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

for tool in xdotool import convert tesseract; do
  command -v "$tool" > /dev/null || fail "$tool is missing (scripts/deb-packages.txt)"
done

# The X server picks a free display itself and tells its number on a pipe.
if ! command -v Xvfb > /dev/null; then
  echo "SKIP: Xvfb is not installed"
  exit 77
fi
mkfifo "$work/displayfd"
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3> "$work/displayfd" > "$work/xvfb.log" 2>&1 &
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

# Window state goes to a folder of this run, not the user's.
XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work ASAN_OPTIONS=detect_leaks=0 \
  "$console" -i "$work/stack/zarvo.ini" > "$work/console.log" 2>&1 &
console_pid=$!

login_window() { xdotool search --name '^Login$' 2> /dev/null | head -n 1; }
has_login_window() { [ -n "$(login_window)" ]; }
wait_for 60 has_login_window || fail "no login window"
login=$(login_window)
# Without a window manager nothing gives the dialog the focus but us.
xdotool windowfocus --sync "$login"
xdotool type --delay 15 "$user"
xdotool key Tab
printf '%s' "$password" | xdotool type --delay 15 --file -
xdotool key Return

no_login_window() { ! has_login_window; }
wait_for 30 no_login_window || fail "the login window stayed open"
kill -0 "$console_pid" 2> /dev/null || fail "the console ended after the login"

main=$(xdotool search --name '^Zarvo Console [0-9]+\.[0-9]+$' | head -n 1)
[ -n "$main" ] || fail "no main window"
echo "main window: $(xdotool getwindowname "$main")"

# The meetings arrive a moment after the window: read the screen until they show.
shot=$work/main.png
read_screen() {
  import -window root "$shot" 2> /dev/null &&
    convert "$shot" -resize 200% -colorspace Gray "$work/ocr.png" &&
    tesseract "$work/ocr.png" "$work/ocr" > /dev/null 2>&1 &&
    grep -q 'Weekly Design' "$work/ocr.txt" && grep -q 'Product Launch' "$work/ocr.txt"
}
shown=0
wait_for 40 read_screen && shown=1
mkdir -p "$shot_dir"
cp "$shot" "$shot_dir/e2e-main-window.png" 2> /dev/null || true
[ "$shown" = 1 ] || fail "the presenter's meetings did not show; read: $(tr '\n' ' ' < "$work/ocr.txt" 2> /dev/null)"
grep -q "$user" "$work/ocr.txt" || fail "the user menu does not name $user"
if grep -q 'Board Meeting' "$work/ocr.txt"; then
  fail "an administrator's meeting shows for a presenter"
fi
for title in 'Login failed' 'Login Error' 'Error' 'Cannot connect to service'; do
  [ -z "$(xdotool search --name "^$title\$" 2> /dev/null)" ] || fail "a box \"$title\" is open"
done

# The password stands on no command line of this run (the console and the
# platform's processes, which all name the run's folder) and in no log.
for cmdline in /proc/[0-9]*/cmdline; do
  line=$(tr '\0' ' ' < "$cmdline" 2> /dev/null) || continue
  case "$line" in *"$work"*) ;; *) continue ;; esac
  case "$line" in *"$password"*) fail "the password is on the command line of $(dirname "$cmdline")" ;; esac
done
if grep -rqF -- "$password" "$work/console.log" "$work/stack/logs"; then
  fail "the password is in a log"
fi

echo "PASS: $user signed in, main window with the presenter's meetings"
