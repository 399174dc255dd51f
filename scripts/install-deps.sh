#!/usr/bin/env bash
# Installs the Debian packages listed in deb-packages.txt (and any list given as
# arguments) that are not there yet; does nothing when all are present.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
lists=("$here/deb-packages.txt" "$@")
missing=()
for list in "${lists[@]}"; do
  while read -r pkg; do
    pkg=${pkg%%#*}; pkg=$(echo "$pkg" | xargs)
    [ -n "$pkg" ] || continue
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
      missing+=("$pkg")
    fi
  done < "$list"
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get -o DPkg::Lock::Timeout=300 update -qq || true
$sudo apt-get -o DPkg::Lock::Timeout=300 install -y -qq --no-install-recommends "${missing[@]}"
