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
  icecast2 ezstream tinyproxy xvfb xdotool
  wine wine64
)

# 32-bit Wine runs the i686 DLL (the product) under tests/windows/run_wine_tests.sh;
# without it only the x86_64 DLL is run there.
WINE32=(wine32:i386)

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

missing=()
for package in "${PACKAGES[@]}"; do
  installed "$package" || missing+=("$package")
done
missing32=()
for package in "${WINE32[@]}"; do
  installed "$package" || missing32+=("$package")
done
if [ ${#missing[@]} -eq 0 ] && [ ${#missing32[@]} -eq 0 ]; then
  exit 0
fi
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
if [ ${#missing32[@]} -ne 0 ]; then
  $SUDO dpkg --add-architecture i386
fi
$SUDO apt-get update -qq || echo "some package indexes could not be updated"
if [ ${#missing[@]} -ne 0 ]; then
  echo "installing: ${missing[*]}"
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
if [ ${#missing32[@]} -ne 0 ]; then
  # Never at the price of removing anything: when the i386 packages do not
  # match the installed amd64 ones (a mirror in sync), go without them.
  if DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends --no-remove \
      "${missing32[@]}"; then
    echo "32-bit Wine installed"
  else
    echo "32-bit Wine could not be installed; the i686 DLL will not be run under Wine"
  fi
fi
