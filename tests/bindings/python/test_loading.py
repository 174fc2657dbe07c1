"""Files as one array."""

from __future__ import annotations

import os
import shutil
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import miravex
import numpy as np
import pytest
from miravex import loading


def test_shapes_and_types(photos: list[Path]) -> None:
    array, failed = miravex.load_images(photos[:3])
    assert array.shape == (3, 3, 224, 224) and array.dtype == np.float32 and failed == []
    assert 0 <= array.min() and array.max() <= 1 and array.std() > 0.05
    array, _ = miravex.load_images(photos[:2], (20, 30), "channels_last")
    assert array.shape == (2, 20, 30, 3)
    array, _ = miravex.load_images(photos[:2], (20, 30), colour="Grayscale")
    assert array.shape == (2, 1, 20, 30)
    array, _ = miravex.load_images(photos[:2], (20, 30), "channels_last", "Grayscale")
    assert array.shape == (2, 20, 30, 1)


@pytest.mark.parametrize("colour", ["RGB", "XYZ", "LAB", "LUV", "Grayscale"])
def test_layouts_hold_the_same_values(photos: list[Path], colour: str) -> None:
    mean, std = ([0.4, 0.5, 0.6], [0.2, 0.3, 0.4]) if colour != "Grayscale" else (0.4, 0.2)
    first, _ = miravex.load_images(photos[:3], (33, 47), "channels_first", colour, mean, std)
    last, _ = miravex.load_images(photos[:3], (33, 47), "channels_last", colour, mean, std)
    assert np.array_equal(first.transpose(0, 2, 3, 1), last)


def test_mean_and_deviation(photos: list[Path]) -> None:
    plain, _ = miravex.load_images(photos[:2], (16, 16))
    mean, std = np.float32([0.485, 0.456, 0.406]), np.float32([0.229, 0.224, 0.225])
    expected = (plain - mean[:, None, None]) * (np.float32(1) / std)[:, None, None]
    normal, _ = miravex.load_images(photos[:2], (16, 16), mean=mean, std=std)
    assert np.array_equal(normal, expected)
    whole = np.broadcast_to(mean[:, None, None], (3, 16, 16))
    assert np.array_equal(miravex.load_images(photos[:2], (16, 16), mean=whole, std=std)[0], expected)
    half, _ = miravex.load_images(photos[:2], (16, 16), mean=0.5)
    assert np.array_equal(half, plain - np.float32(0.5))


def test_unreadable_files_are_listed(photos: list[Path], tmp_path: Path) -> None:
    (tmp_path / "words.jpg").write_text("no picture")
    paths = [photos[0], tmp_path / "absent.jpg", photos[1], tmp_path / "words.jpg"]
    array, failed = miravex.load_images(paths, (8, 8))
    assert failed == [1, 3]
    assert np.array_equal(array[[0, 2]], miravex.load_images(photos[:2], (8, 8))[0])


