#!/usr/bin/env bash
# Installs what VexaEngine needs on a Debian machine (run as root, or with
# sudo available). Packages already present are skipped.
#
#   scripts/install-deps.sh          building and the whole test suite (CI)
#   scripts/install-deps.sh --play   only building the library and vexaplay
set -euo pipefail

# Building the library and vexaplay, and playing through ALSA.
PLAY_PACKAGES=(
  build-essential cmake ninja-build pkg-config
  libasound2-dev libcurl4-openssl-dev
)

# Everything the tests, benchmarks and Windows builds add.
PACKAGES=(
  python3 git
  libgtest-dev libbenchmark-dev
  g++-mingw-w64-i686 g++-mingw-w64-x86-64 mingw-w64-tools binutils-mingw-w64
  llvm unzip man-db
  pulseaudio pulseaudio-utils alsa-utils libasound2-plugins
  mpg123 lame sox twolame
  icecast2 ezstream tinyproxy xvfb xdotool
  wine wine64
)

# 32-bit Wine runs the i686 DLL (the product) under tests/windows/run_wine_tests.sh.
WINE32=(wine32:i386)

wanted=("${PLAY_PACKAGES[@]}")
with_wine32=1
case ${1:-} in
  --play) with_wine32=0 ;;
  "") wanted+=("${PACKAGES[@]}") ;;
  *) echo "usage: $0 [--play]" >&2; exit 2 ;;
esac

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

missing=()
for package in "${wanted[@]}"; do
  installed "$package" || missing+=("$package")
done
if [ $with_wine32 -eq 1 ]; then
  for package in "${WINE32[@]}"; do
    installed "$package" || missing+=("$package")
  done
fi
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
apt_install() {
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "$@"
}

needs_i386=0
for package in "${missing[@]}"; do
  [[ $package == *:i386 ]] && needs_i386=1
done
if [ $needs_i386 -eq 0 ]; then
  $SUDO apt-get update -qq || echo "some package indexes could not be updated"
  echo "installing: ${missing[*]}"
  apt_install "${missing[@]}"
  exit 0
fi

# The i386 Wine libraries must carry exactly the versions of their amd64
# twins. Some amd64 libraries come from the security suite, whose i386 index
# a mirror may lack (or serve half-synced), so the twins cannot be matched
# afterwards. Installing everything in one transaction while the main suite
# is preferred over every other (priority above 1000, which allows the few
# shared libraries to go back to the main suite's version) gives matching
# pairs. The preference lives only for this transaction: a test machine's
# compromise, never run by --play.
$SUDO dpkg --add-architecture i386
$SUDO apt-get update -qq || echo "some package indexes could not be updated"
codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
preference=/etc/apt/preferences.d/vexa-main-suite-first
$SUDO tee "$preference" >/dev/null <<EOF
Package: *
Pin: release n=$codename,l=Debian
Pin-Priority: 1001
EOF
trap '$SUDO rm -f "$preference"' EXIT
echo "installing: ${missing[*]}"
apt_install --allow-downgrades "${missing[@]}"
