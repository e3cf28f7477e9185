#!/usr/bin/env python3
"""Makes courtyard.glb and lanterns.glb: an arcaded court in the evening.

Everything is our own and comes from the numbers below, z up and in metres. Run in this folder.
"""
import math
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from glb import Mesh, curve, placed, ring, unit, write_glb  # noqa: E402

BAY = 2.4          # column axis to column axis
HALF = 6.0         # half the side of the court, to the column axes
DEPTH = 2.6        # of the arcade behind the columns
SPRING = 3.0       # where arches start
ARCH = 1.05        # their radius
TOP = 4.9          # of the arcade's wall
WALL = 0.36        # its thickness
TILE = 0.6


def column():
    m = Mesh("column")
    m.box("stone", (-0.24, -0.24, 0.0), (0.24, 0.24, 0.12))
    shaft = [(0.2, 0.12)] + ring(0.19, 0.13, 0.035) + [(0.185, 0.21)] + ring(0.18, 0.22, 0.02)
    # Entasis: the shaft swells a little below its middle.
    for k in range(25):
        t = k / 24
        shaft.append((0.165 - 0.03 * t * t + 0.006 * math.sin(math.pi * t), 0.29 + 2.2 * t))
    shaft += ring(0.137, 2.52, 0.015)
    shaft += [(0.137 + 0.09 * (1 - math.cos(math.pi / 2 * k / 10)), 2.58 + 0.2 * math.sin(math.pi / 2 * k / 10))
              for k in range(11)]
    shaft.append((0.227, 2.82))
    m.lathe("stone", shaft, 40)
    m.box("stone", (-0.25, -0.25, 2.82), (0.25, 0.25, SPRING))
    return m


def arch():
    """One bay of wall over its arch, along x, with the bay's middle at 0."""
    m = Mesh("arch")
    n = 36
    arc = [(-ARCH * math.cos(math.pi * k / n), SPRING + ARCH * math.sin(math.pi * k / n)) for k in range(n + 1)]
    for y, side in ((-WALL / 2, 1), (WALL / 2, -1)):
        def face(a, b, c, d):
            corners = [(p[0], y, p[1]) for p in (a, b, c, d)]
            m.flat("plaster", corners if side > 0 else corners[::-1])
        for k in range(n):
            face(arc[k], arc[k + 1], (arc[k + 1][0], TOP), (arc[k][0], TOP))
        face((-BAY / 2, SPRING), (-ARCH, SPRING), (-ARCH, TOP), (-BAY / 2, TOP))
        face((ARCH, SPRING), (BAY / 2, SPRING), (BAY / 2, TOP), (ARCH, TOP))
    m.grid("plaster", n + 1, 2, lambda r, c: (arc[r][0], WALL / 2 if c else -WALL / 2, arc[r][1]))
    # A moulded ring of stone on the court's side.
    for k in range(n):
        a0, a1 = math.pi * k / n, math.pi * (k + 1) / n
        def at(a, r, y):
            return (-r * math.cos(a), y, SPRING + r * math.sin(a))
        front, back = -WALL / 2 - 0.04, -WALL / 2
        m.flat("stone", [at(a0, ARCH, front), at(a1, ARCH, front), at(a1, ARCH + 0.13, front), at(a0, ARCH + 0.13, front)])
        m.flat("stone", [at(a0, ARCH + 0.13, front), at(a1, ARCH + 0.13, front), at(a1, ARCH + 0.13, back), at(a0, ARCH + 0.13, back)])
        m.flat("stone", [at(a1, ARCH, front), at(a0, ARCH, front), at(a0, ARCH, back), at(a1, ARCH, back)])
    return m


def floor(m):
    reach = HALF + DEPTH
    count = round(2 * reach / TILE)
    size = 2 * reach / count
    bevel, gap, sink = 0.008, 0.003, 0.006
    m.flat("joint", [(-reach, -reach - 3, -sink), (reach, -reach - 3, -sink), (reach, reach, -sink), (-reach, reach, -sink)])
    for row in range(-5, count):
        for column_ in range(count):
            x0, y0 = -reach + column_ * size + gap, -reach + row * size + gap
            x1, y1 = x0 + size - 2 * gap, y0 + size - 2 * gap
            name = "tile_light" if (row + column_) % 2 else "tile_dark"
            a = [(x0, y0), (x1, y0), (x1, y1), (x0, y1)]
            b = [(x0 + bevel, y0 + bevel), (x1 - bevel, y0 + bevel), (x1 - bevel, y1 - bevel), (x0 + bevel, y1 - bevel)]
            m.flat(name, [(x, y, 0.0) for x, y in b])
            for k in range(4):
                p, q = k, (k + 1) % 4
                m.flat(name, [(*a[p], -sink), (*a[q], -sink), (*b[q], 0.0), (*b[p], 0.0)])


def walls(m):
    inner, outer = HALF + DEPTH, HALF + DEPTH + 0.3
    south = -inner - 3
    # North wall with a window; its opening is a box less.
    wx0, wx1, wz0, wz1 = -4.4, -2.8, 1.0, 2.9
    m.box("plaster", (-outer, inner, 0), (wx0, outer, TOP))
    m.box("plaster", (wx1, inner, 0), (outer, outer, TOP))
    m.box("plaster", (wx0, inner, 0), (wx1, outer, wz0))
    m.box("plaster", (wx0, inner, wz1), (wx1, outer, TOP))
    for x in (wx0, (wx0 + wx1) / 2 - 0.03, wx1 - 0.06):
        m.box("wood", (x, inner + 0.1, wz0), (x + 0.06, inner + 0.16, wz1))
    for z in (wz0, 2.2, wz1 - 0.06):
        m.box("wood", (wx0, inner + 0.1, z), (wx1, inner + 0.16, z + 0.06))
    m.box("stone", (wx0 - 0.1, inner - 0.08, wz0 - 0.1), (wx1 + 0.1, inner + 0.1, wz0))
    m.flat("window_glass", [(wx0, inner + 0.13, wz0), (wx1, inner + 0.13, wz0), (wx1, inner + 0.13, wz1), (wx0, inner + 0.13, wz1)])
    # Side walls.
    m.box("plaster", (-outer, south, 0), (-inner, inner, TOP))
    m.box("plaster", (inner, south, 0), (outer, inner, TOP))
    # A mirror in its frame on the north wall.
    mx0, mx1, mz0, mz1 = 5.2, 6.9, 0.75, 2.85
    for low, high in (((mx0 - 0.12, mz0 - 0.12), (mx1 + 0.12, mz0)), ((mx0 - 0.12, mz1), (mx1 + 0.12, mz1 + 0.12)),
                      ((mx0 - 0.12, mz0), (mx0, mz1)), ((mx1, mz0), (mx1 + 0.12, mz1))):
        m.box("brass", (low[0], inner - 0.06, low[1]), (high[0], inner, high[1]))
    m.flat("mirror", [(mx0, inner - 0.02, mz0), (mx1, inner - 0.02, mz0), (mx1, inner - 0.02, mz1), (mx0, inner - 0.02, mz1)])
    # Skirting.
    m.box("stone", (-inner, inner - 0.03, 0), (inner, inner, 0.18))
    m.box("stone", (-inner, south, 0), (-inner + 0.03, inner, 0.18))
    m.box("stone", (inner - 0.03, south, 0), (inner, inner, 0.18))


