"""The living room's furniture. Each piece stands at the origin on z = 0 and faces -y."""
import math
import random

from glb import curve
from paint import SPINES
from shapes import add, block, frame, model, ripples, soft_box, tube, turned, upright


def legs(m, material, places, height, top=0.022, foot=0.013, splay=0.0):
    for x, y in places:
        out = 1 + splay
        tube(m, material, [(x * out, y * out, 0.0), (x, y, height)], [foot, top], 12)


def seam(m, material, half_x, half_y, z, middle, radius=0.007):
    """Piping round a cushion."""
    points, corner = [], 0.05
    for k in range(32):
        quarter, a = divmod(k, 8)
        turn = math.pi / 2 * (quarter + a / 7)
        cx = (half_x - corner) * (1, -1, -1, 1)[quarter]
        cy = (half_y - corner) * (1, 1, -1, -1)[quarter]
        points.append((middle[0] + cx + corner * math.cos(turn), middle[1] + cy + corner * math.sin(turn), z))
    tube(m, material, points + points[:1], radius, 6, False)


def sofa():
    m = model("sofa")
    width, depth = 2.3, 0.92
    block(m, "walnut", (-width / 2 + 0.04, -depth / 2 + 0.05, 0.14), (width / 2 - 0.04, depth / 2 - 0.02, 0.2))
    legs(m, "walnut", [(x, y) for x in (-1.05, 1.05) for y in (-0.36, 0.38)], 0.15, 0.024, 0.015, 0.02)
    soft_box(m, "linen", (0, 0.02, 0.25), (width - 0.02, depth - 0.06, 0.13), 0.03, cells=8, wrinkle=0.002, seed=3)
    for side in (-1, 1):
        soft_box(m, "linen", (side * (width / 2 - 0.085), 0.0, 0.41), (0.17, depth, 0.42), 0.065, (0.012, 0.01, 0.015), 9, 0.004, 4 + side)
    soft_box(m, "linen", (0, depth / 2 - 0.1, 0.5), (width - 0.3, 0.18, 0.56), 0.07, (0, 0.02, 0.02), 10, 0.005, 6, -7)
    seat = (width - 0.34) / 2
    for k in range(2):
        x = (k - 0.5) * seat
        soft_box(m, "linen", (x, -0.09, 0.385), (seat - 0.012, 0.72, 0.15), 0.055, (0.004, 0.008, 0.03), 12, 0.005, 10 + k)
        seam(m, "linen", seat / 2 - 0.012, 0.35, 0.438, (x, -0.09))
        seam(m, "linen", seat / 2 - 0.012, 0.35, 0.328, (x, -0.09))
        soft_box(m, "linen", (x, 0.2, 0.655), (seat - 0.02, 0.17, 0.44), 0.075, (0.01, 0.05, 0.02), 12, 0.011, 20 + k, -15)
    return m


def throw():
    """A blanket over the right arm of the sofa."""
    m = model("throw")
    offset = ripples(31, 0.22)
    rows, columns = 60, 30
    half, top, radius = 0.1, 0.63, 0.06

    def point(r, c):
        s, y = r / (rows - 1) * 1.16 - 0.44, (c / (columns - 1) - 0.5) * 0.46
        over = half * 2
        if s < 0:
            x, z = -half, top + s
        elif s < over:
            x, z = s - half, top + radius * 0.35 * math.sin(math.pi * s / over)
        else:
            x, z = half, top - (s - over)
        hang = max(0.0, top - z)
        w = offset((s, y, 0.0))
        side = -1 if x < 0 else 1
        fold = 0.018 * math.sin(26 * y + 3 * s) * min(hang * 4, 1.0)
        return (x + side * (0.012 + abs(fold) * 0.8 + 0.3 * hang * 0.1) + 0.006 * w[0], y * (1 - 0.08 * hang) + 0.01 * w[1], z + 0.012 + 0.008 * w[2])

    m.grid("ochre", rows, columns, point, place=lambda r, c: (c / columns * 0.46 / 0.16, r / rows * 1.16 / 0.16))
    for r, down in ((0, -1), (rows - 1, -1)):
        for c in range(columns):
            p = point(r, c)
            tube(m, "ochre", [p, (p[0] + 0.004, p[1] + 0.003, p[2] - 0.035), (p[0] + 0.002, p[1] - 0.002, p[2] - 0.07)], [0.003, 0.004, 0.002], 5)
    return m


