# shellcheck shell=bash
# Shared by the end-to-end scripts: a virtual X display, the local platform
# in a folder of the run, the built console signed in on it, the screen read
# into words (tesseract) to find widgets, and the simulator read over HTTP.
#
# The sourcing script sets `top` (sources), `console`, `sim` and `shot_dir`,
# then calls e2e_begin. Exit 77 (skipped) only when the X server cannot start.
# shellcheck disable=SC2154  # top, console, sim, shot_dir: the sourcing script's

work=$(mktemp -d)
xvfb_pid=""
console_pid=""
stack_up=0

e2e_cleanup() {
  local code=$?
  trap - EXIT
  e2e_console_stop
  [ "$stack_up" = 0 ] || ZRV_STACK_DIR=$work/stack timeout 60 bash "$top/platform/stack.sh" stop > /dev/null 2>&1 || true
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2> /dev/null || true
  rm -rf "$work"
  exit "$code"
}
trap e2e_cleanup EXIT

fail() {
  echo "FAIL: $*" >&2
  mkdir -p "$shot_dir"
  [ -z "${DISPLAY:-}" ] || import -window root "$shot_dir/$(basename "$0" .sh)-failed.png" 2> /dev/null || true
  cp "$work/words.tsv" "$shot_dir/$(basename "$0" .sh)-failed-words.tsv" 2> /dev/null || true
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
    sleep 0.3
  done
}

# X server, then the platform; its addresses come into the environment from stack.env.
e2e_begin() {
  for tool in xdotool import convert tesseract curl cmp jq; do
    command -v "$tool" > /dev/null || fail "$tool is missing (scripts/deb-packages.txt)"
  done
  if ! command -v Xvfb > /dev/null; then
    echo "SKIP: Xvfb is not installed"
    exit 77
  fi
  mkfifo "$work/displayfd"
  Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3> "$work/displayfd" > "$work/xvfb.log" 2>&1 &
  xvfb_pid=$!
  local display=""
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
}

find_window() { xdotool search --onlyvisible --name "$1" 2> /dev/null | head -n 1; }
has_window() { [ -n "$(find_window "$1")" ]; }
no_window() { ! has_window "$1"; }
# Prints the id of the visible window whose title matches $1, waiting up to $2 s.
wait_window() {
  wait_for "${2:-30}" has_window "$1" || fail "no window matching '$1'"
  find_window "$1"
}
# Without a window manager nothing gives a window the focus but us.
focus() { xdotool windowfocus --sync "$1"; }

# Starts the console and signs in as $1, the password arriving on stdin (a
# here-string, not a pipe: this shell must keep `main`) so
# that it stands on no command line. Sets `main` to the main window.
e2e_console_start() {
  local user=$1 password
  IFS= read -r password
  XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work HOME=$work ASAN_OPTIONS=detect_leaks=0 \
    "$console" -i "$work/stack/zarvo.ini" >> "$work/console.log" 2>&1 &
  console_pid=$!
  local login
  login=$(wait_window '^Login$' 60)
  focus "$login"
  xdotool type --delay 15 "$user"
  xdotool key Tab
  printf '%s' "$password" | xdotool type --delay 15 --file -
  xdotool key Return
  wait_for 30 no_window '^Login$' || fail "the login window stayed open for $user"
  kill -0 "$console_pid" 2> /dev/null || fail "the console ended after the login of $user"
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
  xdotool windowmove --sync "$main" 0 0 windowsize --sync "$main" 1600 1000 || true
}

# Gone, or ended and waiting for us to reap it.
process_ended() { [ ! -e "/proc/$1" ] || [ "$(awk '{print $3}' "/proc/$1/stat" 2> /dev/null)" = Z ]; }

e2e_console_stop() {
  [ -n "$console_pid" ] || return 0
  kill "$console_pid" 2> /dev/null || true
  wait_for 20 process_ended "$console_pid" || kill -9 "$console_pid" 2> /dev/null || true
  wait "$console_pid" 2> /dev/null || true
  console_pid=""
}

