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

import radiance_file

SIDE = 16  # pixels of a picture along each side, unless a case says otherwise
LIMIT = 0.005
LUMINANCE = (0.3, 0.6, 0.1)  # weights of the channels
HDR_ONE = 128.5 / 128  # a mantissa of the format stands for the middle of its step
GAMMA = 2.2  # of the scene file's colours
REFLECTANCES = [0.55 + 0.02 * k for k in range(-2, SIDE + 2)]


# Pictures


def read_hdr(path):
    """Rows of luminances, the top row first, and the step of each pixel's mantissa."""
    width, pictured = radiance_file.read_planes(path)
    rows, steps = [], []
    for planes in pictured:
        scales = [radiance_file.SCALES[e] for e in planes[3]]
        rows.append([sum(LUMINANCE[c] * (planes[c][x] + 0.5) for c in range(3)) * scales[x] for x in range(width)])
        steps.append(scales)
    return rows, steps


def write_hdr(path, rows):
    """`rows` of grey values; a power of two is read back as `HDR_ONE` times itself."""
    out = bytearray(b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y %d +X %d\n" % (len(rows), len(rows[0])))
    for row in rows:
        for value in row:
            mantissa, exponent = math.frexp(value)
            out += bytes([int(mantissa * 256)] * 3 + [exponent + 128])
    pathlib.Path(path).write_bytes(out)


# Scenes


def write_obj(path, quads):
    """Quads as (material, four corners); the names of the materials are the objects' too."""
    with open(path, "w") as out:
        for index, (material, corners) in enumerate(quads):
            out.writelines("v %.9g %.9g %.9g\n" % tuple(c) for c in corners)
            out.write("usemtl %s\nf %s\n" % (material, " ".join(str(4 * index + i + 1) for i in range(4))))


def level_quad(x0, x1, y0, y1, z):
    return [(x0, y0, z), (x1, y0, z), (x1, y1, z), (x0, y1, z)]


def color(linear):
    return linear ** (1.0 / GAMMA)


def floor_scene(folder, width, depth, center, reflectances, extra):
    """A floor of stripes seen from above through `width` x `depth` metres about `center`."""
    pixel = width / SIDE
    left = center[0] - width / 2
    quads, text = [], ""
    for k, reflectance in enumerate(reflectances):
        x0, x1 = left + (k - 2) * pixel, left + (k - 1) * pixel
        quads.append(("stripe%d" % k, level_quad(x0, x1, center[1] - width, center[1] + width, 0.0)))
        text += '[materials.stripe%d]\ncolor = [%.9f, %.9f, %.9f]\n' % ((k,) + (color(reflectance),) * 3)
    write_obj(folder / "floor.obj", quads)
    names = ", ".join('"stripe%d" = "stripe%d"' % (k, k) for k in range(len(quads)))
    return (
        '[camera]\neye = [{0}, {1}, 0.4]\ntarget = [{0}, {1}, 0.0]\nup = [0, 1, 0]\nprojection = "parallel"\n'
        "parallel_width = {2}\nparallel_height = {3}\n[[model]]\nfile = \"floor.obj\"\nup = \"z\"\n"
        "materials = {{ {4} }}\n".format(center[0], center[1], width, depth, names)
        + text
        + extra
    )


def render(program, folder, scene, samples, seed=0, size=(SIDE, SIDE), render_keys=""):
    settings = (
        '[render]\nsize = [%d, %d]\nsampler = "converging"\nmin_samples = %d\nmax_samples = %d\nseed = %d\n'
        "indirect = \"ambient\"\nambient = false\nquality = 5\nreflect_limit = 20\nrefract_limit = 20\n" % (*size, samples, samples, seed)
    )
    (folder / "scene.toml").write_text(settings + render_keys + scene)
    run_program(program, folder, ["render", "scene.toml", "-o", "out.hdr"])
    return read_hdr(folder / "out.hdr")


def run_program(program, folder, arguments):
    done = subprocess.run([program, *arguments], cwd=folder, capture_output=True, text=True)
    if done.returncode:
        sys.exit("%s %s: %s" % (program, " ".join(arguments), done.stderr.strip().splitlines()[-1]))
    return done.stdout


# What a case measures


class Floor:
    """Illuminance of a floor at `center`, `width` x `depth` metres of it; `exact(x, y)` in lux."""

    reflectances = REFLECTANCES

    def __init__(self, name, light, exact, width=0.4, center=(0.0, 0.0), depth=None, files=None, level=None):
        self.name, self.light, self.exact, self.limit, self.level = name, light, exact, LIMIT, level
        self.width, self.depth, self.center, self.files = width, depth or width, center, files

    def measure(self, program, folder, samples, seed=0):
        if self.files:
            self.files(folder)
        scene = floor_scene(folder, self.width, self.depth, self.center, self.reflectances, self.light)
        picture, steps = render(program, folder, scene, samples, seed)
        seen, exact, rounding = [], [], []
        pixel = self.width / SIDE
        for j, row in enumerate(picture):
            for i, seen_here in enumerate(row):
                x = self.center[0] + (i + 0.5 - SIDE / 2) * pixel
                y = self.center[1] + (SIDE / 2 - j - 0.5) * self.depth / SIDE
                radiance = self.exact(x, y) * self.reflectances[i + 2] / math.pi
                seen.append(seen_here)
                exact.append(radiance)
                rounding.append(steps[j][i] ** 2 / 12)
        return summary(seen, exact, rounding, self.level and self.level * self.reflectances[SIDE // 2 + 2] / math.pi)


def summary(seen, exact, rounding, level=None):
    """Error of the mean, and root mean square error of a pixel less the variance `rounding` of the file's steps, as
    a share of `level` or the exact mean."""
    level = level or sum(exact) / len(exact)
    mean = sum(seen) / sum(exact) - 1.0
    square = (sum((s - e) ** 2 for s, e in zip(seen, exact)) - sum(rounding)) / len(exact)
    return mean, math.sqrt(max(square, 0.0)) / level


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


def unit(v):
    d = math.sqrt(sum(c * c for c in v))
    return tuple(c / d for c in v)


def axes_of(w):
    u = unit(cross(w, (0.0, 1.0, 0.0) if abs(w[1]) < 0.9 else (1.0, 0.0, 0.0)))
    return u, cross(w, u)


def turn_of(row, column, columns):
    """Angle of a place on a ring; the rings are turned against each other, so that straight edges cross all."""
    return 2 * math.pi * (column + row * 0.6180339887 % 1.0) / columns


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def dot(a, b):
    return sum(p * q for p, q in zip(a, b))


def sky_lux(function, normal=(0.0, 0.0, 1.0), rows=200, columns=400):
    """Cosine integral of `function` of a direction over the hemisphere of `normal`, by even steps of the cosine's
    square."""
    u, v = axes_of(normal)
    total = 0.0
    for i in range(rows):
        height = math.sqrt((i + 0.5) / rows)
        r = math.sqrt(1 - height * height)
        for k in range(columns):
            turn = turn_of(i, k, columns)
            a, b = r * math.cos(turn), r * math.sin(turn)
            total += function([height * normal[c] + a * u[c] + b * v[c] for c in range(3)])
    return math.pi * total / (rows * columns)


def direction_of(azimuth_deg, altitude_deg):
    azimuth, altitude = math.radians(azimuth_deg), math.radians(altitude_deg)
    return (math.cos(altitude) * math.sin(azimuth), math.cos(altitude) * math.cos(azimuth), math.sin(altitude))


def sky_function(azimuth_deg, altitude_deg, cloudiness):
    """Luminance over the sky's strength, docs/daylight.md: the law of the overcast sky round an axis."""
    sun = direction_of(azimuth_deg, altitude_deg)
    axis = unit((0.5 * sun[0], 0.5 * sun[1], 0.5 * sun[2] + 0.5 + 0.25 * cloudiness))
    flat = min(max(0.2 + sun[2], 0.0), 1.0)

    def luminance(d):
        q = dot(axis, d)
        if q > 0.0:
            return (1 + 2 * q) / 3
        return (((1 + q) - q * 0.3) * (1 - flat) + flat) / 3

    return luminance


# Light sources


def light(kind, keys):
    return '[[light]]\nkind = "%s"\n%s\n' % (kind, keys)


def sun_values(program, folder, azimuth, altitude, cloudiness):
    """Lux square to the sun and strength of the sky as the program prints them."""
    text = run_program(
        program,
        folder,
        ["sun", "--azimuth", str(azimuth), "--altitude", str(altitude), "--cloudiness", str(cloudiness), "--format", "json"],
    )
    return [float(re.search('"%s": ([0-9.e+]+)' % key, text)[1]) for key in ("sun_lux", "sky_cd_m2")]


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


def far_model(folder):
    """A scene needs a model: one below the ground that nothing sees."""
    write_obj(folder / "far.obj", [("far", level_quad(-0.01, 0.01, -0.01, 0.01, -50.0))])
    return '[[model]]\nfile = "far.obj"\nup = "z"\n'


def sky_keys(altitude, cloudiness):
    return (
        "[sun]\nazimuth_deg = 200\naltitude_deg = %g\ncloudiness = %g\nsun_intensity = 0\n"
        '[background]\nmode = "sky"\n' % (altitude, cloudiness)
    )


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


def write_ball(path, radius, rows=64, columns=128):
    points, faces = [], []
    for i in range(rows + 1):
        for k in range(columns):
            a, turn = math.pi * i / rows, 2 * math.pi * k / columns
            points.append((radius * math.sin(a) * math.cos(turn), radius * math.sin(a) * math.sin(turn), radius * math.cos(a)))
    for i in range(rows):
        for k in range(columns):
            n = (k + 1) % columns
            a, b, c, d = i * columns + k, (i + 1) * columns + k, (i + 1) * columns + n, i * columns + n
            if i > 0:
                faces.append((a, b, d))
            if i < rows - 1:
                faces.append((b, c, d))
    with open(path, "w") as out:
        out.writelines("v %.9g %.9g %.9g\n" % p for p in points)
        out.writelines("f %d %d %d\n" % tuple(i + 1 for i in f) for f in faces)


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


def all_cases(program, folder):
    return (
        point_cases() + distant_cases() + window_case(program, folder) + sun_cases(program, folder) + map_cases()
        + penumbra_cases(program, folder) + furnace_cases() + lens_cases()
    )


def percent(value):
    """An error of a pixel; those that the rounding of the file hides are not known."""
    return "%.3f %%" % (100 * value) if value > 0.0 else "–"


def table_of_cases(program, folder, cases, samples):
    lines = ["| Case | Mean off by | A pixel off by, rms | |", "|---|---|---|---|"]
    failed = []
    for case in cases:
        mean, rms = case.measure(program, folder, samples)
        good = abs(mean) <= case.limit and rms <= case.limit
        if not good:
            failed.append(case.name)
        lines.append("| %s | %s | %s | %s |" % (case.name, "%+.3f %%" % (100 * mean), percent(rms), "" if good else "**misses**"))
        print(lines[-1], file=sys.stderr)
    return lines, failed


CONVERGING = ("sphere, near", "sky, clear", "map, one bright pixel", "penumbra of a sphere, half lit",
    "penumbra of the sun, half lit", "furnace, plate, mirror of 0.5, highlight 10")


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
            arguments = ["render", str(scene.resolve()), "-o", str(out), "--size", "160x100", "--sampler", sampler, *limits]
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
    parser.add_argument("--examples", nargs="*", type=pathlib.Path, default=[], help="scenes to render by both samplers")
    parser.add_argument("--write", type=pathlib.Path, help="page whose tables are replaced")
    options = parser.parse_args()
    program = options.program.resolve()
    wanted = [w for w in options.only.split(",") if w]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        cases = [c for c in all_cases(program, folder) if not wanted or any(w in c.name for w in wanted)]
        tables, failed = {}, []
        if options.examples:
            tables["examples"] = table_of_examples(program, folder, options.examples)
        if not options.examples or wanted:
            tables["cases"], failed = table_of_cases(program, folder, cases, options.samples)
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
