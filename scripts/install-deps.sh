#!/usr/bin/env bash
# Installs the Debian packages listed in scripts/packages.txt that are not installed yet.
# Needs root or sudo; does nothing when everything is present.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t wanted < <(grep -vE '^\s*(#|$)' "$here/packages.txt")
missing=()
for p in "${wanted[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
