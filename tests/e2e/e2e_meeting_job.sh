#!/usr/bin/env bash
# The typical job with a meeting's components, on the built console under a
# virtual X display: the presenter uploads a model through the S3 page, puts
# it on the running meeting, adds a URL placeholder and the own asset bundle;
# then the administrator exports that meeting to a .zrm file and imports it
# onto a second meeting. Both meetings are read back from the simulator.
#
#   e2e_meeting_job.sh <zarvo-console> <zarvo-sim>
#
# Exit 77 (skipped) only when the X server cannot start. Screenshots are left
# in $ZRV_BINARY_DIR/tests/e2e/.
set -euo pipefail

console=$1
sim=$2
top=${ZRV_SOURCE_DIR:?}
shot_dir=${ZRV_BINARY_DIR:-$PWD}/tests/e2e
# shellcheck source=tests/e2e/lib.sh
. "$(dirname "$0")/lib.sh"

first=wdr7k2m4   # "Weekly Design Review", the presenter's, running
second=prl5t8c6  # "Product Launch Rehearsal", the presenter's, not started
model=e2e-job.fbx
# On screen the name is found by its stem: the reader may split it at the dot.
stem=e2e-job
url=https://www.brenvik-demo.example/e2e-job
bundle='Presenter Stage'

e2e_begin
mkdir -p "$work/files" "$shot_dir"
head -c 262144 /dev/urandom > "$work/files/$model"

sim_token admin <<< admin123 > "$work/token" || fail "no token from the simulator"
token=$(cat "$work/token")
info() { sim_info "$token" "$1"; }
# True when the live record of meeting $1 passes the jq test $2.
record_has() { info "$1" | jq -e "$2" > /dev/null 2>&1; }
info "$second" > "$work/second-before.json" || fail "cannot read the second meeting from the simulator"

# --- the presenter ------------------------------------------------------------
e2e_console_start presenter <<< presenter123

WAIT=40 click_when_shown Weekly
click_when_shown 'presenter/'
wait_for 30 shows readme || fail "the presenter's files did not show"

click_word Upload || fail "no Upload button"
answer_file_dialog '^Select files to Upload$' "$work/files/$model"
stored() {
  s3_get "presenter/$model" "$work/stored.bin" &&
    cmp -s "$work/stored.bin" "$work/files/$model"
}
wait_for 90 stored || fail "the upload did not reach the store whole"

# A double click on a storage file puts it on the selected meeting.
# A selected row turns white on blue, which the reader reads poorly: both
# clicks go where the name was read unselected.
wait_for 40 shows "$stem" || fail "$model does not show in the folder"
double_click_word "$stem" || fail "cannot double-click $model"
wait_for 30 record_has "$first" ".assets | any(.Name == \"$model\")" ||
  fail "$model did not reach the meeting"

click_word 'Add Custom URL' || { read_words && click_word 'Add Custom URL'; } || fail "no Add Custom URL button"
dialog=$(wait_window '^Create Custom Placeholder$')
focus "$dialog"
# The id field has the focus first: placeholder 7, then the address.
xdotool key ctrl+a
xdotool type --delay 15 7
xdotool key Tab
xdotool type --delay 10 "$url"
xdotool key Return
wait_for 20 no_window '^Create Custom Placeholder$' || fail "the placeholder dialog stayed open"
wait_for 30 record_has "$first" ".assets | any(.Id == 22007 and .Mode == 3 and .StgRelPath == \"$url\")" ||
  fail "the URL placeholder did not reach the meeting as 22007"

click_when_shown 'Asset Bundles'
wait_for 40 shows "$bundle" || fail "the bundle does not show"
double_click_word "$bundle" || fail "cannot double-click the bundle"
wait_for 30 record_has "$first" "(.assetBundles | length) == 1 and .assetBundles[0].Name == \"$bundle\"" ||
  fail "the bundle did not reach the meeting"
import -window root "$shot_dir/e2e-meeting-job-presenter.png" 2> /dev/null || true
console_stop

info "$first" > "$work/first.json"
model_id=$(jq -e ".assets[] | select(.Name == \"$model\") | .Id" "$work/first.json") || fail "no id for $model"
if [ "$model_id" -le 0 ] || [ "$model_id" -ge 22000 ]; then
  fail "$model got the id $model_id, not one of the service's"
