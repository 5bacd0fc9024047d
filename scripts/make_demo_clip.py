#!/usr/bin/env python3
"""Makes the project's own short audio clips: a few seconds of music-like
tones synthesised here, encoded to MPEG-1 Layer III by a Debian command-line
encoder used as a black box, with an ID3v1 tag appended.

  scripts/make_demo_clip.py              writes assets/demo.mp3 (the demo)
                                         and tests/fixtures/playback/quiet.mp3
                                         (a soft clip the level-scan test uses)

Needs python3 and the `lame` command (scripts/install-deps.sh installs it).
"""
import math
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import wave

RATE = 44100
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def note_hz(semitones_from_a4):
    return 440.0 * 2.0 ** (semitones_from_a4 / 12.0)


def voice(frequency, t, length):
    """A plucked tone: a few harmonics under a fast attack and a slow decay."""
    envelope = min(1.0, t / 0.01) * math.exp(-3.0 * t / length)
    return envelope * sum(math.sin(2 * math.pi * frequency * k * t) / k ** 1.5 for k in (1, 2, 3, 4))


def melody_samples(seconds, level):
    # A small tune over a bass line, one note per beat at 120 beats a minute.
    tune = [0, 3, 7, 12, 10, 7, 3, 5, 7, 8, 7, 5, 3, 2, 0, -2]
    bass = [-24, -24, -19, -19, -17, -17, -21, -21]
    beat = 0.5
    frames = int(seconds * RATE)
    out = []
    for i in range(frames):
        t = i / RATE
        step = int(t / beat)
        in_note = t - step * beat
        lead = voice(note_hz(tune[step % len(tune)]), in_note, beat)
        low = voice(note_hz(bass[(step // 2) % len(bass)]), t - (step // 2) * 2 * beat, 2 * beat)
        # Lead leaning left, bass leaning right.
        left = level * (0.65 * lead + 0.35 * low)
        right = level * (0.35 * lead + 0.65 * low)
        fade = min(1.0, (seconds - t) / 0.3)
        out.append((int(32767 * left * fade), int(32767 * right * fade)))
    return out


def write_wav(path, samples):
    with wave.open(path, "wb") as w:
        w.setnchannels(2)
        w.setsampwidth(2)
        w.setframerate(RATE)
        w.writeframes(b"".join(struct.pack("<hh", l, r) for l, r in samples))


def id3v1(title, artist, album, year, comment, track, genre):
    def field(text, size):
        return text.encode("latin-1")[:size].ljust(size, b"\0")

    return (b"TAG" + field(title, 30) + field(artist, 30) + field(album, 30) + field(year, 4)
            + field(comment, 28) + b"\0" + bytes([track, genre]))


def make(path, seconds, level, bitrate, title, track):
    encoder = shutil.which("lame")
    if encoder is None:
        sys.exit("the MP3 encoder is missing: run scripts/install-deps.sh")
    with tempfile.TemporaryDirectory() as scratch:
        source = os.path.join(scratch, "clip.wav")
        encoded = os.path.join(scratch, "clip.mp3")
        write_wav(source, melody_samples(seconds, level))
        subprocess.run([encoder, "--quiet", "-b", str(bitrate), "-m", "j", source, encoded], check=True)
        with open(encoded, "rb") as f:
            data = f.read()
    tag = id3v1(title, "VexaEngine project", "Demo clips", "2026", "synthesised tones", track, 52)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data + tag)
    print(f"{os.path.relpath(path, ROOT)}: {len(data) + len(tag)} bytes")


def main():
    make(os.path.join(ROOT, "assets", "demo.mp3"), 8.0, 0.45, 96, "Demo tune", 1)
    make(os.path.join(ROOT, "tests", "fixtures", "playback", "quiet.mp3"), 3.0, 0.01, 64, "Quiet tune", 2)


if __name__ == "__main__":
    main()
