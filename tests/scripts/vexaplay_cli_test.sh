#!/usr/bin/env bash
# vexaplay as a user runs it: recording the demo clip to a WAV file, and the
# exit code and message of each kind of failure.
#   tests/scripts/vexaplay_cli_test.sh VEXAPLAY DEMO_CLIP
set -uo pipefail
vexaplay=$1
demo=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0
fail() { echo "FAIL $1"; failures=$((failures + 1)); }
check() {  # description, expected exit code, command...
  local what=$1 expected=$2
  shift 2
  "$@" >"$scratch/out" 2>&1 </dev/null
  local code=$?
  if [ "$code" -ne "$expected" ]; then
    fail "$what: exit $code, expected $expected"; sed 's/^/    /' "$scratch/out"
  else
    echo "PASS $what"
  fi
}

mkdir "$scratch/wav"
check "record-only run of the demo clip" 0 "$vexaplay" --wav "$scratch/wav" "$demo"
wav=$(ls "$scratch/wav"/*.wav 2>/dev/null | head -n 1)
[ -n "$wav" ] && [ "$(head -c 4 "$wav")" = "RIFF" ] && [ "$(stat -c %s "$wav")" -ge 100000 ] ||
  fail "the recording is a WAV file of the clip's length"
grep -q "Title : Demo tune" "$scratch/out" || fail "the tag line is shown"

mkdir "$scratch/fx"
check "recording with every effect on" 0 "$vexaplay" --reverb 2 --chorus --wide --wide-amount 20 --preset 6 --wav "$scratch/fx" "$demo"
check "an effect option out of range" 2 "$vexaplay" --preset 11 "$demo"
check "a missing file" 3 "$vexaplay" "$scratch/missing.mp3"
grep -q "could not be opened" "$scratch/out" || fail "the missing file is named as such"
head -c 5000 /dev/urandom | tr -d '\377' > "$scratch/noise.mp3"
check "a file without MPEG audio" 4 "$vexaplay" "$scratch/noise.mp3"
check "no file given" 2 "$vexaplay"
check "an unknown option" 2 "$vexaplay" --no-such-option "$demo"
check "a recording folder that does not exist" 5 "$vexaplay" --wav "$scratch/absent" "$demo"

echo "$failures failed"
[ "$failures" -eq 0 ]
