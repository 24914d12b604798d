#!/usr/bin/env bash
# Runs one command inside its own headless GNOME Shell (Wayland, software rendering): a D-Bus session
# bus, pipewire, the accessibility bus and the screenshot portal with the GNOME backend alone, a
# private HOME, private data folders holding only the desktop entries and portal backends the session
# needs, and Trovix's Shell extension from the build tree, enabled. Usage: with-gnome.sh COMMAND…
# Inside, WAYLAND_DISPLAY, DISPLAY (Xwayland), TROVIX_POINTER (a pipe that moves and clicks the pointer and presses keys,
# see tests/support/gnome-input.cpp), TROVIX_GNOME_EXTENSION (the enabled extension's folder) and
# TROVIX_WAYLAND_LOG are set. TROVIX_GNOME_EXTENSION_OFF=1 leaves the extension installed but off.
# gnome-shell runs as an unprivileged user: as root the session runs as $TROVIX_TEST_USER (default
# trovixtest), made once here, in a mount namespace that hides logind's seat folder (no logind
# answers on these machines, and the shell then takes its fallback). The session has a system bus
# of its own, so neither a missing nor a stale machine bus changes what the Shell sees.
set -u
here=$(cd "$(dirname "$0")" && pwd)
self="$here/$(basename "$0")"
user=${TROVIX_TEST_USER:-trovixtest}

if [ "$(id -u)" = 0 ]; then
    . "$here/test-user.sh"
    prepare_test_user with-gnome.sh "$1" "${TROVIX_BINARY_DIR:-/}"
    hide=true
    [ -d /run/systemd ] && hide='mount -t tmpfs tmpfs /run/systemd'
    # A PID namespace of its own too: when the session ends, whatever it started (services the bus
    # activated included) ends with it, and nothing is left holding the test's output open.
    exec unshare -m -p -f --mount-proc --propagation private sh -c "$hide"' && exec runuser -u "$0" -- "$@"' \
        "$user" env -i "${keep[@]}" "$self" "$@"
fi

if [ -z "${TROVIX_IN_GNOME:-}" ]; then
    export TROVIX_IN_GNOME=1
    exec "$here/test-env.sh" dbus-run-session -- "$self" "$@"
fi

unset DISPLAY WAYLAND_DISPLAY
[ -n "${ASAN_OPTIONS:-}" ] && export ASAN_OPTIONS="$ASAN_OPTIONS:fast_unwind_on_malloc=0"
export XDG_SESSION_TYPE=wayland QT_QPA_PLATFORM=wayland GDK_BACKEND=wayland XDG_CURRENT_DESKTOP=GNOME
export NO_AT_BRIDGE=0 GTK_A11Y=atspi QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
export TROVIX_WAYLAND_LOG="$TROVIX_TEST_TMP/session.log"
log=$TROVIX_WAYLAND_LOG
pids=()
cleanup() {
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[i]}" 2>/dev/null; done
    # A Shell that does not end within 5 s is ended by force rather than waited for.
    for _ in $(seq 50); do
        kill -0 "${pids[@]}" 2>/dev/null || break
        sleep 0.1
    done
    kill -KILL "${pids[@]}" 2>/dev/null
    wait 2>/dev/null
}
trap cleanup EXIT
fail() {
    echo "with-gnome.sh: $1; the session's log:" >&2
    tail -n 40 "$log" >&2
    exit 1
}

# The machine's data folders without their desktop entries and portal backends: the session sees
# only the applications and the one portal backend it starts, whatever else is installed.
share="$TROVIX_TEST_TMP/share"
mkdir -p "$share/applications" "$TROVIX_TEST_TMP/portals"
for entry in /usr/share/*; do
    case "${entry##*/}" in
    applications | xdg-desktop-portal) ;;
    *) ln -s "$entry" "$share/${entry##*/}" ;;
    esac
done
for app in gtk3-widget-factory org.gnome.Shell.Extensions; do
    [ -f "/usr/share/applications/$app.desktop" ] && cp "/usr/share/applications/$app.desktop" "$share/applications/"
done
[ -f "${TROVIX_SOURCE_DIR:-}/data/io.github.trovix.Trovix.desktop" ] &&
    cp "$TROVIX_SOURCE_DIR/data/io.github.trovix.Trovix.desktop" "$share/applications/"
# The GNOME backend, and the Shell itself for the screenshot portal's question (Access).
cp /usr/share/xdg-desktop-portal/portals/gnome.portal /usr/share/xdg-desktop-portal/portals/gnome-shell.portal \
    "$TROVIX_TEST_TMP/portals/"
export XDG_DATA_DIRS="$share" XDG_DESKTOP_PORTAL_DIR="$TROVIX_TEST_TMP/portals"

# Trovix's extension from the build tree, for the Shell that runs here.
api=43
[ "$(gnome-shell --version | sed 's/[^0-9]*\([0-9]*\).*/\1/')" -ge 45 ] && api=45
uuid=trovix@trovix.github.io
export TROVIX_GNOME_EXTENSION="$XDG_DATA_HOME/gnome-shell/extensions/$uuid"
mkdir -p "$(dirname "$TROVIX_GNOME_EXTENSION")"
cp -r "${TROVIX_BINARY_DIR:?}/extensions/gnome-shell/$api/$uuid" "$TROVIX_GNOME_EXTENSION"
gsettings set org.gnome.shell disable-user-extensions false
if [ -z "${TROVIX_GNOME_EXTENSION_OFF:-}" ]; then
    gsettings set org.gnome.shell enabled-extensions "['$uuid']"
