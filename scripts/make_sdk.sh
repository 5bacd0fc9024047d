#!/usr/bin/env bash
# Makes the Windows SDK archive from the two cross-built DLL folders:
#
#   scripts/make_sdk.sh [BUILD_I686 [BUILD_X64 [OUT_DIR]]]
#
# (defaults build/win-i686, build/win-x64, build/sdk). The archive
# vexaengine-sdk-VERSION.zip holds the i686 DLL (the product) with its mingw
# import library (.dll.a) and an import library in the .lib format other
# Windows toolchains read, the x86_64 DLL with the same pair, the headers, the
# SDK README and the licence. Prints the archive's path.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
i686=${1:-$root/build/win-i686}
x64=${2:-$root/build/win-x64}
out=${3:-$root/build/sdk}

version=$(sed -n 's/^#define VEXA_VERSION_\(MAJOR\|MINOR\|PATCH\) \([0-9]*\).*/\2/p' "$root/include/vexaengine_version.h" |
    paste -sd.)
name=vexaengine-sdk-$version
stage=$out/$name
rm -rf "$stage" "$out/$name.zip"
mkdir -p "$stage"

# install_arch BUILD ARCH MACHINE: the build's install tree, rearranged as
# bin/ARCH and lib/ARCH, plus a .lib in the short import format that other
# Windows linkers read, made by llvm-dlltool from the DLL's export list.
install_arch() {
    local build=$1 arch=$2 machine=$3 tree=$out/install-$2
    rm -rf "$tree"
    cmake --install "$build" --prefix "$tree" >/dev/null
    mkdir -p "$stage/bin/$arch" "$stage/lib/$arch"
    cp "$tree/bin/vexaengine.dll" "$stage/bin/$arch/"
    cp "$tree/lib/libvexaengine.dll.a" "$stage/lib/$arch/"
    local def=$out/vexaengine-$arch.def kill_at=()
    if [[ $arch == x86 ]]; then
        # Callers' objects name the stdcall-decorated symbol (_Name@bytes);
        # the DLL exports the plain name: the build's decorated list, with
        # the decoration killed on the imported name.
        cp "$build/vexaengine.def.decorated" "$def"
        kill_at=(-k)
    else
        objdump=x86_64-w64-mingw32-objdump
        $objdump -p "$tree/bin/vexaengine.dll" |
            awk '/\[Ordinal\/Name Pointer\] Table/ {on = 1; next} on && NF == 0 {on = 0} on {print $NF}' |
            { echo "EXPORTS"; cat; } >"$def"
    fi
    llvm-dlltool -m "$machine" "${kill_at[@]}" -d "$def" -D vexaengine.dll -l "$stage/lib/$arch/vexaengine.lib"
    [[ -d $stage/include ]] || cp -r "$tree/include" "$stage/include"
}

install_arch "$i686" x86 i386
install_arch "$x64" x64 i386:x86-64
cp "$root/LICENSE" "$stage/LICENSE.txt"
cp "$root/docs/sdk-readme.txt" "$stage/README.txt"
(cd "$out" && cmake -E tar cf "$name.zip" --format=zip "$name")
echo "$out/$name.zip"
