"""The page in a real browser, Chromium without a window: every operation, and what the form does."""

from __future__ import annotations

import json
import os
import re
import shlex
import signal
import subprocess
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any
from urllib.parse import urlencode

import miravex
import numpy as np
import pytest
from conftest import SLOW, TOOL, Served, run_tool, write_picture
from miravex import _calls
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.remote.webelement import WebElement
from selenium.webdriver.support.ui import Select

FLAGS = (
    "--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
    "--disable-component-update --disable-sync"
)
RECORDS = miravex.catalog()
PHOTO = Path("/usr/share/doc/opencv-doc/examples/data/fruits.jpg")
needs_photos = pytest.mark.skipif(not PHOTO.exists(), reason="opencv-doc is not installed")


class Browser:
    """The page in Chromium, and what it shows."""

    def __init__(self, profile: Path) -> None:
        options = webdriver.ChromeOptions()
        for flag in [*FLAGS.split(), f"--user-data-dir={profile}", "--window-size=1300,1000"]:
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        self.said: list[str] = []  # on the console

    def open(self, address: str) -> None:
        """Afresh, even where only the fragment differs."""
        self.listen()
        self.driver.get("about:blank")
        self.driver.get(address)

    def listen(self) -> None:
        self.said += [entry["message"] for entry in self.driver.get_log("browser")]

    def one(self, selector: str) -> WebElement:
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector: str) -> str:
        return str(self.driver.execute_script("return document.querySelector(arguments[0])?.textContent ?? ''", selector))

    def wait(self, ready: Callable[[], Any], what: str, seconds: float = 40) -> Any:
        end = time.monotonic() + seconds
        while not (found := ready()):
            assert time.monotonic() < end, f"{what}: {self.text('#status')} {self.text('#failure')} {self.text('#fields')}"
            time.sleep(0.03)
        return found

    def links(self) -> list[str]:
        return list(self.driver.execute_script("return [...document.querySelectorAll('#files a')].map((a) => a.getAttribute('href'))"))

    def result(self, before: list[str], command: str = "") -> list[str]:
        """The files of a newer result."""

        def ready() -> list[str] | None:
            links = self.links()
            done = self.text("#status").startswith("Done in")
            return links if done and links and links != before and f"/{command}" in links[0] else None

        return list(self.wait(ready, f"a result of {command}"))

    def choose(self, command: str) -> list[str]:
        self.wait(lambda: self.one("#operation").get_property("value"), "operations")
        if self.one("#operation").get_property("value") == command:  # the page opens with it
            return self.result([], command)
        before = self.links()
        Select(self.one("#operation")).select_by_value(command)
        return self.result(before, command)

    def control(self, name: str) -> WebElement:
        return self.one(f"#argument-{name}")

    def write(self, name: str, text: str) -> None:
        self.control(name).send_keys(Keys.CONTROL, "a")
        self.control(name).send_keys(text, Keys.TAB)


@pytest.fixture(scope="module")
def browser(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Browser]:
    made = Browser(tmp_path_factory.mktemp("chromium"))
    yield made
    made.driver.quit()


@pytest.fixture(scope="module")
def plain(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Served]:
    """A server that was given no pictures: its operations open with samples."""
    server = Served(folder=tmp_path_factory.mktemp("plain"))
    yield server
    assert server.stop() == 0


@pytest.fixture()
def page(browser: Browser, served: Served) -> Iterator[Browser]:
    browser.open(served.address)
    browser.result([], "median-filter")
    yield browser
    browser.listen()
    assert browser.said == []


def npy(server: Served, links: list[str]) -> bytes:
    return server.fetch(next(link for link in links if link.endswith(".npy")))


# --- every operation ---------------------------------------------------------------------------------------


@pytest.fixture(scope="module")
def samples(tmp_path_factory: pytest.TempPathFactory) -> dict[str, Any]:
    """All sample files, made by the command."""
    folder = tmp_path_factory.mktemp("samples")
    return dict(json.loads(run_tool("samples", str(folder), "--json", folder=folder)))


@pytest.fixture(scope="module")
def sample_folder(tmp_path_factory: pytest.TempPathFactory) -> Path:
    return tmp_path_factory.mktemp("expected")


@pytest.fixture(scope="module")
def first_page(browser: Browser, plain: Served) -> Browser:
    browser.open(plain.address)
    return browser