def armchair():
    m = model("armchair")
    for side in (-1, 1):
        x = side * 0.36
        tube(m, "oak", [(x, -0.36, 0.0), (x, -0.34, 0.3), (x, -0.33, 0.555)], [0.014, 0.019, 0.017], 12)
        tube(m, "oak", [(x, 0.42, 0.0), (x, 0.34, 0.3), (x, 0.27, 0.545)], [0.014, 0.019, 0.017], 12)
        arm = [(x + side * 0.012 * math.sin(math.pi * k / 14), -0.40 + 0.72 * k / 14, 0.565 + 0.02 * math.sin(math.pi * k / 10)) for k in range(15)]
        tube(m, "oak", arm, [0.016 + 0.012 * math.sin(math.pi * (k + 1) / 17) for k in range(15)], 12)
        tube(m, "oak", [(x, -0.335, 0.29), (x, 0.34, 0.25)], 0.014, 10)
    tube(m, "oak", [(-0.36, -0.335, 0.29), (0.36, -0.335, 0.29)], 0.014, 10)
    tube(m, "oak", [(-0.36, 0.34, 0.25), (0.36, 0.34, 0.25)], 0.014, 10)
    soft_box(m, "rust", (0, -0.04, 0.37), (0.64, 0.66, 0.15), 0.055, (0.006, 0.012, 0.03), 12, 0.005, 41, 4)
    soft_box(m, "rust", (0, 0.35, 0.68), (0.62, 0.15, 0.62), 0.06, (0.006, 0.04, 0.012), 12, 0.006, 42, -19)
    tube(m, "oak", [(-0.33, 0.47, 0.84), (0.33, 0.47, 0.84)], 0.013, 10)
    for side in (-1, 1):
        tube(m, "oak", [(side * 0.33, 0.31, 0.27), (side * 0.33, 0.47, 0.84)], 0.014, 10)
    return m


def chair():
    m = model("chair")
    for side in (-1, 1):
        tube(m, "oak", [(side * 0.2, -0.2, 0.0), (side * 0.185, -0.185, 0.44)], [0.012, 0.018], 12)
        back = [(side * (0.2 - 0.02 * k / 12), 0.22 - 0.04 * math.sin(math.pi * k / 12) + 0.05 * (k / 12) ** 2, 0.8 * k / 12) for k in range(13)]
        tube(m, "oak", back, [0.013 + 0.006 * math.sin(math.pi * k / 12) for k in range(13)], 12)
    for y, z in ((-0.185, 0.41), (0.19, 0.41), (0.19, 0.22)):
        tube(m, "oak", [(-0.185, y, z), (0.185, y, z)], 0.011, 10)
    for side in (-1, 1):
        for z in (0.41, 0.25):
            tube(m, "oak", [(side * 0.185, -0.185, z), (side * 0.187, 0.195, z)], 0.011, 10)
    soft_box(m, "cream", (0, -0.005, 0.45), (0.43, 0.43, 0.045), 0.02, (0, 0, 0.012), 8, 0.002, 51)

    def rest(r, c):
        """A bent board between the posts, closed round its section."""
        x = (c / 16 - 0.5) * 0.39
        turn = 2 * math.pi * r / 12
        bow = 0.05 * (1 - (x / 0.195) ** 2)
        return (x, 0.255 + bow + 0.008 * math.cos(turn), 0.725 + (0.055 + 0.012 * (1 - (x / 0.195) ** 2)) * math.sin(turn))

    m.grid("oak", 12, 17, rest, True, False, place=lambda r, c: (c / 16 * 0.39 / 1.6, abs(r - 6) / 6 * 0.12 / 0.4))
    return m


