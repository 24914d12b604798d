#!/usr/bin/python3
"""Clicks in web pages, measured: click → step in the working copy, the most clicks a second kept in
order with nothing lost, and the browser host's peak memory. Runs inside tests/support/with-x11.sh
with the test page and helpers of tests/browser/browser_clicks.py (run.sh starts it).

    bench_browser.py latency chromium|firefox [--scale 2] [--clicks N]
    bench_browser.py rate [--clicks N]       Chromium: bursts at rising rates
    bench_browser.py typing [--clicks N]     Chromium: the Tab that ends typing in a page → its step
    bench_browser.py memory                  the host receiving a 4K tab picture (Chromium at 3840×2160)
"""
import argparse
import os
import shutil
import subprocess
import statistics
import sys
import time

sys.path.insert(0, os.path.join(os.environ["TROVIX_SOURCE_DIR"], "tests/browser"))
import browser_clicks as b  # noqa: E402

TARGETS = ["save", "settings", "email", "agree", "help", "pay"]


def session(browser_name, scale, size=None, page=None):
    url = b.serve(os.path.join(b.SOURCE, "tests/browser/site"))
    if page:
        url = url.replace("index.html", page)
    trovix = b.start([b.TROVIX], open(os.path.join(b.TMP, "trovix.log"), "w"))
    b.wait_for("trovix listens", lambda: os.path.exists(b.SOCKET), 60)
    if browser_name == "chromium":
        browser = b.Chromium(url, scale, size or "1000,700")
    else:
        browser = b.Firefox(url)
    b.wait_for("the host connects", b.host_connected, 60)
    b.toggle_recording()
    time.sleep(2)
    return trovix, browser


def wait_steps(count, timeout=60):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        found = b.steps()
        if len(found) >= count:
            return found
        time.sleep(0.005)
    return b.steps()


def percentile(values, p):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(round(p / 100 * (len(ordered) - 1))))]


def latency(args):
    _, browser = session(args.browser, args.scale)
    times = []
    for i in range(args.clicks):
        start = time.monotonic()
        browser.click(TARGETS[i % len(TARGETS)])
        if len(wait_steps(i + 1)) < i + 1:
            b.fail(f"click {i + 1} made no step")
        times.append((time.monotonic() - start) * 1000)
        time.sleep(0.5)
    browser.close()
    print(f"{args.browser} scale {args.scale}: click → step in the working copy over {len(times)} clicks: "
          f"median {statistics.median(times):.0f} ms, p95 {percentile(times, 95):.0f} ms "
          f"(min {min(times):.0f}, max {max(times):.0f})")


def rate(args):
    _, browser = session("chromium", 1)
    done = 0
    for wanted in (2, 4, 8, 16, 32):
        expected = [TARGETS[i % 4] for i in range(args.clicks)]
        start = time.monotonic()
        for i, name in enumerate(expected):
            browser.click(name)
            pause = start + (i + 1) / wanted - time.monotonic()
            if pause > 0:
                time.sleep(pause)
        achieved = args.clicks / (time.monotonic() - start)
        found = wait_steps(done + args.clicks, 90)
        time.sleep(1.5)
        found = b.steps()
        titles = [step["title"] for step in found[done:]]
        # (The e-mail field is clicked here, not typed into.)
        want = [next(c[3] for c in b.CONTROLS if c[0] == name) if name != "email"
                else "Click “Email address” in " + b.PAGE for name in expected]
        kept = titles == want
        print(f"burst of {args.clicks} at {wanted}/s (achieved {achieved:.1f}/s): "
              f"{len(titles)} steps, {'all kept in order' if kept else 'LOST OR REORDERED'}")
        done = len(found)
        if not kept:
            break
    browser.close()


