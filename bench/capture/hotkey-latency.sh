#!/usr/bin/env bash
# Time from a Ctrl+Alt+S press to the capture overlay on screen, for Trovix and for flameshot
# (`flameshot gui` bound to the same keys in the window manager), on a screen of $TROVIX_SCREEN
# (default 3840x2160x24). Trovix is measured twice: the way the hot key is normally used, with its
# window minimized and another application in front, and with its own window in front (the window
# must leave the screen before the grab: withdrawn, and the screen left to settle).
#
#   bench/capture/hotkey-latency.sh BUILD_DIR [trials]
# BUILD_DIR is a build with the trovix and overlay_latency targets (a Release build for real figures).
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: hotkey-latency.sh BUILD_DIR [trials]}" && pwd)
trials=${2:-10}
export TROVIX_SCREEN=${TROVIX_SCREEN:-3840x2160x24}

if [ -z "${TROVIX_IN_SESSION:-}" ]; then
    export TROVIX_IN_SESSION=1
    exec "$root/tests/support/with-x11.sh" "$0" "$@"
fi

latency="$build/bench/capture/overlay_latency"
xsetroot -solid white
probe=(600 600)

echo "== Trovix ($TROVIX_SCREEN)"
"$build/src/app/trovix" >"$TROVIX_TEST_TMP/trovix.log" 2>&1 &
trovix=$!
for _ in $(seq 100); do
    window=$(xdotool search --name '^Untitled guide' 2>/dev/null | head -n1)
    [ -n "$window" ] && break
    sleep 0.1
done
sleep 3
echo "-- its window in front"
"$latency" "$trials" "${probe[@]}"
xdotool windowminimize --sync "$window"
sleep 1
xprop -id "$window" WM_STATE | grep -q Iconic || echo "(the window did not minimize)"
echo "-- its window minimized"
"$latency" "$trials" "${probe[@]}"
kill "$trovix"
wait "$trovix" 2>/dev/null

if ! command -v flameshot >/dev/null; then
    echo "== flameshot: not installed (apt-get install flameshot), skipped"
    exit 0
fi
echo "== flameshot $(flameshot --version 2>/dev/null | head -n1) ($TROVIX_SCREEN)"
mkdir -p "$HOME/.config/flameshot"
cat >"$HOME/.config/flameshot/flameshot.ini" <<'INI'
[General]
showHelp=false
showStartupLaunchMessage=false
showDesktopNotification=false
showSidePanelButton=false
startupLaunch=false
disabledTrayIcon=true
INI
# The window manager starts `flameshot gui` on the same keys, as a desktop binding would.
sed 's|<keyboard>|<keyboard><keybind key="C-A-s"><action name="Execute"><command>flameshot gui</command></action></keybind>|' \
    /etc/xdg/openbox/rc.xml >"$TROVIX_TEST_TMP/rc.xml"
openbox --replace --config-file "$TROVIX_TEST_TMP/rc.xml" >/dev/null 2>&1 &
sleep 1
flameshot >"$TROVIX_TEST_TMP/flameshot.log" 2>&1 &
daemon=$!
sleep 2
"$latency" "$trials" "${probe[@]}"
kill "$daemon" 2>/dev/null
wait "$daemon" 2>/dev/null