def round_table():
    m = model("table")
    radius, segments = 0.55, 72
    profile = [(radius - 0.03, 0.705), (radius - 0.004, 0.716), (radius, 0.722), (radius, 0.737), (radius - 0.003, 0.74), (0.0, 0.74)]

    def point(r, c):
        turn = 2 * math.pi * c / segments
        q, z = ([(0.0, 0.705)] + profile)[r]
        return (q * math.cos(turn), q * math.sin(turn), z)

    m.grid("oak", len(profile) + 1, segments, point, False, True,
           place=lambda r, c: (point(r, c)[0] / 1.6 + 0.13, (point(r, c)[1] + point(r, c)[2]) / 0.4))
    foot = curve([(0.26, 0.0), (0.25, 0.02), (0.1, 0.06), (0.055, 0.16), (0.05, 0.4), (0.07, 0.6), (0.2, 0.69), (0.24, 0.705)], 5)
    m.lathe("walnut_plain", [(0.0, 0.0)] + foot, 40)
    return m


def coffee_table():
    m = model("coffee table")
    block(m, "oak", (-0.6, -0.33, 0.37), (0.6, 0.33, 0.4), 0.005)
    block(m, "oak", (-0.5, -0.26, 0.155), (0.5, 0.26, 0.173), 0.003)
    for x in (-0.52, 0.52):
        block(m, "oak", (x - 0.025, -0.27, 0.335), (x + 0.025, 0.27, 0.37), 0.003)
        for y in (-0.27, 0.27):
            tube(m, "oak", [(x * 1.04, y * 1.04, 0.0), (x, y, 0.37)], [0.014, 0.022], 12)
    for y in (-0.27, 0.27):
        block(m, "oak", (-0.5, y - 0.012, 0.335), (0.5, y + 0.012, 0.37), 0.003)
    return m


def sideboard():
    m = model("sideboard")
    width, depth, low, high = 1.7, 0.42, 0.16, 0.74
    legs(m, "walnut", [(x, y) for x in (-0.72, 0.72) for y in (-0.15, 0.15)], 0.17, 0.02, 0.012, 0.05)
    block(m, "walnut", (-width / 2, -depth / 2, high - 0.025), (width / 2, depth / 2, high), 0.004)
    block(m, "walnut", (-width / 2, -depth / 2, low), (width / 2, depth / 2, low + 0.02), 0.003)
    for side in (-1, 1):
        x = side * (width / 2 - 0.01)
        block(m, "walnut", (x - 0.01, -depth / 2, low + 0.02), (x + 0.01, depth / 2, high - 0.025), 0.003)
    block(m, "walnut", (-width / 2 + 0.02, depth / 2 - 0.012, low + 0.02), (width / 2 - 0.02, depth / 2, high - 0.025), 0.001)
    for k in range(3):
        x0 = -width / 2 + 0.025 + k * (width - 0.05) / 3
        x1 = x0 + (width - 0.05) / 3 - 0.004
        block(m, "walnut", (x0, -depth / 2 + 0.004, low + 0.024), (x1, -depth / 2 + 0.022, high - 0.029), 0.002, 0)
        knob = [(0.0, 0.0), (0.006, 0.0), (0.005, 0.012), (0.013, 0.016), (0.012, 0.022), (0.0, 0.024)]
        piece = model("knob")
        piece.lathe("brass", knob, 20)
        add(m, piece, turned(90, (x1 - 0.05 if k < 2 else x0 + 0.05, -depth / 2 + 0.005, 0.52), 0))
    return m


