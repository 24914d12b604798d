#!/usr/bin/env bash
# Runs one test headless with a private HOME and XDG folders, so tests never touch the user's files.
set -u
tmp=$(mktemp -d "${TMPDIR:-/tmp}/trovix-test.XXXXXX")
trap 'chmod -R u+w "$tmp" 2>/dev/null; rm -rf "$tmp"' EXIT
export HOME="$tmp/home" XDG_DATA_HOME="$tmp/home/.local/share" XDG_CONFIG_HOME="$tmp/home/.config" \
       XDG_CACHE_HOME="$tmp/home/.cache" XDG_RUNTIME_DIR="$tmp/run" XDG_DOCUMENTS_DIR="$tmp/home/Documents"
mkdir -p "$HOME" "$XDG_DATA_HOME" "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME" "$XDG_DOCUMENTS_DIR"
mkdir -m 700 -p "$XDG_RUNTIME_DIR"
unset WAYLAND_DISPLAY XDG_SESSION_TYPE # the desktop the tests are started from is not theirs
export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" LANG=C.UTF-8 LC_ALL=C.UTF-8 TZ=UTC
export TROVIX_TEST_TMP="$tmp"
"$@"
