# shellcheck shell=bash
# A virtual X display with the local platform and the built console on it,
# for the end-to-end tests, the soak run and the screenshot script.
#
# The sourcing script sets `top` (sources), `console` and `sim`, may set
# `xs_screen` (default 1600x1000) and `xs_logs` (where console.log and
# stack.log go, default the run's folder), and defines `fail`.
# shellcheck disable=SC2154  # top, console, sim: the sourcing script's

work=$(mktemp -d)
xs_logs=${xs_logs:-$work}
xvfb_pid=""
console_pid=""
stack_up=0

xs_cleanup() {
  local code=$?
  trap - EXIT
  console_stop
  [ "$stack_up" = 0 ] || ZRV_STACK_DIR=$work/stack timeout 60 bash "$top/platform/stack.sh" stop > /dev/null 2>&1 || true
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2> /dev/null || true
  rm -rf "$work"
  exit "$code"
}
trap xs_cleanup EXIT

# The tails of the run's logs, for a failure message.
xs_tail_logs() {
  local f
  for f in console.log stack.log; do
    [ -f "$xs_logs/$f" ] && { echo "--- $f" >&2; tail -n 30 "$xs_logs/$f" >&2; }
  done
  return 0
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

find_window() { xdotool search --onlyvisible --name "$1" 2> /dev/null | head -n 1; }
has_window() { [ -n "$(find_window "$1")" ]; }
no_window() { ! has_window "$1"; }
# Prints the id of the visible window whose title matches $1, waiting up to $2 s.
wait_window() {
  wait_for "${2:-60}" has_window "$1" || fail "no window matching '$1'"
  find_window "$1"
}
# Without a window manager nothing gives a window the focus but us.
focus() { xdotool windowfocus --sync "$1"; }
# Clicks at x = $2, y = $3 inside window $1.
click_in() { xdotool windowfocus --sync "$1" mousemove --window "$1" "$2" "$3" click 1; }

# Starts the X server, which picks a free display and tells its number on a
# pipe. False when it cannot start: the caller decides whether that skips.
xs_display() {
  mkfifo "$work/displayfd"
  Xvfb -displayfd 3 -screen 0 "${xs_screen:-1600x1000}x24" -nolisten tcp 3> "$work/displayfd" > "$work/xvfb.log" 2>&1 &
  xvfb_pid=$!
  local display=""
  read -r -t 15 display < "$work/displayfd" || true
  [ -n "$display" ] && kill -0 "$xvfb_pid" 2> /dev/null || return 1
  export DISPLAY=:$display
  # A caller may have asked for the offscreen platform; this console must draw on the X server.
  export QT_QPA_PLATFORM=xcb
}

# The platform in a folder of the run; its addresses come into the
# environment from stack.env. Arguments are extra NAME=value settings for it.
xs_stack() {
  env "$@" ZRV_STACK_DIR="$work/stack" ZRV_SIM_BIN="$sim" ZRV_STACK_SKIP_INSTALL=1 \
    timeout 120 bash "$top/platform/stack.sh" start > "$xs_logs/stack.log" 2>&1 || fail "the local platform did not start"
  stack_up=1
  # shellcheck disable=SC1091
  . "$work/stack/stack.env"
}

# Starts the console on the INI file $1 (default the platform's), with its
# window state kept in a folder of the run, not the user's.
console_start() {
  XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work HOME=$work ASAN_OPTIONS=detect_leaks=0 \
    "$console" -i "${1:-$work/stack/zarvo.ini}" >> "$xs_logs/console.log" 2>&1 &
  console_pid=$!
}

# Signs in as $1 with the password from stdin (a here-string, not a pipe:
# this shell must keep `main`), so that it stands on no command line. Sets
# `main` to the main window.
sign_in() {
  local user=$1 password login
  IFS= read -r password
  login=$(wait_window '^Login$')
  focus "$login"
  xdotool type --delay 15 "$user"
  xdotool key Tab
  printf '%s' "$password" | xdotool type --delay 15 --file -
  xdotool key Return
  wait_for 30 no_window '^Login$' || fail "the login window stayed open for $user"
  kill -0 "$console_pid" 2> /dev/null || fail "the console ended after the login of $user"
  # shellcheck disable=SC2034  # for the sourcing script
  main=$(wait_window '^Zarvo Console [0-9]+\.[0-9]+$')
}

# Gone, or ended and waiting for us to reap it.
process_ended() { [ ! -e "/proc/$1" ] || [ "$(awk '{print $3}' "/proc/$1/stat" 2> /dev/null)" = Z ]; }

console_stop() {
  [ -n "$console_pid" ] || return 0
  kill "$console_pid" 2> /dev/null || true
  wait_for 20 process_ended "$console_pid" || kill -9 "$console_pid" 2> /dev/null || true
  wait "$console_pid" 2> /dev/null || true
  console_pid=""
}

# Reads window $1 (default the whole screen) into words with their places:
# tesseract's tsv, at twice the size, in $work/words.tsv.
read_words() {
  import -window "${1:-root}" "$work/screen.png" 2> /dev/null &&
    convert "$work/screen.png" -resize 200% -colorspace Gray "$work/ocr.png" &&
    tesseract "$work/ocr.png" "$work/words" tsv > /dev/null 2>&1
}
# Prints "x y" of the middle of the first run of words equal to $1 (words
# split by blanks) in the last read, below y = $2 and right of x = $3 when given.
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
# Prints the middle of the words $2 in window $1 (right of x = $3 and below
# y = $4, if given); false when they cannot be read there.
text_at() {
  local xy
  read_words "$1" || return 1
  xy=$(word_at "$2" "${4:-0}" "${3:-0}")
  [ -n "$xy" ] && echo "$xy"
}
# Clicks the words $2 in window $1 (places as for text_at): buttons move
# with what a role shows, so their places are read from the window's picture.
click_text() {
  local xy
  xy=$(text_at "$@") || return 1
  # shellcheck disable=SC2086  # two numbers
  click_in "$1" $xy
}
