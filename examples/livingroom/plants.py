"""Plants for the living room and its garden: leaves that are placed many times, trunks, crowns."""
import math
import random

from glb import curve, oriented, unit
from shapes import model, ripples, tube


def leaf(name, material, length, width, bend, fold=0.25, cells=10):
    """Grows along +x from the origin, its face up, hanging by `bend` radians at its tip."""
    m = model(name)

    def point(r, c):
        t, s = r / cells, c / 3 - 1.0
        half = width / 2 * math.sin(math.pi * min(t * 0.96 + 0.04, 1.0)) ** 0.75 * (1.15 - 0.35 * t)
        if r == cells:
            half = 0.0
        a = bend * t
        x, z = (length / bend) * math.sin(a), -(length / bend) * (1 - math.cos(a))
        up = fold * half * abs(s) ** 1.3 + 0.02 * width * math.sin(9 * t + 3 * s)
        return (x + up * math.sin(a), half * s, z + up * math.cos(a))

    m.grid(material, cells + 1, 7, point)
    return m


def frond(name, material, length, seed):
    """A palm's: a bent rib along +x with leaflets on both sides."""
    m = model(name)
    chance = random.Random(seed)
    bend = 1.35

    def rib(t):
        a = bend * t
        return (length / bend * math.sin(a), 0.0, -length / bend * (1 - math.cos(a)))

    tube(m, "stalk", [rib(k / 14) for k in range(15)], [0.006 - 0.0048 * k / 14 for k in range(15)], 6)
    count = 30
    for k in range(count):
        t = 0.22 + 0.77 * k / (count - 1)
        base, a = rib(t), bend * t
        long = length * 0.36 * math.sin(math.pi * min(0.2 + 0.78 * t, 1.0)) ** 0.7 * chance.uniform(0.9, 1.1)
        wide = 0.030 * length
        for side in (-1, 1):
            forward, droop = chance.uniform(0.75, 0.95), chance.uniform(0.5, 0.9)
            lift = chance.uniform(0.15, 0.45)

            def point(r, c):
                s = r / 5
                out, ahead = math.cos(forward) * s * long, math.sin(forward) * s * long
                up = lift * s * long - droop * s * s * long
                half = wide / 2 * math.sin(math.pi * min(0.12 + 0.88 * s, 1.0)) ** 0.8
                if r == 5:
                    half = 0.0
                across = (c - 1) * half
                x = ahead + across * math.cos(forward)
                y = side * (out - across * math.sin(forward))
                z = up + abs(c - 1) * half * 0.45
                return (base[0] + x * math.cos(a) + z * math.sin(a), base[1] + y, base[2] - x * math.sin(a) + z * math.cos(a))

            m.grid(material, 6, 3, point)
    return m


def turn_to(direction, roll=0.0):
    """The quaternion that turns +x into `direction` with the face up, then rolls about it."""
    d = unit(direction)
    yaw, pitch = math.atan2(d[1], d[0]), -math.asin(max(-1.0, min(1.0, d[2])))

    def times(a, b):
        return (a[3] * b[0] + a[0] * b[3] + a[1] * b[2] - a[2] * b[1], a[3] * b[1] - a[0] * b[2] + a[1] * b[3] + a[2] * b[0],
                a[3] * b[2] + a[0] * b[1] - a[1] * b[0] + a[2] * b[3], a[3] * b[3] - a[0] * b[0] - a[1] * b[1] - a[2] * b[2])

    about = lambda axis, angle: tuple(math.sin(angle / 2) if k == axis else math.cos(angle / 2) if k == 3 else 0.0 for k in range(4))
    return times(times(about(2, yaw), about(1, pitch)), about(0, roll))


def rounded(node):
    """Short numbers keep the file small."""
    for key in ("translation", "rotation", "scale"):
        if key in node:
            node[key] = [round(c, 4) for c in node[key]]
    return node


def pot(name, material, radius, height, soil="soil"):
    m = model(name)
    outside = curve([(0.0, 0.0), (radius * 0.72, 0.0), (radius * 0.76, 0.01), (radius * 0.9, height * 0.5), (radius, height * 0.93), (radius * 1.02, height)], 5)
    m.lathe(material, outside + [(radius * 0.96, height), (radius * 0.93, height * 0.9)], 48)
    m.lathe(soil, [(radius * 0.94, height * 0.88), (radius * 0.5, height * 0.9), (0.0, height * 0.9)], 32)
    return m


