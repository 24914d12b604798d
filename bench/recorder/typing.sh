#!/usr/bin/env bash
# Measures keyboard recording on a 1920×1080 Xvfb screen with gtk3-widget-factory: key combination
# to step, and focus out (Tab) to the typing step, median and p95.
# Usage: bench/recorder/typing.sh BUILD_DIR [ROUNDS]   (BUILD_DIR: a Release build with bench_typing)
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?usage: typing.sh BUILD_DIR [ROUNDS]}
TROVIX_SCREEN=1920x1080x24 exec "$here/../../tests/support/with-x11.sh" "$build/bench/recorder/bench_typing" "${2:-20}"
