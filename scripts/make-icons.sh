#!/usr/bin/env bash
# Renders the console's raster icons from the SVG drawings in resources/icons/src
# and writes resources/zrv.qrc. The results are committed, so a build never needs
# this script; run it after changing a drawing.
# Needs: rsvg-convert (librsvg2-bin) and ImageMagick's convert (imagemagick).
set -euo pipefail

here="$(cd "$(dirname "$0")/.." && pwd)"
icons="$here/resources/icons"
src="$icons/src"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

for tool in rsvg-convert convert; do
  command -v "$tool" >/dev/null || { echo "make-icons: $tool is missing (apt-get install librsvg2-bin imagemagick)" >&2; exit 1; }
done

png() { # svg, size, out
  rsvg-convert -w "$2" -h "$2" -o "$3" "$1"
}

# Buttons, table cells and the storage modes: 64 px scales down cleanly.
for svg in "$src"/*.svg; do
  name="$(basename "$svg" .svg)"
  png "$svg" 64 "$icons/$name.png"
done
# The window icon is also what a desktop shows at large sizes.
png "$icons/logo.svg" 256 "$icons/logo.png"
# The sizes a desktop's icon theme asks for, installed under hicolor.
for px in 16 24 32 48 64 128 256; do
  mkdir -p "$icons/hicolor/${px}x$px"
  png "$icons/logo.svg" "$px" "$icons/hicolor/${px}x$px/zarvo-console.png"
done

# File types: one page drawing, a short label and a colour per family.
filetypes=(
  "avi #7b1fa2" "flv #7b1fa2" "mkv #7b1fa2" "mov #7b1fa2" "mp4 #7b1fa2" "mpg #7b1fa2" "webm #7b1fa2" "wmv #7b1fa2"
  "m4a #00897b" "mp3 #00897b" "wav #00897b" "wma #00897b"
  "bmp #388e3c" "gif #388e3c" "jpg #388e3c" "pic #388e3c" "png #388e3c"
  "doc #1565c0" "pdf #c62828" "ppt #e65100" "xls #2e7d32" "txt #546e7a"
  "fbx #6d4c41"
)
for entry in "${filetypes[@]}"; do
  ext="${entry%% *}"; colour="${entry##* }"
  label="$(tr '[:lower:]' '[:upper:]' <<<"$ext")"
  size=17; [ "${#label}" -gt 3 ] && size=13
  sed -e "s/@LABEL@/$label/" -e "s/@COLOUR@/$colour/" -e "s/@SIZE@/$size/" \
      "$src/filetype.svg.in" >"$work/$ext.svg"
  for px in 16 32 48 64; do png "$work/$ext.svg" "$px" "$work/$ext-$px.png"; done
  convert "$work/$ext-16.png" "$work/$ext-32.png" "$work/$ext-48.png" "$work/$ext-64.png" "$icons/$ext.ico"
done

# Every icon under one prefix; the code names them ":/ZRV_ServerApp/<file>".
{
  echo '<RCC>'
  echo '  <qresource prefix="/ZRV_ServerApp">'
  (cd "$icons" && ls -1 *.svg *.png *.ico | LC_ALL=C sort) | while read -r f; do
    echo "    <file alias=\"$f\">icons/$f</file>"
  done
  echo '  </qresource>'
  echo '</RCC>'
} >"$here/resources/zrv.qrc"

echo "make-icons: $(ls -1 "$icons"/*.png "$icons"/*.ico | wc -l) raster icons written"
