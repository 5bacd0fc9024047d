#!/usr/bin/env bash
# The inner loop: builds the Linux debug configuration and runs the test
# programs that need no sound server and no Wine (decoder, Layer III, stream,
# resources and the table check), about a minute on two cores. Extra
# arguments go to ctest. scripts/test-all.sh runs everything.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset linux-debug >/dev/null
cmake --build --preset linux-debug -j "$(nproc)"
ctest --preset linux-debug -j "$(nproc)" -R '^(decoder|layer3|stream|resources)\.|^generated_tables_current$' "$@"
