# shellcheck shell=bash
# Shared by the end-to-end scripts: the X session of scripts/lib/xsession.sh,
# the whole screen read into words to find widgets, and the simulator read
# over HTTP.
#
# The sourcing script sets `top` (sources), `console`, `sim` and `shot_dir`,
# then calls e2e_begin. Exit 77 (skipped) only when the X server cannot start.
# shellcheck disable=SC2154  # top, console, sim, shot_dir: the sourcing script's

# shellcheck source=scripts/lib/xsession.sh
. "$top/scripts/lib/xsession.sh"

fail() {
  echo "FAIL: $*" >&2
  mkdir -p "$shot_dir"
  [ -z "${DISPLAY:-}" ] || import -window root "$shot_dir/$(basename "$0" .sh)-failed.png" 2> /dev/null || true
  cp "$work/words.tsv" "$shot_dir/$(basename "$0" .sh)-failed-words.tsv" 2> /dev/null || true
  xs_tail_logs
  exit 1
}

# X server, then the platform.
e2e_begin() {
  for tool in xdotool import convert tesseract curl cmp jq; do
    command -v "$tool" > /dev/null || fail "$tool is missing (scripts/deb-packages.txt)"
  done
  if ! command -v Xvfb > /dev/null; then
    echo "SKIP: Xvfb is not installed"
    exit 77
  fi
  if ! xs_display; then
    echo "SKIP: Xvfb could not start: $(tail -n 3 "$work/xvfb.log" | tr '\n' ' ')"
    exit 77
  fi
  xs_stack
}

# Starts the console and signs in as $1, the password on stdin; sets `main`.
e2e_console_start() {
  console_start
  sign_in "$1"
  xdotool windowmove --sync "$main" 0 0 windowsize --sync "$main" 1600 1000 || true
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
