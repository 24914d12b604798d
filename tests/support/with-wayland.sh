#!/usr/bin/env bash
# Runs one command inside its own headless Wayland session: sway (headless, pixman), a D-Bus session
# bus, pipewire, the screenshot portal (xdg-desktop-portal with its -wlr and -gtk backends) and the
# accessibility bus, with a private HOME.  Usage: with-wayland.sh COMMAND…
# TROVIX_SCREEN (default 1920x1080) sets the output's size; TROVIX_SCREEN2 (e.g. 1280x720@2, size
# and scale) adds a second output to its right.  TROVIX_WESTON=1 runs weston instead of sway: no
# portal works there.  Inside, WAYLAND_DISPLAY, SWAYSOCK (sway), TROVIX_POINTER (sway: a pipe that
# moves and clicks the pointer) and TROVIX_WAYLAND_LOG are set; wtype types (sway).
# sway refuses to run as root: as root the session runs as the unprivileged user $TROVIX_TEST_USER
# (default trovixtest), made once here.
set -u
here=$(cd "$(dirname "$0")" && pwd)
self="$here/$(basename "$0")"
user=${TROVIX_TEST_USER:-trovixtest}

if [ "$(id -u)" = 0 ] && [ -z "${TROVIX_WESTON:-}" ]; then
    . "$here/test-user.sh"
    prepare_test_user with-wayland.sh "$1"
    exec runuser -u "$user" -- env -i "${keep[@]}" "$self" "$@"
fi

if [ -z "${TROVIX_IN_WAYLAND:-}" ]; then
    export TROVIX_IN_WAYLAND=1
    exec "$here/test-env.sh" dbus-run-session -- "$self" "$@"
fi

unset DISPLAY WAYLAND_DISPLAY SWAYSOCK
# Mesa's EGL driver, which Qt's Wayland plugin loads for every window, has no frame pointers: in the
# sanitizer pass only the full unwinder reaches the frame that lsan.supp names for its one-time state.
[ -n "${ASAN_OPTIONS:-}" ] && export ASAN_OPTIONS="$ASAN_OPTIONS:fast_unwind_on_malloc=0"
export XDG_SESSION_TYPE=wayland QT_QPA_PLATFORM=wayland GDK_BACKEND=wayland XDG_CURRENT_DESKTOP=sway
export NO_AT_BRIDGE=0 GTK_A11Y=atspi QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
export TROVIX_WAYLAND_LOG="$TROVIX_TEST_TMP/session.log"
log=$TROVIX_WAYLAND_LOG
pids=()
cleanup() {
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[i]}" 2>/dev/null; done
    wait 2>/dev/null
}
trap cleanup EXIT
fail() {
    echo "with-wayland.sh: $1; the session's log:" >&2
    tail -n 30 "$log" >&2
    exit 1
}
size=${TROVIX_SCREEN:-1920x1080}
size=${size%x24}

if [ -n "${TROVIX_WESTON:-}" ]; then
    export XDG_CURRENT_DESKTOP=weston
    weston --backend=headless-backend.so --width="${size%x*}" --height="${size#*x}" --socket=wayland-trovix \
        --idle-time=0 >>"$log" 2>&1 &
    pids+=("$!")
    socket=wayland-trovix
