"""What starting costs: loading the library, the tool's answers, the import of the Python package, beside others.

Every command runs once in each round, turn by turn, so that whatever else the machine does falls on all of them.
Counted is processor time, of user and system together, which other programs disturb less than the clock, and the
largest resident memory. Loading alone is /bin/true with the library preloaded, less /bin/true.
"""

from __future__ import annotations

import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
NOTHING = "nothing (/bin/true)"


def python_line(code: str, build: Path | None = None) -> tuple[list[str], dict[str, str]]:
    return [sys.executable, "-c", code], {"PYTHONPATH": str(build / "python")} if build else {}


def commands_of(build: Path, suffix: str) -> dict[str, tuple[list[str], dict[str, str]]]:
    """What one build of ours is measured by."""
    tool = str(build / "bin/miravex")
    commands = {
        "load libmiravex.so": (["/bin/true"], {"LD_PRELOAD": str(build / "lib/libmiravex.so")}),
        "miravex list": ([tool, "list"], {}),
        "miravex help median-filter": ([tool, "help", "median-filter"], {}),
    }
    if (build / "python/miravex").is_dir():
        commands["import miravex"] = python_line("import miravex", build)
    return {name + suffix: command for name, command in commands.items()}


def rivals() -> dict[str, tuple[list[str], dict[str, str]]]:
    """Of these, what is installed."""
    programs = {
        "vips --version": ["vips", "--version"],
        "vips list classes": ["vips", "list", "classes"],
        "gmic version": ["gmic", "version"],
    }
    found = {name: (words, {}) for name, words in programs.items() if shutil.which(words[0])}
    for module in ("numpy", "cv2"):
        line = python_line(f"import {module}")
        if subprocess.run(line[0], capture_output=True, check=False).returncode == 0:
            found[f"import {module}"] = line
    return found


def cost(words: list[str], environment: dict[str, str]) -> tuple[float, float]:
    """Processor time in ms and resident memory in MB of one run."""
    unwanted = ("PYTHONDONTWRITEBYTECODE", "MIRAVEX_LIBRARY")
    whole = {name: value for name, value in os.environ.items() if name not in unwanted}
    process = subprocess.Popen(
        words, env={**whole, **environment}, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
    )
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(words)} failed with status {process.returncode}")
    return 1000 * (usage.ru_utime + usage.ru_stime), usage.ru_maxrss / 1024


def libraries(file: Path) -> int:
    done = subprocess.run(["ldd", str(file)], capture_output=True, text=True, check=True)
    return len(done.stdout.splitlines())


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=ROOT / "build/release")
    parser.add_argument("--before", type=Path, help="another build to compare with")
    parser.add_argument("--rounds", type=int, default=15)
    options = parser.parse_args()

    compiled = tempfile.TemporaryDirectory()  # Python's, of all packages alike
    os.environ["PYTHONPYCACHEPREFIX"] = compiled.name
    commands = {NOTHING: (["/bin/true"], {}), **commands_of(options.build, ""), **rivals()}
    if options.before:
        commands |= commands_of(options.before, ", before")
    for build in filter(None, (options.build, options.before)):
        print(f"{build}: libmiravex.so with {libraries(build / 'lib/libmiravex.so')} libraries")

    for words, environment in commands.values():
        cost(words, environment)  # from the disk once
    figures: dict[str, list[tuple[float, float]]] = {name: [] for name in commands}
    for _ in range(options.rounds):
        for name, (words, environment) in commands.items():
            figures[name].append(cost(words, environment))
    nothing = statistics.median(time for time, _ in figures[NOTHING])
    floor = max(memory for _, memory in figures[NOTHING])  # that of this script, which a new process starts with
    print(f"\n{'':36}{'processor ms':>14}{'MB resident':>14}")
    for name, runs in figures.items():
        time = statistics.median(time for time, _ in runs)
        if name.startswith("load "):
            time -= nothing
        memory = statistics.median(memory for _, memory in runs)
        shown = f"{memory:.0f}" if memory > floor else f"under {floor + 1:.0f}"
        print(f"{name:36}{time:14.1f}{shown:>14}")


if __name__ == "__main__":
    main()
