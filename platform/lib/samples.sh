# shellcheck shell=bash
# Sample files of the stack: what the accounts find in their storage on a fresh start.

# The seed meetings show "<login>/models/stage.fbx" with this size.
STAGE_FBX_SIZE=482133

sample_fbx() {  # sample_fbx <file> <size> <name>
  { printf '; FBX 7.4.0 project file\n; Zarvo sample model "%s"\n' "$3"
    printf 'FBXHeaderExtension:  {\n\tFBXHeaderVersion: 1003\n\tFBXVersion: 7400\n}\n'
    printf 'Objects:  {\n'
    # One printf over a long argument list; a shell loop would cost a second per file.
    # shellcheck disable=SC2183,SC2046
    printf '\tVertices: *3 { a: %d,0,%d }\n' $(seq 0 $(($2 / 8)))
  } > "$1"
  truncate -s "$2" "$1"
}

sample_png() {  # a 2x2 image
  base64 -d > "$1" <<'PNG'
iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAIAAAD91JpzAAAAFklEQVR4nGP4z8DAwMDAxMDAwMDAAAANHQEDasKb6QAAAABJRU5ErkJggg==
PNG
}

sample_pdf() {  # sample_pdf <file> <title>
  local body="BT /F1 18 Tf 72 720 Td ($2) Tj ET"
  local objs=(
    "<< /Type /Catalog /Pages 2 0 R >>"
    "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"
    "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << /Font << /F1 5 0 R >> >> >>"
    "<< /Length ${#body} >>
stream
$body
endstream"
    "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"
  )
  local out="%PDF-1.4"$'\n' offsets=() i
  for i in "${!objs[@]}"; do
    offsets+=("${#out}")
    out+="$((i + 1)) 0 obj"$'\n'"${objs[$i]}"$'\n'"endobj"$'\n'
  done
  local xref=${#out}
  out+="xref"$'\n'"0 $(( ${#objs[@]} + 1 ))"$'\n'"0000000000 65535 f "$'\n'
  for i in "${offsets[@]}"; do out+=$(printf '%010d 00000 n ' "$i")$'\n'; done
  out+="trailer"$'\n'"<< /Size $(( ${#objs[@]} + 1 )) /Root 1 0 R >>"$'\n'"startxref"$'\n'"$xref"$'\n'"%%EOF"$'\n'
  printf '%s' "$out" > "$1"
}

# An account's storage folder with the usual files.
sample_folder() {  # sample_folder <dir> <login>
  local dir=$1 login=$2
  mkdir -p "$dir/models" "$dir/images" "$dir/docs"
  sample_fbx "$dir/models/stage.fbx" "$STAGE_FBX_SIZE" stage
  sample_fbx "$dir/models/chair.fbx" 4096 chair
  sample_png "$dir/images/logo.png"
  sample_pdf "$dir/docs/handout.pdf" "Handout of $login"
  printf 'Storage folder of the account "%s".\n' "$login" > "$dir/readme.txt"
}

# samples_s3 <dir>: the object store's content, one folder per bucket, key = path below it.
# Accounts on temporary keys see the folder their key's role id names ("AROA...:<login>").
samples_s3() {
  local dir=$1 login suffix
  for login in admin groupadmin presenter visitor inactive small trial; do
    sample_folder "$dir/zarvo/$login" "$login"
  done
  sample_folder "$dir/zarvo/AROAZRVSIM00000000002:groupadmin" groupadmin
  # The Amazon S3 account works in the one bucket the console fixes for that mode.
  sample_folder "$dir/bvkzrv/AROAZRVSIM00000000008:amazon" amazon
  # The two seed asset bundles, four platform builds each.
  mkdir -p "$dir/zarvo/global/__ASSETBUNDLES" "$dir/zarvo/presenter/__ASSETBUNDLES"
  for suffix in .win.asb .ios.asb .android.asb .web.asb; do
    sample_fbx "$dir/zarvo/global/__ASSETBUNDLES/Zarvo Lobby$suffix" 16384 "Zarvo Lobby$suffix"
    sample_fbx "$dir/zarvo/presenter/__ASSETBUNDLES/Presenter Stage$suffix" 16384 "Presenter Stage$suffix"
  done
}

# samples_webdav <dir>: home folder of the NextCloud account, nested a few levels.
samples_webdav() {
  local dir=$1
  mkdir -p "$dir/Models/Furniture" "$dir/Images/Backgrounds/2026" "$dir/Documents/Handouts"
  sample_fbx "$dir/Models/stage.fbx" "$STAGE_FBX_SIZE" stage
  sample_fbx "$dir/Models/Furniture/chair.fbx" 4096 chair
  sample_fbx "$dir/Models/Furniture/Office Desk.fbx" 8192 "Office Desk"
  sample_png "$dir/Images/logo.png"
  sample_png "$dir/Images/Backgrounds/2026/sky.png"
  sample_pdf "$dir/Documents/agenda.pdf" "Agenda"
  sample_pdf "$dir/Documents/Handouts/handout.pdf" "Handout"
  printf 'Files of the NextCloud account "cloud".\n' > "$dir/readme.txt"
}