else
    config="$TROVIX_TEST_TMP/sway.conf"
    {
        echo "output HEADLESS-1 resolution $size position 0 0"
        if [ -n "${TROVIX_SCREEN2:-}" ]; then
            second=${TROVIX_SCREEN2%@*}
            scale=1
            [ "$second" != "$TROVIX_SCREEN2" ] && scale=${TROVIX_SCREEN2#*@}
            echo "output HEADLESS-2 resolution $second position ${size%x*} 0 scale $scale"
        fi
        echo "default_border none"
        echo "default_floating_border none"
        echo "focus_on_window_activation focus"
    } >"$config"
    outputs=1
    [ -n "${TROVIX_SCREEN2:-}" ] && outputs=2
    WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman WLR_HEADLESS_OUTPUTS=$outputs \
        sway --config "$config" >>"$log" 2>&1 &
    pids+=("$!")
    socket=
fi

# The compositor makes its socket once it accepts clients; a busy machine can take a while.
for _ in $(seq 600); do
    if [ -z "$socket" ]; then
        found=$(cd "$XDG_RUNTIME_DIR" && ls wayland-[0-9] 2>/dev/null | head -n1)
        [ -n "$found" ] && socket=$found
    fi
    [ -n "$socket" ] && [ -S "$XDG_RUNTIME_DIR/$socket" ] && break
    kill -0 "${pids[0]}" 2>/dev/null || fail "the compositor quit"
    sleep 0.05
done
[ -n "$socket" ] && [ -S "$XDG_RUNTIME_DIR/$socket" ] || fail "the compositor did not start within 30 s"
export WAYLAND_DISPLAY=$socket
if [ -z "${TROVIX_WESTON:-}" ]; then
    SWAYSOCK=$(ls "$XDG_RUNTIME_DIR"/sway-ipc.*.sock 2>/dev/null | head -n1)
    export SWAYSOCK
    for _ in $(seq 200); do
        swaymsg -t get_outputs >/dev/null 2>&1 && break
        sleep 0.05
    done
fi
if [ -z "${TROVIX_WESTON:-}" ]; then
    # The seat has no keyboard without input devices: a virtual one for the whole session, so clients
    # get their keyboard at start and focus follows (one made per key press would come too late).
    wtype -s 2147483647 >>"$log" 2>&1 &
    pids+=("$!")
    # Likewise a pointer, from the build tree: write "move X Y WIDTH HEIGHT", "press" or "release"
    # lines to $TROVIX_POINTER (see tests/support/virtual-pointer.cpp).
    pointer="${TROVIX_BINARY_DIR:-}/tests/trovix_virtual_pointer"
    if [ -x "$pointer" ]; then
        export TROVIX_POINTER="$TROVIX_TEST_TMP/pointer"
        mkfifo "$TROVIX_POINTER"
        "$pointer" <>"$TROVIX_POINTER" >>"$log" 2>&1 &
        pids+=("$!")
    fi
fi
dbus-update-activation-environment WAYLAND_DISPLAY XDG_CURRENT_DESKTOP XDG_SESSION_TYPE >/dev/null 2>&1

if [ -x /usr/libexec/at-spi-bus-launcher ]; then
    /usr/libexec/at-spi-bus-launcher --launch-immediately >/dev/null 2>&1 &
    pids+=("$!")
fi
if [ -z "${TROVIX_WESTON:-}" ]; then
    # The front end takes its backends from XDG_DESKTOP_PORTAL_DIR: only the two started here.
    cp /usr/share/xdg-desktop-portal/portals/wlr.portal /usr/share/xdg-desktop-portal/portals/gtk.portal \
        "$XDG_DESKTOP_PORTAL_DIR/"
    # The wlr portal quits without pipewire.
    pipewire >>"$log" 2>&1 &
    pids+=("$!")
    /usr/libexec/xdg-desktop-portal-wlr >>"$log" 2>&1 &
    pids+=("$!")
    # The portal front end offers Screenshot only once an Access backend (the GTK one) is up.
    /usr/libexec/xdg-desktop-portal-gtk >>"$log" 2>&1 &
    pids+=("$!")
    timeout 30 gdbus wait --session org.freedesktop.impl.portal.desktop.gtk ||
        fail "the GTK portal backend did not come up within 30 s"
    /usr/libexec/xdg-desktop-portal -r >>"$log" 2>&1 &
    pids+=("$!")
    timeout 30 gdbus wait --session org.freedesktop.impl.portal.desktop.wlr &&
        timeout 30 gdbus wait --session org.freedesktop.portal.Desktop ||
        fail "the screenshot portal did not come up within 30 s"
fi

"$@"
