#!/usr/bin/env bash
# Click recording as a user meets it, in the real trovix with gtk3-widget-factory at 1920×1080: the
# time from a press to its step in the working copy (guide.json rewritten on disk), median and p95,
# in a headless GNOME Shell (clicks reported by Trovix's extension; pictures from mutter's screen cast,
# and again from the screenshot portal) and a headless KWin (clicks reported by Trovix's effect,
# pictures from KWin's screenshot interface) beside an X11 session (Xvfb + openbox, XInput2, xcb
# grabs); then the highest click rate, of 1, 2, 4, 8, 10 and 16 a second for 5 s each, at which every
# click became a step in click order; and in GNOME and KWin, the time one screenshot of the desktop
# takes (the portal, KWin's interface).
#
#   [TROVIX_BENCH_SESSIONS="gnome gnome-portal kde x11"] bench/recorder/session-latency.sh BUILD_DIR [CLICKS]
# BUILD_DIR is a Release build with the trovix, trovix_gnome_input, trovix_kwin_input,
# trovix_kwin_effect and bench_portal_grab targets.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: session-latency.sh BUILD_DIR [CLICKS]}" && pwd)
clicks=${2:-20}

if [ -z "${TROVIX_BENCH_SESSION:-}" ]; then
    export TROVIX_BINARY_DIR=$build TROVIX_SOURCE_DIR=$root
    for session in ${TROVIX_BENCH_SESSIONS:-gnome gnome-portal kde x11}; do
        case $session in
        gnome) TROVIX_BENCH_SESSION=gnome "$root/tests/support/with-gnome.sh" "$0" "$build" "$clicks" 2>/dev/null ;;
        gnome-portal) TROVIX_BENCH_SESSION=gnome-portal TROVIX_GNOME_PICTURES=portal \
            "$root/tests/support/with-gnome.sh" "$0" "$build" "$clicks" 2>/dev/null ;;
        kde)
            TROVIX_BENCH_SESSION=kde TROVIX_KWIN_TRUSTED="$build/src/app/trovix $build/bench/recorder/bench_portal_grab" \
                TROVIX_KWIN_EFFECT="$build/src/platform/kde/effect/plugins/kwin/effects/plugins/trovixclicks.so" \
                "$root/tests/support/with-kwin.sh" "$0" "$build" "$clicks" 2>/dev/null
            ;;
        x11) TROVIX_BENCH_SESSION=x11 TROVIX_SCREEN=1920x1080x24 "$root/tests/support/with-x11.sh" "$0" "$build" "$clicks" 2>/dev/null ;;
        esac
    done
    exit 0
fi

now() { date +%s%N; }
guide="$XDG_DATA_HOME/Trovix/Current/guide.json"
steps() { grep -o '"scale"' "$guide" 2>/dev/null | wc -l; }
if [ "$TROVIX_BENCH_SESSION" != x11 ]; then
    press() { printf 'move %d %d\npress\nrelease\n' "$1" "$2" >"$TROVIX_POINTER"; }
else
    press() { xdotool mousemove "$1" "$2" click 1; }
fi

gtk3-widget-factory >/dev/null 2>&1 &
factory=$!
"$build/src/app/trovix" >"$TROVIX_TEST_TMP/trovix.log" 2>&1 &
trovix=$!
sleep 6
# A point on the factory's window without a control under it, and a row of them for the rate runs.
if [ "$TROVIX_BENCH_SESSION" = x11 ]; then
    window=$(xdotool search --onlyvisible --pid "$factory" | head -n1)
    xdotool windowactivate --sync "$window"
    eval "$(xdotool getwindowgeometry --shell "$window")"
    base_x=$((X + WIDTH * 5 / 8)) base_y=$((Y + HEIGHT * 4 / 10))
else
    base_x=1150 base_y=500
fi
"$build/src/app/trovix" --toggle-recording
sleep 3

# One click at a time, each waited for.
times=()
for i in $(seq "$clicks"); do
    before=$(steps)
    start=$(now)
    press "$base_x" $((base_y + i % 5))
    until [ "$(steps)" -gt "$before" ]; do
        if [ $(($(now) - start)) -gt 20000000000 ]; then
            echo "$TROVIX_BENCH_SESSION: click $i made no step within 20 s" >&2
            break
        fi
        sleep 0.01
    done
    times+=($((($(now) - start) / 1000000)))
    sleep 0.5
done
sorted=$(printf '%s\n' "${times[@]}" | sort -n)
count=${#times[@]}
echo "$TROVIX_BENCH_SESSION click → step in the working copy: median $(echo "$sorted" | sed -n "$(((count + 1) / 2))p") ms," \
    "p95 $(echo "$sorted" | sed -n "$(((count * 95 + 99) / 100))p") ms ($count clicks: ${times[*]})"

# Sustained rates: 5 s of clicks, then every step must be there with its mark on its own click.
best=0
for rate in 1 2 4 8 10 16; do
    before=$(steps)
    n=$((rate * 5))
    interval=$(echo "scale=3; 1 / $rate" | bc)
    for i in $(seq "$n"); do
        press $((base_x - 100 + i * 4)) "$base_y"
        sleep "$interval"
    done
    for _ in $(seq 300); do
        [ "$(steps)" -ge $((before + n)) ] && break
        sleep 0.1
    done
    sleep 1.5
    ordered=$(python3 - "$guide" "$before" "$n" "$((base_x - 100))" <<'PY'
import json, sys
steps = json.load(open(sys.argv[1]))["steps"][int(sys.argv[2]):]
n, x0 = int(sys.argv[3]), int(sys.argv[4])
if len(steps) != n:
    print(f"{len(steps)} of {n} steps"); sys.exit()
for i, step in enumerate(steps, 1):
    a, x = step["annotations"][0], x0 + 4 * i
    # A frame (kind 7) holds its click; a ring (kind 6) sits on it.
    on = a["p1"][0] <= x <= a["p2"][0] if a["kind"] == 7 else abs(a["p1"][0] - x) < 1
    if not on:
        print(f"step {i} is not where click {i} was"); sys.exit()
print("ok")
PY
)
    echo "$TROVIX_BENCH_SESSION $rate clicks/s for 5 s: $ordered"
    [ "$ordered" = ok ] && best=$rate
    [ "$ordered" = ok ] || break
done
echo "$TROVIX_BENCH_SESSION sustained: $best clicks/s with nothing lost and the order kept"

if [ "$TROVIX_BENCH_SESSION" != x11 ] && [ "$TROVIX_BENCH_SESSION" != gnome ] && [ -x "$build/bench/recorder/bench_portal_grab" ]; then
    "$build/bench/recorder/bench_portal_grab" 10
fi
kill "$trovix" "$factory" 2>/dev/null
wait 2>/dev/null
