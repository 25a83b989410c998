"""Settings, mattes and what becomes of them: undo, saving, the command and renders."""

import json
import random
import re
import subprocess

import numpy
import pytest
from conftest import COMMAND, Page, digest, new_driver, pixels_of, veltrane
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys


def slide(page, name, share):
    """Drags a slider to a share of its track."""
    track = page.driver.execute_script(
        "const t = document.getElementById(arguments[0]).parentElement; t.scrollIntoView({block: 'center'});"
        "const b = t.getBoundingClientRect(); return [b.x + 4, b.y + b.height / 2, b.width - 8];", f"set-{name}")
    at = lambda part: (round(track[0] + part * track[2]), round(track[1]))
    actions = page.actions()
    pointer = actions.w3c_actions.pointer_action
    pointer.move_to_location(*at(0.5))
    actions.click_and_hold()
    pointer.move_to_location(*at((0.5 + share) / 2))
    pointer.move_to_location(*at(share))
    actions.release().perform()


def test_a_slider_obeys_hand_keys_and_digits(clip):
    slide(clip, "shadow", 0.25)
    assert clip.setting("shadow") == pytest.approx(25, abs=2)
    slider, number = clip.find("set-shadow"), clip.driver.find_element(By.CSS_SELECTOR, ".number[aria-label^='Shadows kept']")
    before = clip.setting("shadow")
    slider.send_keys(Keys.ARROW_UP)
    assert clip.setting("shadow") == before + 1
    slider.send_keys(Keys.PAGE_DOWN)
    assert clip.setting("shadow") == before - 9
    slider.send_keys(Keys.END)
    assert clip.setting("shadow") == 100
    slider.send_keys("3")
    clip.keys("7")
    assert clip.setting("shadow") == 37
    assert slider.get_attribute("aria-valuetext") == "37 per cent"
    number.clear()
    number.send_keys("400")
    assert clip.setting("shadow") == 37 and number.get_attribute("aria-invalid") is not None
    number.send_keys(Keys.TAB)
    clip.driver.find_element(By.CSS_SELECTOR, "[aria-label='Reset Shadows kept']").click()
    assert clip.setting("shadow") == 100
    assert not clip.find("set-contract-mask").is_enabled()
    clip.find("set-edge-contract").click()
    assert clip.find("set-contract-mask").is_enabled(), "its switch governs it"


SLIDERS = ("screen-gain", "clip-black", "clip-white", "shadow", "skin-hue", "blue-hue", "despill-gray", "despill-skin")


@pytest.mark.parametrize("zoom", [None, 2.5])
def test_a_dragged_picture_is_the_files(folder, clip, zoom):
    """Only what changes is sent, put into the texture and painted."""
    painted = lambda: clip.run("""await studio.viewer.stands().then(async () => {
        const {width, height} = studio.viewer.canvas, dots = new Uint8Array(width * height * 4);
        const gl = studio.viewer.canvas.getContext('webgl2');
        gl.readPixels(0, 0, width, height, gl.RGBA, gl.UNSIGNED_BYTE, dots);
        return [...new Uint8Array(await crypto.subtle.digest('SHA-256', dots))].join(); })""")
    if zoom:
        clip.run("studio.viewer.zoomTo(given[0])", zoom)
    chance = random.Random(zoom)
    for _ in range(12):
        clip.run("studio.store.set(...given)", chance.choice(SLIDERS), chance.randrange(5, 45))
        if chance.random() < 0.8:
            clip.settle()
        if chance.random() < 0.2:
            clip.find("undo").click()
    shown, seen = clip.shown(), painted()
    assert clip.run("studio.viewer.shown.frame.changed !== undefined")
    clip.run("studio.viewer.change({exposure: 1})")
    assert painted() != seen
    clip.run("studio.viewer.change({exposure: 0})")
    assert painted() == seen, "what was painted in parts is what is painted at once"
    line = clip.run("""await import('/api.js').then(({post}) => post('/api/command', {shot: 'clip.mp4', output: 'out.%04d.png',
        frames: [1, 1], settings: studio.store.work.settings, inputs: studio.store.work.inputs}))""")["line"]
    subprocess.run(line.replace("veltrane", COMMAND, 1), shell=True, check=True, cwd=folder, executable="/bin/bash")
    assert digest(pixels_of(folder / "out.0001.png")) == shown
    clip.driver.refresh()
    clip.wait("Boolean(studio.viewer?.main.frame)")
    clip.settle()
    if zoom:
        clip.run("studio.viewer.zoomTo(given[0])", zoom)
    assert clip.run("studio.viewer.shown.frame.changed === undefined") and painted() == seen, "so is the texture"


