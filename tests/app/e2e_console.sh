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
# Kept in a variable: it reaches the sign-in on stdin and never stands on a
# command line.
password=presenter123

# shellcheck source=tests/e2e/lib.sh
. "$top/tests/e2e/lib.sh"

e2e_begin
e2e_console_start "$user" <<< "$password"
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
