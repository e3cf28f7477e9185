#!/usr/bin/env python3
"""Checks the light that the program measures against exact values, which this script works out by itself.

    bench/validate.py build/release/bin/zirconlite            prints the table
    bench/validate.py build/release/bin/zirconlite --write docs/validation.md
    bench/validate.py build/release/bin/zirconlite --only penumbra,gloss

Each case is a scene made here, rendered to `.hdr` by the converging sampler with a fixed number of samples.
Floors have stripes of 16 reflectances, so that the 8 bits of a pixel in the file do not hide small errors.
Exit code 1 where a case is off by more than its limit.
"""

import argparse
import functools
import math
import pathlib
import re
import subprocess
import sys
import tempfile

from validation_bounces import bounce_cases
from validation_scenes import (
    HDR_ONE, LIMIT, REFLECTANCES, SIDE, Floor, axes_of, cross, direction_of, dot, far_model, light, read_hdr, render, run_program,
    sky_function, sky_keys, sky_lux, summary, sun_values, turn_of, unit, level_quad, write_ball, write_hdr, write_obj)

# Exact illuminance


def point_lux(candela, position, exponent=0.0, field_cosine=-1.0):
    """From a point, or a spot that aims straight down with cos^exponent."""

    def lux(x, y):
        dx, dy, dz = position[0] - x, position[1] - y, position[2]
        d = math.sqrt(dx * dx + dy * dy + dz * dz)
        cosine = dz / d
        return candela * cosine**exponent * cosine / d**2 if cosine >= field_cosine else 0.0

    return lux


def spot_candela(lumens, exponent, field_cosine):
    return lumens * (exponent + 1) / (2 * math.pi * (1 - field_cosine ** (exponent + 1)))


def cone_lux(axis, half_angle, radiance, passes=None, rows=64, columns=128):
    """From an even cone of directions about the unit vector `axis`, each with the share `passes` lets through."""
    u, v = axes_of(axis)
    low = math.cos(half_angle)
    total = 0.0
    for i in range(rows):
        cosine = low + (1 - low) * (i + 0.5) / rows
        sine = math.sqrt(1 - cosine * cosine)
        for k in range(columns):
            turn = turn_of(i, k, columns)
            a, b = sine * math.cos(turn), sine * math.sin(turn)
            d = [cosine * axis[c] + a * u[c] + b * v[c] for c in range(3)]
            if d[2] > 0.0:
                total += d[2] * (passes(d) if passes else 1.0)
    return radiance * total * 2 * math.pi * (1 - low) / (rows * columns)


def sphere_lux(candela, position, radius, x, y, passes=None, **grid):
    to_middle = (position[0] - x, position[1] - y, position[2])
    d = math.sqrt(sum(c * c for c in to_middle))
    radiance = candela / (math.pi * radius * radius)

    def place_passes(direction):
        along = dot(direction, to_middle)
        distance = along - math.sqrt(max(radius * radius - d * d + along * along, 0.0))
        return passes((x + direction[0] * distance, direction[2] * distance))

    return cone_lux(unit(to_middle), math.asin(radius / d), radiance, place_passes if passes else None, **grid)


# Cases


def point_cases():
    beam, field = math.radians(30), math.radians(40)
    exponent = math.log(0.5) / math.log(math.cos(beam))
    spot = spot_candela(900.0, exponent, math.cos(field))
    at = (0.4, 0.3, 1.5)
    place = "position = [%g, %g, %g]\n" % at
    aim = place + "target = [0.4, 0.3, 0]\nbeam_deg = 60\nfield_deg = 80\n"
    return [
        Floor("point, candela", light("point", place + "candela = 800"), point_lux(800.0, at)),
        Floor("point, lumens", light("point", place + "lumens = 800"), point_lux(800.0 / (4 * math.pi), at)),
        Floor("spot, candela", light("spot", aim + "candela = 500"), point_lux(500.0, at, exponent, math.cos(field))),
        Floor("spot, lumens", light("spot", aim + "lumens = 900"), point_lux(spot, at, exponent, math.cos(field))),
        Floor("sphere, 0.2 m", light("point", place + "candela = 800\nradius = 0.2"), point_lux(800.0, at)),
        Floor("sphere, near", light("point", "position = [0.1, 0, 0.5]\ncandela = 80\nradius = 0.4"),
            point_lux(80.0, (0.1, 0.0, 0.5)), width=0.05),
        Floor("sphere through the floor's horizon", light("point", "position = [1.2, 0, 0.2]\ncandela = 80\nradius = 0.6"),
            functools.cache(lambda x, y: sphere_lux(80.0, (1.2, 0.0, 0.2), 0.6, x, y, rows=60, columns=120)), width=0.1),
    ]


