#!/usr/bin/env bash
# Makes the small MP3 fixtures of the Layer III tests from a synthesised
# signal: a sine sweep on one channel and pink noise on the other, faded in
# and out, with sharp noise bursts four times a second on top (their attacks
# make the encoder switch to short blocks), band-limited to 12 kHz: the
# decoder gives long band 21 (above about 16 kHz at 44.1 and 48 kHz) no
# gain, so content there would not compare with other decoders.
# Needs sox and lame. Output: tests/fixtures/mp3/*.mp3, a few seconds each.
#
# The 8 kHz file has no bursts, so that the encoder uses no short blocks:
# for short blocks at 8 kHz the decoder starts region 1 at pair 18, as at
# every other rate, while the encoder starts it at pair 36, so short blocks
# from this encoder do not decode there.
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
out="$root/tests/fixtures/mp3"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

# name rate channels seconds bursts lame-options
fixtures=(
  "mpeg1_32k_mono_cbr     32000 1 2 1  -m m -b 64 -t"
  "mpeg1_44k_joint_vbr    44100 2 2 1  -m j -V 4"
  "mpeg1_48k_stereo_cbr   48000 2 2 1  -m s -b 128 -t"
  "mpeg2_22k_joint_cbr    22050 2 2 1  -m j -b 64 -t"
  "mpeg2_24k_mono_vbr     24000 1 2 1  -m m -V 5"
  "mpeg25_8k_mono_cbr     8000  1 2 0  -m m -b 16 -t"
  "mpeg25_11k_stereo_cbr  11025 2 2 1  -m s -b 32 -t"
)

for line in "${fixtures[@]}"; do
  read -r name rate channels seconds bursts options <<<"$line"
  wav="$work/$name.wav"
  top=$(( rate * 2 / 5 < 12000 ? rate * 2 / 5 : 12000 ))
  sox -n -r "$rate" -c 2 -b 16 "$work/tone.wav" \
    synth "$seconds" sine 110-"$top" pinknoise vol 0.5 sinc -"$top" fade h 0.5 "$seconds" 0.5
  if [ "$bursts" = 1 ]; then
    sox -n -r "$rate" -c 2 -b 16 "$work/bursts.wav" \
      synth 0.06 whitenoise vol 0.4 sinc -"$top" fade 0 0.06 0.05 pad 0.1 0.09 repeat $(( seconds * 4 - 1 ))
    sox -m "$work/tone.wav" "$work/bursts.wav" "$work/signal.wav" trim 0 "$seconds"
  else
    cp "$work/tone.wav" "$work/signal.wav"
  fi
  if [ "$channels" = 1 ]; then
    sox "$work/signal.wav" -c 1 "$wav" remix 1,2
  else
    cp "$work/signal.wav" "$wav"
  fi
  # shellcheck disable=SC2086
  lame --quiet --noreplaygain $options "$wav" "$out/$name.mp3"
done
ls -l "$out"
