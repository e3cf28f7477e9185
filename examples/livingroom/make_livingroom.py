#!/usr/bin/env python3
"""Makes the living room: livingroom.glb, lights.glb and the pictures on its surfaces.

Everything is our own and comes from the numbers below and in the files beside this one. The room lies between
x = 0 and 8, y = 0 and 5.6; its west side opens to a terrace and a garden. Run in this folder.
"""
import math
import pathlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import furniture  # noqa: E402
import paint  # noqa: E402
import plants  # noqa: E402
from glb import oriented, placed, write_glb  # noqa: E402
from shapes import add, block, curtain, model, pillow, strip, tube, turned  # noqa: E402

WIDE, DEEP, HIGH = 8.0, 5.6, 2.75
WALL = 0.3
DOOR = (1.75, 4.15, 2.35)              # south and north jamb, head
WINDOW = (3.0, 5.2, 0.45, 2.3)         # in the south wall: west and east jamb, sill, head
ENTRANCE = (1.2, 2.1, 2.1)             # in the east wall


def walls():
    m = model("walls")
    y0, y1, head = DOOR
    box = lambda low, high: m.box("wall", low, high)
    box((-WALL, -WALL, 0), (0, y0, HIGH))
    box((-WALL, y1, 0), (0, DEEP + WALL, HIGH))
    box((-WALL, y0, head), (0, y1, HIGH))
    box((0, DEEP, 0), (WIDE, DEEP + WALL, HIGH))
    x0, x1, sill, top = WINDOW
    box((0, -WALL, 0), (x0, 0, HIGH))
    box((x1, -WALL, 0), (WIDE, 0, HIGH))
    box((x0, -WALL, 0), (x1, 0, sill))
    box((x0, -WALL, top), (x1, 0, HIGH))
    a, b, c = ENTRANCE
    box((WIDE, -WALL, 0), (WIDE + WALL, a, HIGH))
    box((WIDE, b, 0), (WIDE + WALL, DEEP + WALL, HIGH))
    box((WIDE, a, c), (WIDE + WALL, b, HIGH))
    m.box("ceiling", (-WALL, -WALL, HIGH), (WIDE + WALL, DEEP + WALL, HIGH + 0.3))
    m.box("screed", (-WALL, -WALL, -0.3), (WIDE + WALL, DEEP + WALL, -0.012))
    return m


def floor():
    """Herringbone of oak: planks of 0.6 m by 0.1 m whose edges are broken by two millimetres."""
    m = model("floor")
    chance = random.Random(1)
    long, wide, n = 0.6, 0.1, 6
    turn = math.sqrt(0.5)
    gap, edge = 0.0004, 0.0018

    def plank(a, b, upright):
        size = (wide, long) if upright else (long, wide)
        middle = (a + size[0] / 2, b + size[1] / 2)
        x, y = (middle[0] - middle[1]) * turn + 4.0, (middle[0] + middle[1]) * turn - 2.0
        if not (-0.2 < x < WIDE + 0.2 and -0.2 < y < DEEP + 0.2):
            return
        part = m.part("floor_" + chance.choice("aabbbccd"))
        shift = (chance.random(), chance.random())
        ids = []
        for inset, z in ((gap, -edge), (gap + edge, 0.0)):
            for sa, sb in ((0, 0), (1, 0), (1, 1), (0, 1)):
                p = (a + (size[0] - inset if sa else inset), b + (size[1] - inset if sb else inset))
                along, across = (p[1] - b, p[0] - a) if upright else (p[0] - a, p[1] - b)
                ids.append(m.vertex(part, ((p[0] - p[1]) * turn + 4.0, (p[0] + p[1]) * turn - 2.0, z), None,
                                    (along / 1.6 + shift[0], across / 0.4 + shift[1])))
        part["i"].extend((ids[4], ids[5], ids[6], ids[4], ids[6], ids[7]))
        for k in range(4):
            l = (k + 1) % 4
            part["i"].extend((ids[k], ids[l], ids[4 + l], ids[k], ids[4 + l], ids[4 + k]))

    # In units of the width: lying planks start at (i + 2 n j, i), upright ones at (x, x - 2 n + 1 + 2 n j).
    for i in range(-70, 140):
        for j in range(-12, 12):
            plank((i + 2 * n * j) * wide, i * wide, False)
            plank(i * wide, (i - 2 * n + 1 + 2 * n * j) * wide, True)
    return m