# Closed forms of form factors from a small level surface: J. R. Howell, "A catalog of radiation heat transfer
# configuration factors".


def disk_factor(radius, height, aside):
    z = height * height + radius * radius + aside * aside
    return 0.5 * (1 - (z - 2 * radius * radius) / math.sqrt(z * z - 4 * aside * aside * radius * radius))


def corner_factor(a, b, height):
    x, y = a / height, b / height
    p, q = math.sqrt(1 + x * x), math.sqrt(1 + y * y)
    return (x / p * math.atan(y / p) + y / q * math.atan(x / q)) / (2 * math.pi)


def rectangle_factor(width, depth, height, x, y):
    return sum(i * k * corner_factor(i * width / 2 - x, k * depth / 2 - y, height) for i in (-1, 1) for k in (-1, 1))


def line_lux(lumens, length, height, x, y):
    """Of a line along x by the sine of the angle to it."""
    d = math.hypot(height, y)
    part = lambda to: math.atan2(to, d) + to * d / (to * to + d * d)
    return lumens / (math.pi**2 * length) / (2 * d) * (part(length / 2 - x) + part(length / 2 + x)) * height / d


def tube_lux(lumens, length, radius, height, x, y, steps=400):
    """Of the side of a cylinder along x: strips of its outline, each in closed form along x."""
    d, tilt = math.hypot(height, y), math.atan2(y, height)
    half, total = math.asin(radius / d), 0.0
    for i in range(steps):
        turn = half * (2 * (i + 0.5) / steps - 1)
        near = d * math.cos(turn) - math.sqrt(radius * radius - (d * math.sin(turn)) ** 2)
        part = lambda to: math.atan2(to, near) + to * near / (to * to + near * near)
        total += math.cos(turn + tilt) * 0.5 * (part(length / 2 - x) + part(length / 2 + x))
    return lumens / (math.pi * 2 * math.pi * radius * length) * total * 2 * half / steps


def shape_cases():
    cases = []
    for height in (0.25, 1.0, 4.0):
        place = "position = [0, 0, %g]\nlumens = 1000\n" % height
        aside = 0.4 * height + 0.2
        shapes = [
            ("disk", "disk", "radius = 0.5", lambda x, y, h: 1000 / (math.pi * 0.25) * disk_factor(0.5, h, math.hypot(x, y))),
            ("rectangle", "area", "size = [1.2, 0.6]", lambda x, y, h: 1000 / 0.72 * rectangle_factor(1.2, 0.6, h, x, y)),
            ("line", "line", "axis = [1, 0, 0]\nlength = 1.2\ndistribution = \"diffuse\"", lambda x, y, h: line_lux(1000, 1.2, h, x, y)),
            ("tube", "tube", "axis = [1, 0, 0]\nlength = 1.2\nradius = 0.1", lambda x, y, h: tube_lux(1000, 1.2, 0.1, h, x, y)),
            ("ball", "sphere", "radius = 0.2", lambda x, y, h: point_lux(1000 / (4 * math.pi), (0, 0, h))(x, y)),
        ]
        for name, kind, keys, exact in shapes:
            cases.append(Floor("%s, %g m below" % (name, height), light(kind, place + keys),
                functools.cache(lambda x, y, h=height, exact=exact: exact(x, y, h)), width=0.2, center=(aside, 0.1)))
    table = "IESNA:LM-63-2002\nTILT=NONE\n1 -1 1 4 3 1 2 0 0 0\n1 1 20\n0 30 60 90\n0 45 90\n1000 800 200 0\n1000 600 100 0\n1000 400 50 0\n"
    cases.append(Floor("photometric file, in its planes", light("point", "position = [0, 0, 2]\nies = \"lamp.ies\""),
        table_lux, width=0.4, center=(0.9, 0.5), files=lambda folder: (folder / "lamp.ies").write_text(table)))
    return cases