def test_files_that_end_too_early_are_listed_and_shown(photos: list[Path], tmp_path: Path) -> None:
    whole = photos[0].read_bytes()
    (tmp_path / "half.jpg").write_bytes(whole[: len(whole) // 2])
    array, failed = miravex.load_images([photos[0], tmp_path / "half.jpg"], (64, 64))
    assert failed == [1]
    assert np.allclose(array[0, :, :20], array[1, :, :20], atol=0.1)


def test_positions_run_through_all_calls(photos: list[Path], tmp_path: Path) -> None:
    paths = [photos[i % 3] if i % 50 else tmp_path / "absent.png" for i in range(201)]
    array, failed = miravex.load_images(paths, (4, 4), progress=True)
    assert failed == [0, 50, 100, 150, 200]
    expected, _ = miravex.load_images(photos[:3], (4, 4))
    assert all(np.array_equal(array[i], expected[i % 3]) for i in range(201) if i % 50)


def test_any_file_name(photos: list[Path], tmp_path: Path) -> None:
    names = [os.fsencode(tmp_path / name) for name in ("zwei Wörter.jpg", "写真.jpg")]
    names.append(os.fsencode(tmp_path) + b"/\xff\xfe-\xc3.jpg")
    names.append(os.fsencode(tmp_path) + b"/\xa9.jpg")
    for name in names:
        shutil.copy(photos[0], name)
    _, failed = miravex.load_images([os.fsdecode(names[0]), Path(os.fsdecode(names[1])), *names[2:]], (4, 4))
    assert failed == []


def test_progress_is_shown_on_terminals_alone(
    photos: list[Path], monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]
) -> None:
    names = [photos[0]] * (loading.FILES_PER_CHUNK + 1)
    monkeypatch.setitem(sys.modules, "tqdm", None)
    miravex.load_images(names, (2, 2))
    assert capsys.readouterr().err == ""
    monkeypatch.setattr(sys.stderr, "isatty", lambda: True)
    miravex.load_images(names, (2, 2), progress=False)
    assert capsys.readouterr().err == ""
    miravex.load_images(names, (2, 2))
    shown = capsys.readouterr().err
    assert f"{len(names)} of {len(names)} files" in shown and shown.endswith("\n")
    monkeypatch.setattr(sys, "stderr", None)
    assert miravex.load_images(names, (2, 2))[1] == []


def test_progress_is_told_by_tqdm_where_that_is(
    photos: list[Path], monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]
) -> None:
    pytest.importorskip("tqdm")
    count = 2 * loading.FILES_PER_CHUNK + 1
    miravex.load_images([photos[0]] * count, (2, 2))
    assert capsys.readouterr().err == ""
    monkeypatch.setattr(sys.stderr, "isatty", lambda: True)
    miravex.load_images([photos[0]] * count, (2, 2), progress=False)
    assert capsys.readouterr().err == ""
    miravex.load_images([photos[0]] * count, (2, 2))
    shown = capsys.readouterr().err
    assert "100%|" in shown and f"{count}/{count}" in shown and "files/s" in shown and "files, " not in shown


def test_no_files_and_one_file(photos: list[Path]) -> None:
    array, failed = miravex.load_images([], (5, 6))
    assert array.shape == (0, 3, 5, 6) and failed == []
    assert miravex.load_images(photos[0], (5, 6))[0].shape == (1, 3, 5, 6)
    assert miravex.load_images(str(photos[0]), (5, 6))[0].shape == (1, 3, 5, 6)


@pytest.mark.parametrize(
    "arguments, words",
    [
        ({"size": (0, 5)}, "size is .* at least 1"),
        ({"size": 5}, "size is 5"),
        ({"size": (5, 5, 5)}, "size is"),
        ({"size": (5.5, 5)}, "size is"),
        ({"size": None}, "size is"),
        ({"size": (2**70, 5)}, "size is"),
        ({"size": (65535, 65535)}, "size is .*at most"),
        ({"size": "55"}, "size is"),
        ({"layout": "\ud800"}, "layout is"),
        ({"layout": None}, "layout is"),
        ({"colour": "\ud800"}, "colour is"),
        ({"colour": None}, 'colour is "None"'),
        ({"layout": "channels_frist"}, "layout is .*try channels_first"),
        ({"colour": "rgb"}, 'colour is "rgb".*try RGB'),
        ({"colour": "Greyscale"}, "try Grayscale"),
        ({"mean": [1, 2]}, "mean is"),
        ({"mean": "grey"}, "mean is"),
        ({"mean": "0.5"}, "mean is"),
        ({"mean": ["0.4", "0.5", "0.6"]}, "mean is"),
        ({"mean": 0.5j}, "mean is"),
        ({"mean": [[1], [2, 3]]}, "mean is"),
        ({"std": 1e300}, "std is .*finite"),
        ({"std": 0}, "std is .*0, expected finite numbers above 0"),
        ({"std": [1, 0, 1]}, "std is"),
        ({"mean": float("nan")}, "mean is .*finite"),
        ({"colour": "Grayscale", "mean": [1, 2, 3]}, "mean is"),
        ({"paths": [5]}, "paths holds"),
        ({"paths": ["a\0b"]}, "no file can be named"),
        ({"paths": ["\ud800"]}, "no file can be named"),
        ({"paths": 5}, "paths holds"),
    ],
)
def test_wrong_arguments_are_named(arguments: dict[str, object], words: str) -> None:
    with pytest.raises(ValueError, match=words):
        miravex.load_images(**{"paths": ["a.jpg"], **arguments})


