#!/usr/bin/env bash
# Fails unless the Linux library exports exactly the functions declared in
# the public header (VexaEngine_* and the VexaEnginePosix_* extensions).
#   scripts/check_so_exports.sh LIBRARY [HEADER]
set -euo pipefail
library=$1
header=${2:-$(dirname "$0")/../include/vexaengine.h}
expected=$(grep -o -E '\bVexaEngine(Posix)?_[A-Za-z0-9]+ *\(' "$header" | tr -d ' (' | sort -u)
actual=$(nm -D --defined-only "$library" | awk '{print $3}' | sort -u)
if [ "$expected" != "$actual" ]; then
  echo "exported symbols differ from the header:"
  diff <(echo "$expected") <(echo "$actual") || true
  exit 1
fi
echo "$(echo "$actual" | wc -l) exports, all declared in $(basename "$header")"