def test_a_shot_opens_tuned_and_goes_back_by_a_click(folder, clip):
    told = json.loads(veltrane(folder, "tune", "clip.mp4", "--json").stdout)["sliders"]
    ends = {end: {f"set-{name}": slider[end] for name, slider in told.items()} for end in ("from", "to")}
    switches = {name for name, value in ends["to"].items() if value is True}
    rows = lambda which: set(clip.run("[...document.querySelectorAll('#settings .row.slider, #settings .row.switch')]"
                                      f".filter((row) => {which}).map((row) => row.querySelector('input').id)"))
    value = lambda name: clip.find(name).is_selected() if name in switches else int(clip.find(name).get_attribute("value"))
    values = lambda: {name: value(name) for name in ends["to"]}
    marked = "row.querySelector('.mark.tuned')?.checkVisibility()"
    changed = "row.classList.contains('changed')"
    assert len(told) > 0 and values() == ends["to"]
    assert rows(changed) == set(ends["to"]) and rows(marked) == set(ends["to"]) - switches
    clip.find("to-defaults").click()
    assert values() == ends["from"]
    assert rows(changed) == set() and rows(marked) == set(ends["to"]) - switches
    clip.find("to-tuned").click()
    assert values() == ends["to"]


def test_everything_is_undone_and_redone_step_by_step(clip):
    first = clip.shown()
    slide(clip, "clip-black", 0.3)
    slide(clip, "shadow", 0.1)
    changed = clip.shown()
    assert changed != first
    clip.actions().key_down(Keys.CONTROL).send_keys("z").key_up(Keys.CONTROL).perform()
    assert clip.setting("shadow") == 100 and clip.setting("clip-black") > 0, "a drag is one step"
    clip.actions().key_down(Keys.CONTROL).send_keys("z").key_up(Keys.CONTROL).perform()
    assert clip.shown() == first
    assert not clip.find("undo").is_enabled()
    clip.find("redo").click()
    clip.find("redo").click()
    assert clip.shown() == changed


def test_work_is_kept_beside_the_shot_and_shared_between_pages(folder, start, page):
    studio = start("clip.mp4")
    page.open(studio.address)
    other = Page(new_driver())
    try:
        other.open(f"http://127.0.0.1:{studio.port}/?{studio.address.split('?')[1]}")
        slide(page, "shadow", 0.2)
        value = page.setting("shadow")
        other.wait(f"studio.store.work.settings.shadow === {value}")
        assert other.shown() == page.shown()
    finally:
        other.driver.quit()
    assert (folder / "clip.mp4.veltrane.json").exists()
    page.driver.refresh()
    page.wait("Boolean(studio.viewer?.main.frame)")
    assert page.setting("shadow") == value
    studio.stop()
    assert "does not answer" in page.wait("document.querySelector('.lost:not([hidden])')?.textContent")
    again = start("clip.mp4", "--port", studio.port)
    page.wait("document.querySelector('.lost').textContent.includes('started anew')")
    page.open(again.address)
    assert page.setting("shadow") == value


