#!/usr/bin/env bash
# Checks a built Windows DLL of the engine:
#  - its export table holds exactly the VexaEngine_* functions declared with
#    VEXA_CALL in the public header, undecorated (no @N suffix, no underscore),
#    and nothing else;
#  - it imports only from system DLLs (the compiler runtime is linked in).
#
# usage: scripts/check_dll_exports.sh path/to/vexaengine.dll [path/to/vexaengine.h]
# Needs the mingw-w64 binutils (i686-w64-mingw32-objdump, x86_64-w64-mingw32-objdump).
set -euo pipefail

dll=${1:?usage: $0 DLL [HEADER]}
here=$(cd "$(dirname "$0")" && pwd)
header=${2:-$here/../include/vexaengine.h}

[[ -f $dll ]] || { echo "FAIL: no such DLL: $dll"; exit 1; }
[[ -f $header ]] || { echo "FAIL: no such header: $header"; exit 1; }

# Pick the objdump that matches the DLL's machine.
objdump=""
for candidate in i686-w64-mingw32-objdump x86_64-w64-mingw32-objdump; do
    if command -v "$candidate" >/dev/null && "$candidate" -f "$dll" 2>/dev/null | grep -q 'file format pei-'; then
        format=$("$candidate" -f "$dll" | sed -n 's/.*file format //p')
        case "$candidate:$format" in
            i686*:pei-i386 | x86_64*:pei-x86-64) objdump=$candidate; break ;;
        esac
    fi
done
[[ -n $objdump ]] || { echo "FAIL: $dll is not a PE DLL that the mingw-w64 objdump tools read"; exit 1; }

expected=$(grep -oE 'VEXA_CALL[[:space:]]+VexaEngine_[A-Za-z0-9]+' "$header" | awk '{print $2}' | sort)
expected_count=$(printf '%s\n' "$expected" | grep -c .)

dump=$("$objdump" -p "$dll")
actual=$(printf '%s\n' "$dump" | awk '
    /^\[Ordinal\/Name Pointer\] Table/ { inTable = 1; next }
    inTable && /^[[:space:]]*$/ { inTable = 0 }
    inTable && /\[ *[0-9]+\]/ { sub(/^.*\] */, ""); print }' | sort)
actual_count=$(printf '%s\n' "$actual" | grep -c . || true)

status=0
if [[ $expected_count -ne 19 ]]; then
    echo "FAIL: the header declares $expected_count exported functions, not 19"
    status=1
fi
missing=$(comm -23 <(printf '%s\n' "$expected") <(printf '%s\n' "$actual"))
extra=$(comm -13 <(printf '%s\n' "$expected") <(printf '%s\n' "$actual"))
if [[ -n $missing ]]; then
    echo "FAIL: not exported (or exported decorated):"; printf '  %s\n' $missing
    status=1
fi
if [[ -n $extra ]]; then
    echo "FAIL: exported but not part of the interface:"; printf '  %s\n' $extra
    status=1
fi

# Only DLLs that every Windows installation has.
system_dlls='^(kernel32|user32|winmm|comdlg32|wininet|msvcrt|advapi32|gdi32|shell32|ole32|oleaut32|ntdll|ucrtbase|api-ms-win-.*)\.dll$'
imports=$(printf '%s\n' "$dump" | sed -n 's/^[[:space:]]*DLL Name: //p' | tr 'A-Z' 'a-z' | sort -u)
foreign=$(printf '%s\n' "$imports" | grep -vE "$system_dlls" || true)
if [[ -n $foreign ]]; then
    echo "FAIL: imports from non-system DLLs (runtime not linked statically?):"; printf '  %s\n' $foreign
    status=1
fi

if [[ $status -eq 0 ]]; then
    echo "PASS: $dll ($objdump) exports exactly the $actual_count VexaEngine_* functions; imports:" $imports
fi
exit $status