def roof(m):
    inner, court, south = HALF + DEPTH, HALF - WALL / 2, -HALF - BAY / 2
    for x0, x1, y0, y1 in ((-inner, inner, HALF + WALL / 2, inner), (-inner, -HALF - WALL / 2, south, HALF + WALL / 2),
                           (HALF + WALL / 2, inner, south, HALF + WALL / 2)):
        m.box("plaster", (x0, y0, TOP - 0.12), (x1, y1, TOP))
    m.box("roof", (-inner - 0.5, court - 0.15, TOP), (inner + 0.5, inner + 0.5, TOP + 0.14))
    m.box("roof", (-inner - 0.5, south - 0.2, TOP), (-court + 0.15, court - 0.15, TOP + 0.14))
    m.box("roof", (court - 0.15, south - 0.2, TOP), (inner + 0.5, court - 0.15, TOP + 0.14))
    # Beams under the ceilings.
    for k in range(22):
        p = -6.3 + 0.6 * k
        m.box("wood", (p - 0.07, HALF + WALL / 2, TOP - 0.36), (p + 0.07, inner, TOP - 0.12))
        if p < HALF - 0.3:
            m.box("wood", (-inner, p - 0.07, TOP - 0.36), (-HALF - WALL / 2, p + 0.07, TOP - 0.12))
            m.box("wood", (HALF + WALL / 2, p - 0.07, TOP - 0.36), (inner, p + 0.07, TOP - 0.12))
    # A stepped cornice round the court.
    for k in range(3):
        out, z0, z1 = 0.05 * (k + 1), TOP - 0.24 + 0.08 * k, TOP - 0.16 + 0.08 * k
        m.box("stone", (-court + out, court - out, z0), (court - out, court, z1))
        m.box("stone", (-court, south, z0), (-court + out, court - out, z1))
        m.box("stone", (court - out, south, z0), (court, court - out, z1))


def fountain(m):
    # An eight-sided step, flat shaded.
    eight = [(2.0 * math.cos(math.pi / 8 + math.pi / 4 * k), 2.0 * math.sin(math.pi / 8 + math.pi / 4 * k)) for k in range(8)]
    m.flat("stone", [(x, y, 0.16) for x, y in eight])
    for k in range(8):
        a, b = eight[k], eight[(k + 1) % 8]
        m.flat("stone", [(*a, 0.0), (*b, 0.0), (*b, 0.16), (*a, 0.16)])
    basin = curve([(1.35, 0.16), (1.42, 0.22), (1.36, 0.3), (1.4, 0.42), (1.5, 0.55), (1.58, 0.62), (1.57, 0.68),
                   (1.47, 0.69), (1.42, 0.64), (1.38, 0.5), (1.3, 0.36), (1.0, 0.3), (0.2, 0.29)], 4)
    m.lathe("stone", basin, 96)
    water(m, 1.405, 0.31, 0.575, 30, 96)
    stem = curve([(0.34, 0.28), (0.36, 0.36), (0.22, 0.44), (0.15, 0.6), (0.2, 0.78), (0.13, 0.95), (0.11, 1.15), (0.2, 1.25)], 5)
    m.lathe("stone", stem, 64)
    bowl = curve([(0.1, 1.2), (0.3, 1.24), (0.6, 1.36), (0.76, 1.5), (0.8, 1.56), (0.77, 1.58), (0.72, 1.53),
                  (0.55, 1.42), (0.25, 1.34), (0.05, 1.33)], 4)
    m.lathe("stone", bowl, 96)
    water(m, 0.715, 1.35, 1.525, 16, 96)
    finial = curve([(0.1, 1.32), (0.08, 1.45), (0.05, 1.6), (0.09, 1.66), (0.055, 1.7)], 5)
    m.lathe("brass", finial, 48)
    ball(m, "brass", (0, 0, 1.84), 0.15, 32, 48)


def water(m, radius, low, high, rings, segments):
    """A closed body of water; its upper side has faint rings."""
    profile = [(0.0, low), (radius * 0.8, low), (radius, high - 0.03)]
    profile += [(radius * (1 - k / rings), high) for k in range(rings + 1)]
    m.lathe("water", profile, segments,
            wave=lambda r, q: 0.0035 * math.sin(q * 42) * (1 - 0.4 * q / radius) if 3 <= r < 3 + rings else 0.0)