fi
jq -e ".assets[] | select(.Name == \"$model\") | .Mode != 3 and .StgRelPath == \"presenter/$model\" and .StgSize == 262144" \
  "$work/first.json" > /dev/null || fail "$model is on the meeting with other fields: $(jq -c '.assets' "$work/first.json")"

# --- the administrator --------------------------------------------------------
e2e_console_start admin <<< admin123

WAIT=40 click_when_shown Weekly
# Export writes the record the console holds: wait for it in the components table.
wait_for 40 shows "$stem" 0 700 || fail "the meeting's components did not show for the administrator"
# The components' Export, not the meetings' "Export All" left of it.
WAIT=40 click_when_shown Export 0 700
dialog=$(wait_window "^Export Meeting $first\$")
focus "$dialog"
xdotool key Return
answer_file_dialog '^Save meeting components to file$' "$work/job.zrm"
box=$(wait_window '^Meeting exported$')
focus "$box"
xdotool key Return
wait_for 20 no_window "^Export Meeting $first\$" || fail "the export dialog stayed open"
[ -s "$work/job.zrm" ] || fail "no export file written"
cp "$work/job.zrm" "$shot_dir/e2e-meeting-job.zrm"

# The file: every box ticked, the meeting's components in their reduced form.
jq -e "(.assets | any(.Name == \"$model\" and .StgRelPath == \"presenter/$model\"))
   and (.urls | any(.Id == 22007 and .StgRelPath == \"$url\" and (has(\"Position\") | not)))
   and (.assetbundles | length == 1 and .[0].Name == \"$bundle\")
   and (.spawnpoints | length == 2)" "$work/job.zrm" > /dev/null ||
  fail "the export file lacks components: $(cat "$work/job.zrm")"
! grep -qiE 'StgHost|StgBucket|secret|AccessKey' "$work/job.zrm" || fail "the export file names the store"

# The second meeting, read by the console before the import goes onto it:
# its table loses the first meeting's model.
click_when_shown Product
wait_for 30 shows_not "$stem" 0 700 || fail "the second meeting's components did not show"
click_when_shown Import 0 700
answer_file_dialog '^Select Zarvo Export file$' "$work/job.zrm"

imported() {
  info "$second" > "$work/second.json" &&
    jq -e "(.assets | any(.Name == \"$model\"))
       and (.assets | any(.Id == 22007 and .StgRelPath == \"$url\"))
       and (.assetBundles | length == 1 and .[0].Name == \"$bundle\")" "$work/second.json" > /dev/null
}
wait_for 40 imported || fail "the import did not reach the second meeting: $(cat "$work/second.json")"
import -window root "$shot_dir/e2e-meeting-job-admin.png" 2> /dev/null || true
for title in 'Error during operation' 'Error parsing import file' 'Cannot open import file' 'Error writing export file'; do
  no_window "^$title\$" || fail "a box \"$title\" is open"
done

# The second meeting keeps what it had and gains the first one's components,
# the models under new ids of its own, the placeholder under its number.
info "$first" > "$work/first-after.json"
jq -e --slurpfile first "$work/first.json" --slurpfile before "$work/second-before.json" '
  (.assets | map(.Id) | length == (unique | length))
  and ([.assets[] | select(.Name == "stage.fbx")] | length == 2)
  and ([.assets[] | select(.Mode != 3)] | length == ([$before[0].assets[] | select(.Mode != 3)] | length) + ([$first[0].assets[] | select(.Mode != 3)] | length))
  and (.assets | any(.Id == 22001))
  and (.assets[] | select(.Id == 22007) | .Mode == 3 and .Position.x == 0 and .Scale.x == 1)
  and (.assetBundles[0].Id == $first[0].assetBundles[0].Id)
  and (.spawnPoints | map(.Id) | sort == [0, 1])' "$work/second.json" > /dev/null ||
  fail "the second meeting's components are not the import's: $(jq -c '{assets, assetBundles, spawnPoints}' "$work/second.json")"
jq -e --slurpfile first "$work/first.json" '.assets == $first[0].assets and .assetBundles == $first[0].assetBundles' \
  "$work/first-after.json" > /dev/null || fail "the export changed the first meeting"

echo "PASS: model, placeholder and bundle put on $first by the presenter; exported by the administrator and imported onto $second"
