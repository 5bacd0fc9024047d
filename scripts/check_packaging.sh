#!/usr/bin/env bash
# Checks what a user of the library gets, as a user would:
#  - Linux: `cmake --install` of the linux-debug build into a fresh prefix,
#    its files (SONAME, headers, vexaplay and its manual page, CMake package,
#    pkg-config file), and the example host built against that tree twice,
#    through find_package and through pkg-config, and run;
#  - Windows (when the win-i686 and win-x64 builds exist): the SDK archive,
#    its contents, exports, import libraries and version, and the example
#    cross-built against the unpacked archive and run under Wine, playing to
#    a private sound server's sink.
# Build linux-debug, win-i686 and win-x64 first.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d /tmp/vexa-package.XXXXXX)
failures=0
pass() { echo "PASS $*"; }
fail() { echo "FAIL $*"; failures=$((failures + 1)); }
check() { local what=$1; shift; if "$@" >/dev/null 2>&1; then pass "$what"; else fail "$what"; fi; }

sound_dir=$scratch/pulse
cleanup() {
    "$root/tests/scripts/sound_server.sh" stop "$sound_dir" >/dev/null 2>&1 || true
    [[ -d $scratch/wine ]] && WINEPREFIX=$scratch/wine wineserver -k >/dev/null 2>&1
    rm -rf "$scratch"
}
trap cleanup EXIT

version=$(sed -n 's/^#define VEXA_VERSION_\(MAJOR\|MINOR\|PATCH\) \([0-9]*\).*/\2/p' "$root/include/vexaengine_version.h" |
    paste -sd.)
major=${version%%.*}
clip=$root/tests/fixtures/mp3/mpeg1_48k_stereo_cbr.mp3

