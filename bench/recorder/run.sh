#!/usr/bin/env bash
# Measures click recording on a 1920×1080 Xvfb screen with gtk3-widget-factory.
# Usage: bench/recorder/run.sh BUILD_DIR [CLICKS] [--ocr]   (BUILD_DIR: a Release build with bench_recorder)
# --ocr: every title is read off the screenshot, as for an application without accessibility.
# --redact: every step is searched for secrets before it joins the guide.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?usage: run.sh BUILD_DIR [CLICKS]}
TROVIX_SCREEN=1920x1080x24 exec "$here/../../tests/support/with-x11.sh" "$build/bench/recorder/bench_recorder" "${2:-100}" "${@:3}"
