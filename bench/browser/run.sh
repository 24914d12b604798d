#!/usr/bin/env bash
# Clicks in web pages: click → step in the working copy for Chromium at device pixel ratio 1 and 2 and
# for Firefox ESR, the most clicks a second kept in order, the Tab that ends typing in a page to its
# step, and the host's peak memory for a 4K tab.
# Usage: bench/browser/run.sh BUILD_DIR [CLICKS]   (a Release build tree with trovix and the host)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: run.sh BUILD_DIR [CLICKS]}" && pwd)
clicks=${2:-20}
export TROVIX_SOURCE_DIR=$root TROVIX_BINARY_DIR=$build
bench() { "$root/tests/support/with-x11.sh" /usr/bin/python3 "$root/bench/browser/bench_browser.py" "$@" 2>/dev/null |
    grep -v '^\[' || true; }
bench latency chromium --scale 1 --clicks "$clicks"
bench latency chromium --scale 2 --clicks "$clicks"
bench latency firefox --clicks "$clicks"
bench rate --clicks "$clicks"
bench typing --clicks "$clicks"
bench memory
