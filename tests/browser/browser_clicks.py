#!/usr/bin/python3
"""Clicks in a web page become guide steps: a real browser loads the extension from the build tree,
the browser starts the host built here, and the host hands the clicks to a running trovix. Runs inside
with-x11.sh or with-wayland.sh (private HOME, XDG folders and session).

    browser_clicks.py chromium [--scale 2]   Chromium headless under chromedriver
    browser_clicks.py firefox                Firefox ESR in the X session, clicked with xdotool
"""
import argparse
import functools
import http.server
import json
import os
import shutil
import struct
import subprocess
import sys
import threading
import time

SOURCE = os.environ["TROVIX_SOURCE_DIR"]
BUILD = os.environ["TROVIX_BINARY_DIR"]
HOME = os.environ["HOME"]
TMP = os.environ["TROVIX_TEST_TMP"]
TROVIX = os.path.join(BUILD, "src/app/trovix")
EXTENSION = os.path.join(BUILD, "extensions/browser")
HOST_NAME = "io.github.trovix.browser_host"
SOCKET = os.path.join(os.environ["XDG_RUNTIME_DIR"], "trovix/browser")
WORKING_COPY = os.path.join(os.environ["XDG_DATA_HOME"], "Trovix/Current")
SECRET = "hunter2-Zq81-secret"
EMAIL = "alice@example.com"
PAGE = "Trovix Test Page"

# Each control: where it is in the top viewport (CSS pixels), its colour, the title its step gets. The
# fields are typed into after their click: the typing's step takes the click's place.
CONTROLS = [
    ("save", (40, 40, 160, 50), (255, 0, 0), "Click “Save draft” in " + PAGE),
    ("settings", (240, 40, 50, 50), (0, 192, 0), "Click “Open settings” in " + PAGE),
    ("email", (40, 140, 240, 36), (0, 0, 255), f"Type “{EMAIL}” in “Email address”"),
    ("agree", (40, 220, 30, 30), (255, 0, 255), "Click “I agree to the terms” in " + PAGE),
    # The page's empty background names nothing and has no box worth framing: a ring marks the click.
    ("blank", (560, 480, 80, 40), None, "Click in " + PAGE),
    ("help", (40, 290, 200, 30), (255, 255, 0), "Click “Read the help” in " + PAGE),
    ("password", (40, 370, 240, 36), (0, 255, 255), "Type the password in “Password”"),
    ("pay", (450, 100, 180, 60), (255, 128, 0), "Click “Pay now” in " + PAGE),
    ("script", (40, 440, 160, 50), (128, 128, 128), "Click “Run script” in " + PAGE),
]

children = []


def fail(message):
    print("FAIL: " + message, file=sys.stderr)
    if os.environ.get("TROVIX_KEEP_STEPS"):
        shutil.copytree(WORKING_COPY, os.environ["TROVIX_KEEP_STEPS"], dirs_exist_ok=True)
    for name in ("trovix.log", "browser.log"):
        path = os.path.join(TMP, name)
        if os.path.exists(path):
            print(f"--- {name} (last lines)", file=sys.stderr)
            print("".join(open(path, errors="replace").readlines()[-40:]), file=sys.stderr)
    sys.exit(1)


def wait_for(what, predicate, timeout):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        value = predicate()
        if value:
            return value
        time.sleep(0.1)
    fail(f"{what} within {timeout} s")


def serve(folder):
    """Serves the test page on 127.0.0.1; a second port makes the frame cross-origin."""
    class Quiet(http.server.SimpleHTTPRequestHandler):
        def log_message(self, *args):
            pass

    handler = functools.partial(Quiet, directory=folder)
    ports = []
    for _ in range(2):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        ports.append(server.server_address[1])
    return f"http://127.0.0.1:{ports[0]}/index.html?frame={ports[1]}"


def start(command, log, **kwargs):
    process = subprocess.Popen(command, stdout=log, stderr=subprocess.STDOUT, **kwargs)
    children.append(process)
    return process


def host_connected():
    """Trovix has accepted a browser host: its socket's folder shows up twice, listening and connected
    (the socket is made in a private folder inside it and moved into place)."""
    folder = os.path.dirname(SOCKET) + "/"
    with open("/proc/net/unix") as table:
        return sum(1 for line in table if line.split()[-1].startswith(folder)) >= 2


def steps():
    try:
        with open(os.path.join(WORKING_COPY, "guide.json"), encoding="utf-8") as file:
            return json.load(file)["steps"]
    except (OSError, ValueError, KeyError):
        return []


