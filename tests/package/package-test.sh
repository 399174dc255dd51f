#!/usr/bin/env bash
# Builds the Debian package from a release configuration of its own, unpacks it
# into a scratch root as dpkg would lay it out, and checks the installed
# console: its layout, its package metadata, and that `zarvo-console --help`
# run through the link in bin/ answers with the -i option.
#
#   package-test.sh <source dir> <build dir>
set -euo pipefail
src=$1
build=$2
root=$build/root
cmake=${ZRV_CMAKE:-cmake}
cpack=${ZRV_CPACK:-cpack}
mkdir -p "$build"

fail() {
  echo "package test: $*" >&2
  exit 1
}

for tool in dpkg-deb dpkg-shlibdeps fakeroot; do
  command -v "$tool" > /dev/null || fail "$tool is missing (bash scripts/install-deps.sh)"
done

launcher=()
if command -v ccache > /dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  export CCACHE_BASEDIR=$src
fi
# The package holds the console only, so cpack need not build the simulator
# and the rest of "all" first.
"$cmake" -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRV_SANITIZE=OFF -DZRV_BUILD_TESTS=OFF \
  -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON "${launcher[@]}" > "$build/configure.log" ||
  fail "configure failed, see $build/configure.log"
"$cmake" --build "$build" --target zarvo-console -j"$(nproc)" > "$build/build.log" ||
  fail "build failed, see $build/build.log"
rm -f "$build"/zarvo-console_*.deb
(cd "$build" && fakeroot "$cpack" -G DEB > cpack.log) || fail "cpack failed, see $build/cpack.log"
deb=$(ls "$build"/zarvo-console_*.deb)
echo "package: $deb"

rm -rf "$root"
dpkg-deb -x "$deb" "$root"
dpkg-deb -e "$deb" "$root/DEBIAN"

# The layout the console's own lookups need.
[ -x "$root/usr/lib/zarvo-console/zarvo-console" ] || fail "no executable in /usr/lib/zarvo-console"
[ "$(readlink "$root/usr/bin/zarvo-console")" = ../lib/zarvo-console/zarvo-console ] ||
  fail "/usr/bin/zarvo-console is not the link to the executable's folder"
[ -s "$root/usr/lib/zarvo-console/copyright.txt" ] || fail "no legal notice beside the executable"
[ "$(readlink "$root/usr/lib/zarvo-console/zarvo-console.ini")" = /etc/zarvo-console/zarvo-console.ini ] ||
  fail "the INI file beside the executable is not the link to /etc"
grep -q '^\[ZRV_MeetingService\]' "$root/etc/zarvo-console/zarvo-console.ini" || fail "no example INI file in /etc"
grep -qx /etc/zarvo-console/zarvo-console.ini "$root/DEBIAN/conffiles" || fail "the INI file is not a conffile"
grep -q '^Exec=zarvo-console' "$root/usr/share/applications/zarvo-console.desktop" || fail "no desktop entry"
for size in 16x16 32x32 48x48 256x256; do
  [ -s "$root/usr/share/icons/hicolor/$size/apps/zarvo-console.png" ] || fail "no $size icon"
done
[ -s "$root/usr/share/icons/hicolor/scalable/apps/zarvo-console.svg" ] || fail "no scalable icon"

# Dependencies as dpkg-shlibdeps found them from the linked libraries.
depends=$(dpkg-deb -f "$deb" Depends)
echo "Depends: $depends"
for pkg in libqt5core5a libqt5gui5 libqt5widgets5 libqt5network5 libqt5svg5 libcurl4 libssl3 libc6; do
  grep -qE "(^|, )$pkg( |,|$)" <<< "$depends" || fail "Depends lacks $pkg"
done

# Run as installed: through the bin link, from a folder of no account, with no
# INI file named; an installed console finds its own.
out=$(cd /tmp && env -i PATH=/usr/bin:/bin HOME="$build" QT_QPA_PLATFORM=offscreen \
  "$root/usr/bin/zarvo-console" --help 2>&1) || fail "zarvo-console --help failed: $out"
echo "$out"
grep -qE '^ *-i <ini file> +Path to the INI File' <<< "$out" || fail "--help does not name the -i option"
echo "package test: passed"
