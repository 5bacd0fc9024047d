#!/usr/bin/env bash
# Starts (or stops) a private sound server for the device tests: PulseAudio
# with one null sink, reached by ALSA through its pulse plugin. What reaches
# the sink can be captured from its monitor source.
#
#   sound_server.sh start DIR   start a server with its socket and state in DIR
#   sound_server.sh stop DIR    stop it
#
# The tests find the server through PULSE_SERVER=unix:DIR/native and play
# through the ALSA device "pulse". Running as root is allowed: the server
# runs in per-user mode with its runtime and state folders under DIR.
set -euo pipefail

action=${1:?start or stop}
dir=${2:?folder}
mkdir -p "$dir"
dir=$(cd "$dir" && pwd)

export PULSE_RUNTIME_PATH="$dir/runtime"
export PULSE_STATE_PATH="$dir/state"
export XDG_RUNTIME_DIR="$dir/runtime"
export HOME="$dir"
mkdir -p "$PULSE_RUNTIME_PATH" "$PULSE_STATE_PATH"
chmod 700 "$PULSE_RUNTIME_PATH"

case "$action" in
start)
    command -v pulseaudio >/dev/null || { echo "pulseaudio is not installed (scripts/install-deps.sh)" >&2; exit 1; }
    has_sink() { PULSE_SERVER="unix:$dir/native" pactl list short sinks 2>/dev/null | grep -q vexa_sink; }
    pacer_runs() { [ -f "$dir/pacer.pid" ] && kill -0 "$(cat "$dir/pacer.pid")" 2>/dev/null; }
    if ! { [ -S "$dir/native" ] && has_sink; }; then
        # No server, or one without the sink (an old configuration): start afresh.
        PULSE_SERVER="unix:$dir/native" pactl exit >/dev/null 2>&1 || true
        pulseaudio --kill >/dev/null 2>&1 || true
        # A server still on its way out would make the new one refuse to start.
        for _ in $(seq 1 100); do pulseaudio --check 2>/dev/null || break; sleep 0.05; done
        cat >"$dir/server.pa" <<PA
load-module module-null-sink sink_name=vexa_sink rate=44100 channels=2 sink_properties=device.description=VexaTestSink
set-default-sink vexa_sink
load-module module-native-protocol-unix socket=$dir/native auth-anonymous=1
PA
        # A server that cannot start says why in its log, shown below.
        pulseaudio --daemonize=yes --exit-idle-time=-1 --system=false \
            -n -F "$dir/server.pa" --log-target="file:$dir/server.log" --use-pid-file=yes || true
        for _ in $(seq 1 100); do has_sink && break; sleep 0.05; done
        if ! has_sink; then
            echo "the sound server did not come up; its log:" >&2
            cat "$dir/server.log" >&2 || true
            exit 1
        fi
    fi
    if ! pacer_runs; then
        # A null sink renders in blocks of seconds unless a client asks for
        # low latency, which would hold a new stream for up to that long; a
        # sound card works in periods of a few ms. A reader of the sink's
        # monitor at 10 ms keeps it working like one.
        PULSE_SERVER="unix:$dir/native" setsid parec --device=vexa_sink.monitor --latency-msec=10 \
            --raw >/dev/null 2>&1 </dev/null &
        echo $! >"$dir/pacer.pid"
        sleep 0.3  # until the pacer's stream runs
    fi
    exit 0
    ;;
stop)
    [ -f "$dir/pacer.pid" ] && kill "$(cat "$dir/pacer.pid")" >/dev/null 2>&1 || true
    PULSE_SERVER="unix:$dir/native" pactl exit >/dev/null 2>&1 || true
    pulseaudio --kill >/dev/null 2>&1 || true  # the server of this runtime folder only
    ;;
*)
    echo "unknown action $action" >&2
    exit 2
    ;;
esac