UNLABELLED = """
return [...document.querySelectorAll("input, select, textarea, button")]
  .filter((e) => e.offsetParent && !e.labels?.length && !e.getAttribute("aria-label") && !e.textContent.trim())
  .map((e) => e.outerHTML)
"""


@needs_photos
@pytest.mark.parametrize("record", RECORDS, ids=lambda record: record.command)
def test_every_operation_gives_the_command_s_bytes(
    record: Any, first_page: Browser, plain: Served, samples: dict[str, Any], sample_folder: Path, film: Path
) -> None:
    words = list(record.examples[0][1])
    if record.command == "super-resolution":
        words = ["--film", str(film)]  # the sample takes half a minute
        Select(first_page.one("#operation")).select_by_value(record.command)
        before = first_page.links()
        first_page.one("#add").send_keys(str(film))
        links = first_page.result(before, record.command)
        assert language(first_page, "Python").endswith('miravex.super_resolution("small.avi")')
    else:
        missing = [name for word in words if (name := _calls.sample(word)) in samples["missing"]]
        if missing:
            Select(first_page.one("#operation")).select_by_value(record.command)
            first_page.wait(lambda: samples["missing"][missing[0]] in first_page.text("#fields"), "why there is no sample")
            pytest.skip(samples["missing"][missing[0]])
        links = first_page.choose(record.command)
    assert first_page.driver.execute_script(UNLABELLED) == []
    assert first_page.one("#summary").text.rstrip(".") == record.summary.rstrip(".")

    replaced = [file for word in words for file in samples["samples"].get(_calls.sample(word), [word])]
    output = str(sample_folder / f"{record.command}.npy")
    run_tool(record.command, *replaced, "-o", output, folder=sample_folder)
    assert npy(plain, links) == Path(output).read_bytes()
    assert all(plain.fetch(link) for link in links)


