#!/usr/bin/env bash
# Installs what is missing, builds every configuration and runs the whole
# test suite: the Linux debug build, the same under AddressSanitizer and
# UndefinedBehaviorSanitizer, the threaded suites under ThreadSanitizer, the
# optimised build with its benchmarks and the PCM digests, the Windows DLLs
# cross-built with their export tables checked, the DLLs under Wine, and the
# packaging. Every stage runs even when an earlier one failed, so one run
# shows everything that is wrong; the exit code is non-zero if any failed.
set -uo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh || exit 1
jobs=$(nproc)
failed=()

stage() {
  local name=$1
  shift
  printf '\n==== %s\n' "$name"
  if ! "$@"; then
    failed+=("$name")
    printf '==== FAILED: %s\n' "$name"
  fi
}

build() {
  cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -j "$jobs"
}

linux_tests() { build linux-debug && ctest --preset linux-debug -j "$jobs"; }
address_sanitizer() { build asan && ctest --preset asan -j "$jobs"; }
thread_sanitizer() { build tsan && ctest --preset tsan -j "$jobs"; }
# The optimised build with its benchmarks: the benchmarks must keep building,
# and the PCM digests must hold when the compiler vectorises.
release_digests() { build linux-release && build/linux-release/tests/test_digest; }

windows_dlls() {
  local preset
  for preset in win-i686 win-x64; do
    build "$preset" || return 1
    scripts/check_dll_exports.sh "build/$preset/vexaengine.dll" || return 1
  done
}

wine_runs() { tests/windows/run_wine_tests.sh --sound --locales --http; }
packaging() { scripts/check_packaging.sh; }

stage "Linux debug build and tests" linux_tests
stage "AddressSanitizer + UndefinedBehaviorSanitizer" address_sanitizer
stage "ThreadSanitizer (threaded suites)" thread_sanitizer
stage "Release build, benchmarks and PCM digests" release_digests
stage "Windows DLLs (mingw-w64) and their export tables" windows_dlls
stage "Windows DLLs under Wine" wine_runs
stage "Packaging: install tree, example hosts, Windows SDK archive" packaging

if [ ${#failed[@]} -ne 0 ]; then
  printf '\n==== stages that failed:\n'
  printf '  %s\n' "${failed[@]}"
  exit 1
fi
printf '\n==== every stage passed\n'
