#!/usr/bin/env bash
# Runs the Windows host (vexahost.exe) under Wine on the cross-built DLLs,
# the i686 one (the product) and the x86_64 one; without 32-bit Wine the run
# fails (scripts/install-deps.sh installs it). Builds nothing: run it after
# building build/win-x64, build/win-i686 and build/linux-debug.
#
#   tests/windows/run_wine_tests.sh [--sound] [--locales] [--http]
#
# With ../shared/vectors/iso the host records conformance vectors, and the
# WAVs must equal byte for byte what the Linux vexaplay records with the same
# settings. --sound plays through a private PulseAudio null sink, which must
# receive the sound; --http plays HTTP streams from the loopback servers of
# tests/http/servers.sh through WinINet (with Xvfb and xdotool the proxy
# credentials dialog is answered on a virtual display); --locales reads the
# string table under each carried interface language.
#
# Every run has its own WINEPREFIX in a temporary folder, WINEDEBUG=-all and no
# display. Exit code 0 only when every run passed.
set -euo pipefail

root=$(cd "$(dirname "$0")/../.." && pwd)
vectors=""
[[ -d $root/../shared/vectors/iso ]] && vectors=$(cd "$root/../shared/vectors/iso" && pwd)
player=""
[[ -x $root/build/linux-debug/tools/vexaplay/vexaplay ]] && player=$root/build/linux-debug/tools/vexaplay/vexaplay
sound=0 locales=0 http=0
main_env=()
for option; do
    case $option in
        --sound) sound=1 ;;
        --locales) locales=1 ;;
        --http) http=1 ;;
        *) echo "unknown option $option" >&2; exit 2 ;;
    esac
done

command -v wine >/dev/null || { echo "wine is not installed (scripts/install-deps.sh)"; exit 1; }

scratch=$(mktemp -d /tmp/vexa-wine.XXXXXX)
cleanup() {
    [[ $http -eq 1 ]] && "$root/tests/http/servers.sh" stop "$scratch/http" || true
    [[ -d $scratch/pulse ]] && "$root/tests/scripts/sound_server.sh" stop "$scratch/pulse" || true
    local prefix
    for prefix in "$scratch"/prefix-*; do
        [[ -d $prefix ]] && WINEPREFIX=$prefix wineserver -k >/dev/null 2>&1 || true
    done
    rm -rf "$scratch"
}
trap cleanup EXIT

export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="  # no Mono or Gecko installers in a fresh prefix
unset DISPLAY WAYLAND_DISPLAY

if [[ $sound -eq 1 ]]; then
    "$root/tests/scripts/sound_server.sh" start "$scratch/pulse"
    export PULSE_SERVER="unix:$scratch/pulse/native"
fi

if [[ $http -eq 1 ]]; then
    mkdir -p "$scratch/www"
    cp "$root/tests/fixtures/mp3/mpeg1_48k_stereo_cbr.mp3" "$scratch/www/stream.mp3"
    cp "$root/assets/demo.mp3" "$scratch/www/live.mp3"
    "$root/tests/http/servers.sh" start "$scratch/http" "$scratch/www"
    export VEXA_HTTP=http://127.0.0.1:$(cat "$scratch/http/http.port")
    export VEXA_HTTP_CLOSED=http://127.0.0.1:$(cat "$scratch/http/closed.port")
    export VEXA_HTTP_PROXY=127.0.0.1:$(cat "$scratch/http/proxy.port")
    if command -v Xvfb >/dev/null && command -v xdotool >/dev/null; then
        display=":$((100 + RANDOM % 800))"
        Xvfb "$display" -screen 0 800x600x24 >"$scratch/xvfb.log" 2>&1 &
        echo $! >"$scratch/http/xvfb.pid"
        (  # types the proxy's credentials into every credentials dialog that shows
            set +e
            export DISPLAY=$display
            while sleep 0.5; do
                for id in $(xdotool search --onlyvisible --name "Enter Network Password"); do
                    xdotool type --window "$id" --delay 50 vexa
                    xdotool key --window "$id" Tab
                    xdotool type --window "$id" --delay 50 secret
                    xdotool key --window "$id" Return
                done
            done
        ) >/dev/null 2>&1 &
        echo $! >"$scratch/http/dialog.pid"
        main_env=(DISPLAY="$display" VEXA_HTTP_DIALOG=1)
    fi
fi

failures=0 runs=0

