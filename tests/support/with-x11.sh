#!/usr/bin/env bash
# Runs one test inside its own X session: Xvfb, openbox, a D-Bus session bus and the accessibility
# bus, with a private HOME. Set TROVIX_SCREEN (default 1920x1080x24) to change the screen.
set -u
here=$(cd "$(dirname "$0")" && pwd)
if [ -z "${TROVIX_IN_X11:-}" ]; then
    export TROVIX_IN_X11=1
    exec "$here/test-env.sh" dbus-run-session -- "$0" "$@"
fi
unset QT_QPA_PLATFORM
export QT_QPA_PLATFORM=xcb NO_AT_BRIDGE=0 GTK_A11Y=atspi QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
Xvfb -displayfd 5 -screen 0 "${TROVIX_SCREEN:-1920x1080x24}" -nolisten tcp 5>"$TROVIX_TEST_TMP/display" \
    >/dev/null 2>&1 &
xvfb=$!
# Xvfb writes its display number once it accepts connections; a busy machine can take a while.
for _ in $(seq 600); do
    [ -s "$TROVIX_TEST_TMP/display" ] && break
    sleep 0.05
done
if [ ! -s "$TROVIX_TEST_TMP/display" ]; then
    echo "with-x11.sh: Xvfb did not start within 30 s" >&2
    kill "$xvfb" 2>/dev/null
    exit 1
fi
export DISPLAY=":$(head -n1 "$TROVIX_TEST_TMP/display")"
pids=("$xvfb")
cleanup() { kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; }
trap cleanup EXIT
start_wm() {
    openbox --sm-disable >>"$TROVIX_TEST_TMP/openbox.log" 2>&1 &
    wm_pid=$!
    pids+=("$wm_pid")
}
start_wm
if [ -x /usr/libexec/at-spi-bus-launcher ]; then
    /usr/libexec/at-spi-bus-launcher --launch-immediately >/dev/null 2>&1 &
    pids+=("$!")
fi
# Wait until the window manager has taken the screen: tests that move the focus need it. On a busy
# machine openbox can take several seconds to start.
wm=0
for _ in $(seq 300); do
    if xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; then
        wm=1
        break
    fi
    # Now and then the new display refuses openbox's first connection, and openbox gives up.
    kill -0 "$wm_pid" 2>/dev/null || start_wm
    sleep 0.1
done
if [ "$wm" != 1 ]; then
    echo "with-x11.sh: openbox did not take the screen $DISPLAY within 30 s:" >&2
    cat "$TROVIX_TEST_TMP/openbox.log" >&2
    exit 1
fi
"$@"
rc=$?
exit $rc