BASEBOARD = [(0.016, 0.0), (0.016, 0.085), (0.013, 0.092), (0.013, 0.105), (0.007, 0.115), (0.0, 0.118)]
CORNICE = [(0.0, HIGH - 0.10), (0.012, HIGH - 0.098), (0.014, HIGH - 0.085)] + [
    (0.014 + 0.062 * (1 - math.cos(math.pi / 2 * k / 6)), HIGH - 0.085 + 0.06 * math.sin(math.pi / 2 * k / 6)) for k in range(1, 7)] + [
    (0.086, HIGH - 0.022), (0.088, HIGH)]


def mouldings():
    m = model("mouldings")
    sides = [((WIDE, DEEP), (0, DEEP)), ((0, DEEP), (0, DOOR[1] + 0.08)), ((0, DOOR[0] - 0.08), (0, 0)), ((0, 0), (WIDE, 0)),
             ((WIDE, 0), (WIDE, ENTRANCE[0] - 0.08)), ((WIDE, ENTRANCE[1] + 0.08), (WIDE, DEEP))]
    for start, end in sides:
        strip(m, "paint", start, end, BASEBOARD)
    for start, end in (((WIDE, DEEP), (0, DEEP)), ((0, DEEP), (0, 0)), ((0, 0), (WIDE, 0)), ((WIDE, 0), (WIDE, DEEP))):
        strip(m, "paint", start, end, CORNICE)
    for k in range(5):
        x = 0.8 + 1.6 * k
        block(m, "oak", (x - 0.07, 0.002, HIGH - 0.19), (x + 0.07, DEEP - 0.002, HIGH - 0.001), 0.006, 1)
    return m


def leaf_frame(name, width, height, rails):
    """A glazed leaf from x = 0 to `width`, its glass in the plane of x and z; `rails` are heights of bars."""
    m = model(name)
    stile, thick, foot = 0.062, 0.025, 0.1
    block(m, "paint", (0, -thick, 0), (stile, thick, height), 0.004, 2)
    block(m, "paint", (width - stile, -thick, 0), (width, thick, height), 0.004, 2)
    block(m, "paint", (stile, -thick, 0), (width - stile, thick, foot), 0.004, 0)
    block(m, "paint", (stile, -thick, height - stile), (width - stile, thick, height), 0.004, 0)
    for z in rails:
        block(m, "paint", (stile, -0.016, z - 0.012), (width - stile, 0.016, z + 0.012), 0.004, 0)
    m.flat("pane", [(stile, 0, foot), (width - stile, 0, foot), (width - stile, 0, height - stile), (stile, 0, height - stile)])
    return m


def handle():
    """A lever on its plate, for a leaf whose face is the plane of x and z; points to +x."""
    m = model("handle")
    block(m, "brass", (-0.016, -0.006, -0.08), (0.016, 0.0, 0.08), 0.003)
    tube(m, "brass", [(0, 0, 0.03), (0, -0.045, 0.03), (0.006, -0.052, 0.03), (0.06, -0.054, 0.03), (0.115, -0.05, 0.03)],
         [0.009, 0.009, 0.009, 0.008, 0.007], 12)
    return m