def book(m, x, spine, width, height, depth, place, lying=False):
    """Stands with its spine to -y; x is its left side."""
    u0, u1 = (spine + 0.04) / SPINES, (spine + 0.96) / SPINES
    plain = ((u0 + u1) / 2, 0.965)
    if lying:
        inner = place
        place = lambda p: inner((p[2] - height / 2, p[1], p[0] - x))
    b = 0.002
    # The spine bulges a little; covers are the cloth's own colour.
    bend = [(0.0, 0.0), (0.22, -0.004), (0.5, -0.006), (0.78, -0.004), (1.0, 0.0)]
    for (p, dp), (q, dq) in zip(bend, bend[1:]):
        m.flat("books", [place(c) for c in ((x + p * width, dp, 0), (x + q * width, dq, 0), (x + q * width, dq, height), (x + p * width, dp, height))],
               [(u0 + (u1 - u0) * p, 0.91), (u0 + (u1 - u0) * q, 0.91), (u0 + (u1 - u0) * q, 0.01), (u0 + (u1 - u0) * p, 0.01)])
    for low, high in (((x, 0, 0), (x + b, depth, height)), ((x + width - b, 0, 0), (x + width, depth, height))):
        x0, y0, z0 = low
        x1, y1, z1 = high
        for face in (((x0, y1, z0), (x0, y0, z0), (x0, y0, z1), (x0, y1, z1)), ((x1, y0, z0), (x1, y1, z0), (x1, y1, z1), (x1, y0, z1)),
                     ((x0, y0, z1), (x1, y0, z1), (x1, y1, z1), (x0, y1, z1)), ((x1, y1, z0), (x0, y1, z0), (x0, y1, z1), (x1, y1, z1))):
            m.flat("books", [place(c) for c in face], [plain] * 4)
    inset = 0.004
    pages = ((x + b, 0.0, inset), (x + width - b, depth - inset, height - inset))
    (x0, y0, z0), (x1, y1, z1) = pages
    for face in (((x0, y0, z1), (x1, y0, z1), (x1, y1, z1), (x0, y1, z1)), ((x1, y1, z0), (x0, y1, z0), (x0, y1, z1), (x1, y1, z1)),
                 ((x0, y1, z0), (x1, y1, z0), (x1, y0, z0), (x0, y0, z0))):
        m.flat("paper", [place(c) for c in face])


def bookshelf():
    m = model("bookshelf")
    width, depth, height, boards = 1.6, 0.32, 2.24, 6
    chance = random.Random(61)
    gap = (height - 0.06) / boards
    for x in (-width / 2, -0.011, width / 2 - 0.022):
        block(m, "oak", (x, -depth / 2, 0.0), (x + 0.022, depth / 2, height), 0.002, 2)
    for k in range(boards + 1):
        z = 0.06 + gap * k - 0.022
        for x0, x1 in ((-width / 2 + 0.022, -0.011), (0.011, width / 2 - 0.022)):
            block(m, "oak", (x0, -depth / 2 + 0.004, z), (x1, depth / 2, z + 0.022), 0.002, 0)
    block(m, "oak_plain", (-width / 2 + 0.01, depth / 2 - 0.006, 0.04), (width / 2 - 0.01, depth / 2, height), 0.001, 2)
    for k in range(boards):
        for column in range(2):
            x0, x1 = ((-width / 2 + 0.026, -0.015), (0.015, width / 2 - 0.026))[column]
            fill_shelf(m, chance, x0, x1, 0.06 + gap * k, gap - 0.03, -depth / 2 + 0.025, (k, column))
    return m


# What stands on single shelves in place of the first or last books: share of the width that stays free for it.
FREE = {(1, 1): 0.45, (2, 0): 0.4, (3, 1): 0.35, (4, 0): 0.5, (5, 1): 0.6, (5, 0): 0.25, (0, 0): 0.0}


