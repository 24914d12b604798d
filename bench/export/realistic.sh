#!/usr/bin/env bash
# Export of a realistic guide, side by side in one run: real GTK windows (gtk3-widget-factory,
# gtk3-demo, gtk3-icon-browser) over a photo-like wallpaper at 3840×2160, screenshots taken in Xvfb,
# every fourth step with five marks. Times and peak memory (/usr/bin/time) of trovix-export for every
# format (Markdown, HTML, PDF, DOCX, ODT) and quality, img2pdf on the same PNGs, the same guide with every step marked, and the decode
# floor against the exports in one process (bench_export).
#
#   bench/export/realistic.sh BUILD_DIR [steps]
# BUILD_DIR is a Release build with trovix-export, make_bench_guide and bench_export. The screenshots
# and guides are made once and kept in $TROVIX_BENCH_CACHE (default BUILD_DIR/bench-cache).
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)

if [ "${1:-}" = --take-shots ]; then
    # Inside the X session with-x11.sh started: $2 is the folder, $3 the number of shots.
    dir=$2 count=$3
    convert -seed 11 -size 240x135 plasma:fractal -blur 0x3 -resize 3840x2160\! -depth 8 "$dir/wallpaper.png"
    display -window root "$dir/wallpaper.png"
    gtk3-widget-factory >/dev/null 2>&1 &
    gtk3-demo >/dev/null 2>&1 &
    gtk3-icon-browser >/dev/null 2>&1 &
    windows=()
    for name in 'widget-factory' 'Application Class' 'Icon Browser'; do
        for _ in $(seq 300); do
            w=$(xdotool search --onlyvisible --name "$name" 2>/dev/null | head -n1)
            [ -n "$w" ] && break
            sleep 0.1
        done
        [ -n "$w" ] || { echo "realistic.sh: no '$name' window" >&2; exit 1; }
        windows+=("$w")
    done
    RANDOM=7
    for i in $(seq -w 1 "$count"); do
        # The windows wander and change size, and one of them comes to the front.
        for w in "${windows[@]}"; do
            xdotool windowsize "$w" $((1000 + RANDOM % 900)) $((700 + RANDOM % 700)) \
                windowmove "$w" $((RANDOM % 2400)) $((RANDOM % 1200))
        done
        xdotool windowactivate "${windows[$((10#$i % 3))]}" 2>/dev/null
        sleep 0.4
        import -window root -depth 8 "$dir/shot-$i.png"
    done
    exit 0
fi