def table_lux(x, y):
    """Of the table of shape_cases, 2 m above: linear between its angles, a quadrant mirrored."""
    rows = {0: (1000, 800, 200, 0), 45: (1000, 600, 100, 0), 90: (1000, 400, 50, 0)}
    polar, plane = math.degrees(math.atan2(math.hypot(x, y), 2)), abs(math.degrees(math.atan2(y, x)))
    plane = 180 - plane if plane > 90 else plane
    low = 0 if plane < 45 else 45
    j, t = int(polar // 30), polar % 30 / 30
    at = lambda row: row[j] * (1 - t) + row[j + 1] * t
    s = (plane - low) / 45
    candela = at(rows[low]) * (1 - s) + at(rows[low + 45]) * s
    return candela * 2 / (x * x + y * y + 4) ** 1.5


def distant_cases():
    altitude = 40.0
    keys = "azimuth_deg = 70\naltitude_deg = %g\nlux = 20000" % altitude
    square = 20000.0 * math.sin(math.radians(altitude))
    half = math.radians(10.0)
    # An even disc in the plane square to its axis, 20 degrees wide; its lux are those of a plane square to it,
    # so a tilted plane gets them times the cosine of the axis.
    return [
        Floor("distant", light("distant", keys), lambda x, y: square),
        Floor("distant, disc of 20 degrees", light("distant", keys + "\ndisc_deg = %g" % math.degrees(2 * half)),
            lambda x, y: square),
    ]


def window_case(program, folder):
    _, strength = sun_values(program, folder, 0, 30, 1)
    sky = sky_function(0, 30, 1)
    y, z0, z1, half = 1.0, 0.5, 2.0, 0.8

    def lux(px, py):
        """The sky through the pane, by patches of the pane."""
        total, steps = 0.0, 48
        for i in range(steps):
            for k in range(steps):
                to = (-half + 2 * half * (i + 0.5) / steps - px, y - py, z0 + (z1 - z0) * (k + 0.5) / steps)
                d = math.sqrt(dot(to, to))
                w = unit(to)
                total += sky(w) * w[2] * w[1] / d**2
        return strength * total * 2 * half * (z1 - z0) / steps**2

    keys = (
        '[sun]\nmode = "windows"\nazimuth_deg = 0\naltitude_deg = 30\ncloudiness = 1\nsun_color = "#ffffff"\n'
        'sky_color = "#ffffff"\n'
    ) + light("window", "position = [0, %g, %g]\nsize = [%g, %g]\nnormal = [0, -1, 0]" % (y, (z0 + z1) / 2, 2 * half, z1 - z0))
    return [Floor("window, overcast", keys, functools.cache(lux), width=0.1)]


def sun_cases(program, folder):
    cases = []
    for altitude in (60, 12):
        lux, _ = sun_values(program, folder, 200, altitude, 0)
        keys = (
            "[sun]\nazimuth_deg = 200\naltitude_deg = %g\nsky_intensity = 0\n"
            'sun_color = "#ffffff"\nsky_color = "#ffffff"\n' % altitude
        )
        exact = lux * math.sin(math.radians(altitude))
        cases.append(Floor("sun, %g degrees high" % altitude, keys, lambda x, y, exact=exact: exact))
    for name, altitude, cloudiness in (("sky, overcast", 40, 1.0), ("sky, clear", 40, 0.0), ("sky, half clouded, low sun", 8, 0.5)):
        _, strength = sun_values(program, folder, 200, altitude, cloudiness)
        exact = strength * sky_lux(sky_function(200, altitude, cloudiness))
        cases.append(Floor(name, sky_keys(altitude, cloudiness), lambda x, y, exact=exact: exact))
        cases.append(SeenSky(name + ", as it is seen", altitude, cloudiness, False))
        cases.append(SeenSky(name + ", its picture as a map", altitude, cloudiness, True))
    return cases


class SeenSky:
    """The sky that is seen lights the ground as the sky that lights does; so does its picture as a map."""

    limit = LIMIT

    def __init__(self, name, altitude, cloudiness, as_map):
        self.name, self.altitude, self.cloudiness, self.as_map = name, altitude, cloudiness, as_map

    def measure(self, program, folder, samples, seed=0):
        _, strength = sun_values(program, folder, 200, self.altitude, self.cloudiness)
        exact = strength * sky_lux(sky_function(200, self.altitude, self.cloudiness))
        size = (128, 64)
        scene = '[camera]\neye = [0, 0, 1]\ntarget = [0, 1, 1]\nprojection = "spherical"\n' + sky_keys(self.altitude, self.cloudiness)
        scene += far_model(folder)
        rows, _ = render(program, folder, scene, 64, seed, size)
        if not self.as_map:
            value = map_lux(rows) / exact - 1.0
            return value, abs(value)
        (folder / "out.hdr").rename(folder / "map.hdr")
        lit = Floor("", '[environment_map]\nfile = "map.hdr"\n', lambda x, y: exact)
        return lit.measure(program, folder, samples, seed)


def map_lux(rows):
    """Of a level floor under a picture by latitude and longitude, each pixel an even patch of sky."""
    total = 0.0
    for j, row in enumerate(rows):
        top, bottom = (math.sin(math.pi * (0.5 - k / len(rows))) for k in (j, j + 1))
        if bottom >= 0.0:
            total += sum(row) * math.pi * (top * top - bottom * bottom) / len(row)
    return total


def map_cases():
    even = [[64.0] * 64 for _ in range(32)]
    halves = [[256.0 if i < 32 else 16.0 for i in range(64)] for _ in range(32)]
    spot = [[32768.0 if (i, j) == (20, 6) else 16.0 for i in range(64)] for j in range(32)]
    keys = '[environment_map]\nfile = "map.hdr"\n'
    return [
        Floor(name, keys, lambda x, y, lux=map_lux(rows) * HDR_ONE: lux, files=lambda folder, rows=rows: write_hdr(folder / "map.hdr", rows))
        for name, rows in (("map, even", even), ("map, two halves", halves), ("map, one bright pixel", spot))
    ]


def write_edge(folder, height):
    """A sheet that ends at x = 0 and hides what lies on the side of positive x."""
    write_obj(folder / "edge.obj", [("edge", level_quad(0.0, 0.6, -0.6, 0.6, height))])


EDGE_MODEL = '[[model]]\nfile = "edge.obj"\nup = "z"\nmaterial = "edge"\n[materials.edge]\ncolor = "#000000"\n'


class Penumbra(Floor):
    """A floor under an edge; the camera is beneath the sheet. Even, since stripes would weigh the gradient."""

    reflectances = [0.7] * len(REFLECTANCES)

    def measure(self, program, folder, samples, seed=0):
        write_edge(folder, self.height)
        return super().measure(program, folder, samples, seed)


def penumbra(name, keys, height, exact, width, center, level):
    case = Penumbra(name, EDGE_MODEL + keys, exact, width, center, 0.004, None, level)
    case.height = height
    return case


def filtered_edge(x, pixel, end_of):
    """Share of a pixel that lies left of `end_of` a place of the light, where the edge's shadow begins. The pixel's
    filter is a Blackman-Harris window of three pixels."""
    terms = (0.35875, 0.48829, 0.14128, 0.01168)

    def share(place):
        t = (end_of(place) - x) / (3.0 * pixel) + 0.5
        if t <= 0.0 or t >= 1.0:
            return 0.0 if t <= 0.0 else 1.0
        sines = [math.sin(2 * math.pi * k * t) / (2 * math.pi * k) for k in (1, 2, 3)]
        return t - (terms[1] * sines[0] - terms[2] * sines[1] + terms[3] * sines[2]) / terms[0]

    return share


def penumbra_cases(program, folder):
    cases = []
    # A sphere of 0.1 m at 2 m behind an edge at 1 m: the penumbra is about 0.2 m wide.
    position, radius, height = (0.0, 0.0, 2.0), 0.1, 1.0
    keys = light("point", "position = [0, 0, 2]\ncandela = 800\nradius = 0.1")
    for what, width, middle in (("whole", 0.32, 0.0), ("a fifth lit", 0.004, 0.06), ("half lit", 0.004, 0.0), ("most lit", 0.004, -0.06)):
        lit = lambda x, y, w=width: sphere_lux(800.0, position, radius, x, y, 
            filtered_edge(x, w / SIDE, lambda s: -s[0] * height / (s[1] - height)),
            rows=300 if w < 0.1 else 40, columns=600 if w < 0.1 else 80)
        cases.append(penumbra("penumbra of a sphere, " + what, keys, height, across(lit), width, (middle, 0.0), 200.0))
    # A panel of 0.2 m in its place: what is beyond the edge is a rectangle too.
    def panel_lux(x, y):
        end = min(max(-x, -0.1), 0.1)
        seen = sum(i * k * corner_factor((end if i > 0 else -0.1) - x, k * 0.1 - y, 2.0) for i in (-1, 1) for k in (-1, 1))
        return 1000 / 0.04 * seen

    keys = light("area", "position = [0, 0, 2]\nsize = [0.2, 0.2]\nlumens = 1000")
    for what, width, middle in (("whole", 0.32, 0.0), ("half lit", 0.004, 0.0)):
        cases.append(penumbra("penumbra of a panel, " + what, keys, height, panel_lux, width, (middle, 0.0), 1000 / math.pi / 4))
    lux, _ = sun_values(program, folder, 90, 50, 0)
    half = math.tan(math.radians(3.0))
    keys = (
        "[sun]\nazimuth_deg = 90\naltitude_deg = 50\nsky_intensity = 0\nsize_deg = 6\n"
        'sun_color = "#ffffff"\nsky_color = "#ffffff"\n'
    )
    shift = -height / math.tan(math.radians(50))
    for what, width, middle in (("whole", 0.32, 0.0), ("a quarter lit", 0.004, 0.03), ("half lit", 0.004, 0.0)):
        lit = lambda x, y, w=width: disc_lux(lux, direction_of(90, 50), half,
            filtered_edge(x, w / SIDE, lambda d: -d[0] * height / d[2]))
        cases.append(penumbra("penumbra of the sun, " + what, keys, height, across(lit), width, (shift + middle, 0.0),
            lux * math.sin(math.radians(50))))
    return cases


def across(function):
    """The value at a column, worked out once."""
    column = functools.cache(lambda x: function(x, 0.0))
    return lambda x, y: column(round(x, 9))


def disc_lux(lux, axis, half_tangent, passes, rows=150, columns=300):
    """From an even disc in the plane square to `axis`, whose lux are those of a plane square to it."""
    u, v = axes_of(axis)
    total = 0.0
    for i in range(rows):
        r = half_tangent * math.sqrt((i + 0.5) / rows)
        for k in range(columns):
            turn = turn_of(i, k, columns)
            d = [axis[c] + r * (math.cos(turn) * u[c] + math.sin(turn) * v[c]) for c in range(3)]
            total += unit(d)[2] * passes(d)
    return lux * total / (rows * columns)


class Furnace:
    """A white material in an even environment is as bright as the environment, from every side."""

    limit = LIMIT

    def __init__(self, name, material, shape):
        self.name, self.material, self.shape = "furnace, %s, %s" % (shape, name), material, shape

    def measure(self, program, folder, samples, seed=0):
        write_hdr(folder / "map.hdr", [[2000.0] * 8 for _ in range(4)])
        seen, rounding = [], []
        # Scales apart by parts of a step of the file; sheets are seen at three angles.
        for scale, tilt in ((1.0, 15.0), (1.0013, 50.0), (1.0026, 80.0)):
            share = self.write_shape(folder / "shape.obj", math.radians(tilt))
            scene = (
                '[camera]\neye = [0, -6, 0]\ntarget = [0, 0, 0]\nprojection = "parallel"\nparallel_width = 2\n'
                'parallel_height = 2\n[environment_map]\nfile = "map.hdr"\nscale = %g\n[[model]]\nfile = "shape.obj"\n'
                'up = "z"\nmaterial = "white"\n%s[materials.white]\ncolor = "#ffffff"\n%s'
                % (scale, "smooth_angle_deg = 60\n" if self.shape == "ball" else "", self.material)
            )
            picture, steps = render(program, folder, scene, samples, seed)
            around = picture[0][0]
            # What the body fills of the picture alone.
            for row, row_steps in zip(picture, steps):
                for pixel, step in zip(row, row_steps):
                    seen.append((pixel / around - 1.0) / share + 1.0)
                    rounding.append((step / around) ** 2 / 12)
        mean, rms = summary(seen, [1.0] * len(seen), rounding)
        return mean, rms * math.sqrt(share)

    def write_shape(self, path, tilt):
        """Share of the picture of 2 x 2 metres that the body fills."""
        if self.shape == "ball":
            write_ball(path, 0.5)
            return math.pi * 0.25 / 4.0
        if self.shape == "box":
            write_box(path, 0.4)
            return 0.4 * 0.4 * math.sqrt(2) / 4.0
        c, s = 0.7 * math.cos(tilt), 0.7 * math.sin(tilt)
        write_obj(path, [("sheet", [(-0.7, -s, -c), (0.7, -s, -c), (0.7, s, c), (-0.7, s, c)])])
        return 1.4 * 1.4 * math.cos(tilt) / 4.0


def write_box(path, side):
    """Turned by 45 degrees about the vertical: two of its faces are seen."""
    h = side / 2
    r = h * math.sqrt(2)
    ring = [(0.0, -r), (r, 0.0), (0.0, r), (-r, 0.0)]
    with open(path, "w") as out:
        out.writelines("v %.9g %.9g %.9g\n" % (x, y, z) for z in (-h, h) for x, y in ring)
        out.write("f 4 3 2 1\nf 5 6 7 8\n")
        out.writelines("f %d %d %d %d\n" % (k + 1, (k + 1) % 4 + 1, (k + 1) % 4 + 5, k + 5) for k in range(4))


def furnace_cases():
    glossy = ["mirror = 0.5\nhighlight = %g\n" % n for n in (1.5, 3, 10, 30, 100, 1000, 2000)]
    cases = []
    for shape in ("sheet", "ball"):
        cases.append(Furnace("diffuse", "", shape))
        cases.append(Furnace("polished mirror", "mirror = 1.0\nmetal = true\n", shape))
        cases.append(Furnace("faint mirror", "mirror = 0.3\n", shape))
        cases += [Furnace("half a mirror, highlight " + keys.split()[-1], keys, shape) for keys in glossy]
        cases.append(Furnace("all mirror, highlight 5", "mirror = 1.0\nhighlight = 5\n", shape))
        cases.append(Furnace("diffuse, strong highlight 20", "highlight = 20\nhighlight_strength = 3\n", shape))
    cases.append(Furnace("translucent", "transparency = 0.6\ntranslucency = 1.0\nthin = true\n", "sheet"))
    cases.append(Furnace("clear", "transparency = 1.0\nthin = true\n", "sheet"))
    for exponent in (3, 50):
        cases.append(Furnace("frosted, highlight %g" % exponent,
            "transparency = 0.8\ntranslucency = 0.3\nthin = true\nhighlight = %g\n" % exponent, "sheet"))
    cases.append(Furnace("clear glass", "transparency = 1.0\nior = 1.5\n", "ball"))
    cases.append(Furnace("clear glass", "transparency = 1.0\nior = 1.5\n", "box"))
    cases.append(Furnace("half clear glass with a mirror", "transparency = 0.5\nior = 1.5\nmirror = 0.3\n", "ball"))
    return cases


class Lens:
    """A small bright square out of focus: its light is kept, and it spreads over an even disc."""

    def __init__(self, name, distance, what, limit=LIMIT):
        self.name, self.distance, self.what, self.limit = "lens, " + name, distance, what, limit

    def measure(self, program, folder, samples, seed=0):
        size, focus, f_stop, half = 40, 4.0, 1.0, 0.06
        write_obj(folder / "point.obj", [("spot", [(-half, self.distance, -half), (half, self.distance, -half),
            (half, self.distance, half), (-half, self.distance, half)])])
        plane = 0.6  # width of the picture at the focus, metres
        fov = 2 * math.degrees(math.atan(plane / 2 / focus))
        scene = (
            "[camera]\neye = [0, 0, 0]\ntarget = [0, 1, 0]\nfov_deg = %.9g\nf_stop = %g\nfocus_distance = %g\n"
            '[[model]]\nfile = "point.obj"\nup = "z"\nmaterial = "spot"\n[materials.spot]\ncolor = "#ffffff"\n'
            "luminosity = 100000\n" % (fov, f_stop, focus)
        )
        lens_mm = 18.0 / math.tan(math.radians(fov / 2))
        picture, _ = render(program, folder, scene, samples, seed, (size, size))
        pixel = plane / size
        flux = moment = 0.0
        for j, row in enumerate(picture):
            for i, seen_here in enumerate(row):
                dx, dy = (i + 0.5 - size / 2) * pixel, (j + 0.5 - size / 2) * pixel
                flux += seen_here
                moment += seen_here * (dx * dx + dy * dy)
        spread = focus / self.distance  # of the square, seen in the plane of the focus
        exact_flux = 100000.0 * (2 * half * spread / pixel) ** 2
        # The lens is a disc of radius lens_mm / f_stop; by similar triangles it leaves a disc of this radius.
        radius = lens_mm / f_stop * 1e-3 * abs(self.distance - focus) / self.distance
        terms = (0.35875, 0.48829, 0.14128, 0.01168)
        filter_variance = 9.0 * (1 / 12 - (terms[1] - terms[2] / 4 + terms[3] / 9) / (2 * math.pi**2 * terms[0]))
        exact_moment = radius**2 / 2 + 2 * (half * spread) ** 2 / 3 + 2 * filter_variance * pixel**2
        value = flux / exact_flux if self.what == "light" else moment / flux / exact_moment
        return value - 1.0, abs(value - 1.0)


def lens_cases():
    return [
        Lens("behind the focus, its light", 6.0, "light"),
        Lens("behind the focus, square of the disc", 6.0, "spread"),
        Lens("before the focus, its light", 3.0, "light"),
        Lens("before the focus, square of the disc", 3.0, "spread"),
    ]


def all_cases(program, folder, indirect):
    return (
        point_cases() + shape_cases() + distant_cases() + window_case(program, folder) + sun_cases(program, folder) + map_cases()
        + penumbra_cases(program, folder) + furnace_cases() + lens_cases() + bounce_cases(program, folder, indirect)
    )


def percent(value):
    """An error of a pixel; those that the rounding of the file hides are not known."""
    return "%.3f %%" % (100 * value) if value > 0.0 else "–"


def table_of_cases(program, folder, cases, samples):
    lines = ["| Case | Mean off by | A pixel off by, rms | |", "|---|---|---|---|"]
    failed = []
    for case in cases:
        mean, rms = case.measure(program, folder, samples)
        good = abs(mean) <= case.limit and rms <= getattr(case, "pixel_limit", case.limit)
        if not good:
            failed.append(case.name)
        lines.append("| %s | %s | %s | %s |" % (case.name, "%+.3f %%" % (100 * mean), percent(rms), "" if good else "**misses**"))
        print(lines[-1], file=sys.stderr)
    return lines, failed


CACHE_LIMIT = 0.02  # the cache of light may be off by this

CONVERGING = ("sphere, near", "disk, 1 m below", "rectangle, 1 m below", "tube, 1 m below", "penumbra of a panel, half lit", "sky, clear", "map, one bright pixel", "penumbra of a sphere, half lit",
    "penumbra of the sun, half lit", "closed box, two reflectances", "sphere lit from inside, reflectance 0.8", "two parallel plates",
    "room with a window, near the window", "room with a window, at the back", "mirror wall, overcast sky", "luminous panel, aside",
    "soffit over a terrace")


def table_of_convergence(program, folder, cases):
    counts = (64, 256, 1024, 4096)
    lines = ["| Case | " + " | ".join("%d" % n for n in counts) + " | Power |", "|---" * (len(counts) + 2) + "|"]
    for case in cases:
        if case.name not in CONVERGING:
            continue
        errors = [case.measure(program, folder, n, seed=1)[1] for n in counts]
        power = "%.2f" % (math.log(errors[0] / errors[2]) / math.log(counts[2] / counts[0])) if errors[0] > 0 and errors[2] > 0 else ""
        lines.append("| %s | %s | %s |" % (case.name, " | ".join(percent(e) for e in errors), power))
        print(lines[-1], file=sys.stderr)
    return lines


def table_of_examples(program, folder, scenes):
    """Mean luminance of each scene by both samplers, and what the same means of half pictures differ by."""
    lines = ["| Scene | Converging to strips | Upper half | Lower half |", "|---|---|---|---|"]
    for scene in sorted(scenes):
        pictures = []
        for sampler, limits in (("strips", ["--quality", "5"]), ("converging", ["--noise", "0.01", "--max-samples", "128"])):
            out = folder / (sampler + ".hdr")
            arguments = ["render", str(scene.resolve()), "-o", str(out), "--size", "160x100", "--sampler", sampler, "--indirect", "ambient", *limits]
            run_program(program, folder, arguments)
            pictures.append(read_hdr(out)[0])
        ratio = lambda first, last: mean_of(pictures[1][first:last]) / mean_of(pictures[0][first:last]) - 1.0
        lines.append("| %s | %s |" % (scene.name, " | ".join("%+.2f %%" % (100 * ratio(*rows)) for rows in ((0, 100), (0, 50), (50, 100)))))
        print(lines[-1], file=sys.stderr)
    return lines


def mean_of(rows):
    return sum(map(sum, rows)) / sum(map(len, rows))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("--samples", type=int, default=1024)
    parser.add_argument("--only", default="", help="parts of the names of cases, separated by commas")
    parser.add_argument("--no-convergence", action="store_true")
    parser.add_argument("--indirect", default="paths", help="what finds light by way of other surfaces, where that is measured")
    parser.add_argument("--examples", nargs="*", type=pathlib.Path, default=[], help="scenes to render by both samplers")
    parser.add_argument("--write", type=pathlib.Path, help="page whose tables are replaced")
    options = parser.parse_args()
    program = options.program.resolve()
    wanted = [w for w in options.only.split(",") if w]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        cases = [c for c in all_cases(program, folder, options.indirect) if not wanted or any(w in c.name for w in wanted)]
        tables, failed = {}, []
        if options.examples:
            tables["examples"] = table_of_examples(program, folder, options.examples)
        if options.indirect == "cache":
            cases = [c for c in cases if getattr(c, "indirect", "") == "cache"]
            for c in cases:
                c.limit = CACHE_LIMIT
        if not options.examples or wanted:
            name = "cache" if options.indirect == "cache" else "cases"
            tables[name], failed = table_of_cases(program, folder, cases, options.samples)
        if not options.no_convergence and not options.examples:
            tables["convergence"] = table_of_convergence(program, folder, cases)
    for lines in tables.values():
        print("\n".join(lines) + "\n")
    if options.write:
        replace_tables(options.write, tables)
    if failed:
        sys.exit("off by more than the limit: " + "; ".join(failed))


def replace_tables(page, tables):
    """Each table of the page is below a line `<!-- name -->`."""
    text = page.read_text()
    for name, lines in tables.items():
        mark = "<!-- %s -->\n" % name
        head, found, rest = text.partition(mark)
        if found:
            after = re.sub(r"\A\n?(\|.*\n)*", "", rest)
            text = head + mark + "\n" + "\n".join(lines) + "\n\n" + after.lstrip("\n")
    page.write_text(text)


if __name__ == "__main__":
    main()
