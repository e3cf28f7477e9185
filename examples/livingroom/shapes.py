"""Shapes that the living room is made of: blocks with worn edges, cushions, tubes, mouldings, drapery."""
import math
import pathlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from glb import Mesh, unit  # noqa: E402

# Metres that a picture covers along u and v, by the materials that bear it.
COVER = {"oak": (1.6, 0.4), "walnut": (1.6, 0.4), "stone": (0.8, 0.8), "linen": (0.16, 0.16), "ochre": (0.16, 0.16),
         "petrol": (0.16, 0.16), "rust": (0.16, 0.16), "cream": (0.16, 0.16), "curtain": (0.16, 0.16)}
MAPPED = (*COVER, "floor_a", "floor_b", "floor_c", "floor_d", "rug", "hills", "shapes", "books")


def model(name):
    return Mesh(name, normals=False, mapped=MAPPED)


def add(m, other, place):
    """Puts a copy of the mesh `other` into `m`, each point at `place(point)`."""
    for material, source in other.parts.items():
        part = m.part(material)
        first = len(part["p"]) // 3
        p = source["p"]
        for k in range(0, len(p), 3):
            m.vertex(part, place((p[k], -p[k + 2], p[k + 1])))
        part["t"].extend(source["t"])
        part["i"].extend(i + first for i in source["i"])


def turned(angle, at=(0.0, 0.0, 0.0), axis=2):
    """A place function: turned by degrees about the axis x, y or z, then moved."""
    c, s = math.cos(math.radians(angle)), math.sin(math.radians(angle))
    i, j = (axis + 1) % 3, (axis + 2) % 3

    def place(p):
        q = list(p)
        q[i], q[j] = c * p[i] - s * p[j], s * p[i] + c * p[j]
        return tuple(q[k] + at[k] for k in range(3))

    return place


def block(m, material, low, high, bevel=0.003, grain=None):
    """A box whose edges are cut at 45 degrees. Its picture runs along the axis `grain`, the longest when left out."""
    size = [high[k] - low[k] for k in range(3)]
    grain = size.index(max(size)) if grain is None else grain
    b = min(bevel, min(size) / 4)
    part = m.part(material)
    cover = COVER.get(material)
    shift = (math.sin(low[0] * 91.7 + low[1] * 47.3 + low[2] * 13.1) * 3.7, math.sin(low[0] * 31.1 + low[1] * 77.7 + low[2] * 57.9) * 5.3)
    ids = {}
    for axis in range(3):
        u = grain if axis != grain else (axis + 1) % 3
        v = 3 - axis - u
        for corner in range(8):
            sign = [corner >> k & 1 for k in range(3)]
            p = [(high[k] if sign[k] else low[k]) - (0 if k == axis else b if sign[k] else -b) for k in range(3)]
            t = (p[u] / cover[0] + shift[0], p[v] / cover[1] + shift[1]) if cover else None
            ids[axis, corner] = m.vertex(part, p, None, t)

    def polygon(*vertices):
        vertices = [ids[v] for v in vertices]
        for k in range(1, len(vertices) - 1):
            part["i"].extend((vertices[0], vertices[k], vertices[k + 1]))

    for axis in range(3):
        i, j = 1 << (axis + 1) % 3, 1 << (axis + 2) % 3
        for base in (0, 1 << axis):
            ring = [base, base + i, base + i + j, base + j]
            polygon(*((axis, c) for c in (ring if base else ring[::-1])))
        # The four edges along this axis lie between the faces of the two others.
        for corner in (0, i, j, i + j):
            first, second = ((axis + 1) % 3, (axis + 2) % 3)
            end = corner + (1 << axis)
            quad = [(first, corner), (first, end), (second, end), (second, corner)]
            outward = bool(corner & i) == bool(corner & j)
            polygon(*(quad[::-1] if outward else quad))
    for corner in range(8):
        odd = bin(corner).count("1") % 2
        polygon(*((a, corner) for a in ((0, 1, 2) if odd else (2, 1, 0))))


def ripples(seed, size, waves=7):
    """A smooth wrinkling: three offsets of about -1 to 1 at a place, with waves of about `size` metres."""
    chance = random.Random(seed)
    terms = []
    for _ in range(waves):
        d = unit([chance.gauss(0, 1) for _ in range(3)])
        terms.append(([2 * math.pi * c / (size * chance.uniform(0.7, 1.6)) for c in d], chance.uniform(0, 2 * math.pi), chance.randrange(3)))

    def offset(p):
        out = [0.0, 0.0, 0.0]
        for wave, phase, axis in terms:
            out[axis] += math.sin(wave[0] * p[0] + wave[1] * p[1] + wave[2] * p[2] + phase)
        return [c * 1.7 / waves for c in out]

    return offset


