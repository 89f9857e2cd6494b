#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
# usage: bash cmake/install-deps.sh [more packages...]
set -euo pipefail
needed=(cmake g++ make pkg-config libtiff-dev libpng-dev libcli11-dev libgtest-dev "$@")
missing=()
for p in "${needed[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi
