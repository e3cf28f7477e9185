"""Paints the pictures on the living room's surfaces: wood, weave, rug, paintings, spines of books, stone.

Colours are what a screen shows. Pictures that tile do so in both directions.
"""
import math
import pathlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from png import write_png  # noqa: E402

SPINES = 32  # books side by side in books.png


class Noise:
    """Smooth noise of mean 0 within -1 to 1 that repeats after `across` by `down` cells."""

    def __init__(self, seed, across, down):
        chance = random.Random(seed)
        self.across, self.down = across, down
        self.values = [[chance.uniform(-1, 1) for _ in range(across)] for _ in range(down)]

    def __call__(self, u, v):
        """At the fractions u and v of the whole."""
        x, y = u % 1.0 * self.across, v % 1.0 * self.down
        i, j = int(x), int(y)
        x, y = x - i, y - j
        x, y = x * x * (3 - 2 * x), y * y * (3 - 2 * y)
        i, j = i % self.across, j % self.down
        above, below = self.values[j], self.values[(j + 1) % self.down]
        k = (i + 1) % self.across
        return (above[i] * (1 - x) + above[k] * x) * (1 - y) + (below[i] * (1 - x) + below[k] * x) * y


def blend(a, b, share):
    share = min(max(share, 0.0), 1.0)
    return tuple(p + (q - p) * share for p, q in zip(a, b))


def whole(color):
    return tuple(min(max(int(c + 0.5), 0), 255) for c in color)


def wood():
    """Oak, 1.6 m along the grain and 0.4 m across."""
    width, height = 1024, 256
    broad, bent, fine, pores = Noise(1, 6, 5), Noise(2, 10, 6), Noise(3, 24, 96), Noise(4, 160, 256)
    rows = []
    for j in range(height):
        row = []
        for i in range(width):
            u, v = i / width, j / height
            rings = 0.5 + 0.5 * math.sin(2 * math.pi * (9 * v + 0.9 * bent(u, v) + 0.35 * broad(u, v)))
            tone = 0.42 * rings**1.5 + 0.28 * fine(u, v) + 0.22 * broad(u, v) + 0.16
            color = blend((218, 186, 146), (172, 131, 92), tone)
            pore = pores(u, v)
            if pore > 0.45:
                color = blend(color, (124, 90, 62), (pore - 0.45) * (0.4 + 0.8 * rings))
            row.append(whole(color))
        rows.append(row)
    return rows


def weave_height(i, j, threads, slubs):
    """Of a plain weave of `threads` pairs over and under, for the pixel in a picture of 256."""
    x, y = i / 256 * threads, j / 256 * threads
    over = (int(x) + int(y)) % 2
    across, along = math.sin(math.pi * (x % 1.0)), math.sin(math.pi * (y % 1.0))
    height = across * (0.55 + 0.45 * along) if over else along * (0.55 + 0.45 * across)
    return height, slubs[0][int(x)] if over else slubs[1][int(y)]


def weave():
    """Undyed linen, 0.16 m each way, and its normals."""
    threads, chance = 64, random.Random(5)
    slubs = [[chance.gauss(0, 1) for _ in range(threads)] for _ in range(2)]
    mottle = Noise(6, 9, 9)
    heights = [[weave_height(i, j, threads, slubs) for i in range(256)] for j in range(256)]
    picture, normals = [], []
    for j in range(256):
        row, tilts = [], []
        for i in range(256):
            height, slub = heights[j][i]
            row.append(whole([222 + 30 * (height - 0.75) + 9 * slub + 12 * mottle(i / 256, j / 256)])[0])
            du = heights[j][(i + 1) % 256][0] - heights[j][i - 1][0]
            dv = heights[j - 1][i][0] - heights[(j + 1) % 256][i][0]
            length = math.sqrt(du * du + dv * dv + 1.6)
            tilts.append(whole((127.5 - 127.5 * du / length, 127.5 - 127.5 * dv / length, 127.5 + 127.5 * 1.265 / length)))
        picture.append(row)
        normals.append(tilts)
    return picture, normals


def rug():
    """Dark lozenges, drawn by hand, on cream wool; 2.9 m by 2.0 m, once."""
    width, height = 580, 400
    wobble, wool, patches = Noise(7, 14, 10), Noise(8, 290, 200), Noise(9, 8, 6)
    rows = []
    for j in range(height):
        row = []
        for i in range(width):
            u, v = i / width, j / height
            color = blend((226, 215, 196), (206, 192, 168), 0.5 + 0.5 * patches(u, v))
            a, b = u * 6 + 0.10 * wobble(u, v), v * 4 + 0.10 * wobble(v, u)
            lines = [abs((a + b) % 1.0 - 0.5), abs((a - b) % 1.0 - 0.5)]
            near = 0.5 - max(lines)
            inner = 0.5 - max(abs(lines[0] - 0.22) if lines[1] < 0.22 else 1.0, abs(lines[1] - 0.22) if lines[0] < 0.22 else 1.0)
            edge = min(u * 2.9, (1 - u) * 2.9, v * 2.0, (1 - v) * 2.0)
            dark = 1.0 if near < 0.045 + 0.012 * wobble(v * 3, u * 3) else 0.0
            if inner > 0.47 and (int(a + b) + int(a - b + 64)) % 2:
                dark = 0.75
            if edge < 0.1:
                dark = 1.0 if 0.045 < edge < 0.075 else 0.0
            color = blend(color, (64, 54, 50), dark * (0.88 + 0.12 * wool(u, v)))
            row.append(whole(c * (1 + 0.06 * wool(u, v)) for c in color))
        rows.append(row)
    return rows


def hills():
    """A painting: hills behind each other in the evening, 3 to 4."""
    width, height = 360, 480
    brush, cloud, paper = Noise(10, 60, 24), Noise(11, 6, 5), Noise(12, 180, 240)
    ridges = [(0.44, 0.055, (171, 178, 186)), (0.52, 0.07, (132, 150, 163)), (0.61, 0.08, (88, 117, 133)), (0.72, 0.07, (176, 118, 74)),
              (0.81, 0.05, (58, 82, 88)), (0.9, 0.04, (39, 52, 60))]
    shapes = [Noise(20 + k, 4 + k, 1) for k in range(len(ridges))]
    rows = []
    for j in range(height):
        row = []
        for i in range(width):
            u, v = i / width, j / height
            stroke = brush(u, v)
            color = blend((214, 190, 160), (240, 222, 190), v / 0.45 + 0.3 * cloud(u, v))
            d = math.hypot((u - 0.66) * 0.75, v - 0.27)
            if d < 0.085 + 0.004 * stroke:
                color = (228, 128, 74)
            for (level, swing, paint), shape in zip(ridges, shapes):
                if v + 0.006 * stroke > level + swing * shape(u * 0.99, 0.0) + 0.3 * swing * shape(u * 2.7, 0.0):
                    color = blend(paint, (235, 214, 184), 0.12 + 0.25 * max(0.0, level + 0.12 - v))
            row.append(whole(c + 7 * stroke + 3 * paper(u, v) for c in color))
        rows.append(row)
    return rows


def shapes():
    """A painting: cut papers, 3 to 4."""
    width, height = 360, 480
    brush, edge, paper = Noise(30, 40, 50), Noise(31, 12, 16), Noise(32, 180, 240)

    def color_at(u, v):
        if v > 0.62 and math.hypot((u - 0.36) / 0.27, (v - 0.95) / 0.33) < 1:
            return (46, 84, 90) if math.hypot((u - 0.36) / 0.15, (v - 0.95) / 0.21) > 1 else (231, 219, 198)
        if math.hypot((u - 0.62) / 0.24, (v - 0.28) / 0.18) < 1:
            return (216, 155, 66)
        if abs(u - 0.70) < 0.17 and v > 0.47 and (v > 0.6 or math.hypot((u - 0.70) / 0.17, (v - 0.6) / 0.13) < 1):
            return (186, 91, 62)
        leaf = (u - 0.26) * 0.86 + (v - 0.34) * 0.5, -(u - 0.26) * 0.5 + (v - 0.34) * 0.86
        if math.hypot(leaf[0] / 0.085, leaf[1] / 0.26) < 1 and abs(leaf[0]) > 0.006:
            return (120, 137, 104)
        return (236, 226, 209)

    rows = []
    for j in range(height):
        row = []
        for i in range(width):
            u, v = i / width, j / height
            shift = 0.006 * edge(u, v)
            color = color_at(u + shift, v + shift)
            row.append(whole(c + 5 * brush(u, v) + 3 * paper(u, v) for c in color))
        rows.append(row)
    return rows


def books():
    """Spines side by side; the last rows have each book's own colour, for its covers."""
    chance = random.Random(40)
    cell, height = 24, 192
    cloths = [(142, 58, 44), (38, 62, 84), (214, 203, 180), (62, 84, 66), (190, 144, 62), (52, 48, 50), (176, 168, 158), (120, 92, 72),
              (196, 116, 82), (86, 112, 126), (232, 226, 214), (104, 36, 44)]
    rows = [[(0, 0, 0)] * (cell * SPINES) for _ in range(height)]
    for book in range(SPINES):
        cloth = cloths[chance.randrange(len(cloths))]
        dark = sum(cloth) < 330
        ink = (222, 196, 128) if dark and chance.random() < 0.6 else (238, 232, 220) if dark else (56, 46, 44)
        bands = chance.choice(([], [(10, 13), (164, 167)], [(22, 46)], [(8, 9), (12, 13), (170, 171)]))
        title, letters = chance.randrange(40, 66), chance.randrange(5, 14)
        gaps = [chance.random() < 0.18 for _ in range(letters)]
        for j in range(height):
            for i in range(cell):
                color = cloth
                if any(a <= j < b for a, b in bands):
                    color = ink
                at = (j - title) / 7.0
                if 0 <= at < letters and not gaps[int(at)] and at % 1.0 < 0.72 and 8 <= i < 16 and (i * 3 + int(at) * 5) % 7 > 1:
                    color = ink
                if j > 176:
                    color = cloth
                rounding = 1.0 - 0.14 * abs(i - cell / 2 + 0.5) / (cell / 2) if j <= 176 else 1.0
                grain = chance.uniform(-4, 4)
                rows[j][book * cell + i] = whole(c * rounding + grain for c in color)
    return rows


def stone():
    """Pale limestone, 0.8 m each way."""
    large, small, specks = Noise(50, 5, 5), Noise(51, 24, 24), Noise(52, 128, 128)
    return [[whole((214 + 14 * large(i / 256, j / 256) + 10 * small(i / 256, j / 256) + 8 * specks(i / 256, j / 256),
                    204 + 14 * large(i / 256, j / 256) + 10 * small(i / 256, j / 256) + 8 * specks(i / 256, j / 256),
                    186 + 15 * large(i / 256, j / 256) + 9 * small(i / 256, j / 256) + 8 * specks(i / 256, j / 256)))
             for i in range(256)] for j in range(256)]


def paint_all():
    linen, normals = weave()
    for name, rows in (("oak", wood()), ("linen", linen), ("linen_normals", normals), ("rug", rug()), ("hills", hills()),
                       ("shapes", shapes()), ("books", books()), ("stone", stone())):
        write_png(name + ".png", rows)