fi
# No first-run tour, no screen lock or blanking in the middle of a test.
gsettings set org.gnome.shell welcome-dialog-last-shown-version '999' 2>/dev/null
gsettings set org.gnome.desktop.session idle-delay 0
gsettings set org.gnome.desktop.screensaver lock-enabled false

# The system bus of this session: nothing is activated on it, and it ends with the session.
cat >"$TROVIX_TEST_TMP/system-bus.conf" <<EOF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=$TROVIX_TEST_TMP/system-bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
EOF
dbus-daemon --config-file="$TROVIX_TEST_TMP/system-bus.conf" --nofork --nopidfile >>"$log" 2>&1 &
pids+=("$!")
export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$TROVIX_TEST_TMP/system-bus"
for _ in $(seq 200); do
    [ -S "$TROVIX_TEST_TMP/system-bus" ] && break
    sleep 0.05
done
[ -S "$TROVIX_TEST_TMP/system-bus" ] || fail "the session's system bus did not start within 10 s"

dbus-update-activation-environment DBUS_SYSTEM_BUS_ADDRESS XDG_RUNTIME_DIR XDG_SESSION_TYPE XDG_CURRENT_DESKTOP \
    XDG_DATA_DIRS XDG_DESKTOP_PORTAL_DIR WAYLAND_DISPLAY=wayland-0 >/dev/null 2>&1
export WAYLAND_DISPLAY=wayland-0
pipewire >>"$log" 2>&1 &
pids+=("$!")
# The session manager links a screen cast's stream to its reader, as on a desktop.
for _ in $(seq 200); do
    [ -S "$XDG_RUNTIME_DIR/pipewire-0" ] && break
    sleep 0.05
done
# No logind answers here, and WirePlumber's Bluetooth side quits without it: no Bluetooth.
mkdir -p "$XDG_CONFIG_HOME/wireplumber/bluetooth.lua.d"
echo 'bluez_monitor.enabled = false' >"$XDG_CONFIG_HOME/wireplumber/bluetooth.lua.d/51-no-bluetooth.lua"
wireplumber >>"$log" 2>&1 &
pids+=("$!")
if [ -x /usr/libexec/at-spi-bus-launcher ]; then
    /usr/libexec/at-spi-bus-launcher --launch-immediately >/dev/null 2>&1 &
    pids+=("$!")
fi
size=${TROVIX_SCREEN:-1920x1080}
gnome-shell --headless --wayland --virtual-monitor "${size%x24}" --mode=user >>"$log" 2>&1 &
pids+=("$!")
timeout 60 gdbus wait --session org.gnome.Shell || fail "the Shell did not start within 60 s"
timeout 30 gdbus wait --session org.gnome.Mutter.RemoteDesktop ||
    fail "the Shell offered no remote desktop within 30 s"
for _ in $(seq 600); do
    [ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] && break
    sleep 0.05
done
[ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] || fail "the Shell made no Wayland socket within 30 s"
# Xwayland, for X11 applications, on the first display number free on the machine, as the Shell says.
for _ in $(seq 200); do
    display=$(sed -n 's/.*Using public X11 display \(:[0-9]*\).*/\1/p' "$log" | tail -n1)
    [ -n "$display" ] && export DISPLAY=$display && break
    sleep 0.05
done
[ -n "${DISPLAY:-}" ] || fail "the Shell started no Xwayland within 10 s"
for auth in "$XDG_RUNTIME_DIR"/.mutter-Xwaylandauth.*; do
    [ -f "$auth" ] && export XAUTHORITY=$auth
done

# The screenshot portal would ask once whether applications may take screenshots; the session
# answers yes beforehand, as a user would have on first use.
gdbus call --session --dest org.freedesktop.impl.portal.PermissionStore \
    --object-path /org/freedesktop/impl/portal/PermissionStore \
    --method org.freedesktop.impl.portal.PermissionStore.SetPermission \
    screenshot true screenshot '' "['yes']" >/dev/null || fail "the portal's permission store did not answer"

input="${TROVIX_BINARY_DIR}/tests/trovix_gnome_input"
[ -x "$input" ] || fail "$input is missing (build the target trovix_gnome_input)"
export TROVIX_POINTER="$TROVIX_TEST_TMP/pointer"
mkfifo "$TROVIX_POINTER"
"$input" <>"$TROVIX_POINTER" >"$TROVIX_TEST_TMP/input-ready" 2>>"$log" &
pids+=("$!")
for _ in $(seq 400); do
    grep -q ready "$TROVIX_TEST_TMP/input-ready" 2>/dev/null && break
    kill -0 "${pids[-1]}" 2>/dev/null || fail "the remote desktop input quit"
    sleep 0.05
done
grep -q ready "$TROVIX_TEST_TMP/input-ready" || fail "the remote desktop input did not start within 20 s"
# The Shell starts in the overview.
echo "key ff1b" >"$TROVIX_POINTER"
sleep 1

"$@"
