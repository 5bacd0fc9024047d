#!/usr/bin/env bash
# Installs what building and testing VexaEngine needs on a Debian machine
# (run as root, or with sudo available). Packages already present are skipped.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config python3 git
  libgtest-dev libbenchmark-dev
  libasound2-dev libcurl4-openssl-dev
  g++-mingw-w64-i686 g++-mingw-w64-x86-64 mingw-w64-tools binutils-mingw-w64
  pulseaudio pulseaudio-utils alsa-utils libasound2-plugins
  mpg123 lame sox
)

missing=()
for package in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
echo "installing: ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
