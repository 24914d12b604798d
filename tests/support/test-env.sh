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
# The system's data folder without the machine's applications: its desktop entries are those named
# in TROVIX_TEST_APPLICATIONS (desktop ids without .desktop; the widget factory by default), so
# application names and their lookup time do not depend on what else is installed. No portal
# backend either, unless the session script lists the ones it starts in XDG_DESKTOP_PORTAL_DIR.
mkdir -p "$tmp/share/applications" "$tmp/portals"
for entry in /usr/share/*; do
    case "${entry##*/}" in
    # Fonts are found under /usr/share already, and with their cache: under another path
    # fontconfig would scan every font again in every process.
    applications | fonts) ;;
    *) ln -s "$entry" "$tmp/share/" ;;
    esac
done
for id in ${TROVIX_TEST_APPLICATIONS-gtk3-widget-factory}; do
    [ -f "/usr/share/applications/$id.desktop" ] && cp "/usr/share/applications/$id.desktop" "$tmp/share/applications/"
done
export XDG_DATA_DIRS="$tmp/share" XDG_DESKTOP_PORTAL_DIR="$tmp/portals"
"$@"