@pytest.fixture(scope="module")
def film(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Six small frames of noise."""
    folder = tmp_path_factory.mktemp("film")
    frames = [str(write_picture(folder / f"{i}.ppm", i, 32, 40)) for i in range(6)]
    run_tool("align-mtb", *frames, "--levels", "1", "-o", "small.avi", folder=folder)
    return folder / "small.avi"


# --- the form ----------------------------------------------------------------------------------------------


def expected(picture: Path, folder: Path, *words: str) -> bytes:
    run_tool("median-filter", str(picture), *words, "-o", "out.npy", "--force", folder=folder)
    return (folder / "out.npy").read_bytes()


def test_a_slider_moves_the_number_and_the_picture(page: Browser, served: Served, picture: Path, tmp_path: Path) -> None:
    slider = page.one("[data-name=radius] input[type=range]")
    before, start = page.links(), int(page.control("radius").get_property("value"))
    slider.send_keys(Keys.ARROW_RIGHT)
    assert int(page.control("radius").get_property("value")) == start + 1
    links = page.result(before)
    assert npy(served, links) == expected(picture, tmp_path, "--radius", str(start + 1))
    assert f"--radius {start + 1} " in page.text("#call")
    assert f"radius={start + 1}" in page.driver.current_url
    page.write("radius", "9")
    assert slider.get_property("value") == "9"


def test_a_refusal_stands_beside_its_field(page: Browser) -> None:
    page.write("radius", "0")
    wrong = page.wait(lambda: page.text("#argument-radius-wrong"), "a refusal")
    assert "0 is not accepted: expected at least 1" in wrong
    control = page.control("radius")
    assert control.get_attribute("aria-invalid") == "true"
    assert "argument-radius-wrong" in control.get_attribute("aria-describedby").split()
    assert page.text("#status") == "Not called: see radius." and not page.one("#calls").is_displayed()
    assert page.text("#argument-image-wrong") == ""
    before = page.links()
    page.one("#argument-radius-wrong button").click()  # uses 1
    page.result(before)
    assert page.control("radius").get_property("value") == "1" and page.text("#argument-radius-wrong") == ""
    assert control.get_attribute("aria-invalid") is None


def test_a_refusal_of_the_page_itself(page: Browser) -> None:
    page.choose("image-convolve")
    page.write("horizontal", "one, two")
    page.wait(lambda: "expected numbers" in page.text("#argument-horizontal-wrong"), "a refusal")


def test_values_are_undone_and_done_again(page: Browser) -> None:
    def radius() -> str:
        return str(page.control("radius").get_property("value"))

    start = radius()
    assert not page.one("#undo").is_enabled()
    for text in ("7", "8"):
        page.write("radius", text)
    page.one("#undo").click()
    assert radius() == "7"
    page.one("#undo").send_keys(Keys.CONTROL, "z")
    assert radius() == start and not page.one("#undo").is_enabled()
    page.one("#redo").click()
    page.one("#redo").click()
    assert radius() == "8" and not page.one("#redo").is_enabled()
    before = page.links()
    page.one("#undo").click()
    page.result(before)
    assert "--radius 7 " in page.text("#call")
    page.choose("dilation")
    page.one("#undo").click()
    page.wait(lambda: page.one("#operation").get_property("value") == "median-filter", "the operation of before")
    assert radius() == "7"


def test_a_link_brings_the_settings_back(page: Browser, served: Served) -> None:
    page.choose("image-pad")
    for name in ("top", "left"):
        page.write(name, "3")
    Select(page.control("padding")).select_by_visible_text("Constant")
    before = page.links()
    page.write("values", "200, 160, 60")
    links = page.result(before)
    page.wait(lambda: "values=" in page.driver.current_url, "the link")
    link, made = page.driver.current_url, npy(served, links)
    page.open(link)
    again = page.result([], "image-pad")
    assert again != links and npy(served, again) == made
    assert page.control("top").get_property("value") == "3"
    assert page.control("values").get_property("value") == "200, 160, 60"


def test_a_link_to_what_is_gone_says_so(page: Browser, served: Served) -> None:
    page.open(f"{served.address}#median-filter?image=%4077")
    page.wait(lambda: "@77 is no longer here" in page.text("#argument-image-wrong"), "a refusal")
    for fragment in ("nonsense?%zz", "%zz", "?radius=3"):
        page.open(f"{served.address}#{fragment}")
        page.result([], "median-filter")


@needs_photos
def test_an_example_fills_the_form(page: Browser, plain: Served, samples: dict[str, Any], tmp_path: Path) -> None:
    page.open(plain.address)
    page.result([], "median-filter")
    before = page.choose("find-contours")
    Select(page.one("#example")).select_by_value("1")
    links = page.result(before, "find-contours")
    assert page.control("chain_code").is_selected()
    words = [*samples["samples"]["shapes"], "--mode", "External", "--chain-code", "-o", "out.npy"]
    run_tool("find-contours", *words, folder=tmp_path)
    assert npy(plain, links) == (tmp_path / "out.npy").read_bytes()
    page.one("#reset").click()
    page.result(links, "find-contours")
    assert not page.control("chain_code").is_selected()
    assert Select(page.control("image")).first_selected_option.text == "shapes"


def test_only_used_arguments_are_shown(page: Browser) -> None:
    page.choose("image-pad")
    Select(page.control("padding")).select_by_visible_text("Reflected")
    assert not page.one("[data-name=values]").is_displayed()
    Select(page.control("padding")).select_by_visible_text("Constant")
    assert page.one("[data-name=values]").is_displayed()


@needs_photos
def test_a_slow_call_shows_progress_and_can_be_left(page: Browser, served: Served) -> None:
    page.open(f"{served.address}#{SLOW[0]}?{urlencode(SLOW[1])}")
    page.wait(lambda: page.one("#progress").is_displayed(), "progress")
    served.wait_for_children(1)
    page.wait(lambda: re.fullmatch(r"Working for \d+ seconds", page.text("#status")), "the time so far")
    page.one("#stop").click()
    served.wait_for_children(0)
    assert page.text("#status") == "Left behind." and not page.one("#progress").is_displayed()
    page.write("iterations", "2999")
    served.wait_for_children(1)
    page.choose("median-filter")  # a newer setting wins
    served.wait_for_children(0)
    assert page.text("#status").startswith("Done in")


def test_a_dropped_file_takes_the_place_of_the_picture(page: Browser, served: Served, tmp_path: Path) -> None:
    own = write_picture(tmp_path / "mine.ppm", 5)
    before = page.links()
    page.one("#add").send_keys(str(own))
    links = page.result(before)
    assert Select(page.control("image")).first_selected_option.text == "mine.ppm"
    radius = page.control("radius").get_property("value")
    assert npy(served, links) == expected(own, tmp_path, "--radius", radius)


def language(page: Browser, name: str) -> str:
    next(tab for tab in page.driver.find_elements(By.CSS_SELECTOR, "[role=tab]") if tab.text == name).click()
    return page.text("#call")


def test_calls_to_copy_give_the_same(page: Browser, served: Served, picture: Path, tmp_path: Path) -> None:
    before = page.links()
    page.write("radius", "3")
    links = page.result(before)
    words = shlex.split(language(page, "Command line"))
    subprocess.run([TOOL, *words[1:]], check=True, cwd=tmp_path)
    png = next(link for link in links if link.endswith(".png"))
    assert (tmp_path / "out.png").read_bytes() == served.fetch(png)

    python = language(page, "Python")
    samples = np.frombuffer(picture.read_bytes()[-60 * 80 * 3 :], np.uint8).reshape(60, 80, 3)
    scope: dict[str, Any] = {"image": samples}
    exec("\n".join(python.splitlines()[:-1]), scope)
    result = eval(python.splitlines()[-1], scope)
    (tmp_path / "result.npy").write_bytes(npy(served, links))
    assert np.array_equal(result, np.load(tmp_path / "result.npy"))
    assert language(page, "GNU Octave") == 'result = miravex.median_filter (image, "radius", 3);'
    assert "opencv_MedianFilter(data, 2, arguments, &result)" in language(page, "C")


# --- for everyone ------------------------------------------------------------------------------------------


def test_keys_alone_are_enough(page: Browser) -> None:
    reached = []
    for _ in range(6):
        ActionChains(page.driver).send_keys(Keys.TAB).perform()
        reached.append(page.driver.execute_script("const e = document.activeElement; return e.id || e.className || e.type || e.textContent"))
    assert reached == ["skip", "operation", "example", "argument-image", "range", "argument-radius"]
    page.one("[role=tab][aria-selected=true]").send_keys(Keys.ARROW_RIGHT)
    assert page.driver.switch_to.active_element.text == "Python"
    assert page.text("#call").startswith("import miravex")
    assert [e.get_attribute("tabindex") for e in page.driver.find_elements(By.CSS_SELECTOR, "[role=tab]")].count("0") == 1
    page.one("#over").send_keys(Keys.SPACE)
    page.one("#edge").send_keys(Keys.ARROW_RIGHT)
    clip = page.driver.execute_script("return document.querySelector('.over img + img').style.clipPath")
    assert "51%" in clip
    page.one("#over").send_keys(Keys.SPACE)


def test_what_happens_is_announced(page: Browser) -> None:
    status = page.one("#status")
    assert (status.aria_role, status.get_attribute("aria-live")) == ("status", "polite")
    assert page.one("#failure").get_attribute("role") == "alert"
    assert page.control("radius").accessible_name == "radius in pixels"
    assert page.one("[data-name=radius] input[type=range]").accessible_name == "radius, slider"
    assert all(image.get_attribute("alt") for image in page.driver.find_elements(By.TAG_NAME, "img"))


def emulate(page: Browser, width: int, scheme: str) -> None:
    metrics = {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False}
    page.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", metrics)
    scheme_is = [{"name": "prefers-color-scheme", "value": scheme}]
    page.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": scheme_is})


@pytest.mark.parametrize("width", [340, 800, 1600])
def test_every_form_fits_its_width(page: Browser, width: int) -> None:
    emulate(page, width, "light")
    try:
        for record in RECORDS:
            page.driver.execute_script("choose(operations.get(arguments[0]), {})", record.command)
            wide = page.driver.execute_script("return document.documentElement.scrollWidth")
            assert wide <= width, record.command
    finally:
        page.driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


def test_it_is_dark_where_people_like_it_dark(page: Browser) -> None:
    brightness = {}
    for scheme in ("light", "dark"):
        emulate(page, 1200, scheme)
        colour = page.driver.execute_script("return getComputedStyle(document.body).backgroundColor")
        brightness[scheme] = sum(int(number) for number in re.findall(r"\d+", colour)[:3])
    emulate(page, 1200, "light")
    page.driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
    assert brightness["dark"] < 200 < 600 < brightness["light"]


def test_without_its_server_the_page_says_so(browser: Browser, picture: Path, tmp_path: Path) -> None:
    server = Served(str(picture), folder=tmp_path)
    browser.open(server.address)
    browser.result([], "median-filter")
    browser.listen()
    assert browser.said == []
    os.kill(server.process.pid, signal.SIGINT)
    assert server.process.wait(30) == 0
    browser.write("radius", "2")
    browser.wait(lambda: "start miravex explore again" in browser.text("#failure"), "what to do")
    browser.driver.get_log("browser")  # the refused connection


@needs_photos
def test_the_console_stayed_silent(first_page: Browser) -> None:
    first_page.listen()
    assert first_page.said == []