def soft_box(m, material, middle, size, radius=0.05, puff=(0.0, 0.0, 0.0), cells=6, wrinkle=0.004, seed=1, lean=0.0):
    """A cushion: a box with round edges whose faces swell by `puff` along each axis. `lean` degrees about x."""
    half = [s / 2 for s in size]
    offset = ripples(seed, max(size) * 0.45)
    cover = COVER.get(material, (1.0, 1.0))
    place = turned(lean, middle, 0)
    steps = 3

    def line(h):
        r = min(radius, h * 0.98)
        edge = [r * (1 - math.tan(math.pi / 4 * (steps - k) / steps)) for k in range(steps)]
        count = max(2, round(cells * (h - r) / (max(half) - r + 1e-9)))
        inside = [r - h + 2 * (h - r) * k / count for k in range(count + 1)]
        return [e - h for e in edge] + inside + [h - e for e in reversed(edge)]

    def shaped(p):
        inner = [min(max(p[k], radius * 0.999 - half[k]), half[k] - radius * 0.999) for k in range(3)]
        away = unit([p[k] - inner[k] for k in range(3)])
        q = [inner[k] + radius * away[k] for k in range(3)]
        x = [min(max(q[k] / half[k], -1.0), 1.0) for k in range(3)]
        w = offset(q)
        return place([q[k] + puff[k] * x[k] * (1 - x[(k + 1) % 3] ** 2) * (1 - x[(k + 2) % 3] ** 2) + wrinkle * w[k] for k in range(3)])

    for axis in range(3):
        i, j = (axis + 1) % 3, (axis + 2) % 3
        across, along = line(half[i]), line(half[j])
        for sign in (-1, 1):
            def point(r, c):
                p = [0.0] * 3
                p[axis], p[i], p[j] = sign * half[axis], across[c], along[r] * sign
                return shaped(p)
            m.grid(material, len(along), len(across), point,
                   place=lambda r, c: (across[c] / cover[0] + 0.37 * axis, along[r] / cover[1] + 0.21 * sign))


def pillow(name, material, width, height, thickness, seed):
    """A scatter cushion in the plane of x and z, facing -y, about the origin."""
    m = model(name)
    offset = ripples(seed, width * 0.4)
    count = 26
    cover = COVER[material]
    for side in (-1, 1):
        def point(r, c):
            u, v = -math.cos(math.pi * c / count), -math.cos(math.pi * r / count)
            swell = max((1 - u * u) * (1 - v * v), 0.0) ** 0.42
            w = offset((u * width / 2, side * 0.1, v * height / 2))
            crease = 0.10 * math.sin(7 * math.atan2(u, v)) * math.hypot(u, v) * swell
            x = u * width / 2 * (1 - 0.09 * (1 - v * v) * u * u)
            z = v * height / 2 * (1 - 0.09 * (1 - u * u) * v * v)
            return (x * side + 0.004 * w[0], -side * thickness / 2 * (swell + crease + 0.16 * w[1] * swell), z + 0.004 * w[2])
        m.grid(material, count + 1, count + 1, point, place=lambda r, c: (
            -math.cos(math.pi * c / count) * width / 2 / cover[0], -math.cos(math.pi * r / count) * height / 2 / cover[1]))
    return m