def door_frame():
    m = model("frames")
    y0, y1, head = DOOR
    # The terrace door's frame, flush with the outer third of the wall, and the architrave inside.
    for low, high in (((-0.16, y0, 0.0), (-0.09, y0 + 0.05, head)), ((-0.16, y1 - 0.05, 0.0), (-0.09, y1, head)),
                      ((-0.16, y0 + 0.05, head - 0.05), (-0.09, y1 - 0.05, head))):
        block(m, "paint", low, high, 0.004)
    block(m, "stone", (-0.34, y0, -0.05), (0.004, y1, 0.012), 0.004, 1)
    for low, high in (((0.0, y0 - 0.08, 0.0), (0.018, y0, head + 0.08)), ((0.0, y1, 0.0), (0.018, y1 + 0.08, head + 0.08)),
                      ((0.0, y0, head), (0.018, y1, head + 0.08))):
        block(m, "paint", low, high, 0.004)
    x0, x1, sill, top = WINDOW
    for low, high in (((x0, -0.16, sill), (x0 + 0.05, -0.09, top)), ((x1 - 0.05, -0.16, sill), (x1, -0.09, top)),
                      ((x0 + 0.05, -0.16, top - 0.05), (x1 - 0.05, -0.09, top)), ((x0 + 0.05, -0.16, sill), (x1 - 0.05, -0.09, sill + 0.05))):
        block(m, "paint", low, high, 0.004)
    block(m, "oak", (x0 - 0.05, -0.09, sill - 0.03), (x1 + 0.05, 0.06, sill + 0.001), 0.006, 0)
    a, b, c = ENTRANCE
    for low, high in (((WIDE - 0.018, a - 0.08, 0.0), (WIDE, a, c + 0.08)), ((WIDE - 0.018, b, 0.0), (WIDE, b + 0.08, c + 0.08)),
                      ((WIDE - 0.018, a, c), (WIDE, b, c + 0.08))):
        block(m, "paint", low, high, 0.004)
    block(m, "paint", (WIDE + 0.01, a, 0.005), (WIDE + 0.05, b, c), 0.003)
    for z0, z1 in ((0.25, 0.9), (1.0, 1.9)):
        block(m, "paint", (WIDE + 0.002, a + 0.14, z0), (WIDE + 0.02, b - 0.14, z1), 0.008)
    # Rails of the curtains.
    for start, end, stand in (((0.11, y0 - 0.75, 2.58), (0.11, y1 + 0.75, 2.58), (0.0, 1)), ((x0 - 0.7, 0.11, 2.58), (x1 + 0.7, 0.11, 2.58), (0.0, 0))):
        tube(m, "iron", [start, end], 0.011, 12)
        for p in (start, end):
            furn = model("knob")
            furn.lathe("iron", [(0.022 * math.cos(t), 0.022 * math.sin(t)) for t in (math.pi * (k / 8 - 0.5) for k in range(9))], 16)
            add(m, furn, turned(0, p))
            foot = (0.0, p[1] + (0.1 if p is start else -0.1), p[2]) if stand[1] else (p[0] + (0.1 if p is start else -0.1), 0.0, p[2])
            tube(m, "iron", [foot, (p[0], foot[1], p[2]) if stand[1] else (foot[0], p[1], p[2])], 0.008, 8)
    return m


def terrace():
    m = model("terrace")
    chance = random.Random(2)
    size, gap = 0.6, 0.004
    for i in range(8):
        for j in range(-3, 14):
            x, y = -0.34 - size * (i + 1), -0.4 + size * j - size
            z = chance.uniform(-0.0015, 0.0015) - 0.03
            block(m, "stone", (x + gap, y + gap, -0.1), (x + size - gap, y + size - gap, z), 0.004)
    m.box("screed", (-5.2, -2.9, -0.12), (-0.3, 7.5, -0.05))
    block(m, "stone", (-5.5, -3.1, -0.3), (-5.14, 7.6, 0.34), 0.012, 1)
    return m