# run_host ARCH NAME LANGUAGE [env VAR=VALUE...]: one host run in a fresh
# folder; LANGUAGE nonzero is the interface language the run must have (the
# host then leaves out recording and playback).
run_host() {
    local arch=$1 name=$2 language=$3
    shift 3
    local build=$root/build/win-$arch
    local work=$scratch/$arch-$name
    mkdir -p "$work"
    cp "$build/vexaengine.dll" "$build/tests/windows/vexahost.exe" "$work/"
    [[ $http -eq 1 ]] && cp "$scratch/www/stream.mp3" "$work/"
    export WINEPREFIX=$scratch/prefix-$arch
    # The first Wine program of a prefix starts its desktop: it must see the run's display.
    local args=(--dll vexaengine.dll --work "$(env "$@" winepath -w "$work")")
    [[ -n $vectors ]] && args+=(--vectors "$(winepath -w "$vectors")")
    if [[ $language -ne 0 ]]; then
        args+=(--language "$language")
    elif [[ $sound -eq 1 ]]; then
        args+=(--sound)
    fi
    echo "==== $arch $name"
    runs=$((runs + 1))
    local capture=""
    if [[ $sound -eq 1 && $language -eq 0 ]]; then
        # What reaches the sink while the host plays, as the sink's format.
        parec --device=vexa_sink.monitor --raw --format=s16le --rate=44100 --channels=2 >"$work/sink.raw" &
        capture=$!
    fi
    if ! (cd "$work" && env "$@" wine vexahost.exe "${args[@]}" 2>"$work/wine-stderr.txt" | tee "$work/host.txt"); then
        failures=$((failures + 1))
        echo "---- wine's own messages:"
        tail -n 20 "$work/wine-stderr.txt" || true
    fi
    if [[ -n $capture ]]; then
        kill "$capture" 2>/dev/null || true
        wait "$capture" 2>/dev/null || true
        check_sink_capture "$arch" "$work/sink.raw"
    fi
}

# check_sink_capture ARCH FILE: the sound server received the host's
# playback, not silence: at least a quarter of a second above -50 dBFS (the
# host plays about 2.5 s; a loaded machine may lose some of the capture).
check_sink_capture() {
    local arch=$1 file=$2 loud
    loud=$(python3 -c 'import array, sys
data = open(sys.argv[1], "rb").read()
samples = array.array("h", data[: len(data) // 2 * 2])
print(sum(1 for s in samples if abs(s) > 100) // 2)' "$file" 2>/dev/null || echo 0)
    if [[ $loud -ge 11025 ]]; then
        echo "PASS $arch: the sound server received $((loud * 1000 / 44100)) ms of sound through waveOut"
    else
        echo "FAIL $arch: the sound server received only $loud loud frames through waveOut"
        failures=$((failures + 1))
    fi
}

# compare_recordings ARCH: the WAVs of the host run against the Linux
# library's, recorded by vexaplay from the list the host wrote (engine,
# quality, mono, 8-bit, input) with the same settings and renamed to the
# host's automatic names.
compare_recordings() {
    local arch=$1 work=$scratch/$1-main linux=$scratch/$1-linux
    [[ -n $vectors && -f $work/recordings.txt ]] || return 0
    if [[ -z $player ]]; then
        echo "note: no Linux vexaplay (build linux-debug first); recordings not compared"
        return 0
    fi
    local n=0 status=0 engine quality mono eightbit input options wav
    while read -r engine quality mono eightbit input; do
        n=$((n + 1)) input=${input%$'\r'}
        options=(--engine "$engine" --quality "$quality")
        [[ $mono -ne 0 ]] && options+=(--mono)
        [[ $eightbit -ne 0 ]] && options+=(--8bit)
        mkdir -p "$linux/$n"
        "$player" "${options[@]}" --wav "$linux/$n" "$vectors/$input" >/dev/null 2>&1 </dev/null
        wav=$(printf '%02d-%s.wav' "$n" "${input%.bit}")
        if ! mv "$linux/$n"/*.wav "$linux/$wav" 2>/dev/null; then
            echo "FAIL $arch: the Linux library did not record $input"; status=1
        elif [[ ! -f $work/$wav ]]; then
            echo "FAIL $arch: the DLL wrote no $wav"; status=1
        elif cmp -s "$linux/$wav" "$work/$wav"; then
            echo "PASS $arch: $wav is byte-identical to the Linux library's ($(stat -c %s "$work/$wav") bytes)"
        else
            echo "FAIL $arch: $wav differs from the Linux library's: $(cmp "$work/$wav" "$linux/$wav" | head -n 1)"
            status=1
        fi
    done <"$work/recordings.txt"
    [[ $status -eq 0 ]] || failures=$((failures + 1))
}

archs=(i686 x64)
# 32-bit programs need the i386 loader of the wine32 package.
if [[ ! -x /usr/lib/wine/wine && ! -x /usr/lib/i386-linux-gnu/wine/wine ]]; then
    echo "FAIL: 32-bit Wine (wine32) is not installed, so the i686 DLL cannot run (scripts/install-deps.sh)"
    failures=$((failures + 1))
    archs=(x64)
fi

for arch in "${archs[@]}"; do
    if [[ ! -f $root/build/win-$arch/tests/windows/vexahost.exe ]]; then
        echo "FAIL: build/win-$arch has no vexahost.exe (cmake --build build/win-$arch first)"
        failures=$((failures + 1))
        continue
    fi
    run_host "$arch" main 0 "${main_env[@]}"
    compare_recordings "$arch"
    if [[ $locales -eq 1 ]]; then
        # Wine takes the interface language from the locale variables.
        for pair in de_DE:1031 fr_FR:1036 ja_JP:1041 ko_KR:1042 en_GB:2057; do
            locale=${pair%%:*}.UTF-8
            run_host "$arch" "$locale" "${pair##*:}" LC_ALL="$locale" LANG="$locale"
        done
    fi
done

echo "==== $runs Wine runs, $failures failed"
[[ $failures -eq 0 ]]