# Reads the screen into words with their places (tesseract's tsv, at twice the size).
read_words() {
  import -window root "$work/screen.png" 2> /dev/null &&
    convert "$work/screen.png" -resize 200% -colorspace Gray "$work/ocr.png" &&
    tesseract "$work/ocr.png" "$work/words" tsv > /dev/null 2>&1
}
# Prints "x y" of the middle of the first run of words equal to $1 (words
# split by blanks), below y = $2 and right of x = $3 when given.
word_at() {
  awk -F'\t' -v want="$1" -v below="${2:-0}" -v minx="${3:-0}" '
    # A table border or an icon may stick to a word ("|Add"): a word also
    # counts when it holds the wanted one.
    function same(read, wanted) { return read == wanted || index(read, wanted) > 0 }
    BEGIN { n = split(want, w, " ") }
    NR > 1 && $12 != "" && $8 / 2 >= below && $7 / 2 >= minx {
      words[++k] = $12; left[k] = $7; top[k] = $8; width[k] = $9; height[k] = $10; line[k] = $3 "." $4 "." $5
    }
    END {
      for (i = 1; i + n - 1 <= k; i++) {
        ok = 1
        for (j = 1; j <= n; j++) if (!same(words[i + j - 1], w[j]) || line[i + j - 1] != line[i]) ok = 0
        if (ok) {
          last = i + n - 1
          printf "%d %d\n", (left[i] + left[last] + width[last]) / 4, (top[i] + height[i] / 2) / 2
          exit
        }
      }
    }' "$work/words.tsv"
}
shows() { read_words && [ -n "$(word_at "$@")" ]; }
shows_not() { read_words && [ -z "$(word_at "$@")" ]; }
# Clicks (count $1) the words $2 found by the last read_words, focusing the main window first.
click_words() {
  local count=$1 at
  shift
  at=$(word_at "$@")
  [ -n "$at" ] || return 1
  focus "$main"
  # shellcheck disable=SC2086  # two numbers
  xdotool mousemove --sync $at click --repeat "$count" --delay 120 1
}
click_word() { click_words 1 "$@"; }
double_click_word() { click_words 2 "$@"; }
# Waits for words on screen, then clicks them.
click_when_shown() {
  wait_for "${WAIT:-30}" shows "$@" || fail "'$1' does not show"
  click_word "$@" || fail "cannot click '$1'"
}

# Types $2 into the file name field of the toolkit's file dialog titled $1 and accepts it.
answer_file_dialog() {
  local dialog
  dialog=$(wait_window "$1")
  focus "$dialog"
  xdotool key ctrl+a
  xdotool type --delay 10 "$2"
  xdotool key Return
  wait_for 20 no_window "$1" || fail "the dialog '$1' stayed open"
}

# An access token of the simulator for the account $1, the password on stdin.
sim_token() {
  local password
  IFS= read -r password
  printf 'client=BVK&username=%s&password=%s' "$1" "$password" |
    curl -sf --data-binary @- -H 'Content-Type: application/x-www-form-urlencoded' \
      "$ZRV_SIM_URL${ZRV_AUTH_PATH:-}/auth/login" | jq -er .access_token
}
# A meeting's live record from the main service: sim_info <token> <meetingId>.
sim_info() {
  curl -sf -H "Authorization: Bearer $1" "$ZRV_SIM_URL${ZRV_SERVICE_PATH:-}/zrv/svc/meeting/$2/info"
}
# An object of the stack's store (it refuses anonymous reads): s3_get <key> <file>.
s3_get() {
  curl -sf --aws-sigv4 'aws:amz:us-east-1:s3' --user zarvo:zarvo-secret \
    "$ZRV_S3_URL/$ZRV_S3_BUCKET/$1" -o "$2"
}