def fill_shelf(m, chance, x0, x1, z, room, y, shelf):
    x, end = x0, x1 - (x1 - x0) * FREE.get(shelf, 0.12)
    while x < end:
        width, height = chance.choice((0.018, 0.024, 0.03, 0.036, 0.045)), room * chance.uniform(0.66, 0.94)
        if x + width > end:
            break
        depth, inset = chance.uniform(0.16, 0.23), chance.uniform(0.0, 0.018)
        book(m, x, chance.randrange(SPINES), width, height, depth, lambda p: (p[0], p[1] + y + inset, p[2] + z))
        x += width + 0.001
    if FREE.get(shelf, 0.12) < 0.3 and x + 0.05 < x1:
        # The last one leans on the row.
        height = room * 0.8
        angle = 11.0
        lean = turned(-angle, (0, 0, 0), 1)
        book(m, 0.0, chance.randrange(SPINES), 0.028, height, 0.19,
             lambda p: tuple(a + b for a, b in zip(lean(p), (x + height * math.sin(math.radians(angle)) * 0 + 0.002, y + 0.01, z + 0.0005))))
    if shelf in ((2, 0), (4, 0)):
        at = z
        for k in range(3):
            thick = chance.uniform(0.022, 0.036)
            book(m, 0.0, chance.randrange(SPINES), thick, 0.21 - 0.012 * k, 0.16,
                 lambda p: (p[0] + x1 - 0.14, p[1] + y + 0.02, p[2] + at), lying=True)
            at += thick + 0.0005


def books_on_table():
    m = model("books on the table")
    z = 0.0
    for k, (thick, spine, angle) in enumerate(((0.03, 5, 4), (0.024, 11, -9), (0.02, 2, 13))):
        place = turned(angle, (0, -0.1, z))
        book(m, 0.0, spine, thick, 0.29 - 0.03 * k, 0.21 - 0.02 * k, place, lying=True)
        z += thick + 0.0005
    return m


def magazines():
    m = model("magazines")
    for k in range(4):
        block(m, "paper" if k % 2 else "petrol_plain", (-0.11, -0.15, 0.007 * k), (0.11, 0.15, 0.007 * k + 0.006), 0.001)
    return m


def picture(name, painting, width, height, mat=0.07, wood="oak"):
    """Hangs by its middle, 3 cm thick, its back on y = 0."""
    m = model(name)
    upright(m, painting, width, height, lambda p: (p[0], p[1] - 0.013, p[2]))
    if mat:
        frame(m, "mount", width, height, [(0.0, 0.013), (0.001, 0.0155), (mat, 0.0155)])
    frame(m, wood, width + 2 * mat, height + 2 * mat, [(0.0, 0.012), (0.0, 0.027), (0.003, 0.03), (0.02, 0.03), (0.023, 0.027), (0.023, 0.0)])
    return m


def round_mirror(radius=0.48):
    m = model("mirror")
    segments = 96
    ring = [(radius, 0.0, 0.012)]
    m.flat("mirror", [(r * math.cos(2 * math.pi * k / segments), -y, r * math.sin(2 * math.pi * k / segments))
                      for k in range(segments) for r, _, y in ring])
    section = [(-0.004, 0.0), (-0.004, 0.022), (0.0, 0.028), (0.012, 0.03), (0.02, 0.026), (0.022, 0.0)]
    m.grid("brass", len(section), segments, lambda r, c: (
        (radius + section[r][0]) * math.cos(2 * math.pi * c / segments), -section[r][1],
        (radius + section[r][0]) * math.sin(2 * math.pi * c / segments)), False, True)
    return m


def vase(name, material, profile, segments=48):
    m = model(name)
    outside = curve(profile, 6)
    inside = [(max(r - 0.004, 0.0), z + 0.004) for r, z in reversed(outside)]
    m.lathe(material, outside + inside, segments)
    return m


def glass_bowl():
    """A closed body of glass on a foot."""
    m = model("bowl")
    outside = curve([(0.0, 0.0), (0.07, 0.0), (0.075, 0.004), (0.05, 0.012), (0.045, 0.02), (0.1, 0.045), (0.15, 0.095), (0.165, 0.125)], 6)
    inside = curve([(0.162, 0.127), (0.146, 0.096), (0.097, 0.05), (0.04, 0.028), (0.0, 0.026)], 6)
    m.lathe("glass", outside + inside, 72)
    return m


