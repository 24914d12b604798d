#!/usr/bin/env bash
# Runs one command inside its own headless KWin (Wayland, software rendering): a D-Bus session bus, the
# accessibility bus, a private HOME and data folders whose only desktop entries are the widget
# factory's, Trovix's, the command's own (naming KWin's screenshot interface, which KWin answers only
# for programs so named) and the pointer helper's (naming KWin's fake input). Usage: with-kwin.sh COMMAND…
# Inside, WAYLAND_DISPLAY, TROVIX_POINTER (a pipe that moves and clicks the pointer, see
# tests/support/kwin-input.cpp), TROVIX_KWIN_PLUGINS (a folder KWin looks for effects in, empty at
# start unless TROVIX_KWIN_EFFECT names a plugin to put there) and TROVIX_WAYLAND_LOG are set.
# TROVIX_KWIN_TRUSTED lists more programs (paths) to name KWin's screenshot interface for.
# KWin runs as an unprivileged user: as root the session runs as $TROVIX_TEST_USER (default
# trovixtest), made once here, in a PID namespace of its own so that whatever it started ends with it.
# The packaged kwin_wayland carries a file capability these machines refuse to exec: a plain copy runs.
set -u
here=$(cd "$(dirname "$0")" && pwd)
self="$here/$(basename "$0")"
user=${TROVIX_TEST_USER:-trovixtest}

if [ "$(id -u)" = 0 ]; then
    . "$here/test-user.sh"
    prepare_test_user with-kwin.sh "$1" "${TROVIX_BINARY_DIR:-/}"
    exec unshare -p -f --mount-proc runuser -u "$user" -- env -i "${keep[@]}" "$self" "$@"
fi

if [ -z "${TROVIX_IN_KWIN:-}" ]; then
    export TROVIX_IN_KWIN=1
    exec "$here/test-env.sh" dbus-run-session -- "$self" "$@"
fi

unset DISPLAY WAYLAND_DISPLAY
[ -n "${ASAN_OPTIONS:-}" ] && export ASAN_OPTIONS="$ASAN_OPTIONS:fast_unwind_on_malloc=0"
export XDG_SESSION_TYPE=wayland QT_QPA_PLATFORM=wayland GDK_BACKEND=wayland XDG_CURRENT_DESKTOP=KDE
export NO_AT_BRIDGE=0 GTK_A11Y=atspi QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
export TROVIX_WAYLAND_LOG="$TROVIX_TEST_TMP/session.log"
log=$TROVIX_WAYLAND_LOG
pids=()
cleanup() {
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[i]}" 2>/dev/null; done
    for _ in $(seq 50); do
        kill -0 "${pids[@]}" 2>/dev/null || break
        sleep 0.1
    done
    kill -KILL "${pids[@]}" 2>/dev/null
    wait 2>/dev/null
}
trap cleanup EXIT
fail() {
    echo "with-kwin.sh: $1; the session's log:" >&2
    tail -n 40 "$log" >&2
    exit 1
}

# KWin trusts a program with a restricted interface when a desktop entry's Exec is its exact path.
apps="$XDG_DATA_HOME/applications"
mkdir -p "$apps"
[ -f "${TROVIX_SOURCE_DIR:-}/data/io.github.trovix.Trovix.desktop" ] &&
    cp "$TROVIX_SOURCE_DIR/data/io.github.trovix.Trovix.desktop" "$apps/"
entry() { # FILE EXEC KEY=VALUE
    printf '[Desktop Entry]\nType=Application\nName=%s\nExec=%s\nNoDisplay=true\n%s\n' \
        "$(basename "$2")" "$2" "$3" >"$apps/$1.desktop"
}
command=$(readlink -f "$(command -v "$1" || echo "$1")")
n=0
for program in "$command" ${TROVIX_KWIN_TRUSTED:-}; do
    entry "trovix-test-$((n++))" "$(readlink -f "$program")" X-KDE-DBUS-Restricted-Interfaces=org.kde.KWin.ScreenShot2
done
input="${TROVIX_BINARY_DIR}/tests/trovix_kwin_input"
[ -x "$input" ] || fail "$input is missing (build the target trovix_kwin_input)"
entry trovix-kwin-input "$(readlink -f "$input")" X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input

# Effects are looked for under QT_PLUGIN_PATH; a folder that is missing when KWin starts is never
# looked in again.
export TROVIX_KWIN_PLUGINS="$TROVIX_TEST_TMP/plugins/kwin/effects/plugins"
mkdir -p "$TROVIX_KWIN_PLUGINS"
[ -n "${TROVIX_KWIN_EFFECT:-}" ] && cp "$TROVIX_KWIN_EFFECT" "$TROVIX_KWIN_PLUGINS/"

dbus-update-activation-environment XDG_RUNTIME_DIR XDG_SESSION_TYPE XDG_CURRENT_DESKTOP XDG_DATA_DIRS \
    XDG_DATA_HOME WAYLAND_DISPLAY=wayland-0 >/dev/null 2>&1
export WAYLAND_DISPLAY=wayland-0
if [ -x /usr/libexec/at-spi-bus-launcher ]; then
    /usr/libexec/at-spi-bus-launcher --launch-immediately >/dev/null 2>&1 &
    pids+=("$!")
fi
cp /usr/bin/kwin_wayland "$TROVIX_TEST_TMP/kwin_wayland"
size=${TROVIX_SCREEN:-1920x1080}
size=${size%x24}
QT_PLUGIN_PATH="$TROVIX_TEST_TMP/plugins" QT_QPA_PLATFORM= "$TROVIX_TEST_TMP/kwin_wayland" --virtual \
    --width "${size%x*}" --height "${size#*x}" --no-lockscreen --no-global-shortcuts --no-kactivities \
    -s "$WAYLAND_DISPLAY" >>"$log" 2>&1 &
pids+=("$!")
timeout 60 gdbus wait --session org.kde.KWin || fail "KWin did not start within 60 s"
for _ in $(seq 600); do
    [ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] && break
    sleep 0.05
done
[ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] || fail "KWin made no Wayland socket within 30 s"

export TROVIX_POINTER="$TROVIX_TEST_TMP/pointer"
mkfifo "$TROVIX_POINTER"
"$input" <>"$TROVIX_POINTER" >"$TROVIX_TEST_TMP/input-ready" 2>>"$log" &
pids+=("$!")
for _ in $(seq 400); do
    grep -q ready "$TROVIX_TEST_TMP/input-ready" 2>/dev/null && break
    kill -0 "${pids[-1]}" 2>/dev/null || fail "the fake input quit"
    sleep 0.05
done
grep -q ready "$TROVIX_TEST_TMP/input-ready" || fail "the fake input did not start within 20 s"

"$@"
