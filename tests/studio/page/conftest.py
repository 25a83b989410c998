"""A studio and a browser for the tests of its page."""

import ctypes
import hashlib
import os
import re
import shutil
import signal
import subprocess
import time

import numpy
import pytest
from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

COMMAND = os.environ["VELTRANE_COMMAND"]
SAMPLES = os.environ["VELTRANE_SAMPLES"]
PATIENCE = 90  # seconds; a busy machine draws in software

FLAGS = ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--enable-unsafe-swiftshader",
         "--disable-background-networking", "--hide-scrollbars"]


def veltrane(folder, *arguments):
    """Runs the command in a folder; a failure is the test's."""
    return subprocess.run([COMMAND, *arguments], cwd=folder, check=True, capture_output=True, text=True)


def pixels_of(path):
    """A picture's 16-bit R G B A, as FFmpeg reads it."""
    raw = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-frames:v", "1", "-f", "rawvideo",
                          "-pix_fmt", "rgba64le", "-"], check=True, capture_output=True).stdout
    return numpy.frombuffer(raw, "<u2")


def digest(pixels):
    return hashlib.sha256(pixels.tobytes()).hexdigest()


def end_with_parent():
    """Has the kernel end this process when the test's is killed."""
    PR_SET_PDEATHSIG = 1
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


class Studio:
    """A running studio over a folder."""

    def __init__(self, folder, *arguments):
        self.folder = folder
        self.process = subprocess.Popen([COMMAND, "studio", *arguments, "--no-browser", "--root", str(folder)],
                                        cwd=folder, stdout=subprocess.PIPE, text=True, preexec_fn=end_with_parent)
        self.address = self.process.stdout.readline().strip()
        self.port = re.match(r"http://127\.0\.0\.1:(\d+)/\?token=", self.address)[1]

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(timeout=PATIENCE)


class Page:
    """The studio's page in a browser, seen through its modules."""

    def __init__(self, driver):
        self.driver = driver
        driver.set_script_timeout(PATIENCE)

    def open(self, address, shot=True):
        self.driver.get(address)
        if shot:
            self.wait("Boolean(studio.viewer?.main.frame)")

    def run(self, body, *arguments):
        """Answers what an expression is worth, with `studio` for the page's main module."""
        script = f"""const done = arguments[arguments.length - 1], given = [...arguments].slice(0, -1);
            import('/main.js').then(async (studio) => ({body})).then(done, (error) => done('error: ' + error));"""
        return self.driver.execute_async_script(script, *arguments)

    def wait(self, condition, seconds=PATIENCE):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            value = self.run(condition)
            if value and not str(value).startswith("error: "):
                return value
            time.sleep(0.05)
        raise AssertionError(f"in vain for {condition}; it is {self.run(condition)}; {self.messages()}")

    def settle(self):
        """Waits until what is asked for stands, exactly and on screen."""
        self.wait("studio.viewer.main.isCurrent && studio.viewer.main.frame.scale === 1 && !studio.store.dragging")
        self.run("await studio.viewer.stands()")

    def find(self, name):
        return self.driver.find_element(By.ID, name)

    def messages(self):
        return self.find("messages").text

    def setting(self, name):
        return self.run("studio.store.work.settings[given[0]]", name)

    def shown(self):
        """The digest of the 16-bit pixels that the present view is made of."""
        self.settle()
        return self.run("""[...new Uint8Array(await crypto.subtle.digest('SHA-256', studio.viewer.main.frame.pixels))]
            .map((byte) => byte.toString(16).padStart(2, '0')).join('')""")

    def place(self, x, y):
        """Where a point of the picture lies in the window."""
        left, top = self.run("studio.viewer.toCanvas(...given)", x, y)
        box = self.find("stage").rect
        return round(box["x"] + left), round(box["y"] + top)

    def actions(self):
        return ActionChains(self.driver, duration=20)

    def to(self, x, y, actions=None):
        actions = actions or self.actions()
        actions.w3c_actions.pointer_action.move_to_location(*self.place(x, y))
        return actions

    def click(self, x, y):
        self.to(x, y).click().perform()

    def drag(self, start, *ways):
        actions = self.to(*start).click_and_hold()
        for way in ways:
            self.to(*way, actions)
        actions.release().perform()

    def keys(self, *keys):
        self.actions().send_keys(*keys).perform()

    def screenshot(self):
        """The window as it is seen: height x width x 3."""
        png = self.driver.get_screenshot_as_png()
        run = subprocess.run(["ffmpeg", "-v", "error", "-i", "-", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"],
                             input=png, check=True, capture_output=True)
        width, height = (int.from_bytes(png[at:at + 4], "big") for at in (16, 20))
        return numpy.frombuffer(run.stdout, numpy.uint8).reshape(height, width, 3)

    def seen(self, x, y):
        """The colour that a point of the picture has on screen."""
        self.run("await studio.viewer.stands()")
        left, top = self.place(x, y)
        return tuple(int(part) for part in self.screenshot()[top, left])


def new_driver():
    options = Options()
    for flag in FLAGS:
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": 1280, "height": 720, "deviceScaleFactor": 1, "mobile": False})
    return driver


@pytest.fixture(scope="session")
def driver():
    driver = new_driver()
    yield driver
    driver.quit()


@pytest.fixture
def folder(tmp_path):
    """A folder with the samples, of its own, since the studio writes beside its shots."""
    for name in ("still.jpg", "clip.mp4"):
        shutil.copy(os.path.join(SAMPLES, name), tmp_path)
    return tmp_path


@pytest.fixture
def start(folder):
    """Starts studios over the folder."""
    running = []

    def begin(*arguments):
        running.append(Studio(folder, *arguments))
        return running[-1]

    yield begin
    for studio in running:
        if studio.process.poll() is None:
            studio.stop()


@pytest.fixture
def page(driver):
    return Page(driver)


@pytest.fixture
def clip(start, page):
    """The page with the sample clip."""
    page.open(start("clip.mp4").address)
    page.settle()
    return page