def palm(frond_mesh, at, seed, count=17, height=0.3):
    """Nodes of a palm's fronds that rise from its pot."""
    chance = random.Random(seed)
    nodes = []
    for k in range(count):
        yaw = k * 2.39996 + chance.uniform(-0.2, 0.2)
        rise = 1.35 - 0.85 * k / count + chance.uniform(-0.06, 0.06)
        d = (math.cos(yaw) * math.cos(rise), math.sin(yaw) * math.cos(rise), math.sin(rise))
        start = (at[0] + 0.03 * math.cos(yaw), at[1] + 0.03 * math.sin(yaw), at[2] + height)
        nodes.append(rounded(oriented(frond_mesh, start, turn_to(d, chance.uniform(-0.3, 0.3)), chance.uniform(0.8, 1.15))))
    return nodes


def rubber_plant(m, leaf_mesh, at, seed, stems=3, height=1.3):
    """Stems go into the mesh `m`; the nodes of the leaves come back."""
    chance = random.Random(seed)
    nodes = []
    for s in range(stems):
        lean = (chance.uniform(-0.25, 0.25), chance.uniform(-0.25, 0.25))
        tall = height * chance.uniform(0.75, 1.0)
        path = [(at[0] + lean[0] * t * t * tall + 0.05 * math.cos(2.1 * s), at[1] + lean[1] * t * t * tall + 0.05 * math.sin(2.1 * s), at[2] + tall * t)
                for t in (k / 12 for k in range(13))]
        tube(m, "bark", path, [0.012 - 0.007 * k / 12 for k in range(13)], 8)
        count = 17
        for k in range(count):
            t = 0.22 + 0.78 * k / (count - 1)
            p = path[min(int(t * 12), 12)]
            yaw = k * 2.39996 + s
            rise = 0.2 + 0.9 * t + chance.uniform(-0.15, 0.15)
            d = (math.cos(yaw) * math.cos(rise), math.sin(yaw) * math.cos(rise), math.sin(rise))
            nodes.append(rounded(oriented(leaf_mesh, p, turn_to(d, chance.uniform(-0.4, 0.4)), chance.uniform(0.75, 1.1))))
    return nodes


def trailing(m, leaf_mesh, at, seed, strands=9, drop=0.8):
    """Strands that hang over the rim of a pot."""
    chance = random.Random(seed)
    nodes = []
    for s in range(strands):
        yaw = -math.pi / 2 + (s - strands / 2) * 0.5 + chance.uniform(-0.2, 0.2)
        long = drop * chance.uniform(0.35, 1.0)
        path = []
        for k in range(11):
            t = k / 10
            out = 0.11 * min(t * 4, 1.0) + 0.03 * math.sin(5 * t + s)
            path.append((at[0] + out * math.cos(yaw), at[1] + out * math.sin(yaw), at[2] + 0.03 * math.sin(math.pi * min(t * 3, 1.0)) - long * max(t - 0.12, 0.0)))
        tube(m, "stalk", path, 0.0018, 5)
        for k in range(1, 11):
            for side in (-1, 1):
                a = yaw + side * chance.uniform(0.5, 1.2)
                d = (math.cos(a) * 0.8, math.sin(a) * 0.8, chance.uniform(-0.7, 0.1))
                nodes.append(rounded(oriented(leaf_mesh, path[k], turn_to(d, chance.uniform(-0.5, 0.5)), chance.uniform(0.6, 1.1))))
    return nodes


def sprig(m, at, seed, height=0.55, stems=7):
    """Dry branches in a vase, with small seeds."""
    chance = random.Random(seed)
    for s in range(stems):
        yaw, lean = s * 2.4, chance.uniform(0.15, 0.4)
        path = [(at[0] + lean * t * t * height * math.cos(yaw) * 1.4, at[1] + lean * t * t * height * math.sin(yaw) * 1.4, at[2] + height * t * chance.uniform(0.98, 1.0))
                for t in (k / 10 for k in range(11))]
        tube(m, "stalk_dry", path, [0.0022 - 0.0012 * k / 10 for k in range(11)], 5)
        for k in range(4, 11):
            for j in range(4):
                p = path[k]
                d = unit([chance.gauss(0, 1) for _ in range(3)])
                q = [p[i] + 0.035 * d[i] for i in range(3)]
                tube(m, "stalk_dry", [p, q], 0.0007, 4, False)
                bead(m, "seed", q, 0.0075 * chance.uniform(0.7, 1.2))


def bead(m, material, at, radius):
    m.grid(material, 5, 6, lambda r, c: (
        at[0] + radius * math.sin(math.pi * r / 4) * math.cos(math.pi * c / 3) * (0 < r < 4),
        at[1] + radius * math.sin(math.pi * r / 4) * math.sin(math.pi * c / 3) * (0 < r < 4), at[2] - radius * math.cos(math.pi * r / 4)), False, True)


