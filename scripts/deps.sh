#!/usr/bin/env bash
# Installs the Debian packages the build needs, where they are missing.
set -euo pipefail
packages=(build-essential cmake ninja-build pkg-config qtbase5-dev libgtest-dev libgmock-dev libbenchmark-dev python3)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo=sudo
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