def record_clicks(pid):
    """Trovix's Record Clicks button on the accessibility bus: (enabled, description), or None."""
    import gi

    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi

    desktop = Atspi.get_desktop(0)
    for index in range(desktop.get_child_count()):
        application = desktop.get_child_at_index(index)
        if application is None or application.get_process_id() != pid:
            continue
        nodes = [application]
        while nodes:
            node = nodes.pop()
            if node.get_role() == Atspi.Role.PUSH_BUTTON and node.get_name() == "Record Clicks":
                return node.get_state_set().contains(Atspi.StateType.ENABLED), node.get_description()
            nodes.extend(child for child in (node.get_child_at_index(i) for i in range(node.get_child_count())) if child)
    return None


def toggle_recording():
    subprocess.run([TROVIX, "--toggle-recording"], check=True, timeout=30)


def pixels(path):
    """The picture as (width, height, bytes of RGB)."""
    with open(path, "rb") as file:
        width, height = struct.unpack(">II", file.read(24)[16:24])
    rgb = subprocess.run(["convert", path, "-depth", "8", "rgb:-"], check=True, capture_output=True).stdout
    return width, height, rgb


def check_steps(found, scale, outside_after=None):
    # In an X session the desktop sees the keys typed into the page as well; the page's own report
    # makes the one step of each field (the titles below).
    if outside_after:
        # The desktop's step for the click outside the page, in its place between the page's steps.
        at = [control[0] for control in CONTROLS].index(outside_after) + 1
        if len(found) != len(CONTROLS) + 1 or found[at]["title"].endswith(" in " + PAGE):
            fail("no step of its own for the click outside the page: " + ", ".join(s["title"] for s in found))
        found = found[:at] + found[at + 1:]
    titles = [step["title"] for step in found]
    expected = [control[3] for control in CONTROLS]
    if titles != expected:
        fail("the steps' titles, in order:\n  " + "\n  ".join(titles) + "\nexpected:\n  " + "\n  ".join(expected))
    password = next(control[1] for control in CONTROLS if control[0] == "password")
    for step, (name, box, colour, _) in zip(found, CONTROLS):
        if abs(step["scale"] - scale) > 1e-6:
            fail(f"step {name} has scale {step['scale']}, expected {scale}")
        # The page's password field is covered on every step's picture, whatever it shows.
        fields = [(r["p1"][0], r["p1"][1], r["p2"][0] - r["p1"][0], r["p2"][1] - r["p1"][1])
                  for r in step.get("redactions", []) if r["kind"] == "password"]
        if not any(all(abs(a - b) <= 1.01 for a, b in zip(field, password)) for field in fields):
            fail(f"step {name} does not cover the password field {password}: {step.get('redactions')}")
        if name == "password":
            colour = (72, 72, 80)
        if colour is None:
            ring = [mark["p1"] for mark in step["annotations"] if mark["kind"] == 6]
            if len(ring) != 1 or not (box[0] <= ring[0][0] <= box[0] + box[2] and box[1] <= ring[0][1] <= box[1] + box[3]):
                fail(f"step {name} has no ring on the text clicked: {step['annotations']}")
            continue
        marks = [mark for mark in step["annotations"] if mark["kind"] == 7]
        if len(marks) != 1:
            fail(f"step {name} has no frame around its control: {step['annotations']}")
        p1, p2 = marks[0]["p1"], marks[0]["p2"]
        frame = (p1[0], p1[1], p2[0] - p1[0], p2[1] - p1[1])
        if any(abs(a - b) > 1.01 for a, b in zip(frame, box)):
            fail(f"step {name}: frame {frame}, expected the control's box {box}")
        width, height, data = pixels(os.path.join(WORKING_COPY, step["id"].strip("{}") + ".png"))
        if (width, height) != (round(width / scale) * scale, round(height / scale) * scale) or width < 800 * scale:
            fail(f"step {name}: a {width}×{height} picture at scale {scale}")

        def colour_at(x, y):
            px, py = int(x * scale), int(y * scale)
            at = (py * width + px) * 3
            return tuple(data[at:at + 3])

        def near(a, b):
            return all(abs(u - v) <= 10 for u, v in zip(a, b))

        x, y, w, h = frame
        inside = [(x + 3, y + 3), (x + w - 3, y + 3), (x + 3, y + h - 3), (x + w - 3, y + h - 3)]
        outside = [(x - 4, y + h / 2), (x + w + 4, y + h / 2), (x + w / 2, y - 4), (x + w / 2, y + h + 4)]
        # A typed address is covered where it is read, which may take in its whole field: there the
        # cover, not the control, must show.
        covered = [(r["p1"], r["p2"]) for r in step.get("redactions", []) if r["kind"] != "password"]
        hidden = [(px, py) for px, py in inside
                  if any(a[0] <= px <= b[0] and a[1] <= py <= b[1] for a, b in covered)]
        for point in hidden:
            if not near(colour_at(*point), (72, 72, 80)):
                fail(f"step {name}: the covered corner {point} shows {colour_at(*point)}")
        for point in (p for p in inside if p not in hidden):
            if not near(colour_at(*point), colour):
                fail(f"step {name}: the frame's corner {point} shows {colour_at(*point)}, not the control's {colour}")
        for point in outside:
            if near(colour_at(*point), colour):
                fail(f"step {name}: the control's colour reaches past its frame at {point}")


