#!/usr/bin/env bash
# The first click of each of many recordings on a 1920×1080 Xvfb screen with gtk3-widget-factory,
# with hundreds of translated applications installed: how long the description takes and how many
# titles are whole. --busy keeps every core busy with another process meanwhile.
# Usage: bench/recorder/first-clicks.sh BUILD_DIR [RECORDINGS] [ENTRIES] [--busy]
#   (BUILD_DIR: a build with bench_recorder, Release or with the sanitizers)
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?usage: first-clicks.sh BUILD_DIR [RECORDINGS] [ENTRIES] [--busy]}
recordings=${2:-100}
entries=${3:-300}
busy=()
if [ "${4:-}" = --busy ]; then
    for _ in $(seq "$(nproc)"); do
        sh -c 'while :; do :; done' &
        busy+=("$!")
    done
fi
trap '[ ${#busy[@]} -eq 0 ] || kill "${busy[@]}"' EXIT
TROVIX_SCREEN=1920x1080x24 "$here/../../tests/support/with-x11.sh" "$build/bench/recorder/bench_recorder" \
    --first-clicks "$recordings" --entries "$entries"
