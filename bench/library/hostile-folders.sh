#!/bin/bash
# Times trovix-export on guide folders that other people's disks can hold: pipes and links to
# /dev/zero where guide.json or a step picture should be, a 10 GB sparse guide.json, a link loop, a
# link to a picture outside the folder, a folder the user may not read and one with 100,000 entries.
# Prints one row per case: what the user is told, the wall time and the peak resident memory, each
# from /usr/bin/time -v.
#
#   bench/library/hostile-folders.sh [BUILD_DIR]      (default: build/test)
#
# Runs as root or as a user; the unreadable folder is read as the unprivileged user "nobody" when
# run as root, whom permissions would not stop.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
[ -x /usr/bin/time ] && command -v convert >/dev/null || "$root/scripts/install-deps.sh"

build=$(realpath "${1:-build/test}")
tool="$build/src/export/trovix-export"
[ -x "$tool" ] || tool=$(find "$build" -name trovix-export -type f -perm -u+x | head -n1)
[ -x "$tool" ] || { echo "no trovix-export under $build" >&2; exit 1; }

work=$(mktemp -d /tmp/trovix-hostile.XXXXXX)
chmod 755 "$work"
trap 'chmod -R u+rwx "$work" 2>/dev/null; rm -rf "$work"' EXIT
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" LANG=C.UTF-8
mkdir -p "$HOME"

id=0F8FAD5B-D9CB-469F-A165-70867728950E
good() { # folder: a guide with one step
    mkdir -p "$1"
    printf '{"title":"%s","steps":[{"id":"%s","title":"Step 1","note":"","scale":1,"annotations":[]}]}' \
        "$(basename "$1" .trovix)" "$id" >"$1/guide.json"
    convert -size 640x400 xc:skyblue "png:$1/$id.png"
}

good "$work/Good.trovix"
mkdir -p "$work/Pipe json.trovix" && mkfifo "$work/Pipe json.trovix/guide.json"
mkdir -p "$work/Zero json.trovix" && ln -s /dev/zero "$work/Zero json.trovix/guide.json"
good "$work/Pipe picture.trovix" && rm "$work/Pipe picture.trovix/$id.png" && mkfifo "$work/Pipe picture.trovix/$id.png"
good "$work/Zero picture.trovix" && ln -sf /dev/zero "$work/Zero picture.trovix/$id.png"
mkdir -p "$work/Sparse.trovix" && truncate -s 10G "$work/Sparse.trovix/guide.json"
mkdir -p "$work/Loop.trovix" && ln -s b "$work/Loop.trovix/guide.json" && ln -s guide.json "$work/Loop.trovix/b"
good "$work/private" && good "$work/Outside.trovix"
ln -sf "$work/private/$id.png" "$work/Outside.trovix/$id.png"
good "$work/Locked.trovix" && chmod 000 "$work/Locked.trovix"
good "$work/Many.trovix" && (cd "$work/Many.trovix" && seq -f 'entry-%06g' 1 100000 | xargs touch)

as_user=()
[ "$(id -u)" = 0 ] && as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups)

printf '| case | what the user sees | time | peak RSS |\n|---|---|---|---|\n'
for name in Good "Pipe json" "Zero json" "Pipe picture" "Zero picture" Sparse Loop Outside Locked Many; do
    mkdir -p "$work/out" && chmod 777 "$work/out"
    runner=()
    [ "$name" = Locked ] && runner=("${as_user[@]}")
    set +e
    /usr/bin/time -v -o "$work/time.txt" timeout 60 "${runner[@]}" "$tool" "$work/$name.trovix" --format html \
        --output "$work/out/" >"$work/stdout.txt" 2>"$work/stderr.txt"
    status=$?
    set -e
    seen=$(sed -n 's/^trovix-export: //p' "$work/stderr.txt" | head -n1)
    [ -z "$seen" ] && seen=$(head -n1 "$work/stdout.txt" | sed "s|$work/||")
    wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$work/time.txt")
    rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$work/time.txt")
    printf '| %s | exit %s: %s | %s | %s MB |\n' "$name" "$status" "$seen" "$wall" "$((rss / 1024))"
    rm -rf "$work/out"
done