def tube(m, material, points, radii, sides=10, capped=True):
    """A round bar through `points`; `radii` is one number or one for each."""
    if not isinstance(radii, (list, tuple)):
        radii = [radii] * len(points)
    along = [unit([points[min(k + 1, len(points) - 1)][i] - points[max(k - 1, 0)][i] for i in range(3)]) for k in range(len(points))]
    side = unit([along[0][1], -along[0][0], 0.0]) if abs(along[0][2]) < 0.95 else [1.0, 0.0, 0.0]
    frames = []
    for a in along:
        dot = sum(side[i] * a[i] for i in range(3))
        side = unit([side[i] - dot * a[i] for i in range(3)])
        frames.append((side, [a[1] * side[2] - a[2] * side[1], a[2] * side[0] - a[0] * side[2], a[0] * side[1] - a[1] * side[0]]))
    rows = [(k, radii[k]) for k in range(len(points))]
    if capped:
        rows = [(0, 0.0)] + rows + [(len(points) - 1, 0.0)]
    cover = COVER.get(material)

    def point(r, c):
        k, radius = rows[r]
        turn = 2 * math.pi * c / sides
        u, v = frames[k]
        return tuple(points[k][i] + radius * (math.cos(turn) * u[i] + math.sin(turn) * v[i]) for i in range(3))

    far = [0.0]
    for k in range(1, len(points)):
        far.append(far[-1] + math.dist(points[k], points[k - 1]))
    seam = math.sin(points[0][0] * 57.1 + points[0][1] * 91.3) * 4.1
    m.grid(material, len(rows), sides, point, False, True,
           place=cover and (lambda r, c: (far[rows[r][0]] / cover[0] + seam, 0.12 * abs(c / sides * 2 - 1) + seam)))


def strip(m, material, start, end, profile):
    """A moulding along a wall that is on the right of the way from `start` to `end`; `profile` has pairs of distance
    from the wall and height, from below to above on the outside."""
    d = unit([end[0] - start[0], end[1] - start[1]])
    n = (-d[1], d[0])
    for (a, za), (b, zb) in zip(profile, profile[1:]):
        m.flat(material, [(start[0] + n[0] * a, start[1] + n[1] * a, za), (start[0] + n[0] * b, start[1] + n[1] * b, zb),
                          (end[0] + n[0] * b, end[1] + n[1] * b, zb), (end[0] + n[0] * a, end[1] + n[1] * a, za)])


def frame(m, material, width, height, profile, place=lambda p: p):
    """Mitred round a rectangle in the plane of x and z, facing -y; `profile` has pairs of distance outward from the
    rectangle and towards the viewer, from the inside outwards."""
    corners = ((-1, -1), (1, -1), (1, 1), (-1, 1))
    for k in range(4):
        (ax, az), (bx, bz) = corners[k], corners[(k + 1) % 4]
        for (p, dp), (q, dq) in zip(profile, profile[1:]):
            def at(sx, sz, out, near):
                return place((sx * (width / 2 + out), -near, sz * (height / 2 + out)))
            points = [at(ax, az, p, dp), at(ax, az, q, dq), at(bx, bz, q, dq), at(bx, bz, p, dp)]
            cover = COVER.get(material)
            places = cover and [((c[0] + c[2]) / cover[0], (p, q, q, p)[i] / cover[1] + 0.3 * k) for i, c in enumerate(points)]
            m.flat(material, points, places)


def upright(m, material, width, height, place=lambda p: p):
    """A sheet in the plane of x and z, facing -y, with a whole picture on it."""
    x, z = width / 2, height / 2
    m.flat(material, [place(p) for p in ((-x, 0, -z), (x, 0, -z), (x, 0, z), (-x, 0, z))],
           [(0, 1), (1, 1), (1, 0), (0, 0)] if material in MAPPED else None)


def curtain(name, width, height, folds, seed):
    """Hangs from z = height to the floor along x, about x = 0."""
    m = model(name)
    chance = random.Random(seed)
    rows, columns = 20, folds * 9 + 1
    depth = [chance.uniform(0.7, 1.25) for _ in range(folds + 2)]
    wide = [chance.uniform(0.8, 1.2) for _ in range(folds)]
    total = sum(wide)
    ends = [sum(wide[:k]) / total for k in range(folds + 1)]
    drift = [chance.uniform(-0.02, 0.02) for _ in range(folds + 1)]

    def point(r, c):
        fold, within = divmod(c, 9)
        if fold == folds:
            fold, within = folds - 1, 9
        t, down = within / 9, 1 - r / (rows - 1)
        s = ends[fold] + (ends[fold + 1] - ends[fold]) * t
        near = 0.035 * (depth[fold] * (1 - t) + depth[fold + 1] * t) * (0.55 + 0.5 * down**0.7)
        sway = (drift[fold] * (1 - t) + drift[fold + 1] * t) * down**1.5
        a = 2 * math.pi * t
        x = (s - 0.5) * width * (1 + 0.05 * down) + 0.018 * math.sin(2 * a) * (0.4 + 0.6 * down) + sway
        return (x, near * math.sin(a) + 0.3 * sway, height * (1 - down) + 0.006)

    m.grid("curtain", rows, columns, point, place=lambda r, c: (c * 0.1, r / rows * height / 0.16))
    return m
