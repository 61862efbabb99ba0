#!/usr/bin/env bash
# Installs what the project needs to build, run and test on Debian 12.
# Runs apt-get only when something is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git python3
  zlib1g-dev libjpeg62-turbo-dev libsqlite3-dev libexpat1-dev libcairo2-dev
  libfreetype-dev libfontconfig-dev
  fonts-dejavu-core fonts-liberation2 fonts-crosextra-carlito fonts-urw-base35
  fonts-wqy-microhei fonts-thai-tlwg-ttf
  libgtest-dev libbenchmark-dev
  qpdf poppler-utils poppler-data tzdata python3-numpy python3-pil
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
