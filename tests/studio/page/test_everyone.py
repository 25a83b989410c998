"""Whether the page can be used by everyone: by keys alone, by day and night, in a small window."""

import os
from pathlib import Path

import pytest
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

AXE = Path(os.environ["VELTRANE_AXE"])


def test_a_shot_is_keyed_by_keys_alone(start, page):
    page.open(start().address, shot=False)
    page.wait("Boolean(studio.viewer)")
    page.actions().key_down(Keys.CONTROL).send_keys("o").key_up(Keys.CONTROL).perform()
    page.wait("document.activeElement?.classList.contains('file')")
    for _ in range(20):
        if page.driver.switch_to.active_element.get_attribute("data-path") == "clip.mp4":
            break
        page.keys(Keys.TAB)
    page.keys(Keys.ENTER)
    page.wait("studio.viewer.main.frame !== null")
    before = page.shown()
    for _ in range(80):
        if page.driver.switch_to.active_element.get_attribute("id") == "set-clip-black":
            break
        page.keys(Keys.TAB)
    page.keys("2", "5", Keys.ENTER)
    assert page.setting("clip-black") == 25
    page.find("tool-garbage").send_keys(Keys.ENTER)
    page.keys(Keys.ENTER)
    page.wait("studio.store.work.inputs.garbage !== null")
    point = page.driver.find_element(By.CSS_SELECTOR, "[data-at='0']")
    point.send_keys(Keys.ARROW_LEFT)
    assert "383" in page.run("studio.store.work.inputs.garbage"), "a box of 0.4 to 0.6 begins at 384, and was moved by one"
    assert page.shown() != before
    page.find("stage").send_keys("s")
    page.find("stage").send_keys(Keys.ARROW_LEFT, Keys.ENTER)
    page.wait("studio.store.work.settings['key-color'] !== 'auto'")


@pytest.mark.parametrize("scheme", ["dark", "light"])
def test_axe_finds_no_serious_fault(clip, scheme):
    if not AXE.exists():
        pytest.skip(f"axe-core is not installed: no {AXE}, since npm was not there when the tests were set up")
    clip.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    clip.find("keep-A").click()
    for opener in (None, "render", "help", "open"):
        if opener:
            clip.find(opener).click()
            clip.wait("document.querySelector('dialog') !== null")
        clip.driver.execute_script(AXE.read_text())
        found = clip.run("(await axe.run()).violations.filter((each) => ['serious', 'critical'].includes(each.impact))"
                         ".map((each) => [each.id, each.nodes.map((node) => node.html.slice(0, 120))])")
        assert found == [], opener
        clip.keys(Keys.ESCAPE)


@pytest.mark.parametrize("size", [(1280, 720), (3840, 2160)])
def test_nothing_is_cut_off(clip, size):
    clip.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                {"width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": False})
    try:
        outside = clip.run("""[...document.querySelectorAll('#bar button, #viewbar button, #timeline button, #scopes button')]
            .filter((node) => { const b = node.getBoundingClientRect();
                return b.width && (b.left < 0 || b.right > innerWidth || b.top < 0 || b.bottom > innerHeight); })
            .map((node) => node.title)""")
        assert outside == []
        assert clip.run("document.documentElement.scrollWidth <= innerWidth")
    finally:
        clip.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": 1280, "height": 720, "deviceScaleFactor": 1, "mobile": False})