def ball(m, material, centre, radius, rows, segments, bump=0.0):
    def point(r, c):
        v, u = math.pi * (r / (rows - 1) - 0.5), 2 * math.pi * c / segments
        q = radius * (1 + bump * (math.sin(9 * u + 3 * math.sin(5 * v)) * math.cos(7 * v + math.sin(4 * u)) if 0 < r < rows - 1 else 0))
        if r in (0, rows - 1):
            return (centre[0], centre[1], centre[2] + (-q if r == 0 else q))
        return (centre[0] + q * math.cos(v) * math.cos(u), centre[1] + q * math.cos(v) * math.sin(u), centre[2] + q * math.sin(v))
    m.grid(material, rows, segments, point, False, True)


def vase(m, x, y):
    m.box("stone_dark", (x - 0.24, y - 0.24, 0.0), (x + 0.24, y + 0.24, 0.1))
    m.box("stone_dark", (x - 0.19, y - 0.19, 0.1), (x + 0.19, y + 0.19, 0.86))
    m.box("stone_dark", (x - 0.24, y - 0.24, 0.86), (x + 0.24, y + 0.24, 0.94))
    outside = curve([(0.0, 0.0), (0.085, 0.002), (0.1, 0.02), (0.15, 0.14), (0.165, 0.24), (0.13, 0.35), (0.07, 0.44),
                     (0.065, 0.5), (0.11, 0.58)], 7)
    inside = curve([(0.1, 0.582), (0.052, 0.5), (0.056, 0.44), (0.112, 0.35), (0.147, 0.24), (0.133, 0.14), (0.08, 0.05),
                    (0.0, 0.04)], 7)
    m.lathe("glass", outside + inside, 72, (x, y, 0.94))


def knot(m, x, y, z):
    """A torus knot that winds twice round and three times through."""
    rows, columns = 420, 28

    def centre(t):
        r = 0.34 + 0.13 * math.cos(3 * t)
        return (x + r * math.cos(2 * t), y + 0.85 * r * math.sin(2 * t), z + 0.62 + 0.2 * math.sin(3 * t) + 0.3 * math.cos(2 * t + 0.6))

    def point(r, c):
        t, a = 2 * math.pi * r / rows, 2 * math.pi * c / columns
        p, q = centre(t), centre(t + 1e-3)
        along = unit([q[i] - p[i] for i in range(3)])
        side = unit([along[1], -along[0], 0.0])
        up = [side[1] * along[2] - side[2] * along[1], side[2] * along[0] - side[0] * along[2], side[0] * along[1] - side[1] * along[0]]
        return tuple(p[i] + 0.058 * (side[i] * math.cos(a) + up[i] * math.sin(a)) for i in range(3))

    m.grid("bronze", rows, columns, point, True, True)
    m.box("plinth", (x - 0.55, y - 0.48, 0), (x + 0.55, y + 0.48, 0.08))
    m.box("plinth", (x - 0.47, y - 0.4, 0.08), (x + 0.47, y + 0.4, z))


def planter():
    m = Mesh("planter")
    pot = curve([(0.24, 0.0), (0.27, 0.03), (0.3, 0.2), (0.36, 0.42), (0.4, 0.46), (0.4, 0.52), (0.35, 0.53), (0.33, 0.46), (0.05, 0.45)], 4)
    m.lathe("terracotta", pot, 56)
    m.lathe("wood", [(0.045, 0.44), (0.035, 0.7), (0.03, 0.95)], 16)
    ball(m, "leaf", (0, 0, 1.25), 0.4, 44, 64, 0.035)
    return m


def bench():
    m = Mesh("bench")
    m.box("stone", (-0.9, -0.22, 0.38), (0.9, 0.22, 0.46))
    for x in (-0.62, 0.62):
        m.box("stone", (x - 0.09, -0.17, 0), (x + 0.09, 0.17, 0.38))
    return m


