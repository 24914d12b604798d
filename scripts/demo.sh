#!/usr/bin/env bash
# Installs what is missing, builds Trovix (Release) and plays a whole user journey in a private X
# session next to gtk3-widget-factory: captures, recorded clicks, the editor, saving, the library and
# the three exports. Leaves in demo/ a screenshot of every window on the way (01-…png, in order),
# the exports (guide-md/, Journey.html, Journey.pdf) and the PDF's pages as pictures.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
build="$root/build/demo"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTROVIX_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target trovix test_journey

demo="$root/demo"
rm -rf "$demo"
mkdir -p "$demo"
echo "== Playing the journey (about a minute)"
TROVIX_SHOTS="$demo" TROVIX_SOURCE_DIR="$root" TROVIX_BINARY_DIR="$build" \
    "$root/tests/support/with-x11.sh" "$build/tests/e2e/test_journey"
pdftoppm -png -r 60 "$demo/Journey.pdf" "$demo/pdf-page"
echo "== Left in $demo:"
ls -1 "$demo"