# Colours are linear, as glTF has them; where there is a picture they multiply it.
OAK = dict(color=(0.76, 0.79, 0.83), rough=0.42, picture="oak.png")
LINEN = dict(rough=1.0, picture="linen.png", relief="linen_normals.png", relief_scale=0.6)
MATERIALS = {
    "wall": dict(color=(0.80, 0.79, 0.77), rough=1.0), "ceiling": dict(color=(0.83, 0.83, 0.82), rough=1.0),
    "paint": dict(color=(0.78, 0.775, 0.76), rough=0.4), "screed": dict(color=(0.2, 0.19, 0.18), rough=1.0),
    "floor_a": dict(color=(0.72, 0.75, 0.78), rough=0.36, picture="oak.png"), "floor_b": dict(color=(0.65, 0.67, 0.69), rough=0.36, picture="oak.png"),
    "floor_c": dict(color=(0.79, 0.83, 0.87), rough=0.36, picture="oak.png"), "floor_d": dict(color=(0.57, 0.58, 0.58), rough=0.36, picture="oak.png"),
    "oak": OAK, "oak_plain": dict(color=(0.40, 0.28, 0.17), rough=0.5),
    "walnut": dict(color=(0.36, 0.29, 0.26), rough=0.42, picture="oak.png"), "walnut_plain": dict(color=(0.13, 0.08, 0.05), rough=0.45),
    "stone": dict(color=(0.72, 0.72, 0.72), rough=0.8, picture="stone.png"),
    "linen": dict(color=(0.62, 0.58, 0.52), **LINEN), "cream": dict(color=(0.86, 0.81, 0.71), **LINEN), "ochre": dict(color=(0.66, 0.36, 0.09), **LINEN),
    "petrol": dict(color=(0.06, 0.19, 0.22), **LINEN), "rust": dict(color=(0.50, 0.15, 0.065), **LINEN),
    "curtain": dict(color=(0.88, 0.86, 0.82), rough=1.0, picture="linen.png", two_sided=True),
    "cream_plain": dict(color=(0.70, 0.64, 0.54), rough=1.0), "petrol_plain": dict(color=(0.05, 0.16, 0.19), rough=0.4),
    "rug": dict(color=(1.0, 1.0, 1.0), rough=1.0, picture="rug.png"), "hills": dict(color=(1.0, 1.0, 1.0), rough=0.9, picture="hills.png"),
    "shapes": dict(color=(1.0, 1.0, 1.0), rough=0.9, picture="shapes.png"), "books": dict(color=(1.0, 1.0, 1.0), rough=0.7, picture="books.png"),
    "paper": dict(color=(0.74, 0.70, 0.61), rough=1.0), "mount": dict(color=(0.80, 0.79, 0.76), rough=1.0),
    "mirror": dict(color=(0.93, 0.94, 0.93), metal=1.0, rough=0.0), "pane": dict(color=(0.97, 0.99, 0.98), rough=0.0, transmission=1.0),
    "glass": dict(color=(0.93, 0.985, 0.97), rough=0.0, transmission=1.0),
    "brass": dict(color=(0.83, 0.60, 0.28), metal=1.0, rough=0.28), "iron": dict(color=(0.025, 0.025, 0.027), rough=0.45),
    "glaze": dict(color=(0.62, 0.60, 0.55), rough=0.16), "glaze_blue": dict(color=(0.07, 0.16, 0.22), rough=0.14), "clay": dict(color=(0.45, 0.19, 0.10), rough=0.85),
    "white_clay": dict(color=(0.70, 0.67, 0.61), rough=0.7), "shade": dict(color=(0.86, 0.80, 0.69), rough=1.0, two_sided=True),
    "pendant_outside": dict(color=(0.035, 0.06, 0.055), rough=0.35), "pendant_inside": dict(color=(0.80, 0.76, 0.66), rough=0.6),
    "apple": dict(color=(0.46, 0.06, 0.035), rough=0.25), "lemon": dict(color=(0.80, 0.56, 0.05), rough=0.4), "orange": dict(color=(0.78, 0.28, 0.025), rough=0.45),
    "pear": dict(color=(0.46, 0.50, 0.10), rough=0.35), "wax": dict(color=(0.82, 0.77, 0.66), rough=0.5),
    "leaf": dict(color=(0.055, 0.16, 0.04), rough=0.35, two_sided=True), "palm": dict(color=(0.09, 0.22, 0.045), rough=0.45, two_sided=True),
    "ivy": dict(color=(0.10, 0.25, 0.06), rough=0.45, two_sided=True), "stalk": dict(color=(0.16, 0.22, 0.06), rough=0.7), "bark": dict(color=(0.15, 0.105, 0.07), rough=1.0),
    "stalk_dry": dict(color=(0.30, 0.20, 0.11), rough=1.0), "seed": dict(color=(0.62, 0.30, 0.18), rough=0.8), "soil": dict(color=(0.05, 0.035, 0.025), rough=1.0),
    "leaves": dict(color=(0.10, 0.20, 0.045), rough=0.8, two_sided=True), "hedge": dict(color=(0.06, 0.145, 0.035), rough=0.8, two_sided=True),
    "hedge_core": dict(color=(0.02, 0.04, 0.012), rough=1.0), "olive": dict(color=(0.20, 0.25, 0.14), rough=0.8, two_sided=True),
    "bulb": dict(color=(1.0, 0.86, 0.66), rough=1.0, emissive=(1.0, 0.86, 0.66)), "flame": dict(color=(1.0, 0.72, 0.34), rough=1.0, emissive=(1.0, 0.72, 0.34)),
}