def lantern():
    m = Mesh("lantern")
    ball(m, "lamp_glass", (0, 0, 0), 0.13, 20, 32)
    m.box("iron", (-0.012, -0.012, 0.13), (0.012, 0.012, 0.9))
    m.box("iron", (-0.07, -0.07, 0.115), (0.07, 0.07, 0.14))
    return m


# Colours are linear, as glTF has them. The scene file gives the ones that matter materials of its own.
MATERIALS = {
    "stone": dict(color=(0.56, 0.49, 0.39), rough=0.8), "stone_dark": dict(color=(0.09, 0.085, 0.08), rough=0.5),
    "plaster": dict(color=(0.62, 0.46, 0.3), rough=1.0), "joint": dict(color=(0.12, 0.11, 0.1), rough=1.0),
    "tile_light": dict(color=(0.55, 0.5, 0.42), rough=0.1), "tile_dark": dict(color=(0.07, 0.05, 0.045), rough=0.1),
    "wood": dict(color=(0.17, 0.08, 0.035), rough=0.7), "roof": dict(color=(0.33, 0.11, 0.05), rough=0.9),
    "brass": dict(color=(0.83, 0.58, 0.22), metal=1.0, rough=0.25), "bronze": dict(color=(0.45, 0.2, 0.08), metal=1.0, rough=0.35),
    "plinth": dict(color=(0.34, 0.33, 0.32), rough=0.7), "terracotta": dict(color=(0.4, 0.13, 0.06), rough=0.9),
    "leaf": dict(color=(0.05, 0.15, 0.03), rough=0.9), "iron": dict(color=(0.03, 0.03, 0.03), rough=0.6),
    "mirror": dict(color=(0.95, 0.95, 0.95), metal=1.0, rough=0.0),
    "glass": dict(color=(0.9, 0.98, 0.96), rough=0.0, transmission=1.0), "water": dict(color=(0.75, 0.92, 0.93), rough=0.0, transmission=1.0),
    "window_glass": dict(color=(0.93, 0.96, 0.95), rough=0.0, transmission=1.0),
    "lamp_glass": dict(color=(1.0, 0.72, 0.38), rough=1.0, emissive=(1.0, 0.72, 0.38)),
}


def main():
    court = Mesh("court")
    floor(court)
    walls(court)
    roof(court)
    fountain(court)
    vase(court, -2.3, -5.35)
    knot(court, 0.0, HALF + 1.5, 0.95)
    meshes = [court, column(), arch(), planter(), bench()]
    nodes = [(0, 0, 0, 0, 0)]
    steps = [-HALF + BAY * k for k in range(6)]
    nodes += [(1, x, HALF, 0, 0) for x in steps]
    nodes += [(1, x, y, 0, 0) for x in (-HALF, HALF) for y in steps[:5]]
    middles = [-HALF + BAY * (k + 0.5) for k in range(5)]
    nodes += [(2, x, HALF, 0, 0) for x in middles]
    nodes += [(2, -HALF, y, 0, 90) for y in middles]
    nodes += [(2, HALF, y, 0, -90) for y in middles]
    nodes += [(3, x, y, 0, 40 * k) for k, (x, y) in enumerate(((-4.6, 4.4), (4.6, 4.4), (-4.6, -3.2), (4.6, -3.2)))]
    nodes += [(4, -4.75, 0.6, 0, 90), (4, 4.75, 0.6, 0, 90)]
    write_glb("courtyard.glb", meshes, [placed(*n) for n in nodes], MATERIALS, "make_courtyard.py")
    lamps = [lantern()]
    write_glb("lanterns.glb", lamps, [placed(0, x, y, 2.75) for x, y in ((-3.6, 7.3), (3.6, 7.3), (7.3, 2.4), (-7.3, 2.4))],
              MATERIALS, "make_courtyard.py")


if __name__ == "__main__":
    main()
