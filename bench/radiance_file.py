"""Reads the Radiance pictures that the program writes, for the scripts beside this one."""

import math
import pathlib
import re

SCALES = [math.ldexp(1.0, e - 136) if e else 0.0 for e in range(256)]  # of a mantissa, by its exponent


def read_planes(path):
    """Width, and four planes of bytes a row, the top row first: red, green, blue, exponent."""
    data = pathlib.Path(path).read_bytes()
    start = data.index(b"\n\n") + 2
    at = data.index(b"\n", start) + 1
    height, width = map(int, re.match(rb"-Y (\d+) \+X (\d+)", data[start : at - 1]).groups())
    rows = []
    for _ in range(height):
        planes, at = read_scanline(data, at, width)
        rows.append(planes)
    return width, rows


def read_scanline(data, at, width):
    if width < 8 or data[at : at + 2] != b"\2\2":
        return [data[at + c : at + 4 * width : 4] for c in range(4)], at + 4 * width
    at, planes = at + 4, []
    for _ in range(4):
        plane = bytearray()
        while len(plane) < width:
            count = data[at]
            if count > 128:
                plane += data[at + 1 : at + 2] * (count - 128)
                at += 2
            else:
                plane += data[at + 1 : at + 1 + count]
                at += 1 + count
        planes.append(plane)
    return planes, at