def test_presets_and_drawings_are_saved_and_chosen_again(folder, clip):
    def choose(name):
        clip.wait("document.querySelector('.filelist .file') !== null")
        clip.driver.find_element(By.CSS_SELECTOR, f'.file[data-path="{name}"]').click()

    slide(clip, "shadow", 0.3)
    keyed, value = clip.shown(), clip.setting("shadow")
    save, load = (clip.driver.find_element(By.XPATH, f"//button[text()='{text}']") for text in ("Save as a preset", "Load a preset"))
    save.click()
    clip.wait("document.activeElement.id === 'save-name'")
    clip.keys("mine", Keys.ENTER)
    clip.wait("document.getElementById('messages').textContent.includes('mine.json')")
    slide(clip, "shadow", 0.8)
    load.click()
    choose("mine.json")
    clip.wait(f"studio.store.work.settings.shadow === {value}")
    assert clip.shown() == keyed
    (folder / "core.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 960 540"><path d="M0 0H90V90H0Z"/></svg>')
    clip.driver.find_element(By.XPATH, "//*[@id='mattes-section']//button[text()='File …'][1]").click()
    choose("core.svg")
    assert clip.shown() != keyed
    clip.find("undo").click()
    clip.run("studio.store.change((work) => { work.inputs.cleanPlate = 'still.jpg'; })")
    clip.wait("studio.viewer.main.failed && document.querySelector('.reduced').textContent === 'not this setting'")
    assert "1920 x 1080" in clip.messages()
    clip.find("undo").click()
    clip.settle()
    clip.wait("document.getElementById('messages').textContent === ''")


def test_picking_samples_the_source(folder, clip):
    veltrane(folder, "key", "clip.mp4", "source.%04d.png", "--view", "source", "--frames", "1")
    source = pixels_of(folder / "source.0001.png").reshape(540, 960, 4)
    clip.run("studio.store.look({show: 'matte'})")
    clip.keys("s")
    clip.drag((700, 40), (720, 50), (739, 59))
    clip.wait("studio.store.work.settings['key-color'] !== 'auto'")
    mean = source[40:60, 700:740, :3].reshape(-1, 3).mean(axis=0)
    color = clip.setting("key-color")[1:]
    size = len(color) // 3
    picked = [int(color[i * size:(i + 1) * size], 16) * (257 if size == 2 else 1) for i in range(3)]
    assert numpy.abs(numpy.array(picked) - mean).max() <= 257
    assert clip.setting("screen") == "green"
    clip.find("auto").click()
    assert clip.setting("key-color") == "auto"


def draw(page, tool, points):
    page.find(f"tool-{tool}").click()
    for point in points:
        page.click(*point)
    page.keys(Keys.ENTER)


def test_drawn_mattes_key_as_their_file_does(folder, clip):
    plain = clip.shown()
    draw(clip, "garbage", [(100, 100), (400, 110), (390, 300), (120, 290)])
    drawn = clip.shown()
    assert drawn != plain
    clip.drag((100, 100), (80, 85), (60, 70))
    clip.run("studio.store.goTo(11)")
    clip.driver.find_element(By.XPATH, "//button[text()='Add keyframe']").click()
    clip.drag((60, 70), (100, 90), (160, 130))
    clip.run("studio.store.goTo(6)")
    moving = clip.shown()
    svg = clip.run("studio.store.work.inputs.garbage")
    assert svg.count("data-frame") == 2
    (folder / "drawn.svg").write_text(svg)
    veltrane(folder, "key", "clip.mp4", "m.%04d.png", "--garbage", "drawn.svg", "--frames", "1-6")
    assert moving == digest(pixels_of(folder / "m.0006.png"))
    clip.keys(Keys.ESCAPE)
    while clip.find("undo").is_enabled():
        clip.find("undo").click()
    clip.run("studio.store.goTo(1)")
    assert clip.shown() == plain


def test_curves_survive_their_file(clip):
    clip.find("tool-core").click()
    clip.click(300, 200)
    clip.drag((500, 200), (530, 220), (560, 260))
    clip.click(420, 400)
    clip.keys(Keys.ENTER)
    svg = clip.run("studio.store.work.inputs.core")
    assert re.search(r'<path class="core" d="M [^"]*C', svg)
    again = clip.run("await import('/shapes.js').then((s) => s.toSvg(s.fromSvg(given[0]), 'core', [960, 540]))", svg)
    assert again == svg
    clip.settle()
    assert clip.run("document.querySelector('.message.error')") is None, "the server reads what was drawn"


def test_the_copied_command_makes_the_very_frame(folder, clip):
    slide(clip, "shadow", 0.4)
    draw(clip, "core", [(200, 150), (330, 160), (260, 260)])
    shown = clip.shown()
    clip.find("copy-command").click()
    line = clip.wait("document.getElementById('command')?.value")
    line = line.replace("clip-keyed.mov", "exact.%04d.png").replace("veltrane", COMMAND, 1)
    subprocess.run(line, shell=True, check=True, cwd=folder, executable="/bin/bash")
    assert digest(pixels_of(folder / "exact.0001.png")) == shown


def test_a_render_is_the_frame_and_outlives_the_page(folder, start, page):
    studio = start("still.jpg")
    page.open(studio.address)
    slide(page, "shadow", 0.5)
    shown = page.shown()
    page.find("render").click()
    output = page.find("render-output")
    output.clear()
    output.send_keys("done.png")
    page.find("start-render").click()
    page.wait("document.querySelector('.render') !== null")
    page.driver.get("about:blank")
    page.open(f"http://127.0.0.1:{studio.port}/")
    page.find("render").click()
    page.wait("document.querySelector('.render[data-state=done]') !== null")
    assert digest(pixels_of(folder / "done.png")) == shown


def test_snapshots_are_compared(clip):
    kept = clip.setting("clip-black")
    clip.find("keep-A").click()
    slide(clip, "clip-black", 0.6)
    clip.find("compare-A").click()
    clip.keys("d")
    clip.wait("studio.viewer.other.isCurrent && studio.viewer.other.frame !== null")
    clip.settle()
    changed = clip.run("studio.viewer.shown.frame.pixels.some((value, i) => value !== studio.viewer.other.frame.pixels[i])")
    assert changed
    clip.find("use-A").click()
    assert clip.setting("clip-black") == kept
    clip.settle()
    same = clip.run("studio.viewer.shown.frame.pixels.every((value, i) => value === studio.viewer.other.frame.pixels[i])")
    assert same and max(clip.seen(410, 400)) == 0, "no difference is black"


def test_the_probe_tells_the_files_own_numbers(folder, clip):
    veltrane(folder, "key", "clip.mp4", "source.%04d.png", "--view", "source", "--frames", "1")
    source = pixels_of(folder / "source.0001.png").reshape(540, 960, 4)
    clip.to(410, 400).perform()
    clip.wait("document.querySelector('[data-of=plate] .whole').textContent.length > 3")
    x, y = clip.run("document.querySelector('#probe .place').textContent").split(", ")
    told = lambda name: clip.run("document.querySelector(`[data-of=${given[0]}] .whole`).textContent", name)
    assert [int(part) for part in told("source").split()] == [int(value) for value in source[int(y), int(x), :3]]
    assert told("matte").strip() == "65535"
    clip.keys("x")
    clip.drag((100, 400), (110, 405), (119, 409))
    clip.wait("document.querySelector('.pinrow')?.textContent.includes('(')")
    box = source[400:410, 100:120, :3].reshape(-1, 3)
    line = clip.run("document.querySelector('.pinrow > div > div').textContent")
    assert " ".join(str(int(value)) for value in box.min(axis=0)) in line
    assert " ".join(str(int(value)) for value in box.max(axis=0)) in line