def fruit(name, material, radius, tall, dent, stem=True, point=0.0):
    m = model(name)
    rows, columns = 22, 32
    offset = ripples(71, radius * 1.4)

    def at(r, c):
        v, u = math.pi * (r / (rows - 1) - 0.5), 2 * math.pi * c / columns
        q = math.cos(v) * radius
        pull = dent * radius * math.exp(-(q / (0.42 * radius)) ** 2)
        z = math.sin(v) * radius * tall - math.copysign(pull, v) + point * radius * math.copysign(max(abs(math.sin(v)) - 0.86, 0.0) * 3, v)
        w = offset((q * math.cos(u), q * math.sin(u), z))
        k = 1 + 0.02 * w[0]
        return (q * math.cos(u) * k, q * math.sin(u) * k, z + 0.01 * radius * w[2])

    m.grid(material, rows, columns, at, False, True)
    if stem:
        top = radius * (tall - dent)
        tube(m, "walnut_plain", [(0, 0, top - 0.004), (0.002, 0, top + 0.012), (0.006, 0.001, top + 0.022)], [0.0018, 0.0015, 0.0022], 6)
    return m


def candle(height):
    m = model("candle")
    m.lathe("brass", [(0.0, 0.0), (0.045, 0.0), (0.047, 0.004), (0.02, 0.008), (0.012, 0.02), (0.018, 0.05), (0.018, 0.055), (0.0, 0.055)], 32)
    m.lathe("wax", [(0.011, 0.05), (0.011, 0.052 + height), (0.009, 0.055 + height), (0.0, 0.052 + height)], 24)
    tube(m, "iron", [(0, 0, 0.052 + height), (0.001, 0, 0.064 + height)], 0.0008, 6)
    return m


def flame():
    m = model("flame")
    m.lathe("flame", curve([(0.0, 0.0), (0.004, 0.006), (0.0045, 0.012), (0.002, 0.024), (0.0, 0.032)], 4), 16)
    return m


def shade(m, low, high, bottom, top, material="shade"):
    """A drum of cloth, one sheet thick, with rings of wire."""
    m.grid(material, 2, 64, lambda r, c: tuple(
        [(low, high)[r] * math.cos(2 * math.pi * c / 64), (low, high)[r] * math.sin(2 * math.pi * c / 64), (bottom, top)[r]]), False, True)
    for radius, z in ((low, bottom), (high, top)):
        tube(m, "iron", [(radius * math.cos(2 * math.pi * k / 48), radius * math.sin(2 * math.pi * k / 48), z) for k in range(49)], 0.0025, 6, False)
        for k in range(3):
            a = 2 * math.pi * k / 3
            tube(m, "iron", [(0, 0, z), (radius * math.cos(a), radius * math.sin(a), z)], 0.0015, 6)


def floor_lamp():
    m = model("floor lamp")
    for k in range(3):
        a = 2 * math.pi * (k / 3 + 0.08)
        tube(m, "oak", [(0.26 * math.cos(a), 0.26 * math.sin(a), 0.0), (0.012 * math.cos(a), 0.012 * math.sin(a), 1.22)], [0.011, 0.015], 12)
    m.lathe("brass", [(0.0, 1.18), (0.03, 1.18), (0.03, 1.24), (0.012, 1.25), (0.012, 1.36), (0.0, 1.36)], 24)
    shade(m, 0.235, 0.2, 1.28, 1.62)
    return m


def table_lamp():
    m = model("table lamp")
    m.lathe("glaze", curve([(0.0, 0.0), (0.07, 0.0), (0.085, 0.02), (0.12, 0.11), (0.1, 0.2), (0.035, 0.27), (0.022, 0.3), (0.022, 0.31)], 6), 56)
    m.lathe("brass", [(0.02, 0.308), (0.02, 0.32), (0.008, 0.325), (0.008, 0.4), (0.0, 0.4)], 20)
    shade(m, 0.17, 0.13, 0.35, 0.56)
    return m