def check_secret():
    for folder, _, files in os.walk(WORKING_COPY):
        for name in files:
            with open(os.path.join(folder, name), "rb") as file:
                content = file.read()
            for encoding in ("utf-8", "utf-16-le", "utf-16-be"):
                if SECRET.encode(encoding) in content:
                    fail(f"the typed password is in the working copy's {name}")


class Chromium:
    def __init__(self, url, scale, size="1000,700"):
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service

        profile = os.path.join(HOME, ".config/chromium")
        # Chromium looks for user-level hosts in its profile folder.
        hosts = os.path.join(profile, "NativeMessagingHosts")
        os.makedirs(hosts, exist_ok=True)
        shutil.copy(os.path.join(EXTENSION, "hosts/chromium", HOST_NAME + ".json"), hosts)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/lib/chromium/chromium"
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
                         "--disable-features=DisableLoadExtensionCommandLineSwitch",
                         f"--user-data-dir={profile}", f"--load-extension={EXTENSION}/chromium",
                         f"--window-size={size}", f"--force-device-scale-factor={scale}"):
            options.add_argument(argument)
        service = Service("/usr/bin/chromedriver", log_path=os.path.join(TMP, "browser.log"))
        self.driver = webdriver.Chrome(service=service, options=options)
        self.driver.get(url)

    def click(self, name):
        from selenium.webdriver.common.by import By

        if name == "blank":
            from selenium.webdriver.common.actions.action_builder import ActionBuilder

            actions = ActionBuilder(self.driver)
            actions.pointer_action.move_to_location(600, 500).click()
            actions.perform()
            return
        if name == "pay":
            self.driver.switch_to.frame(self.driver.find_element(By.ID, "frame"))
        self.driver.find_element(By.ID, name).click()
        self.driver.switch_to.default_content()

    def type(self, name, text):
        from selenium.webdriver.common.by import By

        self.driver.find_element(By.ID, name).send_keys(text)

    def close(self):
        if self.driver:
            self.driver.quit()
            self.driver = None


