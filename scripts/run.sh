#!/usr/bin/env bash
# Installs what is missing, builds Trovix (Release) and launches it. Arguments go to trovix.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$root/build/release" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DTROVIX_BUILD_TESTS=OFF -DTROVIX_BUILD_BENCH=OFF >/dev/null
cmake --build "$root/build/release" --target trovix
exec "$root/build/release/src/app/trovix" "$@"