TABLE = (1.45, 2.2)          # the dining table's middle
RUG = (4.4, 3.3)
COFFEE = (4.45, 3.35)
SOFA = (4.4, 5.08)
SIDEBOARD = (6.75, 5.36)
LAMP = (2.98, 5.12)
CANDLES = ((0.16, 0.15, 0.12), (0.24, 0.08, 0.07), (0.27, 0.19, 0.17))  # from the coffee table's middle, and their height


class Room:
    """Meshes, and the nodes that place them."""

    def __init__(self):
        self.meshes, self.nodes = [], []

    def mesh(self, m):
        self.meshes.append(m)
        return len(self.meshes) - 1

    def put(self, m, x=0.0, y=0.0, z=0.0, angle=0.0, scale=None):
        number = m if isinstance(m, int) else self.mesh(m)
        self.nodes.append(placed(number, x, y, z, angle, scale))
        return number


def shell(room):
    for m in (walls(), floor(), mouldings(), door_frame(), terrace()):
        room.put(m)
    y0, y1, head = DOOR
    wide = (y1 - y0 - 0.1) / 4
    leaf = room.mesh(leaf_frame("leaf of the door", wide, head - 0.06, (0.62, 1.2, 1.78)))
    lever = room.mesh(handle())
    # Fixed leaves at the jambs; the two in the middle stand open on the terrace.
    first = y0 + 0.05
    room.put(leaf, -0.125, first, 0.012, 90)
    room.put(leaf, -0.125, first + 3 * wide, 0.012, 90)
    room.put(leaf, -0.15, first + wide, 0.012, 90 + 98)
    room.put(leaf, -0.15, first + 3 * wide, 0.012, 90 + 180 - 92)
    a = math.radians(188)
    room.put(lever, -0.15 + (wide - 0.03) * math.cos(a), first + wide + (wide - 0.03) * math.sin(a) + 0.026, 1.02, 188 + 180)
    x0, x1, sill, top = WINDOW
    wide = (x1 - x0 - 0.1) / 3
    sash = room.mesh(leaf_frame("leaf of the window", wide, top - sill - 0.1, (0.65, 1.2)))
    for k in range(3):
        room.put(sash, x0 + 0.05 + wide * k, -0.125, sill + 0.05)
    room.put(lever, x0 + 0.05 + wide - 0.03, -0.1, 1.3, 180)
    room.put(lever, WIDE + 0.008, ENTRANCE[0] + 0.07, 1.0, -90)
    hung = room.mesh(curtain("curtain", 0.62, 2.56, 7, 5))
    other = room.mesh(curtain("curtain", 0.70, 2.56, 8, 6))
    room.put(hung, 0.11, y0 - 0.36, 0.0, 90)
    room.put(other, 0.11, y1 + 0.36, 0.0, 90)
    room.put(other, x0 - 0.33, 0.11, 0.0, 0)
    room.put(hung, x1 + 0.33, 0.11, 0.0, 180)