def scattered(m, material, chance, count, place, size):
    """Small leaves, two triangles each, at `place()` with a direction outward."""
    for _ in range(count):
        p, out = place()
        d = unit([chance.gauss(0, 1) + out[i] * 0.8 for i in range(3)])
        s = unit([d[1] + chance.uniform(-0.3, 0.3), -d[0], chance.uniform(-0.6, 0.6)])
        long = size * chance.uniform(0.7, 1.3)
        tip = [p[i] + d[i] * long for i in range(3)]
        middle = [p[i] + d[i] * long * 0.45 for i in range(3)]
        part = m.part(material)
        sink = 0.12 * long
        ids = [m.vertex(part, q) for q in (p, [middle[i] + s[i] * long * 0.28 for i in range(3)], tip, [middle[i] - s[i] * long * 0.28 - (sink if i == 2 else 0) for i in range(3)])]
        part["i"].extend((ids[0], ids[1], ids[2], ids[0], ids[2], ids[3]))


def tree(name, seed, height=5.2, crown=1.9, leaves=2600):
    m = model(name)
    chance = random.Random(seed)
    fork = height * 0.38
    trunk = [(0.06 * math.sin(1.3 * k), 0.06 * math.cos(1.7 * k) - 0.06, fork * k / 6) for k in range(7)]
    tube(m, "bark", trunk, [0.17 - 0.012 * k for k in range(7)], 10)
    ends = []
    for k in range(9):
        yaw, rise = k * 2.4, chance.uniform(0.5, 1.3)
        long = crown * chance.uniform(0.75, 1.05)
        path = [tuple(trunk[6][i] + long * t * (math.cos(yaw) * math.cos(rise * (1 - 0.2 * t)), math.sin(yaw) * math.cos(rise * (1 - 0.2 * t)), math.sin(rise) * 1.05)[i]
                      for i in range(3)) for t in (j / 6 for j in range(7))]
        tube(m, "bark", path, [0.075 - 0.010 * j for j in range(7)], 7)
        ends += path[2:]
    lumps = [(p, chance.uniform(0.45, 0.8)) for p in ends]

    def place():
        p, r = lumps[chance.randrange(len(lumps))]
        d = unit([chance.gauss(0, 1) for _ in range(3)])
        reach = r * chance.uniform(0.5, 1.0) ** 0.4
        return [p[i] + d[i] * reach for i in range(3)], d

    scattered(m, "leaves", chance, leaves, place, 0.2)
    return m


def hedge(name, seed, length=3.0, height=1.5, thick=0.8, leaves=3200):
    m = model(name)
    chance = random.Random(seed)
    offset = ripples(seed, 0.7)
    m.box("hedge_core", (-length / 2, -thick / 2 + 0.12, 0), (length / 2, thick / 2 - 0.12, height - 0.12))

    def place():
        side = chance.random()
        x = chance.uniform(-length / 2, length / 2)
        if side < 0.25:
            p, d = [x, chance.uniform(-thick / 2, thick / 2), height], (0, 0, 1)
        else:
            s = -1 if side < 0.85 else 1
            p, d = [x, s * thick / 2, height * chance.random() ** 0.9], (0, s, 0)
        w = offset(p)
        return [p[i] + 0.05 * w[i] - 0.1 * chance.random() * d[i] for i in range(3)], d

    scattered(m, "hedge", chance, leaves, place, 0.075)
    return m


def olive(name, seed, height=1.5):
    """A small tree for a pot."""
    m = model(name)
    chance = random.Random(seed)
    path = [(0.03 * math.sin(2 * k), 0.03 * math.cos(2.4 * k), height * 0.5 * k / 6) for k in range(7)]
    tube(m, "bark", path, [0.03 - 0.002 * k for k in range(7)], 9)
    lumps = []
    for k in range(8):
        yaw, rise = k * 2.4, chance.uniform(0.3, 1.3)
        long = height * 0.32
        q = [path[6][0] + long * math.cos(yaw) * math.cos(rise), path[6][1] + long * math.sin(yaw) * math.cos(rise), path[6][2] + long * math.sin(rise)]
        tube(m, "bark", [path[6], q], [0.014, 0.005], 6)
        lumps.append(q)

    def place():
        p = lumps[chance.randrange(len(lumps))]
        d = unit([chance.gauss(0, 1) for _ in range(3)])
        return [p[i] + d[i] * 0.24 * chance.random() ** 0.5 for i in range(3)], d

    scattered(m, "olive", chance, 1300, place, 0.06)
    return m
