"""Results that are no pictures, drawn: curves, matrices, shifts, histograms of flow, and how long examples take.

Drawn in gray on nothing, so that they read well on light pages and dark ones.
"""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import Any

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as pyplot  # noqa: E402
import numpy as np  # noqa: E402

INK = "#808080"
ACCENT = "#1a9a94"
CHANNELS = ("#d05a4e", "#4f9d57", "#5b84d6")

matplotlib.rcParams.update(
    {
        "svg.hashsalt": "miravex",  # the same bytes each time
        "savefig.transparent": True,
        "figure.figsize": (5.6, 3.4),
        "figure.constrained_layout.use": True,
        "axes.spines.top": False,
        "axes.spines.right": False,
        "axes.prop_cycle": matplotlib.cycler(color=[ACCENT]),
        "grid.alpha": 0.25,
        "font.size": 10,
        **{f"{part}.color": INK for part in ("text", "xtick", "ytick", "grid")},
        "axes.labelcolor": INK,
        "axes.edgecolor": INK,
    }
)


def _saved(figure: Any, path: Path) -> Path:
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)
    return path


def _response_curve(rows: np.ndarray, axes: Any) -> str:
    curves = rows.reshape(256, 3)
    for name, colour, curve in zip(("red", "green", "blue"), CHANNELS, curves.T):
        axes.plot(np.arange(256), curve, color=colour, label=name)
    axes.set(xlabel="sample", ylabel="exposure", yscale="log" if (curves > 0).all() else "linear")
    axes.legend(frameon=False)
    axes.grid()
    return "the response of the camera, by channel"


def _matrix(rows: np.ndarray, axes: Any) -> str:
    axes.imshow(rows, cmap="BuGn", vmin=0)
    most = rows.max() or 1
    for (row, column), mass in np.ndenumerate(rows):
        axes.text(column, row, f"{mass:.3g}", ha="center", va="center", color="white" if mass > most / 2 else "#303030")
    axes.set(xlabel="to", ylabel="from", xticks=range(rows.shape[1]), yticks=range(rows.shape[0]))
    return "how much mass goes from where to where"


def _shift(rows: np.ndarray, axes: Any) -> str:
    x, y = rows.ravel()[:2]
    reach = 1.25 * max(abs(x), abs(y), 1)
    axes.axhline(0, color=INK, linewidth=0.6)
    axes.axvline(0, color=INK, linewidth=0.6)
    axes.annotate("", (x, y), (0, 0), arrowprops={"arrowstyle": "-|>", "color": ACCENT, "linewidth": 2})
    axes.text(0.97, 0.04, f"{x:.2f}, {y:.2f}", color=ACCENT, ha="right", transform=axes.transAxes)
    axes.set(xlim=(-reach, reach), ylim=(-reach, reach), aspect="equal", xlabel="x in pixels", ylabel="y in pixels, upward")
    return "the shift"


def _flow(rows: np.ndarray, axes: Any) -> str:
    u, v = rows[..., 0].ravel(), rows[..., 1].ravel()
    reach = max(1.0, float(np.percentile(np.hypot(u, v), 99.5)))
    counted = np.histogram2d(u, v, bins=60, range=[[-reach, reach]] * 2)[0]
    shown = np.ma.masked_equal(np.log10(counted.T, where=counted.T > 0, out=np.zeros_like(counted.T)) + (counted.T > 0), 0)
    axes.imshow(shown, origin="lower", extent=(-reach, reach, -reach, reach), cmap="BuGn", vmin=0)
    axes.set(xlabel="to the right, in pixels", ylabel="upward, in pixels")
    return "how often each motion occurs, darker for more often"


DRAWN: dict[str, Callable[[np.ndarray, Any], str]] = {
    "response-curve": _response_curve,
    "transport": _matrix,
    "shift": _shift,
    "flow": _flow,
    "flow-and-validity": _flow,
}


def can_plot(layout: str) -> bool:
    return layout in DRAWN


def plot(layout: str, numbers: Path, output: Path) -> str:
    """Draws a result of this layout from its .npy file; says what is to be seen."""
    figure, axes = pyplot.subplots()
    caption = DRAWN[layout](np.load(numbers), axes)
    _saved(figure, output)
    return caption


def plot_points(sets: dict[str, np.ndarray], weights: dict[str, np.ndarray], output: Path) -> str:
    """Draws what a call is given where that is points: outlines, or discs as large as their weights."""
    figure, axes = pyplot.subplots()
    for (name, points), colour in zip(sets.items(), (ACCENT, CHANNELS[0])):
        if name in weights:
            axes.scatter(*points.T, s=250 * weights[name], color=colour, alpha=0.75, label=name)
        else:
            axes.fill(*points.T, facecolor="none", edgecolor=colour, linewidth=2, label=name)
    axes.set_aspect("equal")
    axes.margins(0.35)
    axes.legend(frameon=False, markerscale=0.4)
    _saved(figure, output)
    return "what the call is given"


def plot_times(milliseconds: dict[str, float], output: Path) -> None:
    """One bar for each operation, the slowest first."""
    ordered = sorted(milliseconds.items(), key=lambda item: item[1])
    figure, axes = pyplot.subplots(figsize=(7, 0.21 * len(ordered) + 0.8))
    names = [name for name, _ in ordered]
    axes.barh(names, [time for _, time in ordered], height=0.65)
    axes.set(xscale="log", xlabel="milliseconds, on a logarithmic scale")
    axes.margins(y=0.01)
    axes.grid(axis="x")
    _saved(figure, output)
