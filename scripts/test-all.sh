#!/usr/bin/env bash
# Installs what is missing, builds every configuration and runs the whole
# test suite: the Linux debug build, the same under AddressSanitizer and
# UndefinedBehaviorSanitizer, the threaded suites under ThreadSanitizer, and
# the Windows DLLs cross-built with their export tables checked.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
jobs=$(nproc)

step() { printf '\n==== %s\n' "$*"; }

build() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" -j "$jobs"
}

step "Linux debug build and tests"
build linux-debug
ctest --preset linux-debug -j "$jobs"

step "AddressSanitizer + UndefinedBehaviorSanitizer"
build asan
ctest --preset asan -j "$jobs"

step "ThreadSanitizer (threaded suites)"
build tsan
ctest --preset tsan -j "$jobs"

step "Windows DLLs (mingw-w64)"
for preset in win-i686 win-x64; do
  build "$preset"
  if [ -x scripts/check_dll_exports.sh ]; then
    scripts/check_dll_exports.sh "build/$preset/vexaengine.dll"
  fi
done
if [ -x tests/windows/run_wine_tests.sh ]; then
  step "Windows DLL under Wine"
  tests/windows/run_wine_tests.sh --sound --locales
fi

step "all test stages passed"
