#!/usr/bin/env python3
"""Writes tone_reference.h: what the tone mappings give on a small picture, computed in plain NumPy.

An independent implementation in double precision, bilateral filter included. A division by zero gives 0, as
in OpenCV 3.4. Run it in this folder:  python3 tone_reference.py > tone_reference.h
"""

import numpy as np

ROWS, COLUMNS = 7, 9
WEIGHTS = np.array([0.299, 0.587, 0.114])


def picture(black):
    """Sixty-fourths from 1 to 1000, exact in single precision; tone_mapping tests make the same."""
    values = (np.arange(ROWS * COLUMNS * 3) * 7919 + 13) % 1000 + 1
    image = (values / 64.0).reshape(ROWS, COLUMNS, 3)
    if black:
        image[2, 3] = 0
        image[6, 8] = 0
    return image


def divide(numerator, denominator):
    numerator, denominator = np.broadcast_arrays(numerator, denominator)
    return np.divide(numerator, denominator, out=np.zeros_like(numerator), where=denominator != 0)


def rescale(image):
    least, most = image.min(), image.max()
    return (image - least) / (most - least) if most - least > np.finfo(float).eps else image


def logarithm(luminance):
    return np.log(np.maximum(luminance, 1e-4))


def with_luminance(image, old, new, saturation):
    return divide(image, old[..., None]) ** saturation * new[..., None]


def bilateral(image, color_sigma, space_sigma):
    color_sigma = color_sigma if color_sigma > 0 else 1
    space_sigma = space_sigma if space_sigma > 0 else 1
    radius = max(1, int(np.rint(1.5 * space_sigma)))
    padded = np.pad(image, radius, mode="reflect")
    total, weights = np.zeros_like(image), np.zeros_like(image)
    for dy in range(-radius, radius + 1):
        for dx in range(-radius, radius + 1):
            if dy * dy + dx * dx > radius * radius:
                continue
            y, x = radius + dy, radius + dx
            moved = padded[y : y + image.shape[0], x : x + image.shape[1]]
            weight = np.exp(-(dy * dy + dx * dx) / (2 * space_sigma**2))
            weight = weight * np.exp(-((moved - image) ** 2) / (2 * color_sigma**2))
            total += weight * moved
            weights += weight
    return total / weights


def durand(image, gamma, contrast, saturation, color_sigma, space_sigma):
    image = rescale(image)
    luminance = image @ WEIGHTS
    log = logarithm(luminance)
    base = bilateral(log, color_sigma, space_sigma)
    scale = contrast / (base.max() - base.min())
    return with_luminance(image, luminance, np.exp(base * (scale - 1) + log), saturation) ** (1 / gamma)


def drago(image, gamma, saturation, bias):
    image = rescale(image)
    luminance = image @ WEIGHTS
    scaled = luminance / np.exp(logarithm(luminance).mean())
    exponent = np.log(bias) / np.log(0.5)
    mapped = divide(np.log(scaled + 1), np.log(2 + 8 * (scaled / scaled.max()) ** exponent))
    return rescale(with_luminance(image, scaled, mapped, saturation)) ** (1 / gamma)


def resized(image, shape):
    """Linear interpolation between pixel centres, edges repeated."""
    for axis, wanted in enumerate(shape):
        size = image.shape[axis]
        at = (np.arange(wanted) + 0.5) * size / wanted - 0.5
        at = np.clip(at, 0, size - 1)
        first = np.minimum(at.astype(int), max(size - 2, 0))
        part = np.expand_dims(at - first, 1 - axis)
        second = np.minimum(first + 1, size - 1)
        image = np.take(image, first, axis) * (1 - part) + np.take(image, second, axis) * part
    return image


def contrasts(image):
    """Differences to the right and downward at every level of a pyramid."""
    pyramid = []
    for _ in range(int(np.log(min(image.shape)) / np.log(2))):
        dx, dy = np.zeros_like(image), np.zeros_like(image)
        dx[:, :-1] = np.diff(image, axis=1)
        dy[:-1] = np.diff(image, axis=0)
        pyramid.append((dx, dy))
        image = resized(image, (image.shape[0] // 2, image.shape[1] // 2))
    return pyramid


def divergence(pyramid):
    """The transpose of contrasts(), but for the enlargement between levels."""
    total = np.zeros_like(pyramid[-1][0])
    for dx, dy in reversed(pyramid):
        backward = np.diff(dx, axis=1, prepend=0) + np.diff(dy, axis=0, prepend=0)
        total = resized(total, dx.shape) + backward
    return total


def perceived(contrast, scale):
    power = 0.4185
    response = np.sign(contrast) * np.abs(contrast) ** power * scale
    return np.sign(response) * np.abs(response) ** (1 / power)


def mantiuk(image, gamma, scale, saturation):
    image = rescale(image)
    luminance = image @ WEIGHTS
    x = logarithm(luminance)
    right = divergence([(perceived(dx, scale), perceived(dy, scale)) for dx, dy in contrasts(x)])
    residual = right - divergence(contrasts(x))
    direction = residual.copy()
    norm = np.vdot(residual, residual)
    for _ in range(100):
        product = divergence(contrasts(direction))
        step = norm / np.vdot(direction, product)
        residual = residual - step * product
        x = x + step * direction
        previous, norm = norm, np.vdot(residual, residual)
        direction = residual + norm / previous * direction
        if norm < np.vdot(right, right) * 1e-6:
            break
    return rescale(with_luminance(image, luminance, np.exp(x), saturation)) ** (1 / gamma)


METHODS = {"Durand": durand, "Drago": drago, "Mantiuk": mantiuk}
CASES = [
    ("Durand", False, (1.0, 4.0, 1.0, 2.0, 2.0)),
    ("Durand", True, (1.0, 4.0, 1.0, 2.0, 2.0)),
    ("Durand", True, (2.2, 5.0, 0.7, 0.4, 1.2)),
    ("Durand", False, (1.5, 3.0, 1.3, 1.0, 2.7)),
    ("Durand", True, (1.0, 2.0, 1.0, 0.0, -1.0)),
    ("Drago", False, (1.0, 1.0, 0.85)),
    ("Drago", True, (1.0, 1.0, 0.85)),
    ("Drago", True, (2.2, 1.4, 0.7)),
    ("Mantiuk", False, (1.0, 0.7, 1.0)),
    ("Mantiuk", True, (1.0, 0.7, 1.0)),
    ("Mantiuk", True, (1.6, 0.85, 1.3)),
]


def main():
    print("// Written by tone_reference.py; not to be edited.")
    print("#pragma once\n\n#include <vector>\n\nnamespace miravex::test {\n")
    print(f"constexpr int toneRows = {ROWS};\nconstexpr int toneColumns = {COLUMNS};\n")
    print("struct ToneReference {\n    const char* method;\n    bool black;")
    print("    std::vector<double> parameters;\n    std::vector<double> samples;\n};\n")
    print("// clang-format off\ninline const std::vector<ToneReference>& toneReferences()\n{")
    print("    static const std::vector<ToneReference> references {")
    for method, black, parameters in CASES:
        samples = METHODS[method](picture(black), *parameters).ravel()
        print(f'        {{ "{method}", {str(black).lower()}, {{ {", ".join(map(repr, parameters))} }},\n          {{')
        for start in range(0, samples.size, 9):
            print("            " + " ".join(f"{value:.9g}," for value in samples[start : start + 9]))
        print("          } },")
    print("    };\n    return references;\n}\n// clang-format on\n\n} // namespace miravex::test")


if __name__ == "__main__":
    main()
