"""`miravex batch` against OpenCV in Python on a thread pool, mogrify and vips: medians of all photographs.

The same JPEGs are read, filtered by a median of 7 x 7 and written as JPEGs of quality 95 (mogrify and vips too), each
contender in turn in each round; mogrify once, because it takes half a minute. Shown are the clock, processor time
(user and system), and the longest chain of processor time: of the busiest thread, after the main thread where that
only starts the others. It is what the clock would show if no other program took its share of the machine. vips works
on one file at a time and is run by xargs, once for each core; its chain is taken to be an even share.
"""

from __future__ import annotations

import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parent.parent
CORES = len(os.sched_getaffinity(0))
TICK = 1e9

OPENCV = """
import sys, cv2, os
from concurrent.futures import ThreadPoolExecutor
threads, out, *files = sys.argv[1:]
cv2.setNumThreads(1)
def one(file):
    cv2.imwrite(os.path.join(out, os.path.basename(file)), cv2.medianBlur(cv2.imread(file), 7))
with ThreadPoolExecutor(int(threads)) as pool:
    list(pool.map(one, files))
"""


class Contender(NamedTuple):
    words: list[str]
    main_waits: bool = False  # while the other threads work
    spread: bool = False  # over processes, one for each core
    once: bool = False


class Cost(NamedTuple):
    clock: float
    processor: float
    chain: float


def thread_times(process: int) -> dict[str, float]:
    """Seconds that each thread of a process has run."""
    times = {}
    tasks = Path(f"/proc/{process}/task")
    try:
        for task in tasks.iterdir():
            times[task.name] = int((task / "schedstat").read_text().split()[0]) / TICK
    except OSError:  # it has just ended
        pass
    return times


def cost(contender: Contender) -> Cost:
    start = time.perf_counter()
    process = subprocess.Popen(contender.words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    threads: dict[str, float] = {}
    while True:
        pid, status, usage = os.wait4(process.pid, os.WNOHANG)
        if pid:
            break
        threads |= thread_times(process.pid)
        time.sleep(0.005)
    clock = time.perf_counter() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{contender.words[0]} failed with status {process.returncode}")
    processor = usage.ru_utime + usage.ru_stime
    before = threads.pop(str(process.pid)) if contender.main_waits else 0.0
    return Cost(clock, processor, processor / CORES if contender.spread else before + max(threads.values()))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=ROOT / "build/release")
    parser.add_argument("--pictures", type=Path, default=Path("/usr/share/doc/opencv-doc/examples/data"))
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()
    files = [str(file) for file in sorted(options.pictures.glob("*.jpg"))]
    with tempfile.TemporaryDirectory() as out:
        batch = [str(options.build / "bin/miravex"), "batch", "median-filter", "--radius", "3", "--force", "-o", out]
        each = ["xargs", "-P", str(CORES), "-a", f"{out}/list", "-I{}"]
        contenders = {
            "miravex batch, 1 thread": Contender([*batch, "--threads", "1", *files]),
            f"miravex batch, {CORES} threads": Contender([*batch, "--threads", str(CORES), *files]),
        }
        if subprocess.run([sys.executable, "-c", "import cv2"], capture_output=True, check=False).returncode == 0:
            script = [sys.executable, "-c", OPENCV, str(CORES), out, *files]
            contenders[f"OpenCV in Python, {CORES} threads"] = Contender(script, main_waits=True)
        if shutil.which("mogrify"):
            median = ["-quality", "95", "-statistic", "Median", "7x7"]
            contenders["mogrify"] = Contender(["mogrify", "-path", out, *median, *files], once=True)
        if shutil.which("vips"):
            command = f'vips rank "{{}}" "{out}/$(basename "{{}}")[Q=95]" 7 7 24'
            contenders[f"vips rank, {CORES} at a time"] = Contender([*each, "sh", "-c", command], spread=True)
        Path(out, "list").write_text("".join(f"{file}\n" for file in files))

        figures: dict[str, list[Cost]] = {name: [] for name in contenders}
        for number in range(options.rounds + 1):
            for name, contender in contenders.items():
                if contender.once and number != 1:
                    continue
                measured = cost(contender)
                if number > 0:  # the first round brings the files from the disk
                    figures[name].append(measured)

    print(f"{len(files)} photographs; seconds, medians of {options.rounds} rounds, and over the first line\n")
    print(f"{'':28}{'clock':>16}{'processor':>16}{'longest chain':>16}")
    middle = {name: [statistics.median(column) for column in zip(*runs)] for name, runs in figures.items()}
    first = next(iter(middle.values()))
    for name, values in middle.items():
        cells = (f"{value:.2f} ({value / base:.2f})" for value, base in zip(values, first))
        print(f"{name:28}" + "".join(f"{cell:>16}" for cell in cells))


if __name__ == "__main__":
    main()
