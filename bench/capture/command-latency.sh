#!/usr/bin/env bash
# Time from `trovix --capture` (handed to the running Trovix, as a desktop shortcut does it) to the
# capture overlay on screen, in an X11 session (Xvfb + openbox, the screen grabbed with xcb) and in a
# Wayland session (headless sway, the screen taken through the screenshot portal) and a headless KWin
# (the screen taken through KWin's own screenshot interface), at 1920×1080 and 3840×2160. "On screen":
# X11 reports the overlay viewable, sway has mapped it (its first frame committed), or a KWin script
# saw KWin add its window. Polled, so each figure carries a few milliseconds of polling.
#
#   bench/capture/command-latency.sh BUILD_DIR [trials]
# BUILD_DIR is a build with the trovix target (a Release build for real figures).
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: command-latency.sh BUILD_DIR [trials]}" && pwd)
trials=${2:-10}

if [ -z "${TROVIX_BENCH_SESSION:-}" ]; then
    for size in 1920x1080 3840x2160; do
        TROVIX_BENCH_SESSION=x11 TROVIX_SCREEN=${size}x24 "$root/tests/support/with-x11.sh" "$0" "$build" "$trials"
        TROVIX_BENCH_SESSION=wayland TROVIX_SCREEN=$size "$root/tests/support/with-wayland.sh" "$0" "$build" "$trials"
        TROVIX_BENCH_SESSION=kde TROVIX_SCREEN=$size TROVIX_KWIN_TRUSTED="$build/src/app/trovix" TROVIX_BINARY_DIR="$build" \
            QT_LOGGING_RULES="kwin_scripting.debug=true" "$root/tests/support/with-kwin.sh" "$0" "$build" "$trials"
    done
    exit 0
fi

now() { date +%s%N; }
if [ "$TROVIX_BENCH_SESSION" = x11 ]; then
    shown() { xdotool search --onlyvisible --name "$1" >/dev/null 2>&1; }
    escape() { xdotool key Escape; }
elif [ "$TROVIX_BENCH_SESSION" = kde ]; then
    # KWin's scripts print to its log: each window it adds and removes.
    cat >"$TROVIX_TEST_TMP/shown.js" <<'JS'
workspace.clientAdded.connect(function (c) { print("trovix-bench shown " + c.caption); });
workspace.clientRemoved.connect(function (c) { print("trovix-bench gone " + c.caption); });
JS
    gdbus call --session --dest org.kde.KWin --object-path /Scripting --method org.kde.kwin.Scripting.loadScript \
        "$TROVIX_TEST_TMP/shown.js" trovix-bench >/dev/null
    gdbus call --session --dest org.kde.KWin --object-path /Scripting --method org.kde.kwin.Scripting.start >/dev/null
    shown() { [ "$(grep -c "trovix-bench shown $1" "$TROVIX_WAYLAND_LOG")" -gt "$(grep -c "trovix-bench gone $1" "$TROVIX_WAYLAND_LOG")" ]; }
    escape() { echo "key ff1b" >"$TROVIX_POINTER"; }
else
    shown() { swaymsg -t get_tree | grep -q "\"name\": \"$1"; }
    escape() { wtype -k Escape; }
fi

"$build/src/app/trovix" >"$TROVIX_TEST_TMP/trovix.log" 2>&1 &
trovix=$!
for _ in $(seq 200); do
    shown "Untitled guide" && break
    sleep 0.1
done
sleep 2
times=()
for _ in $(seq "$trials"); do
    start=$(now)
    "$build/src/app/trovix" --capture
    until shown "Trovix Capture"; do
        if [ $(($(now) - start)) -gt 30000000000 ]; then
            echo "the overlay did not appear within 30 s" >&2
            kill "$trovix"
            exit 1
        fi
    done
    times+=($((($(now) - start) / 1000000)))
    sleep 0.3
    escape
    while shown "Trovix Capture"; do sleep 0.05; done
    sleep 0.5
done
kill "$trovix"
wait "$trovix" 2>/dev/null
sorted=$(printf '%s\n' "${times[@]}" | sort -n)
echo "$TROVIX_BENCH_SESSION ${TROVIX_SCREEN%x24}: median $(echo "$sorted" | sed -n "$(((trials + 1) / 2))p") ms," \
    "min $(echo "$sorted" | head -n1) ms, max $(echo "$sorted" | tail -n1) ms ($trials trials: ${times[*]})"