def seats(room):
    room.put(furniture.rug(), *RUG)
    room.put(furniture.sofa(), *SOFA)
    room.put(furniture.throw(), SOFA[0] + 1.065, SOFA[1] - 0.12, 0.0)
    room.put(furniture.armchair(), 2.75, 3.0, 0.0, 70)
    room.put(furniture.pouf(), 5.72, 2.62, 0.0, 20)
    cushions = [room.mesh(pillow("pillow " + cloth, cloth, w, h, t, seed)) for cloth, w, h, t, seed in (
        ("petrol", 0.48, 0.48, 0.17, 1), ("ochre", 0.44, 0.44, 0.16, 2), ("cream", 0.5, 0.34, 0.15, 3), ("rust", 0.46, 0.46, 0.16, 4))]
    for kind, x, y, z, turn, tilt in ((0, -0.80, -0.02, 0.68, 14, -20), (2, -0.50, -0.13, 0.615, -6, -24), (1, 0.78, 0.0, 0.665, -12, -18),
                                      (3, 0.42, 0.02, 0.675, 8, -16)):
        half, lean = math.radians(turn) / 2, math.radians(tilt) / 2
        # Leans back about x, then turns about the vertical.
        q = (math.sin(lean) * math.cos(half), math.sin(lean) * math.sin(half), math.cos(lean) * math.sin(half), math.cos(lean) * math.cos(half))
        room.nodes.append(oriented(cushions[kind], (SOFA[0] + x, SOFA[1] + y, z), q))
    half, lean = math.radians(70 + 6) / 2, math.radians(-24) / 2
    q = (math.sin(lean) * math.cos(half), math.sin(lean) * math.sin(half), math.cos(lean) * math.sin(half), math.cos(lean) * math.cos(half))
    room.nodes.append(oriented(cushions[2], (2.75 - 0.19 * math.sin(math.radians(70)), 3.0 + 0.19 * math.cos(math.radians(70)), 0.62), q))


def tables(room):
    room.put(furniture.round_table(), *TABLE)
    seat = room.mesh(furniture.chair())
    for angle, far in ((-62, 0.66), (28, 0.72), (118, 0.66), (208, 0.7)):
        a = math.radians(angle)
        room.put(seat, TABLE[0] + far * math.cos(a), TABLE[1] + far * math.sin(a), 0.0, angle - 90)
    vase = furniture.vase("vase", "white_clay", [(0.0, 0.0), (0.05, 0.0), (0.085, 0.06), (0.09, 0.11), (0.05, 0.18), (0.028, 0.22), (0.032, 0.25)])
    plants.sprig(vase, (0.0, 0.0, 0.2), 7)
    number = room.put(vase, TABLE[0] - 0.05, TABLE[1] + 0.06, 0.74, 30)
    x, y = COFFEE
    room.put(furniture.coffee_table(), x, y, 0.0, 2)
    room.put(furniture.glass_bowl(), x - 0.2, y + 0.02, 0.4)
    apple = room.mesh(furniture.fruit("apple", "apple", 0.038, 0.92, 0.22))
    lemon = room.mesh(furniture.fruit("lemon", "lemon", 0.03, 1.2, 0.0, False, 0.3))
    orange = room.mesh(furniture.fruit("orange", "orange", 0.038, 0.96, 0.06, False))
    pear = room.mesh(furniture.fruit("pear", "pear", 0.034, 1.3, 0.08))
    for kind, dx, dy, z, tilt, turn in ((apple, -0.052, 0.025, 0.466, 20, 0), (orange, 0.045, 0.042, 0.468, 40, 60), (apple, 0.03, -0.052, 0.468, 35, 120),
                                       (lemon, -0.048, -0.052, 0.468, 82, 40), (orange, -0.005, 0.005, 0.522, 25, 200), (lemon, 0.062, -0.005, 0.519, 75, 150),
                                       (pear, -0.06, 0.0, 0.53, 62, 210)):
        half, lean = math.radians(turn) / 2, math.radians(tilt) / 2
        q = (math.sin(lean) * math.cos(half), math.sin(lean) * math.sin(half), math.cos(lean) * math.sin(half), math.cos(lean) * math.cos(half))
        room.nodes.append(oriented(kind, (x - 0.2 + dx, y + 0.02 + dy, z), q))
    room.put(furniture.books_on_table(), x + 0.34, y - 0.1, 0.4, 24)
    room.put(furniture.magazines(), x - 0.1, y, 0.173, 8)
    for dx, dy, tall in CANDLES:
        room.put(furniture.candle(tall), x + dx - 0.02, y + dy - 0.02, 0.4)
    return number