# ---- Linux install tree
prefix=$scratch/prefix
cmake --install "$root/build/linux-debug" --prefix "$prefix" >/dev/null || fail "cmake --install"
lib=$(find "$prefix" -name "libvexaengine.so.$version" | head -n 1)
if [[ -n $lib ]]; then
    soname=$(readelf -d "$lib" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
    [[ $soname == "libvexaengine.so.$major" ]] && pass "library $lib has SONAME $soname" || fail "SONAME is '$soname'"
else
    fail "no libvexaengine.so.$version installed"
fi
for file in include/vexaengine.h include/vexaengine_version.h bin/vexaplay share/man/man1/vexaplay.1; do
    check "installed $file" test -f "$prefix/$file"
done
check "the manual page formats" man -l "$prefix/share/man/man1/vexaplay.1"
# Every option --help lists is in the manual page, and the other way round.
help_options=$("$prefix/bin/vexaplay" --help | grep -oE -- '--[a-z0-9-]+' | sort -u)
man_options=$(man -l "$prefix/share/man/man1/vexaplay.1" 2>/dev/null | grep -oE -- '--[a-z0-9-]+' | sort -u)
if [[ -n $help_options && $help_options == "$man_options" ]]; then
    pass "vexaplay --help and its manual page list the same $(wc -l <<<"$help_options") options"
else
    fail "--help and the manual page differ: $(diff <(echo "$help_options") <(echo "$man_options") | grep '^[<>]' | tr '\n' ' ')"
fi
check "vexaplay --version says $version" bash -c "'$prefix/bin/vexaplay' --version | grep -qx 'vexaplay $version'"

example=$root/examples
cmake -S "$example" -B "$scratch/by-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null &&
    cmake --build "$scratch/by-cmake" >/dev/null && pass "example built through find_package(VexaEngine)" ||
    fail "example through find_package"
pcdir=$(dirname "$(find "$prefix" -name vexaengine.pc | head -n 1)")
check "pkg-config reports version $version" bash -c "[[ \$(PKG_CONFIG_PATH='$pcdir' pkg-config --modversion vexaengine) == $version ]]"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Werror -o "$scratch/by-pkg-config" "$example/play_file.c" \
    $(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs vexaengine) -Wl,-rpath,"${lib%/*}" &&
    pass "example built through pkg-config" || fail "example through pkg-config"

"$root/tests/scripts/sound_server.sh" start "$sound_dir" >/dev/null || fail "sound server"
export PULSE_SERVER="unix:$sound_dir/native"
for program in "$scratch/by-cmake/play_file" "$scratch/by-pkg-config"; do
    output=$(timeout 30 "$program" "$clip" 2>&1)
    if [[ $? -eq 0 && $output == *"VexaEngine $version"* && $(grep -c ' ms$' <<<"$output") -ge 4 ]]; then
        pass "${program##*/} played the clip to the end ($(grep -c ' ms$' <<<"$output") position lines)"
    else
        fail "${program##*/} did not play: $output"
    fi
done

# ---- Windows SDK archive
if [[ -f $root/build/win-i686/vexaengine.dll && -f $root/build/win-x64/vexaengine.dll ]]; then
    archive=$("$root/scripts/make_sdk.sh" "$root/build/win-i686" "$root/build/win-x64" "$scratch/sdk" | tail -n 1)
    if [[ -f $archive ]]; then
        pass "SDK archive ${archive##*/}"
        unzip -Z1 "$archive" | sed 's/^/  /'
        mkdir -p "$scratch/unpacked" && (cd "$scratch/unpacked" && cmake -E tar xf "$archive")
        sdk=$scratch/unpacked/vexaengine-sdk-$version
        for file in bin/x86/vexaengine.dll bin/x64/vexaengine.dll lib/x86/libvexaengine.dll.a lib/x86/vexaengine.lib \
            lib/x64/libvexaengine.dll.a lib/x64/vexaengine.lib include/vexaengine.h include/vexaengine_version.h \
            README.txt LICENSE.txt; do
            check "archive holds $file" test -f "$sdk/$file"
        done
        check "the archive's i686 DLL is the one the Wine tests run" cmp "$sdk/bin/x86/vexaengine.dll" "$root/build/win-i686/vexaengine.dll"
        for arch in x86 x64; do
            "$root/scripts/check_dll_exports.sh" "$sdk/bin/$arch/vexaengine.dll" "$sdk/include/vexaengine.h" >/dev/null &&
                pass "$arch DLL exports exactly the nineteen functions" || fail "$arch DLL exports"
            # FileVersion in the DLL's version resource (UTF-16 text).
            check "$arch DLL carries version $version" bash -c "strings -el '$sdk/bin/$arch/vexaengine.dll' | grep -qx '$version'"
        done
        # The .lib must resolve what a compiler emits for each call: the
        # stdcall-decorated name on x86 (_VexaEngine_Play@24), the plain one on x64.
        check "x86 .lib has the decorated stdcall import symbols" bash -c \
            "i686-w64-mingw32-nm '$sdk/lib/x86/vexaengine.lib' | grep -q '__imp__VexaEngine_Play@24'"
        check "x64 .lib has the import symbols" bash -c \
            "x86_64-w64-mingw32-nm '$sdk/lib/x64/vexaengine.lib' | grep -q '__imp_VexaEngine_Play$'"
        check "x86 .lib has all nineteen functions" bash -c \
            "[[ \$(i686-w64-mingw32-nm '$sdk/lib/x86/vexaengine.lib' | grep -c ' I __imp__VexaEngine_') -eq 19 ]]"

        # The example against the archive, under Wine, to the sound server's sink.
        export WINEPREFIX=$scratch/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
        unset DISPLAY WAYLAND_DISPLAY
        archs=(x64)
        [[ -x /usr/lib/wine/wine || -x /usr/lib/i386-linux-gnu/wine/wine ]] && archs=(x86 x64)
        for arch in "${archs[@]}"; do
            compiler=x86_64-w64-mingw32-gcc
            [[ $arch == x86 ]] && compiler=i686-w64-mingw32-gcc
            work=$scratch/win-$arch
            mkdir -p "$work"
            cp "$sdk/bin/$arch/vexaengine.dll" "$clip" "$work/"
            if ! $compiler -std=c99 -Wall -Werror -I"$sdk/include" -o "$work/play_file.exe" "$example/play_file.c" \
                "$sdk/lib/$arch/vexaengine.lib"; then
                fail "$arch example cross-built against the SDK"; continue
            fi
            pass "$arch example cross-built against the SDK's .lib"
            parec --device=vexa_sink.monitor --raw --format=s16le --rate=44100 --channels=2 >"$work/sink.raw" &
            capture=$!
            output=$(cd "$work" && timeout 60 wine play_file.exe "${clip##*/}" 2>/dev/null | tr -d '\r')
            kill "$capture" 2>/dev/null; wait "$capture" 2>/dev/null
            loud=$(python3 -c 'import array, sys
data = open(sys.argv[1], "rb").read()
samples = array.array("h", data[: len(data) // 2 * 2])
print(sum(1 for s in samples if abs(s) > 100) // 2)' "$work/sink.raw")
            if [[ $output == *"VexaEngine $version"* && $loud -ge 22050 ]]; then
                pass "$arch example played under Wine; the sink heard $((loud * 1000 / 44100)) ms of sound"
            else
                fail "$arch example under Wine: sink heard $loud frames; output: $output"
            fi
        done
    else
        fail "no SDK archive made"
    fi
else
    echo "note: build win-i686 and win-x64 for the SDK checks"
fi

echo "==== packaging: $failures failed"
[[ $failures -eq 0 ]]
