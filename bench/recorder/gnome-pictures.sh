#!/usr/bin/env bash
# Click pictures in a headless GNOME Shell at 1920×1080: mutter's screen cast against the screenshot
# portal (see gnome_pictures.cpp), then one portal screenshot on its own.
#   bench/recorder/gnome-pictures.sh BUILD_DIR [CLICKS]
# BUILD_DIR is a Release build with the bench_gnome_pictures, bench_portal_grab and trovix_gnome_input
# targets.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: gnome-pictures.sh BUILD_DIR [CLICKS]}" && pwd)
export TROVIX_BINARY_DIR=$build TROVIX_SOURCE_DIR=$root
"$root/tests/support/with-gnome.sh" sh -c '"$1/bench/recorder/bench_gnome_pictures" "$2" && "$1/bench/recorder/bench_portal_grab" 10' \
    sh "$build" "${2:-15}" 2>/dev/null