def north_wall(room):
    shelf = (1.78, DEEP - 0.17)
    room.put(furniture.bookshelf(), *shelf)
    room.put(furniture.floor_lamp(), *LAMP)
    room.put(furniture.picture("hills", "hills", 0.60, 0.80), SOFA[0] - 0.5, DEEP, 1.66)
    room.put(furniture.picture("shapes", "shapes", 0.60, 0.80), SOFA[0] + 0.5, DEEP, 1.66)
    spot = room.mesh(furniture.wall_spot())
    for side in (-0.5, 0.5):
        room.put(spot, SOFA[0] + side, DEEP, 2.3)
    x, y = SIDEBOARD
    room.put(furniture.sideboard(), x, y)
    room.put(furniture.round_mirror(), x - 0.30, DEEP - 0.002, 1.56)
    room.put(furniture.table_lamp(), x - 0.62, y - 0.02, 0.74)
    room.put(furniture.vase("jug", "glaze_blue", [(0.0, 0.0), (0.06, 0.0), (0.075, 0.05), (0.06, 0.14), (0.035, 0.2), (0.045, 0.23)]), x - 0.36, y - 0.06, 0.74)
    room.put(furniture.vase("dish", "clay", [(0.0, 0.0), (0.05, 0.0), (0.1, 0.025), (0.125, 0.05)]), x - 0.05, y - 0.04, 0.74)
    # On the shelf.
    gap = (2.24 - 0.06) / 6
    left, right = shelf[0] - 0.4, shelf[0] + 0.4
    put = lambda m, column, level, dx: room.put(m, (left, right)[column] + dx, shelf[1] - 0.04, 0.061 + gap * level)
    put(furniture.vase("small vase", "glaze_blue", [(0.0, 0.0), (0.035, 0.0), (0.07, 0.06), (0.065, 0.12), (0.025, 0.17), (0.03, 0.2)]), 1, 1, 0.22)
    put(furniture.vase("bottle", "clay", [(0.0, 0.0), (0.045, 0.0), (0.06, 0.07), (0.05, 0.13), (0.018, 0.2), (0.022, 0.26)]), 1, 3, 0.24)
    put(furniture.vase("bowl on the shelf", "white_clay", [(0.0, 0.0), (0.04, 0.0), (0.09, 0.05), (0.11, 0.1)]), 1, 5, 0.0)
    put(furniture.vase("pair", "glaze", [(0.0, 0.0), (0.04, 0.0), (0.055, 0.07), (0.03, 0.15), (0.025, 0.21)]), 1, 5, 0.22)


def south_and_east(room):
    """What the mirror sees."""
    chest = room.mesh(furniture.sideboard())
    room.put(chest, 6.75, 0.24, 0.0, 180)
    room.put(furniture.picture("hills in the south", "hills", 0.75, 1.0, 0.05), 6.75, 0.0, 1.65, 180)
    room.put(furniture.vase("tall vase", "clay", [(0.0, 0.0), (0.09, 0.0), (0.14, 0.12), (0.12, 0.3), (0.05, 0.4), (0.06, 0.46)]), 7.2, 0.24, 0.74)
    room.put(furniture.picture("shapes in the east", "shapes", 0.9, 1.2, 0.0), WIDE, 3.6, 1.6, -90)


