#!/usr/bin/env bash
# Validates the desktop entry and the AppStream metainfo, builds the Debian package of this Release
# tree and unpacks it into a scratch root to check what it installs and what it depends on.
# Usage: check-package.sh SOURCE_DIR BINARY_DIR BUILD_TYPE. Exits 77 (skipped) outside Release trees.
set -u
src=$1 bin=$2 type=$3
fail() { echo "check-package: $*" >&2; exit 1; }
for tool in desktop-file-validate appstreamcli cpack dpkg-deb; do
    command -v "$tool" >/dev/null || { echo "check-package: $tool is missing"; exit 77; }
done
id=io.github.trovix.Trovix
host=io.github.trovix.browser_host
desktop-file-validate "$src/data/$id.desktop" || fail "the desktop entry does not validate"
appstreamcli validate --no-net "$src/data/$id.metainfo.xml" || fail "the metainfo does not validate"
[ "$type" = Release ] || { echo "check-package: not a Release tree ($type)"; exit 77; }

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
(cd "$bin" && cpack -G DEB -B "$out" >"$out/cpack.log" 2>&1) || { cat "$out/cpack.log"; fail "cpack failed"; }
deb=$(ls "$out"/trovix_*_amd64.deb 2>/dev/null | head -n1)
[ -n "$deb" ] || fail "no trovix_<version>_amd64.deb was made"
dpkg-deb -x "$deb" "$out/root" || fail "the package does not unpack"
for path in usr/bin/trovix usr/bin/trovix-export \
    usr/share/applications/$id.desktop usr/share/metainfo/$id.metainfo.xml \
    usr/share/icons/hicolor/scalable/apps/$id.svg usr/share/icons/hicolor/48x48/apps/$id.png \
    usr/share/icons/hicolor/256x256/apps/$id.png \
    usr/share/man/man1/trovix.1.gz usr/share/man/man1/trovix-export.1.gz usr/bin/trovix-browser-host \
    usr/share/trovix/browser-extension/chromium/manifest.json usr/share/trovix/browser-extension/firefox/manifest.json \
    usr/share/trovix/browser-extension/chromium/content.js usr/share/trovix/browser-extension/firefox/background.js \
    usr/share/trovix/browser-extension/trovix.xpi etc/chromium/native-messaging-hosts/$host.json \
    etc/opt/chrome/native-messaging-hosts/$host.json usr/lib/mozilla/native-messaging-hosts/$host.json \
    usr/share/gnome-shell/extensions/trovix@trovix.github.io/extension.js \
    usr/share/gnome-shell/extensions/trovix@trovix.github.io/metadata.json; do
    [ -s "$out/root/$path" ] || fail "the package lacks /$path"
done
extra=$(cd "$out/root" && find . -type f |
    grep -vE '^\./(usr/(bin|share/(applications|metainfo|icons|man|trovix/browser-extension|gnome-shell/extensions)|lib/mozilla/native-messaging-hosts|lib/[^/]+/qt5/plugins/kwin/effects/plugins)|etc/(chromium|opt/chrome)/native-messaging-hosts)/')
[ -z "$extra" ] || fail "the package holds unexpected files: $extra"
# Where the build made the KWin effect, the package holds it and names the one KWin it runs in.
if [ -f "$bin/src/platform/kde/effect/plugins/kwin/effects/plugins/trovixclicks.so" ]; then
    ls "$out"/root/usr/lib/*/qt5/plugins/kwin/effects/plugins/trovixclicks.so >/dev/null 2>&1 ||
        fail "the package lacks the KWin effect"
    dpkg-deb -f "$deb" Breaks | grep -q 'kwin-common (<<' || fail "the package does not name the KWin its effect is for"
fi
grep -q '^Exec=/usr/bin/trovix %F$' "$out/root/usr/share/applications/$id.desktop" ||
    fail "the desktop entry does not run /usr/bin/trovix by its full path (KWin trusts no other)"
depends=$(dpkg-deb -f "$deb" Depends)
for lib in libqt6widgets6 libqt6core6 libcairo2 libxcb-xinput0; do
    grep -q "$lib" <<<"$depends" || fail "Depends lacks $lib (computed: $depends)"
done
"$out/root/usr/bin/trovix" --version | grep -q '^trovix ' || fail "the packaged trovix does not say its version"
# Each browser finds the host on the PATH, and it answers there: no Trovix runs, so it says so.
for manifest in "$out"/root/etc/chromium/native-messaging-hosts/$host.json \
    "$out"/root/etc/opt/chrome/native-messaging-hosts/$host.json "$out"/root/usr/lib/mozilla/native-messaging-hosts/$host.json; do
    grep -q '"path": "/usr/bin/trovix-browser-host"' "$manifest" || fail "$manifest does not name /usr/bin/trovix-browser-host"
done
mkdir -m 700 "$out/run"
answer=$( (printf '\x1d\x00\x00\x00{"type":"press","id":1,"x":0}'; sleep 1) |
    XDG_RUNTIME_DIR="$out/run" timeout 10 "$out/root/usr/bin/trovix-browser-host" | tr -d '\000-\037')
grep -q 'Trovix is not running' <<<"$answer" || fail "the packaged host did not answer a browser: $answer"
echo "check-package: $(basename "$deb") is complete"