build=$(cd "${1:?usage: realistic.sh BUILD_DIR [steps]}" && pwd)
steps=${2:-100}
cache=${TROVIX_BENCH_CACHE:-$build/bench-cache}/realistic-$steps
shots=$cache/shots
guide=$cache/Realistic.trovix
marked=$cache/Marked.trovix
mkdir -p "$shots"
if [ ! -f "$shots/shot-$(printf "%0${#steps}d" "$steps").png" ]; then
    echo "Taking $steps screenshots at 3840x2160 (once) ..."
    TROVIX_SCREEN=3840x2160x24 "$root/tests/support/with-x11.sh" "$0" --take-shots "$shots" "$steps" \
        2>"$cache/session.log" || { tail "$cache/session.log"; exit 1; }
fi
if [ ! -f "$guide/guide.json" ] || [ ! -f "$marked/guide.json" ]; then
    rm -rf "$guide" "$marked"
    "$build/bench/export/make_bench_guide" "$guide" 4 "$shots"/shot-*.png || exit 1
    "$build/bench/export/make_bench_guide" "$marked" 1 "$shots"/shot-*.png || exit 1
fi
command -v img2pdf >/dev/null || "$root/scripts/install-deps.sh"

export QT_QPA_PLATFORM=offscreen
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
# The guide's PNGs in step order.
mapfile -t pngs < <(python3 -c '
import json, sys
for s in json.load(open(sys.argv[1] + "/guide.json"))["steps"]:
    print(sys.argv[1] + "/" + s["id"].upper() + ".png")' "$guide")
png_bytes=$(cat "${pngs[@]}" | wc -c)
printf 'guide: %d steps, PNGs %.1f MB (%.2f MB a step)\n\n' "${#pngs[@]}" \
    "$(echo "$png_bytes / 1000000" | bc -l)" "$(echo "$png_bytes / 1000000 / ${#pngs[@]}" | bc -l)"

# measure LABEL OUTPUT COMMAND...: one row of wall time, processor time (user and system, which
# other work on a shared machine disturbs less), peak resident memory and output size.
measure() {
    local label=$1 output=$2
    shift 2
    rm -rf "$output"
    if ! /usr/bin/time -f '%e %U %S %M' -o "$out/time" "$@" >/dev/null 2>"$out/err"; then
        echo "$label: failed"; cat "$out/err"; return
    fi
    read -r wall user system kb <"$out/time"
    printf '| %-36s | %7.2f | %6.2f | %7.0f | %8.1f |\n' "$label" "$wall" "$(echo "$user + $system" | bc)" \
        "$((kb / 1024))" "$(echo "$(du -sb "$output" | cut -f1) / 1000000" | bc -l)"
}

echo '| export                               |  wall s |  cpu s | peak MB |  size MB |'
echo '|--------------------------------------|--------:|-------:|--------:|---------:|'
measure 'img2pdf (same PNGs)' "$out/img2pdf.pdf" img2pdf -o "$out/img2pdf.pdf" "${pngs[@]}"
for folder in "$guide" "$marked"; do
    kind=$([ "$folder" = "$guide" ] && echo 'every 4th marked' || echo 'all marked')
    for format in pdf html markdown docx odt; do
        for quality in full balanced small; do
            target=$out/$(basename "$folder" .trovix)-$format-$quality
            [ "$format" != markdown ] && target=$target.$format
            measure "$format $quality, $kind" "$target" \
                "$build/src/export/tool/trovix-export" --format "$format" --quality "$quality" \
                --output "$target" "$folder"
        done
    done
done
echo
# On a shared machine one run of each is at the mercy of whatever else runs: the word-processor
# exports are also timed in rounds that take Markdown, PDF, DOCX and ODT in turn, and the medians
# compared ($TROVIX_BENCH_ROUNDS rounds, default 3; 0 leaves this out).
rounds=${TROVIX_BENCH_ROUNDS:-3}
if [ "$rounds" -gt 0 ]; then
    echo "Markdown, PDF, DOCX and ODT in turn, $rounds rounds (every 4th marked), medians:"
    echo
    echo '| quality  | format   |  wall s |  cpu s | peak MB |'
    echo '|----------|----------|--------:|-------:|--------:|'
    for quality in small balanced full; do
        for _ in $(seq "$rounds"); do
            for format in markdown pdf docx odt; do
                target=$out/rounds-$format
                [ "$format" != markdown ] && target=$target.$format
                rm -rf "$target"
                /usr/bin/time -f "$quality $format %e %U %S %M" -a -o "$out/rounds" \
                    "$build/src/export/tool/trovix-export" --format "$format" --quality "$quality" \
                    --output "$target" "$guide" >/dev/null 2>&1
            done
        done
    done
    python3 - "$out/rounds" <<'EOF'
import collections, statistics, sys
runs = collections.defaultdict(list)
for line in open(sys.argv[1]):
    quality, format, wall, user, system, kb = line.split()
    runs[quality, format].append((float(wall), float(user) + float(system), int(kb) / 1024))
for (quality, format), r in runs.items():
    print("| %-8s | %-8s | %7.2f | %6.2f | %7.0f |" % (quality, format, statistics.median(x[0] for x in r),
          statistics.median(x[1] for x in r), max(x[2] for x in r)))
EOF
    echo
fi
full=$(du -sb "$out/Realistic-pdf-full.pdf" | cut -f1)
echo "PDF full (every 4th marked) against the sum of its PNGs: $(echo "scale=2; $full * 100 / $png_bytes - 100" | bc) %"
echo
echo "Decode floor and exports in one process (bench_export, every 4th step marked; medians of"
echo "\$TROVIX_BENCH_REPETITIONS runs when it is set):"
repetitions=${TROVIX_BENCH_REPETITIONS:-1}
TROVIX_BENCH_GUIDE=$guide "$build/bench/export/bench_export" \
    --benchmark_filter='DecodeFloor|Pdf/|Markdown/|Docx/|Odt/' --benchmark_repetitions="$repetitions" \
    --benchmark_report_aggregates_only="$([ "$repetitions" -gt 1 ] && echo true || echo false)" 2>/dev/null |
    grep -E '^Export/' | grep -Ev '_(mean|stddev|cv)\b'
