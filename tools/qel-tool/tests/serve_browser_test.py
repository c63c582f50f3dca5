#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""qel-tool serve in a real browser (headless Chromium through chromium-driver) under
qel-emulator. Run A, read-only: the page loads without console errors, shows the emulated
handle's position, offers no controls, and the server refuses a control without the token or addressed to
another name;
the device never sees force output. Run B, with the token, in physics mode with a circling
hand: the shown position follows the circle; the page's control switches force output on at
the device (its operation mode) and the tool's exit switches the drives off; a test force
stops when its page goes away; control requests are validated. Saves a screenshot of run B.

    serve_browser_test.py QEL_TOOL QEL_EMULATOR SCREENSHOT.png
Exits 77 when the browser or its driver is missing."""
import json
import math
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

tool, emulator, screenshot = sys.argv[1:4]
try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
except ImportError:
    sys.exit(77)
for program in ("chromium", "chromedriver"):
    if not shutil.which(program):
        sys.exit(77)


page = None  # the browser, whose page a failure shows


def fail(message):
    if page:
        try:
            message += "\npage state:\n" + page.find_element(By.ID, "side").text
        except Exception:  # the page itself may be the trouble
            pass
    raise AssertionError(message)


def start(emulator_args):
    """Runs qel-tool serve under the emulator; returns the process and the page address."""
    proc = subprocess.Popen([emulator, "--report", *emulator_args, "--", tool, "serve",
                             "--port", "0"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True)
    for line in proc.stdout:
        if "controls:" in line:
            return proc, line.split()[-1]
    fail("qel-tool serve printed no address: " + proc.stderr.read())


def finish(proc):
    """Ends the tool as Ctrl-C would; returns the emulator's report."""
    proc.send_signal(signal.SIGTERM)
    _, err = proc.communicate(timeout=20)
    if proc.returncode != 0:
        fail(f"qel-tool serve ended with {proc.returncode}: {err}")
    return err


def post(base, path, fields, token=None, host=None):
    request = urllib.request.Request(base + path, data=fields.encode(), method="POST")
    if host:
        request.add_header("Host", host)
    if token is not None:
        request.add_header("X-QEL-Token", token)
    try:
        with urllib.request.urlopen(request, timeout=5) as reply:
            return reply.status
    except urllib.error.HTTPError as e:
        return e.code


def server_state(base):
    with urllib.request.urlopen(base + "api/state", timeout=5) as reply:
        return json.load(reply)


def shown_position(driver):
    shown = []
    wait_for("a shown position", lambda: shown.append(
        [float(v) for v in driver.find_element(By.ID, "position").text.split()]) or len(shown[-1]) == 3)
    return shown[-1]


def wait_for(what, predicate, seconds=20):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        try:
            if predicate():
                return
        except Exception:  # the element is not there yet or shows no numbers yet
            pass
        time.sleep(0.05)
    fail("timed out waiting for " + what)


def no_console_errors(driver):
    errors = [e for e in driver.get_log("browser") if e["level"] == "SEVERE"]
    if errors:
        fail(f"console errors: {errors}")


def browser(profile):
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--use-angle=swiftshader",
                 "--enable-unsafe-swiftshader", "--window-size=1400,1080",
                 "--user-data-dir=" + profile):
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)


def read_only_run(driver):
    target = [10.0, -20.0, 190.0]
    proc, address = start(["--position", ",".join(map(str, target))])
    try:
        base, token = address.split("?token=")
        driver.get(base)
        wait_for("the shown position",
                 lambda: max(abs(a - b) for a, b in zip(shown_position(driver), target)) < 0.5)
        if driver.find_element(By.ID, "output-on").is_enabled():
            fail("a page without the token offers the controls")
        for t in (None, "0" * len(token), token[:-1]):
            if post(base, "api/output", "on=1", t) != 403:
                fail(f"a control with token {t!r} was not refused")
        if post(base, "api/output", "on=1", token, host="elsewhere.example") != 403:
            fail("a request addressed to another name was served")
        no_console_errors(driver)
        driver.get("about:blank")  # before the tool ends, which the page would report
    finally:
        report = finish(proc)
    if "drives off" not in report or "mode 0x22" not in report:
        fail("force output reached the device without the token: " + report)


def switch_on_with_test_force(driver):
    """Force output on and a test force of 1 N up, with the page's controls. A machine under
    heavy load can make the emulated device miss an exchange; the tool then opens it again
    with everything off and says so: the controls are used once more then."""
    for attempt in (1, 2):
        driver.find_element(By.ID, "output-on").click()
        driver.find_element(By.ID, "fz").clear()
        driver.find_element(By.ID, "fz").send_keys("1")
        driver.find_element(By.ID, "force-apply").click()
        try:
            wait_for("the drives on", lambda: driver.find_element(By.ID, "drives").text == "on", 6)
            wait_for("the test force", lambda: driver.find_element(By.ID, "force").text.split()
                     == ["0.000", "0.000", "1.000"], 6)
            return
        except AssertionError:
            if attempt == 2 or "opened the device again" not in driver.find_element(
                    By.ID, "errors").text:
                raise


def control_run(driver):
    proc, address = start(["--hand", "circle", "--hand-point", "0,0,200"])
    try:
        base = address.split("?")[0]
        driver.get(address)
        wait_for("the controls", lambda: driver.find_element(By.ID, "output-on").is_enabled())
        # The hand moves the handle round a circle of 20 mm at z = 200, a turn in 2 s: a
        # second and a half of what the page shows spans most of it.
        seen = []
        for _ in range(15):
            seen.append(shown_position(driver))
            time.sleep(0.1)
        for p in seen:
            if math.hypot(p[0], p[1]) > 35 or abs(p[2] - 200) > 5:
                fail(f"shown position {p} is off the hand's circle")
        for axis in (0, 1):
            if max(p[axis] for p in seen) - min(p[axis] for p in seen) < 25:
                fail(f"the shown position does not follow the hand: {seen}")
        switch_on_with_test_force(driver)
        time.sleep(1.5)  # let the charts fill a little
        driver.save_screenshot(screenshot)
        no_console_errors(driver)
        driver.get("about:blank")
        time.sleep(1.2)  # past the test force's lease
        state = server_state(base)
        if state["testForce"] != [0, 0, 0] or state["force"] != [0, 0, 0]:
            fail(f"the test force outlived its page: {state['force']}")
        # Requests are validated: a force is clamped to 2 N, bad numbers and big bodies refused.
        token = address.split("?token=")[1]
        if post(base, "api/force", "x=3&y=0&z=4", token) != 200:
            fail("a test force with the token was refused")
        wait_for("a test force of 5 N clamped to 2 N",
                 lambda: server_state(base)["testForce"] == [1.2, 0, 1.6], 2)
        for body, status in (("x=nan&y=0&z=0", 400), ("x=1&y=0", 400),
                             ("x=0&y=0&z=0&pad=" + "x" * 1000, 413)):
            if post(base, "api/force", body, token) != status:
                fail(f"the body {body[:20]!r} was not refused with {status}")
    finally:
        report = finish(proc)
    if "mode 0x25" not in report:
        fail("the page's control did not switch force output on at the device: " + report)
    if "drives off" not in report:
        fail("the drives were left on at exit: " + report)


def main():
    profile = tempfile.mkdtemp(prefix="qel-serve-browser-")
    global page
    driver = page = browser(profile)
    try:
        read_only_run(driver)
        control_run(driver)
    finally:
        driver.quit()
        shutil.rmtree(profile, ignore_errors=True)
    print("serve in the browser: all checks passed; screenshot", screenshot)


if __name__ == "__main__":
    main()