def pendant():
    """Hangs from the ceiling at z = 0."""
    m = model("pendant")
    m.lathe("iron", [(0.0, -0.03), (0.045, -0.03), (0.05, -0.02), (0.05, 0.0)], 32)
    tube(m, "iron", [(0, 0, -0.02), (0, 0, -0.86)], 0.003, 8)
    m.lathe("brass", [(0.018, -0.93), (0.02, -0.87), (0.012, -0.85), (0.0, -0.85)], 24)
    dome = curve([(0.235, -1.06), (0.228, -1.03), (0.19, -0.965), (0.12, -0.91), (0.05, -0.885), (0.018, -0.88)], 6)
    m.lathe("pendant_outside", dome, 72)
    m.lathe("pendant_inside", [(max(r - 0.003, 0.012), z - 0.003) for r, z in reversed(dome)], 72)
    m.lathe("pendant_outside", [(0.232, -1.063), (0.237, -1.063), (0.237, -1.058)], 72)
    return m


def bulb(radius):
    m = model("bulb")
    m.lathe("bulb", [(radius * math.cos(a), radius * math.sin(a)) for a in (math.pi * (k / 12 - 0.5) for k in range(13))], 24)
    return m


def wall_spot():
    """On a wall above a picture, its arm towards -y; the head points down and back."""
    m = model("wall spot")
    plate = model("plate")
    plate.lathe("iron", [(0.04, 0.0), (0.04, 0.012), (0.036, 0.015), (0.0, 0.015)], 32)
    add(m, plate, turned(90, (0, 0, 0), 0))
    tube(m, "iron", [(0, 0, 0), (0, -0.12, 0.012), (0, -0.22, 0.03)], 0.006, 10)
    head = model("head")
    head.lathe("iron", [(0.034, -0.085), (0.034, 0.02), (0.028, 0.03), (0.0, 0.032)], 32)
    head.lathe("brass", [(0.0, -0.03), (0.016, -0.035), (0.032, -0.084)], 32)
    add(m, head, turned(-28, (0, -0.24, 0.01), 0))
    return m


def pouf():
    m = model("pouf")
    rows, columns = 28, 72

    def point(r, c):
        v, u = math.pi * (r / (rows - 1) - 0.5), 2 * math.pi * c / columns
        bulge = math.cos(v) ** 0.55 if abs(v) < math.pi / 2 - 1e-9 else 0.0
        knit = 0.006 * math.cos(18 * u) * math.cos(v) ** 0.5 if bulge else 0.0
        q = (0.27 + 0.02 * math.sin(3 * u + 1) * 0.2) * bulge + knit
        return (q * math.cos(u), q * math.sin(u), 0.17 + 0.165 * math.copysign(abs(math.sin(v)) ** 0.8, v))

    m.grid("petrol", rows, columns, point, False, True, place=lambda r, c: (c * 0.14, r * 0.13))
    return m


def rug():
    """2.9 m by 2.0 m with a fringe on its short sides."""
    m = model("rug")
    chance = random.Random(81)
    offset = ripples(82, 0.5)
    rows, columns = 81, 117

    def point(r, c):
        x, y = (c / (columns - 1) - 0.5) * 2.9, (r / (rows - 1) - 0.5) * 2.0
        rim = r in (0, rows - 1) or c in (0, columns - 1)
        w = offset((x, y, 0.0))
        return (x + 0.006 * w[0], y + 0.006 * w[1], 0.002 if rim else 0.016 + 0.0015 * w[2] + chance.uniform(-0.0012, 0.0012))

    m.grid("rug", rows, columns, point, place=lambda r, c: (c / (columns - 1), 1 - r / (rows - 1)))
    for side in (-1, 1):
        for k in range(80):
            y = -0.985 + 1.97 * k / 79
            sway = chance.uniform(-0.02, 0.02)
            tube(m, "cream_plain", [(side * 1.445, y, 0.008), (side * 1.48, y + sway * 0.5, 0.006), (side * 1.53, y + sway, 0.004)],
                 [0.004, 0.0045, 0.003], 5)
    return m
