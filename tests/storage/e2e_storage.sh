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

# shellcheck source=tests/e2e/lib.sh
. "$top/tests/e2e/lib.sh"

e2e_begin
# The file to move: 100 MB that are not all alike.
mkdir -p "$work/files"
head -c 104857600 /dev/urandom > "$work/files/e2e-upload.fbx"
e2e_console_start "$user" <<< "$password"

# The file area opens with a meeting.
WAIT=40 click_when_shown Weekly
click_when_shown 'presenter/'
wait_for 20 shows readme.txt || fail "the folder's files did not show"

click_word Upload || fail "no Upload button"
answer_file_dialog '^Select files to Upload$' "$work/files/e2e-upload.fbx"

uploaded() { s3_get presenter/e2e-upload.fbx "$work/stored.bin" && cmp -s "$work/stored.bin" "$work/files/e2e-upload.fbx"; }
wait_for 180 uploaded || fail "the upload did not reach the store whole"
wait_for 30 shows e2e-upload || fail "the uploaded file does not show in the table"
mkdir -p "$shot_dir"
cp "$work/screen.png" "$shot_dir/e2e-storage-uploaded.png"

click_word e2e-upload || fail "cannot select the uploaded file"
# Download is greyed out until a file is selected: read the screen again.
click_when_shown Download
answer_file_dialog '^Save File As$' "$work/files/back.fbx"
downloaded() { cmp -s "$work/files/back.fbx" "$work/files/e2e-upload.fbx"; }
wait_for 180 downloaded || fail "the download did not come back byte for byte"

for title in 'Upload Error' 'An error has occurred' 'S3 Error' 'Overwrite?'; do
  no_window "^$title\$" || fail "a box \"$title\" is open"
done
echo "PASS: 100 MB uploaded through the S3 page, shown in its folder, downloaded back identical"