def typing(args):
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys

    _, browser = session("chromium", 1)
    field = browser.driver.find_element(By.ID, "email")
    times = []
    for i in range(args.clicks):
        browser.click("email")
        field.clear()
        field.send_keys(f"t{i}")
        title = f"Type “t{i}” in “Email address”"
        start = time.monotonic()
        field.send_keys(Keys.TAB)
        deadline = start + 30
        while time.monotonic() < deadline and not (b.steps() and b.steps()[-1]["title"] == title):
            time.sleep(0.005)
        if not (b.steps() and b.steps()[-1]["title"] == title):
            b.fail(f"typing {i + 1} made no step")
        times.append((time.monotonic() - start) * 1000)
        time.sleep(0.5)
    browser.close()
    print(f"chromium scale 1: Tab ending typing in a page → its step in the working copy over {len(times)} "
          f"typings: median {statistics.median(times):.0f} ms, p95 {percentile(times, 95):.0f} ms "
          f"(min {min(times):.0f}, max {max(times):.0f})")


def host_peak():
    """The peak and current resident memory of this session's host."""
    for pid in os.listdir("/proc"):
        try:
            if not pid.isdigit() or not os.readlink(f"/proc/{pid}/exe").endswith("/trovix-browser-host"):
                continue
            if os.environ["HOME"].encode() not in open(f"/proc/{pid}/environ", "rb").read():
                continue
            status = dict(line.split(":", 1) for line in open(f"/proc/{pid}/status"))
            return status["VmHWM"].strip(), status["VmRSS"].strip()
        except OSError:
            pass
    return None


def memory(args):
    """A 3840×2160 tab: the test page, then a page of noise (a PNG that does not compress)."""
    site = os.path.join(b.TMP, "site")
    os.makedirs(site, exist_ok=True)
    for name in ("index.html", "frame.html"):
        shutil.copy(os.path.join(b.SOURCE, "tests/browser/site", name), site)
    subprocess.run(["convert", "-size", "3840x2160", "xc:", "+noise", "Random", os.path.join(site, "noise.png")],
                   check=True)
    with open(os.path.join(site, "noise.html"), "w") as file:
        file.write('<!DOCTYPE html><title>Noise</title><body style="margin:0">'
                   '<img src="noise.png" style="position:fixed;left:0;top:0;width:1920px;height:1080px">'
                   '<button id="save" style="position:fixed;left:40px;top:40px;width:160px;height:50px">Save</button>')
    b.SOURCE_SITE = site
    url = b.serve(site)
    trovix = b.start([b.TROVIX], open(os.path.join(b.TMP, "trovix.log"), "w"))
    b.wait_for("trovix listens", lambda: os.path.exists(b.SOCKET), 60)
    # Headless Chromium's viewport is the window less 143 pixels of simulated browser frame.
    browser = b.Chromium(url, 2, "1920,1223")
    b.wait_for("the host connects", b.host_connected, 60)
    b.toggle_recording()
    time.sleep(2)
    for count, page in ((1, "index.html"), (2, "noise.html")):
        if page != "index.html":
            browser.driver.get(url.replace("index.html", page))
            time.sleep(2)
        browser.click("save")
        found = wait_steps(count)
        path = os.path.join(b.WORKING_COPY, found[count - 1]["id"].strip("{}") + ".png")
        width, height, _ = b.pixels(path)
        peak, now = host_peak()
        print(f"host after a {width}×{height} tab picture of {page} ({os.path.getsize(path) / 1e6:.1f} MB as the "
              f"step's PNG): peak resident memory (VmHWM) {peak}, resident now {now}")
    browser.close()
    trovix.terminate()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("what", choices=["latency", "rate", "typing", "memory"])
    parser.add_argument("browser", nargs="?", default="chromium", choices=["chromium", "firefox"])
    parser.add_argument("--scale", type=int, default=1)
    parser.add_argument("--clicks", type=int, default=20)
    args = parser.parse_args()
    try:
        {"latency": latency, "rate": rate, "typing": typing, "memory": memory}[args.what](args)
    finally:
        for child in reversed(b.children):
            if child.poll() is None:
                child.terminate()


if __name__ == "__main__":
    main()