def green(room):
    meshes = room.mesh
    frond_mesh = meshes(plants.frond("frond", "palm", 0.95, 11))
    room.put(plants.pot("pot of the palm", "white_clay", 0.2, 0.36), 0.52, 5.0)
    room.nodes += plants.palm(frond_mesh, (0.52, 5.0, 0.0), 12)
    big = meshes(plants.leaf("leaf", "leaf", 0.24, 0.115, 0.7))
    stems = plants.pot("pot of the rubber plant", "clay", 0.17, 0.3)
    nodes = plants.rubber_plant(stems, big, (0.0, 0.0, 0.26), 13)
    room.put(stems, 7.55, 4.95)
    for n in nodes:
        n["translation"] = [n["translation"][0] + 7.55, n["translation"][1], n["translation"][2] - 4.95]
        room.nodes.append(plants.rounded(n))
    small = meshes(plants.leaf("small leaf", "ivy", 0.062, 0.045, 0.6, 0.2, 6))
    for x, y, z, seed in ((1.4, DEEP - 0.19, 2.24, 14), (2.22, DEEP - 0.2, 2.24, 15)):
        hanging = plants.pot("pot on the shelf", "white_clay" if seed == 14 else "clay", 0.085, 0.13)
        nodes = plants.trailing(hanging, small, (0.0, 0.0, 0.12), seed)
        room.put(hanging, x, y, z)
        for n in nodes:
            n["translation"] = [n["translation"][0] + x, n["translation"][1] + z, n["translation"][2] - y]
            room.nodes.append(plants.rounded(n))


def garden(room):
    olive = room.mesh(plants.olive("olive", 21))
    tub = room.mesh(plants.pot("tub", "clay", 0.26, 0.42))
    for x, y, turn in ((-1.15, 4.75, 0), (-4.55, 3.4, 130), (-4.5, 6.6, 40), (-1.1, 0.7, 200)):
        room.put(tub, x, y, -0.03, turn)
        room.put(olive, x, y, 0.34, turn, 1.0)
    row = room.mesh(plants.hedge("hedge", 22))
    for k in range(7):
        room.put(row, -10.5, -5.0 + 2.95 * k, -0.1, 90 if k % 2 else -90)
    grown = room.mesh(plants.tree("tree", 23))
    for k, (x, y, scale) in enumerate(((-13.5, 3.0, 1.0), (-15.5, 6.8, 1.25), (-13.0, 10.6, 0.95), (-19.0, 2.0, 1.5), (-20.0, 10.5, 1.45), (-14.5, -3.0, 1.1),
                                       (-26.0, 6.0, 1.7), (-17.0, 15.5, 1.4), (3.0, -14.0, 1.3), (8.5, -12.0, 1.1), (-3.0, -12.5, 1.2))):
        room.put(grown, x, y, -0.12, 77 * k, scale)


def main():
    paint.paint_all()
    room = Room()
    shell(room)
    seats(room)
    tables(room)
    north_wall(room)
    south_and_east(room)
    green(room)
    garden(room)
    room.put(furniture.pendant(), TABLE[0], TABLE[1], HIGH)
    write_glb("livingroom.glb", room.meshes, room.nodes, MATERIALS, "make_livingroom.py")
    lights = Room()
    bulb = lights.mesh(furniture.bulb(0.03))
    small = lights.mesh(furniture.bulb(0.02))
    lights.put(bulb, TABLE[0], TABLE[1], HIGH - 0.965)
    lights.put(bulb, LAMP[0], LAMP[1], 1.43)
    lights.put(bulb, SIDEBOARD[0] - 0.62, SIDEBOARD[1] - 0.02, 0.74 + 0.45)
    flame = lights.mesh(furniture.flame())
    for dx, dy, tall in CANDLES:
        lights.put(flame, COFFEE[0] + dx - 0.02, COFFEE[1] + dy - 0.02, 0.4 + tall + 0.06)
    write_glb("lights.glb", lights.meshes, lights.nodes, MATERIALS, "make_livingroom.py")


if __name__ == "__main__":
    main()
