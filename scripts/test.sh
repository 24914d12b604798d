#!/usr/bin/env bash
# Installs what is missing, builds Trovix with its tests and runs every test: unit tests headless,
# platform and end-to-end tests each in their own Xvfb session.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
build="$root/build/test"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build"
cd "$build"
ctest --output-on-failure --timeout 600 -j "$(nproc)" "$@"
