"""What the page shows of a still, a sequence and a clip, and the numbers it tells."""

import numpy
import pytest
from conftest import digest, pixels_of, veltrane
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

GREEN = (80, 60)      # points of the sample clip: its screen,
SUBJECT = (410, 400)  # its subject,
POLE = (760, 60)      # and the screen at the right


def result_of(folder, shot, frame, first=1):
    """A frame as the command writes it with what it finds in the shot."""
    veltrane(folder, "key", shot, "expected.%04d.png", "--frames", f"{first}-{frame}")
    return digest(pixels_of(folder / f"expected.{frame:04d}.png"))


@pytest.mark.parametrize("shot", ["still.jpg", "seq.%04d.png", "clip.mp4"])
def test_every_kind_of_shot_opens_from_the_list(folder, start, page, shot):
    if "%" in shot:
        veltrane(folder, "key", "clip.mp4", shot, "--view", "source", "--frames", "3-5")
    page.open(start().address, shot=False)
    page.wait("Boolean(studio.viewer)")
    page.find("start-open").click()
    page.wait("document.querySelector('.filelist .file') !== null")
    page.driver.find_element(By.CSS_SELECTOR, f'.file[data-path="{shot}"]').click()
    page.wait("studio.viewer.main.frame !== null")
    frame = {"still.jpg": 1, "seq.%04d.png": 3, "clip.mp4": 1}[shot]
    assert page.run("studio.store.frame") == frame
    assert page.shown() == result_of(folder, shot, frame, frame)
    middle = page.screenshot()[120:480, 100:800]
    assert middle.std() > 20, "the picture is blank"


def test_views_and_channels_show_what_they_say(clip):
    source = clip.run("await import('/frames.js').then(() => [...studio.viewer.source.frame.pixels.subarray(given[0], given[0] + 3)])",
                      (GREEN[1] * 960 + GREEN[0]) * 4)
    clip.keys("1")
    clip.run("studio.store.look({show: 'source'})")
    assert clip.seen(*GREEN) == tuple(round(value / 257) for value in source)
    clip.keys("g")
    assert clip.seen(*GREEN) == (round(source[1] / 257),) * 3
    clip.keys("g")
    clip.run("studio.store.look({show: 'matte'})")
    assert clip.seen(*SUBJECT) == (255, 255, 255)
    assert max(clip.seen(*GREEN)) < 8
    clip.run("studio.store.look({show: 'result', background: {kind: 'color', color: '#204060'}})")
    seen = numpy.array(clip.seen(*GREEN))
    assert abs(seen - (0x20, 0x40, 0x60)).max() < 8, "the background shows where the screen was"


def test_shift_and_the_wipe_show_the_source(clip):
    clip.keys("1")
    is_green = lambda seen: seen[1] > 1.5 * seen[0] and seen[1] > 1.5 * seen[2]
    assert not is_green(clip.seen(*GREEN))
    clip.actions().key_down(Keys.SHIFT).perform()
    assert is_green(clip.seen(*GREEN))
    clip.actions().key_up(Keys.SHIFT).perform()
    assert not is_green(clip.seen(*GREEN))
    clip.run("""(() => { const list = document.querySelector('#viewbar select');
        list.focus();
        list.dispatchEvent(new PointerEvent('pointerdown', {bubbles: true}));
        list.value = 'grey';
        list.dispatchEvent(new Event('change', {bubbles: true})); })()""")
    clip.keys("w")
    assert clip.run("studio.store.view.background.kind") == "grey", "keys are the picture's again"
    assert not is_green(clip.seen(*GREEN)) and is_green(clip.seen(*POLE))
    clip.drag((480, 400), (700, 400), (900, 400))
    assert not is_green(clip.seen(*POLE)), "the edge was grabbed and moved beyond that point"
    assert clip.run("Math.round(studio.viewer.look.wipe.x * 960)") == pytest.approx(900, abs=3)


def test_the_viewer_brightens_without_touching_numbers(clip):
    clip.keys("1")
    clip.run("studio.store.look({show: 'source'})")
    before, numbers = clip.seen(*SUBJECT), clip.shown()
    clip.actions().key_down("e").perform()
    clip.drag((300, 300), (350, 300), (400, 300))
    clip.actions().key_up("e").perform()
    assert sum(clip.seen(*SUBJECT)) > sum(before)
    assert clip.shown() == numbers
    assert "stop" in clip.find("tone").text
    clip.keys("0")
    assert clip.seen(*SUBJECT) == before


def test_time_is_stepped_and_played(folder, clip):
    clip.keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
    assert clip.run("studio.store.frame") == 3
    assert clip.shown() == result_of(folder, "clip.mp4", 3)
    clip.keys("i", Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, "o")
    assert clip.run("studio.store.work.range") == [3, 5]
    seen = clip.run("""await new Promise((done) => {
        const frames = new Set();
        studio.store.on('frame', () => { frames.add(studio.store.frame); if (frames.size === 3) done([...frames].sort()); });
        document.getElementById('play').click(); })""")
    assert seen == [3, 4, 5], "playing stays within the range and leaves no frame out"
    clip.keys("k")
    clip.find("scrub").send_keys(Keys.PAGE_UP)
    assert clip.run("document.getElementById('scrub').getAttribute('aria-valuetext')").endswith("of 24")