def test_the_destination_is_filled_in_place(photos: list[Path]) -> None:
    destination = np.zeros((1, 8, 8, 3), np.float32)
    path = str(photos[0])
    failed = miravex.load_images_from_path_into(destination, path, [len(path.encode())])
    assert failed.tolist() == []
    assert np.array_equal(destination, miravex.load_images(path, (8, 8), "channels_last")[0])
    fixed = np.zeros((1, 8, 8, 3), np.float32)
    fixed.flags.writeable = False
    for wrong in (destination.astype(float), destination[:, ::2], destination.tolist(), fixed):
        with pytest.raises(ValueError, match="destination is .*float32"):
            miravex.load_images_from_path_into(wrong, path, [len(path)])


def test_what_progress_raises_ends_the_batch(photos: list[Path]) -> None:
    heard = []

    def stop(done: int) -> None:
        heard.append(done)
        raise LookupError("enough")

    batch = loading.batch_of((2, 2), "channels_first", "RGB", None, None)
    names = [str(photos[0])] * (3 * loading.FILES_PER_CHUNK)
    with pytest.raises(LookupError, match="enough"):
        loading.load_into(np.empty((len(names), *batch.slot), np.float32), names, batch, stop)
    assert heard == [loading.FILES_PER_CHUNK]


def test_arrays_that_hold_no_slot_per_file_are_refused(photos: list[Path]) -> None:
    batch = loading.batch_of((4, 4), "channels_first", "RGB", None, None)
    fixed = np.empty((1, 3, 4, 4), np.float32)
    fixed.flags.writeable = False
    gaps = np.empty((1, 3, 4, 8), np.float32)[..., ::2]
    for array in (np.empty((2, 3, 4, 4), np.float32), np.empty((1, 3, 4, 4)), gaps, fixed):
        with pytest.raises(ValueError, match="one float32 slot per file"):
            loading.load_into(array, [str(photos[0])], batch)


def test_other_threads_run_while_a_batch_loads(photos: list[Path]) -> None:
    names = [photos[0]] * 60
    start = time.perf_counter()
    with ThreadPoolExecutor(1) as pool:
        batch = pool.submit(miravex.load_images, names, (64, 64), progress=False)
        longest, last = 0.0, start
        while not batch.done():
            time.sleep(0.001)
            now = time.perf_counter()
            longest, last = max(longest, now - last), now
    took = time.perf_counter() - start
    assert took > 0.05, "the batch is too short to show anything"
    assert longest < took / 2


BATCH = """
import sys, miravex
print("ready", flush=True)
try:
    miravex.load_images([sys.argv[1]] * 1000000, (2, 2))
except KeyboardInterrupt:
    sys.exit(130)
"""


def test_a_batch_can_be_interrupted(photos: list[Path]) -> None:
    process = subprocess.Popen([sys.executable, "-c", BATCH, photos[0]], stdout=subprocess.PIPE)
    assert process.stdout is not None and process.stdout.readline() == b"ready\n"
    time.sleep(0.5)
    process.send_signal(signal.SIGINT)
    process.communicate(timeout=20)
    assert process.returncode == 130


def test_codecs_are_loaded_by_the_first_files_alone(photos: list[Path]) -> None:
    script = """
import sys, miravex, numpy as np
def codecs():
    with open("/proc/self/maps") as maps:
        text = maps.read()
    return [name for name in ("imgcodecs", "videoio", "superres", "libmiravex_readers") if name in text]
assert not codecs(), codecs()
miravex.median_filter(np.zeros((9, 9), np.uint8), radius=1)
miravex.draw.keypoints(np.zeros((9, 9), np.uint8), miravex.fast(np.zeros((9, 9), np.uint8)))
assert not codecs(), codecs()
miravex.load_images([sys.argv[1]])
assert "libmiravex_readers" in codecs(), codecs()
"""
    subprocess.run([sys.executable, "-c", script, str(photos[0])], check=True)