class Firefox:
    """Firefox ESR full screen (kiosk), so that page pixels are screen pixels; xdotool clicks."""

    def __init__(self, url):
        hosts = os.path.join(HOME, ".mozilla/native-messaging-hosts")
        os.makedirs(hosts, exist_ok=True)
        shutil.copy(os.path.join(EXTENSION, "hosts/firefox", HOST_NAME + ".json"), hosts)
        profile = os.path.join(HOME, "firefox-profile")
        os.makedirs(os.path.join(profile, "extensions"), exist_ok=True)
        # The unsigned extension installs from the profile's own folder, enabled without a prompt.
        shutil.copy(os.path.join(EXTENSION, "trovix.xpi"),
                    os.path.join(profile, "extensions", "browser@trovix.github.io.xpi"))
        prefs = {
            "xpinstall.signatures.required": False, "extensions.autoDisableScopes": 0,
            "extensions.enabledScopes": 15, "extensions.startupScanScopes": 15,
            "browser.shell.checkDefaultBrowser": False, "browser.aboutwelcome.enabled": False,
            "datareporting.policy.dataSubmissionEnabled": False, "toolkit.telemetry.reportingpolicy.firstRun": False,
            "browser.startup.homepage_override.mstone": "ignore", "app.update.auto": False,
            "browser.sessionstore.resume_from_crash": False, "extensions.update.enabled": False,
            "browser.tabs.warnOnClose": False, "network.captive-portal-service.enabled": False,
            "fullscreen.transition.duration.enter": 0, "fullscreen.transition.duration.leave": 0,
            "browser.fullscreen.autohide": True, "ui.caretBlinkTime": 0,
        }
        with open(os.path.join(profile, "user.js"), "w") as file:
            for name, value in prefs.items():
                file.write(f"user_pref({json.dumps(name)}, {json.dumps(value)});\n")
        log = open(os.path.join(TMP, "browser.log"), "w")
        env = dict(os.environ, MOZ_CRASHREPORTER_DISABLE="1", MOZ_ENABLE_WAYLAND="0")
        self.process = start(["firefox-esr", "--no-remote", "--kiosk", "--profile", profile, url], log, env=env)
        wait_for("Firefox shows the test page",
                 lambda: subprocess.run(["xdotool", "search", "--name", PAGE], capture_output=True).returncode == 0,
                 90)
        time.sleep(2)

    def click(self, name):
        box = next(control[1] for control in CONTROLS if control[0] == name)
        x, y = box[0] + box[2] // 2 + 10, box[1] + box[3] // 2
        subprocess.run(["xdotool", "mousemove", "--sync", str(x), str(y), "click", "1"], check=True)

    def type(self, name, text):
        subprocess.run(["xdotool", "type", "--delay", "20", text], check=True)

    def click_outside(self):
        """A click in another application's window, over the browser: the desktop's own step."""
        window = start(["xmessage", "-geometry", "+1500+800", "-buttons", "", "Not a web page"],
                       subprocess.DEVNULL)
        wait_for("xmessage shows", lambda: subprocess.run(["xdotool", "search", "--name", "xmessage"],
                                                          capture_output=True).returncode == 0, 30)
        time.sleep(0.5)
        subprocess.run(["xdotool", "mousemove", "--sync", "1530", "815", "click", "1"], check=True)
        time.sleep(0.7)
        window.terminate()

    def close(self):
        self.process.terminate()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("browser", choices=["chromium", "firefox"])
    parser.add_argument("--scale", type=float, default=1)
    args = parser.parse_args()
    scale = int(args.scale) if args.scale == int(args.scale) else args.scale

    url = serve(os.path.join(SOURCE, "tests/browser/site"))
    trovix = start([TROVIX], open(os.path.join(TMP, "trovix.log"), "w"))
    wait_for("trovix listens for browsers", lambda: os.path.exists(SOCKET), 60)
    wayland = os.environ.get("XDG_SESSION_TYPE") == "wayland"
    if wayland:
        # The desktop shows Trovix no clicks: Record Clicks waits for a browser.
        state = wait_for("Record Clicks on the accessibility bus", lambda: record_clicks(trovix.pid), 30)
        if state[0]:
            fail("Record Clicks is available in a Wayland session without a browser")
    browser = Chromium(url, scale) if args.browser == "chromium" else Firefox(url)
    try:
        wait_for("the browser's host connects to trovix", host_connected, 60)
        if wayland:
            state = wait_for("Record Clicks becomes available with the browser's extension",
                             lambda: (record_clicks(trovix.pid) or (False,))[0] and record_clicks(trovix.pid), 30)
            if "browser only" not in state[1]:
                fail(f"Record Clicks does not say that it records in the browser only: {state[1]!r}")
        toggle_recording()
        # The recording's start reaches every frame of the page through the host and the extension.
        time.sleep(2)
        for name, *_ in CONTROLS:
            browser.click(name)
            if name in ("email", "password"):
                browser.type(name, EMAIL if name == "email" else SECRET)
            time.sleep(0.7)
            if name == "pay" and args.browser == "firefox":
                browser.click_outside()
        expected = len(CONTROLS) + (args.browser == "firefox")
        wait_for(f"{expected} steps in the working copy", lambda: len(steps()) >= expected, 60)
        # Synthetic clicks keep firing; none may become a step.
        time.sleep(2.5)
        # Typing under way when the recording stops still becomes a step, in place of the click into
        # its field.
        browser.click("email")
        browser.type("email", "!")
        time.sleep(0.5)
        toggle_recording()
        # (The click puts the caret somewhere in the address.)
        def stop_typed():
            title = steps()[-1]["title"] if steps() else ""
            text = title.removeprefix("Type “").removesuffix("” in “Email address”")
            return title != text and text.count("!") == 1 and text.replace("!", "") == EMAIL
        wait_for("the typing the stop ended", stop_typed, 10)
        time.sleep(1.5)
        check_steps(steps()[:-1], scale, "pay" if args.browser == "firefox" else None)
        check_secret()
        browser.close()
        # trovix ends cleanly (under the sanitizers: without a leak or a late error).
        trovix.terminate()
        if trovix.wait(60) != 0:
            fail(f"trovix ended with status {trovix.returncode}")
    finally:
        browser.close()
        for child in reversed(children):
            if child.poll() is None:
                child.terminate()
                try:
                    child.wait(10)
                except subprocess.TimeoutExpired:
                    child.kill()
    if os.environ.get("TROVIX_KEEP_STEPS"):
        shutil.copytree(WORKING_COPY, os.environ["TROVIX_KEEP_STEPS"], dirs_exist_ok=True)
    print(f"{args.browser} at scale {scale}: {len(CONTROLS)} clicks, {len(CONTROLS)} steps with their frames")


if __name__ == "__main__":
    main()
